// The progress sheet's Cancel, clicked or Esc, while the window removes a few hundred autosaves.
#include "WindowFixture.h"
#include "app/ProgressSheet.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QAction>
#include <QPushButton>
#include <QTest>
#include <QThread>

class CancelSheet : public WindowTest {};

TEST_F(CancelSheet, CancelOrEscStopsARemovalBetweenFilesAndTheWindowSaysWhatWasDone) {
    const QString big = home().home() + "/Documents/Adobe Premiere Pro Auto-Save/Big";
    for (int i = 1; i <= 300; ++i)
        write(QString("Documents/Adobe Premiere Pro Auto-Save/Big/Big-%1.prproj").arg(i));
    BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{QFileInfo(big).path()});
    start();
    AutosaveActions::Environment slow;
    slow.watchProgress = [](const ActionProgress&) { QThread::msleep(4); }; // time to show the sheet
    actions->setEnvironment(slow);
    ProgressSheet* sheet = controller->mainWindow()->progressSheet();

    for (const bool escape : {false, true}) {
        const qsizetype before = QDir(big).entryList(QDir::Files).size();
        select({projectIndex("Big")});
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        {
            Answerer confirm("Remove");
            menu().remove->trigger();
            ASSERT_TRUE(waitFor([&] { return sheet->isVisible() && confirm.count == 1; }));
        }
        QPushButton* cancel = sheet->cancelButton();
        EXPECT_EQ(cancel->text(), "Cancel");
        escape ? QTest::keyClick(sheet, Qt::Key_Escape) : QTest::mouseClick(cancel, Qt::LeftButton);
        EXPECT_EQ(cancel->text(), "Cancelling…");
        EXPECT_FALSE(cancel->isEnabled());

        QPointer<QMessageBox> told;
        ASSERT_TRUE(waitFor([&] { return (told = visibleAlert()) != nullptr; }));
        const qsizetype left = QDir(big).entryList(QDir::Files).size();
        EXPECT_TRUE(left > 0 && left < before) << left;
        EXPECT_EQ(told->text(),
                  QString("Cancelled: %1 of %2 autosaves were moved to the Trash; the other %3 are "
                          "untouched.")
                      .arg(before - left)
                      .arg(before)
                      .arg(left));
        clickButton(told, "OK");
        ASSERT_TRUE(waitFor([&] { return rebuilt.count() > 0; }));
        controller->waitForWorkers();
    }
}
