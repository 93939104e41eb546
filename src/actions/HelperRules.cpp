#include "HelperRules.h"

#include "RetentionRules.h"
#include "catalogue/AutosaveType.h"
#include "foundation/BMSettings.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// The number a limit's setting holds: nothing for what is not a number of zero or more (text,
// a list, a negative or endless number), which reading as 0 would turn into "every autosave
// but the newest".
std::optional<double> limitNumber(const QVariant& value) {
    double number = 0;
    bool ok = false;
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        number = value.toDouble(&ok);
        break;
    case QMetaType::QString:
        number = value.toString().trimmed().toDouble(&ok);
        break;
    default:
        break;
    }
    if (!ok || !std::isfinite(number) || number < 0)
        return std::nullopt;
    return number;
}

// A limit beyond what T holds is kept as T's largest, so that a huge limit takes nothing
// rather than wrapping round to a negative one that takes everything; a fraction rounds up,
// to the limit that takes less (half a day is a day, half a megabyte 524,288 bytes).
template <typename T>
std::optional<T> limitIf(const BMSettings& settings, const char* useKey, const char* valueKey,
                         QStringList& unreadable, qint64 unit = 1) {
    if (!settings.boolValue(QLatin1String(useKey)))
        return std::nullopt;
    const QVariant value = settings.value(QLatin1String(valueKey));
    const std::optional<double> number = limitNumber(value);
    if (!number) {
        QString shown;
        switch (value.typeId()) {
        case QMetaType::UnknownType:
            shown = QStringLiteral("nothing");
            break;
        case QMetaType::QVariantMap:
            shown = QStringLiteral("a dictionary");
            break;
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            shown = QStringLiteral("a list");
            break;
        case QMetaType::QByteArray:
            shown = QStringLiteral("data");
            break;
        default:
            shown = QStringLiteral("\"%1\"").arg(value.toString());
        }
        const QString warning =
            QStringLiteral("The setting %1 holds %2, not a number of zero or more: that limit is off")
                .arg(QLatin1String(valueKey), shown);
        unreadable << warning;
        return std::nullopt;
    }
    const double limit = std::ceil(*number * double(unit));
    return limit >= double(std::numeric_limits<T>::max()) ? std::numeric_limits<T>::max() : T(limit);
}

bool olderThan(const BMAutoItem& item, int days, const QDateTime& now) {
    const QDateTime created = item.createdDate();
    return created.isValid() && created < now.addSecs(-qint64(days) * RetentionRules::secondsPerDay);
}

// Oldest first; no date before every date; equal dates in listing order.
BMAutoItemList oldestFirst(BMAutoItemList items) {
    std::stable_sort(items.begin(), items.end(),
                     [](const BMAutoItemPtr& a, const BMAutoItemPtr& b) { return a->dateCompare(*b) < 0; });
    return items;
}

QString sizeText(qint64 bytes, qint64 unit, const char* unitName) {
    return QStringLiteral("%1 %2").arg(double(bytes) / double(unit)).arg(QLatin1String(unitName));
}

// Chooses one autosave at most once, in the order the rules run, and a pinned or a guarded
// one never (it still counts in what a size limit measures); those it would have chosen are
// kept aside with the reason, so that a dry run can say why they stay.
class Chooser {
public:
    Chooser(const PinnedPaths& pinned, const RecentWriteGuard& guard, const QDateTime& now)
        : m_pinned(pinned), m_guard(guard), m_now(now) {}
    bool has(const BMAutoItemPtr& item) const { return m_chosen.contains(item.get()); }
    void choose(const BMAutoItemPtr& item, const QString& reason) {
        if (m_chosen.contains(item.get()) || kept(item))
            return;
        m_chosen.insert(item.get());
        m_choices.append(RuleChoice{item, reason});
    }
    // The oldest of the candidates not chosen yet, until what is left of total is within limit.
    void trimOldest(const BMAutoItemList& all, const QSet<const BMAutoItem*>& spared, qint64 limit,
                    const QString& reason) {
        double left = 0;
        for (const BMAutoItemPtr& item : all) {
            if (!has(item))
                left += item->fileSize();
        }
        for (const BMAutoItemPtr& item : oldestFirst(all)) {
            if (left <= double(limit))
                break;
            if (has(item) || spared.contains(item.get()) || kept(item))
                continue;
            choose(item, reason);
            left -= item->fileSize();
        }
    }
    RuleChoices take(RuleChoices* kept) {
        if (kept)
            *kept = std::move(m_kept);
        return std::move(m_choices);
    }

private:
    bool kept(const BMAutoItemPtr& item) {
        const bool pinned = m_pinned.isPinned(*item);
        if (!pinned && !m_guard.guards(*item, m_now))
            return false;
        if (!m_keptSet.contains(item.get())) {
            m_keptSet.insert(item.get());
            m_kept.append(RuleChoice{
                item, pinned ? QStringLiteral("pinned")
                             : QStringLiteral("%1; the guard keeps what was written in the last %2 minute%3")
                                   .arg(RecentWriteGuard::writtenText(*item, m_now))
                                   .arg(m_guard.minutes())
                                   .arg(m_guard.minutes() == 1 ? "" : "s")});
        }
        return true;
    }

    const PinnedPaths& m_pinned;
    const RecentWriteGuard& m_guard;
    QDateTime m_now;
    QSet<const BMAutoItem*> m_chosen;
    RuleChoices m_choices;
    QSet<const BMAutoItem*> m_keptSet;
    RuleChoices m_kept;
};

} // namespace

CleanupLimits CleanupLimits::fromSettings(const BMSettings& settings) {
    using namespace SettingsKey;
    CleanupLimits limits;
    QStringList& unreadable = limits.unreadable;
    limits.ageDays = limitIf<int>(settings, autoCleanUseCriteriaAge, autoCleanCriteriaAge, unreadable);
    limits.projectBytes = limitIf<qint64>(settings, autoCleanUseCriteriaSize, autoCleanCriteriaSize,
                                          unreadable, HelperRules::megabyte);
    limits.folderBytes = limitIf<qint64>(settings, autoCleanUseCriteriaTotalSize, autoCleanCriteriaTotalSize,
                                         unreadable, HelperRules::gigabyte);
    limits.pinned = PinnedPaths::fromSettings(settings);
    limits.guard = RecentWriteGuard::fromSettings(settings);
    return limits;
}

RemovalLimits RemovalLimits::fromSettings(const BMSettings& settings) {
    using namespace SettingsKey;
    RemovalLimits limits;
    limits.everything = settings.integerValue(QLatin1String(autoRemoveUseCriteria)) != 1;
    limits.pinned = PinnedPaths::fromSettings(settings);
    limits.guard = RecentWriteGuard::fromSettings(settings);
    if (limits.everything)
        return limits;
    QStringList& unreadable = limits.unreadable;
    limits.ageDays = limitIf<int>(settings, autoRemoveUseCriteriaAge, autoRemoveCriteriaAge, unreadable);
    limits.autosaveBytes = limitIf<qint64>(settings, autoRemoveUseCriteriaSize, autoRemoveCriteriaSize,
                                           unreadable, HelperRules::megabyte);
    limits.keepNewest =
        limitIf<int>(settings, autoRemoveUseCriteriaTotalCount, autoRemoveCriteriaTotalCount, unreadable);
    limits.projectBytes = limitIf<qint64>(settings, autoRemoveUseCriteriaTotalSize,
                                          autoRemoveCriteriaTotalSize, unreadable, HelperRules::megabyte);
    return limits;
}

BMAutoItemList HelperRules::newestOfEachGroup(const BMProject& project) {
    // An Avid project's autosaves lie in "<project>/Bins/<bin>/": each bin is opened on its
    // own, so each keeps its newest.
    const bool byBin = project.type() == AutosaveType::Avid;
    QHash<QString, BMAutoItemPtr> newest;
    QStringList order;
    for (const BMAutoItemPtr& item : project.children()) {
        const QString group = byBin ? PathText::deletingLastComponent(item->path()) : QString();
        auto it = newest.find(group);
        if (it == newest.end()) {
            newest.insert(group, item);
            order << group;
        } else if (item->dateCompare(**it) >= 0) {
            *it = item;
        }
    }
    BMAutoItemList kept;
    for (const QString& group : order)
        kept << newest.value(group);
    return kept;
}

RuleChoices HelperRules::cleanupChoices(const BMProjectList& projects, const CleanupLimits& limits,
                                        const QDateTime& now, RuleChoices* kept) {
    QSet<const BMAutoItem*> spared;
    BMAutoItemList all;
    for (const BMProjectPtr& project : projects) {
        for (const BMAutoItemPtr& item : newestOfEachGroup(*project))
            spared.insert(item.get());
        all += project->children();
    }
    Chooser chooser(limits.pinned, limits.guard, now);
    if (limits.ageDays) {
        const QString reason = QStringLiteral("older than %1 days").arg(*limits.ageDays);
        for (const BMAutoItemPtr& item : all) {
            if (!spared.contains(item.get()) && olderThan(*item, *limits.ageDays, now))
                chooser.choose(item, reason);
        }
    }
    if (limits.projectBytes) {
        for (const BMProjectPtr& project : projects) {
            chooser.trimOldest(project->children(), spared, *limits.projectBytes,
                               QStringLiteral("oldest of a project over %1")
                                   .arg(sizeText(*limits.projectBytes, megabyte, "MB")));
        }
    }
    if (limits.folderBytes) {
        chooser.trimOldest(
            all, spared, *limits.folderBytes,
            QStringLiteral("oldest of a folder over %1").arg(sizeText(*limits.folderBytes, gigabyte, "GB")));
    }
    return chooser.take(kept);
}

RuleChoices HelperRules::removalChoices(const BMProject& project, const RemovalLimits& limits,
                                        const QDateTime& trashedAt, const QDateTime& now, RuleChoices* kept) {
    BMAutoItemList eligible;
    for (const BMAutoItemPtr& item : project.children()) {
        const QDateTime created = item->createdDate();
        if (!trashedAt.isValid() || !created.isValid() || created <= trashedAt)
            eligible << item;
    }
    Chooser chooser(limits.pinned, limits.guard, now);
    if (limits.everything) {
        for (const BMAutoItemPtr& item : eligible)
            chooser.choose(item, QStringLiteral("its project file is in the Trash"));
        return chooser.take(kept);
    }
    if (limits.ageDays) {
        const QString reason = QStringLiteral("older than %1 days").arg(*limits.ageDays);
        for (const BMAutoItemPtr& item : eligible) {
            if (olderThan(*item, *limits.ageDays, now))
                chooser.choose(item, reason);
        }
    }
    if (limits.autosaveBytes) {
        const QString reason =
            QStringLiteral("larger than %1").arg(sizeText(*limits.autosaveBytes, megabyte, "MB"));
        for (const BMAutoItemPtr& item : eligible) {
            if (item->fileSize() > double(*limits.autosaveBytes))
                chooser.choose(item, reason);
        }
    }
    if (limits.keepNewest) {
        const BMAutoItemList oldest = oldestFirst(eligible);
        const QString reason = QStringLiteral("not among the %1 newest").arg(*limits.keepNewest);
        for (qsizetype i = 0; i < oldest.size() - *limits.keepNewest; ++i)
            chooser.choose(oldest.at(i), reason);
    }
    if (limits.projectBytes) {
        chooser.trimOldest(eligible, {}, *limits.projectBytes,
                           QStringLiteral("oldest of a project over %1")
                               .arg(sizeText(*limits.projectBytes, megabyte, "MB")));
    }
    return chooser.take(kept);
}
