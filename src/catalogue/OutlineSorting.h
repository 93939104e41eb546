#pragma once

#include "BMProject.h"

#include <QString>

class BMSettings;

// How the outline orders the catalogue, shared by the window and `vestry list`.
//
// Sorting by a column also sorts every project's children by it. Descending is the exact
// reverse of the stable ascending order. Dates are deliberately asymmetric: ascending orders
// projects by their first autosave (oldest first), descending by their last (newest first).
class OutlineSorting {
public:
    // Sorts the children of every project and returns the projects in the column's order.
    // "colName" by name, "colDate" by date, any other column by size.
    static BMProjectList sortProjects(const BMProjectList& projects, QStringView column, bool descending);

    struct Choice {
        QString column;
        bool descending = false;
        bool operator==(const Choice&) const = default;
    };

    // The user's sort as a header click last left it ("sortedColumn", "sortedDescending"),
    // the first column ascending when none is stored.
    static Choice savedChoice(const BMSettings& settings,
                              const QString& firstColumn = QLatin1String("colName"));
    // A click on a header: the same column again flips the direction, another column sorts
    // ascending. Stores the new choice and returns it; previousColumn receives the column
    // whose sort indicator goes away (empty when it stays on the same column or none was set).
    static Choice headerClicked(BMSettings& settings, const QString& column,
                                QString* previousColumn = nullptr);
    // Every sort also records itself under "sortColumn" and "sortDescending", a pair distinct
    // from the one that restores the user's choice; the store is flushed.
    static void recordSort(BMSettings& settings, const Choice& choice);
};
