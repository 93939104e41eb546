// Locking, permissions, extended attributes, dates, Finder labels, disk information,
// waiting for files and digest texts: the attribute part of BMFileManager.
#include "BMAuthorization.h"
#include "BMFileManager.h"
#include "BMLog.h"
#include "BMTaskEx.h"
#include "Console.h"
#include "PathText.h"
#include "platform/Platform.h"

#include <QElapsedTimer>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>
#include "foundation/FileName.h"

namespace {

Platform& platform() {
    return Platform::current();
}

QString errorText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// Finder flags are the big-endian word at offset 8 of the FinderInfo.
constexpr int kFinderFlagsOffset = 8;
constexpr quint16 kLabelBits = 0x000E;

std::optional<QDateTime> modificationDate(const QString& path) {
    if (auto facts = platform().fileFacts(path))
        return facts->modified;
    return std::nullopt;
}

bool modifiedWithin(const QString& path, qint64 milliseconds) {
    const std::optional<QDateTime> modified = modificationDate(path);
    return modified && modified->msecsTo(QDateTime::currentDateTimeUtc()) < milliseconds;
}

} // namespace

// ---- Locking ------------------------------------------------------------------------------

bool BMFileManager::isFileLocked(const QString& path) {
    return platform().immutableFlag(path, nullptr).value_or(false);
}

bool BMFileManager::lockFile(const QString& path) {
    QString error;
    if (platform().setImmutableFlag(path, true, &error))
        return true;
    // The locking side writes the "unlock" text too; long-standing wording kept.
    BMLog::fastAppendLog(QStringLiteral("Unable to unlock file %1: %2").arg(path, error));
    return false;
}

bool BMFileManager::unlockFile(const QString& path) {
    QString error;
    if (platform().setImmutableFlag(path, false, &error))
        return true;
    BMLog::fastAppendLog(QStringLiteral("Unable to unlock file %1: %2").arg(path, error));
    return false;
}

namespace {
void setFolderLocked(const QString& path, bool locked) {
    bool readable = false;
    const QStringList entries = BMFileManager::contentsOfDirectory(path, &readable);
    if (!readable)
        return;
    for (const QString& entry : entries) {
        const QString item = PathText::appendingComponent(path, entry);
        struct stat info {};
        // A link to a folder is an item of its own, not a way into another tree.
        const bool folder = ::lstat(FileName::encode(item).constData(), &info) == 0 && S_ISDIR(info.st_mode);
        if (folder)
            setFolderLocked(item, locked);
        else if (locked)
            BMFileManager::lockFile(item);
        else
            BMFileManager::unlockFile(item);
    }
}
} // namespace

void BMFileManager::lockFolder(const QString& path) {
    setFolderLocked(path, true);
}

void BMFileManager::unlockFolder(const QString& path) {
    setFolderLocked(path, false);
}

bool BMFileManager::setPosixPermissions(unsigned long permissions, const QString& path) {
    if (::chmod(FileName::encode(path).constData(), mode_t(permissions & 07777)) == 0)
        return true;
    BMLog::appendLog(QStringLiteral("Error setting permissions for file %1: %2").arg(path, errorText(errno)));
    return false;
}

// ---- Extended attributes ------------------------------------------------------------------

QString BMFileManager::metadataValueForKey(const QString& key, const QString& path) {
    const QByteArray file = FileName::encode(path);
    const QByteArray name = platform().extendedAttributeName(key).toUtf8();
    const ssize_t size = ::getxattr(file.constData(), name.constData(), nullptr, 0);
    Console::print(QStringLiteral("buffer val: %1").arg(size));
    if (size < 0) {
        Console::print(QStringLiteral("Error retrieving file attribute: %1").arg(errno));
        return QString();
    }
    if (size == 0)
        return QString();
    // The value is read with a fixed length of 255 bytes whatever its size, as it always
    // was; the buffer is made large enough for that, so a longer value reads as nothing
    // instead of as memory that was never written.
    constexpr size_t kReadLength = 255;
    std::vector<char> buffer(std::max<size_t>(size_t(size), kReadLength), 0);
    if (::getxattr(file.constData(), name.constData(), buffer.data(), kReadLength) < 0)
        return QString();
    return QString::fromUtf8(buffer.data(), qsizetype(size));
}

bool BMFileManager::setMetadataValue(const QString& value, const QString& key, const QString& path) {
    const QByteArray bytes = value.toUtf8();
    const QByteArray name = platform().extendedAttributeName(key).toUtf8();
    return ::setxattr(FileName::encode(path).constData(), name.constData(), bytes.constData(),
                      size_t(bytes.size()), 0) == 0;
}

// ---- Dates --------------------------------------------------------------------------------

bool BMFileManager::setModificationDate(const QDateTime& date, const QString& path) {
    if (!date.isValid() || path.isEmpty())
        return false;
    const qint64 ms = date.toMSecsSinceEpoch();
    timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = time_t(ms / 1000 - (ms % 1000 < 0 ? 1 : 0));
    times[1].tv_nsec = long(((ms % 1000) + 1000) % 1000) * 1000000L;
    return ::utimensat(AT_FDCWD, FileName::encode(path).constData(), times, 0) == 0;
}

bool BMFileManager::touchFile(const QString& path) {
    return touchFile(path, false);
}

bool BMFileManager::touchFile(const QString& path, bool setCreationDate) {
    if (path.isNull())
        return false;
    const QString touch = platform().toolPath(Tool::Touch);
    const QStringList arguments{QStringLiteral("-c"), path};
    bool result = false;
    if (::access(FileName::encode(path).constData(), W_OK) == 0) {
        BMTaskEx::runTaskWithTimeout(touch, arguments, 5);
        if (setCreationDate)
            platform().setCreationDate(path, QDateTime::currentDateTime());
        result = true;
    } else {
        if (setCreationDate)
            platform().setCreationDate(path, QDateTime::currentDateTime());
        result = BMAuthorization::sharedController().authExecTask(touch, arguments, false) == 0;
    }
    notifyFileSystemChanged(path);
    return result;
}

bool BMFileManager::registerApplicationWithLaunchServices(const QString& path) {
    return platform().registerApplication(path);
}

// ---- Disk information ---------------------------------------------------------------------

std::optional<QVariantMap> BMFileManager::infoForDiskAtMountpoint(const QString& mountPoint) {
    const auto [tool, arguments] = platform().diskInfoCommand(mountPoint);
    const std::optional<QByteArray> output =
        BMTaskEx::dataFromTaskWithTimeout(platform().toolPath(tool), arguments, 5.0);
    if (!output || output->isEmpty())
        return std::nullopt;
    QString error;
    std::optional<QVariantMap> info = platform().parseDiskInfo(*output, &error);
    if (!info)
        Console::print(QStringLiteral("Error converting diskutil output: %1").arg(error));
    return info;
}

// ---- Finder labels ------------------------------------------------------------------------

quint16 BMFileManager::finderColorIndexForPath(const QString& path) {
    if (path.isEmpty() || !path.startsWith(QLatin1Char('/')))
        return 0;
    const std::optional<QByteArray> info = platform().finderInfo(path);
    if (!info || info->size() < kFinderFlagsOffset + 2)
        return 0;
    return quint16((quint8(info->at(kFinderFlagsOffset)) << 8) | quint8(info->at(kFinderFlagsOffset + 1)));
}

std::optional<BMLabelColor> BMFileManager::finderColorForPath(const QString& path) {
    return finderColorForColorIndex(finderColorIndexForPath(path));
}

void BMFileManager::setFinderColorIndex(quint16 index, const QString& path) {
    if (path.isNull() || !fileExistsAtPath(path))
        return;
    // An item without FinderInfo starts from an all-zero one, as the Finder does.
    QByteArray info = platform().finderInfo(path).value_or(QByteArray(32, 0));
    const quint16 old =
        quint16((quint8(info.at(kFinderFlagsOffset)) << 8) | quint8(info.at(kFinderFlagsOffset + 1)));
    const quint16 flags = quint16((old & 0xFFF1) | (index & kLabelBits));
    info[kFinderFlagsOffset] = char(flags >> 8);
    info[kFinderFlagsOffset + 1] = char(flags & 0xFF);
    platform().setFinderInfo(path, info);
}

std::optional<BMLabelColor> BMFileManager::finderColorForColorIndex(quint16 index) {
    switch (index) {
    case 2:
    case 3:
        return BMLabelColor{QStringLiteral("grey"), 0.0, 0.0, 0.72};
    case 4:
    case 5:
        return BMLabelColor{QStringLiteral("green"), 0.2056, 0.5, 0.85};
    case 6:
    case 7:
        return BMLabelColor{QStringLiteral("purple"), 0.7917, 0.26, 0.86};
    case 8:
    case 9:
        return BMLabelColor{QStringLiteral("blue"), 0.5789, 0.56, 0.98};
    case 10:
    case 11:
        return BMLabelColor{QStringLiteral("yellow"), 0.1388, 0.54, 0.95};
    case 12:
    case 13:
        return BMLabelColor{QStringLiteral("red"), 0.0083, 0.54, 1.0};
    case 14:
    case 15:
        return BMLabelColor{QStringLiteral("orange"), 0.0888, 0.52, 0.98};
    default:
        return std::nullopt;
    }
}

// ---- Waiting for files --------------------------------------------------------------------

void BMFileManager::waitForFileCreation(const QString& path, qint64 seconds) {
    QElapsedTimer timer;
    timer.start();
    if (fileExistsAtPath(path) && fileSize(path) != 0)
        return;
    // One look only: callers that need a real wait call again.
    if (timer.elapsed() < seconds * 1000) {
        BMLog::appendLog(QStringLiteral("File %1 is not yet created. Waiting...").arg(path));
        ::usleep(500);
    }
}

void BMFileManager::waitForFileWrites(const QString& path) {
    waitForFileWrites(path, QString());
}

void BMFileManager::waitForFileWrites(const QString& path, const QString& lockFile) {
    constexpr qint64 kQuietMilliseconds = 4000;
    const bool lockPresent =
        !lockFile.isEmpty() &&
        fileExistsAtPath(PathText::appendingComponent(PathText::deletingLastComponent(path), lockFile));
    if (!modifiedWithin(path, kQuietMilliseconds) && !lockPresent)
        return;
    BMLog::appendLog(QStringLiteral("File %1 is currently being written to. Waiting...").arg(path));
    // Only the modification date keeps the wait going; the lock file just announces it.
    while (modifiedWithin(path, kQuietMilliseconds))
        ::usleep(500);
    BMLog::appendLog(QStringLiteral("File %1 finished writing.").arg(path));
}

// ---- Digests and sizes --------------------------------------------------------------------

QString BMFileManager::md5HashWithContext(BMDigestContext context) {
    return context.hexDigest();
}

QString BMFileManager::sha1HashWithContext(BMDigestContext context) {
    return context.hexDigest();
}

QString BMFileManager::formatFileSize(double bytes) {
    if (bytes < 1024)
        return QString::asprintf("%0.0f B", bytes);
    if (bytes < 1048576)
        return QString::asprintf("%0.2f KB", bytes / 1024);
    if (bytes < 1073741824)
        return QString::asprintf("%0.2f MB", bytes / 1024 / 1024);
    return QString::asprintf("%0.2f GB", bytes / 1024 / 1024 / 1024);
}

void BMFileManager::disableFileSystemCachingForFile(const QString&) {
}
