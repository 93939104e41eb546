#include "BMAuthorization.h"

#include "BMFileManager.h"
#include "BMLocalPaths.h"
#include "BMLog.h"
#include "BMTaskEx.h"
#include "Console.h"
#include "DestructiveGuard.h"
#include "PathText.h"
#include "foundation/FileName.h"
#include "platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

Platform& platform() {
    return Platform::current();
}

QString tool(Tool which) {
    return platform().toolPath(which);
}

// Anything at the path, a dangling symbolic link included.
bool itemExists(const QString& path) {
    struct stat info {};
    return !path.isEmpty() && ::lstat(FileName::encode(path).constData(), &info) == 0;
}

// A Trash folder that is missing is made private to the user whose home holds it, also
// when root makes it on that user's behalf.
bool makeTrashFolder(const QString& path) {
    if (QFileInfo(path).isDir())
        return true;
    QDir().mkpath(QFileInfo(path).path());
    const QByteArray encoded = FileName::encode(path);
    if (::mkdir(encoded.constData(), 0700) != 0 && errno != EEXIST)
        return false;
    struct stat home {};
    const QString userHome = BMLocalPaths::userDirectory();
    if (::getuid() == 0 && !userHome.isEmpty() &&
        ::stat(FileName::encode(userHome).constData(), &home) == 0 && home.st_uid != 0) {
        if (::chown(encoded.constData(), home.st_uid, home.st_gid) != 0)
            return false;
    }
    return QFileInfo(path).isDir();
}

std::mutex g_sharedMutex;

std::unique_ptr<BMAuthorization>& sharedSlot() {
    static std::unique_ptr<BMAuthorization> shared;
    return shared;
}

} // namespace

BMAuthorization::BMAuthorization(Interface interface)
    // The user whose Trash takes trashed items: the process's own user, or for root the
    // user at the console (null when nobody is logged in). A tool that a parent started
    // with privileges runs as root already, so there is no inherited right to adopt.
    : m_hasGUI(interface == Interface::WithGUI), m_userDirectory(BMLocalPaths::userDirectory()) {
}

BMAuthorization::~BMAuthorization() {
    authEnd();
}

BMAuthorization& BMAuthorization::sharedController() {
    return sharedController(true);
}

BMAuthorization& BMAuthorization::sharedController(bool withGUI) {
    std::lock_guard lock(g_sharedMutex);
    if (!sharedSlot())
        sharedSlot() =
            std::make_unique<BMAuthorization>(withGUI ? Interface::WithGUI : Interface::WithoutGUI);
    return *sharedSlot();
}

std::unique_ptr<BMAuthorization>
BMAuthorization::installShared(std::unique_ptr<BMAuthorization> authorization) {
    std::lock_guard lock(g_sharedMutex);
    auto previous = std::move(sharedSlot());
    sharedSlot() = std::move(authorization);
    return previous;
}

bool BMAuthorization::isRoot() {
    return platform().userId() == 0;
}

bool BMAuthorization::authStart() {
    if (m_authorized.load() || isRoot())
        return true;
    if (!m_hasGUI) {
        Console::print(QStringLiteral("Unable to authorize"));
        return false;
    }
    std::lock_guard lock(m_authMutex);
    if (m_authorized.load())
        return true;
    // The first privileged run that succeeds is the right obtained.
    if (!platform().obtainPrivilege())
        return false;
    m_authorized.store(true);
    return true;
}

bool BMAuthorization::authStartWithUser(const QString& user, const QString& password) {
    if (isRoot())
        return true;
    if (user.isNull() || password.isNull())
        return false;
    if (!platform().canAuthorizeWithCredentials()) {
        const QString text =
            QStringLiteral("Unable to authorize as %1: this system grants administrator rights only "
                           "through its own dialog, not with a user name and password")
                .arg(user);
        Console::print(text);
        BMLog::appendLog(text);
        return false;
    }
    std::lock_guard lock(m_authMutex);
    if (!platform().authorizeWithCredentials(user, password)) {
        const QString text = QStringLiteral("Authorization failed. Invalid username or password");
        Console::print(text);
        BMLog::appendLog(text);
        return false;
    }
    m_authorized.store(true);
    return true;
}

void BMAuthorization::authEnd() {
    m_authorized.store(false);
}

namespace {
// Administrator rights reach everything, links included: the real path of what is about to
// go is checked after the text rule.
bool refusedOnDisk(const QString& path) {
    if (!itemExists(path))
        return false;
    const QString reason = DestructiveGuard().refusal(path);
    if (reason.isEmpty())
        return false;
    BMLog::appendLogAndPrint(QStringLiteral("Refusing %1.").arg(reason));
    return true;
}
} // namespace

bool BMAuthorization::refuseSystemDirectory(const QString& path, const char* message) const {
    // The guard is textual; the path with its "." and ".." resolved is tested as well, so
    // that "/home/jo/Desktop/.." cannot reach a protected folder by another spelling.
    if (!path.startsWith(QLatin1Char('/'))) {
        // A relative path means whatever the working directory makes of it.
        Console::print(QStringLiteral("Refusing path \"%1\": not a full path.").arg(path));
        return true;
    }
    if (BMLocalPaths::isPathSystemDirectory(path, true) ||
        BMLocalPaths::isPathSystemDirectory(QDir::cleanPath(path), true)) {
        Console::print(QString::fromLatin1(message).arg(path));
        return true;
    }
    return false;
}

int BMAuthorization::authExecTask(const QString& toolPath, const QStringList& parameters) {
    return authExecTask(toolPath, parameters, false);
}

int BMAuthorization::authExecTask(const QString& toolPath, const QStringList& parameters, bool async) {
    if (!itemExists(toolPath)) {
        Console::print(QStringLiteral("Unable to execute task: path %1 doesn't exist").arg(toolPath));
        return -2;
    }
    if (isRoot()) {
        if (async)
            BMTaskEx::runTaskAndReturn(toolPath, parameters);
        else
            BMTaskEx::runTask(toolPath, parameters);
        return 0;
    }
    if (!isAuthorized())
        authStart();
    if (!isAuthorized())
        return -1;
    return platform().runPrivileged(toolPath, parameters, async);
}

bool BMAuthorization::authRemoveFile(const QString& path) {
    if (refuseSystemDirectory(path, "Unable to delete path %1 because it is a system directory.") ||
        refusedOnDisk(path))
        return false;
    // One item, never a tree: a folder goes only when it is empty.
    return authExecTask(tool(Tool::Rm), {QStringLiteral("-df"), path}) == 0;
}

bool BMAuthorization::authMoveFile(const QString& oldPath, const QString& newPath) {
    if (oldPath.isNull()) {
        Console::print(QStringLiteral("Error in authMoveFile: old path is null"));
        return false;
    }
    if (newPath.isNull()) {
        Console::print(QStringLiteral("Error in authMoveFile: new path is null"));
        return false;
    }
    if (refuseSystemDirectory(oldPath, "Unable to move path %1 because it is a system directory.") ||
        refusedOnDisk(oldPath))
        return false;
    if (!itemExists(oldPath))
        return false;
    const QStringList arguments{QStringLiteral("-f"), oldPath, newPath};
    if (isRoot()) {
        BMTaskEx::runTask(tool(Tool::Mv), arguments);
        return true;
    }
    return authExecTask(tool(Tool::Mv), arguments) == 0;
}

bool BMAuthorization::authCopyFile(const QString& oldPath, const QString& newPath) {
    if (oldPath.isNull()) {
        Console::print(QStringLiteral("Error in authCopyFile: old path is null"));
        return false;
    }
    if (newPath.isNull()) {
        Console::print(QStringLiteral("Error in authCopyFile: new path is null"));
        return false;
    }
    if (!itemExists(oldPath))
        return false;
    const QStringList arguments{QStringLiteral("-f"), QStringLiteral("-p"), QStringLiteral("-R"), oldPath,
                                newPath};
    if (isRoot()) {
        BMTaskEx::runTask(tool(Tool::Cp), arguments);
        return true;
    }
    return authExecTask(tool(Tool::Cp), arguments) == 0;
}

bool BMAuthorization::authCreateDir(const QString& path) {
    const QStringList arguments{QStringLiteral("-p"), path};
    if (isRoot()) {
        BMTaskEx::runTask(tool(Tool::Mkdir), arguments);
        return true;
    }
    if (authExecTask(tool(Tool::Mkdir), arguments) != 0)
        return false;
    // Gives the file system time to show the new folder to this process.
    ::usleep(500);
    return true;
}

QString BMAuthorization::timestampedTrashName(const QString& name, const QDateTime& now) {
    return QStringLiteral("%1_%2.%3")
        .arg(PathText::deletingExtension(name), now.toLocalTime().toString(QStringLiteral("yyyyMMddHHmmss")),
             PathText::extension(name));
}

bool BMAuthorization::authTrashFile(const QString& path) {
    return authTrashFile(path, false);
}

bool BMAuthorization::authTrashFile(const QString& path, [[maybe_unused]] bool deleteOnRootAccount) {
    if (refuseSystemDirectory(path, "Unable to trash path %1 because it is a system directory.") ||
        refusedOnDisk(path))
        return false;
    if (!itemExists(path))
        return false;
    if (isRoot() && m_userDirectory.isNull()) {
        // Root with nobody at the console has no Trash to fill. Deleting instead would leave
        // the user no way back, so the item stays whatever the caller allowed.
        Console::print(QStringLiteral("Unable to trash path %1: nobody is logged in whose Trash could take "
                                      "it; it is left where it is rather than deleted.")
                           .arg(path));
        return false;
    }
    const QString trash = BMLocalPaths::trashDirectory();
    if (trash.isEmpty()) {
        Console::print(QStringLiteral("Unable to trash path %1: there is no Trash folder.").arg(path));
        return false;
    }
    const QString items = platform().trashItemsFolder(trash);
    if (!makeTrashFolder(trash) || !makeTrashFolder(items)) {
        Console::print(
            QStringLiteral("Unable to trash path %1: the Trash folder %2 cannot be made.").arg(path, items));
        return false;
    }

    const QString name = PathText::lastComponent(path);
    auto taken = [&](const QString& candidate) {
        return itemExists(PathText::appendingComponent(items, candidate)) ||
               platform().hasTrashRecord(trash, candidate);
    };
    QString nameInTrash = name;
    if (taken(nameInTrash)) {
        nameInTrash = timestampedTrashName(name, QDateTime::currentDateTime());
        // Two items of one name within the same second: never move onto a trashed item.
        const QString stamped = nameInTrash;
        for (int n = 2; taken(nameInTrash); ++n)
            nameInTrash = QStringLiteral("%1 %2.%3")
                              .arg(PathText::deletingExtension(stamped))
                              .arg(n)
                              .arg(PathText::extension(stamped));
    }
    const QString target = PathText::appendingComponent(items, nameInTrash);

    QString error;
    if (!platform().writeTrashRecord(trash, nameInTrash, path, &error)) {
        Console::print(QStringLiteral("Unable to trash path %1: %2").arg(path, error));
        return false;
    }
    // Never onto an item already in the Trash; whether it arrived is checked below.
    const QStringList arguments{QStringLiteral("-n"), path, target};
    const bool moved = isRoot() ? BMTaskEx::terminationCodeFromTask(tool(Tool::Mv), arguments) == 0
                                : authExecTask(tool(Tool::Mv), arguments) == 0;
    // A record must never point at nothing, and success means the item is in the Trash.
    if (!moved || itemExists(path) || !itemExists(target)) {
        platform().removeTrashRecord(trash, nameInTrash);
        Console::print(
            QStringLiteral("Unable to trash path %1: it could not be moved to %2.").arg(path, target));
        return false;
    }
    return true;
}

bool BMAuthorization::authTrashFolderContents(const QString& folder) {
    return authTrashFolderContents(folder, false);
}

bool BMAuthorization::authTrashFolderContents(const QString& folder, bool deleteOnRootAccount) {
    if (refuseSystemDirectory(folder,
                              "Unable to trash folder contents of path %1 because it is a system directory."))
        return false;
    for (const QString& entry : BMFileManager::contentsOfDirectory(folder)) {
        if (!authTrashFile(PathText::appendingComponent(folder, entry), deleteOnRootAccount))
            return false;
    }
    return true;
}

bool BMAuthorization::authMoveFolderContents(const QString& folder, const QString& destination) {
    if (refuseSystemDirectory(folder, "Unable to move contents of path %1 because it is a system directory."))
        return false;
    for (const QString& entry : BMFileManager::contentsOfDirectory(folder)) {
        if (!authMoveFile(PathText::appendingComponent(folder, entry),
                          PathText::appendingComponent(destination, entry)))
            return false;
    }
    return true;
}
