#include "CatalogueLocations.h"

#include "foundation/BMFileManager.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QDateTime>
#include <QMutex>
#include <QSet>

namespace {

// The entry as a person would recognise it in the settings file.
QString describe(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QString:
        return QLatin1Char('"') + FileName::displayText(value.toString()) + QLatin1Char('"');
    case QMetaType::QVariantMap:
        return QStringLiteral("a dictionary");
    case QMetaType::QVariantList:
        return QStringLiteral("a list");
    case QMetaType::QByteArray:
        return QStringLiteral("data");
    case QMetaType::QDateTime:
        return QStringLiteral("the date %1").arg(value.toDateTime().toString(Qt::ISODate));
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    default:
        return QStringLiteral("the number %1").arg(value.toString());
    }
}

// Lists are read on every catalogue build; each problem is told once per run.
void warnOnce(const QString& text) {
    static QMutex mutex;
    static QSet<QString> told;
    {
        QMutexLocker lock(&mutex);
        if (told.contains(text))
            return;
        told.insert(text);
    }
    BMLog::appendLogAndPrint(text);
}

} // namespace

QStringList CatalogueLocations::defaultSharedAvidAttics() {
    return {QStringLiteral("/Users/Shared/AvidMediaComposer/Avid Attic"),
            QStringLiteral("/Users/Shared/AvidSymphony/Avid Attic")};
}

CatalogueLocations::CatalogueLocations(QStringList sharedAvidAttics)
    : m_sharedAvidAttics(std::move(sharedAvidAttics)) {
}

QStringList CatalogueLocations::storedPaths(const BMSettings& settings, const QString& key) {
    const QVariant stored = settings.value(key);
    if (!stored.isValid())
        return {};
    if (stored.typeId() != QMetaType::QVariantList && stored.typeId() != QMetaType::QStringList) {
        warnOnce(QStringLiteral("Settings: \"%1\" is %2, not a list of folders; it is ignored.")
                     .arg(key, describe(stored)));
        return {};
    }
    QStringList paths;
    for (const QVariant& entry : stored.toList()) {
        const bool text = entry.typeId() == QMetaType::QString;
        // "~" lets a settings file travel with a home that is copied or moved.
        const QString path =
            text ? PathText::expandingTilde(entry.toString(), Platform::current().homeDirectory())
                 : QString();
        if (path.startsWith(QLatin1Char('/'))) {
            paths << path;
            continue;
        }
        warnOnce(QStringLiteral("Settings: the entry %1 of \"%2\" is ignored: %3.")
                     .arg(describe(entry), key,
                          text ? QStringLiteral("a folder must be given by its absolute path")
                               : QStringLiteral("a folder must be given as text")));
    }
    return paths;
}

QStringList CatalogueLocations::storablePaths(const QStringList& paths) {
    const QString home = Platform::current().homeDirectory();
    QStringList storable;
    for (const QString& path : paths)
        storable << PathText::abbreviatingHome(path, home);
    return storable;
}

QStringList CatalogueLocations::storedLocations(const BMSettings& settings) {
    QStringList locations = storedPaths(settings, QLatin1String(SettingsKey::autosavePaths));
    for (const QString& path : storedPaths(settings, QLatin1String(SettingsKey::manualPaths))) {
        if (!locations.contains(path))
            locations.append(path);
    }
    return locations;
}

QStringList CatalogueLocations::offlineLocations(const QStringList& locations) {
    QStringList offline;
    for (const QString& location : locations) {
        if (!offline.contains(location) && !BMFileManager::isDirectoryAtPath(location))
            offline.append(location);
    }
    return offline;
}

QStringList CatalogueLocations::existingSharedAvidAttics() const {
    QStringList existing;
    for (const QString& attic : m_sharedAvidAttics) {
        if (BMFileManager::fileExistsAtPath(attic))
            existing.append(attic);
    }
    return existing;
}

QStringList CatalogueLocations::locations(const BMSettings& settings) const {
    return storedLocations(settings) + existingSharedAvidAttics();
}
