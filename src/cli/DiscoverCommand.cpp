#include "DiscoverCommand.h"

#include "StandardOutput.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/LocationDiscovery.h"
#include "foundation/BMSettings.h"
#include "foundation/Console.h"
#include "foundation/FileName.h"
#include "foundation/SettingsKeys.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

namespace {

// A JSON string, quoted and escaped.
QByteArray jsonString(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

// Written by hand: each location's path comes before its mark, which a JSON object of Qt's
// would sort the other way round.
QByteArray locationsJson(const QStringList& stored, const QStringList& added, const QStringList& offline,
                         const QList<LocationDiscovery::SearchedVolume>* volumes) {
    QByteArrayList locations;
    for (const QString& path : stored) {
        locations << "{\"path\":" + jsonString(path) +
                         ",\"new\":" + (added.contains(path) ? "true" : "false") +
                         ",\"offline\":" + (offline.contains(path) ? "true" : "false") + "}";
    }
    QByteArray json = "{\"locations\":[" + locations.join(',') + "]";
    if (volumes) {
        QByteArrayList searched;
        for (const LocationDiscovery::SearchedVolume& volume : *volumes) {
            searched << "{\"path\":" + jsonString(volume.path) +
                            ",\"cutOff\":" + (volume.cutOff ? "true" : "false") + ",\"problem\":" +
                            (volume.problem.isEmpty() ? QByteArray("null") : jsonString(volume.problem)) +
                            "}";
        }
        json += ",\"volumes\":[" + searched.join(',') + "]";
    }
    return json + "}";
}

QString volumesText(const QList<LocationDiscovery::SearchedVolume>& volumes) {
    if (volumes.isEmpty())
        return QStringLiteral("No removable or network volume is mounted.\n");
    QString out;
    for (const LocationDiscovery::SearchedVolume& volume : volumes) {
        out += QStringLiteral("searched %1").arg(FileName::displayText(volume.path));
        if (!volume.problem.isEmpty())
            out += QStringLiteral(" (could not be read: %1)").arg(volume.problem);
        else if (volume.cutOff)
            out += QStringLiteral(" (cut off: the time ran out before every folder was seen)");
        out += QLatin1Char('\n');
    }
    return out;
}

QString locationsText(const QStringList& stored, const QStringList& added, const QStringList& offline) {
    QString out;
    qsizetype newCount = 0;
    for (const QString& path : stored) {
        const bool isNew = added.contains(path);
        // As `vestry list` marks it: a drive not mounted now keeps its place in the list.
        out += (isNew ? QStringLiteral("new  ") : QStringLiteral("     ")) + FileName::displayText(path) +
               (offline.contains(path) ? QStringLiteral(" (offline)\n") : QStringLiteral("\n"));
        newCount += isNew ? 1 : 0;
    }
    QLocale locale;
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
    out += QStringLiteral("%1 %2, %3 new\n")
               .arg(locale.toString(qint64(stored.size())),
                    stored.size() == 1 ? QStringLiteral("location") : QStringLiteral("locations"),
                    locale.toString(qint64(newCount)));
    return out;
}

} // namespace

CLI::App* DiscoverCommand::define(CLI::App& parent) {
    CLI::App* command = parent.add_subcommand(
        "discover",
        "Searches the editors' preferences, the file name index and the mounted drives and shares "
        "for new autosave locations, stores those holding autosaves, and prints every stored "
        "location.");
    command->add_flag("--json", m_json, "Print one JSON document instead of text");
    command->add_flag("--volumes", m_volumes,
                      "Also say which removable and network volumes were searched, one line each");
    return command;
}

int DiscoverCommand::run() {
    BMSettings& settings = BMSettings::standard();
    LocationDiscovery discovery(settings);
    const LocationDiscovery::Outcome outcome = discovery.searchForNewPaths();
    if (!outcome.nameSearchProblem.isEmpty()) {
        Console::print(QStringLiteral("vestry discover: %1").arg(outcome.nameSearchProblem));
        return 1;
    }
    if (!outcome.nameSearchAvailable && !outcome.found.isEmpty()) {
        const qsizetype count = outcome.found.size();
        Console::print(
            QStringLiteral("vestry discover: %1 new %2 found but not stored: locations are stored only "
                           "where the file name index can be searched (install plocate or locate)")
                .arg(count)
                .arg(count == 1 ? QStringLiteral("location") : QStringLiteral("locations")));
    }

    for (const QString& path : outcome.unstorable)
        Console::print(QStringLiteral("vestry discover: %1 holds autosaves but is not stored: %2")
                           .arg(FileName::displayText(path), LocationDiscovery::unstorableReason));

    const QStringList stored =
        CatalogueLocations::storedPaths(settings, QLatin1String(SettingsKey::autosavePaths));
    const QStringList added = outcome.stored ? outcome.found : QStringList();
    const QStringList offline = CatalogueLocations::offlineLocations(stored);
    int status = 0;
    if (outcome.nameSearchAvailable && !outcome.found.isEmpty() && !outcome.stored) {
        const QString problem = settings.userFileProblem();
        Console::print(QStringLiteral("vestry discover: the new locations could not be stored in %1%2")
                           .arg(settings.userFilePath(), problem.isEmpty()
                                                             ? QStringLiteral(" (the log has the details)")
                                                             : QString()));
        status = 1;
    }
    if (m_json)
        writeStandardOutput(
            QString::fromUtf8(locationsJson(stored, added, offline, m_volumes ? &outcome.volumes : nullptr)) +
            QLatin1Char('\n'));
    else
        writeStandardOutput((m_volumes ? volumesText(outcome.volumes) : QString()) +
                            locationsText(stored, added, offline));
    return status;
}
