#include "automation/HelperRunLog.h"

#include "TempHome.h"
#include "foundation/BMLog.h"

#include <QTimeZone>

namespace {

QString entry(const QDateTime& when, const QString& text) {
    return BMLog::dateDescription(when) + QStringLiteral(" - ") + text + QLatin1Char('\n');
}

// The status of a job is read back from what the helper wrote, in the log's own format:
// the last finished run of that job counts, a run still going or another job's does not.
TEST(HelperRunLogTest, TheLastFinishedRunOfTheJobIsReadBack) {
    const QDateTime first(QDate(2026, 11, 20), QTime(9, 15, 2), QTimeZone(3600));
    const QDateTime second(QDate(2026, 11, 21), QTime(23, 59, 59), QTimeZone(-5 * 3600 - 1800));
    const QString text =
        entry(first, HelperRunLog::startedLine("clean", "/srv/Autosaves: Edit")) +
        entry(first, HelperRunLog::finishedLine("clean", true, "moved 3 autosaves (1.2 MB) to the Trash")) +
        entry(second, HelperRunLog::finishedLine("clean", false, "/srv/Autosaves: Permission denied")) +
        entry(second.addSecs(5), HelperRunLog::finishedLine("trash", true, "nothing to do")) +
        entry(second.addSecs(9), HelperRunLog::startedLine("clean", "/srv/Autosaves"));

    const auto clean = HelperRunLog::lastRunIn(text, "clean");
    ASSERT_TRUE(clean);
    EXPECT_FALSE(clean->ok);
    EXPECT_EQ(clean->result, "/srv/Autosaves: Permission denied");
    EXPECT_EQ(clean->finished, second);

    const auto trash = HelperRunLog::lastRunIn(text, "trash");
    ASSERT_TRUE(trash);
    EXPECT_TRUE(trash->ok);
    EXPECT_EQ(trash->finished, second.addSecs(5));

    EXPECT_FALSE(HelperRunLog::lastRunIn(entry(first, HelperRunLog::startedLine("trash")), "trash"));
}

class HelperRunLogFilesTest : public TempHomeTest {};

// Each run starts a new generation, so the newest generation holding a run of the job wins,
// even when a later generation of the other job sits in between.
TEST_F(HelperRunLogFilesTest, GenerationsAreSearchedNewestFirst) {
    const QDateTime when(QDate(2026, 11, 22), QTime(10, 0), QTimeZone(0));
    home().writeFile("logs/Vestry.task.1.log",
                     entry(when, HelperRunLog::finishedLine("trash", true, "a")).toUtf8());
    home().writeFile("logs/Vestry.task.2.log",
                     entry(when, HelperRunLog::finishedLine("clean", true, "new")).toUtf8());
    home().writeFile("logs/Vestry.task.4.log",
                     entry(when, HelperRunLog::finishedLine("clean", true, "old")).toUtf8());
    const QString folder = home().root() + "/logs";
    ASSERT_TRUE(HelperRunLog::lastRun(folder, "clean"));
    EXPECT_EQ(HelperRunLog::lastRun(folder, "clean")->result, "new");
    EXPECT_FALSE(HelperRunLog::lastRun(home().root() + "/none", "clean"));
}

} // namespace
