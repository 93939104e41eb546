#pragma once

#include "BMAutoItem.h"

#include <QDateTime>
#include <QString>

class BMSettings;

// An editor may still be writing an autosave it wrote a moment ago, and Premiere rewrites its
// emergency copy at every save: the background jobs leave an autosave written in the last
// few minutes alone. The rules a person runs by hand do not ask.
class RecentWriteGuard {
public:
    static constexpr int defaultMinutes = 10;

    RecentWriteGuard() = default; // off
    explicit RecentWriteGuard(int minutes) : m_minutes(minutes > 0 ? minutes : 0) {}
    static RecentWriteGuard fromSettings(const BMSettings& settings);
    // Those of the application's settings.
    static RecentWriteGuard stored();

    bool isOn() const { return m_minutes > 0; }
    int minutes() const { return m_minutes; }
    // Written within the guard's minutes before now (or after now: a clock set back).
    bool guards(const BMAutoItem& item, const QDateTime& now = QDateTime::currentDateTimeUtc()) const;
    // "written 3 minutes ago"; "dated 5 minutes ahead of this computer's clock"
    static QString writtenText(const BMAutoItem& item,
                               const QDateTime& now = QDateTime::currentDateTimeUtc());

private:
    int m_minutes = 0;
};
