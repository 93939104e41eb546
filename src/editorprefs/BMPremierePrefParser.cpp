#include "BMPremierePrefParser.h"

#include "BMPremiere.h"
#include "BMXMLParser.h"
#include "InputFile.h"
#include "foundation/AtomicFile.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"

const QString BMPremierePrefParser::recentDocumentsQuery = QStringLiteral(
    "./PremiereData[1]/Preferences[1]/Properties[1]/*[starts-with(name(),'BE.Prefs.MRU.Document.')]/text()");

// "(VideoPreviewLocation | AudioPreviewLocation)[1]" as a step needs XPath 2.0; picking the
// first child that is either kind selects the same node.
const QString BMPremierePrefParser::previewLocationsQuery =
    QStringLiteral("./PremiereData[1]/ScratchDiskSettings[1]/"
                   "*[self::VideoPreviewLocation or self::AudioPreviewLocation][1]/text()");

const QString BMPremierePrefParser::newerPreviewLocationsQuery =
    QStringLiteral("./PremiereData[1]/ScratchDiskSettings[1]/"
                   "*[self::VideoPreviewLocation0 or self::AudioPreviewLocation0]/text()");

const QString BMPremierePrefParser::autoSaveLocationQuery =
    QStringLiteral("./PremiereData[1]/ScratchDiskSettings[1]/"
                   "*[self::AutoSaveLocation0 or self::AutoSaveLocation][1]/text()");

namespace {

void log(const QString& text) {
    BMLog::appendLog(text);
}

void appendNew(QStringList& list, const QString& value) {
    if (!value.isEmpty() && !list.contains(value))
        list.append(value);
}

QStringList withFolderAppended(const QStringList& folders, const QString& name) {
    QStringList paths;
    for (const QString& folder : folders)
        appendNew(paths, PathText::appendingComponent(folder, name));
    return paths;
}

// What one project's scratch-disk settings name, "SameAsProject" and "MyDocuments" resolved.
struct ProjectLocations {
    QStringList previews;      // the query that has always been read
    QStringList newerPreviews; // the names of later versions
    QStringList autoSaves;
};

struct VersionFolders {
    QStringList scratch;
    QStringList newerScratch;
    QStringList autoSaves;
};

bool readLocations(const QString& query, const pugi::xml_document& document, const QString& project,
                   const QString& defaultFolder, QStringList& locations) {
    QString error;
    const std::optional<BMXMLParser::Nodes> nodes = BMXMLParser::evaluate(query, document, &error);
    if (!nodes) {
        log(QStringLiteral("Error querying Adobe Premiere project XML: %1").arg(error));
        return false;
    }
    for (const pugi::xpath_node& node : *nodes) {
        QString location = BMXMLParser::stringValue(node);
        if (location == QLatin1String("SameAsProject"))
            location = PathText::deletingLastComponent(project);
        else if (location == QLatin1String("MyDocuments"))
            location = defaultFolder;
        if (!location.isEmpty())
            locations.append(location);
    }
    return true;
}

ProjectLocations projectLocations(const QString& project, const QString& defaultFolder) {
    log(QStringLiteral("Loading Premiere project file data at %1...").arg(project));
    QString error;
    // Plain or gzip-compressed XML alike: which one is told by the data, not the name.
    const std::optional<QByteArray> bytes =
        InputFile::readMaybeCompressed(project, BMPremierePrefParser::maximumProjectFileSize, &error);
    if (!bytes) {
        log(QStringLiteral("Error loading Adobe Premiere project data: %1").arg(error));
        return {};
    }
    pugi::xml_document document;
    if (!BMXMLParser::parseDocument(*bytes, document, &error)) {
        log(QStringLiteral("Error loading Adobe Premiere project XML: %1").arg(error));
        return {};
    }
    log(QStringLiteral("Getting Premiere preview locations..."));
    ProjectLocations locations;
    if (!readLocations(BMPremierePrefParser::previewLocationsQuery, document, project, defaultFolder,
                       locations.previews))
        return {};
    readLocations(BMPremierePrefParser::newerPreviewLocationsQuery, document, project, defaultFolder,
                  locations.newerPreviews);
    readLocations(BMPremierePrefParser::autoSaveLocationQuery, document, project, defaultFolder,
                  locations.autoSaves);
    return locations;
}

// The folders one version's preferences lead to; the default folder where they cannot be
// read.
VersionFolders foldersForVersion(const QString& version, BMPremierePrefParser::Query query) {
    const QString fallback = BMPremierePrefParser::defaultFolder(version);
    const QString preferences = BMPremierePrefParser::findPreferenceFile(version);
    if (preferences.isEmpty()) {
        log(QStringLiteral("No preference file exists at %1.")
                .arg(BMPremierePrefParser::preferenceFilePath(version)));
        return {{fallback}, {}, {}};
    }
    log(QStringLiteral("Loading preference file data..."));
    QString error;
    const std::optional<QByteArray> bytes =
        InputFile::readMaybeCompressed(preferences, BMPremierePrefParser::maximumPreferenceFileSize, &error);
    if (!bytes) {
        log(QStringLiteral("Error loading Adobe Premiere preference data: %1").arg(error));
        return {{fallback}, {}, {}};
    }
    log(QStringLiteral("Loading preference file XML information..."));
    pugi::xml_document document;
    if (!BMXMLParser::parseDocument(*bytes, document, &error)) {
        log(QStringLiteral("Error loading Adobe Premiere preference XML: %1").arg(error));
        return {{fallback}, {}, {}};
    }
    log(QStringLiteral("Getting recent documents..."));
    const std::optional<BMXMLParser::Nodes> recent =
        BMXMLParser::evaluate(BMPremierePrefParser::recentDocumentsQuery, document, &error);
    if (!recent) {
        log(QStringLiteral("Error loading recent docs: %1").arg(error));
        return {{fallback}, {}, {}};
    }
    log(QStringLiteral("Checking for recent scratch disks..."));
    VersionFolders folders;
    for (const pugi::xpath_node& node : *recent) {
        const QString project = BMXMLParser::stringValue(node);
        if (!BMFileManager::fileExistsAtPath(project))
            continue;
        if (query == BMPremierePrefParser::Query::Fast) {
            folders.scratch.append(PathText::deletingLastComponent(project));
            continue;
        }
        const ProjectLocations locations = projectLocations(project, fallback);
        folders.scratch.append(locations.previews);
        folders.newerScratch.append(locations.newerPreviews);
        folders.autoSaves.append(locations.autoSaves);
    }
    return folders;
}

QString documentsFolder() {
    return BMLocalPaths::documentDirectory(true);
}

} // namespace

QString BMPremierePrefParser::normalizedVersion(const QString& version) {
    if (version.endsWith(QLatin1String(".0.0")))
        return version.left(version.size() - 2);
    return version;
}

QString BMPremierePrefParser::preferenceFilePath(const QString& version) {
    return BMLocalPaths::appSupportDirectory(true) +
           QStringLiteral("/Adobe/Premiere Pro/%1/Adobe Premiere Pro Prefs").arg(version);
}

QString BMPremierePrefParser::findPreferenceFile(const QString& version) {
    const QString path = preferenceFilePath(version);
    if (BMFileManager::fileExistsAtPath(path))
        return path;
    const QStringList matches = BMFileManager::filesMatchingWildcardPath(
        QStringLiteral("%1/Adobe/Premiere Pro/%2/Profile-*/Adobe Premiere Pro Prefs")
            .arg(documentsFolder(), version));
    for (const QString& match : matches) {
        if (BMFileManager::fileExistsAtPath(match))
            return match;
    }
    return QString();
}

QString BMPremierePrefParser::defaultFolder(const QString& version) {
    return documentsFolder() + QStringLiteral("/Adobe/Premiere Pro/%1").arg(version);
}

namespace {

// The folders the old names lead to keep their order and their fallbacks; what the newer
// names add comes after all of them.
VersionFolders allFolders(const QStringList& requested, BMPremierePrefParser::Query query) {
    QStringList versions = requested;
    if (versions.isEmpty())
        versions = BMPremiere::premiereVersions();
    if (versions.isEmpty())
        versions = QStringList{QStringLiteral("7.0")};

    VersionFolders all;
    QStringList defaults;
    for (const QString& requestedVersion : std::as_const(versions)) {
        const QString version = BMPremierePrefParser::normalizedVersion(requestedVersion);
        log(QStringLiteral("Loading scratch disk settings for Premiere %1...").arg(version));
        defaults.append(BMPremierePrefParser::defaultFolder(version));
        const VersionFolders found = foldersForVersion(version, query);
        for (const QString& folder : found.scratch)
            appendNew(all.scratch, folder);
        if (found.scratch.isEmpty())
            appendNew(all.scratch, BMPremierePrefParser::defaultFolder(version));
        all.newerScratch.append(found.newerScratch);
        all.autoSaves.append(found.autoSaves);
    }
    if (all.scratch.isEmpty()) {
        for (const QString& folder : std::as_const(defaults))
            appendNew(all.scratch, folder);
    }
    return all;
}

QStringList joined(const QList<QStringList>& lists) {
    QStringList folders;
    for (const QStringList& list : lists) {
        for (const QString& folder : list)
            appendNew(folders, folder);
    }
    return folders;
}

} // namespace

QStringList BMPremierePrefParser::recentScratchDisks(const QStringList& versions, Query query) {
    const VersionFolders folders = allFolders(versions, query);
    return joined({folders.scratch, folders.newerScratch});
}

QStringList BMPremierePrefParser::recentRenderPaths(const QStringList& versions, Query query) {
    return withFolderAppended(recentScratchDisks(versions, query),
                              QStringLiteral("Adobe Premiere Pro Preview Files"));
}

QStringList BMPremierePrefParser::recentAutosavePaths(const QStringList& versions, Query query) {
    const VersionFolders folders = allFolders(versions, query);
    return withFolderAppended(joined({folders.scratch, folders.newerScratch, folders.autoSaves}),
                              QStringLiteral("Adobe Premiere Pro Auto-Save"));
}

namespace {

class ByteWriter : public pugi::xml_writer {
public:
    void write(const void* data, size_t size) override {
        bytes.append(static_cast<const char*>(data), qsizetype(size));
    }
    QByteArray bytes;
};

void setText(const pugi::xpath_node& selected, const QByteArray& value) {
    if (pugi::xml_attribute attribute = selected.attribute()) {
        attribute.set_value(value.constData());
        return;
    }
    pugi::xml_node node = selected.node();
    switch (node.type()) {
    case pugi::node_pcdata:
    case pugi::node_cdata:
        node.set_value(value.constData());
        break;
    case pugi::node_element:
        while (node.first_child())
            node.remove_child(node.first_child());
        node.append_child(pugi::node_pcdata).set_value(value.constData());
        break;
    default:
        break;
    }
}

} // namespace

bool BMPremierePrefParser::setStringValue(const QString& value, const QString& xpath,
                                          const QString& version) {
    const QString path = preferenceFilePath(normalizedVersion(version));
    QString error;
    const std::optional<QByteArray> bytes = InputFile::readAll(path, maximumPreferenceFileSize, &error);
    if (!bytes) {
        log(QStringLiteral("Error loading Adobe Premiere preference data: %1").arg(error));
        return false;
    }
    // Everything the file holds is kept as it is, white space included.
    pugi::xml_document document;
    if (!BMXMLParser::parseDocument(*bytes, document, &error, pugi::parse_full | pugi::parse_ws_pcdata)) {
        log(QStringLiteral("Error loading Adobe Premiere preference XML: %1").arg(error));
        return false;
    }
    const std::optional<BMXMLParser::Nodes> nodes = BMXMLParser::evaluate(xpath, document, &error);
    if (!nodes) {
        log(QStringLiteral("Error querying Adobe Premiere preference XML: %1").arg(error));
        return false;
    }
    const QByteArray text = value.toUtf8();
    for (const pugi::xpath_node& node : *nodes)
        setText(node, text);

    ByteWriter writer;
    document.save(writer, "\t", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    QString cause;
    if (!AtomicFile::write(path, writer.bytes, &cause)) {
        log(QStringLiteral("Error writing Adobe Premiere preference file %1: %2").arg(path, cause));
        return false;
    }
    return true;
}

QStringList BMPremierePrefParser::spotlightSearchForFoldersWithName(const QString& name) {
    Platform& platform = Platform::current();
    if (!platform.spotlightAvailable())
        return {};
    log(QStringLiteral("Running a Spotlight search for folders called %1...").arg(name));
    const QString suffix = QLatin1Char('/') + name;
    QStringList folders;
    for (const QString& line : platform.spotlightQuery(Platform::SpotlightQuery::folderNamed(name), 10)) {
        if (line.endsWith(suffix, Qt::CaseInsensitive))
            folders.append(line);
    }
    return folders;
}
