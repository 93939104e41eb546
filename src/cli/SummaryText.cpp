#include "SummaryText.h"

#include "foundation/FileName.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

QString table(const QString& heading, const QList<SpaceShare>& shares, const SpaceSummary& summary,
              const OutlineText& outline) {
    struct Row {
        QString name, size, share, projects, autosaves;
    };
    QList<Row> rows{{heading, QStringLiteral("Size"), QStringLiteral("Share"), QStringLiteral("Projects"),
                     QStringLiteral("Autosaves")}};
    const QLocale& locale = outline.locale();
    for (const SpaceShare& share : shares)
        rows.append({FileName::displayText(share.name), outline.formatFileSize(share.bytes),
                     locale.toString(summary.percentOf(share.bytes), 'f', 1) + QLatin1Char('%'),
                     locale.toString(qint64(share.projects)), locale.toString(qint64(share.autosaves))});
    qsizetype widths[5] = {};
    for (const Row& row : rows) {
        const QString* cells[5] = {&row.name, &row.size, &row.share, &row.projects, &row.autosaves};
        for (int i = 0; i < 5; ++i)
            widths[i] = std::max(widths[i], FileName::displayColumns(*cells[i]));
    }
    QString out;
    for (const Row& row : rows) {
        // The name left-aligned, the numbers right-aligned.
        QString line = row.name + QString(widths[0] - FileName::displayColumns(row.name), QLatin1Char(' '));
        const QString* numbers[4] = {&row.size, &row.share, &row.projects, &row.autosaves};
        for (int i = 0; i < 4; ++i)
            line += QStringLiteral("  ") + numbers[i]->rightJustified(widths[i + 1]);
        out += line + QLatin1Char('\n');
    }
    return out;
}

QJsonArray shareArray(const QList<SpaceShare>& shares, const SpaceSummary& summary, const char* nameKey) {
    QJsonArray array;
    for (const SpaceShare& share : shares)
        array.append(QJsonObject{{QString::fromLatin1(nameKey), share.name},
                                 {QStringLiteral("bytes"), share.bytes},
                                 {QStringLiteral("percent"), summary.percentOf(share.bytes)},
                                 {QStringLiteral("projects"), double(share.projects)},
                                 {QStringLiteral("autosaves"), double(share.autosaves)}});
    return array;
}

} // namespace

QString SummaryText::text(const SpaceSummary& summary, const OutlineText& outline,
                          const QStringList& offline) {
    QString out = table(QStringLiteral("Editor"), summary.byEditor(), summary, outline) + QLatin1Char('\n') +
                  table(QStringLiteral("Location"), summary.byLocation(), summary, outline);
    QLocale grouped = outline.locale();
    grouped.setNumberOptions(grouped.numberOptions() & ~QLocale::OmitGroupSeparator);
    out += QStringLiteral("\nTotal: %1 %2, %3 %4, %5\n")
               .arg(grouped.toString(qint64(summary.projectCount())),
                    summary.projectCount() == 1 ? QStringLiteral("project") : QStringLiteral("projects"),
                    grouped.toString(qint64(summary.autosaveCount())),
                    summary.autosaveCount() == 1 ? QStringLiteral("autosave") : QStringLiteral("autosaves"),
                    outline.formatFileSize(summary.totalBytes()));
    for (const QString& location : offline)
        out += FileName::displayText(location) + QStringLiteral(" (offline)\n");
    return out;
}

QByteArray SummaryText::json(const SpaceSummary& summary, const QStringList& offline) {
    const QJsonObject document{
        {QStringLiteral("editors"), shareArray(summary.byEditor(), summary, "editor")},
        {QStringLiteral("locations"), shareArray(summary.byLocation(), summary, "location")},
        {QStringLiteral("offline"), QJsonArray::fromStringList(offline)},
        {QStringLiteral("total"),
         QJsonObject{{QStringLiteral("bytes"), summary.totalBytes()},
                     {QStringLiteral("projects"), double(summary.projectCount())},
                     {QStringLiteral("autosaves"), double(summary.autosaveCount())}}}};
    return QJsonDocument(document).toJson(QJsonDocument::Compact) + '\n';
}
