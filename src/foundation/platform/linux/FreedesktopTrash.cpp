#include "FreedesktopTrash.h"

#include "LinuxPlatform.h"
#include "foundation/CheckedCopy.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/RealPath.h"
#include "foundation/TrashBatch.h"
#include "foundation/UniqueFd.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kRecordSuffix[] = ".trashinfo";
// NAME_MAX less the record's suffix: the longest name whose record can still be made.
constexpr qsizetype kLongestName = 255 - qsizetype(sizeof(kRecordSuffix) - 1);

QString cause(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

QString shown(const QByteArray& path) {
    return FileName::displayText(FileName::decode(path));
}

QByteArray join(const QByteArray& folder, const QByteArray& name) {
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

// The user whose Trash is filled. Root working for somebody else gives what it makes to that
// user, so that their file manager can empty it.
struct Owner {
    uid_t uid = 0;
    gid_t gid = 0;
    bool giveAway = false;
};

// The status of the path, or of its nearest existing parent folder.
struct stat nearestExisting(QByteArray path) {
    struct stat info {};
    while (::stat(path.constData(), &info) != 0) {
        const qsizetype slash = path.lastIndexOf('/');
        if (slash <= 0) {
            ::stat("/", &info);
            break;
        }
        path.truncate(slash);
    }
    return info;
}

Owner ownerOf(const struct stat& homeTrash) {
    if (::geteuid() != 0)
        return {::getuid(), ::getgid(), false};
    return {homeTrash.st_uid, homeTrash.st_gid, homeTrash.st_uid != 0};
}

// A private folder of the Trash, made when missing. Where the Trash's rules want a real
// folder (on other volumes, anybody may have put a link there) a link is refused.
bool makeTrashFolder(const QByteArray& path, const Owner& owner, bool mustBeReal, QString* error) {
    if (::mkdir(path.constData(), 0700) == 0) {
        if (owner.giveAway && ::chown(path.constData(), owner.uid, owner.gid) != 0) {
            const int failure = errno;
            ::rmdir(path.constData());
            *error = QStringLiteral("cannot make the Trash folder %1: %2").arg(shown(path), cause(failure));
            return false;
        }
    } else if (errno != EEXIST) {
        *error = QStringLiteral("cannot make the Trash folder %1: %2").arg(shown(path), cause(errno));
        return false;
    }
    struct stat info {};
    const int status = mustBeReal ? ::lstat(path.constData(), &info) : ::stat(path.constData(), &info);
    if (status != 0) {
        *error = QStringLiteral("cannot use the Trash folder %1: %2").arg(shown(path), cause(errno));
        return false;
    }
    if (S_ISLNK(info.st_mode)) {
        *error = QStringLiteral("the Trash folder %1 is a symbolic link").arg(shown(path));
        return false;
    }
    if (!S_ISDIR(info.st_mode)) {
        *error = QStringLiteral("cannot use the Trash folder %1: %2").arg(shown(path), cause(ENOTDIR));
        return false;
    }
    if (mustBeReal && info.st_uid != owner.uid) {
        *error = QStringLiteral("the Trash folder %1 belongs to another user").arg(shown(path));
        return false;
    }
    return true;
}

// The home Trash and the folders above it that are missing.
bool makeHomeTrash(const QByteArray& trash, const Owner& owner, QString* error) {
    std::vector<QByteArray> missing;
    struct stat info {};
    for (QByteArray path = trash; !path.isEmpty() && ::stat(path.constData(), &info) != 0;
         path.truncate(path.lastIndexOf('/')))
        missing.push_back(path);
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
        if (!makeTrashFolder(*it, owner, false, error))
            return false;
    }
    return makeTrashFolder(trash, owner, false, error) &&
           makeTrashFolder(trash + "/files", owner, false, error) &&
           makeTrashFolder(trash + "/info", owner, false, error);
}

// Creates the record exclusively (that is what reserves the name) and puts it down
// completely, synced unless the caller syncs it with others; such a caller is handed the
// record still open. 0, or the errno of the step that failed; the record is then gone.
int createRecord(const QByteArray& recordPath, const QByteArray& contents, const Owner& owner,
                 int* keptOpen = nullptr) {
    const bool sync = !keptOpen;
    const int fd = ::open(recordPath.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    int failure = 0;
    for (qsizetype done = 0; done < contents.size();) {
        const ssize_t written = ::write(fd, contents.constData() + done, size_t(contents.size() - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            failure = written < 0 ? errno : ENOSPC;
            break;
        }
        done += written;
    }
    if (!failure && owner.giveAway && ::fchown(fd, owner.uid, owner.gid) != 0) {
        // The record stays root's; its user can still remove it from a folder of theirs.
    }
    if (!failure && sync && ::fsync(fd) != 0)
        failure = errno;
    if (!failure && keptOpen) {
        *keptOpen = fd;
        return 0;
    }
    if (::close(fd) != 0 && !failure)
        failure = errno;
    if (failure)
        ::unlink(recordPath.constData());
    return failure;
}

QByteArray recordOf(const QByteArray& trash, const QByteArray& nameInTrash) {
    return trash + "/info/" + nameInTrash + kRecordSuffix;
}

// A name in the Trash with its record written; nothing, with the cause, when none could be had.
std::optional<QByteArray> reserveName(const QByteArray& trash, const QString& name,
                                      const QByteArray& contents, const Owner& owner, QString* error,
                                      int* keptOpen = nullptr) {
    // In a batch, the names this run took are not tried again: items of the same name, one
    // from each project, would otherwise try every name taken before theirs.
    TrashBatch* batch = TrashBatch::current();
    const QByteArray taken = trash + '/' + FileName::encode(name);
    for (int attempt = batch ? batch->namesTaken.value(taken) : 0;
         attempt < FreedesktopTrash::maxNameAttempts; ++attempt) {
        const QByteArray candidate = FileName::encode(FreedesktopTrash::nameInTrash(name, attempt));
        const QByteArray record = recordOf(trash, candidate);
        const int failure = createRecord(record, contents, owner, keptOpen);
        if (failure == EEXIST)
            continue;
        if (failure) {
            *error =
                QStringLiteral("cannot write the restore record %1: %2").arg(shown(record), cause(failure));
            return std::nullopt;
        }
        // An item left in "files" without a record still holds its name.
        struct stat info {};
        if (::lstat((trash + "/files/" + candidate).constData(), &info) == 0) {
            ::unlink(record.constData());
            if (keptOpen)
                ::close(*keptOpen);
            continue;
        }
        if (batch)
            batch->namesTaken.insert(taken, attempt + 1);
        return candidate;
    }
    *error = QStringLiteral("the Trash %1 already holds %2 items of that name")
                 .arg(shown(trash))
                 .arg(FreedesktopTrash::maxNameAttempts);
    return std::nullopt;
}

// The item being trashed, as found before anything was done to it.
struct Item {
    QByteArray source; // the parent folder resolved, the item itself not followed
    QString original;
    QString name;
    struct stat status {};
};

struct Outcome {
    std::optional<QString> inTrash;
    QString error;
    int renameFailure = 0; // the rename's errno when the rename was the step that failed
};

// The record written ahead for the item, when it is still there as made and names the item
// as it is now; nothing otherwise (a record that no longer fits is removed).
std::optional<QByteArray> recordWrittenAhead(const Item& item, const QByteArray& trash,
                                             std::optional<TrashBatch::Record> ahead) {
    if (!ahead)
        return std::nullopt;
    struct stat info {};
    if (ahead->trash == trash && ahead->original == item.source &&
        ::lstat(ahead->file.constData(), &info) == 0 && S_ISREG(info.st_mode) &&
        info.st_ino == ahead->inode && info.st_dev == ahead->device)
        return ahead->name;
    TrashBatch::removeRecord(*ahead);
    return std::nullopt;
}

// Renames the item into a Trash after its record is written (or uses the one written ahead).
Outcome renameInto(const Item& item, const QByteArray& trash, const Owner& owner, bool mustBeReal,
                   std::optional<TrashBatch::Record> ahead = std::nullopt) {
    Outcome outcome;
    // The home Trash's folders are made by the caller, once for a whole batch.
    if (mustBeReal && (!makeTrashFolder(trash + "/files", owner, mustBeReal, &outcome.error) ||
                       !makeTrashFolder(trash + "/info", owner, mustBeReal, &outcome.error))) {
        if (ahead)
            TrashBatch::removeRecord(*ahead);
        return outcome;
    }
    std::optional<QByteArray> name = recordWrittenAhead(item, trash, std::move(ahead));
    if (!name) {
        const QByteArray contents = LinuxPlatform::trashRecord(item.original, QDateTime::currentDateTime());
        name = reserveName(trash, item.name, contents, owner, &outcome.error);
    }
    if (!name)
        return outcome;
    const QByteArray target = trash + "/files/" + *name;
    int result =
        ::renameat2(AT_FDCWD, item.source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
        // A file system without no-replace renames; the reserved name keeps others away.
        struct stat existing {};
        if (::lstat(target.constData(), &existing) != 0)
            result = ::rename(item.source.constData(), target.constData());
        else
            errno = EEXIST;
    }
    if (result != 0) {
        outcome.renameFailure = errno;
        outcome.error =
            QStringLiteral("cannot move it into %1: %2").arg(shown(trash + "/files"), cause(errno));
        ::unlink(recordOf(trash, *name).constData());
        return outcome;
    }
    struct stat landed {
    }, left{};
    const bool arrived = ::lstat(target.constData(), &landed) == 0 && landed.st_ino == item.status.st_ino &&
                         landed.st_dev == item.status.st_dev;
    const bool gone = ::lstat(item.source.constData(), &left) != 0 || left.st_ino != item.status.st_ino ||
                      left.st_dev != item.status.st_dev;
    if (!arrived || !gone) {
        outcome.error = QStringLiteral("it was not found in %1 after the move").arg(shown(target));
        return outcome;
    }
    outcome.inTrash = FileName::decode(target);
    return outcome;
}

// Removes a copy that this run made in the Trash, deepest entries first.
void removeOwnCopy(const QByteArray& path) {
    struct stat info {};
    if (::lstat(path.constData(), &info) != 0)
        return;
    if (S_ISDIR(info.st_mode)) {
        if (DIR* dir = ::opendir(path.constData())) {
            std::vector<QByteArray> names;
            while (dirent* entry = ::readdir(dir)) {
                if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                    names.emplace_back(entry->d_name);
            }
            ::closedir(dir);
            for (const QByteArray& name : names)
                removeOwnCopy(path + '/' + name);
        }
        ::rmdir(path.constData());
    } else {
        ::unlink(path.constData());
    }
}

// Copies the item into the home Trash, checks the copy and only then removes the original.
Outcome copyInto(const Item& item, const QByteArray& trash, const Owner& owner) {
    Outcome outcome;
    const QByteArray parent = item.source.left(std::max<qsizetype>(item.source.lastIndexOf('/'), 1));
    if (::access(parent.constData(), W_OK) != 0) {
        outcome.error = QStringLiteral("cannot remove it from %1: %2").arg(shown(parent), cause(errno));
        return outcome;
    }
    const QByteArray contents = LinuxPlatform::trashRecord(item.original, QDateTime::currentDateTime());
    const std::optional<QByteArray> name = reserveName(trash, item.name, contents, owner, &outcome.error);
    if (!name)
        return outcome;
    const QByteArray copy = trash + "/files/" + *name;
    const QByteArray record = recordOf(trash, *name);
    QString why;
    CheckedCopy checked;
    if (!FileTree::copyItem(FileName::decode(item.source), FileName::decode(copy), &why)) {
        const int failure = errno;
        removeOwnCopy(copy);
        ::unlink(record.constData());
        outcome.error =
            QStringLiteral("cannot copy it into %1: %2").arg(shown(trash + "/files"), cause(failure));
        return outcome;
    }
    if (!checked.check(item.source, copy, &why)) {
        removeOwnCopy(copy);
        ::unlink(record.constData());
        outcome.error = QStringLiteral("its copy in the Trash could not be checked: %1").arg(why);
        return outcome;
    }
    if (!checked.removeOriginal(&why)) {
        // The checked copy and its record stay: the data is in both places rather than neither.
        outcome.error = QStringLiteral("it was copied to the Trash as %1, but %2").arg(shown(copy), why);
        return outcome;
    }
    outcome.inTrash = FileName::decode(copy);
    return outcome;
}

// The volume's Trash for the user: an administrator's sticky ".Trash" with the user's own
// folder in it, else the user's ".Trash-$uid". Empty, with the reason, when neither can be
// used.
QByteArray volumeTrash(const QByteArray& topdir, const Owner& owner, QString* error) {
    const QByteArray uid = QByteArray::number(owner.uid);
    const QByteArray shared = join(topdir, ".Trash");
    struct stat info {};
    QString sharedError;
    if (::lstat(shared.constData(), &info) == 0 && S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX) &&
        makeTrashFolder(join(shared, uid), owner, true, &sharedError))
        return join(shared, uid);
    const QByteArray own = join(topdir, ".Trash-" + uid);
    if (makeTrashFolder(own, owner, true, error))
        return own;
    return QByteArray();
}

// The item as found before anything is done to it: its folder resolved, the item itself not
// followed. Nothing, with the cause, when it cannot be found. Folders already resolved may be
// given: records written ahead are checked again when their items go.
std::optional<Item> findItem(const QString& path, QString* error,
                             QHash<QByteArray, QByteArray>* resolved = nullptr) {
    const QString absolute =
        QDir::cleanPath(QDir::isAbsolutePath(path) ? path : QDir::current().absoluteFilePath(path));
    const qsizetype slash = absolute.lastIndexOf(QLatin1Char('/'));
    Item item;
    item.name = absolute.mid(slash + 1);
    if (item.name.isEmpty() || item.name == QLatin1String("..")) {
        *error = cause(EINVAL);
        return std::nullopt;
    }
    const QByteArray folder = FileName::encode(absolute.left(std::max<qsizetype>(slash, 1)));
    QByteArray real = resolved ? resolved->value(folder) : QByteArray();
    if (real.isEmpty()) {
        int failure = 0;
        real = RealPath::of(folder, &failure);
        if (real.isEmpty()) {
            *error = cause(failure);
            return std::nullopt;
        }
        if (resolved)
            resolved->insert(folder, real);
    }
    item.source = join(real, FileName::encode(item.name));
    item.original = FileName::decode(item.source);
    if (::lstat(item.source.constData(), &item.status) != 0) {
        *error = cause(errno);
        return std::nullopt;
    }
    return item;
}

// How many of a batch's items have their records written ahead at a time, and how many of
// their syncs are in flight at once.
constexpr qsizetype kRecordsAhead = 128;
constexpr int kSyncsInFlight = 8;

// Writes the records of the batch's next items bound for the home Trash, then syncs them:
// the first sync puts them all on the disk, so the others cost next to nothing. Each is in
// place and synced before its item is renamed, as when written one by one.
void writeRecordsAhead(TrashBatch& batch, qsizetype from, const QByteArray& home, dev_t homeDevice,
                       const Owner& owner) {
    const qsizetype end = std::min(batch.paths().size(), from + kRecordsAhead);
    batch.setRecordsThrough(end);
    struct Written {
        QString path;
        TrashBatch::Record record;
        int fd = -1;
    };
    std::vector<Written> written;
    const QDateTime now = QDateTime::currentDateTime();
    QHash<QByteArray, QByteArray> folders;
    for (qsizetype i = from; i < end; ++i) {
        QString ignored;
        const std::optional<Item> item = findItem(batch.paths()[i], &ignored, &folders);
        if (!item || item->status.st_dev != homeDevice || home == item->source ||
            home.startsWith(item->source + '/'))
            continue;
        int fd = -1;
        const std::optional<QByteArray> name = reserveName(
            home, item->name, LinuxPlatform::trashRecord(item->original, now), owner, &ignored, &fd);
        if (!name)
            continue;
        TrashBatch::Record record{home, *name, item->source, recordOf(home, *name), 0, 0};
        struct stat info {};
        if (::fstat(fd, &info) != 0) {
            ::close(fd);
            ::unlink(record.file.constData());
            continue;
        }
        record.device = info.st_dev;
        record.inode = info.st_ino;
        written.push_back({batch.paths()[i], std::move(record), fd});
    }
    // The records' contents start for the disk together; each sync then mostly waits for
    // what is already on its way, and finds the blocks it shares with the others written.
    for (const Written& each : written)
        ::sync_file_range(each.fd, 0, 0, SYNC_FILE_RANGE_WRITE);
    // Syncs in flight together share the disk's cache flushes, which one after another each
    // wait for on their own.
    std::vector<char> synced(written.size(), 0);
    std::atomic<size_t> next{0};
    const auto syncSome = [&] {
        for (size_t i = next++; i < written.size(); i = next++)
            synced[i] = ::fsync(written[i].fd) == 0;
    };
    std::vector<std::thread> syncers;
    try {
        for (int i = 1; i < kSyncsInFlight && size_t(i) < written.size(); ++i)
            syncers.emplace_back(syncSome);
    } catch (const std::system_error&) {
        // No more threads to be had: the ones there are, this one included, sync the rest.
    }
    syncSome();
    for (std::thread& syncer : syncers)
        syncer.join();
    for (size_t i = 0; i < written.size(); ++i) {
        ::close(written[i].fd);
        if (synced[i])
            batch.addRecord(written[i].path, std::move(written[i].record));
        else
            TrashBatch::removeRecord(written[i].record);
    }
}

} // namespace

FreedesktopTrash::FreedesktopTrash(QString homeTrash) : m_homeTrash(std::move(homeTrash)) {
}

std::optional<QString> FreedesktopTrash::moveToTrash(const QString& path, QString* error) const {
    auto fail = [&](const QString& text) -> std::optional<QString> {
        if (error)
            *error = text;
        return std::nullopt;
    };
    if (m_homeTrash.isEmpty())
        return fail(QStringLiteral("there is no Trash folder"));
    // The item's own folder resolved, so that the steps act on the real place and the record
    // names it; the item itself, a link perhaps, is not followed.
    QString notFound;
    const std::optional<Item> found = findItem(path, &notFound);
    if (!found)
        return fail(notFound);
    const Item& item = *found;

    const QByteArray home = FileName::encode(QDir::cleanPath(m_homeTrash));
    if (home == item.source || home.startsWith(item.source + '/'))
        return fail(QStringLiteral("it holds the Trash %1").arg(shown(home)));
    // A batch makes the home Trash ready for its first item and takes it as it is after that.
    TrashBatch* batch = TrashBatch::current();
    const bool ready = batch && batch->folders.homeTrashReady == home;
    const struct stat homeStatus = ready ? batch->folders.homeTrashStatus : nearestExisting(home);
    const Owner owner = ownerOf(homeStatus);

    if (item.status.st_dev == homeStatus.st_dev) {
        QString setupError;
        if (!ready && !makeHomeTrash(home, owner, &setupError))
            return fail(setupError);
        if (batch && !ready) {
            batch->folders.homeTrashReady = home;
            batch->folders.homeTrashStatus = homeStatus;
        }
        std::optional<TrashBatch::Record> ahead;
        if (batch) {
            const qsizetype index = batch->indexOf(path);
            if (index >= batch->recordsThrough())
                writeRecordsAhead(*batch, index, home, homeStatus.st_dev, owner);
            if (index >= 0)
                ahead = batch->takeRecord(path);
        }
        Outcome outcome = renameInto(item, home, owner, false, std::move(ahead));
        // Emptied or removed by something else since the batch made it: made again, tried again.
        struct stat files {
        }, info{};
        if (!outcome.inTrash && ready &&
            (::stat((home + "/files").constData(), &files) != 0 ||
             ::stat((home + "/info").constData(), &info) != 0) &&
            makeHomeTrash(home, owner, &setupError))
            outcome = renameInto(item, home, owner, false);
        if (outcome.inTrash || outcome.renameFailure != EXDEV)
            return outcome.inTrash ? outcome.inTrash : fail(outcome.error);
    }

    // Another volume: its own Trash at the top of the mount.
    QFile mounts(QStringLiteral("/proc/self/mountinfo"));
    const QString folder =
        FileName::decode(item.source.left(std::max<qsizetype>(item.source.lastIndexOf('/'), 1)));
    const QString topdir =
        mounts.open(QIODevice::ReadOnly) ? mountPointOf(folder, mounts.readAll()) : QString();
    if (!topdir.isEmpty()) {
        QString volumeError;
        const QByteArray trash = volumeTrash(FileName::encode(topdir), owner, &volumeError);
        if (!trash.isEmpty()) {
            Outcome outcome = renameInto(item, trash, owner, true);
            if (outcome.inTrash)
                return outcome.inTrash;
            if (outcome.renameFailure && outcome.renameFailure != EXDEV)
                return fail(outcome.error);
        }
    }

    // Neither: a checked copy in the home Trash.
    QString setupError;
    if (!makeHomeTrash(home, owner, &setupError))
        return fail(setupError);
    Outcome outcome = copyInto(item, home, owner);
    return outcome.inTrash ? outcome.inTrash : fail(outcome.error);
}

bool FreedesktopTrash::writeRecord(const QString& trashDirectory, const QString& nameInTrash,
                                   const QString& originalPath, QString* error) {
    const QByteArray trash = FileName::encode(trashDirectory);
    const QByteArray info = trash + "/info";
    if (::mkdir(info.constData(), 0700) != 0 && errno != EEXIST) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(shown(info), cause(errno));
        return false;
    }
    struct stat folder {};
    if (::stat(info.constData(), &folder) != 0) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(shown(info), cause(errno));
        return false;
    }
    // Root trashing for the user at the console leaves a record that user owns.
    const Owner owner{folder.st_uid, folder.st_gid, ::geteuid() == 0 && folder.st_uid != 0};
    const QByteArray record = recordOf(trash, FileName::encode(nameInTrash));
    const int failure =
        createRecord(record, LinuxPlatform::trashRecord(originalPath, QDateTime::currentDateTime()), owner);
    if (failure) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(shown(record), cause(failure));
        return false;
    }
    return true;
}

QString FreedesktopTrash::nameInTrash(const QString& name, int attempt) {
    const QString suffix = attempt == 0 ? QString() : QStringLiteral(" %1").arg(attempt + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    QString stem = name;
    QString extension;
    // A leading dot names a hidden file, not an extension; a very long one is no extension.
    if (dot > 0 && FileName::encode(name.mid(dot)).size() <= kLongestName / 4) {
        stem = name.left(dot);
        extension = name.mid(dot);
    }
    const qsizetype room = kLongestName - FileName::encode(suffix + extension).size();
    while (!stem.isEmpty() && FileName::encode(stem).size() > room) {
        const bool pair =
            stem.size() >= 2 && stem.back().isLowSurrogate() && stem[stem.size() - 2].isHighSurrogate();
        stem.chop(pair ? 2 : 1);
    }
    return stem + suffix + extension;
}

QString FreedesktopTrash::unescapeMountField(const QByteArray& field) {
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

QString FreedesktopTrash::mountPointOf(const QString& path, const QByteArray& mountInfo) {
    QString best;
    for (const QByteArray& line : mountInfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 5)
            continue;
        const QString mountPoint = unescapeMountField(fields[4]);
        const bool holds = mountPoint == QLatin1String("/") || path == mountPoint ||
                           path.startsWith(mountPoint + QLatin1Char('/'));
        // Later mounts cover earlier ones at the same place.
        if (holds && mountPoint.size() >= best.size())
            best = mountPoint;
    }
    return best;
}
