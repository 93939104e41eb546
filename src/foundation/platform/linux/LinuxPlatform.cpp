#include "LinuxPlatform.h"

#include "foundation/AppleDouble.h"
#include "foundation/DosAttrib.h"
#include "foundation/FileName.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QSysInfo>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

// A user's name and home from the password database; nothing when the user is unknown.
struct Account {
    QString name;
    QString home;
};

std::optional<Account> accountOf(std::optional<uid_t> uid, const QString& name = QString()) {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* result = nullptr;
    const QByteArray encoded = name.toLocal8Bit();
    const int rc = uid ? getpwuid_r(*uid, &entry, buffer.data(), buffer.size(), &result)
                       : getpwnam_r(encoded.constData(), &entry, buffer.data(), buffer.size(), &result);
    if (rc != 0 || !result)
        return std::nullopt;
    return Account{QString::fromLocal8Bit(result->pw_name), FileName::decode(result->pw_dir)};
}

// An XDG variable holds an absolute path or is ignored, as the base-directory rules say.
QString xdgFolder(const char* variable, const QString& home, const QString& fallback) {
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return QDir::cleanPath(home + QLatin1Char('/') + fallback);
}

QString userDirFromQt(QStandardPaths::StandardLocation location) {
    return QDir::cleanPath(QStandardPaths::writableLocation(location));
}

} // namespace

std::unique_ptr<Platform> Platform::makeNative() {
    return std::make_unique<LinuxPlatform>();
}

LinuxPlatform::LinuxPlatform() {
    setDefaultToolPaths({
        {Tool::Launchctl, QStringLiteral("/bin/launchctl")},
        {Tool::Ditto, QStringLiteral("/usr/bin/ditto")},
        {Tool::Mdfind, QStringLiteral("/usr/bin/mdfind")},
        {Tool::Killall, QStringLiteral("/usr/bin/killall")},
        {Tool::Chown, QStringLiteral("/bin/chown")},
        {Tool::Chmod, QStringLiteral("/bin/chmod")},
        {Tool::Diskutil, QStringLiteral("/usr/sbin/diskutil")},
        {Tool::Touch, QStringLiteral("/usr/bin/touch")},
        {Tool::Rm, QStringLiteral("/bin/rm")},
        {Tool::Mv, QStringLiteral("/bin/mv")},
        {Tool::Cp, QStringLiteral("/bin/cp")},
        {Tool::Mkdir, QStringLiteral("/bin/mkdir")},
        {Tool::Findmnt, QStringLiteral("/usr/bin/findmnt")},
        {Tool::Plocate, QStringLiteral("/usr/bin/plocate")},
        {Tool::Locate, QStringLiteral("/usr/bin/locate")},
        {Tool::Pkexec, QStringLiteral("/usr/bin/pkexec")},
        {Tool::Systemctl, QStringLiteral("/usr/bin/systemctl")},
        {Tool::TrueProgram, QStringLiteral("/bin/true")},
    });
}

unsigned LinuxPlatform::userId() const {
    return ::getuid();
}

QString LinuxPlatform::userName() const {
    if (const auto account = accountOf(::getuid()))
        return account->name;
    return qEnvironmentVariable("USER");
}

QString LinuxPlatform::homeDirectory() const {
    const QString home = qEnvironmentVariable("HOME");
    if (!home.isEmpty())
        return QDir::cleanPath(home);
    const auto account = accountOf(::getuid());
    return account ? account->home : QString();
}

QString LinuxPlatform::homeDirectoryOfUser(const QString& name) const {
    const auto account = accountOf(std::nullopt, name);
    return account ? account->home : QString();
}

QString LinuxPlatform::seatStateFile() const {
    return QStringLiteral("/run/systemd/seats/seat0");
}

QString LinuxPlatform::parseSeatActiveUid(const QByteArray& seatFile) {
    for (const QByteArray& line : seatFile.split('\n')) {
        if (line.startsWith("ACTIVE_UID="))
            return QString::fromLatin1(line.mid(11).trimmed());
    }
    return {};
}

QString LinuxPlatform::systemdRunningMarker() const {
    return QStringLiteral("/run/systemd/system");
}

QString LinuxPlatform::consoleUser() const {
    // Without systemd's login manager (containers, CI: a state folder left in an image does
    // not count, systemd marks a running system with /run/systemd/system), without a seat, or
    // with nobody logged in at it (a file server reached over SSH, a job of the system's own),
    // the process's own user is the one it works for: root then keeps its own settings, log
    // and Trash instead of having none.
    if (!QFileInfo(systemdRunningMarker()).isDir())
        return userName();
    QFile seat(seatStateFile());
    if (!seat.open(QIODevice::ReadOnly))
        return userName();
    bool ok = false;
    const uid_t uid = parseSeatActiveUid(seat.readAll()).toUInt(&ok);
    if (!ok)
        return userName();
    const auto account = accountOf(uid);
    return account ? account->name : QString();
}

QString LinuxPlatform::unescapeDiskLabel(const QString& label) {
    // udev writes unsafe bytes of a label as \xNN.
    QByteArray out;
    const QByteArray in = label.toUtf8();
    for (qsizetype i = 0; i < in.size(); ++i) {
        if (in[i] == '\\' && i + 3 < in.size() && in[i + 1] == 'x') {
            bool ok = false;
            const int value = in.mid(i + 2, 2).toInt(&ok, 16);
            if (ok) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(in[i]);
    }
    return QString::fromUtf8(out);
}

QString LinuxPlatform::bootVolumeName() const {
    struct stat root {};
    if (::stat("/", &root) == 0) {
        const QDir labels(QStringLiteral("/dev/disk/by-label"));
        for (const QString& name : labels.entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot)) {
            struct stat device {};
            const QByteArray path = FileName::encode(labels.filePath(name));
            if (::stat(path.constData(), &device) == 0 && S_ISBLK(device.st_mode) &&
                device.st_rdev == root.st_dev)
                return unescapeDiskLabel(name);
        }
    }
    return QSysInfo::machineHostName();
}

std::optional<OSVersion> LinuxPlatform::parseOsReleaseVersion(const QByteArray& osRelease) {
    for (const QByteArray& rawLine : osRelease.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (!line.startsWith("VERSION_ID="))
            continue;
        QByteArray value = line.mid(11);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front())
            value = value.mid(1, value.size() - 2);
        const QList<QByteArray> parts = value.split('.');
        OSVersion version;
        int* fields[] = {&version.major, &version.minor, &version.bugfix};
        for (int i = 0; i < 3 && i < parts.size(); ++i) {
            bool ok = false;
            *fields[i] = parts[i].toInt(&ok);
            if (!ok)
                return std::nullopt;
        }
        return version;
    }
    return std::nullopt;
}

std::optional<OSVersion> LinuxPlatform::osVersion() const {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        QFile file(QString::fromLatin1(path));
        if (file.open(QIODevice::ReadOnly))
            return parseOsReleaseVersion(file.read(64 * 1024));
    }
    return std::nullopt;
}

QString LinuxPlatform::osVersionText() const {
    return QSysInfo::prettyProductName();
}

QStringList LinuxPlatform::standardFolders(StandardFolder kind, Domain domain) const {
    const QString home = homeDirectory();
    const QString dataHome = xdgFolder("XDG_DATA_HOME", home, QStringLiteral(".local/share"));
    auto one = [](const QString& path) { return path.isEmpty() ? QStringList() : QStringList{path}; };

    if (domain == Domain::System) {
        if (kind == StandardFolder::SystemLibrary || kind == StandardFolder::Library)
            return {QStringLiteral("/usr/lib")};
        return {};
    }
    const bool user = domain == Domain::User;
    switch (kind) {
    case StandardFolder::Applications:
        return one(user ? dataHome + QStringLiteral("/applications")
                        : QStringLiteral("/usr/share/applications"));
    case StandardFolder::AdminApplications:
        return {};
    case StandardFolder::Documents:
        return user ? one(userDirFromQt(QStandardPaths::DocumentsLocation)) : QStringList();
    case StandardFolder::Desktop:
        return user ? one(userDirFromQt(QStandardPaths::DesktopLocation)) : QStringList();
    case StandardFolder::Movies:
        return user ? one(userDirFromQt(QStandardPaths::MoviesLocation)) : QStringList();
    case StandardFolder::Library:
    case StandardFolder::ApplicationSupport:
        return one(user ? dataHome : QStringLiteral("/usr/local/share"));
    case StandardFolder::Preferences:
        return one(user ? xdgFolder("XDG_CONFIG_HOME", home, QStringLiteral(".config"))
                        : QStringLiteral("/etc/xdg"));
    case StandardFolder::Caches:
        return one(user ? xdgFolder("XDG_CACHE_HOME", home, QStringLiteral(".cache"))
                        : QStringLiteral("/var/cache"));
    case StandardFolder::Logs:
        return one(user ? xdgFolder("XDG_STATE_HOME", home, QStringLiteral(".local/state"))
                        : QStringLiteral("/var/log"));
    case StandardFolder::Documentation:
        return user ? QStringList() : QStringList{QStringLiteral("/usr/share/doc")};
    case StandardFolder::SystemLibrary:
        return {};
    case StandardFolder::Trash:
        return user ? one(dataHome + QStringLiteral("/Trash")) : QStringList();
    case StandardFolder::LaunchAgents:
        return one(user ? xdgFolder("XDG_CONFIG_HOME", home, QStringLiteral(".config")) +
                              QStringLiteral("/systemd/user")
                        : QStringLiteral("/etc/systemd/system"));
    }
    return {};
}

QString LinuxPlatform::temporaryDirectory() const {
    return QDir::cleanPath(QDir::tempPath());
}

namespace {

// The attribute names the FinderInfo look-up just listed, kept for the file facts that a scan
// asks for the same file next: whether Samba's record is among them. Only for that file, and
// only for a moment.
struct LastListing {
    QByteArray path;
    std::chrono::steady_clock::time_point at;
    bool hasDosAttrib = true;
};
thread_local LastListing lastListing;

bool mayHaveDosAttrib(const QByteArray& path) {
    return lastListing.path != path ||
           std::chrono::steady_clock::now() - lastListing.at > std::chrono::milliseconds(100) ||
           lastListing.hasDosAttrib;
}

// One statx of name relative to folder (AT_FDCWD for a path); the Samba record, when it is
// worth a read, by the item's whole path.
std::optional<FileFacts> factsOf(int folder, const char* name, bool followLinks,
                                 const std::function<QByteArray()>& wholePath) {
    struct statx info {};
    const int flags = AT_STATX_SYNC_AS_STAT | (followLinks ? 0 : AT_SYMLINK_NOFOLLOW);
    if (::statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &info) != 0)
        return std::nullopt;
    auto toDate = [](const statx_timestamp& t) {
        return QDateTime::fromMSecsSinceEpoch(qint64(t.tv_sec) * 1000 + t.tv_nsec / 1000000, Qt::UTC);
    };
    FileFacts facts;
    facts.isDirectory = S_ISDIR(info.stx_mode);
    facts.isSymbolicLink = S_ISLNK(info.stx_mode);
    facts.size = info.stx_size;
    facts.links = info.stx_nlink;
    facts.device = (quint64(info.stx_dev_major) << 32) | info.stx_dev_minor;
    facts.inode = info.stx_ino;
    facts.modified = toDate(info.stx_mtime);
    // The one place that decides an item's creation date. A file a Mac copied to a Samba
    // share was born on the server at the copy; the date the Mac gave it is in Samba's record.
    // Such a copy keeps its older modification time, so it was born after it was modified: only
    // then (or with no birth time) is the record worth a read, which keeps huge scans fast.
    const bool bornAfterModified =
        !(info.stx_mask & STATX_BTIME) || info.stx_btime.tv_sec > info.stx_mtime.tv_sec ||
        (info.stx_btime.tv_sec == info.stx_mtime.tv_sec && info.stx_btime.tv_nsec > info.stx_mtime.tv_nsec);
    char record[DosAttrib::maxSize];
    ssize_t recordSize = -1;
    if (bornAfterModified) {
        const QByteArray path = wholePath();
        if (mayHaveDosAttrib(path))
            recordSize = followLinks
                             ? ::getxattr(path.constData(), DosAttrib::attributeName, record, sizeof record)
                             : ::lgetxattr(path.constData(), DosAttrib::attributeName, record, sizeof record);
    }
    if (recordSize > 0) {
        if (auto created = DosAttrib::createTime(QByteArrayView(record, recordSize)))
            facts.created = *created;
    }
    // Otherwise a birth time later than the last write is a copy's (cp -p, rsync -t, an unzipped
    // archive, a move from another volume): the Mac's own rule then dates the file by its
    // modification time, so copies keep their order by age.
    if (!facts.created.isValid())
        facts.created = bornAfterModified ? facts.modified : toDate(info.stx_btime);
    return facts;
}

} // namespace

std::optional<FileFacts> LinuxPlatform::fileFacts(const QString& path, bool followLinks) const {
    if (path.isEmpty())
        return std::nullopt;
    const QByteArray encoded = FileName::encode(path);
    return factsOf(AT_FDCWD, encoded.constData(), followLinks, [&encoded] { return encoded; });
}

std::optional<FileFacts> LinuxPlatform::fileFactsAt(int folder, const QString& folderPath,
                                                    const QByteArray& name) const {
    if (name.isEmpty())
        return std::nullopt;
    return factsOf(folder, name.constData(), false,
                   [&] { return FileName::encode(folderPath) + '/' + name; });
}

namespace {
constexpr int kFinderInfoSize = 32;
constexpr int kAfpInfoSize = 60;
constexpr int kAfpFinderInfoOffset = 16;

// Room for the largest record read: netatalk's metadata.
constexpr int kRecordBufferSize = 512;

std::optional<QByteArray> readAttribute(const QByteArray& path, const char* name) {
    char buffer[kRecordBufferSize];
    const ssize_t n = ::getxattr(path.constData(), name, buffer, sizeof buffer);
    if (n < 0)
        return std::nullopt;
    return QByteArray(buffer, n);
}
} // namespace

std::optional<QByteArray> LinuxPlatform::finderInfoFromAfpInfo(const QByteArray& afpInfo) {
    // "AFP\0", version 1.0, big-endian.
    if (afpInfo.size() < kAfpFinderInfoOffset + kFinderInfoSize ||
        !afpInfo.startsWith(QByteArray("AFP\0", 4)))
        return AppleDouble::finderInfo(afpInfo);
    return afpInfo.mid(kAfpFinderInfoOffset, kFinderInfoSize);
}

QByteArray LinuxPlatform::afpInfoWithFinderInfo(QByteArray afpInfo, const QByteArray& info) {
    if (const std::optional<qsizetype> at = AppleDouble::finderInfoOffset(afpInfo, afpInfo.size());
        at && !afpInfo.startsWith(QByteArray("AFP\0", 4))) {
        afpInfo.replace(*at, kFinderInfoSize, info.leftJustified(kFinderInfoSize, 0, true));
        return afpInfo;
    }
    if (afpInfo.size() < kAfpInfoSize || !afpInfo.startsWith(QByteArray("AFP\0", 4))) {
        afpInfo = QByteArray(kAfpInfoSize, 0);
        afpInfo.replace(0, 8, QByteArray("AFP\0\0\1\0\0", 8));
    }
    afpInfo.replace(kAfpFinderInfoOffset, kFinderInfoSize, info.leftJustified(kFinderInfoSize, 0, true));
    return afpInfo;
}

namespace {

// What the attribute names listed for a file say, then the attributes read: shared by the
// query by path and the one relative to an open folder.
template <typename Read>
std::optional<QByteArray> finderInfoFromListing(const QByteArray& encoded, const char* names, ssize_t length,
                                                const Read& read) {
    bool hasNetatalk = length < 0;
    bool hasStream = length < 0;
    bool hasFinderInfo = length < 0;
    bool hasDosAttrib = length < 0;
    for (ssize_t at = 0; at < length; at += ssize_t(std::strlen(names + at)) + 1) {
        hasNetatalk = hasNetatalk || std::strcmp(names + at, LinuxPlatform::netatalkAttribute) == 0;
        hasStream = hasStream || std::strcmp(names + at, LinuxPlatform::afpStreamAttribute) == 0;
        hasFinderInfo = hasFinderInfo || std::strcmp(names + at, LinuxPlatform::finderInfoAttribute) == 0;
        hasDosAttrib = hasDosAttrib || std::strcmp(names + at, DosAttrib::attributeName) == 0;
    }
    lastListing = LastListing{encoded, std::chrono::steady_clock::now(), hasDosAttrib};
    for (const auto& [has, attribute] : {std::pair{hasNetatalk, LinuxPlatform::netatalkAttribute},
                                         {hasStream, LinuxPlatform::afpStreamAttribute}}) {
        if (!has)
            continue;
        if (auto afp = read(attribute)) {
            if (auto info = LinuxPlatform::finderInfoFromAfpInfo(*afp))
                return info;
        }
    }
    if (hasFinderInfo) {
        if (auto info = read(LinuxPlatform::finderInfoAttribute); info && info->size() >= kFinderInfoSize)
            return info->left(kFinderInfoSize);
    }
    return AppleDouble::readFinderInfo(FileName::decode(encoded));
}

// The attribute calls relative to an open folder (Linux 6.13 on; the same numbers on every
// architecture) spare a walk of the whole path per file. Where the kernel has none, or a
// call fails, the query by path answers as before.
constexpr long kGetXattrAt = 464;
constexpr long kListXattrAt = 465;
struct XattrArgs {
    quint64 value;
    quint32 size;
    quint32 flags;
};
std::atomic<bool> noXattrAt{false};

} // namespace

std::optional<QByteArray> LinuxPlatform::finderInfo(const QString& path) const {
    const QByteArray encoded = FileName::encode(path);
    // Most files carry neither attribute, and the folder scan asks for every file: one
    // listing of the names costs less than two reads that fail. When the names cannot be
    // listed (too many to fit), both are read.
    char names[1024];
    const ssize_t length = ::listxattr(encoded.constData(), names, sizeof names);
    return finderInfoFromListing(encoded, names, length,
                                 [&encoded](const char* name) { return readAttribute(encoded, name); });
}

std::optional<QByteArray> LinuxPlatform::finderInfoAt(int folder, const QString& folderPath,
                                                      const QByteArray& name) const {
    const QByteArray encoded = FileName::encode(folderPath) + '/' + name;
    char names[1024];
    const long length =
        noXattrAt.load(std::memory_order_relaxed)
            ? -1
            : ::syscall(kListXattrAt, folder, name.constData(), AT_SYMLINK_NOFOLLOW, names, sizeof names);
    if (length < 0) {
        if (errno == ENOSYS)
            noXattrAt.store(true, std::memory_order_relaxed);
        return finderInfo(FileName::decode(encoded));
    }
    return finderInfoFromListing(
        encoded, names, length, [&](const char* attribute) -> std::optional<QByteArray> {
            char buffer[kRecordBufferSize];
            XattrArgs args{quint64(quintptr(buffer)), quint32(sizeof buffer), 0};
            const long n = ::syscall(kGetXattrAt, folder, name.constData(), AT_SYMLINK_NOFOLLOW, attribute,
                                     &args, sizeof args);
            if (n < 0)
                return std::nullopt;
            return QByteArray(buffer, qsizetype(n));
        });
}

bool LinuxPlatform::setFinderInfo(const QString& path, const QByteArray& info) const {
    const QByteArray encoded = FileName::encode(path);
    const QByteArray padded = info.leftJustified(kFinderInfoSize, 0, true);
    // Keep a share's own record current when there is one, so the Mac sees the change.
    for (const char* attribute : {netatalkAttribute, afpStreamAttribute}) {
        if (auto afp = readAttribute(encoded, attribute)) {
            const QByteArray record = afpInfoWithFinderInfo(*afp, padded);
            return ::setxattr(encoded.constData(), attribute, record.constData(), size_t(record.size()), 0) ==
                   0;
        }
    }
    return ::setxattr(encoded.constData(), finderInfoAttribute, padded.constData(), size_t(padded.size()),
                      0) == 0;
}
