#include "TempHome.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/ChildProcess.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"
#include "support/BMSoftwareUpdate.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

namespace {

class SoftwareUpdate : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog(QStringLiteral("Vestry"));
        BMSoftwareUpdate::setApplicationBundlePath(home().makeFolder("Applications/Vestry.app"));
    }
    void TearDown() override {
        BMSoftwareUpdate::setApplicationBundlePath(QString());
        TempHomeTest::TearDown();
    }

    // An updater bundle whose executable writes its arguments, one a line, to "<bundle>.ran".
    void makeUpdater(const QString& bundle, int version) {
        PlistFile::writeXml(bundle + "/Contents/Info.plist",
                            QVariantMap{{"CFBundleVersion", QString::number(version)},
                                        {"CFBundleExecutable", "Software Update"}});
        QFile::setPermissions(
            home().writeFile(bundle + "/Contents/MacOS/Software Update",
                             "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$(dirname \"$0\")/../../../" +
                                 QFileInfo(bundle).fileName().toUtf8() + ".ran\"\n"),
            QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    static void storeStartupSwitch(const QVariant& value) {
        PlistFile::writeXml(
            PathText::appendingComponent(BMLocalPaths::prefsDirectory(true), "com.brightmoor.global.plist"),
            QVariantMap{{"SUCheckAtStartup", value}});
    }
};

TEST_F(SoftwareUpdate, TheNewerOfInstalledAndInnerUpdaterIsChosen) {
    const QString installed = BMSoftwareUpdate::installedUpdaterPath();
    const QString inner = BMSoftwareUpdate::innerUpdaterPath();
    const QString copy = BMSoftwareUpdate::workingCopyPath();
    ASSERT_TRUE(installed.startsWith(home().machineRoot()));
    ASSERT_TRUE(copy.startsWith(home().machineRoot()));

    EXPECT_EQ(BMSoftwareUpdate::updaterPath(), installed) << "nothing anywhere";
    // Only the inner one: a fresh working copy, replacing what an earlier run left.

    makeUpdater(inner, 12);
    home().writeFile(copy + "/Contents/stale", "old");
    EXPECT_EQ(BMSoftwareUpdate::updaterPath(), copy);
    EXPECT_EQ(BMSoftwareUpdate::bundleVersion(copy), 12);
    EXPECT_FALSE(QFileInfo::exists(copy + "/Contents/stale"));
    EXPECT_TRUE(QFileInfo::exists(inner + "/Contents/Info.plist")) << "the inner updater stays";

    makeUpdater(installed, 10);
    EXPECT_EQ(BMSoftwareUpdate::updaterPath(), copy);
    makeUpdater(installed, 12);
    EXPECT_EQ(BMSoftwareUpdate::updaterPath(), installed) << "equal versions run the installed one";
    makeUpdater(inner, 10);
    EXPECT_EQ(BMSoftwareUpdate::updaterPath(), installed);
}

// The check passes this application's path; the menu command runs even with the startup check off.
TEST_F(SoftwareUpdate, TheCheckAndTheMenuCommandRunTheUpdaterOrSayWhyNot) {
    EXPECT_FALSE(BMSoftwareUpdate::automaticallyCheckForUpdates());
    EXPECT_TRUE(logText().contains("Unable to launch Software Update - updater bundle not found."));
    EXPECT_EQ(BMSoftwareUpdate::launchSoftwareUpdate(),
              "Unable to launch Software Update - path doesn't exist");

    const QString installed = BMSoftwareUpdate::installedUpdaterPath(), ran = installed + ".ran";
    makeUpdater(installed, 3);
    std::shared_ptr<ChildProcess> child = BMSoftwareUpdate::automaticallyCheckForUpdates();
    ASSERT_TRUE(child);
    EXPECT_EQ(child->waitForExit(), 0);
    EXPECT_EQ(readFile(ran), "-checkpath\n" + BMSoftwareUpdate::applicationBundlePath().toUtf8() + "\n");

    QFile::remove(ran);
    storeStartupSwitch(false);
    EXPECT_EQ(BMSoftwareUpdate::launchSoftwareUpdate(), QString());
    QDeadlineTimer deadline(10000);
    while (!QFileInfo::exists(ran) && !deadline.hasExpired())
        QThread::msleep(20);
    EXPECT_EQ(readFile(ran), "\n") << "started with no arguments";

    QFile::remove(installed + "/Contents/MacOS/Software Update");
    EXPECT_FALSE(BMSoftwareUpdate::automaticallyCheckForUpdates());
    EXPECT_TRUE(logText().contains("Unable to launch Software Update - executable path doesn't exist"));
}

TEST_F(SoftwareUpdate, OnlyAStoredFalseTurnsTheStartupCheckOff) {
    int ran = 0;
    auto runner = [&ran](const std::function<void()>& check) {
        ++ran;
        check();
    };
    EXPECT_TRUE(BMSoftwareUpdate::startup(runner)) << "no settings file";
    const std::pair<QVariant, bool> rows[]{{true, true}, {"NO", true}, {false, false}, {qint64(0), false}};
    for (const auto& [stored, checks] : rows) {
        storeStartupSwitch(stored);
        EXPECT_EQ(BMSoftwareUpdate::startup(runner), checks) << stored.toString().toStdString();
    }
    EXPECT_EQ(ran, 3);
}

} // namespace
