#include "AutosaveOpener.h"

#include "AutosaveRemoval.h"
#include "LocationLocks.h"
#include "catalogue/AutosaveType.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLog.h"
#include "foundation/DestructiveGuard.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"

namespace {

QString text(const char* identifier) {
    return QString::fromLatin1(identifier);
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

QStringList AutosaveOpener::open(const Plan& plan, bool* notLaunched) {
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
        restoreFCPXEvent(backup);
    if (!platform.launchApplication(text(finalCutX))) {
        BMLog::appendLog(QStringLiteral("Unable to launch %1").arg(text(finalCutX)));
        if (notLaunched)
            *notLaunched = true;
    }
    return failed;
}

bool AutosaveOpener::openItem(const BMAutoItem& item, const QString& finalCutIdentifier, bool* notLaunched) {
    const Platform& platform = Platform::current();
    if (AutosaveType::normalized(item.type()) == AutosaveType::FinalCutX) {
        restoreFCPXEvent(item.path());
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

bool AutosaveOpener::restoreFCPXEvent(const QString& backupPath) {
    const QString eventFolder = PathText::deletingLastComponent(PathText::deletingLastComponent(backupPath));
    const QString current =
        PathText::appendingComponent(eventFolder, QStringLiteral("CurrentVersion.fcpevent"));
    if (!FileTree::exists(current))
        return false;
    const QString aside = BMFileManager::uniqueFilename(
        PathText::appendingComponent(eventFolder, QStringLiteral("CurrentVersion-Backup.fcpevent")));
    if (!BMFileManager::moveFile(current, aside))
        return false;
    if (BMFileManager::copyFile(backupPath, current))
        return true;
    BMLog::appendLog(
        QStringLiteral("Unable to restore %1; the event's current version stays").arg(backupPath));
    BMFileManager::moveFile(aside, current);
    return false;
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
                                       QStringLiteral("moving autosaves to %1").arg(folder), &report.error);
        if (!locks) {
            BMLog::appendLog(report.error);
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
                continue;
            }
            const QString destination = BMFileManager::uniqueFilename(
                PathText::appendingComponent(folder, PathText::lastComponent(source)));
            const bool ok = transfer == Transfer::Copy ? BMFileManager::copyFile(source, destination)
                                                       : BMFileManager::moveFile(source, destination);
            if (ok) {
                report.done << destination;
            } else {
                BMLog::appendLog(
                    QStringLiteral("Unable to %1 %2 to %3")
                        .arg(transfer == Transfer::Copy ? QStringLiteral("copy") : QStringLiteral("move"),
                             source, folder));
                report.failed << source;
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
