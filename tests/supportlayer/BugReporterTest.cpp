#include "Programs.h"
#include "TempHome.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "support/BMBugReporter.h"
#include "support/CrashWriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

namespace {

class BugReporter : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        m_previousName = QCoreApplication::applicationName();
        QCoreApplication::setApplicationName("Vestry");
        reports = BMLocalPaths::logDirectory(true) + "/DiagnosticReports";
    }
    void TearDown() override {
        CrashWriter::uninstall();
        QCoreApplication::setApplicationName(m_previousName);
        TempHomeTest::TearDown();
    }

    qint64 runProbe(const char* mode, QProcess::ExitStatus expected,
                    const QString& program = VESTRY_CRASH_REPORTER_PROBE) {
        const ProgramRun run =
            runProgram(program, {mode}, {QProcessEnvironment::systemEnvironment(), QString(), 20000});
        EXPECT_EQ(run.exitCode < 0, expected == QProcess::CrashExit) << run.err.toStdString();
        return run.finished ? run.pid : 0;
    }
    QStringList reportNames() const { return QDir(reports).entryList(QDir::Files, QDir::Name); }
    void writeGlobal(const QVariant& disable) {
        ASSERT_TRUE(PlistFile::writeXml(BMLocalPaths::prefsDirectory(true) + "/com.brightmoor.global.plist",
                                        QVariantMap{{"disable-crash-reporter", disable}}));
    }
    QString reports;

private:
    QString m_previousName;
};

TEST_F(BugReporter, AProcessKilledBySegvLeavesAReportThatTheNextStartHandsOver) {
    home().platform().applications.insert("com.brightmoor.BugReporter", "/usr/share/applications/x.desktop");
    const qint64 pid = runProbe("segv", QProcess::CrashExit);
    const QStringList names = reportNames();
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^Vestry_\\d{4}-\\d\\d-\\d\\d-\\d{6}-%1\\.crash$").arg(pid))
                    .match(names.first())
                    .hasMatch())
        << names.first().toStdString();
    const QByteArray report = readFile(reports + "/" + names.first());
    EXPECT_TRUE(report.contains("SIGSEGV (11)"));
    EXPECT_TRUE(report.contains("Backtrace:\n"));

    // The settings file keeps whole seconds: a start in the crash's second would miss the report.
    QThread::msleep(1000 - QTime::currentTime().msec() + 10);
    QString told;
    BMBugReporter::startBugReporter({}, {}, [&](const QString& log) { told = log; });
    const QString path = reports + "/" + names.first();
    EXPECT_TRUE(logText().contains("Application crashed on last launch"));
    ASSERT_EQ(home().platform().opened().size(), 1);
    EXPECT_EQ(home().platform().opened().first(),
              (FakePlatform::Opened{{path}, "com.brightmoor.BugReporter"}));
    EXPECT_TRUE(told.isEmpty()); // told through the main loop, never while the start waits
    QCoreApplication::processEvents();
    EXPECT_EQ(told, path);
    // The start recorded a new "launch": the same report is old news now.
    EXPECT_TRUE(BMBugReporter::checkForCrashes().isEmpty());
}

TEST_F(BugReporter, ABugReporterBesideTheProgramIsPreferred) {
    // A copy of the probe with a reporter of its own that records what it was given.
    const QString folder = home().makeFolder("bin");
    ASSERT_TRUE(QFile::copy(VESTRY_CRASH_REPORTER_PROBE, folder + "/probe"));
    QFile::setPermissions(folder + "/probe", QFile::ReadOwner | QFile::ExeOwner);
    const QString handed = home().root() + "/handed";
    home().writeFile(
        "bin/Bug Reporter",
        QStringLiteral("#!/bin/sh\necho \"$@\" > '%1.part' && mv '%1.part' '%1'\n").arg(handed).toUtf8());
    QFile::setPermissions(folder + "/Bug Reporter", QFile::ReadOwner | QFile::ExeOwner);
    runProbe("segv", QProcess::CrashExit, folder + "/probe");
    ASSERT_EQ(reportNames().size(), 1);
    QThread::msleep(1000 - QTime::currentTime().msec() + 10);
    runProbe("quit", QProcess::NormalExit, folder + "/probe");
    QElapsedTimer clock;
    clock.start();
    while (!QFileInfo::exists(handed) && clock.elapsed() < 10000)
        QThread::msleep(20);
    EXPECT_EQ(readFile(handed), (reports + "/" + reportNames().first() + "\n").toUtf8());
}

TEST_F(BugReporter, TheLogsTerminateHandlerAndTheCrashReportBothWorkAndDisablingOpensNothing) {
    runProbe("throw", QProcess::CrashExit);
    ASSERT_EQ(reportNames().size(), 1);
    EXPECT_TRUE(readFile(reports + "/" + reportNames().first()).contains("SIGABRT (6)"));
    EXPECT_TRUE(readFile(BMLog::logFolder() + "/Vestry.1.log").contains("the probe's reason"));
    // No bug reporter anywhere: found and logged, nothing opened.
    EXPECT_EQ(BMBugReporter::checkForCrashes(), reports + "/" + reportNames().first());
    EXPECT_TRUE(home().platform().opened().isEmpty());

    // A reporter switched off in any of the forms the switch is stored in: logged only.
    home().platform().applications.insert("com.brightmoor.BugReporter", "/usr/share/applications/x.desktop");
    for (const QVariant& disable : {QVariant("1"), QVariant(qint64(1)), QVariant(true)}) {
        writeGlobal(disable);
        EXPECT_FALSE(BMBugReporter::checkForCrashes().isEmpty());
    }
    EXPECT_TRUE(home().platform().opened().isEmpty());
    EXPECT_TRUE(logText().contains("Crash reporter disabled"));
    writeGlobal("0");
    BMBugReporter::checkForCrashes();
    EXPECT_EQ(home().platform().opened().size(), 1);
}

TEST_F(BugReporter, ANormalStopOrAFirstLaunchReportsNothing) {
    EXPECT_TRUE(BMBugReporter::checkForCrashes().isEmpty()); // first launch: no markers
    runProbe("quit", QProcess::NormalExit);
    EXPECT_TRUE(BMBugReporter::marker("launch").isValid());
    EXPECT_GE(BMBugReporter::marker("exit"), BMBugReporter::marker("launch"));
    // Even a report newer than the launch does not count after a normal stop.
    home().writeFile(reports + "/Vestry_2099-01-01-000000-1.crash", "x");
    EXPECT_TRUE(BMBugReporter::checkForCrashes().isEmpty());
    EXPECT_TRUE(reportNames().size() == 1 && !logText().contains("crashed"));
}

TEST_F(BugReporter, OnlyTheNewestMatchingReportOfTheFirstFolderWithOneCounts) {
    // Markers in a file of their own; the last run started an hour ago and never ended.
    const QString markers = home().root() + "/markers.plist";
    const QDateTime launch = QDateTime::currentDateTimeUtc().addSecs(-3600);
    ASSERT_TRUE(PlistFile::writeXml(markers, QVariantMap{{"launch", launch}}));
    const QString logs = BMLocalPaths::logDirectory(true);
    auto report = [&](const QString& relative, qint64 ageSeconds) {
        const QString path = home().writeFile(logs + "/" + relative, "x");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-ageSeconds),
                                     QFileDevice::FileModificationTime));
        return path;
    };
    // Older than the launch: no crash.
    report("DiagnosticReports/Vestry_2026-01-01-000000-1.crash", 7200);
    EXPECT_TRUE(BMBugReporter::checkForCrashes("Vestry", markers).isEmpty());
    // Other applications' reports and names without "_" never match, in any case; the last in the
    // listing is taken, and the CrashReporter folder comes first.
    report("CrashReporter/VestryHelper_2026-01-01-000000-1.crash", 10);
    report("CrashReporter/Vestry.crash", 10);
    EXPECT_TRUE(BMBugReporter::checkForCrashes("Vestry", markers).isEmpty());
    const QString newest = report("DiagnosticReports/vestry_2026-01-02-000000-1.crash", 10);
    EXPECT_EQ(BMBugReporter::checkForCrashes("Vestry", markers), newest);
    const QString first = report("CrashReporter/Vestry_2026-01-01-000000-2.crash", 10);
    EXPECT_EQ(BMBugReporter::checkForCrashes("Vestry", markers), first);
    // A newer report that is not the last in its folder's listing does not count.
    report("CrashReporter/Vestry_2026-01-03-000000-3.crash", 7200);
    EXPECT_EQ(BMBugReporter::checkForCrashes("Vestry", markers), newest);
}

TEST(CrashReportName, IsWorkedOutWithoutTheCalendarFunctions) {
    // 2024-02-29 23:59:59 UTC, a leap day, seen from UTC, from UTC+1 and from UTC-5.
    EXPECT_EQ(CrashWriter::reportName("Vestry", 1709251199, 0, 42), "Vestry_2024-02-29-235959-42.crash");
    EXPECT_EQ(CrashWriter::reportName("Vestry", 1709251199, 3600, 7), "Vestry_2024-03-01-005959-7.crash");
    EXPECT_EQ(CrashWriter::reportName("Vestry", 1709251199, -5 * 3600, 7),
              "Vestry_2024-02-29-185959-7.crash");
    EXPECT_EQ(CrashWriter::reportName("Vestry", 0, -3600, 1), "Vestry_1969-12-31-230000-1.crash");
    const QDateTime now = QDateTime::currentDateTime();
    EXPECT_EQ(CrashWriter::reportName("V", now.toSecsSinceEpoch(), now.offsetFromUtc(), 1),
              "V_" + now.toString("yyyy-MM-dd-HHmmss") + "-1.crash");
}

TEST_F(BugReporter, MarkerFilesUnderAHomeAreGivenBackToItsUser) {
    EXPECT_EQ(BMBugReporter::ownerByUsersFolder("/Users/jo/Library/Preferences/x.plist"), "jo");
    EXPECT_EQ(BMBugReporter::ownerByUsersFolder("/Volumes/Data/Users/ann/x.plist"), "ann");
    EXPECT_EQ(BMBugReporter::ownerByUsersFolder("/Users"), QString());
    EXPECT_EQ(BMBugReporter::ownerByUsersFolder("/Library/Preferences/x.plist"), QString());

    // Root for the console user jo: jo's home, wherever it is, and the homes under /home.
    FakePlatform& platform = home().platform();
    platform.uid = 0;
    platform.homes.insert("jo", home().home());
    const QString markers = home().home() + "/.config/com.brightmoor.Vestry.plist";
    EXPECT_EQ(BMBugReporter::markerFileOwner(markers), "jo");
    EXPECT_EQ(BMBugReporter::markerFileOwner("/home/ann/.config/x.plist"), "ann");
    EXPECT_EQ(BMBugReporter::markerFileOwner("/etc/xdg/x.plist"), QString());
    platform.uid = 501; // a user's own run writes its own files
    EXPECT_EQ(BMBugReporter::markerFileOwner("/home/ann/.config/x.plist"), QString());

    // The hand-back runs chown with the name and the path.
    platform.uid = 0;
    const QString recorded = home().root() + "/chown.args";
    const QString chown =
        home().writeFile("chown", QStringLiteral("#!/bin/sh\necho \"$@\" >> '%1'\n").arg(recorded).toUtf8());
    QFile::setPermissions(chown, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    platform.setToolPath(Tool::Chown, chown);
    BMBugReporter::startBugReporter("Vestry", markers);
    BMBugReporter::chownPlist("/etc/xdg/x.plist");
    EXPECT_EQ(readFile(recorded), "jo " + markers.toUtf8() + "\n");
}

TEST_F(BugReporter, TheSettingsFileAsMarkerFileKeepsTheWindowsSettings) {
    BMSettings& settings = BMSettings::standard();
    settings.setValue("manualPaths", QStringList{"/a"});
    BMBugReporter::startBugReporter("Vestry", settings.userFilePath());
    settings.setValue("autoClean", qint64(1));
    BMBugReporter::stopBugReporter(settings.userFilePath());
    const QVariantMap stored = PlistFile::readDictionary(settings.userFilePath()).value_or(QVariantMap());
    EXPECT_EQ(stored.value("manualPaths").toStringList(), QStringList{"/a"});
    EXPECT_EQ(stored.value("autoClean").toLongLong(), 1);
    EXPECT_TRUE(stored.value("launch").toDateTime().isValid());
    EXPECT_GE(stored.value("exit").toDateTime(), stored.value("launch").toDateTime());
}

} // namespace
