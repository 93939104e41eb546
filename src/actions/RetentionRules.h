#pragma once

#include "AutosaveSelection.h"
#include "catalogue/PinnedPaths.h"

#include <QDateTime>

// The list a retention rule builds: adding never checks for a duplicate, taking out takes
// every occurrence. A project selected together with one of its own autosaves can thus
// hold that autosave twice, and the question then counts it twice.
class WorkingList {
public:
    void add(const BMAutoItemPtr& item) { m_items.append(item); }
    void removeAll(const BMAutoItemPtr& item) { m_items.removeAll(item); }
    const BMAutoItemList& items() const { return m_items; }

private:
    BMAutoItemList m_items;
};

// What a rule chose, and whether the user is to be asked about it at all.
struct RetentionChoice {
    bool ask = false;
    BMAutoItemList autosaves;
};

// The two ways of thinning out the selected projects by a rule instead of by hand. Both
// only choose; the removal itself is AutosaveRemoval::removeChildren.
class RetentionRules {
public:
    static constexpr qint64 secondsPerDay = 86400;

    // The autosaves created strictly more than days whole days before now. Nothing is
    // asked with no row, a day count below 1, or nothing old enough. An autosave without a
    // date is never old enough. A pinned autosave is never chosen.
    static RetentionChoice removeOlderAutosaves(const SelectedRows& rows, int days,
                                                const QDateTime& now = QDateTime::currentDateTimeUtc(),
                                                const PinnedPaths& pins = PinnedPaths::stored());
    // Of each selected project with more than keep autosaves, all but the keep newest (that
    // project's autosaves are left sorted newest first); a selected autosave row is always
    // taken, even when it is among its project's newest (its row comes after its project's).
    // Unlike the age rule, an empty choice is still asked about. A pinned autosave is never
    // chosen, and is not one of the keep newest either unless it is among them by date.
    static RetentionChoice removeAllExceptMostRecent(const SelectedRows& rows, int keep,
                                                     const PinnedPaths& pins = PinnedPaths::stored());

    // Puts a project's own autosaves newest first, in the order the outline's date sort gives
    // them (equal dates in reverse of their current order), and returns them. The order stays
    // until the catalogue is built again; a window showing the project is to be told.
    static BMAutoItemList sortNewestFirst(BMProject& project);
};
