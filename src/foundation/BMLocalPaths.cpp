#include "BMLocalPaths.h"

#include "Console.h"
#include "PathText.h"
#include "TrashBatch.h"

#include <QUuid>

#include <cstdlib>
#include <ctime>
#include <mutex>
#include <unistd.h>

namespace {
Platform& platform() {
    return Platform::current();
}
} // namespace

QString BMLocalPaths::applyMacRootRule(const QString& firstEntry, const QString& userDirectory) {
    QString rest = firstEntry;
    if (rest.startsWith(QLatin1String("/var/root")))
        rest = rest.mid(9);
    if (rest.startsWith(QLatin1String("/private/var/root")))
        rest = rest.mid(16);
    if (userDirectory.isNull())
        return QString();
    return PathText::appendingComponent(userDirectory, rest);
}

QString BMLocalPaths::applyLinuxRootRule(const QString& folder, const QString& processHome,
                                         const QString& userDirectory) {
    if (userDirectory.isNull())
        return QString();
    if (processHome.isEmpty() || processHome == QLatin1String("/"))
        return folder;
    if (folder == processHome)
        return userDirectory;
    if (folder.startsWith(processHome + QLatin1Char('/')))
        return PathText::appendingComponent(userDirectory, folder.mid(processHome.size()));
    // A folder outside root's home (an XDG variable pointing elsewhere) is nobody's in
    // particular and stays where it is.
    return folder;
}

bool BMLocalPaths::isActingForConsoleUser() {
    if (platform().userId() != 0)
        return false;
    return platform().consoleUser() != platform().userName();
}

QString BMLocalPaths::pathForDirectory(StandardFolder kind, bool userDomain) {
    const QStringList folders = platform().standardFolders(kind, userDomain ? Domain::User : Domain::Local);
    if (folders.isEmpty())
        return QString();
    if (userDomain && platform().userId() == 0)
        return applyLinuxRootRule(folders.first(), platform().homeDirectory(), userDirectory());
    return folders.first();
}

QString BMLocalPaths::applicationDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::Applications, userDomain);
}

QString BMLocalPaths::adminApplicationDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::AdminApplications, userDomain);
}

QString BMLocalPaths::documentDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::Documents, userDomain);
}

QString BMLocalPaths::libraryDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::Library, userDomain);
}

QString BMLocalPaths::prefsDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::Preferences, userDomain);
}

QString BMLocalPaths::cacheDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::Caches, userDomain);
}

QString BMLocalPaths::darwinCacheDirectory() {
#ifdef _CS_DARWIN_USER_CACHE_DIR
    char buffer[1024];
    const size_t length = confstr(_CS_DARWIN_USER_CACHE_DIR, buffer, sizeof buffer);
    if (length == 0 || length > sizeof buffer)
        return QString();
    return QString::fromUtf8(buffer, qsizetype(length) - 1);
#else
    return QString();
#endif
}

QString BMLocalPaths::movieDirectory() {
    return pathForDirectory(StandardFolder::Movies, true);
}

QString BMLocalPaths::appSupportDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::ApplicationSupport, userDomain);
}

QString BMLocalPaths::desktopDirectory() {
    return pathForDirectory(StandardFolder::Desktop, true);
}

QString BMLocalPaths::userDirectory() {
    if (platform().userId() != 0)
        return platform().homeDirectory();
    const QString console = currentConsoleUser();
    if (console.isNull())
        return QString();
    if (console == platform().userName())
        return platform().homeDirectory();
    return platform().homeDirectoryOfUser(console);
}

QString BMLocalPaths::username() {
    if (platform().userId() == 0)
        return currentConsoleUser();
    return platform().userName();
}

QString BMLocalPaths::systemLibraryDirectory() {
    const QStringList folders = platform().standardFolders(StandardFolder::SystemLibrary, Domain::System);
    return folders.isEmpty() ? QString() : folders.first();
}

QString BMLocalPaths::trashDirectory() {
    TrashBatch* batch = TrashBatch::current();
    if (!batch)
        return pathForDirectory(StandardFolder::Trash, true);
    if (!batch->folders.trashKnown) {
        batch->folders.trash = pathForDirectory(StandardFolder::Trash, true);
        batch->folders.trashKnown = true;
    }
    return batch->folders.trash;
}

QString BMLocalPaths::logDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::Logs, userDomain);
}

QString BMLocalPaths::launchAgentsDirectory(bool userDomain) {
    return pathForDirectory(StandardFolder::LaunchAgents, userDomain);
}

QString BMLocalPaths::localDocumentationDirectory() {
    return pathForDirectory(StandardFolder::Documentation, false);
}

QString BMLocalPaths::tempDirectory() {
    return platform().temporaryDirectory();
}

QString BMLocalPaths::tempFile() {
    return PathText::appendingComponent(tempDirectory(), uuid() + randomString(8));
}

QString BMLocalPaths::uuid() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString BMLocalPaths::randomString(int length) {
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    // The C library generator is process-wide state; one caller at a time.
    static std::mutex generatorMutex;
    std::lock_guard lock(generatorMutex);
    std::srand(unsigned(std::clock()) * unsigned(std::time(nullptr)));
    QString text;
    text.reserve(qMax(length, 0));
    for (int i = 0; i < length; ++i)
        text.append(QLatin1Char(alphabet[std::rand() % 36]));
    return text;
}

QString BMLocalPaths::currentConsoleUser() {
    const QString user = platform().consoleUser();
    if (user.isEmpty() || user == QLatin1String("loginwindow"))
        return QString();
    return user;
}

bool BMLocalPaths::isPathSystemDirectory(const QString& path) {
    return isPathSystemDirectory(path, false);
}

// The folders that are refused as they are written.
QStringList BMLocalPaths::systemFolders() {
    return {
        applicationDirectory(true),
        applicationDirectory(false),
        adminApplicationDirectory(true),
        adminApplicationDirectory(false),
        documentDirectory(true),
        documentDirectory(false),
        libraryDirectory(true),
        libraryDirectory(false),
        prefsDirectory(true),
        prefsDirectory(false),
        cacheDirectory(true),
        cacheDirectory(false),
        appSupportDirectory(true),
        appSupportDirectory(false),
        desktopDirectory(),
        userDirectory(),
        systemLibraryDirectory(),
        localDocumentationDirectory(),
        QStringLiteral("/Users/Shared"),
        QStringLiteral("/Volumes"),
        // The tops of a Linux file system that hold other people's or the system's files.
        QStringLiteral("/home"),
        QStringLiteral("/root"),
        QStringLiteral("/media"),
        QStringLiteral("/mnt"),
        QStringLiteral("/run/media"),
        QStringLiteral("/opt"),
        QStringLiteral("/srv"),
        QStringLiteral("/bin"),
        QStringLiteral("/sbin"),
        QStringLiteral("/lib"),
        QStringLiteral("/lib64"),
    };
}

bool BMLocalPaths::isPathSystemDirectory(const QString& path, bool exactMatch) {
    if (path == QLatin1String("/"))
        return true;
    if (path.size() < 3)
        return false;
    // Two characters, not one: "/Library/" becomes "/Librar" and escapes the exact list.
    // Long-standing behaviour that callers rely on; only the prefix rules catch such paths.
    QString candidate = path;
    if (candidate.endsWith(QLatin1Char('/')))
        candidate.chop(2);

    TrashBatch* batch = TrashBatch::current();
    if (batch && !batch->folders.systemKnown) {
        batch->folders.systemFolders = systemFolders();
        batch->folders.systemKnown = true;
    }
    const QStringList exact = batch ? batch->folders.systemFolders : systemFolders();
    for (const QString& folder : exact) {
        if (!folder.isEmpty() && candidate == folder)
            return true;
    }
    if (exactMatch)
        return false;
    // Text prefixes, not path components: "/usrlocal" is caught too.
    static const char* const prefixes[] = {"/usr",  "/var",  "/private/var", "/System", "/etc",
                                           "/boot", "/proc", "/sys",         "/dev"};
    for (const char* prefix : prefixes) {
        if (candidate.startsWith(QLatin1String(prefix)))
            return true;
    }
    return false;
}

bool BMLocalPaths::isPathOnTimeMachineVolume(const QString& path) {
    if (!path.startsWith(QLatin1String("/Volumes/")))
        return false;
    return PathText::components(path).contains(QStringLiteral("Backups.backupdb"));
}
