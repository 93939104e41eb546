#pragma once

#include "catalogue/BMProject.h"
#include "catalogue/PinnedPaths.h"
#include "catalogue/RecentWriteGuard.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class BMSettings;

// One autosave a background rule chose, with the rule that chose it in words for the log
// and for a dry run ("older than 30 days").
struct RuleChoice {
    BMAutoItemPtr item;
    QString reason;
};
using RuleChoices = QList<RuleChoice>;

// The clean-up job's limits, each only when switched on. Sizes in bytes, from MB and GB of
// 1024, as the window shows sizes.
struct CleanupLimits {
    std::optional<int> ageDays;
    std::optional<qint64> projectBytes;
    std::optional<qint64> folderBytes;
    PinnedPaths pinned;     // never chosen, but counted in a size
    RecentWriteGuard guard; // likewise
    QStringList unreadable; // a warning for each switched-on limit that is off: its setting is no number

    static CleanupLimits fromSettings(const BMSettings& settings);
    bool any() const { return ageDays || projectBytes || folderBytes; }
};

// The removal job's rule for a project whose project file is in the Trash: everything
// (rule row 0), or only what breaks a switched-on limit (row 1).
struct RemovalLimits {
    bool everything = true;
    std::optional<int> ageDays;
    std::optional<qint64> autosaveBytes;
    std::optional<int> keepNewest;
    std::optional<qint64> projectBytes;
    PinnedPaths pinned;     // never chosen, but counted in a size
    RecentWriteGuard guard; // likewise
    QStringList unreadable; // as above

    static RemovalLimits fromSettings(const BMSettings& settings);
    bool any() const { return everything || ageDays || autosaveBytes || keepNewest || projectBytes; }
};

// What the background helper selects. Only choosing: the removal and the archive are the
// actions' own. Each autosave is chosen once, by the first rule it breaks.
//
// An autosave without a date is never "older than" a limit, but counts as the oldest when a
// size limit trims a project or a folder: the catalogue sorts it before every dated one, and
// a file whose age is unknown is the last one an editor would go back to. It still goes to
// the Trash only, never away for good.
class HelperRules {
public:
    static constexpr qint64 megabyte = 1024 * 1024;
    static constexpr qint64 gigabyte = 1024 * megabyte;

    // The autosaves of the projects (one clean-up folder) that break a limit. The newest
    // autosave of every project, of every bin for an Avid project, is never chosen.
    // kept, when given, receives those a rule would have chosen but a pin or the guard kept,
    // with the reason ("pinned", or the guard's words).
    static RuleChoices cleanupChoices(const BMProjectList& projects, const CleanupLimits& limits,
                                      const QDateTime& now = QDateTime::currentDateTimeUtc(),
                                      RuleChoices* kept = nullptr);

    // The autosaves a project loses because its project file is in the Trash. trashedAt, when
    // known: autosaves created after it belong to a newer project of the same name and stay.
    static RuleChoices removalChoices(const BMProject& project, const RemovalLimits& limits,
                                      const QDateTime& trashedAt = QDateTime(),
                                      const QDateTime& now = QDateTime::currentDateTimeUtc(),
                                      RuleChoices* kept = nullptr);

    // The autosaves that keep a project readable: the newest of the project or, for an Avid
    // project, of each bin folder. Of equal dates the one listed last.
    static BMAutoItemList newestOfEachGroup(const BMProject& project);
};
