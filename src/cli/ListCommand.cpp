#include "ListCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "StandardOutput.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/OutlineSorting.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {

QJsonValue isoDate(const QDateTime& date) {
    if (!date.isValid())
        return QJsonValue(QJsonValue::Null);
    return date.toUTC().toString(Qt::ISODate);
}

QByteArray catalogueJson(const BMProjectList& projects, const QStringList& offline) {
    QJsonArray projectArray;
    for (const BMProjectPtr& project : projects) {
        QJsonArray items;
        for (const BMAutoItemPtr& item : project->children()) {
            items.append(QJsonObject{{QStringLiteral("name"), item->name()},
                                     {QStringLiteral("path"), item->path()},
                                     {QStringLiteral("type"), item->type()},
                                     {QStringLiteral("size"), item->fileSize()},
                                     {QStringLiteral("createdDate"), isoDate(item->createdDate())}});
        }
        projectArray.append(QJsonObject{{QStringLiteral("name"), project->name()},
                                        {QStringLiteral("path"), project->path()},
                                        {QStringLiteral("type"), project->type()},
                                        {QStringLiteral("size"), project->fileSize()},
                                        {QStringLiteral("startDate"), isoDate(project->startDate())},
                                        {QStringLiteral("endDate"), isoDate(project->endDate())},
                                        {QStringLiteral("items"), items}});
    }
    QJsonObject document{{QStringLiteral("projects"), projectArray}};
    // Only when there is something to say, so that the usual document keeps its one key.
    if (!offline.isEmpty())
        document.insert(QStringLiteral("offline"), QJsonArray::fromStringList(offline));
    return QJsonDocument(document).toJson(QJsonDocument::Compact);
}

QString counted(qsizetype count, const QString& one, const QString& many, const QLocale& locale) {
    return QStringLiteral("%1 %2").arg(locale.toString(qint64(count)), count == 1 ? one : many);
}

QString catalogueText(const BMProjectList& projects, const QStringList& offline, const OutlineText& text) {
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
    QString out;
    for (const Row& row : rows) {
        const QString line = row.name.leftJustified(nameWidth) + QStringLiteral("  ") +
                             row.size.rightJustified(sizeWidth) + QStringLiteral("  ") + row.date;
        out += line;
        while (out.endsWith(QLatin1Char(' ')))
            out.chop(1);
        out += QLatin1Char('\n');
    }
    QLocale grouped = text.locale();
    grouped.setNumberOptions(grouped.numberOptions() & ~QLocale::OmitGroupSeparator);
    out += QStringLiteral("Total: %1, %2, %3 (%4)\n")
               .arg(counted(projects.size(), QStringLiteral("project"), QStringLiteral("projects"), grouped),
                    counted(itemCount, QStringLiteral("autosave"), QStringLiteral("autosaves"), grouped),
                    counted(qsizetype(std::llround(totalBytes)), QStringLiteral("byte"),
                            QStringLiteral("bytes"), grouped),
                    text.formatFileSize(totalBytes));
    for (const QString& location : offline)
        out += FileName::displayText(location) + QStringLiteral(" (offline)\n");
    return out;
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
    bool ok = true;
    BMProjectList projects = CatalogueArguments::catalogue("list", m_paths, &ok);
    const int status = ok ? 0 : 1;

    if (!m_sort.empty()) {
        const char* column = m_sort == "name"   ? OutlineColumn::name
                             : m_sort == "date" ? OutlineColumn::date
                                                : OutlineColumn::size;
        projects = OutlineSorting::sortProjects(projects, QString::fromLatin1(column), m_descending);
    }

    // Stored locations that are not there now (a drive not plugged in) are said, not dropped.
    const QStringList offline = m_paths.empty()
                                    ? CatalogueLocations::offlineLocations(
                                          CatalogueLocations::storedLocations(BMSettings::standard()))
                                    : QStringList();
    if (m_json)
        writeStandardOutput(QString::fromUtf8(catalogueJson(projects, offline)) + QLatin1Char('\n'));
    else
        writeStandardOutput(catalogueText(projects, offline, OutlineText()));
    return status;
}
