#include "CleanRun.h"

#include "actions/AutosaveArchiver.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"

#include <QFileInfo>
#include <QHash>

CleanRun::CleanRun(const QString& folder, Options options) : HelperRun(QStringLiteral("clean"), options) {
    m_folder = folder;
}

QString CleanRun::archiveFolder(const QString& folder) {
    QString trimmed = folder;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    return PathText::appendingComponent(PathText::deletingLastComponent(trimmed),
                                        QStringLiteral("Vestry Archives"));
}

QString CleanRun::freeArchivePath(const QString& archiveFolder, const QString& project, const QDate& date) {
    // A loose Premiere file can make a project without a name.
    const QString name = project.isEmpty() ? QStringLiteral("Autosaves") : project;
    const QString stem = QStringLiteral("%1 %2").arg(name, date.toString(Qt::ISODate));
    QString path = PathText::appendingComponent(archiveFolder, stem + QStringLiteral(".zip"));
    for (int n = 2; FileTree::exists(path); ++n)
        path = PathText::appendingComponent(archiveFolder, QStringLiteral("%1 %2.zip").arg(stem).arg(n));
    return path;
}

HelperRun::Outcome CleanRun::work() {
    BMSettings& settings = BMSettings::standard();
    if (!BMFileManager::isDirectoryAtPath(m_folder)) {
        const QString message = QStringLiteral("Error: The autosave path %1 does not exist.")
                                    .arg(FileName::displayText(m_folder));
        BMLog::appendLogAndPrint(message);
        return Outcome{false, message};
    }
    // Unattended, the job follows a link only to another autosave folder, never to whatever
    // folder the link was pointed at (the editor's projects, the home) since it was switched on.
    const QString real = QFileInfo(m_folder).canonicalFilePath();
    const auto layout = AutosaveFolderScanner::layoutForFolder(m_folder);
    if (layout != AutosaveFolderScanner::Layout::None &&
        AutosaveFolderScanner::layoutForFolder(real) != layout) {
        const QString message =
            QStringLiteral("Error: The autosave path %1 leads to %2, which is not an autosave location of "
                           "the same kind: nothing is cleaned.")
                .arg(FileName::displayText(m_folder), FileName::displayText(real));
        BMLog::appendLogAndPrint(message);
        return Outcome{false, message};
    }
    if (auto off = stopWhenSwitchedOff(SettingsKey::autoClean, QStringLiteral("clean-up"),
                                       QStringLiteral("nothing is cleaned")))
        return *off;
    AutosaveFolderScanner scanner(scanSettings());
    ScanStatus status = ScanStatus::Failed;
    const BMProjectList projects = scanner.projectsFromFolder(m_folder, &status).value_or(BMProjectList());
    if (status != ScanStatus::Scanned) {
        const QString message =
            status == ScanStatus::UnknownSuffix
                ? QStringLiteral("Error: The autosave path %1 is not an autosave location: its name must end "
                                 "with one of %2.")
                      .arg(FileName::displayText(m_folder),
                           AutosaveFolderScanner::acceptedSuffixes().join(QStringLiteral(", ")))
                : QStringLiteral("Error: The autosave path %1 could not be read.")
                      .arg(FileName::displayText(m_folder));
        BMLog::appendLogAndPrint(message);
        return Outcome{false, message};
    }
    const CleanupLimits limits = CleanupLimits::fromSettings(settings);
    for (const QString& warning : limits.unreadable)
        tell(warning);
    if (!limits.any()) {
        tell(QStringLiteral("No clean-up limit is switched on (age, size, total size): nothing is chosen"));
        return Outcome{true, QStringLiteral("nothing to do: no clean-up limit is switched on")};
    }
    RuleChoices kept;
    const RuleChoices choices =
        HelperRules::cleanupChoices(projects, limits, QDateTime::currentDateTimeUtc(), &kept);
    qsizetype autosaves = 0;
    for (const BMProjectPtr& project : projects)
        autosaves += project->childCount();
    tell(QStringLiteral("%1 of %2 autosave%3 in %4 project%5 %6 a clean-up limit; the newest of each project "
                        "(of each bin for Avid) is kept")
             .arg(choices.size())
             .arg(autosaves)
             .arg(autosaves == 1 ? QString() : QStringLiteral("s"))
             .arg(projects.size())
             .arg(projects.size() == 1 ? QString() : QStringLiteral("s"))
             .arg(choices.size() == 1 ? QStringLiteral("breaks") : QStringLiteral("break")));
    tellKept(kept);
    if (choices.isEmpty())
        return Outcome{true, QStringLiteral("nothing to do")};
    if (settings.integerValue(QLatin1String(SettingsKey::autoCleanAction)) == 1)
        return archiveAndTrash(projects, choices);
    Tally tally;
    moveToTrash(choices, tally);
    if (!tally.failure.isEmpty())
        return failedAfter(tally, tallyText(tally));
    return Outcome{true, tallyText(tally)};
}

HelperRun::Outcome CleanRun::archiveAndTrash(const BMProjectList& projects, const RuleChoices& choices) {
    QHash<const BMProject*, RuleChoices> byProject;
    for (const RuleChoice& choice : choices)
        byProject[choice.item->parent().get()].append(choice);
    const QString folder = archiveFolder(m_folder);
    Tally tally;
    qsizetype archives = 0;
    for (const BMProjectPtr& project : projects) {
        const RuleChoices mine = byProject.value(project.get());
        if (mine.isEmpty())
            continue;
        if (!dryRun() && timeIsUp()) {
            tally.left += mine.size();
            BMLog::appendLog(QStringLiteral("Left for the next run (time limit of %1): %2 autosaves of %3")
                                 .arg(timeLimitText())
                                 .arg(mine.size())
                                 .arg(project->name()));
            continue;
        }
        const QString destination = freeArchivePath(folder, project->name(), QDate::currentDate());
        const QString doing =
            QStringLiteral("%1 into %2 and %3 to the Trash")
                .arg(dryRun() ? QStringLiteral("would archive") : QStringLiteral("archiving"),
                     FileName::displayText(destination),
                     dryRun() ? QStringLiteral("move") : QStringLiteral("moving"));
        SelectedRows rows;
        for (const RuleChoice& choice : mine) {
            tellChoice(choice, doing);
            rows << SelectedRow::ofItem(choice.item);
        }
        ++archives;
        if (dryRun()) {
            for (const RuleChoice& choice : mine) {
                tally.moved += 1;
                tally.bytes += choice.item->fileSize();
            }
            continue;
        }
        QString error;
        if (!FileTree::exists(folder) && !FileTree::createDirectories(folder, &error)) {
            tally.failure = QStringLiteral("Unable to create directory %1 - %2")
                                .arg(FileName::displayText(folder), error);
            break;
        }
        const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(rows, destination);
        if (!result.archived) {
            --archives;
            tally.failure =
                QStringLiteral("%1 %2").arg(result.error.message, result.error.informative).trimmed();
            break;
        }
        count(result.removal, tally);
        if (!tally.failure.isEmpty())
            break;
    }
    const QString archived = QStringLiteral("%1 %2 project%3 into %4")
                                 .arg(dryRun() ? QStringLiteral("would archive") : QStringLiteral("archived"))
                                 .arg(archives)
                                 .arg(archives == 1 ? QString() : QStringLiteral("s"))
                                 .arg(FileName::displayText(folder));
    const QString result = QStringLiteral("%1, %2").arg(archived, tallyText(tally));
    if (!tally.failure.isEmpty())
        return failedAfter(tally, result);
    return Outcome{true, result};
}
