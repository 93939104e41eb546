#include "FileOpsFixture.h"
#include "LogLines.h"
#include "foundation/BMLog.h"
#include "foundation/BMTaskEx.h"
#include "foundation/PlistFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include <fcntl.h>
#include <set>
#include <sys/file.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

QStringList messagesOf(const QString& path) {
    return logMessages(QString::fromUtf8(readFile(path)));
}

class Log : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::setAppName("Vestry");
    }
    void TearDown() override {
        BMLog::setWriterSuspended(false);
        BMLog::finishWriting();
        TempHomeTest::TearDown();
    }
    QString generation(int n) const {
        return home().home() + QString("/.local/state/Brightmoor/Vestry.%1.log").arg(n);
    }
    void writeGeneration(int n, const QByteArray& text) { home().writeFile(generation(n), text); }
};

} // namespace

TEST_F(Log, ANewLogShiftsFiveGenerationsOnlyWhenTheFirstExists) {
    for (int n = 2; n <= 5; ++n)
        writeGeneration(n, QByteArray::number(n));
    BMLog::createNewLog();
    BMLog::finishWriting();
    for (int n = 2; n <= 5; ++n)
        EXPECT_EQ(readFile(generation(n)), QByteArray::number(n)) << "without a first generation";

    for (int n = 1; n <= 5; ++n)
        writeGeneration(n, "generation " + QByteArray::number(n));
    BMLog::createNewLog();
    BMLog::finishWriting();
    for (int n = 2; n <= 5; ++n)
        EXPECT_EQ(readFile(generation(n)), "generation " + QByteArray::number(n - 1));
    EXPECT_EQ(messagesOf(generation(1)).size(), 4); // no version in this test program
    QFile::remove(generation(2));
    EXPECT_EQ(BMLog::availableLogs(),
              (QStringList{generation(1), generation(3), generation(4), generation(5)}));
}

// Two runs starting together take turns at shifting the generations, or the later one finds
// the files it was about to move already gone and says so on the console.
TEST_F(Log, ANewLogWaitsForTheFolderWhileAnotherRunShiftsTheGenerations) {
    writeGeneration(1, "the other run's log");
    const QByteArray folder = QFile::encodeName(home().home() + "/.local/state/Brightmoor");
    const int other = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(other, 0);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    std::thread run([] { BMLog::createNewLog(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(readFile(generation(1)), "the other run's log")
        << "shifted while the other run held the folder";
    EXPECT_FALSE(QFileInfo::exists(generation(2)));
    ::close(other);
    run.join();
    BMLog::finishWriting();
    EXPECT_EQ(readFile(generation(2)), "the other run's log");
    EXPECT_TRUE(messagesOf(generation(1)).value(0).startsWith("Log started"));
}

TEST_F(Log, RotatesAfterFiveHundredThousandBytesIntoANewLogWithTheHeader) {
    QCoreApplication::setApplicationVersion("4.2.1");
    BMLog::createNewLog();
    QCoreApplication::setApplicationVersion(QString());
    // About 9,030 bytes an entry: the 56th crosses 500,000 and stays in the old file.
    for (int i = 0; i < 56; ++i)
        BMLog::fastAppendLog(QString("%1 %2").arg(i).arg(QString(9000, 'x')));
    BMLog::finishWriting();
    BMLog::fastAppendLog("after rotation");
    BMLog::finishWriting();
    const QStringList old = messagesOf(generation(2)), fresh = messagesOf(generation(1));
    EXPECT_EQ(old.size(), 56 + 5);
    EXPECT_TRUE(old.value(55 + 5).startsWith("55 "));
    EXPECT_GE(QFileInfo(generation(2)).size(), 500000);
    EXPECT_LT(QFileInfo(generation(2)).size(), 500000 + 9100);
    ASSERT_EQ(fresh.size(), 6); // the version was unset before the rotation
    EXPECT_TRUE(old[0].startsWith("Log started: ") && fresh[0].startsWith("Log started: "));
    EXPECT_EQ(old.mid(1, 2),
              (QStringList{"Version: 4.2.1", "Path: " + QCoreApplication::applicationFilePath()}));
    EXPECT_TRUE(
        QRegularExpression(R"(^System: OS X .*, \d+ CPU\(s\), \d+\.\d\d GB RAM$)").match(old[3]).hasMatch())
        << old[3].toStdString();
    EXPECT_EQ(old[4], "Running in 64-bit mode");
    EXPECT_EQ(fresh.mid(3),
              (QStringList{"Running in 64-bit mode", "Log truncated at 500KB", "after rotation"}));
}

class Termination : public Log, public ::testing::WithParamInterface<int> {};

TEST_P(Termination, WritesUpToTenPendingEntriesAndDropsMore) {
    BMLog::createNewLog();
    BMLog::setWriterSuspended(true);
    for (int i = 0; i < GetParam(); ++i)
        BMLog::fastAppendLog(QString("pending %1").arg(i));
    EXPECT_EQ(BMLog::pendingEntries(), GetParam());
    BMLog::willTerminate();
    EXPECT_EQ(BMLog::pendingEntries(), 0);
    EXPECT_EQ(messagesOf(generation(1)).filter("pending ").size(), GetParam() <= 10 ? GetParam() : 0);
}

INSTANTIATE_TEST_SUITE_P(Pending, Termination, ::testing::Values(10, 11));

TEST_F(Log, EightThreadsLoseAndInterleaveNothing) {
    BMLog::createNewLog();
    std::vector<std::thread> workers;
    for (int t = 0; t < 8; ++t) {
        workers.emplace_back([t] {
            // Short entries meet the flush rule, long ones do not: both paths run.
            for (int i = 0; i < 400; ++i)
                BMLog::appendLog(
                    QString("thread %1 entry %2 %3").arg(t).arg(i).arg(QString(i % 2 ? 0 : 120, 'y')));
        });
    }
    for (auto& worker : workers)
        worker.join();
    BMLog::finishWriting();
    std::set<QString> seen;
    for (const QString& message : messagesOf(generation(1))) {
        ASSERT_FALSE(message.isEmpty()) << "a mangled line";
        if (message.startsWith("thread ")) {
            EXPECT_TRUE(seen.insert(message.section(' ', 0, 3)).second) << "twice: " << message.toStdString();
        }
    }
    EXPECT_EQ(seen.size(), size_t(8 * 400));
}

TEST_F(Log, EntriesAreTrimmedWrittenAtOnceFromOtherThreadsQueuedFromTheMainOneAndPrintedWithoutPlaceholders) {
    BMLog::createNewLog();
    std::thread([] { BMLog::appendLog("\n  short from the background  \n"); }).join();
    EXPECT_EQ(messagesOf(generation(1)).last(), "short from the background"); // no finishWriting
    BMLog::setWriterSuspended(true);
    BMLog::fastAppendLog("  \n\t ");
    EXPECT_EQ(BMLog::pendingEntries(), 0);
    BMLog::appendLog("short from the main thread");
    EXPECT_EQ(BMLog::pendingEntries(), 1);
    ConsoleCapture console;
    BMLog::appendLogAndPrint(QString("  50% of %@done") + QChar(0) + "  ");
    EXPECT_EQ(console.text(), "50% of done\n");
}

TEST_F(Log, DisabledLoggingWritesNothing) {
    const QString global = home().home() + "/.config/com.brightmoor.global.plist";
    for (const QVariant& off : {QVariant("1"), QVariant(true)}) {
        PlistFile::writeXml(global, QVariantMap{{"disable-logging", off}});
        ConsoleCapture console;
        BMLog::createNewLog();
        EXPECT_EQ(console.text(), "Logging is disabled\n");
        BMLog::fastAppendLog("should go nowhere");
        BMLog::finishWriting();
        EXPECT_FALSE(QFileInfo::exists(generation(1)));
    }
    PlistFile::writeXml(global, QVariantMap{{"disable-logging", "0"}});
    BMLog::createNewLog();
    EXPECT_TRUE(QFileInfo::exists(generation(1)));
}

TEST_F(Log, RootForTheConsoleUserWritesTheMachineWideFile) {
    const QString joHome = home().makeFolder("home/jo"),
                  machine = home().machineRoot() + "/var/log/Brightmoor";
    home().platform().uid = 0;
    home().platform().user = "root";
    home().platform().homes.insert("jo", joHome);
    {
        ConsoleCapture console;
        BMLog::createNewLog();
        // The user's folder is the one created; the machine-wide one is only written.
        EXPECT_TRUE(QFileInfo(joHome + "/.local/state/Brightmoor").isDir());
        EXPECT_TRUE(console.text().contains("Unable to create log file " + machine));
    }
    QDir().mkpath(machine);
    BMLog::createNewLog();
    BMLog::finishWriting();
    EXPECT_EQ(BMLog::currentLogPath(), machine + "/Vestry.1.log");
    EXPECT_TRUE(messagesOf(machine + "/Vestry.1.log").value(0).startsWith("Log started"));
}

TEST_F(Log, UncaughtExceptionReasonReachesTheDiskBeforeTheProcessDies) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_STATE_HOME", home().makeFolder("crash-state"));
    ASSERT_TRUE(BMTaskEx::dataFromTask(VESTRY_LOG_CRASH_PROBE, {}, nullptr, environment.toStringList()));
    EXPECT_EQ(messagesOf(home().root() + "/crash-state/Brightmoor/VestryCrashProbe.1.log").mid(4),
              (QStringList{"before the crash", "the probe's reason"}));
}
