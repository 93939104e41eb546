#include "WindowFixture.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QAction>

class FinalCutLaunch : public WindowTest {};

// Restoring an event backup (by its own menu or by Open) then starting Final Cut Pro X.
TEST_F(FinalCutLaunch, AnEditorThatCannotStartAfterARestoreIsToldInAnAlert) {
    for (const char* file : {"CurrentVersion", "Backups/Ceremony 1"})
        write("Movies/Wedding.fcpbundle/Ceremony/" + QString(file) + ".fcpevent");
    BMSettings::standard().setValue(SettingsKey::autosavePaths,
                                    QStringList{home().home() + "/Movies/Wedding.fcpbundle"});
    start();
    home().platform().canLaunch = false;
    Answerer answer("OK");
    select({controller->model()->index(0, 0, projectIndex("Ceremony"))});
    for (QAction* action : {menu().restoreEvent, menu().open}) {
        action->trigger();
        controller->waitForWorkers();
    }
    EXPECT_EQ(answer.count, 2);
    EXPECT_EQ(answer.text, "Final Cut Pro X could not be started.");
    EXPECT_EQ(answer.informative, "No application that opens Final Cut Pro X events could be started.");
}
