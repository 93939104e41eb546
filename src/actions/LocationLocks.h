#pragma once

#include "actions/ActionProgress.h"
#include "catalogue/BMProject.h"
#include "foundation/LocationLock.h"

#include <QString>

#include <chrono>
#include <optional>
#include <vector>

// The per-location locks (LocationLock) that destructive work on autosaves holds, so that
// the window, each command and the background helper never work on one location at once.
// Every front end goes through the actions, so the actions take them.
//
// Several locations are locked in the order of their canonical paths, so two runs that
// span the same locations cannot deadlock. A thread that already holds a location (an
// archive that then removes what it packed) does not take it again.
class LocationLocks {
public:
    // The locations of the autosaves (their projects' locations as the scan found them), all
    // locked, waiting up to wait() for each. Nothing, with LocationLock's message naming the
    // location and the holder's process, when one did not come free.
    // A set cancel flag ends the wait at once (see LocationLock::acquire).
    static std::optional<LocationLocks> acquire(const BMAutoItemList& autosaves, const QString& activity,
                                                QString* error, const CancelFlag* cancel = nullptr);
    // The same for locations given by their paths.
    static std::optional<LocationLocks> acquireLocations(const QStringList& locations,
                                                         const QString& activity, QString* error,
                                                         const CancelFlag* cancel = nullptr);
    // How long a run waits for another to let go: LocationLock::defaultWait, or the whole
    // number of milliseconds in VESTRY_LOCK_WAIT_MS (tests and scripts that would rather fail
    // at once).
    static std::chrono::milliseconds wait();
    // The location an autosave belongs to: its project's, else the folder above its own.
    static QString locationOf(const BMAutoItemPtr& autosave);
    // "vestry prune: " and the like, naming the run for whoever has to wait for it.
    static QString describeRun(const QString& activity);

    LocationLocks(LocationLocks&&) noexcept = default;
    LocationLocks& operator=(LocationLocks&& other) noexcept;
    LocationLocks(const LocationLocks&) = delete;
    LocationLocks& operator=(const LocationLocks&) = delete;
    ~LocationLocks();

private:
    LocationLocks() = default;
    void release();
    std::vector<LocationLock> m_locks;
    QStringList m_taken; // canonical paths this object added to the thread's held set
};
