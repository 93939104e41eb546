// Recently Removed: what the window's own removal trashed, put back, or refused when
// something already stands where it was.
#include "WindowFixture.h"
#include "app/RecentlyRemovedDialog.h"
#include "foundation/BMSettings.h"
#include "foundation/LocationLock.h"
#include "foundation/SettingsKeys.h"

#include <QAction>
#include <QPushButton>
#include <QTreeWidget>

#include <unistd.h>

namespace {

class RecentlyRemoved : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        for (const char* file : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj"})
            write("Documents/Adobe Premiere Pro Auto-Save/" + QString(file), file);
        BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    }
    QString premiere(const QString& relative = "") const {
        return home().home() + "/Documents/Adobe Premiere Pro Auto-Save" +
               (relative.isEmpty() ? "" : "/" + relative);
    }
    QString inTrash(const QString& name) const { return home().home() + "/.local/share/Trash/files/" + name; }
    void removeProject(const QString& name) {
        select({projectIndex(name)});
        Answerer answer("Remove");
        expectRebuild([&] { menu().remove->trigger(); });
    }
    RecentlyRemovedDialog* openDialog() {
        menu().recentlyRemoved->trigger();
        return controller->mainWindow()->findChild<RecentlyRemovedDialog*>();
    }
    // Puts back the dialog's only row where that is refused: the alert's explanation, the row kept.
    QString refusedPutBack() {
        RecentlyRemovedDialog* dialog = openDialog();
        EXPECT_TRUE(dialog && dialog->list()->topLevelItemCount() == 1);
        if (!dialog || dialog->list()->topLevelItemCount() != 1)
            return QString();
        dialog->list()->topLevelItem(0)->setSelected(true);
        Answerer answer("OK");
        QSignalSpy finished(dialog, &RecentlyRemovedDialog::workFinished);
        dialog->putBackButton()->click();
        EXPECT_TRUE(finished.wait(10000));
        controller->waitForWorkers();
        EXPECT_TRUE(waitFor([&] { return answer.count == 1; }));
        EXPECT_EQ(answer.text, "Nothing was put back.");
        EXPECT_EQ(dialog->list()->topLevelItemCount(), 1);
        return answer.informative;
    }
};

} // namespace

TEST_F(RecentlyRemoved, ListsWhatTheRemovalTrashedAndPutsTheSelectedRowBack) {
    start();
    removeProject("Alpha");
    RecentlyRemovedDialog* dialog = openDialog();
    ASSERT_NE(dialog, nullptr);
    ASSERT_EQ(dialog->list()->topLevelItemCount(), 1);
    const QTreeWidgetItem* row = dialog->list()->topLevelItem(0);
    EXPECT_EQ(row->text(0), "Alpha-1.prproj");
    EXPECT_EQ(row->text(1), "~/Documents/Adobe Premiere Pro Auto-Save/Alpha");
    EXPECT_FALSE(row->text(2).isEmpty());
    EXPECT_FALSE(dialog->putBackButton()->isEnabled());

    dialog->list()->topLevelItem(0)->setSelected(true);
    QSignalSpy finished(dialog, &RecentlyRemovedDialog::workFinished);
    expectRebuild([&] { dialog->putBackButton()->click(); });
    EXPECT_EQ(finished.size(), 1);
    EXPECT_EQ(readFile(premiere("Alpha/Alpha-1.prproj")), "Alpha/Alpha-1.prproj");
    EXPECT_EQ(dialog->list()->topLevelItemCount(), 0);
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta"}));
}

TEST_F(RecentlyRemoved, AFileAtTheOriginalPathIsNeverReplacedAndTheAlertSaysWhy) {
    start();
    removeProject("Beta");
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", "newer work");
    const QString why = refusedPutBack();
    EXPECT_TRUE(why.contains("Beta-1.prproj")) << why.toStdString();
    EXPECT_EQ(readFile(premiere("Beta/Beta-1.prproj")), "newer work");
    EXPECT_EQ(readFile(inTrash("Beta-1.prproj")), "Beta/Beta-1.prproj");
}

TEST_F(RecentlyRemoved, WhileAnotherRunHoldsTheLocationNothingIsPutBackAndTheAlertNamesTheHolder) {
    start();
    removeProject("Alpha");
    struct ShortWait {
        ShortWait() { qputenv("VESTRY_LOCK_WAIT_MS", "300"); }
        ~ShortWait() { qunsetenv("VESTRY_LOCK_WAIT_MS"); }
    } shortWait;
    QString error;
    const auto held =
        LocationLock::acquire(premiere(), "vestry-helper -clean", std::chrono::milliseconds(0), &error);
    ASSERT_TRUE(held) << error.toStdString();
    const QString why = refusedPutBack();
    EXPECT_TRUE(why.contains(
        QString(" is busy: another Vestry run (process %1, vestry-helper -clean)").arg(::getpid())))
        << why.toStdString();
    EXPECT_EQ(readFile(inTrash("Alpha-1.prproj")), "Alpha/Alpha-1.prproj");
    EXPECT_FALSE(QFileInfo::exists(premiere("Alpha")));
}
