#include "TrashRestore.h"

#include "LocationLocks.h"
#include "RemovalJournal.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "editorprefs/InputFile.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/LocationLock.h"
#include "foundation/PathText.h"
#include "foundation/RealPath.h"
#include "foundation/UniqueFd.h"
#include "foundation/platform/Platform.h"
#if defined(Q_OS_LINUX)
#include "foundation/platform/linux/FreedesktopTrash.h"
#endif

#include <QDir>
#include <QFile>
#include <QSet>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kRecordSuffix[] = ".trashinfo";

// Only a regular file: a named pipe put among the records would block the reader for good.
QByteArray readSmallFile(const QString& path, qint64 limit = 64 * 1024) {
    return InputFile::readAll(path, limit).value_or(QByteArray());
}

// A '%' that starts no escape stays as it is, as trash-cli reads it: a record edited by hand
// would otherwise name another file.
QByteArray decodePercents(const QByteArray& text) {
    const auto hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    QByteArray bytes;
    bytes.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hex(text[i + 1]) && hex(text[i + 2])) {
            bytes += char(text.mid(i + 1, 2).toInt(nullptr, 16));
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

// The top of the volume of a ".Trash-$uid" or ".Trash/$uid".
QString volumeTop(const QString& trash) {
    const QString above = PathText::deletingLastComponent(trash);
    return PathText::lastComponent(above) == QLatin1String(".Trash") ? PathText::deletingLastComponent(above)
                                                                     : above;
}

bool isInside(const QString& path, const QString& folder) {
    if (folder.isEmpty())
        return false;
    const QString prefix = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    return path.startsWith(prefix) && path.size() > prefix.size();
}

// Each location as written and as resolved: the Trash records the resolved path.
QStringList spellings(const QStringList& locations) {
    QStringList all;
    for (const QString& location : locations) {
        all << QDir::cleanPath(location);
        const QString canonical = LocationLock::canonicalLocation(location);
        if (canonical != all.last())
            all << QDir::cleanPath(canonical);
    }
    return all;
}

// A folder that is no link, of that owner, sticky where asked.
[[maybe_unused]] bool isRealFolder(const QString& path, std::optional<uint> owner, bool sticky) {
    struct stat info {};
    return ::lstat(FileName::encode(path).constData(), &info) == 0 && S_ISDIR(info.st_mode) &&
           (!owner || info.st_uid == *owner) && (!sticky || (info.st_mode & S_ISVTX));
}

bool lexists(const QByteArray& path) {
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0;
}

QString cause(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// Makes the missing folders above a path, top down; those it made, deepest last.
bool makeParents(const QString& path, QStringList& made, QString* error) {
    QStringList missing;
    QString folder = PathText::deletingLastComponent(path);
    while (!folder.isEmpty() && folder != QLatin1String("/") && !lexists(FileName::encode(folder))) {
        missing.prepend(folder);
        folder = PathText::deletingLastComponent(folder);
    }
    for (const QString& each : missing) {
        if (::mkdir(FileName::encode(each).constData(), 0777) != 0) {
            const int failure = errno;
            *error = QStringLiteral("cannot make the folder %1: %2")
                         .arg(FileName::displayText(each), cause(failure));
            return false;
        }
        made << each;
    }
    return true;
}

void removeMadeFolders(const QStringList& made) {
    // rmdir only: a folder that something else filled meanwhile stays.
    for (auto it = made.rbegin(); it != made.rend(); ++it)
        ::rmdir(FileName::encode(*it).constData());
}

// The autosave location an item was removed from: the nearest folder above it that is one,
// else the folder it was in.
QString locationOf(const QString& originalPath) {
    const QString parent = PathText::deletingLastComponent(originalPath);
    for (QString folder = parent; !folder.isEmpty() && folder != QLatin1String("/");
         folder = PathText::deletingLastComponent(folder)) {
        if (AutosaveFolderScanner::layoutForFolder(folder) != AutosaveFolderScanner::Layout::None)
            return folder;
    }
    return parent;
}

enum class Outcome { Restored, Refused, Failed };

Outcome restoreItem(const TrashedItem& item, QString* reason) {
    const QString shown = FileName::displayText(item.originalPath);
    // First, as a list shown a while ago may be stale: another run may have put it back.
    if (!lexists(FileName::encode(item.pathInTrash))) {
        *reason = QStringLiteral("%1: its item in the Trash, %2, is gone")
                      .arg(shown, FileName::displayText(item.pathInTrash));
        return Outcome::Failed;
    }
    if (FileTree::exists(item.originalPath)) {
        *reason = QStringLiteral("%1: something already stands there; it stays in the Trash").arg(shown);
        return Outcome::Refused;
    }
    // Only project folders are made again: a location that is not there may be a volume not
    // mounted, and an item put under its mount point would be hidden once it is.
    const QString locationFolder = locationOf(item.originalPath);
    if (!BMFileManager::isDirectoryAtPath(locationFolder)) {
        *reason =
            QStringLiteral("%1: its location %2 is not there (a volume not mounted?); it stays in the Trash")
                .arg(shown, FileName::displayText(locationFolder));
        return Outcome::Failed;
    }
    QStringList made;
    QString why;
    if (!makeParents(item.originalPath, made, &why)) {
        removeMadeFolders(made);
        *reason = QStringLiteral("%1: %2; it stays in the Trash").arg(shown, why);
        return Outcome::Failed;
    }
    // The item goes to the real folder, which a link on the way may have moved.
    const QString parent = PathText::deletingLastComponent(item.originalPath);
    int failure = 0;
    const QByteArray realBytes = RealPath::of(FileName::encode(parent), &failure);
    if (realBytes.isEmpty()) {
        removeMadeFolders(made);
        *reason = QStringLiteral("%1: %2; it stays in the Trash").arg(shown, cause(failure));
        return Outcome::Failed;
    }
    const QString realParent = FileName::decode(realBytes);
    // A folder on the way replaced by a link must not take the item out of its location.
    const QString location = LocationLock::canonicalLocation(locationFolder);
    if (realParent != location && !isInside(realParent, location)) {
        removeMadeFolders(made);
        *reason = QStringLiteral("%1: a link on the way leads outside the location %2, to %3; it stays in "
                                 "the Trash")
                      .arg(shown, FileName::displayText(location), FileName::displayText(realParent));
        return Outcome::Failed;
    }
    struct stat parentInfo {};
    if (::stat(realBytes.constData(), &parentInfo) == 0 && !S_ISDIR(parentInfo.st_mode)) {
        removeMadeFolders(made);
        *reason = QStringLiteral("%1: %2 is a file now, not a folder; it stays in the Trash")
                      .arg(shown, FileName::displayText(realParent));
        return Outcome::Failed;
    }
    const QString destination =
        PathText::appendingComponent(realParent, PathText::lastComponent(item.originalPath));
    if (!FileTree::moveItem(item.pathInTrash, destination, &why)) {
        const bool standing = errno == EEXIST;
        // A copy that was made back and could not be checked is gone again; one whose Trash
        // original could not be removed leaves the item in both places, and its record too.
        if (!FileTree::exists(destination))
            removeMadeFolders(made);
        *reason = QStringLiteral("%1: %2; it stays in the Trash").arg(shown, why);
        if (standing)
            *reason = QStringLiteral("%1: something already stands there; it stays in the Trash").arg(shown);
        return standing ? Outcome::Refused : Outcome::Failed;
    }
    if (::unlink(FileName::encode(item.recordPath).constData()) != 0 && errno != ENOENT) {
        const int failure = errno;
        // Back in place; only the Trash keeps a record without an item.
        *reason = QStringLiteral("%1 is back, but its restore record %2 could not be removed: %3")
                      .arg(shown, FileName::displayText(item.recordPath), cause(failure));
    }
    return Outcome::Restored;
}

// The newest of the items from a path, when the filter accepts one.
template <typename Accept>
std::optional<TrashedItem> newestFrom(const QList<TrashedItem>& items, const QString& path,
                                      const Accept& accept) {
    for (const TrashedItem& item : items) {
        if (item.originalPath == path && accept(item))
            return item;
    }
    return std::nullopt;
}

// A stop asked for while another run held a location: nothing was put back, and that is no
// failure of its own.
void stoppedWaiting(RestoreReport& report, const CancelFlag* cancel) {
    if (!isCancelled(cancel))
        return;
    report.error.clear();
    report.cancelled = true;
}

} // namespace

std::optional<TrashRestore::Record> TrashRestore::parseRecord(const QByteArray& record) {
    const QList<QByteArray> lines = record.split('\n');
    if (lines.isEmpty() || lines.first().trimmed() != "[Trash Info]")
        return std::nullopt;
    Record parsed;
    for (const QByteArray& line : lines) {
        if (line.startsWith("Path=")) {
            const QByteArray path = decodePercents(line.mid(5).trimmed());
            // The system calls would end the name at the nul: another file than the one removed.
            if (path.contains('\0'))
                return std::nullopt;
            parsed.originalPath = FileName::decode(path);
        } else if (line.startsWith("DeletionDate="))
            parsed.deletionDate =
                QDateTime::fromString(QString::fromLatin1(line.mid(13).trimmed()), Qt::ISODate);
    }
    if (parsed.originalPath.isEmpty())
        return std::nullopt;
    return parsed;
}

QStringList TrashRestore::trashFolders(const QStringList& locations) {
    QStringList folders;
    QSet<QString> seen;
    auto add = [&](const QString& folder) {
        if (folder.isEmpty() || !BMFileManager::isDirectoryAtPath(folder))
            return;
        const QString canonical = LocationLock::canonicalLocation(folder);
        if (seen.contains(canonical))
            return;
        seen.insert(canonical);
        folders << folder;
    };
    add(BMLocalPaths::trashDirectory());
#if defined(Q_OS_LINUX)
    // Anybody may write at the top of a volume: a Trash there is taken only when it is a real
    // folder of the user's, as the Trash code makes it, never a link that leads elsewhere.
    const auto addVolumeTrash = [&](const QString& folder, uint uid) {
        if (isRealFolder(folder, uid, false))
            add(folder);
    };
    const QByteArray mountInfo = readSmallFile(QStringLiteral("/proc/self/mountinfo"), 16 * 1024 * 1024);
    // The user the Trash code fills them for: root working for the user at the console fills
    // that user's, the owner of the home Trash.
    QSet<uint> uids{Platform::current().userId(), ::getuid()};
    struct stat homeTrash {};
    if (::geteuid() == 0 &&
        ::stat(FileName::encode(BMLocalPaths::trashDirectory()).constData(), &homeTrash) == 0)
        uids.insert(homeTrash.st_uid);
    for (const QString& location : locations) {
        const QString top =
            FreedesktopTrash::mountPointOf(LocationLock::canonicalLocation(location), mountInfo);
        if (top.isEmpty())
            continue;
        for (const uint uid : uids) {
            const QString shared = PathText::appendingComponent(top, QStringLiteral(".Trash"));
            if (isRealFolder(shared, std::nullopt, true))
                addVolumeTrash(PathText::appendingComponent(shared, QString::number(uid)), uid);
            addVolumeTrash(PathText::appendingComponent(top, QStringLiteral(".Trash-%1").arg(uid)), uid);
        }
    }
#else
    Q_UNUSED(locations);
#endif
    return folders;
}

QList<TrashedItem> TrashRestore::list(const QStringList& locations) {
    const QStringList places = spellings(locations);
    QList<TrashedItem> items;
    for (const QString& trash : trashFolders(locations)) {
        const QString files = PathText::appendingComponent(trash, QStringLiteral("files"));
        const QString info = PathText::appendingComponent(trash, QStringLiteral("info"));
        for (const QString& record : BMFileManager::contentsOfDirectory(info)) {
            if (!record.endsWith(QLatin1String(kRecordSuffix)))
                continue;
            const std::optional<Record> parsed =
                parseRecord(readSmallFile(PathText::appendingComponent(info, record)));
            if (!parsed)
                continue;
            TrashedItem item;
            item.recordPath = PathText::appendingComponent(info, record);
            item.pathInTrash =
                PathText::appendingComponent(files, record.chopped(qsizetype(sizeof(kRecordSuffix) - 1)));
            item.originalPath =
                parsed->originalPath.startsWith(QLatin1Char('/'))
                    ? QDir::cleanPath(parsed->originalPath)
                    : QDir::cleanPath(PathText::appendingComponent(volumeTop(trash), parsed->originalPath));
            item.deletionDate = parsed->deletionDate;
            // A record whose item is gone (emptied by hand) has nothing to put back.
            if (!lexists(FileName::encode(item.pathInTrash)))
                continue;
            if (std::none_of(places.begin(), places.end(),
                             [&](const QString& place) { return isInside(item.originalPath, place); }))
                continue;
            item.size = FileTree::contentSize(item.pathInTrash);
            items << item;
        }
    }
    std::sort(items.begin(), items.end(), [](const TrashedItem& a, const TrashedItem& b) {
        if (a.deletionDate != b.deletionDate)
            return a.deletionDate > b.deletionDate;
        return a.originalPath < b.originalPath;
    });
    return items;
}

std::optional<LocationLocks> TrashRestore::lockLocations(const QList<TrashedItem>& items, QString* error,
                                                         const CancelFlag* cancel) {
    QStringList locations;
    for (const TrashedItem& item : items)
        locations << locationOf(item.originalPath);
    std::optional<LocationLocks> locks = LocationLocks::acquireLocations(
        locations, QStringLiteral("putting autosaves back from the Trash"), error, cancel);
    if (!locks)
        BMLog::appendLog(*error);
    return locks;
}

RestoreReport TrashRestore::restore(const QList<TrashedItem>& items, const CancelFlag* cancel) {
    RestoreReport report;
    report.total = items.size();
    const std::optional<LocationLocks> locks = lockLocations(items, &report.error, cancel);
    if (!locks) {
        stoppedWaiting(report, cancel);
        return report;
    }
    for (const TrashedItem& item : items) {
        if (isCancelled(cancel)) {
            report.cancelled = true;
            break;
        }
        QString reason;
        switch (restoreItem(item, &reason)) {
        case Outcome::Restored:
            report.restored << item.originalPath;
            break;
        case Outcome::Refused:
            report.refused << item.originalPath;
            break;
        case Outcome::Failed:
            report.failed << item.originalPath;
            break;
        }
        if (!reason.isEmpty())
            report.reasons.insert(item.originalPath, reason);
        BMLog::appendLog(
            reason.isEmpty()
                ? QStringLiteral("Put back from the Trash: %1").arg(FileName::displayText(item.originalPath))
                : QStringLiteral("Putting back from the Trash: %1").arg(reason));
    }
    return report;
}

namespace {

// The newest item the Trash holds from each path that passes the test, put back.
template <typename Test>
RestoreReport restoreNewest(const QStringList& originalPaths, const QStringList& locations, const Test& test,
                            const CancelFlag* cancel) {
    // The Trash is read with the locks held: a removal that ran while this run waited for
    // them may have trashed a newer item from one of the paths.
    QList<TrashedItem> wanted;
    for (const QString& path : originalPaths) {
        TrashedItem item;
        item.originalPath = QDir::cleanPath(path);
        wanted << item;
    }
    RestoreReport report;
    const std::optional<LocationLocks> locks = TrashRestore::lockLocations(wanted, &report.error, cancel);
    if (!locks) {
        report.total = wanted.size();
        stoppedWaiting(report, cancel);
        return report;
    }
    const QList<TrashedItem> trashed = TrashRestore::list(locations);
    QList<TrashedItem> chosen;
    QStringList notFound;
    for (const TrashedItem& each : wanted) {
        if (auto item = newestFrom(trashed, each.originalPath, test))
            chosen << *item;
        else
            notFound << each.originalPath;
    }
    report = TrashRestore::restore(chosen, cancel);
    if (report.error.isEmpty() && !report.cancelled)
        report.notFound = notFound;
    return report;
}

} // namespace

RestoreReport TrashRestore::restorePaths(const QStringList& originalPaths, const QStringList& locations,
                                         const CancelFlag* cancel) {
    return restoreNewest(
        originalPaths, locations, [](const TrashedItem&) { return true; }, cancel);
}

RestoreReport TrashRestore::restoreLast(const QStringList& locations, QString* error,
                                        const CancelFlag* cancel) {
    const std::optional<RemovalJournal::Entry> last = RemovalJournal::last(error);
    if (!last)
        return {};
    // Deletion dates are whole seconds of local time: the removal's span, widened to them.
    const QDateTime from = last->started.toLocalTime().addMSecs(-last->started.time().msec()).addSecs(-1);
    const QDateTime to = last->finished.toLocalTime().addSecs(1);
    const auto during = [&](const TrashedItem& item) {
        return item.deletionDate >= from && item.deletionDate <= to;
    };
    return restoreNewest(last->paths, locations, during, cancel);
}
