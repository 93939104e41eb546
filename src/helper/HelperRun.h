#pragma once

#include "actions/AutosaveRemoval.h"
#include "actions/HelperRules.h"
#include "foundation/LocationLock.h"

#include <QDeadlineTimer>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

class BMSettings;

// What one run of the helper shares, whichever job it does: the dry-run switch, the time
// limit, the run lock, telling what it chose and why, and moving a choice to the Trash one
// autosave at a time so that the time limit is looked at between files.
class HelperRun {
public:
    struct Options {
        bool dryRun = false;
        std::chrono::milliseconds timeLimit = defaultTimeLimit();
    };
    // A few minutes, or VESTRY_HELPER_TIME_LIMIT_MS.
    static std::chrono::milliseconds defaultTimeLimit();

    // ok: the run did what it chose to do (a run stopped by the time limit included: the
    // next run goes on from what is left). result: one line for the task log.
    struct Outcome {
        bool ok = true;
        QString result;
    };

    // The name of the lock two runs of one job share (a LocationLock that names no folder).
    static QString runLockKey(const QString& job, const QString& folder);

    HelperRun(QString job, Options options);
    virtual ~HelperRun() = default;
    Outcome run();

protected:
    virtual Outcome work() = 0;

    bool dryRun() const { return m_options.dryRun; }
    bool timeIsUp() const { return m_deadline.hasExpired(); }
    QString timeLimitText() const;

    // The settings a scan of the helper reads: those of the window, in a store of its own
    // that is never written. A scan otherwise remembers the first autosave folder it sees,
    // which is the window's to choose; a run, a dry one above all, changes no setting.
    static BMSettings& scanSettings();

    // To the log and to standard output, where a dry run is read.
    static void tell(const QString& line);
    // A job switched off in the settings does nothing (a job left behind by a failed unload
    // must not remove anything), except in a dry run, which shows what it would do when on.
    // The outcome to end with when it does nothing.
    std::optional<Outcome> stopWhenSwitchedOff(const char* switchKey, const QString& helper,
                                               const QString& nothingDone) const;
    // "would move to the Trash: PATH (1.2 MB, created ...): older than 30 days"
    void tellChoice(const RuleChoice& choice, const QString& doing) const;
    // "keep: PATH (1.2 MB, created ...): pinned", or "...: written 3 minutes ago; the guard keeps ..."
    void tellKept(const RuleChoices& kept) const;

    // What went to the Trash so far, for the result line.
    struct Tally {
        qsizetype moved = 0;
        double bytes = 0;
        qsizetype missing = 0;
        qsizetype left = 0; // not reached before the time limit
        QString failure;    // the first file the Trash refused, with the cause
    };
    // Each choice to the Trash, in order; stops at the first refusal or at the time limit.
    void moveToTrash(const RuleChoices& choices, Tally& tally);
    void count(const RemovalReport& report, Tally& tally) const;
    // "3 autosaves (1.2 MB)"
    static QString autosavesText(qsizetype count, double bytes);
    QString tallyText(const Tally& tally) const;
    // The failure that stopped the run, then what it had done: one sentence.
    static Outcome failedAfter(const Tally& tally, const QString& done);

private:
    // Two runs of a job never work at once: the second waits its turn, bounded, and then
    // scans afresh, so it finds what the first left and never moves anything twice. Without
    // the lock, why says why, and anotherRun whether another run still holds it (rather than
    // the lock not being possible at all: an unwritable cache folder).
    std::optional<LocationLock> takeRunLock(QString* why, bool* anotherRun) const;

protected:
    QString m_job;
    QString m_folder; // -clean's, for the run lines

private:
    Options m_options;
    QDeadlineTimer m_deadline;
};
