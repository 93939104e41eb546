// The progress sheet's Cancel, clicked (or Esc) while the window removes many autosaves.
#include "WindowFixture.h"
#include "app/ProgressSheet.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QPushButton>
#include <QTest>
#include <QThread>

namespace {

constexpr int kAutosaves = 300;

class CancelSheet : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        for (int i = 1; i <= kAutosaves; ++i)
            write(QStringLiteral("Documents/Adobe Premiere Pro Auto-Save/Big/Big-%1.prproj").arg(i));
        BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    }
    QString premiere() const { return home().home() + "/Documents/Adobe Premiere Pro Auto-Save"; }
    qsizetype left() const { return QDir(premiere() + "/Big").entryList(QDir::Files).size(); }
    qsizetype trashed() const {
        return QDir(home().home() + "/.local/share/Trash/files").entryList(QDir::Files).size();
    }
};

} // namespace

TEST_F(CancelSheet, CancelOrEscStopsARemovalBetweenFilesAndTheWindowSaysWhatWasDone) {
    start();
    AutosaveActions::Environment slow;
    slow.now = [] { return QDateTime::currentDateTimeUtc(); };
    // A few milliseconds a file keeps the removal going long enough for the sheet to show.
    slow.watchProgress = [](const ActionProgress&) { QThread::msleep(4); };
    actions->setEnvironment(slow);
    ProgressSheet* sheet = controller->mainWindow()->progressSheet();

    qsizetype removedBefore = 0;
    for (const bool escape : {false, true}) {
        SCOPED_TRACE(escape ? "Esc" : "Cancel");
        select({projectIndex("Big")});
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        {
            Answerer confirm("Remove");
            menu().remove->trigger();
            ASSERT_TRUE(waitFor([&] { return sheet->isVisible() && confirm.count == 1; }));
        }
        QPushButton* cancel = sheet->cancelButton();
        ASSERT_TRUE(cancel->isVisible());
        EXPECT_EQ(cancel->text(), "Cancel");
        if (escape)
            QTest::keyClick(sheet, Qt::Key_Escape);
        else
            QTest::mouseClick(cancel, Qt::LeftButton);
        EXPECT_EQ(cancel->text(), "Cancelling…");
        EXPECT_FALSE(cancel->isEnabled());

        QPointer<QMessageBox> told;
        ASSERT_TRUE(waitFor([&] { return (told = visibleAlert()) != nullptr; }));
        EXPECT_FALSE(sheet->isVisible());
        const qsizetype removed = trashed() - removedBefore;
        const qsizetype total = kAutosaves - removedBefore;
        EXPECT_GT(removed, 0);
        EXPECT_LT(removed, total);
        EXPECT_EQ(told->text(), QStringLiteral("Cancelled: %1 of %2 autosaves were moved to the Trash; the "
                                               "other %3 are untouched.")
                                    .arg(removed)
                                    .arg(total)
                                    .arg(total - removed));
        clickButton(told, "OK");
        ASSERT_TRUE(waitFor([&] { return rebuilt.count() > 0; }));
        controller->waitForWorkers();
        EXPECT_EQ(left(), total - removed);
        removedBefore += removed;
    }
}
