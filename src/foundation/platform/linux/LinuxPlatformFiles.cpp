// The Linux answers that the file operations need: the freedesktop Trash, pkexec, the
// mount table, the immutable flag and findmnt.
#include "FreedesktopTrash.h"
#include "LinuxPlatform.h"
#include "foundation/ChildProcess.h"
#include "foundation/FileName.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString errorText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

bool lexists(const QString& path) {
    struct stat info {};
    return ::lstat(FileName::encode(path).constData(), &info) == 0;
}

QString recordPath(const QString& trashDirectory, const QString& nameInTrash) {
    return trashDirectory + QStringLiteral("/info/") + nameInTrash + QStringLiteral(".trashinfo");
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

bool isNetworkType(const QByteArray& type) {
    static const QSet<QByteArray> network = {
        "nfs", "nfs4", "cifs",      "smb3",  "smbfs",          "sshfs",       "fuse.sshfs",
        "afs", "ceph", "glusterfs", "davfs", "fuse.glusterfs", "fuse.rclone", "fuse.gvfsd-fuse",
    };
    return network.contains(type);
}

// Kernel interfaces and mount triggers: nothing of a user's there, and walking an automount
// point would mount it.
bool isPseudoType(const QByteArray& type) {
    static const QSet<QByteArray> pseudo = {
        "proc",     "sysfs",      "devpts",    "devtmpfs",   "cgroup",      "cgroup2",
        "mqueue",   "debugfs",    "tracefs",   "securityfs", "pstore",      "bpf",
        "configfs", "fusectl",    "hugetlbfs", "autofs",     "binfmt_misc", "nsfs",
        "efivarfs", "rpc_pipefs", "nfsd",      "selinuxfs",
    };
    return pseudo.contains(type);
}

bool isBelow(const QString& path, const QString& folder) {
    return path.startsWith(folder) && path.size() > folder.size() && path[folder.size()] == QLatin1Char('/');
}

// The system's own folders, where a network mount is the system's business (a shared /usr,
// a diskless client's root), not a user's drive.
bool isSystemMountPoint(const QString& path) {
    static const QStringList exact = {QStringLiteral("/"), QStringLiteral("/run"), QStringLiteral("/media"),
                                      QStringLiteral("/mnt"), QStringLiteral("/run/media")};
    static const QStringList trees = {
        QStringLiteral("/proc"), QStringLiteral("/sys"),   QStringLiteral("/dev"),   QStringLiteral("/boot"),
        QStringLiteral("/usr"),  QStringLiteral("/etc"),   QStringLiteral("/bin"),   QStringLiteral("/sbin"),
        QStringLiteral("/lib"),  QStringLiteral("/lib32"), QStringLiteral("/lib64"), QStringLiteral("/var"),
        QStringLiteral("/tmp"),  QStringLiteral("/snap"),  QStringLiteral("/opt"),
    };
    if (exact.contains(path))
        return true;
    for (const QString& tree : trees) {
        if (path == tree || isBelow(path, tree))
            return true;
    }
    return false;
}

} // namespace

QString LinuxPlatform::trashItemsFolder(const QString& trashDirectory) const {
    return trashDirectory + QStringLiteral("/files");
}

QByteArray LinuxPlatform::trashRecord(const QString& originalPath, const QDateTime& deletionDate) {
    // The bytes of the path, so that a name that is not valid UTF-8 comes back as it was.
    return QByteArrayLiteral("[Trash Info]\nPath=") + FileName::encode(originalPath).toPercentEncoding("/") +
           QByteArrayLiteral("\nDeletionDate=") +
           deletionDate.toLocalTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toLatin1() + '\n';
}

QString LinuxPlatform::originalPathFromTrashRecord(const QByteArray& record) {
    const QList<QByteArray> lines = record.split('\n');
    if (lines.isEmpty() || lines.first().trimmed() != "[Trash Info]")
        return QString();
    for (const QByteArray& line : lines) {
        if (line.startsWith("Path="))
            return FileName::decode(QByteArray::fromPercentEncoding(line.mid(5).trimmed()));
    }
    return QString();
}

bool LinuxPlatform::hasTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const {
    return lexists(recordPath(trashDirectory, nameInTrash));
}

bool LinuxPlatform::writeTrashRecord(const QString& trashDirectory, const QString& nameInTrash,
                                     const QString& originalPath, QString* error) const {
    return FreedesktopTrash::writeRecord(trashDirectory, nameInTrash, originalPath, error);
}

void LinuxPlatform::removeTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const {
    ::unlink(FileName::encode(recordPath(trashDirectory, nameInTrash)).constData());
}

std::optional<QString> LinuxPlatform::moveToTrash(const QString& path, const QString& trashDirectory,
                                                  QString* error) const {
    return FreedesktopTrash(trashDirectory).moveToTrash(path, error);
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

namespace {

// One line of the mount table: the file system's type and where it is mounted.
struct Mount {
    QByteArray type;
    QString mountPoint;
};

std::optional<Mount> parseMountLine(const QByteArray& line) {
    const QList<QByteArray> fields = line.split(' ');
    const qsizetype separator = fields.indexOf("-");
    if (fields.size() < 5 || separator < 5 || separator + 1 >= fields.size())
        return std::nullopt;
    return Mount{fields[separator + 1], FreedesktopTrash::unescapeMountField(fields[4])};
}

QByteArray readMountInfo() {
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

QStringList LinuxPlatform::parseMountInfo(const QByteArray& mountInfo) {
    QStringList volumes;
    for (const QByteArray& line : mountInfo.split('\n')) {
        const std::optional<Mount> mount = parseMountLine(line);
        if (!mount || !isLocalVolumeType(mount->type))
            continue;
        if (!volumes.contains(mount->mountPoint))
            volumes << mount->mountPoint;
    }
    return volumes;
}

QStringList LinuxPlatform::mountedLocalVolumes() const {
    return parseMountInfo(readMountInfo());
}

QStringList LinuxPlatform::parseRemovableAndNetworkVolumes(const QByteArray& mountInfo) {
    QStringList volumes;
    for (const QByteArray& line : mountInfo.split('\n')) {
        const std::optional<Mount> mount = parseMountLine(line);
        if (!mount)
            continue;
        const QString& mountPoint = mount->mountPoint;
        // A later mount on a volume's mount point or above it hides the volume.
        volumes.removeIf(
            [&](const QString& volume) { return volume == mountPoint || isBelow(volume, mountPoint); });
        if (isPseudoType(mount->type) || isSystemMountPoint(mountPoint))
            continue;
        const bool removable = isBelow(mountPoint, QStringLiteral("/media")) ||
                               isBelow(mountPoint, QStringLiteral("/mnt")) ||
                               isBelow(mountPoint, QStringLiteral("/run/media"));
        if (removable || isNetworkType(mount->type))
            volumes << mountPoint;
    }
    return volumes;
}

QStringList LinuxPlatform::removableAndNetworkVolumes() const {
    return parseRemovableAndNetworkVolumes(readMountInfo());
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
    // Unlocking comes before every removal, and hardly any file is locked: where the file
    // system tells the flag without the file being opened, that answers it.
    struct statx status {};
    if (!locked &&
        ::statx(AT_FDCWD, FileName::encode(path).constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) ==
            0 &&
        (status.stx_attributes_mask & STATX_ATTR_IMMUTABLE) &&
        !(status.stx_attributes & STATX_ATTR_IMMUTABLE))
        return true;
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
