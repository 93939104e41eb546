#include "AutosaveRemoval.h"

#include "LocationLocks.h"
#include "RemovalJournal.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLog.h"
#include "foundation/DestructiveGuard.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/TrashBatch.h"
#include "foundation/platform/Platform.h"

#include <QHash>
#include <QSet>

namespace {

enum class Outcome { Removed, Missing, Failed };

Outcome trashAutosave(const BMAutoItemPtr& item, RemovalReport& report) {
    const QString& path = item->path();
    if (!FileTree::exists(path)) {
        report.missing << path;
        return Outcome::Missing;
    }
    // A path that a linked folder leads out of its location never reaches the Trash.
    QString refusal;
    if (!DestructiveGuard(AutosaveSelection::locationOf(item)).permits(path, &refusal)) {
        BMLog::appendLog(QStringLiteral("Not moving to the Trash: %1.").arg(refusal));
        report.failed << path;
        report.reasons.insert(path, refusal);
        return Outcome::Failed;
    }
    QString changed;
    if (AutosaveRemoval::changedSinceListed(*item, &changed)) {
        BMLog::appendLog(QStringLiteral("Not moving to the Trash: %1.").arg(changed));
        report.failed << path;
        report.reasons.insert(path, changed);
        return Outcome::Failed;
    }
    // Taken before the move: the item's own fields say what it was.
    RemovedAutosave removed{path, item->fileSize(), item->createdDate()};
    QString cause;
    if (!BMFileManager::trashFile(path, true, &cause) || FileTree::exists(path)) {
        if (!FileTree::exists(path)) {
            // Moved away by something else while this run was at it.
            report.missing << path;
            return Outcome::Missing;
        }
        BMLog::appendLog(QStringLiteral("Unable to move %1 to the Trash").arg(path));
        report.failed << path;
        if (!cause.isEmpty())
            report.reasons.insert(path, cause);
        return Outcome::Failed;
    }
    report.removed << removed;
    return Outcome::Removed;
}

std::optional<LocationLocks> lockLocations(const BMAutoItemList& autosaves, RemovalReport& report,
                                           const CancelFlag* cancel) {
    std::optional<LocationLocks> locks = LocationLocks::acquire(
        autosaves, QStringLiteral("moving autosaves to the Trash"), &report.error, cancel);
    if (!locks)
        BMLog::appendLog(report.error);
    if (!locks && isCancelled(cancel)) {
        // Stopped while another run held a location: nothing was touched, which is no failure.
        report.error.clear();
        report.cancelled = true;
        report.total = autosaves.size();
    }
    return locks;
}

QStringList pathsOf(const BMAutoItemList& items) {
    QStringList paths;
    paths.reserve(items.size());
    for (const BMAutoItemPtr& item : items) {
        if (item)
            paths << item->path();
    }
    return paths;
}

} // namespace

double RemovalReport::bytes() const {
    double total = 0;
    for (const RemovedAutosave& each : removed)
        total += each.size;
    return total;
}

bool AutosaveRemoval::removeFolderIfEmpty(const QString& path, RemovalReport* report,
                                          const QString& location) {
    // BMFileManager counts a path it cannot list as empty, which would remove a file.
    if (path.isEmpty() || !BMFileManager::isDirectoryAtPath(path) ||
        BMFileManager::isSymbolicLinkAtPath(path))
        return false;
    QString refusal;
    if (!location.isEmpty() && !DestructiveGuard(location).permits(path, &refusal)) {
        BMLog::appendLog(QStringLiteral("Not removing the folder: %1.").arg(refusal));
        return false;
    }
    if (!BMFileManager::removeFolderIfEmpty(path))
        return false;
    if (report)
        report->foldersRemoved << path;
    return true;
}

RemovalReport AutosaveRemoval::removeIndexSet(const SelectedRows& rows, const ProgressCallback& progress,
                                              OnFailure onFailure, const QSet<QString>* onlyThese,
                                              const CancelFlag* cancel) {
    RemovalReport report;
    const RemovalJournal::Recorder recorder(report);
    try {
        BMLog::appendLog(QStringLiteral("Removing autosaves manually..."));
        const auto locks = lockLocations(AutosaveSelection::autosavesOf(rows), report, cancel);
        if (!locks)
            return report;
        const BMAutoItemList autosaves = AutosaveSelection::autosavesOf(rows);
        const qint64 total = autosaves.size();
        report.total = onlyThese ? qint64(onlyThese->size()) : total;
        QStringList paths = pathsOf(autosaves);
        if (onlyThese)
            paths.removeIf([onlyThese](const QString& path) { return !onlyThese->contains(path); });
        TrashBatch batch(paths);
        qint64 done = 0;
        reportProgress(progress, ActionProgress::Stage::Trashing, done, total);
        for (const SelectedRow& row : rows) {
            for (const BMAutoItemPtr& item : row.autosaves()) {
                if (onlyThese && !onlyThese->contains(item->path())) {
                    reportProgress(progress, ActionProgress::Stage::Trashing, ++done, total);
                    continue;
                }
                if (isCancelled(cancel)) {
                    report.cancelled = true;
                    break;
                }
                const Outcome outcome = trashAutosave(item, report);
                reportProgress(progress, ActionProgress::Stage::Trashing, ++done, total);
                if (outcome == Outcome::Failed && onFailure == OnFailure::Stop)
                    return report;
            }
            const QString folder =
                row.isProject() ? row.project->path() : AutosaveSelection::containingFolder(row.item->path());
            removeFolderIfEmpty(folder, &report, AutosaveSelection::locationOf(row));
            if (report.cancelled) {
                BMLog::appendLog(
                    QStringLiteral("Removal cancelled after %1 autosaves.").arg(report.removed.size()));
                return report;
            }
        }
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController removeIndexSet:]");
    }
    return report;
}

RemovalReport AutosaveRemoval::removeChildren(const BMAutoItemList& items, const ProgressCallback& progress,
                                              OnFailure onFailure, const CancelFlag* cancel) {
    RemovalReport report;
    const RemovalJournal::Recorder recorder(report);
    try {
        BMLog::appendLog(QStringLiteral("Removing children manually..."));
        const auto locks = lockLocations(items, report, cancel);
        if (!locks)
            return report;
        const qint64 total = items.size();
        report.total = total;
        TrashBatch batch(pathsOf(items));
        // A project's folder is tried once, after the last of its autosaves in the list:
        // trying it after each one read the whole folder again every time.
        QHash<const BMProject*, qsizetype> toGo;
        for (const BMAutoItemPtr& item : items) {
            if (item && item->parent())
                ++toGo[item->parent().get()];
        }
        QSet<const BMProject*> lostOne;
        qint64 done = 0;
        reportProgress(progress, ActionProgress::Stage::Trashing, done, total);
        for (const BMAutoItemPtr& item : items) {
            ++done;
            if (!item)
                continue;
            if (isCancelled(cancel)) {
                report.cancelled = true;
                BMLog::appendLog(
                    QStringLiteral("Removal cancelled after %1 autosaves.").arg(report.removed.size()));
                return report;
            }
            const Outcome outcome = trashAutosave(item, report);
            reportProgress(progress, ActionProgress::Stage::Trashing, done, total);
            if (outcome == Outcome::Failed && onFailure == OnFailure::Stop)
                return report;
            const BMProjectPtr parent = item->parent();
            if (!parent)
                continue;
            if (outcome == Outcome::Removed)
                lostOne.insert(parent.get());
            if (--toGo[parent.get()] == 0 && lostOne.contains(parent.get()))
                removeFolderIfEmpty(parent->path(), &report, parent->location());
        }
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController removeChildren:]");
    }
    return report;
}

bool AutosaveRemoval::changedSinceListed(const BMAutoItem& item, QString* why) {
    if (item.modifiedMsecs() == BMAutoItem::noDate)
        return false;
    const std::optional<FileFacts> facts = Platform::current().fileFacts(item.path(), false);
    if (!facts || facts->isDirectory)
        return false;
    if (BMAutoItem::msecsOf(facts->modified) == item.modifiedMsecs() &&
        double(facts->size) == item.fileSize())
        return false;
    *why = QStringLiteral("%1: written again since it was listed (now %2 bytes, %3); it stays where it is")
               .arg(FileName::displayText(item.path()))
               .arg(facts->size)
               .arg(facts->modified.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    return true;
}
