#include "BMPremiere.h"

#include "BMXMLParser.h"
#include "InputFile.h"
#include "foundation/BMFileManager.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"

namespace {

// Configuration files are a few kilobytes.
constexpr qint64 kMaximumConfigurationSize = 4 << 20;

void appendNew(QStringList& list, const QString& value) {
    if (!value.isEmpty() && !list.contains(value))
        list.append(value);
}

QStringList entriesBeginningWith(const QString& folder, const QString& prefix) {
    QStringList entries;
    if (folder.isEmpty())
        return entries;
    for (const QString& entry : BMFileManager::contentsOfDirectory(folder)) {
        if (entry.startsWith(prefix, Qt::CaseInsensitive))
            entries.append(entry);
    }
    return entries;
}

QString infoText(const QString& bundle, const char* key) {
    const std::optional<QVariantMap> info = Platform::current().applicationInfo(bundle);
    return info ? info->value(QString::fromLatin1(key)).toString() : QString();
}

QString configurationPath(const QString& folder, const QString& entry) {
    return PathText::appendingComponent(PathText::appendingComponent(folder, entry),
                                        QStringLiteral("Configuration/XManConfig.xml"));
}

// The folder that holds the registered application and the folder above it.
QStringList searchFolders() {
    const QString application = BMPremiere::applicationPath();
    if (application.isEmpty())
        return {};
    const QString holder = PathText::deletingLastComponent(application);
    QStringList folders{holder};
    appendNew(folders, PathText::deletingLastComponent(holder));
    return folders;
}

} // namespace

QString BMPremiere::applicationPath() {
    return Platform::current().applicationPathForBundleIdentifier(
        QStringLiteral("com.adobe.AdobePremierePro"));
}

QStringList BMPremiere::premiereVersions() {
    return versionsForAppName(QStringLiteral("Adobe Premiere "));
}

QStringList BMPremiere::versionsForAppName(const QString& namePrefix) {
    QStringList versions;
    for (const QString& folder : searchFolders()) {
        for (const QString& version : versionsForAppName(namePrefix, folder))
            appendNew(versions, version);
    }
    return versions;
}

QStringList BMPremiere::versionsForAppName(const QString& namePrefix, const QString& folder) {
    QStringList versions;
    for (const QString& entry : entriesBeginningWith(folder, namePrefix)) {
        const QString bundle = PathText::appendingComponent(PathText::appendingComponent(folder, entry),
                                                            entry + QStringLiteral(".app"));
        QString version = infoText(bundle, "CFBundleVersionString");
        if (version.isEmpty())
            version = infoText(bundle, "CFBundleVersion");
        if (version.isEmpty())
            version = productVersionFromConfiguration(configurationPath(folder, entry));
        appendNew(versions, version);
    }
    return versions;
}

QStringList BMPremiere::suiteVersions() {
    QStringList versions;
    for (const QString& folder : searchFolders()) {
        for (const QString& version : suiteVersionsInFolder(folder))
            appendNew(versions, version);
    }
    return versions;
}

QStringList BMPremiere::suiteVersionsInFolder(const QString& folder) {
    QStringList versions;
    for (const QString& entry : entriesBeginningWith(folder, QStringLiteral("Adobe Premiere "))) {
        const QString configured = productVersionFromConfiguration(configurationPath(folder, entry));
        if (!configured.isEmpty()) {
            appendNew(versions, configured);
            continue;
        }
        const QStringList bundles = BMFileManager::filesMatchingWildcardPath(
            QStringLiteral("Adobe Premiere Pro *.app"), PathText::appendingComponent(folder, entry));
        for (const QString& bundle : bundles) {
            QString version = infoText(bundle, "CFBundleVersion");
            const QStringList parts = version.split(QLatin1Char('.'));
            if (parts.size() >= 3)
                version = QStringLiteral("%1.%2").arg(parts[0], parts[1]);
            appendNew(versions, version);
        }
    }
    return versions;
}

QString BMPremiere::productVersionFromConfiguration(const QString& path) {
    if (!BMFileManager::fileExistsAtPath(path))
        return QString();
    const std::optional<QByteArray> bytes = InputFile::readAll(path, kMaximumConfigurationSize);
    pugi::xml_document document;
    if (!bytes || !BMXMLParser::parseDocument(*bytes, document))
        return QString();
    return BMXMLParser::stringValueForQuery(
        QStringLiteral("./Configuration/VariableForExMan/Data[@key='ProductVersion']"), document);
}
