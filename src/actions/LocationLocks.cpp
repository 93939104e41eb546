#include "LocationLocks.h"

#include "AutosaveSelection.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <cstdlib>

namespace {

// The locations this thread holds now.
thread_local QSet<QString> t_held;

} // namespace

std::chrono::milliseconds LocationLocks::wait() {
    return LocationLock::configuredWait();
}

QString LocationLocks::locationOf(const BMAutoItemPtr& autosave) {
    if (const BMProjectPtr project = autosave->parent(); project && !project->location().isEmpty())
        return project->location();
    return PathText::deletingLastComponent(AutosaveSelection::containingFolder(autosave->path()));
}

QString LocationLocks::describeRun(const QString& activity) {
    const QStringList arguments = QCoreApplication::arguments();
    QString run = arguments.isEmpty() ? QStringLiteral("vestry") : QFileInfo(arguments.first()).fileName();
    if (arguments.size() > 1 && !arguments[1].startsWith(QLatin1Char('-')))
        run += QLatin1Char(' ') + arguments[1];
    return QStringLiteral("%1: %2").arg(run, activity);
}

std::optional<LocationLocks> LocationLocks::acquire(const BMAutoItemList& autosaves, const QString& activity,
                                                    QString* error, const CancelFlag* cancel) {
    QStringList given;
    for (const BMAutoItemPtr& item : autosaves) {
        if (item)
            given << locationOf(item);
    }
    return acquireLocations(given, activity, error, cancel);
}

std::optional<LocationLocks> LocationLocks::acquireLocations(const QStringList& given,
                                                             const QString& activity, QString* error,
                                                             const CancelFlag* cancel) {
    QStringList locations;
    QSet<QString> seen; // one entry per autosave: each location once, not once per autosave
    for (const QString& each : given) {
        if (seen.contains(each))
            continue;
        seen.insert(each);
        const QString location = LocationLock::canonicalLocation(each);
        if (!location.isEmpty() && !locations.contains(location) && !t_held.contains(location))
            locations << location;
    }
    std::sort(locations.begin(), locations.end());
    LocationLocks locks;
    for (const QString& location : locations) {
        std::optional<LocationLock> lock =
            LocationLock::acquire(location, describeRun(activity), wait(), error, cancel);
        if (!lock)
            return std::nullopt; // those taken so far are let go here
        locks.m_locks.push_back(std::move(*lock));
        locks.m_taken << location;
        t_held.insert(location);
    }
    return locks;
}

LocationLocks& LocationLocks::operator=(LocationLocks&& other) noexcept {
    if (this != &other) {
        release();
        m_locks = std::move(other.m_locks);
        m_taken = std::move(other.m_taken);
    }
    return *this;
}

LocationLocks::~LocationLocks() {
    release();
}

void LocationLocks::release() {
    for (const QString& location : std::as_const(m_taken))
        t_held.remove(location);
    m_taken.clear();
    m_locks.clear();
}
