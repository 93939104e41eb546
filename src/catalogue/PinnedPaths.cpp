#include "PinnedPaths.h"

#include "CatalogueLocations.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMutex>

namespace {

// The folder's links resolved, the last name kept: a pinned autosave or project folder that is
// itself a link stays what the catalogue lists. The path itself when its folder is not there.
QString realPath(const QString& path) {
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash <= 0)
        return path;
    const QString folder = QFileInfo(path.left(slash)).canonicalFilePath();
    if (folder.isEmpty())
        return path;
    return (folder == QLatin1String("/") ? QString() : folder) + path.mid(slash);
}

} // namespace

// Shared by the copies of one list, and by the threads that read it.
struct PinnedPaths::RealLocations {
    QMutex mutex;
    QHash<QString, QString> real; // a null string where the location is its own real path
};

PinnedPaths::PinnedPaths(const QStringList& paths)
    : m_list(paths), m_paths(paths.begin(), paths.end()), m_locations(std::make_shared<RealLocations>()) {
    for (const QString& path : paths) {
        const QString real = realPath(path);
        if (real != path)
            m_real.insert(real);
    }
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

QString PinnedPaths::storedForm(const QString& path) {
    const QString real = realPath(path);
    const QString home = QDir::cleanPath(Platform::current().homeDirectory());
    const QString realHome = QFileInfo(home).canonicalFilePath();
    if (!realHome.isEmpty() && realHome != home && real.startsWith(realHome + QLatin1Char('/')))
        return home + real.mid(realHome.size());
    return real;
}

QStringList PinnedPaths::removing(QStringList pins, const QString& path) {
    const QString real = realPath(path);
    pins.removeIf([&](const QString& pin) { return pin == path || realPath(pin) == real; });
    return pins;
}

bool PinnedPaths::matches(const QString& path, const QString& location) const {
    if (m_paths.contains(path))
        return true;
    if (!m_locations || location.isEmpty() || !path.startsWith(location) ||
        (path.size() > location.size() && path.at(location.size()) != QLatin1Char('/')))
        return false;
    QString realLocation;
    {
        QMutexLocker lock(&m_locations->mutex);
        auto it = m_locations->real.find(location);
        if (it == m_locations->real.end()) {
            QString real = QFileInfo(location).canonicalFilePath();
            if (real == location)
                real = QString();
            it = m_locations->real.insert(location, real);
        }
        realLocation = *it;
    }
    const QString real = realLocation.isNull() ? path : realLocation + path.mid(location.size());
    return m_real.contains(real) || (!realLocation.isNull() && m_paths.contains(real));
}

bool PinnedPaths::isPinned(const BMProject& project) const {
    return !m_paths.isEmpty() && matches(project.path(), project.location());
}

bool PinnedPaths::isPinnedItself(const BMAutoItem& item) const {
    if (m_paths.isEmpty())
        return false;
    const BMProjectPtr project = item.parent();
    return matches(item.path(), project ? project->location() : QString());
}

bool PinnedPaths::isPinned(const BMAutoItem& item) const {
    if (isPinnedItself(item))
        return true;
    const BMProjectPtr project = item.parent();
    return project && isPinned(*project);
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
