// Trash, delete, create, copy, move, sizes, mount tests and the waiting rule: the part of
// BMFileManager that changes the file system.
#include "BMFileManager.h"

#include "BMAuthorization.h"
#include "BMLocalPaths.h"
#include "BMLog.h"
#include "Console.h"
#include "DestructiveGuard.h"
#include "FileTree.h"
#include "MainThread.h"
#include "PathText.h"
#include "foundation/FileName.h"
#include "platform/Platform.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSaveFile>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace {

Platform& platform() {
    return Platform::current();
}

BMAuthorization& authorization() {
    return BMAuthorization::sharedController();
}

// Destructive operations never reach a protected folder, however the path is spelled.
bool isProtected(const QString& path, const char* message) {
    if (BMLocalPaths::isPathSystemDirectory(path, true) ||
        (path.startsWith(QLatin1Char('/')) &&
         BMLocalPaths::isPathSystemDirectory(QDir::cleanPath(path), true))) {
        Console::print(QString::fromLatin1(message).arg(path));
        return true;
    }
    return false;
}

// The text rule cannot see through links; the real path of what is about to go is checked
// as well. Only for an item that is there: a path where nothing is has nothing to lose.
bool isRefusedOnDisk(const QString& path, const char* action, QString* why = nullptr) {
    if (!FileTree::exists(path))
        return false;
    const QString reason = DestructiveGuard().refusal(path);
    if (reason.isEmpty())
        return false;
    const QString message = QStringLiteral("Unable to %1: %2.").arg(QLatin1String(action), reason);
    BMLog::appendLogAndPrint(message);
    if (why)
        *why = message;
    return true;
}

bool isCaseOnlyRename(const QString& source, const QString& destination) {
    return source.toLower() == destination.toLower();
}

// One round of waiting on the main thread: whatever events are ready are handled, waiting
// no more than 10 ms for one to arrive.
void pumpEvents() {
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance(QThread::currentThread());
    if (!QCoreApplication::instance() || !dispatcher) {
        QThread::msleep(10);
        return;
    }
    QTimer wake;
    wake.setSingleShot(true);
    wake.start(10);
    dispatcher->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

} // namespace

// ---- Waiting ------------------------------------------------------------------------------

bool BMFileManager::waitForCondition(const std::function<bool()>& condition, qint64 seconds) {
    QElapsedTimer timer;
    timer.start();
    const bool mainThread = MainThread::isCurrent();
    while (!condition() && timer.elapsed() < seconds * 1000) {
        if (mainThread)
            pumpEvents();
        else
            QThread::msleep(300);
    }
    return condition();
}

// ---- Tests on paths -----------------------------------------------------------------------

bool BMFileManager::isPackageAtPath(const QString& path) {
    return platform().isPackage(path);
}

bool BMFileManager::isSymbolicLinkAtPath(const QString& path) {
    char target[1];
    return !path.isEmpty() && ::readlink(FileName::encode(path).constData(), target, sizeof target) >= 0;
}

namespace {
bool volumeFolderExists(const QString& path, const QLatin1String& prefix, bool announce) {
    const QStringList components = PathText::components(path);
    if (!path.startsWith(prefix) || components.size() < 3)
        return true;
    // "/" "Volumes" "<name>" joined: the volume folder itself.
    const QString volume = QStringLiteral("/%1/%2").arg(components[1], components[2]);
    if (announce)
        Console::print(QStringLiteral("mountpoint: %1").arg(volume));
    return BMFileManager::fileExistsAtPath(volume);
}
} // namespace

bool BMFileManager::isVolumeMountedForPath(const QString& path) {
    return volumeFolderExists(path, QLatin1String("/Volumes"), false);
}

bool BMFileManager::isDriveMountedForPath(const QString& path) {
    return volumeFolderExists(path, QLatin1String("/Volumes/"), true);
}

QString BMFileManager::volumeMountPointForPath(const QString& path) {
    return volumeMountPointForPath(path, platform().mountedLocalVolumes());
}

QString BMFileManager::volumeMountPointForPath(const QString& path, const QStringList& mountedVolumes) {
    for (const QString& volume : mountedVolumes) {
        if (volume == QLatin1String("/"))
            continue;
        if (path == volume || path.startsWith(volume + QLatin1Char('/')))
            return volume;
    }
    if (path.startsWith(QLatin1String("/Volumes")))
        return QString();
    return QStringLiteral("/");
}

bool BMFileManager::isFolderEmpty(const QString& path) {
    static const QString desktopStore = QStringLiteral(".DS_Store");
    static const QString customIcon = QStringLiteral("Icon\r");
    bool readable = false;
    const QStringList entries = contentsOfDirectory(path, &readable);
    if (!readable || entries.isEmpty())
        return true;
    if (entries.size() == 1 && (entries.first() == desktopStore || entries.first() == customIcon))
        return true;
    for (const QString& entry : entries) {
        if (entry == desktopStore || entry == customIcon)
            continue;
        const QString item = PathText::appendingComponent(path, entry);
        if (!isDirectoryAtPath(item) || !isFolderEmpty(item))
            return false;
    }
    return true;
}

quint64 BMFileManager::fileSize(const QString& path) {
    if (isDirectoryAtPath(path)) {
        quint64 total = 0;
        for (const QString& entry : contentsOfDirectory(path))
            total += fileSize(PathText::appendingComponent(path, entry));
        return total;
    }
    struct stat info {};
    if (path.isEmpty() || ::lstat(FileName::encode(path).constData(), &info) != 0)
        return 0;
    return quint64(info.st_size);
}

// ---- Trash --------------------------------------------------------------------------------

bool BMFileManager::trashFile(const QString& path) {
    return trashFile(path, true);
}

bool BMFileManager::trashFile(const QString& path, bool shouldAuth, QString* error) {
    const auto fail = [&](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    if (isProtected(path, "Unable to trash path %1 because it is a system directory."))
        return fail(QStringLiteral("Unable to move %1 to the Trash: it is a system folder")
                        .arg(FileName::displayText(path)));
    QString refusal;
    if (isRefusedOnDisk(path, "move to the Trash", &refusal))
        return fail(refusal);
    unlockFile(path);
    if (!FileTree::exists(path))
        return true;
    QString cause;
    if (platform().moveToTrash(path, BMLocalPaths::trashDirectory(), &cause))
        return true;
    const QString message =
        QStringLiteral("Unable to move %1 to the Trash: %2").arg(FileName::displayText(path), cause);
    if (!shouldAuth) {
        BMLog::appendLogAndPrint(message);
        return fail(message);
    }
    BMLog::appendLog(message + QStringLiteral(". Authorizing..."));
    if (authorization().authTrashFile(path))
        return true;
    return fail(message);
}

bool BMFileManager::trashFileWithTimeout(const QString& path, qint64 seconds) {
    if (!trashFile(path))
        return false;
    return waitForCondition([&] { return !FileTree::exists(path); }, seconds);
}

bool BMFileManager::trashDirectoryContents(const QString& folder) {
    return trashDirectoryContents(folder, true);
}

bool BMFileManager::trashDirectoryContents(const QString& folder, bool shouldAuth) {
    bool all = true;
    for (const QString& entry : contentsOfDirectory(folder)) {
        if (!trashFile(PathText::appendingComponent(folder, entry), shouldAuth))
            all = false;
    }
    return all;
}

namespace {
template <typename Matches>
QStringList trashMatching(const QString& folder, const Matches& matches) {
    QStringList trashed;
    for (const QString& entry : BMFileManager::contentsOfDirectory(folder)) {
        const QString item = PathText::appendingComponent(folder, entry);
        if (BMFileManager::isDirectoryAtPath(item)) {
            // A linked folder's contents belong somewhere else.
            if (!BMFileManager::isSymbolicLinkAtPath(item))
                trashed += trashMatching(item, matches);
            continue;
        }
        if (matches(entry)) {
            // Listed whatever the Trash said: the caller learns what was attempted.
            BMFileManager::trashFile(item);
            trashed << item;
        }
    }
    return trashed;
}
} // namespace

QStringList BMFileManager::trashFilesOfType(const QString& type, const QString& folder) {
    const QString wanted = type.toLower();
    return trashMatching(folder,
                         [&](const QString& name) { return PathText::extension(name).toLower() == wanted; });
}

QStringList BMFileManager::trashFilesNamed(const QString& name, const QString& folder) {
    return trashMatching(folder, [&](const QString& entry) { return entry == name; });
}

// ---- Delete -------------------------------------------------------------------------------

bool BMFileManager::removeFile(const QString& path) {
    return removeFile(path, true);
}

bool BMFileManager::removeFile(const QString& path, bool shouldAuth) {
    if (isProtected(path, "Unable to delete path %1 because it is a system directory.") ||
        isRefusedOnDisk(path, "delete"))
        return false;
    unlockFile(path);
    if (!FileTree::exists(path))
        return true;
    // One item: a file, a link or an empty folder. A folder with something in it stays, so
    // that nothing is deleted that its caller did not know was there.
    const QByteArray encoded = FileName::encode(path);
    if (::remove(encoded.constData()) == 0)
        return true;
    const int failure = errno;
    // Announces authorizing whatever the flag says; long-standing wording kept.
    BMLog::appendLog(QStringLiteral("Error removing file: %1. Authorizing...")
                         .arg(FileTree::errorDescription(path, failure)));
    if (!shouldAuth || failure == ENOTEMPTY || failure == EEXIST)
        return false;
    return authorization().authRemoveFile(path) && !FileTree::exists(path);
}

bool BMFileManager::removeFileWithTimeout(const QString& path, qint64 seconds) {
    if (!removeFile(path))
        return false;
    return waitForCondition([&] { return !FileTree::exists(path); }, seconds);
}

// isFolderEmpty counts what it cannot list as empty. Removing on that word would delete a
// file given in place of a folder (a loose Premiere project stands for its first file, an
// event for its CurrentVersion.fcpevent) or, through the privileged retry, a folder whose
// contents nobody could see. So removal asks more: a real folder, every level of it
// readable, holding nothing but empty folders and the Finder's leftovers.
static bool isSurelyEmptyFolder(const QString& path) {
    struct stat info {};
    if (path.isEmpty() || ::lstat(FileName::encode(path).constData(), &info) != 0 || !S_ISDIR(info.st_mode))
        return false;
    bool readable = false;
    const QStringList entries = BMFileManager::contentsOfDirectory(path, &readable);
    if (!readable)
        return false;
    for (const QString& entry : entries) {
        if (entry == QLatin1String(".DS_Store") || entry == QLatin1String("Icon\r"))
            continue;
        if (!isSurelyEmptyFolder(PathText::appendingComponent(path, entry)))
            return false;
    }
    return true;
}

namespace {

// Removes one item of a folder being tidied away: a Finder leftover (unlink) or a folder that
// is empty by now (rmdir). Whatever arrived since the check makes rmdir fail with ENOTEMPTY,
// and the folder is then kept: that is no error. Only a refusal of rights is retried with
// them, with the same non-recursive tool.
enum class Tidied { Removed, Kept };

Tidied removeTidyItem(const QString& path, bool folder) {
    const QByteArray encoded = FileName::encode(path);
    if ((folder ? ::rmdir(encoded.constData()) : ::unlink(encoded.constData())) == 0 || errno == ENOENT)
        return Tidied::Removed;
    const int failure = errno;
    if (failure != EACCES && failure != EPERM) {
        if (failure != ENOTEMPTY && failure != EEXIST)
            BMLog::appendLog(
                QStringLiteral("Unable to remove %1").arg(FileTree::errorDescription(path, failure)));
        return Tidied::Kept;
    }
    BMLog::appendLog(QStringLiteral("Error removing file: %1. Authorizing...")
                         .arg(FileTree::errorDescription(path, failure)));
    authorization().authRemoveFile(path);
    return FileTree::exists(path) ? Tidied::Kept : Tidied::Removed;
}

// Bottom-up, one level at a time, listing each folder again: only the two Finder leftovers
// and folders are ever removed, never followed through a link.
Tidied tidyFolder(const QString& path) {
    bool readable = false;
    const QStringList entries = BMFileManager::contentsOfDirectory(path, &readable);
    if (!readable)
        return Tidied::Kept;
    for (const QString& entry : entries) {
        const QString item = PathText::appendingComponent(path, entry);
        struct stat info {};
        if (::lstat(FileName::encode(item).constData(), &info) != 0)
            continue; // gone meanwhile
        Tidied tidied = Tidied::Kept;
        if (S_ISDIR(info.st_mode))
            tidied = tidyFolder(item);
        else if (S_ISREG(info.st_mode) &&
                 (entry == QLatin1String(".DS_Store") || entry == QLatin1String("Icon\r")))
            tidied = removeTidyItem(item, false);
        if (tidied == Tidied::Kept)
            return Tidied::Kept;
    }
    return removeTidyItem(path, true);
}

} // namespace

bool BMFileManager::removeFolderIfEmpty(const QString& path) {
    if (!isFolderEmpty(path) || !isSurelyEmptyFolder(path))
        return false;
    if (isProtected(path, "Unable to delete path %1 because it is a system directory.") ||
        isRefusedOnDisk(path, "delete"))
        return false;
    return tidyFolder(path) == Tidied::Removed;
}

// ---- Create -------------------------------------------------------------------------------

bool BMFileManager::createDirectory(const QString& path) {
    return createDirectory(path, true);
}

bool BMFileManager::createDirectory(const QString& path, bool shouldAuth) {
    if (!isDriveMountedForPath(path)) {
        Console::print(QStringLiteral("Unable to create directory. Drive is not mounted."));
        return false;
    }
    QString error;
    if (FileTree::createDirectories(path, &error))
        return true;
    BMLog::appendLog(QStringLiteral("Error creating folder: %1. Authorizing...").arg(error));
    if (!shouldAuth)
        return false;
    return authorization().authCreateDir(path);
}

bool BMFileManager::createDirectoryWithTimeout(const QString& path, qint64 seconds) {
    if (!createDirectory(path))
        return false;
    return waitForCondition([&] { return fileExistsAtPath(path); }, seconds);
}

QString BMFileManager::createDirectoryStructure(const QString& source, const QString& destination) {
    const QString folder = isDirectoryAtPath(source) && !isPackageAtPath(source)
                               ? source
                               : PathText::deletingLastComponent(source);
    const QString mirrored = PathText::appendingComponent(destination, folder);
    if (!fileExistsAtPath(mirrored))
        createDirectory(mirrored);
    return mirrored;
}

bool BMFileManager::createEmptyFile(const QString& path) {
    const QString temporary = BMLocalPaths::tempFile();
    QSaveFile file(temporary);
    if (!file.open(QIODevice::WriteOnly) || !file.commit())
        return false;
    if (moveFile(temporary, path))
        return true;
    FileTree::removeItem(temporary, nullptr);
    return false;
}

// ---- Copy ---------------------------------------------------------------------------------

bool BMFileManager::copyFile(const QString& source, const QString& destination) {
    return copyFile(source, destination, true);
}

bool BMFileManager::copyFile(const QString& source, const QString& destination, bool shouldAuth,
                             QString* error) {
    if (source.isEmpty()) {
        BMLog::appendLogAndPrint(QStringLiteral("Error copying file: source path is nil"));
        return false;
    }
    if (destination.isEmpty()) {
        BMLog::appendLogAndPrint(
            QStringLiteral("Error copying file %1: destination path is nil").arg(source));
        return false;
    }
    // The parent folder, not the destination itself: a locked folder takes no new item.
    unlockFile(PathText::deletingLastComponent(destination));
    QString why;
    if (FileTree::copyItem(source, destination, &why))
        return true;
    const int failure = errno;
    BMLog::appendLog(QStringLiteral("Error copying file: %1. Authorizing...").arg(why));
    if (error)
        *error = why;
    errno = failure;
    if (!shouldAuth)
        return false;
    return authorization().authCopyFile(source, destination);
}

bool BMFileManager::copyFileWithTimeout(const QString& source, const QString& destination, qint64 seconds) {
    if (!copyFile(source, destination))
        return false;
    return waitForCondition([&] { return fileExistsAtPath(destination); }, seconds);
}

bool BMFileManager::copyContentsOfDirectory(const QString& source, const QString& destination,
                                            qint64 seconds) {
    for (const QString& entry : contentsOfDirectory(source)) {
        BMLog::fastAppendLog(QStringLiteral("File: %1").arg(entry));
        if (!copyFileWithTimeout(PathText::appendingComponent(source, entry),
                                 PathText::appendingComponent(destination, entry), seconds))
            return false;
    }
    return true;
}

// ---- Move ---------------------------------------------------------------------------------

bool BMFileManager::moveFile(const QString& source, const QString& destination) {
    return moveFile(source, destination, true);
}

bool BMFileManager::moveFile(const QString& source, const QString& destination, bool shouldAuth,
                             QString* error) {
    if (isProtected(source, "Unable to move path %1 because it is a system directory.") ||
        isRefusedOnDisk(source, "move"))
        return false;
    if (FileTree::exists(destination))
        unlockFile(destination);
    unlockFolder(PathText::appendingComponent(destination, PathText::lastComponent(source)));

    if (isCaseOnlyRename(source, destination)) {
        // A case-insensitive volume sees the new name as taken by the old one: go through a
        // free name first.
        const QString intermediate = uniqueFilename(destination);
        if (FileTree::moveItem(source, intermediate, nullptr)) {
            if (FileTree::moveItem(intermediate, destination, nullptr))
                return true;
            // Back to where it was, so that the plain move below starts from the same place.
            FileTree::moveItem(intermediate, source, nullptr);
        }
    }
    QString why;
    if (FileTree::moveItem(source, destination, &why))
        return true;
    const int failure = errno;
    BMLog::appendLog(QStringLiteral("Error moving file: %1.").arg(why));
    if (error)
        *error = why;
    errno = failure;
    if (!shouldAuth)
        return false;
    BMLog::appendLog(QStringLiteral("Authorizing..."));
    return authorization().authMoveFile(source, destination);
}

bool BMFileManager::moveFileWithTimeout(const QString& source, const QString& destination, qint64 seconds) {
    if (!moveFile(source, destination))
        return false;
    if (isCaseOnlyRename(source, destination)) {
        // The old and the new name are the same item to a case-insensitive volume.
        ::usleep(500);
        return true;
    }
    return waitForCondition([&] { return !fileExistsAtPath(source); }, seconds);
}

int BMFileManager::notifyFileSystemChanged(const QString& path) {
    return platform().notifyFileSystemChanged(path);
}
