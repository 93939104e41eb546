#include "PinnedPaths.h"

#include "CatalogueLocations.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

PinnedPaths::PinnedPaths(const QStringList& paths) : m_list(paths), m_paths(paths.begin(), paths.end()) {
}

PinnedPaths PinnedPaths::fromSettings(const BMSettings& settings) {
    return PinnedPaths(CatalogueLocations::storedPaths(settings, QLatin1String(SettingsKey::pinnedPaths)));
}

PinnedPaths PinnedPaths::stored() {
    return fromSettings(BMSettings::standard());
}

bool PinnedPaths::store(BMSettings& settings, const QStringList& paths) {
    return settings.setValue(QLatin1String(SettingsKey::pinnedPaths),
                             CatalogueLocations::storablePaths(paths));
}

bool PinnedPaths::isPinned(const BMProject& project) const {
    return !m_paths.isEmpty() && m_paths.contains(project.path());
}

bool PinnedPaths::isPinned(const BMAutoItem& item) const {
    if (m_paths.isEmpty())
        return false;
    if (m_paths.contains(item.path()))
        return true;
    const BMProjectPtr project = item.parent();
    return project && m_paths.contains(project->path());
}

BMAutoItemList PinnedPaths::without(const BMAutoItemList& items) const {
    if (m_paths.isEmpty())
        return items;
    BMAutoItemList kept;
    for (const BMAutoItemPtr& item : items) {
        if (!isPinned(*item))
            kept << item;
    }
    return kept;
}
