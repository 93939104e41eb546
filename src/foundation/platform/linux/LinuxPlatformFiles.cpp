// The Linux answers that the file operations need: the freedesktop Trash, pkexec, the
// mount table, the immutable flag and findmnt.
#include "LinuxPlatform.h"
#include "foundation/ChildProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QStandardPaths>
#include <QUrl>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include "foundation/FileName.h"

namespace {

QString errorText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

bool lexists(const QString& path) {
    struct stat info {};
    return ::lstat(FileName::encode(path).constData(), &info) == 0;
}

// Creates a folder and its missing parents; the Trash folders are private to their user.
bool makePrivateFolder(const QString& path) {
    QDir().mkpath(QFileInfo(path).path());
    if (::mkdir(FileName::encode(path).constData(), 0700) != 0 && errno != EEXIST)
        return false;
    return QFileInfo(path).isDir();
}

QString recordPath(const QString& trashDirectory, const QString& nameInTrash) {
    return trashDirectory + QStringLiteral("/info/") + nameInTrash + QStringLiteral(".trashinfo");
}

// Where Qt put an item counts only when it is a Trash's items folder of ours with the
// restore record beside it: the home Trash, or a volume's ".Trash-<uid>" or ".Trash/<uid>".
bool isTrashItem(const QString& inTrash, const QString& homeTrash) {
    const QFileInfo item(inTrash);
    const QString files = item.absolutePath();
    if (QFileInfo(files).fileName() != QLatin1String("files"))
        return false;
    const QString trash = QFileInfo(files).absolutePath();
    const QString uid = QString::number(::getuid());
    const QString trashName = QFileInfo(trash).fileName();
    const bool known = trash == homeTrash || trashName == QStringLiteral(".Trash-") + uid ||
                       (trashName == uid &&
                        QFileInfo(QFileInfo(trash).absolutePath()).fileName() == QLatin1String(".Trash"));
    return known && lexists(inTrash) && QFileInfo::exists(recordPath(trash, item.fileName()));
}

// Undoes a move to a place that is not a Trash: the item goes back where it was and the
// folders Qt made for it go away when they are empty.
void putBack(const QString& landed, const QString& original) {
    const QByteArray from = FileName::encode(landed);
    const QByteArray to = FileName::encode(original);
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) != 0)
        return; // leave it where it is rather than risk overwriting anything
    const QString files = QFileInfo(landed).absolutePath();
    const QString trash = QFileInfo(files).absolutePath();
    QFile::remove(recordPath(trash, QFileInfo(landed).fileName()));
    QDir(trash).rmdir(QStringLiteral("files"));
    QDir(trash).rmdir(QStringLiteral("info"));
}

QString unescapeMountField(const QByteArray& field) {
    // The kernel writes blanks, tabs, line breaks and backslashes as three octal digits.
    QByteArray out;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int value = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(field[i]);
    }
    return FileName::decode(out);
}

// File systems that are not volumes of this machine: kernel interfaces, memory, network.
bool isLocalVolumeType(const QByteArray& type) {
    static const QSet<QByteArray> excluded = {
        "proc",    "sysfs",     "devpts",  "devtmpfs",    "tmpfs",     "cgroup",   "cgroup2",
        "mqueue",  "debugfs",   "tracefs", "securityfs",  "pstore",    "bpf",      "configfs",
        "fusectl", "hugetlbfs", "autofs",  "binfmt_misc", "nsfs",      "efivarfs", "rpc_pipefs",
        "nfsd",    "selinuxfs", "ramfs",   "nfs",         "nfs4",      "cifs",     "smb3",
        "smbfs",   "9p",        "afs",     "ceph",        "glusterfs", "davfs",    "sshfs",
    };
    if (type.startsWith("fuse.") || type == "fuse")
        return false;
    return !excluded.contains(type);
}

} // namespace

QString LinuxPlatform::trashItemsFolder(const QString& trashDirectory) const {
    return trashDirectory + QStringLiteral("/files");
}

QByteArray LinuxPlatform::trashRecord(const QString& originalPath, const QDateTime& deletionDate) {
    return QByteArrayLiteral("[Trash Info]\nPath=") + QUrl::toPercentEncoding(originalPath, "/") +
           QByteArrayLiteral("\nDeletionDate=") +
           deletionDate.toLocalTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toLatin1() + '\n';
}

QString LinuxPlatform::originalPathFromTrashRecord(const QByteArray& record) {
    const QList<QByteArray> lines = record.split('\n');
    if (lines.isEmpty() || lines.first().trimmed() != "[Trash Info]")
        return QString();
    for (const QByteArray& line : lines) {
        if (line.startsWith("Path="))
            return QUrl::fromPercentEncoding(line.mid(5).trimmed());
    }
    return QString();
}

bool LinuxPlatform::hasTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const {
    return lexists(recordPath(trashDirectory, nameInTrash));
}

bool LinuxPlatform::writeTrashRecord(const QString& trashDirectory, const QString& nameInTrash,
                                     const QString& originalPath, QString* error) const {
    const QString info = trashDirectory + QStringLiteral("/info");
    if (!makePrivateFolder(info)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(info, errorText(errno));
        return false;
    }
    const QByteArray path = FileName::encode(recordPath(trashDirectory, nameInTrash));
    // Exclusive creation reserves the name, as the Trash's rules ask.
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(FileName::decode(path), errorText(errno));
        return false;
    }
    const QByteArray record = trashRecord(originalPath, QDateTime::currentDateTime());
    const bool written = ::write(fd, record.constData(), size_t(record.size())) == record.size();
    const int writeError = errno;
    // Root trashing for the user at the console leaves a record that user owns.
    struct stat folder {};
    if (::getuid() == 0 && ::stat(FileName::encode(info).constData(), &folder) == 0 && folder.st_uid != 0) {
        if (::fchown(fd, folder.st_uid, folder.st_gid) != 0) {
            // The record stays root's; the user can still remove it from a folder of theirs.
        }
    }
    ::close(fd);
    if (!written) {
        ::unlink(path.constData());
        if (error)
            *error = QStringLiteral("%1: %2").arg(FileName::decode(path), errorText(writeError));
        return false;
    }
    return true;
}

void LinuxPlatform::removeTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const {
    ::unlink(FileName::encode(recordPath(trashDirectory, nameInTrash)).constData());
}

std::optional<QString> LinuxPlatform::moveToTrash(const QString& path, const QString& trashDirectory) const {
    // QFile::moveToTrash always uses the Trash of this process's own user; a process that
    // works for somebody else (root for the console user) must not fill its own.
    const QString homeTrash = QDir::cleanPath(
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash"));
    if (trashDirectory.isEmpty() || QDir::cleanPath(trashDirectory) != homeTrash)
        return std::nullopt;
    // Qt 6.4 falls back to "files" and "info" under the working directory when it cannot
    // set up the home Trash, and reports success; so the Trash is made first and the
    // result checked.
    if (!makePrivateFolder(homeTrash) || !makePrivateFolder(homeTrash + QStringLiteral("/files")) ||
        !makePrivateFolder(homeTrash + QStringLiteral("/info")))
        return std::nullopt;
    QString inTrash;
    if (!QFile::moveToTrash(path, &inTrash))
        return std::nullopt;
    inTrash = QFileInfo(inTrash).absoluteFilePath();
    if (isTrashItem(inTrash, homeTrash) && !lexists(path))
        return inTrash;
    putBack(inTrash, path);
    return std::nullopt;
}

int LinuxPlatform::runPrivileged(const QString& tool, const QStringList& arguments, bool async) const {
    ChildProcess::Options options;
    options.path = toolPath(Tool::Pkexec);
    options.arguments = QStringList{tool} + arguments;
    auto child = std::make_shared<ChildProcess>(std::move(options));
    if (!child->launch())
        return -1;
    if (async)
        return 0; // the child is reaped when it ends
    return child->waitForExit();
}

bool LinuxPlatform::obtainPrivilege() const {
    return runPrivileged(toolPath(Tool::TrueProgram), {}, false) == 0;
}

QStringList LinuxPlatform::parseMountInfo(const QByteArray& mountInfo) {
    QStringList volumes;
    for (const QByteArray& line : mountInfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-");
        if (fields.size() < 5 || separator < 5 || separator + 1 >= fields.size())
            continue;
        if (!isLocalVolumeType(fields[separator + 1]))
            continue;
        const QString mountPoint = unescapeMountField(fields[4]);
        if (!volumes.contains(mountPoint))
            volumes << mountPoint;
    }
    return volumes;
}

QStringList LinuxPlatform::mountedLocalVolumes() const {
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parseMountInfo(file.readAll());
}

bool LinuxPlatform::isPackage(const QString& path) const {
    static const QSet<QString> packageExtensions = {
        QStringLiteral("app"),    QStringLiteral("bundle"), QStringLiteral("framework"),
        QStringLiteral("plugin"), QStringLiteral("kext"),   QStringLiteral("fcpbundle"),
        QStringLiteral("rtfd"),   QStringLiteral("pkg"),    QStringLiteral("mpkg"),
    };
    const QFileInfo info(path);
    return info.isDir() && packageExtensions.contains(info.suffix().toLower());
}

namespace {

// Only plain files and folders carry the flag; opening anything else (a device, a pipe)
// could have effects of its own.
int openForFlags(const QString& path, QString* error) {
    const QByteArray encoded = FileName::encode(path);
    struct stat info {};
    if (::lstat(encoded.constData(), &info) != 0) {
        if (error)
            *error = errorText(errno);
        return -1;
    }
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
        if (error)
            *error = errorText(EOPNOTSUPP);
        errno = EOPNOTSUPP;
        return -1;
    }
    const int fd = ::open(encoded.constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 && error)
        *error = errorText(errno);
    return fd;
}

bool flagsUnsupported(int error) {
    return error == ENOTTY || error == EOPNOTSUPP || error == EINVAL || error == ENOSYS;
}

} // namespace

std::optional<bool> LinuxPlatform::immutableFlag(const QString& path, QString* error) const {
    const int fd = openForFlags(path, error);
    if (fd < 0)
        return std::nullopt;
    int flags = 0;
    const int result = ::ioctl(fd, FS_IOC_GETFLAGS, &flags);
    const int savedErrno = errno;
    ::close(fd);
    if (result != 0) {
        if (error)
            *error = errorText(savedErrno);
        return std::nullopt;
    }
    return (flags & FS_IMMUTABLE_FL) != 0;
}

bool LinuxPlatform::setImmutableFlag(const QString& path, bool locked, QString* error) const {
    const int fd = openForFlags(path, error);
    if (fd < 0) {
        // A symbolic link or special file has no flag to clear.
        return !locked && errno == EOPNOTSUPP;
    }
    int flags = 0;
    if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0) {
        const int savedErrno = errno;
        ::close(fd);
        if (error)
            *error = errorText(savedErrno);
        return !locked && flagsUnsupported(savedErrno);
    }
    const int wanted = locked ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    bool ok = true;
    if (wanted != flags && ::ioctl(fd, FS_IOC_SETFLAGS, &wanted) != 0) {
        if (error)
            *error = errorText(errno);
        ok = false;
    }
    ::close(fd);
    return ok;
}

QString LinuxPlatform::extendedAttributeName(const QString& key) const {
    // Linux wants a namespace; a Mac name goes into the user's, as netatalk and Samba do.
    for (const char* prefix : {"user.", "trusted.", "security.", "system."}) {
        if (key.startsWith(QLatin1String(prefix)))
            return key;
    }
    return QStringLiteral("user.") + key;
}

std::pair<Tool, QStringList> LinuxPlatform::diskInfoCommand(const QString& mountPoint) const {
    return {Tool::Findmnt,
            {QStringLiteral("--json"), QStringLiteral("--bytes"), QStringLiteral("--output"),
             QStringLiteral("TARGET,SOURCE,FSTYPE,OPTIONS,LABEL,UUID,SIZE,AVAIL,USED"),
             QStringLiteral("--mountpoint"), mountPoint}};
}

std::optional<QVariantMap> LinuxPlatform::parseDiskInfo(const QByteArray& output, QString* error) const {
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(output, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error)
            *error = parseError.errorString();
        return std::nullopt;
    }
    const QJsonArray filesystems = document.object().value(QStringLiteral("filesystems")).toArray();
    if (filesystems.isEmpty() || !filesystems.first().isObject()) {
        if (error)
            *error = QStringLiteral("no file system in the output");
        return std::nullopt;
    }
    return filesystems.first().toObject().toVariantMap();
}

bool LinuxPlatform::registerApplication(const QString& path) const {
    // Desktop entries are found by the desktop itself; there is no registry to update.
    return QFileInfo(path).isDir();
}
