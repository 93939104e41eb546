#include "TempHome.h"
#include "foundation/BMLog.h"
#include "foundation/BMTaskEx.h"
#include "foundation/PlistFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include <set>
#include <thread>
#include <vector>

namespace {

QStringList linesOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

// The message part of an entry: what follows the date and " - ".
QString messageOf(const QString& line) {
    static const QRegularExpression entry(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4} - (.*)$)");
    const auto match = entry.match(line);
    return match.hasMatch() ? match.captured(1) : QString();
}

QStringList messagesOf(const QString& path) {
    QStringList messages;
    for (const QString& line : linesOf(path))
        messages << messageOf(line);
    return messages;
}

class Log : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::setAppName("Vestry");
        folder = home().home() + "/.local/state/Brightmoor";
    }
    void TearDown() override {
        BMLog::setWriterSuspended(false);
        BMLog::finishWriting();
        TempHomeTest::TearDown();
    }
    QString generation(int n) const { return QStringLiteral("%1/Vestry.%2.log").arg(folder).arg(n); }

    QString folder;
};

} // namespace

TEST_F(Log, NewLogStartsWithTheHeader) {
    QCoreApplication::setApplicationVersion("4.2.1");
    BMLog::createNewLog();
    BMLog::finishWriting();
    QCoreApplication::setApplicationVersion(QString());

    const QStringList lines = linesOf(generation(1));
    ASSERT_EQ(lines.size(), 5);
    for (const QString& line : lines)
        EXPECT_FALSE(messageOf(line).isEmpty()) << "not an entry: " << line.toStdString();
    EXPECT_TRUE(messageOf(lines[0]).startsWith("Log started: "));
    EXPECT_EQ(messageOf(lines[1]), "Version: 4.2.1");
    EXPECT_EQ(messageOf(lines[2]), "Path: " + QCoreApplication::applicationFilePath());
    EXPECT_TRUE(QRegularExpression(R"(^System: OS X .*, \d+ CPU\(s\), \d+\.\d\d GB RAM$)")
                    .match(messageOf(lines[3]))
                    .hasMatch())
        << lines[3].toStdString();
    EXPECT_EQ(messageOf(lines[4]), "Running in 64-bit mode");
}

TEST_F(Log, EntriesAreTrimmedAndBlankOnesDropped) {
    BMLog::createNewLog();
    BMLog::setWriterSuspended(true);
    BMLog::fastAppendLog("  \n\t ");
    EXPECT_EQ(BMLog::pendingEntries(), 0);
    BMLog::fastAppendLog("\n  Checking a folder  \n");
    EXPECT_EQ(BMLog::pendingEntries(), 1);
    BMLog::setWriterSuspended(false);
    BMLog::finishWriting();
    EXPECT_EQ(messagesOf(generation(1)).last(), "Checking a folder");
}

TEST_F(Log, RotationShiftsFiveGenerations) {
    QDir().mkpath(folder);
    for (int n = 1; n <= 5; ++n)
        home().writeFile(QFileInfo(generation(n)).absoluteFilePath().mid(home().root().size() + 1),
                         QByteArray("generation ") + QByteArray::number(n));
    BMLog::createNewLog();
    BMLog::finishWriting();
    for (int n = 2; n <= 5; ++n) {
        QFile file(generation(n));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), QByteArray("generation ") + QByteArray::number(n - 1));
    }
    EXPECT_EQ(linesOf(generation(1)).size(), 4); // no version in this test program
    EXPECT_EQ(BMLog::availableLogs().size(), 5);
}

TEST_F(Log, NothingShiftsWithoutAFirstGeneration) {
    QDir().mkpath(folder);
    for (int n = 2; n <= 5; ++n)
        home().writeFile(generation(n).mid(home().root().size() + 1), QByteArray::number(n));
    BMLog::createNewLog();
    for (int n = 2; n <= 5; ++n) {
        QFile file(generation(n));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), QByteArray::number(n));
    }
}

TEST_F(Log, AvailableLogsListsWhatExistsNewestFirst) {
    QDir().mkpath(folder);
    home().writeFile(generation(3).mid(home().root().size() + 1), "old");
    home().writeFile(generation(1).mid(home().root().size() + 1), "new");
    EXPECT_EQ(BMLog::availableLogs(), (QStringList{generation(1), generation(3)}));
}

TEST_F(Log, RotatesAfterFiveHundredThousandBytes) {
    BMLog::createNewLog();
    const QString filler(9000, QLatin1Char('x'));
    // About 9,030 bytes an entry: the 56th crosses 500,000 and stays in the old file.
    for (int i = 0; i < 56; ++i)
        BMLog::fastAppendLog(QStringLiteral("%1 %2").arg(i).arg(filler));
    BMLog::finishWriting();
    BMLog::fastAppendLog("after rotation");
    BMLog::finishWriting();

    const QStringList old = messagesOf(generation(2));
    ASSERT_FALSE(old.isEmpty());
    EXPECT_TRUE(old.last().startsWith("55 ")) << old.last().left(10).toStdString();
    EXPECT_GE(QFileInfo(generation(2)).size(), 500000);
    EXPECT_LT(QFileInfo(generation(2)).size(), 500000 + 9100);

    // This test program has no version, so the header has four entries.
    const QStringList fresh = messagesOf(generation(1));
    ASSERT_EQ(fresh.size(), 6);
    EXPECT_TRUE(fresh[0].startsWith("Log started: "));
    EXPECT_EQ(fresh[3], "Running in 64-bit mode");
    EXPECT_EQ(fresh[4], "Log truncated at 500KB");
    EXPECT_EQ(fresh[5], "after rotation");
}

TEST_F(Log, TerminationWritesTenPendingEntries) {
    BMLog::createNewLog();
    BMLog::setWriterSuspended(true);
    for (int i = 0; i < 10; ++i)
        BMLog::fastAppendLog(QStringLiteral("pending %1").arg(i));
    EXPECT_EQ(BMLog::pendingEntries(), 10);
    BMLog::willTerminate();
    const QStringList messages = messagesOf(generation(1));
    EXPECT_EQ(messages.filter("pending ").size(), 10);
}

TEST_F(Log, TerminationDropsElevenPendingEntries) {
    BMLog::createNewLog();
    BMLog::setWriterSuspended(true);
    for (int i = 0; i < 11; ++i)
        BMLog::fastAppendLog(QStringLiteral("pending %1").arg(i));
    BMLog::willTerminate();
    EXPECT_EQ(BMLog::pendingEntries(), 0);
    EXPECT_TRUE(messagesOf(generation(1)).filter("pending ").isEmpty());
}

TEST_F(Log, EightThreadsLoseAndInterleaveNothing) {
    BMLog::createNewLog();
    constexpr int threads = 8;
    constexpr int perThread = 400;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([t] {
            for (int i = 0; i < perThread; ++i) {
                // Short entries meet the flush rule, long ones do not: both paths run.
                if (i % 2)
                    BMLog::appendLog(QStringLiteral("thread %1 entry %2").arg(t).arg(i));
                else
                    BMLog::appendLog(
                        QStringLiteral("thread %1 entry %2 %3").arg(t).arg(i).arg(QString(120, 'y')));
            }
        });
    }
    for (auto& worker : workers)
        worker.join();
    BMLog::finishWriting();

    std::set<QString> seen;
    for (const QString& line : linesOf(generation(1))) {
        const QString message = messageOf(line);
        ASSERT_FALSE(message.isEmpty()) << "mangled line: " << line.left(80).toStdString();
        if (message.startsWith("thread ")) {
            EXPECT_TRUE(seen.insert(message.section(' ', 0, 3)).second) << "twice: " << message.toStdString();
        }
    }
    EXPECT_EQ(seen.size(), size_t(threads * perThread));
}

TEST_F(Log, ShortEntriesFromBackgroundThreadsAreOnDiskAtReturn) {
    BMLog::createNewLog();
    std::thread([] { BMLog::appendLog("short from the background"); }).join();
    // No finishWriting here: the append itself waited.
    EXPECT_EQ(messagesOf(generation(1)).last(), "short from the background");
}

TEST_F(Log, TheMainThreadNeverWaits) {
    BMLog::createNewLog();
    BMLog::setWriterSuspended(true);
    BMLog::appendLog("short from the main thread");
    EXPECT_EQ(BMLog::pendingEntries(), 1);
}

TEST_F(Log, DisabledLoggingWritesNothing) {
    for (const QVariant& off : {QVariant(QStringLiteral("1")), QVariant(true)}) {
        PlistFile::writeXml(home().home() + "/.config/com.brightmoor.global.plist",
                            QVariantMap{{"disable-logging", off}});
        testing::internal::CaptureStdout();
        BMLog::createNewLog();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Logging is disabled\n");
        BMLog::fastAppendLog("should go nowhere");
        BMLog::finishWriting();
        EXPECT_FALSE(QFileInfo::exists(generation(1)));
    }
    PlistFile::writeXml(home().home() + "/.config/com.brightmoor.global.plist",
                        QVariantMap{{"disable-logging", QStringLiteral("0")}});
    BMLog::createNewLog();
    EXPECT_TRUE(QFileInfo::exists(generation(1)));
}

TEST_F(Log, PrintedCopyLosesPlaceholdersAndNuls) {
    BMLog::createNewLog();
    testing::internal::CaptureStdout();
    BMLog::appendLogAndPrint(QStringLiteral("  50% of %@done") + QChar(0) + "  ");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "50% of done\n");
}

TEST_F(Log, RootForTheConsoleUserWritesTheMachineWideFile) {
    const QString joHome = home().makeFolder("home/jo");
    home().platform().uid = 0;
    home().platform().user = "root";
    home().platform().console = "jo";
    home().platform().homes.insert("jo", joHome);
    const QString machineFolder = home().machineRoot() + "/var/log/Brightmoor";

    testing::internal::CaptureStdout();
    BMLog::createNewLog();
    const std::string said = testing::internal::GetCapturedStdout();
    // The user's folder is the one created; the machine-wide one is only written.
    EXPECT_TRUE(QFileInfo(joHome + "/.local/state/Brightmoor").isDir());
    EXPECT_NE(said.find("Unable to create log file " + machineFolder.toStdString()), std::string::npos);

    QDir().mkpath(machineFolder);
    BMLog::createNewLog();
    BMLog::finishWriting();
    EXPECT_EQ(BMLog::currentLogPath(), machineFolder + "/Vestry.1.log");
    EXPECT_TRUE(messagesOf(machineFolder + "/Vestry.1.log").first().startsWith("Log started"));
}

TEST_F(Log, UncaughtExceptionReasonReachesTheDiskBeforeTheProcessDies) {
    const QString state = home().makeFolder("crash-state");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_STATE_HOME", state);
    const auto output = BMTaskEx::dataFromTask(QStringLiteral(VESTRY_LOG_CRASH_PROBE), {}, nullptr,
                                               environment.toStringList());
    ASSERT_TRUE(output.has_value());
    const QStringList messages = messagesOf(state + "/Brightmoor/VestryCrashProbe.1.log");
    ASSERT_FALSE(messages.isEmpty());
    EXPECT_EQ(messages.last(), "the probe's reason");
}
