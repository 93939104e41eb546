#pragma once

#include <QString>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

// Excludes other Vestry runs of the same user (the window, each command, the background
// helper) from one autosave location while destructive work runs on it. The lock is an
// advisory flock on a per-user lock file named after the location's canonical path, so it
// also excludes two threads of one process, and the kernel drops it when a run dies.
//
// The file holds the holder's process id and what it is doing, so that a run that gives
// up can say who is in the way.
class LocationLock {
public:
    struct Holder {
        qint64 pid = 0;
        QString activity;
    };

    // Takes the lock of a location, waiting up to the given time for another run to let go.
    // Nothing, with a message naming the location and the holder, when it did not come. A set
    // cancelled flag (Ctrl+C, a Cancel button) ends the wait at once, with errno ECANCELED.
    static std::optional<LocationLock> acquire(const QString& location, const QString& activity,
                                               std::chrono::milliseconds wait, QString* error,
                                               const std::atomic<bool>* cancelled = nullptr);
    // The default wait: long enough for another run's removal of a few files to finish,
    // short enough that nobody takes the program for hung.
    static constexpr std::chrono::milliseconds defaultWait{15000};
    // defaultWait, or the whole number of milliseconds in VESTRY_LOCK_WAIT_MS (tests and
    // scripts that would rather fail at once).
    static std::chrono::milliseconds configuredWait();

    // Two spellings of one folder (a link, a trailing "/", "..") meet on one lock: the
    // location's real path, or the path as given when it cannot be resolved.
    static QString canonicalLocation(const QString& location);
    // The lock file of a location (for messages and tests).
    static QString lockFilePath(const QString& location);
    // Who holds the location's lock now; nothing when it is free.
    static std::optional<Holder> currentHolder(const QString& location);

    LocationLock(LocationLock&&) noexcept;
    LocationLock& operator=(LocationLock&&) noexcept;
    ~LocationLock();
    const QString& location() const { return m_location; }

private:
    LocationLock(int fd, QString location);
    void release();
    int m_fd = -1;
    QString m_location;
};
