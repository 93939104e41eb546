#include "RecentWriteGuard.h"

#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <algorithm>
#include <limits>

RecentWriteGuard RecentWriteGuard::fromSettings(const BMSettings& settings) {
    // Not every program registers the defaults: a guard that was never set is on.
    const QString key = QLatin1String(SettingsKey::guardMinutes);
    const qint64 minutes = settings.hasValue(key) ? settings.integerValue(key) : defaultMinutes;
    return RecentWriteGuard(int(std::clamp<qint64>(minutes, 0, std::numeric_limits<int>::max() / 60'000)));
}

RecentWriteGuard RecentWriteGuard::stored() {
    return fromSettings(BMSettings::standard());
}

bool RecentWriteGuard::guards(const BMAutoItem& item, const QDateTime& now) const {
    const qint64 written = item.modifiedMsecs();
    if (!isOn() || written == BMAutoItem::noDate)
        return false;
    return written > now.toMSecsSinceEpoch() - qint64(m_minutes) * 60'000;
}

QString RecentWriteGuard::writtenText(const BMAutoItem& item, const QDateTime& now) {
    const qint64 written = item.modifiedMsecs();
    if (written == BMAutoItem::noDate)
        return QStringLiteral("written at an unknown time");
    const qint64 minutes = (now.toMSecsSinceEpoch() - written) / 60'000;
    // A file from a machine whose clock runs ahead (a file server's, a laptop set to the
    // wrong year) is guarded all the same, but it was not written just now.
    if (minutes < 0)
        return QStringLiteral("dated %1 minute%2 ahead of this computer's clock")
            .arg(-minutes)
            .arg(minutes == -1 ? "" : "s");
    if (minutes < 1)
        return QStringLiteral("written less than a minute ago");
    return QStringLiteral("written %1 minute%2 ago").arg(minutes).arg(minutes == 1 ? "" : "s");
}
