#pragma once

#include "BMAutoItem.h"
#include "BMProject.h"

#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>

class BMSettings;

// The projects and autosaves a person has pinned: no rule, no helper run and no archive ever
// moves one to the Trash. An autosave is pinned when its path is, or when its project's is.
// A pin is stored as its real path, but the catalogue may reach a location through a link,
// and an older pin may be a link path: a path matches by its text, or by its real form made
// from its location's real path. Only the few pins and each location are asked of the disk,
// once, never each autosave.
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
    // The form a new pin is stored in: the links of its folder resolved (its own name as it
    // is), under the home's path as the home is named when it lies in the real home.
    static QString storedForm(const QString& path);
    // The pins without those that stand for path, by text or by real path.
    static QStringList removing(QStringList pins, const QString& path);

    bool isEmpty() const { return m_paths.isEmpty(); }
    const QStringList& paths() const { return m_list; }
    bool isPinned(const BMProject& project) const;
    bool isPinned(const BMAutoItem& item) const;
    // Pinned by its own pin, not only by its project's.
    bool isPinnedItself(const BMAutoItem& item) const;
    // The items left once the pinned ones are taken out, in their order.
    BMAutoItemList without(const BMAutoItemList& items) const;

private:
    struct RealLocations;
    bool matches(const QString& path, const QString& location) const;

    QStringList m_list;
    QSet<QString> m_paths;
    QSet<QString> m_real; // the pins' real forms where they differ from their text
    std::shared_ptr<RealLocations> m_locations;
};
