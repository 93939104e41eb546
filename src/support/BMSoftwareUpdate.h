#pragma once

#include <QString>

#include <functional>
#include <memory>

class ChildProcess;

// Finds the maker's separate updater (installed computer-wide, or carried inside this
// application) and starts it: in the background at start-up to check for a newer version,
// and on request from the menu. The application never updates itself.
class BMSoftwareUpdate {
public:
    static QString updaterName() { return QStringLiteral("Brightmoor Software Update.app"); }
    static QString settingsKey() { return QStringLiteral("SUCheckAtStartup"); }

    static QString pathMissingMessage() {
        return QStringLiteral("Unable to launch Software Update - path doesn't exist");
    }
    static QString bundleMissingMessage() {
        return QStringLiteral("Unable to launch Software Update - updater bundle not found.");
    }
    static QString executableMissingMessage() {
        return QStringLiteral("Unable to launch Software Update - executable path doesn't exist");
    }

    // The bundle that holds this application: on a Mac the ".app" folder; elsewhere the
    // application's own data folder (<prefix>/share/vestry), which carries the same
    // "Contents/Resources" layout. Tests point it at a folder of their own.
    static QString applicationBundlePath();
    static void setApplicationBundlePath(const QString& path);

    // The local Applications folder + "Brightmoor/Brightmoor Software Update.app".
    static QString installedUpdaterPath();
    // The application's bundle + "Contents/Resources/Brightmoor Software Update.app".
    static QString innerUpdaterPath();
    // The temporary folder + "Brightmoor Software Update.app".
    static QString workingCopyPath();
    // The integer value of a bundle's "CFBundleVersion"; 0 when it is absent or unreadable.
    static int bundleVersion(const QString& bundlePath);
    // A bundle's executable (Contents/MacOS/<CFBundleExecutable>); null when the bundle
    // names none or it is not an executable file.
    static QString executablePath(const QString& bundlePath);

    // The updater to run: a fresh working copy of the inner updater when it is newer than
    // the installed one, else the installed one's path, even when nothing is installed.
    static QString updaterPath();

    // Only an explicit false in the maker-wide settings turns the start-up check off.
    static bool checkAtStartup();
    // Starts the background check unless it is turned off; true when it was started. It runs
    // on a detached thread, or through the given runner (a controller that waits for its
    // workers before it goes).
    using Runner = std::function<void(std::function<void()>)>;
    static bool startup(const Runner& runner = {});
    // Runs the updater's executable with "-checkpath" and this application's bundle, without
    // waiting; null (after logging why) when there is nothing to run.
    static std::shared_ptr<ChildProcess> automaticallyCheckForUpdates();
    // Launches the updater application as the user would; null on success, otherwise the
    // message to show (and already logged).
    static QString launchSoftwareUpdate();
};
