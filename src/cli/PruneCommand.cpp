#include "PruneCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "Interruption.h"
#include "StandardOutput.h"
#include "TerminalProgress.h"
#include "actions/ActionTexts.h"
#include "actions/AutosaveRemoval.h"
#include "actions/CombinedRule.h"
#include "actions/LocationLocks.h"
#include "actions/RetentionRules.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace {

constexpr char kCommand[] = "prune";

// A JSON string literal, quotes included.
QString jsonString(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

qint64 wholeBytes(double size) {
    return std::llround(size);
}

// {"removed":[{"path":…,"size":…,"createdDate":…}],"bytes":N}, keys in this order.
QString pruneJson(const QList<RemovedAutosave>& autosaves) {
    QStringList entries;
    qint64 bytes = 0;
    for (const RemovedAutosave& each : autosaves) {
        const QString date = each.createdDate.isValid()
                                 ? jsonString(each.createdDate.toUTC().toString(Qt::ISODate))
                                 : QStringLiteral("null");
        entries << QStringLiteral("{\"path\":%1,\"size\":%2,\"createdDate\":%3}")
                       .arg(jsonString(each.path))
                       .arg(wholeBytes(each.size))
                       .arg(date);
        bytes += wholeBytes(each.size);
    }
    return QStringLiteral("{\"removed\":[%1],\"bytes\":%2}\n").arg(entries.join(QLatin1Char(','))).arg(bytes);
}

QString pruneText(const QList<RemovedAutosave>& autosaves, bool dryRun) {
    const OutlineText text;
    QStringList sizes;
    QStringList dates;
    qsizetype sizeWidth = 0;
    qsizetype dateWidth = 0;
    qint64 bytes = 0;
    for (const RemovedAutosave& each : autosaves) {
        sizes << text.formatFileSize(each.size);
        dates << text.itemDateText(each.createdDate);
        sizeWidth = std::max(sizeWidth, sizes.last().size());
        dateWidth = std::max(dateWidth, dates.last().size());
        bytes += wholeBytes(each.size);
    }
    // Size and date first, so that the columns line up whatever the paths' lengths.
    QString out;
    for (qsizetype i = 0; i < autosaves.size(); ++i) {
        out += sizes[i].rightJustified(sizeWidth) + QStringLiteral("  ") + dates[i].leftJustified(dateWidth) +
               QStringLiteral("  ") + FileName::displayText(autosaves[i].path) + QLatin1Char('\n');
    }
    QLocale grouped = text.locale();
    grouped.setNumberOptions(grouped.numberOptions() & ~QLocale::OmitGroupSeparator);
    const qsizetype count = autosaves.size();
    out += QStringLiteral("%1 %2 %3, %4 %5 (%6), to the Trash\n")
               .arg(dryRun ? QStringLiteral("Would move") : QStringLiteral("Moved"),
                    grouped.toString(qint64(count)),
                    count == 1 ? QStringLiteral("autosave") : QStringLiteral("autosaves"),
                    grouped.toString(bytes), bytes == 1 ? QStringLiteral("byte") : QStringLiteral("bytes"),
                    text.formatFileSize(double(bytes)));
    return out;
}

QList<RemovedAutosave> listed(const BMAutoItemList& items) {
    QList<RemovedAutosave> autosaves;
    for (const BMAutoItemPtr& item : items)
        autosaves << RemovedAutosave{item->path(), item->fileSize(), item->createdDate()};
    return autosaves;
}

} // namespace

CLI::App* PruneCommand::define(CLI::App& parent) {
    CLI::App* command = parent.add_subcommand(
        "prune",
        "Moves autosaves to the Trash by a rule: those older than a number of days, all but the most "
        "recent of each project, the oldest of a project over a size, or these combined.");
    CLI::Option_group* rule = command->add_option_group(
        "rule",
        "Which autosaves go (at least one; together: the newest N of each project are kept first, of the "
        "rest those older than DAYS go, then the oldest of what is left until the project is within "
        "SIZE)");
    rule->add_option("--older-than", m_olderThan,
                     "Remove the autosaves created more than DAYS whole days ago (an autosave exactly DAYS "
                     "old stays)")
        ->type_name("DAYS")
        ->transform(ArgumentChecks::wholeNumber(1, 36500));
    rule->add_option("--keep", m_keep, "Keep the N most recent autosaves of each project, remove the others")
        ->type_name("N")
        ->transform(ArgumentChecks::wholeNumber(1, 1000000));
    rule->add_option(
            "--max-size", m_maxSize,
            "Remove the oldest autosaves of each project over SIZE until it is within it; SIZE has a "
            "unit of 1024: B, K or KB, M or MB, G or GB, T or TB (\"500M\", \"1.5G\")")
        ->type_name("SIZE")
        ->transform(ArgumentChecks::sizeWithUnit());
    rule->require_option(1, 3);
    command->add_flag("--dry-run", m_dryRun, "List what would go and change nothing");
    command->add_flag("--json", m_json, "Print one JSON document instead of text");
    command
        ->add_option("PATH", m_paths,
                     "Autosave locations to prune (default: every location Vestry knows); see vestry list")
        ->check(ArgumentChecks::nonEmptyPath());
    return command;
}

int PruneCommand::run() {
    bool scanned = true;
    const BMProjectList projects = CatalogueArguments::catalogue(kCommand, m_paths, &scanned);
    if (!scanned)
        return 1;
    const SelectedRows rows = AutosaveSelection::allProjects(projects);
    // The choice is made once no other run works on these locations, and with the pins as
    // they are then: a pin set while this prune waited for another run must still hold.
    const auto choose = [&] {
        const int rules = (m_olderThan > 0) + (m_keep > 0) + (m_maxSize > 0);
        RetentionChoice choice;
        if (rules == 1 && m_olderThan > 0) {
            choice = RetentionRules::removeOlderAutosaves(rows, m_olderThan);
        } else if (rules == 1 && m_keep > 0) {
            choice = RetentionRules::removeAllExceptMostRecent(rows, m_keep);
        } else {
            CombinedRule rule;
            if (m_keep > 0)
                rule.keepNewest = m_keep;
            if (m_olderThan > 0)
                rule.olderThanDays = m_olderThan;
            if (m_maxSize > 0)
                rule.maxProjectBytes = m_maxSize;
            for (const RuleChoice& each : rule.choose(projects, PinnedPaths::stored()))
                choice.autosaves << each.item;
        }
        return choice;
    };
    std::optional<Interruption> interruption;
    std::optional<LocationLocks> locks;
    if (!m_dryRun) {
        interruption.emplace();
        QString error;
        locks = LocationLocks::acquire(AutosaveSelection::autosavesOf(rows),
                                       QStringLiteral("moving autosaves to the Trash"), &error,
                                       interruption->flag());
        if (!locks && interruption->happened()) {
            // Stopped before the first file: what would have gone, untouched.
            BMSettings::standard().synchronize();
            CatalogueArguments::warn(kCommand, ActionTexts::cancelled(QStringLiteral("moved to the Trash"), 0,
                                                                      choose().autosaves.size()));
            return interruption->exitStatus();
        }
        if (!locks) {
            CatalogueArguments::warn(kCommand, QStringLiteral("%1 Nothing was moved.").arg(error));
            return 1;
        }
        BMSettings::standard().synchronize();
    }
    const RetentionChoice choice = choose();

    QList<RemovedAutosave> autosaves;
    int status = 0;
    if (m_dryRun) {
        autosaves = listed(choice.autosaves);
    } else {
        TerminalProgress progress;
        const RemovalReport report = AutosaveRemoval::removeChildren(
            choice.autosaves, progress.callback(), AutosaveRemoval::OnFailure::Stop, interruption->flag());
        progress.clear();
        if (report.cancelled) {
            CatalogueArguments::warn(kCommand, ActionTexts::cancelled(QStringLiteral("moved to the Trash"),
                                                                      report.removed.size(), report.total));
            status = interruption->exitStatus();
        }
        autosaves = report.removed;
        if (!report.error.isEmpty()) {
            CatalogueArguments::warn(kCommand, QStringLiteral("%1 Nothing was moved.").arg(report.error));
            return 1;
        }
        // Another run took them first: what was asked for is done, so no failure.
        for (const QString& path : report.missing)
            CatalogueArguments::warn(kCommand,
                                     QStringLiteral("%1: already gone").arg(FileName::displayText(path)));
        for (const QString& path : report.failed) {
            const QString reason = report.reasons.value(path);
            CatalogueArguments::warn(
                kCommand, reason.isEmpty() ? QStringLiteral("%1: could not be moved to the Trash; stopped "
                                                            "here (the log has the details)")
                                                 .arg(FileName::displayText(path))
                                           : QStringLiteral("%1; stopped here").arg(reason));
            status = 1;
        }
    }
    writeStandardOutput(m_json ? pruneJson(autosaves) : pruneText(autosaves, m_dryRun));
    return status;
}
