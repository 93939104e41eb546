#pragma once

#include "BMAutoItem.h"
#include "BMProject.h"

#include <QSet>
#include <QString>
#include <QStringList>

class BMSettings;

// The projects and autosaves a person has pinned: no rule, no helper run and no archive ever
// moves one to the Trash. A pin is the catalogue's own path of the project or autosave, so
// matching is by text, not by asking the disk: an autosave is pinned when its path is, or
// when its project's is.
class PinnedPaths {
public:
    PinnedPaths() = default;
    explicit PinnedPaths(const QStringList& paths);

    // The pins stored in the settings, "~/..." made absolute; a malformed entry is skipped with
    // a warning, as for the location lists.
    static PinnedPaths fromSettings(const BMSettings& settings);
    // Those of the application's settings, as every rule reads them by default.
    static PinnedPaths stored();
    // Stores the list, a path inside the home as "~/...".
    static bool store(BMSettings& settings, const QStringList& paths);

    bool isEmpty() const { return m_paths.isEmpty(); }
    const QStringList& paths() const { return m_list; }
    bool contains(const QString& path) const { return m_paths.contains(path); }
    bool isPinned(const BMProject& project) const;
    bool isPinned(const BMAutoItem& item) const;
    // The items left once the pinned ones are taken out, in their order.
    BMAutoItemList without(const BMAutoItemList& items) const;

private:
    QStringList m_list;
    QSet<QString> m_paths;
};
