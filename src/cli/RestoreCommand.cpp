#include "RestoreCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "Interruption.h"
#include "StandardOutput.h"
#include "actions/ActionTexts.h"
#include "actions/TrashRestore.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {

constexpr char kCommand[] = "restore";

QStringList knownLocations() {
    return CatalogueLocations().locations(BMSettings::standard());
}

// A JSON string literal, quotes included.
QString jsonString(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

// {"trashed":[{"originalPath":…,"deletionDate":…,"size":…,"pathInTrash":…}]}, keys in this
// order, newest first; the date in UTC, null where the record has none.
QString listJson(const QList<TrashedItem>& items) {
    QStringList entries;
    for (const TrashedItem& item : items) {
        const QString date = item.deletionDate.isValid()
                                 ? jsonString(item.deletionDate.toUTC().toString(Qt::ISODate))
                                 : QStringLiteral("null");
        entries << QStringLiteral("{\"originalPath\":%1,\"deletionDate\":%2,\"size\":%3,\"pathInTrash\":%4}")
                       .arg(jsonString(item.originalPath), date, QString::number(item.size),
                            jsonString(item.pathInTrash));
    }
    return QStringLiteral("{\"trashed\":[%1]}\n").arg(entries.join(QLatin1Char(',')));
}

QString listText(const QList<TrashedItem>& items) {
    const OutlineText text;
    QStringList sizes;
    QStringList dates;
    qsizetype sizeWidth = 0;
    qsizetype dateWidth = 0;
    for (const TrashedItem& item : items) {
        sizes << text.formatFileSize(double(item.size));
        dates << text.itemDateText(item.deletionDate);
        sizeWidth = std::max(sizeWidth, sizes.last().size());
        dateWidth = std::max(dateWidth, dates.last().size());
    }
    QString out;
    for (qsizetype i = 0; i < items.size(); ++i)
        out += sizes[i].rightJustified(sizeWidth) + QStringLiteral("  ") + dates[i].leftJustified(dateWidth) +
               QStringLiteral("  ") + FileName::displayText(items[i].originalPath) + QLatin1Char('\n');
    out += items.size() == 1
               ? QStringLiteral("1 item in the Trash from the autosave locations\n")
               : QStringLiteral("%1 items in the Trash from the autosave locations\n").arg(items.size());
    return out;
}

} // namespace

CLI::App* RestoreCommand::define(CLI::App& parent) {
    CLI::App* command = parent.add_subcommand(
        "restore", "Lists the autosaves in the Trash, or puts them back where they were (never over a file "
                   "that stands there now).");
    CLI::Option* list = command->add_flag(
        "--list", m_list, "List what the Trash holds from the autosave locations, newest first");
    command->add_flag("--json", m_json, "With --list: print one JSON document instead of text")->needs(list);
    CLI::Option* last = command->add_flag("--last", m_last, "Put back everything the last removal took");
    CLI::Option* paths =
        command
            ->add_option("PATH", m_paths,
                         "Original paths of items to put back (the newest removed from each)")
            ->check(ArgumentChecks::nonEmptyPath());
    list->excludes(last)->excludes(paths);
    last->excludes(paths);
    command->callback([command, list, last, paths] {
        if (list->count() == 0 && last->count() == 0 && paths->count() == 0)
            throw CLI::RequiredError(command->get_name() + ": give --list, --last or the PATHs to put back");
    });
    return command;
}

int RestoreCommand::run() {
    const QStringList locations = knownLocations();
    if (m_list) {
        const QList<TrashedItem> items = TrashRestore::list(locations);
        writeStandardOutput(m_json ? listJson(items) : listText(items));
        return 0;
    }
    // Ctrl+C stops between two items: one copied back from another volume is never left half made.
    const Interruption interruption;
    RestoreReport report;
    if (m_last) {
        QString error;
        report = TrashRestore::restoreLast(locations, &error, interruption.flag());
        if (!error.isEmpty()) {
            CatalogueArguments::warn(kCommand, QStringLiteral("nothing to put back: %1").arg(error));
            return 1;
        }
    } else {
        QStringList paths;
        for (const std::string& path : m_paths)
            paths << CatalogueArguments::absolutePath(path);
        report = TrashRestore::restorePaths(paths, locations, interruption.flag());
    }
    if (!report.error.isEmpty()) {
        CatalogueArguments::warn(kCommand, QStringLiteral("%1 Nothing was put back.").arg(report.error));
        return 1;
    }
    QString out;
    for (const QString& path : report.restored) {
        out += QStringLiteral("Put back %1\n").arg(FileName::displayText(path));
        if (report.reasons.contains(path))
            CatalogueArguments::warn(kCommand, report.reasons.value(path));
    }
    writeStandardOutput(out);
    for (const QString& path : report.refused + report.failed)
        CatalogueArguments::warn(kCommand, report.reasons.value(path));
    for (const QString& path : report.notFound)
        CatalogueArguments::warn(kCommand, QStringLiteral("%1: nothing in the Trash was removed from there")
                                               .arg(FileName::displayText(path)));
    if (report.cancelled) {
        CatalogueArguments::warn(kCommand, ActionTexts::cancelled(QStringLiteral("put back"),
                                                                  report.restored.size(), report.total));
        return interruption.exitStatus();
    }
    return report.ok() ? 0 : 1;
}
