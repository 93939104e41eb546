#include "CombinedRule.h"

#include "RetentionRules.h"
#include "catalogue/OutlineText.h"

#include <QHash>
#include <QSet>

#include <algorithm>

RuleChoices CombinedRule::choose(const BMProjectList& projects, const PinnedPaths& pins,
                                 const QDateTime& now) const {
    RuleChoices choices;
    if (!any())
        return choices;
    // Strictly older than the limit, as the age rule on its own counts: one exactly that old stays.
    const qint64 limitMsecs =
        olderThanDays
            ? now.toMSecsSinceEpoch() - qint64(*olderThanDays) * RetentionRules::secondsPerDay * 1000
            : 0;
    const QString ageReason =
        olderThanDays ? QStringLiteral("older than %1 days").arg(*olderThanDays) : QString();
    const QString sizeReason =
        maxProjectBytes ? QStringLiteral("oldest of a project over %1")
                              .arg(OutlineText(QLocale::c()).formatFileSize(double(*maxProjectBytes)))
                        : QString();
    for (const BMProjectPtr& project : projects) {
        // Oldest first, an autosave without a date before every dated one (the catalogue's own
        // order); equal dates in listing order. The newest are the same list read backwards,
        // as the keep rule on its own reads them.
        BMAutoItemList oldest = project->children();
        std::stable_sort(oldest.begin(), oldest.end(), [](const BMAutoItemPtr& a, const BMAutoItemPtr& b) {
            return a->dateCompare(*b) < 0;
        });
        const qsizetype kept = keepNewest ? std::min<qsizetype>(*keepNewest, oldest.size()) : 0;
        const qsizetype candidates = oldest.size() - kept; // oldest[0, candidates) may go
        QHash<const BMAutoItem*, QString> taken;
        double left = 0;
        for (const BMAutoItemPtr& item : oldest)
            left += item->fileSize();
        if (olderThanDays) {
            for (qsizetype i = 0; i < candidates; ++i) {
                const BMAutoItemPtr& item = oldest[i];
                const qint64 created = item->createdMsecs();
                if (created != BMAutoItem::noDate && created < limitMsecs && !pins.isPinned(*item)) {
                    taken.insert(item.get(), ageReason);
                    left -= item->fileSize();
                }
            }
        }
        if (!olderThanDays && !maxProjectBytes) {
            const QString reason = QStringLiteral("not among the %1 newest").arg(*keepNewest);
            for (qsizetype i = 0; i < candidates; ++i) {
                if (!pins.isPinned(*oldest[i]))
                    taken.insert(oldest[i].get(), reason);
            }
        }
        if (maxProjectBytes) {
            for (qsizetype i = 0; i < candidates && left > double(*maxProjectBytes); ++i) {
                const BMAutoItemPtr& item = oldest[i];
                if (taken.contains(item.get()) || pins.isPinned(*item))
                    continue;
                taken.insert(item.get(), sizeReason);
                left -= item->fileSize();
            }
        }
        for (qsizetype i = candidates - 1; i >= 0; --i) {
            if (auto it = taken.constFind(oldest[i].get()); it != taken.cend())
                choices.append(RuleChoice{oldest[i], *it});
        }
    }
    return choices;
}

double CombinedRule::bytesOf(const RuleChoices& choices) {
    double bytes = 0;
    for (const RuleChoice& choice : choices)
        bytes += choice.item->fileSize();
    return bytes;
}
