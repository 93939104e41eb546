#include "RestoreCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "StandardOutput.h"
#include "actions/TrashRestore.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

constexpr char kCommand[] = "restore";

QStringList knownLocations() {
    return CatalogueLocations().locations(BMSettings::standard());
}

// {"trashed":[{"originalPath":…,"deletionDate":…,"size":…,"pathInTrash":…}]}, newest first;
// the date in UTC, null where the record has none.
QString listJson(const QList<TrashedItem>& items) {
    QJsonArray trashed;
    for (const TrashedItem& item : items) {
        QJsonObject entry;
        entry.insert(QStringLiteral("originalPath"), item.originalPath);
        entry.insert(QStringLiteral("deletionDate"),
                     item.deletionDate.isValid() ? QJsonValue(item.deletionDate.toUTC().toString(Qt::ISODate))
                                                 : QJsonValue(QJsonValue::Null));
        entry.insert(QStringLiteral("size"), qint64(item.size));
        entry.insert(QStringLiteral("pathInTrash"), item.pathInTrash);
        trashed.append(entry);
    }
    return QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("trashed"), trashed}}).toJson());
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
    RestoreReport report;
    if (m_last) {
        QString error;
        report = TrashRestore::restoreLast(locations, &error);
        if (!error.isEmpty()) {
            CatalogueArguments::warn(kCommand, QStringLiteral("nothing to put back: %1").arg(error));
            return 1;
        }
    } else {
        QStringList paths;
        for (const std::string& path : m_paths)
            paths << CatalogueArguments::absolutePath(path);
        report = TrashRestore::restorePaths(paths, locations);
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
    return report.ok() ? 0 : 1;
}
