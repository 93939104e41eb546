#include "TempHome.h"
#include "ZipEntries.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "support/BMTroubleshootingUtils.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace {

class GatherLogs : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMTroubleshootingUtils::setAlertHook([this](const QString& message, const QString& informative) {
            alerts << message + " / " + informative;
        });
    }
    void TearDown() override {
        BMTroubleshootingUtils::setAlertHook(nullptr);
        TempHomeTest::TearDown();
    }
    QString write(const QString& absolute) { return home().writeFile(absolute, "x"); }
    // The files in an archive, each under "BM_App_Logs" and its source folder's path.
    QStringList filesIn(const QString& zip) const {
        QStringList files;
        for (const QString& entry : zipEntryNames(zip)) {
            if (!entry.endsWith('/'))
                files << entry;
        }
        return files;
    }
    QString inArchive(const QString& path) const { return "BM_App_Logs" + path; }
    QStringList alerts;
};

TEST_F(GatherLogs, CollectsLogsReportsAndPreferencesOfBothDomainsIntoADesktopArchive) {
    const QString logs = BMLog::logFolder();
    const QString userLogs = BMLocalPaths::logDirectory(true);
    const QString localLogs = BMLocalPaths::logDirectory(false);
    const QString prefs = BMLocalPaths::prefsDirectory(true);
    const QStringList wanted{
        write(logs + "/Vestry.1.log"),
        write(logs + "/Vestry.cli.2.log"),
        write(logs + "/Vestry.task.1.log"),
        write(localLogs + "/Brightmoor/Vestry Helper.1.log"),
        write(userLogs + "/CrashReporter/Vestry Helper_2026-01-01-000000-9.crash"),
        write(userLogs + "/DiagnosticReports/Vestry_2026-01-01-000000-8.crash"),
        write(localLogs + "/DiagnosticReports/Vestry_2026-01-02-000000-8.crash"),
        write(prefs + "/com.brightmoor.Vestry.plist"),
        write(prefs + "/com.brightmoor.vestryhelper.plist"),
    };
    // Left out: other names, other endings, reports without "_".
    write(logs + "/Orrery.1.log");
    write(logs + "/Vestry.1.txt");
    write(userLogs + "/DiagnosticReports/Vestry.crash");
    write(userLogs + "/DiagnosticReports/VestryHelper_1.crash");
    write(prefs + "/com.brightmoor.qc.plist");
    // A link counts as what it points to.
    const QString target = write(home().home() + "/elsewhere/real.log");
    ASSERT_TRUE(QFile::link(target, logs + "/Vestry.link.log"));
    // Somebody's folder of the same name in the temporary folder is not the work folder.
    const QString temp = BMLocalPaths::tempDirectory();
    const QString theirs = write(temp + "/BM_App_Logs/keep.txt");

    const std::optional<QString> archive =
        BMTroubleshootingUtils::gatherLogs({"Vestry", "Vestry Helper"}, false);
    ASSERT_TRUE(archive.has_value());
    EXPECT_EQ(*archive, BMLocalPaths::desktopDirectory() + "/Vestry Logs.zip");
    QStringList expected;
    for (const QString& path : wanted)
        expected << inArchive(path);
    expected << inArchive(logs + "/Vestry.link.log");
    expected.sort();
    EXPECT_EQ(filesIn(*archive), expected);
    EXPECT_EQ(alerts,
              QStringList{"Logs gathered successfully / The gathered logs were placed on your desktop."});
    EXPECT_EQ(readFile(theirs), "x");
    EXPECT_EQ(QDir(temp).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
              QStringList{"BM_App_Logs"});

    // The second archive takes the time as a suffix; the first is kept.
    const std::optional<QString> second =
        BMTroubleshootingUtils::gatherLogs({"Vestry", "Vestry Helper"}, true);
    ASSERT_TRUE(second.has_value());
    EXPECT_TRUE(QRegularExpression("/Vestry Logs_\\d{14}\\.zip$").match(*second).hasMatch())
        << second->toStdString();
    EXPECT_EQ(filesIn(*second), expected);
    EXPECT_EQ(filesIn(*archive), expected);
    EXPECT_EQ(alerts.size(), 1); // silent
}

TEST_F(GatherLogs, NothingToGatherSaysSoUnlessSilentAndAnExtraFileThatCannotBeCopiedFailsQuietly) {
    EXPECT_FALSE(BMTroubleshootingUtils::gatherLogsForAppsWithNames({}));
    EXPECT_FALSE(BMTroubleshootingUtils::gatherLogsForAppsWithNames({"Vestry"}, true));
    EXPECT_TRUE(alerts.isEmpty());
    EXPECT_FALSE(BMTroubleshootingUtils::gatherLogsForAppWithName("Vestry"));
    EXPECT_EQ(alerts, QStringList{"No logs found / There were no logs available to gather."});
    write(BMLog::logFolder() + "/Vestry.1.log");
    EXPECT_FALSE(
        BMTroubleshootingUtils::gatherLogsForAppsWithNames({"Vestry"}, false, {home().root() + "/missing"}));
    EXPECT_EQ(alerts.size(), 1) << "the failed copy adds no alert";
    EXPECT_FALSE(QFileInfo::exists(BMLocalPaths::desktopDirectory() + "/Vestry Logs.zip"));
    EXPECT_TRUE(QDir(BMLocalPaths::tempDirectory()).isEmpty());
}

} // namespace
