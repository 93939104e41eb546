#include "TrashRun.h"

#include "TrashedProjects.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "catalogue/CatalogueLocations.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/LocationLock.h"
#include "foundation/SettingsKeys.h"

#include <QSet>

namespace {

bool liesIn(const QString& path, const QStringList& folders) {
    for (const QString& folder : folders) {
        if (path.startsWith(folder + QLatin1Char('/')))
            return true;
    }
    return false;
}

} // namespace

TrashRun::TrashRun(Options options) : HelperRun(QStringLiteral("trash"), options) {
}

HelperRun::Outcome TrashRun::work() {
    BMSettings& settings = BMSettings::standard();
    if (auto off = stopWhenSwitchedOff(SettingsKey::autoRemove, QStringLiteral("removal"),
                                       QStringLiteral("nothing is removed")))
        return *off;
    const RemovalLimits limits = RemovalLimits::fromSettings(settings);
    for (const QString& warning : limits.unreadable)
        tell(warning);
    if (!limits.any()) {
        tell(QStringLiteral("The removal rule is set to limits and none is switched on: nothing is chosen"));
        return Outcome{true, QStringLiteral("nothing to do: no removal limit is switched on")};
    }
    const QStringList locations = CatalogueLocations().locations(settings);
    QStringList canonicalLocations;
    for (const QString& location : locations)
        canonicalLocations << location << LocationLock::canonicalLocation(location);

    QList<TrashedProject> trashed;
    qsizetype autosaves = 0;
    for (const QString& folder : TrashedProjects::trashItemFolders(locations)) {
        for (const TrashedProject& project : TrashedProjects::inFolder(folder)) {
            // An autosave the window or this helper trashed is named like a project file, but
            // it came from a location: it stands for no project.
            if (liesIn(project.originalPath, canonicalLocations))
                ++autosaves;
            else
                trashed << project;
        }
    }
    if (autosaves > 0)
        BMLog::appendLog(
            QStringLiteral("%1 trashed files came from autosave locations: autosaves, not project "
                           "files")
                .arg(autosaves));
    if (trashed.isEmpty())
        return Outcome{true, QStringLiteral("nothing to do: no project file in the Trash")};

    AutosaveFolderScanner scanner(scanSettings());
    scanner.setWarningHook([](const QString&) {}); // the scanner logs them itself
    BMProjectList projects;
    for (const QString& location : locations)
        projects += scanner.projectsFromFolder(location).value_or(BMProjectList());

    RuleChoices choices;
    QSet<const BMProject*> done;
    for (const TrashedProject& file : trashed) {
        for (const BMProjectPtr& project : projects) {
            if (done.contains(project.get()) || !TrashedProjects::matches(file, *project))
                continue;
            done.insert(project.get());
            RuleChoices kept;
            const RuleChoices mine = HelperRules::removalChoices(*project, limits, file.trashedAt,
                                                                 QDateTime::currentDateTimeUtc(), &kept);
            tell(QStringLiteral("%1 is in the Trash (%2): %3 of the %4 autosaves of project \"%5\" in %6 go")
                     .arg(file.originalName, FileName::displayText(file.pathInTrash))
                     .arg(mine.size())
                     .arg(project->childCount())
                     .arg(project->name(), FileName::displayText(project->location())));
            tellKept(kept);
            choices += mine;
        }
    }
    if (choices.isEmpty())
        return Outcome{true, QStringLiteral("nothing to do")};
    Tally tally;
    moveToTrash(choices, tally);
    if (!tally.failure.isEmpty())
        return failedAfter(tally, tallyText(tally));
    return Outcome{true, tallyText(tally)};
}
