#pragma once

#include "foundation/platform/Platform.h"

#include <QString>

// Where the well-known folders are, right also when the process runs as root on behalf of
// the user at the console; and the guard every destructive operation consults.
// Each operation with a bool takes true for the user domain, false for the local domain.
// A folder the platform does not have is a null QString.
class BMLocalPaths {
public:
    static QString pathForDirectory(StandardFolder kind, bool userDomain);

    static QString applicationDirectory(bool userDomain);
    static QString adminApplicationDirectory(bool userDomain);
    static QString documentDirectory(bool userDomain);
    static QString libraryDirectory(bool userDomain);
    static QString prefsDirectory(bool userDomain);
    static QString cacheDirectory(bool userDomain);
    static QString darwinCacheDirectory();
    static QString movieDirectory();
    static QString appSupportDirectory(bool userDomain);
    static QString desktopDirectory();
    static QString userDirectory();
    static QString username();
    static QString systemLibraryDirectory();
    static QString trashDirectory();
    static QString logDirectory(bool userDomain);
    static QString launchAgentsDirectory(bool userDomain);
    static QString localDocumentationDirectory();
    static QString tempDirectory();
    static QString tempFile();
    static QString uuid();
    static QString randomString(int length);
    static QString currentConsoleUser();

    // True when the process runs as root for a console user other than root itself: then
    // user-domain folders are that user's and the log goes to the machine-wide folder. When
    // root is itself the user at the console (containers, CI) it is treated as any user.
    static bool isActingForConsoleUser();

    static bool isPathSystemDirectory(const QString& path);
    static bool isPathSystemDirectory(const QString& path, bool exactMatch);
    // The folders isPathSystemDirectory refuses as they are written.
    static QStringList systemFolders();
    static bool isPathOnTimeMachineVolume(const QString& path);

    // The macOS root rule as text: the first folder the platform reported for root, re-based
    // onto the console user's home. Kept exactly, including its off-by-one on
    // "/private/var/root".
    static QString applyMacRootRule(const QString& firstEntry, const QString& userDirectory);
    // The Linux root rule: a folder under root's own home re-based onto the console user's.
    static QString applyLinuxRootRule(const QString& folder, const QString& processHome,
                                      const QString& userDirectory);
};
