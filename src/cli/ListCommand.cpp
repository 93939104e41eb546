#include "ListCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "ListWriter.h"
#include "StandardOutput.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/OutlineSorting.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

#include <cmath>
#include <cstdio>

namespace {

QString counted(qsizetype count, const QString& one, const QString& many, const QLocale& locale) {
    return QStringLiteral("%1 %2").arg(locale.toString(qint64(count)), count == 1 ? one : many);
}

// Every row is known before the first is printed (the columns are as wide as their widest
// cell); the lines themselves go out as they are made.
void writeCatalogueText(const BMProjectList& projects, const QStringList& offline, const OutlineText& text) {
    struct Row {
        QString name;
        QString size;
        QString date;
    };
    const QString name = QLatin1String(OutlineColumn::name);
    const QString size = QLatin1String(OutlineColumn::size);
    const QString date = QLatin1String(OutlineColumn::date);
    QList<Row> rows;
    qsizetype itemCount = 0;
    double totalBytes = 0.0;
    for (const BMProjectPtr& project : projects) {
        // A name's odd bytes and control characters escaped: one line per row, readable.
        rows.append({FileName::displayText(text.cellText(*project, name)), text.cellText(*project, size),
                     text.cellText(*project, date)});
        for (const BMAutoItemPtr& item : project->children()) {
            rows.append({QStringLiteral("  ") + FileName::displayText(text.cellText(*item, name)),
                         text.cellText(*item, size), text.cellText(*item, date)});
            ++itemCount;
        }
        totalBytes += project->fileSize();
    }
    qsizetype nameWidth = 0;
    qsizetype sizeWidth = 0;
    for (const Row& row : rows) {
        nameWidth = std::max(nameWidth, row.name.size());
        sizeWidth = std::max(sizeWidth, row.size.size());
    }
    QByteArray out;
    auto flush = [&out](qsizetype atLeast) {
        if (out.size() < atLeast)
            return;
        std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
        out.clear();
    };
    QString line;
    for (const Row& row : rows) {
        line.clear();
        line += row.name;
        line.resize(std::max(nameWidth, row.name.size()), QLatin1Char(' '));
        line += QStringLiteral("  ");
        line.resize(line.size() + std::max<qsizetype>(0, sizeWidth - row.size.size()), QLatin1Char(' '));
        line += row.size;
        line += QStringLiteral("  ");
        line += row.date;
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        out += line.toUtf8();
        out += '\n';
        flush(1 << 16);
    }
    QLocale grouped = text.locale();
    grouped.setNumberOptions(grouped.numberOptions() & ~QLocale::OmitGroupSeparator);
    QString tail =
        QStringLiteral("Total: %1, %2, %3 (%4)\n")
            .arg(counted(projects.size(), QStringLiteral("project"), QStringLiteral("projects"), grouped),
                 counted(itemCount, QStringLiteral("autosave"), QStringLiteral("autosaves"), grouped),
                 counted(qsizetype(std::llround(totalBytes)), QStringLiteral("byte"), QStringLiteral("bytes"),
                         grouped),
                 text.formatFileSize(totalBytes));
    for (const QString& location : offline)
        tail += FileName::displayText(location) + QStringLiteral(" (offline)\n");
    out += tail.toUtf8();
    flush(0);
    std::fflush(stdout);
}

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
    if (m_json && m_sort.empty()) {
        // Each project printed as soon as it is whole, then let go.
        JsonListWriter writer(stdout, offline);
        CatalogueArguments::catalogue("list", m_paths, &ok,
                                      [&writer](const BMProjectPtr& project) { writer.write(*project); });
        writer.finish();
        return ok ? 0 : 1;
    }

    BMProjectList projects = CatalogueArguments::catalogue("list", m_paths, &ok);
    if (!m_sort.empty()) {
        const char* column = m_sort == "name"   ? OutlineColumn::name
                             : m_sort == "date" ? OutlineColumn::date
                                                : OutlineColumn::size;
        projects = OutlineSorting::sortProjects(projects, QString::fromLatin1(column), m_descending);
    }
    if (m_json) {
        JsonListWriter writer(stdout, offline);
        for (const BMProjectPtr& project : projects)
            writer.write(*project);
        writer.finish();
    } else {
        writeCatalogueText(projects, offline, OutlineText());
    }
    return ok ? 0 : 1;
}
