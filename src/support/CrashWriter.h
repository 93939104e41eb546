#pragma once

#include <QDateTime>
#include <QString>

// Writes "<name>_<yyyy-MM-dd-HHmmss>-<pid>.crash" when the process dies of SIGSEGV, SIGBUS,
// SIGILL, SIGFPE or SIGABRT, then lets the signal do what it would have done. Nothing else
// writes crash reports on Linux. The handler only uses what is async-signal-safe: the
// folder and name are prepared here, the date is worked out from the clock by arithmetic
// with the UTC offset taken now, and the backtrace goes straight to the descriptor.
class CrashWriter {
public:
    // Replaces an earlier installation. False when the folder cannot be made.
    static bool install(const QString& folder, const QString& appName);
    // Puts back the handlers that were there before.
    static void uninstall();
    static bool isInstalled();

    // The file name for a moment given as seconds since the epoch and a UTC offset in
    // seconds, as the handler makes it.
    static QString reportName(const QString& appName, qint64 secondsSinceEpoch, int utcOffsetSeconds,
                              qint64 pid);
};
