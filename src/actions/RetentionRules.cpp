#include "RetentionRules.h"

#include "foundation/BMException.h"

#include <algorithm>

RetentionChoice RetentionRules::removeOlderAutosaves(const SelectedRows& rows, int days, const QDateTime& now,
                                                     const PinnedPaths& pins) {
    try {
        if (rows.isEmpty() || days < 1)
            return {};
        // The interval since now of a date in the past is negative; an autosave qualifies when
        // its interval is below minus the limit, so one exactly that old stays.
        const qint64 limitMsecs = -qint64(days) * secondsPerDay * 1000;
        const qint64 nowMsecs = now.toMSecsSinceEpoch();
        WorkingList list;
        for (const SelectedRow& row : rows) {
            for (const BMAutoItemPtr& item : row.autosaves()) {
                const qint64 created = item->createdMsecs();
                const bool old = created != BMAutoItem::noDate && created - nowMsecs < limitMsecs;
                if (old)
                    list.add(item);
                else
                    list.removeAll(item);
            }
        }
        const BMAutoItemList chosen = pins.without(list.items());
        if (chosen.isEmpty())
            return {};
        return RetentionChoice{true, chosen};
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController removeOlderAutosaves:]");
        return {};
    }
}

RetentionChoice RetentionRules::removeAllExceptMostRecent(const SelectedRows& rows, int keep,
                                                          const PinnedPaths& pins) {
    try {
        if (rows.isEmpty() || keep < 1)
            return {};
        WorkingList list;
        for (const SelectedRow& row : rows) {
            if (!row.isProject()) {
                if (row.item)
                    list.add(row.item);
                continue;
            }
            if (row.project->childCount() <= keep)
                continue;
            const BMAutoItemList sorted = sortNewestFirst(*row.project);
            for (qsizetype position = 0; position < sorted.size(); ++position) {
                if (position >= keep)
                    list.add(sorted[position]);
                else
                    list.removeAll(sorted[position]);
            }
        }
        return RetentionChoice{true, pins.without(list.items())};
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController removeAllExceptMostRecent:]");
        return {};
    }
}

BMAutoItemList RetentionRules::sortNewestFirst(BMProject& project) {
    BMAutoItemList sorted = project.children();
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const BMAutoItemPtr& a, const BMAutoItemPtr& b) { return a->dateCompare(*b) < 0; });
    std::reverse(sorted.begin(), sorted.end());
    project.setChildren(sorted);
    return sorted;
}
