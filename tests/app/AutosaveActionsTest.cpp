// The autosave actions as the user meets them in the window, every question answered from
// the test.
#include "WindowFixture.h"
#include "app/BusySpinner.h"
#include "app/ProgressSheet.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Alpha (one autosave) and Beta (two) in the Premiere location, the event Ceremony (its
// current version and two backups) in a library. Every file's contents are its own path.
class Actions : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        for (const char* file : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj"})
            write("Documents/Adobe Premiere Pro Auto-Save/" + QString(file));
        for (const char* file : {"CurrentVersion", "Backups/Ceremony 1", "Backups/Ceremony 2"})
            write("Movies/Wedding.fcpbundle/Ceremony/" + QString(file) + ".fcpevent");
        BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere(), library()});
        // The rules' questions as asked straight away; RulePreviewTest has the preview before them.
        BMSettings::standard().setValue(SettingsKey::previewRules, false);
    }
    QString library() const { return home().home() + "/Movies/Wedding.fcpbundle"; }
    QString ceremony(const QString& file) const { return library() + "/Ceremony/" + file + ".fcpevent"; }
};

} // namespace

// Delete and Backspace each ask once; the Remove menu item is met in the right-click test.
TEST_F(Actions, RemovalKeysAskAboutRowsCountedAsRowsAndCancelKeepsEverything) {
    start();
    controller->mainWindow()->activateWindow();
    outline()->setFocus();
    select({projectIndex("Alpha"), itemIndex("Beta", 1)});
    {
        Answerer cancel("Cancel");
        expectNoRebuild([&] { QTest::keyClick(outline(), Qt::Key_Delete); });
        EXPECT_EQ(cancel.text, "Are you sure you wish to remove 2 autosaves?");
        EXPECT_TRUE(trashed().isEmpty());
    }
    select({projectIndex("Beta")});
    Answerer answer("Remove");
    expectRebuild([&] { QTest::keyClick(outline(), Qt::Key_Backspace); });
    EXPECT_EQ(answer.count, 1);
    EXPECT_EQ(answer.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(answer.informative, "This cannot be undone.");
    EXPECT_EQ(answer.buttons, (QStringList{"Cancel", "Remove"}));
    EXPECT_EQ(answer.modality, Qt::WindowModal);
    EXPECT_EQ(trashed(), (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Ceremony"}));
}

TEST_F(Actions, KeepMenuReordersAndAsksEvenWhenNothingGoesAgeMenuOnlyWhenSomethingIsOldEnough) {
    start();
    // The keep rule leaves Beta newest first even when the question is cancelled; the selected
    // autosave row follows its autosave to its new row instead of showing another one.
    ASSERT_EQ(controller->model()->itemAt(itemIndex("Beta", 0))->name(), "Beta-1.prproj");
    select({projectIndex("Beta"), itemIndex("Beta", 0)});
    {
        Answerer cancel("Cancel");
        expectNoRebuild([&] { menu().keepMostRecent[0]->trigger(); });
        EXPECT_EQ(cancel.text, "Are you sure you wish to remove 2 autosaves?");
        EXPECT_EQ(controller->model()->itemAt(itemIndex("Beta", 0))->name(), "Beta-2.prproj");
        EXPECT_EQ(selectedNames(), (QStringList{"Beta", "Beta-1.prproj"}));
    }
    select({projectIndex("Alpha")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().keepMostRecent[0]->trigger(); });
    EXPECT_EQ(answer.text, "Are you sure you wish to remove 0 autosaves?");
    EXPECT_TRUE(trashed().isEmpty());
    select({projectIndex("Beta")});
    expectRebuild([&] { menu().keepMostRecent[0]->trigger(); });
    EXPECT_EQ(answer.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(trashed(), QStringList{"Beta-1.prproj"});

    // The age rule counts a project's own autosave twice, and removes it once.
    select({projectIndex("Beta"), itemIndex("Beta", 0)});
    expectNoRebuild([&] { menu().removeOlderThan[0]->trigger(); });
    EXPECT_EQ(answer.count, 2);
    now = now.addDays(10);
    QAction* sevenDays = menu().removeOlderThan[2];
    ASSERT_EQ(sevenDays->data().toInt(), 7);
    expectRebuild([&] { sevenDays->trigger(); });
    EXPECT_EQ(answer.text, "Are you sure you wish to remove 2 autosaves?");
    EXPECT_EQ(trashed(), (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Ceremony"}));
}

TEST_F(Actions, OneAutosaveOpensWithoutAQuestionMoreAskWithTheCountAndCancelOpensNothing) {
    start();
    {
        Answerer cancel("Cancel");
        select({projectIndex("Alpha")});
        Q_EMIT outline()->doubleClicked(projectIndex("Alpha"));
        controller->waitForWorkers();
        EXPECT_EQ(cancel.count, 0);
        // Cancelling opens nothing and restores no event either; its backups are not counted.
        select({projectIndex("Alpha"), projectIndex("Ceremony")});
        triggerAndWait(menu().open);
        EXPECT_EQ(cancel.text, "Are you sure you wish to open 1 item?");
        EXPECT_TRUE(home().platform().launched().isEmpty());
        EXPECT_EQ(readFile(ceremony("CurrentVersion")),
                  "Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent");
    }
    select({projectIndex("Beta")});
    Answerer answer("Open");
    triggerAndWait(menu().open);
    EXPECT_EQ(answer.text, "Are you sure you wish to open 2 items?");
    EXPECT_EQ(answer.informative,
              "Opening a large number of autosaves at once could slow down your computer.");
    EXPECT_EQ(answer.buttons, (QStringList{"Cancel", "Open"}));
    EXPECT_EQ(home().platform().opened(),
              (QList<FakePlatform::Opened>{{{premiere("Alpha/Alpha-1.prproj")}, "com.adobe.AdobePremierePro"},
                                           {{premiere("Beta/Beta-1.prproj"), premiere("Beta/Beta-2.prproj")},
                                            "com.adobe.AdobePremierePro"}}));
}

// Where Final Cut Pro X cannot start after a restore, an alert says so.
TEST_F(Actions, EventBackupsAreRestoredByOpenOrByTheirOwnMenuEachStartingFinalCutXOnce) {
    start();
    select({itemIndex("Beta", 0)});
    EXPECT_FALSE(menu().restoreEvent->isEnabled());
    select({projectIndex("Ceremony")});
    EXPECT_FALSE(menu().restoreEvent->isEnabled()); // offered for a backup row only
    {
        Answerer answer("Open");
        triggerAndWait(menu().open);
        EXPECT_EQ(answer.text, "Are you sure you wish to open 0 items?");
        EXPECT_EQ(home().platform().launched(), QStringList{"com.apple.FinalCut"});
        EXPECT_EQ(readFile(ceremony("CurrentVersion")), readFile(ceremony("Backups/Ceremony 2")));

        select({itemIndex("Ceremony", 0)});
        EXPECT_TRUE(menu().restoreEvent->isEnabled());
        triggerAndWait(menu().restoreEvent);
        EXPECT_EQ(answer.count, 1);
        EXPECT_EQ(readFile(ceremony("CurrentVersion")), readFile(ceremony("Backups/Ceremony 1")));
        EXPECT_EQ(home().platform().launched(), (QStringList{"com.apple.FinalCut", "com.apple.FinalCut"}));
    }
    home().platform().canLaunch = false;
    Answerer answer("OK");
    for (QAction* action : {menu().restoreEvent, menu().open})
        triggerAndWait(action);
    EXPECT_EQ(answer.count, 2);
    EXPECT_EQ(answer.text, "Final Cut Pro X could not be started.");
    EXPECT_EQ(answer.informative, "No application that opens Final Cut Pro X events could be started.");
}

// A right click as the window system delivers it: to the viewport, in its coordinates.
static void rightClick(BMOutlineView* outline, const QPoint& point) {
    QContextMenuEvent event(QContextMenuEvent::Mouse, point, outline->viewport()->mapToGlobal(point));
    QApplication::sendEvent(outline->viewport(), &event);
}

TEST_F(Actions, RightClickActsOnTheRowUnderThePointerOrOnTheSelectionItFallsIn) {
    start();
    controller->mainWindow()->show();
    outline()->expandAll();
    QMenu* contextMenu = controller->mainWindow()->contextMenu();
    QList<QModelIndex> rows;
    for (QModelIndex index = outline()->indexAt(QPoint(1, 1)); index.isValid();
         index = outline()->indexBelow(index))
        rows << index;
    ASSERT_EQ(rows.size(), 3 + 1 + 2 + 2); // three projects and their autosaves
    for (const QModelIndex& row : rows) {
        const QRect rect = outline()->visualRect(row);
        for (const int y : {rect.top() + 1, rect.bottom() - 1}) {
            select({rows.first() == row ? rows.last() : rows.first()});
            rightClick(outline(), QPoint(rect.center().x(), y));
            EXPECT_EQ(selectedNames(), QStringList{row.data().toString()}) << "at y " << y;
            EXPECT_TRUE(contextMenu->isVisible()) << row.data().toString().toStdString();
            contextMenu->hide();
        }
    }

    // Move to Trash from the menu removes what was clicked, not the row above.
    rightClick(outline(), outline()->visualRect(itemIndex("Beta", 1)).topLeft() + QPoint(4, 1));
    {
        Answerer answer("Remove");
        expectRebuild([&] { menu().remove->trigger(); });
    }
    EXPECT_EQ(trashed(), QStringList{"Beta-2.prproj"});

    // Inside a selection of several rows the selection stays and the menu acts on all of it.
    outline()->expandAll();
    select({projectIndex("Alpha"), itemIndex("Beta", 0)});
    rightClick(outline(), outline()->visualRect(itemIndex("Beta", 0)).bottomLeft() + QPoint(4, -1));
    EXPECT_EQ(selectedNames(), (QStringList{"Alpha", "Beta-1.prproj"}));
    EXPECT_TRUE(contextMenu->isVisible());
    {
        Answerer answer("Remove");
        expectRebuild([&] { menu().remove->trigger(); });
        EXPECT_EQ(answer.text, "Are you sure you wish to remove 2 autosaves?");
    }
    EXPECT_EQ(trashed(), (QStringList{"Alpha-1.prproj", "Beta-1.prproj", "Beta-2.prproj"}));
}

TEST_F(Actions, ArchivingErrorsArePanelsOfTheirOwnAndASuccessPacksTheSelectionAndTrashesIt) {
    start();
    chosenArchive = home().home() + "/Alpha.zip";
    select({projectIndex("Alpha")});
    QDir(premiere("Alpha")).removeRecursively();
    {
        Answerer answer("OK");
        QSignalSpy finished(actions, &AutosaveActions::workFinished);
        expectNoRebuild([&] { menu().archive->trigger(); });
        EXPECT_EQ(finished.size(), 1);
        EXPECT_EQ(answer.text, "Error: no files to archive.");
        EXPECT_EQ(answer.informative, "Archiving aborted.");
        EXPECT_EQ(answer.modality, Qt::ApplicationModal);
        EXPECT_FALSE(QFileInfo::exists(chosenArchive));
        EXPECT_FALSE(controller->mainWindow()->spinner()->isSpinning());
    }
    chosenArchive = home().home() + "/Beta autosaves"; // the panel adds the extension
    select({projectIndex("Beta")});
    expectRebuild([&] { menu().archive->trigger(); });
    EXPECT_EQ(proposedName, "Beta.zip");
    EXPECT_TRUE(QFileInfo::exists(chosenArchive + ".zip"));
    EXPECT_EQ(projectNames(), QStringList{"Ceremony"});
    EXPECT_FALSE(controller->mainWindow()->progressSheet()->isVisible());
    EXPECT_FALSE(controller->mainWindow()->spinner()->isSpinning());
}

// A move while another run holds the location moves nothing and the alert names the holder.
TEST_F(Actions, MovingTheOnlyAutosaveTakesTheFolderAndRebuildsCopyingDoesNeitherAndAHeldLocationNothing) {
    start();
    chosenFolder = home().makeFolder("Kept");
    select({projectIndex("Alpha")});
    {
        auto held = holdLocation(premiere(), "vestry prune: moving autosaves to the Trash");
        ASSERT_TRUE(held);
        Answerer answer("OK");
        QSignalSpy finished(actions, &AutosaveActions::workFinished);
        menu().move->trigger();
        ASSERT_TRUE(waitFor([&] { return finished.size() == 1; }));
        EXPECT_EQ(answer.text, "No autosaves were moved.");
        EXPECT_TRUE(answer.informative.contains(
            QString("(process %1, vestry prune: moving autosaves to the Trash)").arg(::getpid())))
            << answer.informative.toStdString();
        EXPECT_TRUE(QFileInfo::exists(premiere("Alpha/Alpha-1.prproj")));
        EXPECT_TRUE(QDir(chosenFolder).isEmpty());
    }
    select({projectIndex("Alpha")});
    expectNoRebuild([&] { menu().copy->trigger(); });
    EXPECT_TRUE(QFileInfo::exists(chosenFolder + "/Alpha-1.prproj"));
    select({projectIndex("Alpha")});
    expectRebuild([&] { menu().move->trigger(); });
    EXPECT_TRUE(QFileInfo::exists(chosenFolder + "/Alpha-1 2.prproj"));
    EXPECT_EQ(projectNames(), (QStringList{"Beta", "Ceremony"}));
}

// Nothing opens .prproj files and no file manager starts: each failure is an alert naming the
// file; a failed open offers the file manager instead.
TEST_F(Actions, RevealShowsTheFirstSelectedRowAndOpenAndRevealFailuresAreAlerts) {
    start();
    select({itemIndex("Beta", 1), projectIndex("Alpha")});
    menu().reveal->trigger();
    const FakePlatform::Revealed alpha{premiere("Alpha"), premiere("Alpha")};
    EXPECT_EQ(home().platform().revealed(), QList<FakePlatform::Revealed>{alpha});
    home().platform().canOpen = false;
    select({itemIndex("Beta", 0)});
    {
        Answerer answer("Cancel");
        Q_EMIT outline()->doubleClicked(itemIndex("Beta", 0));
        controller->waitForWorkers();
        ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
        EXPECT_EQ(answer.text, "“Beta-1.prproj” could not be opened.");
        EXPECT_EQ(answer.informative, "No application that opens .prproj files could be started. "
                                      "The file manager can show it instead.");
        EXPECT_EQ(answer.buttons, (QStringList{"Cancel", "Show in File Manager"}));
        EXPECT_EQ(home().platform().revealed().size(), 1);
    }
    {
        Answerer answer("Show in File Manager");
        triggerAndWait(menu().open);
        ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
        EXPECT_EQ(home().platform().revealed(),
                  (QList<FakePlatform::Revealed>{alpha, {premiere("Beta/Beta-1.prproj"), premiere("Beta")}}));
    }
    home().platform().canReveal = false;
    Answerer answer("OK");
    menu().reveal->trigger();
    ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
    EXPECT_EQ(answer.text, "“Beta-1.prproj” could not be shown in the file manager.");
    EXPECT_EQ(answer.informative, "No file manager could be started. It is in " + premiere("Beta") + ".");
}

// The progress sheet's Cancel, clicked or Esc, while the window removes a few hundred autosaves.
TEST_F(Actions, ProgressSheetCancelOrEscStopsARemovalBetweenFilesAndTheWindowSaysWhatWasDone) {
    const QString big = home().home() + "/Documents/Adobe Premiere Pro Auto-Save/Big";
    for (int i = 1; i <= 300; ++i)
        write(QString("Documents/Adobe Premiere Pro Auto-Save/Big/Big-%1.prproj").arg(i));
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

// The list is days old when a rule runs; meanwhile Premiere wrote Beta-1 again under its old name.
// The rule chose the file the list showed, not the new one: that one stays, and the alert says why.
TEST_F(Actions, AnAutosaveWrittenAgainSinceTheListWasMadeIsNotMovedToTheTrash) {
    start();
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", "the newest edit, saved just now");
    now = now.addDays(10);
    select({projectIndex("Beta")});
    {
        Answerer confirm("Remove");
        menu().removeOlderThan[2]->trigger();
        ASSERT_TRUE(waitFor([&] { return confirm.count == 1; }));
        EXPECT_EQ(confirm.text, "Are you sure you wish to remove 2 autosaves?");
    }
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    QPointer<QMessageBox> told;
    ASSERT_TRUE(waitFor([&] { return (told = visibleAlert()) != nullptr; }));
    EXPECT_EQ(told->text(), "Some autosaves could not be moved to the Trash.");
    EXPECT_TRUE(told->informativeText().startsWith(
        premiere("Beta/Beta-1.prproj: written again since it was listed (now 31 bytes, ")))
        << told->informativeText().toStdString();
    clickButton(told, "OK");
    ASSERT_TRUE(waitFor([&] { return rebuilt.count() > 0; }));
    controller->waitForWorkers();
    EXPECT_EQ(trashed(), QStringList{"Beta-2.prproj"});
    EXPECT_EQ(readFile(premiere("Beta/Beta-1.prproj")), "the newest edit, saved just now");
    EXPECT_EQ(controller->model()->itemAt(itemIndex("Beta", 0))->name(), "Beta-1.prproj");
}

// A line break would cut the row and its tooltip short; bytes that are not UTF-8 would draw as
// nothing: the outline shows such names escaped, as every message does.
TEST_F(Actions, OddNamesAreShownEscapedInTheOutlineAndItsTooltips) {
    const QByteArray folder = QFile::encodeName(premiere());
    for (const QByteArray& name : {QByteArray("New\nline"), QByteArray("Caf\xe9")}) {
        ASSERT_EQ(::mkdir(folder + '/' + name, 0755), 0);
        const int fd = ::open(folder + '/' + name + '/' + name + "-1.prproj", O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        ::close(fd);
    }
    start();
    QStringList shown;
    for (int row = 0; row < controller->model()->rowCount(); ++row)
        shown << controller->model()->index(row, 0).data().toString();
    shown.sort();
    EXPECT_EQ(shown, (QStringList{"Alpha", "Beta", "Caf\\xe9", "Ceremony", "New\\nline"}));
    const QModelIndex odd = projectIndex("New\nline");
    ASSERT_TRUE(odd.isValid());
    EXPECT_EQ(odd.data(Qt::ToolTipRole).toString(), premiere("New\\nline"));
    const QModelIndex autosave = controller->model()->index(0, 0, odd);
    EXPECT_EQ(autosave.data().toString(), "New\\nline-1.prproj");
    // Its second line is the recent-write note.
    EXPECT_EQ(autosave.data(Qt::ToolTipRole).toString().section('\n', 0, 0),
              premiere("New\\nline/New\\nline-1.prproj"));
}
