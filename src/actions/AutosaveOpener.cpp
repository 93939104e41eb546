#include "AutosaveOpener.h"

#include "AutosaveRemoval.h"
#include "LocationLocks.h"
#include "catalogue/AutosaveType.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLog.h"
#include "foundation/DestructiveGuard.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"
#include "foundation/UniqueFd.h"
#include "foundation/platform/Platform.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString text(const char* identifier) {
    return QString::fromLatin1(identifier);
}

bool sameFolder(const QString& a, const QString& b) {
    struct stat one {};
    struct stat other {};
    return ::stat(FileName::encode(a).constData(), &one) == 0 &&
           ::stat(FileName::encode(b).constData(), &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

// Copies or moves one item, with privileges only where the right was refused: privileged
// tools meet a full or read-only volume, a name too long or a taken one just the same, and
// run as root they leave part of a copy behind them as if it were whole.
bool transferItem(bool copy, const QString& source, const QString& destination, QString* why) {
    if (copy ? BMFileManager::copyFile(source, destination, false, why)
             : BMFileManager::moveFile(source, destination, false, why))
        return true;
    if (errno != EACCES && errno != EPERM)
        return false;
    return copy ? BMFileManager::copyFile(source, destination) : BMFileManager::moveFile(source, destination);
}

// Why the event's database cannot be swapped now, or nothing. The editor keeps its event open
// as a database with a journal beside it: a database moved away from its journal loses the
// changes held there, and the backup put in its place would be given them.
QString eventInUse(const QString& current) {
    for (const char* suffix : {"-wal", "-journal"}) {
        const QString journal = current + QLatin1String(suffix);
        if (FileTree::exists(journal))
            return QStringLiteral("%1: the event is open, or was not closed cleanly (%2 is beside it)")
                .arg(FileName::displayText(current), PathText::lastComponent(journal));
    }
    UniqueFd fd(::open(FileName::encode(current).constData(), O_RDONLY | O_CLOEXEC));
    if (fd.fd < 0)
        return FileTree::errorDescription(FileName::displayText(current), errno);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(fd.fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK)
        return QStringLiteral("%1: the event is open in another program (process %2)")
            .arg(FileName::displayText(current), QString::number(lock.l_pid));
    return QString();
}

// Why a backup cannot stand for its event, or nothing: it must be readable and, as a
// database, as long as its header says.
QString damagedBackup(const QString& backup) {
    const QString shown = FileName::displayText(backup);
    UniqueFd fd(::open(FileName::encode(backup).constData(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (fd.fd < 0 || ::fstat(fd.fd, &info) != 0)
        return FileTree::errorDescription(shown, errno);
    if (info.st_size == 0)
        return QStringLiteral("%1: the backup is empty").arg(shown);
    unsigned char header[100] = {};
    if (::pread(fd.fd, header, sizeof header, 0) != ssize_t(sizeof header) ||
        std::memcmp(header, "SQLite format 3", 16) != 0)
        return QString();
    // Page size (1 stands for 65536) and page count, big-endian, at 16 and 28; the count holds
    // only while the change counter at 24 matches the one at 92 that vouches for it.
    if (std::memcmp(header + 24, header + 92, 4) != 0)
        return QString();
    const quint64 pageSize = header[16] == 0 && header[17] == 1 ? 65536 : (header[16] << 8 | header[17]);
    const quint64 pages = quint64(header[28]) << 24 | header[29] << 16 | header[30] << 8 | header[31];
    if (pageSize >= 512 && pages > 0 && quint64(info.st_size) < pageSize * pages)
        return QStringLiteral("%1: the backup is cut short (%2 of %3 bytes)")
            .arg(shown, QString::number(info.st_size), QString::number(pageSize * pages));
    return QString();
}

bool putEventBackupInPlace(const QString& backupPath, QString* why) {
    const QString eventFolder = PathText::deletingLastComponent(PathText::deletingLastComponent(backupPath));
    const QString current =
        PathText::appendingComponent(eventFolder, QStringLiteral("CurrentVersion.fcpevent"));
    if (!FileTree::exists(current)) {
        *why = FileTree::errorDescription(FileName::displayText(current), ENOENT);
        return false;
    }
    *why = damagedBackup(backupPath);
    if (why->isEmpty())
        *why = eventInUse(current);
    if (!why->isEmpty())
        return false;
    const QString aside = BMFileManager::uniqueFilename(
        PathText::appendingComponent(eventFolder, QStringLiteral("CurrentVersion-Backup.fcpevent")));
    if (!transferItem(false, current, aside, why))
        return false;
    if (transferItem(true, backupPath, current, why))
        return true;
    BMFileManager::moveFile(aside, current);
    return false;
}

void restoreEvent(const QString& backup, AutosaveOpener::Reasons* notRestored) {
    QString why;
    if (!AutosaveOpener::restoreFCPXEvent(backup, &why) && notRestored)
        notRestored->insert(backup, why);
}

} // namespace

QString AutosaveOpener::finalCutIdentifier() {
    const bool express =
        !Platform::current().applicationPathForBundleIdentifier(text(finalCutExpress)).isEmpty();
    return text(express ? finalCutExpress : finalCutPro);
}

QString AutosaveOpener::bundleIdentifierForType(int type, const QString& finalCutIdentifier) {
    switch (AutosaveType::normalized(type)) {
    case AutosaveType::Motion:
        return text(motion);
    case AutosaveType::Premiere:
        return text(premiere);
    case AutosaveType::Avid:
        return text(mediaComposer);
    case AutosaveType::FinalCutX:
        return text(finalCutX);
    default:
        return finalCutIdentifier;
    }
}

BMAutoItemPtr AutosaveOpener::singleItem(const SelectedRows& rows, bool* applies) {
    *applies = false;
    if (rows.size() != 1)
        return nullptr;
    const SelectedRow& row = rows.first();
    if (!row.isProject()) {
        *applies = row.item != nullptr;
        return row.item;
    }
    const qsizetype count = row.project->childCount();
    if (count > 1)
        return nullptr;
    *applies = true;
    return count == 1 ? row.project->children().first() : nullptr;
}

AutosaveOpener::Plan AutosaveOpener::planFor(const SelectedRows& rows, const QString& finalCutIdentifier) {
    Plan plan;
    plan.finalCutIdentifier = finalCutIdentifier;
    auto addOnce = [](QStringList& list, const QString& path) {
        if (!list.contains(path))
            list << path;
    };
    for (const BMAutoItemPtr& item : AutosaveSelection::autosavesOf(rows)) {
        switch (AutosaveType::normalized(item->type())) {
        case AutosaveType::Motion:
            addOnce(plan.motion, item->path());
            break;
        case AutosaveType::Premiere:
            addOnce(plan.premiere, item->path());
            break;
        case AutosaveType::Avid:
            addOnce(plan.avid, item->path());
            break;
        case AutosaveType::FinalCutX:
            addOnce(plan.eventBackups, item->path());
            break;
        default:
            addOnce(plan.finalCut, item->path());
            break;
        }
    }
    return plan;
}

QStringList AutosaveOpener::open(const Plan& plan, bool* notLaunched, Reasons* notRestored) {
    const Platform& platform = Platform::current();
    const std::pair<const QStringList*, QString> lists[] = {{&plan.finalCut, plan.finalCutIdentifier},
                                                            {&plan.motion, text(motion)},
                                                            {&plan.premiere, text(premiere)},
                                                            {&plan.avid, text(mediaComposer)}};
    QStringList failed;
    for (const auto& [files, identifier] : lists) {
        if (!files->isEmpty() && !platform.openFiles(*files, identifier)) {
            BMLog::appendLog(
                QStringLiteral("Unable to open %1 autosave(s) with %2").arg(files->size()).arg(identifier));
            failed << *files;
        }
    }
    if (plan.eventBackups.isEmpty())
        return failed;
    for (const QString& backup : plan.eventBackups)
        restoreEvent(backup, notRestored);
    if (!platform.launchApplication(text(finalCutX))) {
        BMLog::appendLog(QStringLiteral("Unable to launch %1").arg(text(finalCutX)));
        if (notLaunched)
            *notLaunched = true;
    }
    return failed;
}

bool AutosaveOpener::openItem(const BMAutoItem& item, const QString& finalCutIdentifier, bool* notLaunched,
                              Reasons* notRestored) {
    const Platform& platform = Platform::current();
    if (AutosaveType::normalized(item.type()) == AutosaveType::FinalCutX) {
        restoreEvent(item.path(), notRestored);
        if (!platform.launchApplication(text(finalCutX))) {
            BMLog::appendLog(QStringLiteral("Unable to launch %1").arg(text(finalCutX)));
            if (notLaunched)
                *notLaunched = true;
        }
        return true;
    }
    const QString identifier = bundleIdentifierForType(item.type(), finalCutIdentifier);
    if (platform.openFiles({item.path()}, identifier))
        return true;
    BMLog::appendLog(QStringLiteral("Unable to open %1 with %2").arg(item.path(), identifier));
    return false;
}

bool AutosaveOpener::restoreFCPXEvent(const QString& backupPath, QString* error) {
    QString why;
    const bool restored = putEventBackupInPlace(backupPath, &why);
    if (!restored) {
        BMLog::appendLog(QStringLiteral("Unable to restore %1: %2; the event's current version stays")
                             .arg(FileName::displayText(backupPath), why));
        if (error)
            *error = why;
    }
    return restored;
}

bool AutosaveOpener::showInFinder(const SelectedRows& rows) {
    try {
        if (rows.isEmpty())
            return false;
        const SelectedRow& row = rows.first();
        const QString path = row.path();
        if (path.isEmpty())
            return false;
        const QString root = row.isProject() ? path : AutosaveSelection::containingFolder(path);
        return Platform::current().revealInFileManager(path, root);
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController showInFinder:]");
        return false;
    }
}

AutosaveOpener::TransferReport AutosaveOpener::copyFiles(const SelectedRows& rows, const QString& folder,
                                                         Transfer transfer, const ProgressCallback& progress,
                                                         const CancelFlag* cancel) {
    TransferReport report;
    std::optional<LocationLocks> locks;
    if (transfer == Transfer::Move) {
        locks = LocationLocks::acquire(AutosaveSelection::autosavesOf(rows),
                                       QStringLiteral("moving autosaves to %1").arg(folder), &report.error,
                                       cancel);
        if (!locks) {
            BMLog::appendLog(report.error);
            if (isCancelled(cancel)) {
                report.error.clear();
                report.cancelled = true;
                report.total = AutosaveSelection::autosavesOf(rows).size();
            }
            return report;
        }
    }
    const ActionProgress::Stage stage =
        transfer == Transfer::Copy ? ActionProgress::Stage::Copying : ActionProgress::Stage::Moving;
    const qint64 total = AutosaveSelection::autosavesOf(rows).size();
    report.total = total;
    qint64 done = 0;
    reportProgress(progress, stage, done, total);
    for (const SelectedRow& row : rows) {
        for (const BMAutoItemPtr& item : row.autosaves()) {
            if (isCancelled(cancel)) {
                report.cancelled = true;
                break;
            }
            reportProgress(progress, stage, ++done, total);
            const QString& source = item->path();
            if (!FileTree::exists(source))
                continue;
            QString refusal;
            if (transfer == Transfer::Move &&
                !DestructiveGuard(AutosaveSelection::locationOf(item)).permits(source, &refusal)) {
                BMLog::appendLog(QStringLiteral("Not moving: %1.").arg(refusal));
                report.failed << source;
                report.reasons.insert(source, refusal);
                continue;
            }
            if (transfer == Transfer::Move && AutosaveRemoval::changedSinceListed(*item, &refusal)) {
                BMLog::appendLog(QStringLiteral("Not moving: %1.").arg(refusal));
                report.failed << source;
                report.reasons.insert(source, refusal);
                continue;
            }
            // A free name beside itself would rename the autosave, and the editor would no
            // longer know it as its own.
            if (transfer == Transfer::Move && sameFolder(PathText::deletingLastComponent(source), folder)) {
                report.done << source;
                continue;
            }
            const QString destination = BMFileManager::uniqueFilename(
                PathText::appendingComponent(folder, PathText::lastComponent(source)));
            QString why;
            // A folder unmounted or removed meanwhile: its own name is the cause, not the autosave's.
            struct stat into {};
            const int found = ::stat(FileName::encode(folder).constData(), &into) == 0 ? 0 : errno;
            if (found != 0 || !S_ISDIR(into.st_mode)) {
                report.failed << source;
                report.reasons.insert(source, FileTree::errorDescription(FileName::displayText(folder),
                                                                         found != 0 ? found : ENOTDIR));
                continue;
            }
            if (transferItem(transfer == Transfer::Copy, source, destination, &why)) {
                report.done << destination;
            } else {
                BMLog::appendLog(
                    QStringLiteral("Unable to %1 %2 to %3")
                        .arg(transfer == Transfer::Copy ? QStringLiteral("copy") : QStringLiteral("move"),
                             source, folder));
                report.failed << source;
                report.reasons.insert(source, why.isEmpty() ? FileName::displayText(source) : why);
            }
        }
        const QString projectFolder =
            row.isProject() ? row.project->path() : AutosaveSelection::containingFolder(row.item->path());
        AutosaveRemoval::removeFolderIfEmpty(projectFolder, nullptr, AutosaveSelection::locationOf(row));
        if (report.cancelled) {
            BMLog::appendLog(
                QStringLiteral("Cancelled after %1 of %2 autosaves.").arg(report.done.size()).arg(total));
            break;
        }
    }
    return report;
}
