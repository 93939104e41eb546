// The folder to keep clean, chosen in the preferences, under the rule the command line keeps.
#include "WindowFixture.h"
#include "app/PreferencesWindow.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/SettingsKeys.h"

#include <QPushButton>

#include <sys/stat.h>
#include <unistd.h>

// A folder whose path is not UTF-8 would be stored with "?" for its bytes: the window refuses it
// with the command line's words, and the folder chosen before stays.
TEST_F(WindowTest, ACleanFolderWhosePathIsNotUtf8IsRefusedAndTheOneBeforeStays) {
    BMLog::createNewLog(QStringLiteral("Vestry"));
    const QString systemctl = home().writeFile("systemctl", "#!/bin/sh\nexit 0\n");
    QFile::setPermissions(systemctl, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    home().platform().setToolPath(Tool::Systemctl, systemctl);
    write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");
    BMSettings& settings = BMSettings::standard();
    settings.setValue(SettingsKey::autoClean, true);
    settings.setValue(SettingsKey::autosaveFolder, "~/Documents/Adobe Premiere Pro Auto-Save");
    start();
    controller->waitForWorkers();
    const QByteArray cafe = QFile::encodeName(home().home()) + "/Caf\xe9";
    ASSERT_EQ(::mkdir(cafe.constData(), 0755), 0);
    chosenAutosaveFolder = FileName::decode(cafe);
    Answerer answerer("OK");
    controller->preferencesWindow()->browseButton()->click();
    ASSERT_TRUE(waitFor([&] { return answerer.count == 1; }));
    controller->waitForWorkers();
    EXPECT_EQ(answerer.informative,
              home().home() +
                  "/Caf\\xe9: the path is not valid UTF-8, which the settings file cannot hold; nothing "
                  "was changed.");
    EXPECT_EQ(settings.stringValue(SettingsKey::autosaveFolder), "~/Documents/Adobe Premiere Pro Auto-Save");
    ::rmdir(cafe.constData()); // QTemporaryDir cannot remove what it cannot name
}
