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
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }
    void removeProject(const QString& name) {
        select({projectIndex(name)});
        Answerer answer("Remove");
        expectRebuild([&] { menu().remove->trigger(); });
    }
    RecentlyRemovedDialog* openDialog() {
        menu().recentlyRemoved->trigger();
        return controller->mainWindow()->findChild<RecentlyRemovedDialog*>();
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
    EXPECT_EQ(contents(premiere("Alpha/Alpha-1.prproj")), "Alpha/Alpha-1.prproj");
    EXPECT_EQ(dialog->list()->topLevelItemCount(), 0);
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta"}));
}

TEST_F(RecentlyRemoved, AFileAtTheOriginalPathIsNeverReplacedAndTheAlertSaysWhy) {
    start();
    removeProject("Beta");
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", "newer work");
    RecentlyRemovedDialog* dialog = openDialog();
    ASSERT_NE(dialog, nullptr);
    ASSERT_EQ(dialog->list()->topLevelItemCount(), 1);

    ASSERT_EQ(dialog->list()->topLevelItemCount(), 1);
    dialog->list()->topLevelItem(0)->setSelected(true);

    Answerer answer("OK");
    QSignalSpy finished(dialog, &RecentlyRemovedDialog::workFinished);
    dialog->putBackButton()->click();
    ASSERT_TRUE(finished.wait(10000));
    controller->waitForWorkers();
    ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
    EXPECT_EQ(answer.text, "Nothing was put back.");
    EXPECT_TRUE(answer.informative.contains("Beta-1.prproj")) << answer.informative.toStdString();
    EXPECT_EQ(contents(premiere("Beta/Beta-1.prproj")), "newer work");
    EXPECT_EQ(contents(inTrash("Beta-1.prproj")), "Beta/Beta-1.prproj");
    EXPECT_EQ(dialog->list()->topLevelItemCount(), 1);
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
    RecentlyRemovedDialog* dialog = openDialog();
    ASSERT_NE(dialog, nullptr);

    ASSERT_EQ(dialog->list()->topLevelItemCount(), 1);
    dialog->list()->topLevelItem(0)->setSelected(true);

    Answerer answer("OK");
    QSignalSpy finished(dialog, &RecentlyRemovedDialog::workFinished);
    dialog->putBackButton()->click();
    ASSERT_TRUE(finished.wait(10000));
    controller->waitForWorkers();
    ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
    EXPECT_EQ(answer.text, "Nothing was put back.");
    EXPECT_TRUE(answer.informative.contains(
        QString(" is busy: another Vestry run (process %1, vestry-helper -clean)").arg(::getpid())))
        << answer.informative.toStdString();
    EXPECT_EQ(contents(inTrash("Alpha-1.prproj")), "Alpha/Alpha-1.prproj");
    EXPECT_FALSE(QFileInfo::exists(premiere("Alpha")));
    EXPECT_EQ(dialog->list()->topLevelItemCount(), 1);
}
