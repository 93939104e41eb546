#pragma once

#include "HelperRules.h"
#include "catalogue/PinnedPaths.h"

#include <QDateTime>

#include <optional>

// "Older than N days, but always keep the newest K of each project, and keep each project
// under S", any of the three. Per project: the K newest are kept first; of the rest, those
// older than N days go; then, while the project is still over S bytes, the oldest of what is
// left (never a kept one) go. A pinned autosave is never chosen but still counts towards S:
// it is on the disk. The count alone keeps only the newest K, as the keep rule does. Only
// choosing, so the window can show a live count and size; the removal is AutosaveRemoval's.
struct CombinedRule {
    std::optional<int> keepNewest;
    std::optional<int> olderThanDays;
    std::optional<qint64> maxProjectBytes;

    bool any() const { return keepNewest || olderThanDays || maxProjectBytes; }

    // Project after project; within one, newest first. Each with the limit that took it.
    RuleChoices choose(const BMProjectList& projects, const PinnedPaths& pins = {},
                       const QDateTime& now = QDateTime::currentDateTimeUtc()) const;

    // What the choice adds up to, for a person deciding.
    static double bytesOf(const RuleChoices& choices);
};
