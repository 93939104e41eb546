// Folders inside the home are stored as "~/..."; an editor that does not start is said so.
#include "WindowFixture.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QAction>

namespace {

class HomeFolders : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");
        write("Movies/Autosave Vault/Spot/Spot_2026-11-01_0900.motn");
        for (const char* file : {"CurrentVersion", "Backups/Ceremony 1"})
            write("Movies/Wedding.fcpbundle/Ceremony/" + QString(file) + ".fcpevent");
        BMSettings::standard().setValue(SettingsKey::autosavePaths,
                                        QStringList{home().home() + "/Documents/Adobe Premiere Pro Auto-Save",
                                                    home().home() + "/Movies/Wedding.fcpbundle"});
    }
    static QVariant stored(const char* key) { return BMSettings::standard().value(QLatin1String(key)); }
};

} // namespace

TEST_F(HomeFolders, AnAddedFolderInsideTheHomeIsStoredWithATildeAndStillLists) {
    start();
    chosenFolder = home().home() + "/Movies";
    expectRebuild([&] { controller->prefsAddManualPath(); });
    EXPECT_EQ(stored(SettingsKey::manualPaths).toStringList(), QStringList{"~/Movies/Autosave Vault"});
    EXPECT_EQ(stored(SettingsKey::autosavePaths).toStringList(),
              (QStringList{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Movies/Wedding.fcpbundle",
                           "~/Movies/Autosave Vault"}));
    // The rebuild read them back: every location still lists.
    QStringList names = projectNames();
    names.sort();
    EXPECT_EQ(names, (QStringList{"Alpha", "Ceremony", "Spot"}));
}

TEST_F(HomeFolders, FinalCutXThatCannotStartAfterARestoreIsToldInAnAlert) {
    start();
    home().platform().canLaunch = false;
    Answerer answer("OK");
    select({controller->model()->index(0, 0, projectIndex("Ceremony"))});
    menu().restoreEvent->trigger();
    controller->waitForWorkers();
    EXPECT_EQ(answer.count, 1);
    EXPECT_EQ(answer.text, "Final Cut Pro X could not be started.");
    EXPECT_EQ(answer.informative, "No application that opens Final Cut Pro X events could be started.");
    // Open on the one backup restores it too, and says the same.
    menu().open->trigger();
    controller->waitForWorkers();
    EXPECT_EQ(answer.count, 2);
    EXPECT_EQ(answer.text, "Final Cut Pro X could not be started.");
}
