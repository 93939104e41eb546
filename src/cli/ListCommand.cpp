#include "ListCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "ListWriter.h"
#include "StandardOutput.h"
#include "SummaryText.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/OutlineSorting.h"
#include "catalogue/OutlineText.h"
#include "catalogue/PremiereOrphans.h"
#include "catalogue/SpaceSummary.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

#include <cmath>
#include <cstdio>
#include <optional>

namespace {

QString counted(qsizetype count, const QString& one, const QString& many, const QLocale& locale) {
    return QStringLiteral("%1 %2").arg(locale.toString(qint64(count)), count == 1 ? one : many);
}

// The text listing, made as projects come: every row is known before the first is printed
// (the columns are as wide as their widest cell), but the catalogue itself need not be kept.
class TextListing {
public:
    TextListing(const OutlineText& text, const PinnedPaths& pins, RecentWriteGuard guard,
                const QDateTime& now)
        : m_text(text), m_pins(pins), m_guard(guard), m_now(now) {}

    void add(const BMProject& project) {
        // A name's odd bytes and control characters escaped: one line per row, readable.
        const bool projectPinned = m_pins.isPinned(project);
        m_rows.append({FileName::displayText(project.name()), m_text.formatFileSize(project.fileSize()),
                       m_text.projectDateText(project.startDate(), project.endDate()), projectPinned});
        for (const BMAutoItemPtr& item : project.children()) {
            // The autosaves of a pinned project are pinned by its row's mark.
            m_rows.append({QStringLiteral("  ") + FileName::displayText(item->name()),
                           m_text.formatFileSize(item->fileSize()), dateText(item->createdMsecs()),
                           !projectPinned && m_pins.isPinnedItself(*item), m_guard.guards(*item, m_now)});
            ++m_itemCount;
        }
        m_totalBytes += m_distinct.add(project);
        ++m_projectCount;
    }

    void write(const QStringList& offline) {
        qsizetype nameWidth = 0;
        qsizetype sizeWidth = 0;
        for (const Row& row : m_rows) {
            nameWidth = std::max(nameWidth, row.name.size());
            sizeWidth = std::max(sizeWidth, row.size.size());
        }
        QByteArray out;
        auto flush = [&out](qsizetype atLeast) {
            if (out.size() < atLeast)
                return;
            writeOutput(stdout, out.constData(), size_t(out.size()));
            out.truncate(0);
        };
        QString line;
        for (const Row& row : m_rows) {
            line.truncate(0);
            line += row.name;
            line.resize(std::max(nameWidth, row.name.size()), QLatin1Char(' '));
            line += QStringLiteral("  ");
            line.resize(line.size() + std::max<qsizetype>(0, sizeWidth - row.size.size()), QLatin1Char(' '));
            line += row.size;
            line += QStringLiteral("  ");
            line += row.date;
            // Always in this order, so that a script can look for either.
            if (row.pinned || row.recent)
                line += QStringLiteral("  ");
            if (row.pinned)
                line += QStringLiteral("(pinned)");
            if (row.recent)
                line += row.pinned ? QStringLiteral(" (recent)") : QStringLiteral("(recent)");
            while (line.endsWith(QLatin1Char(' ')))
                line.chop(1);
            out += line.toUtf8();
            out += '\n';
            flush(1 << 16);
        }
        QLocale grouped = m_text.locale();
        grouped.setNumberOptions(grouped.numberOptions() & ~QLocale::OmitGroupSeparator);
        QString tail =
            QStringLiteral("Total: %1, %2, %3 (%4)\n")
                .arg(counted(m_projectCount, QStringLiteral("project"), QStringLiteral("projects"), grouped),
                     counted(m_itemCount, QStringLiteral("autosave"), QStringLiteral("autosaves"), grouped),
                     counted(qsizetype(std::llround(m_totalBytes)), QStringLiteral("byte"),
                             QStringLiteral("bytes"), grouped),
                     m_text.formatFileSize(m_totalBytes));
        for (const QString& location : offline)
            tail += FileName::displayText(location) + QStringLiteral(" (offline)\n");
        out += tail.toUtf8();
        flush(0);
        flushOutput(stdout);
    }

private:
    struct Row {
        QString name;
        QString size;
        QString date;
        bool pinned = false;
        bool recent = false;
    };

    // Autosaves of one second share their text, made once.
    const QString& dateText(qint64 msecs) {
        const qint64 second = msecs == BMAutoItem::noDate ? msecs : (msecs - (msecs < 0 ? 999 : 0)) / 1000;
        if (!m_lastDate || second != m_lastSecond) {
            m_lastDate = true;
            m_lastSecond = second;
            m_lastDateText = m_text.itemDateText(BMAutoItem::dateOf(msecs));
        }
        return m_lastDateText;
    }

    const OutlineText& m_text;
    const PinnedPaths& m_pins;
    const RecentWriteGuard m_guard;
    const QDateTime m_now;
    QList<Row> m_rows;
    qsizetype m_projectCount = 0;
    qsizetype m_itemCount = 0;
    double m_totalBytes = 0.0;
    DistinctBytes m_distinct;
    bool m_lastDate = false;
    qint64 m_lastSecond = 0;
    QString m_lastDateText;
};

} // namespace

CLI::App* ListCommand::define(CLI::App& parent) {
    CLI::App* command = parent.add_subcommand(
        "list", "Lists autosaves by project: of the given folders, or of every location Vestry knows.");
    command->add_flag("--json", m_json, "Print one JSON document instead of text");
    CLI::Option* sort =
        command->add_option("--sort", m_sort, "Order projects and autosaves by name, date or size")
            ->check(CLI::IsMember({"name", "date", "size"}));
    command->add_flag("--descending", m_descending, "Reverse the order of --sort")->needs(sort);
    command
        ->add_flag("--summary", m_summary,
                   "Print the totals by editor and by location, largest first, instead of the projects")
        ->excludes(sort);
    command->add_flag("--orphans", m_orphans,
                      "Only Premiere projects whose project file is gone (read from their autosaves)");
    command
        ->add_option("PATH", m_paths,
                     "Autosave locations to list (folders ending in \"Autosave Vault\", "
                     "\"Adobe Premiere Pro Auto-Save\", \"Avid Attic\", \"Unity Attic\" or \".fcpbundle\")")
        ->check(ArgumentChecks::nonEmptyPath());
    return command;
}

int ListCommand::run() {
    // Stored locations that are not there now (a drive not plugged in) are said, not dropped.
    // A scan only ever stores a folder it found, so asking first gives the same answer.
    const QStringList offline = m_paths.empty()
                                    ? CatalogueLocations::offlineLocations(
                                          CatalogueLocations::storedLocations(BMSettings::standard()))
                                    : QStringList();
    bool ok = true;
    const OutlineText text;
    const PinnedPaths pins = PinnedPaths::stored();
    const RecentWriteGuard guard = RecentWriteGuard::stored();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    TextListing listing(text, pins, guard, now);
    if (m_summary) {
        SpaceSummary summary;
        CatalogueArguments::catalogue("list", m_paths, &ok, [&](const BMProjectPtr& project) {
            if (!m_orphans || PremiereOrphans::isOrphan(*project))
                summary.add(*project);
        });
        if (m_json) {
            const QByteArray json = SummaryText::json(summary, offline);
            writeOutput(stdout, json.constData(), size_t(json.size()));
            flushOutput(stdout);
        } else {
            writeStandardOutput(SummaryText::text(summary, text, offline));
        }
        return ok ? 0 : 1;
    }
    if (m_sort.empty()) {
        // Each project taken as soon as it is whole, then let go.
        std::optional<JsonListWriter> writer;
        if (m_json) {
            writer.emplace(stdout, offline);
            writer->setPins(pins);
            writer->setGuard(guard, now);
        }
        CatalogueArguments::catalogue("list", m_paths, &ok, [&](const BMProjectPtr& project) {
            if (m_orphans && !PremiereOrphans::isOrphan(*project))
                return;
            if (writer)
                writer->write(*project, m_orphans);
            else
                listing.add(*project);
        });
        if (writer)
            writer->finish();
        else
            listing.write(offline);
        return ok ? 0 : 1;
    }

    const char* column = m_sort == "name"   ? OutlineColumn::name
                         : m_sort == "date" ? OutlineColumn::date
                                            : OutlineColumn::size;
    BMProjectList projects = CatalogueArguments::catalogue("list", m_paths, &ok);
    if (m_orphans)
        projects.removeIf([](const BMProjectPtr& project) { return !PremiereOrphans::isOrphan(*project); });
    projects = OutlineSorting::sortProjects(projects, QString::fromLatin1(column), m_descending);
    if (m_json) {
        JsonListWriter writer(stdout, offline);
        writer.setPins(pins);
        writer.setGuard(guard, now);
        for (const BMProjectPtr& project : projects)
            writer.write(*project, m_orphans);
        writer.finish();
    } else {
        for (const BMProjectPtr& project : projects)
            listing.add(*project);
        listing.write(offline);
    }
    return ok ? 0 : 1;
}
