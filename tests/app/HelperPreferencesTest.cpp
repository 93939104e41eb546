#include "WindowFixture.h"
#include "app/PreferencesWindow.h"
#include "automation/HelperJobs.h"
#include "foundation/BMLog.h"
#include "support/Tmpfs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

namespace {

// The helper tabs' controls on the real job folder of the temporary home, with a service
// manager whose reload a test can hold up, as a busy one does.
class HelperPreferences : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        BMLog::createNewLog(QStringLiteral("Vestry"));
        write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");
        units = home().home() + "/.config/systemd/user";
        calls = home().root() + "/systemctl.calls";
        hold = home().root() + "/hold";
        reloaded = home().root() + "/reloaded";
        // While the hold file exists a reload waits for it to go (5 s at most).
        const QString systemctl = home().writeFile(
            "systemctl", "#!/bin/sh\necho \"$@\" >> '" + calls.toUtf8() +
                             "'\ncase \"$*\" in *daemon-reload*)\n  i=0; while [ -e '" + hold.toUtf8() +
                             "' ] && [ $i -lt 50 ]; do sleep 0.1; i=$((i+1)); done; touch '" +
                             reloaded.toUtf8() + "';;\nesac\n");
        QFile::setPermissions(systemctl, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        home().platform().setToolPath(Tool::Systemctl, systemctl);
        settings().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    }
    void TearDown() override {
        if (controller)
            controller->waitForWorkers();
        controller.reset();
        jobsVolume.reset();
        WindowTest::TearDown();
    }
    QString unit(const char* label, const char* kind) const { return units + "/" + label + "." + kind; }
    bool installed(const char* label) const {
        return QFileInfo::exists(unit(label, "service")) && QFileInfo::exists(unit(label, "path"));
    }
    bool anyUnit() const { return !QDir(units).entryList(QDir::Files).isEmpty(); }
    PreferencesWindow* preferences() const { return controller->preferencesWindow(); }

    QString units;
    QString calls;
    QString hold;
    QString reloaded;
    std::unique_ptr<Tmpfs> jobsVolume;
};

} // namespace

TEST_F(HelperPreferences, TheRemovalBoxInstallsTheTrashJobWithoutHoldingTheWindowAndUntickingRemovesIt) {
    start();
    home().writeFile("hold");
    preferences()->autoRemoveBox()->click();
    // The window is back while the service manager is still held.
    EXPECT_FALSE(QFileInfo::exists(reloaded));
    QFile::remove(hold);
    controller->waitForWorkers();
    EXPECT_TRUE(QFileInfo::exists(reloaded));
    EXPECT_TRUE(installed(HelperJobs::trashLabel));
    EXPECT_TRUE(readFile(unit(HelperJobs::trashLabel, "service")).contains("-trash"));

    preferences()->autoRemoveBox()->click();
    controller->waitForWorkers();
    EXPECT_FALSE(anyUnit());
    EXPECT_EQ(settings().integerValue(SettingsKey::autoRemove), 0);
}

TEST_F(HelperPreferences, TheChosenFolderIsStoredWithATildeAndTheCleanJobInstalledForIt) {
    settings().setValue(SettingsKey::autoClean, true);
    start();
    chosenAutosaveFolder = premiere();
    expectRebuild([&] { preferences()->browseButton()->click(); });
    EXPECT_EQ(settings().stringValue(SettingsKey::autosaveFolder),
              "~/Documents/Adobe Premiere Pro Auto-Save");
    EXPECT_EQ(preferences()->autosaveFolderField()->currentText(),
              "~/Documents/Adobe Premiere Pro Auto-Save");
    EXPECT_TRUE(installed(HelperJobs::cleanLabel));
    // Written out for the helper, which reads the file.
    EXPECT_TRUE(readFile(settings().userFilePath()).contains("~/Documents/Adobe Premiere Pro Auto-Save"));
}

TEST_F(HelperPreferences, AtStartTheHelpersAreReinstalledAndAMissingFolderIsOnlyLoggedUntilTheUserNamesIt) {
    settings().setValue(SettingsKey::autoRemove, 1);
    settings().setValue(SettingsKey::autoClean, true);
    settings().setValue(SettingsKey::autosaveFolder, "~/Gone");
    start();
    controller->waitForWorkers();
    EXPECT_TRUE(installed(HelperJobs::trashLabel));
    EXPECT_FALSE(QFileInfo::exists(unit(HelperJobs::cleanLabel, "service")));
    EXPECT_TRUE(logText().contains("Error: The autosave path " + home().home() + "/Gone does not exist."));
    EXPECT_EQ(visibleAlert(), nullptr);

    // Typed into the field it is the user's choice: the window says so.
    Answerer answerer("OK");
    QComboBox* field = preferences()->autosaveFolderField();
    field->setEditText("~/Gone Too");
    Q_EMIT field->lineEdit()->editingFinished();
    controller->waitForWorkers();
    ASSERT_TRUE(waitFor([&] { return answerer.count == 1; }));
    EXPECT_EQ(answerer.text, "Error: The autosave path " + home().home() + "/Gone Too does not exist.");
    EXPECT_EQ(answerer.parent, controller->mainWindow());
    EXPECT_FALSE(QFileInfo::exists(unit(HelperJobs::cleanLabel, "service")));
}

// Reinstalling into a folder that needs rights would ask for them at every start.
TEST_F(HelperPreferences, AReadOnlyJobsFolderAtStartLeavesBothHelpersAlone) {
    jobsVolume = std::make_unique<Tmpfs>(units, "size=64k");
    if (!jobsVolume->mounted())
        GTEST_SKIP() << jobsVolume->why().toStdString();
    if (!jobsVolume->remountReadOnly())
        GTEST_SKIP() << "the tmpfs could not be made read-only";
    settings().setValue(SettingsKey::autoRemove, 1);
    settings().setValue(SettingsKey::autoClean, true);
    settings().setValue(SettingsKey::autosaveFolder, premiere());
    start();
    controller->waitForWorkers();
    EXPECT_FALSE(anyUnit());
    EXPECT_FALSE(QFileInfo::exists(calls)); // the service manager was not asked
    EXPECT_TRUE(logText().contains("is not writable - the helpers were not reinstalled."));
    EXPECT_EQ(visibleAlert(), nullptr);
}
