#include "CatalogueLocations.h"

#include "foundation/BMFileManager.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

QStringList CatalogueLocations::defaultSharedAvidAttics() {
    return {QStringLiteral("/Users/Shared/AvidMediaComposer/Avid Attic"),
            QStringLiteral("/Users/Shared/AvidSymphony/Avid Attic")};
}

CatalogueLocations::CatalogueLocations(QStringList sharedAvidAttics)
    : m_sharedAvidAttics(std::move(sharedAvidAttics)) {
}

QStringList CatalogueLocations::storedLocations(const BMSettings& settings) {
    QStringList locations = settings.stringListValue(QLatin1String(SettingsKey::autosavePaths));
    for (const QString& path : settings.stringListValue(QLatin1String(SettingsKey::manualPaths))) {
        if (!locations.contains(path))
            locations.append(path);
    }
    return locations;
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
