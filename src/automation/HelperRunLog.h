#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// The lines the background helper writes to its own log ("Vestry.task") at the start and end
// of every run, and the reading of them back: `vestry helper status` reports each job's last
// run from them. Both sides use this one class so that the wording cannot drift apart.
class HelperRunLog {
public:
    // The name the helper's log is created under, apart from the window's "Vestry".
    static QString taskLogName();

    // "trash" or "clean": the job a run belongs to, named as on the command line.
    static QString startedLine(const QString& job, const QString& folder = QString());
    // ok: the run did what it chose to do; otherwise result says what went wrong.
    static QString finishedLine(const QString& job, bool ok, const QString& result);

    struct Run {
        QString job;
        QDateTime finished; // as the log wrote it, to the second
        bool ok = false;
        QString result;
    };
    // The last finished run of a job in a log's text; nothing when it holds none.
    static std::optional<Run> lastRunIn(const QString& logText, const QString& job);
    // The last finished run of a job in the kept generations of the task log in a folder,
    // newest generation first; nothing when none of them holds one.
    static std::optional<Run> lastRun(const QString& logFolder, const QString& job);
};
