// Pins as the window sets and shows them, stored where the command line stores them; and
// Recently Removed: what the window's own removal trashed, put back, or refused when something
// already stands where it was.
#include "WindowFixture.h"
#include "app/AutosaveIcons.h"
#include "app/RecentlyRemovedDialog.h"
#include "catalogue/PinnedPaths.h"
#include "support/Programs.h"

#include <QPushButton>
#include <QTreeWidget>

#include <unistd.h>

namespace {

// Alpha and Beta, one autosave each, in the Premiere location.
class AlphaAndBeta : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        // The files are new: without this the recent-write lock would badge them too.
        BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
        for (const char* file : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj"})
            write("Documents/Adobe Premiere Pro Auto-Save/" + QString(file), file);
        BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    }
    // Whether the row's icon carries the badge: it differs from the kind's plain icon.
    bool badged(const QModelIndex& index) const {
        const QIcon shown = index.data(Qt::DecorationRole).value<QIcon>();
        const QIcon plain =
            AutosaveIcons::iconForType(index.data(int(AutosaveOutlineModel::Role::Type)).toInt());
        return shown.pixmap(22, 22).toImage() != plain.pixmap(22, 22).toImage();
    }
    QString path(const QModelIndex& index) const {
        return index.data(int(AutosaveOutlineModel::Role::Path)).toString();
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
using Pins = AlphaAndBeta;
using RecentlyRemoved = AlphaAndBeta;

} // namespace

TEST_F(Pins, PinAndUnpinFollowTheSelectionStoreTheSettingAndBadgeTheRowsWhichStillGoByHand) {
    start();
    select({projectIndex("Alpha")});
    EXPECT_TRUE(menu().pin->isEnabled());
    EXPECT_FALSE(menu().unpin->isEnabled());
    EXPECT_FALSE(badged(projectIndex("Alpha")));

    menu().pin->trigger();
    EXPECT_EQ(PinnedPaths::stored().paths(), QStringList{path(projectIndex("Alpha"))});
    EXPECT_TRUE(badged(projectIndex("Alpha")));
    EXPECT_TRUE(badged(itemIndex("Alpha", 0))); // pinned through its project
    EXPECT_FALSE(badged(projectIndex("Beta")));
    EXPECT_TRUE(projectIndex("Alpha").data(Qt::ToolTipRole).toString().contains("Pinned"));
    EXPECT_FALSE(menu().pin->isEnabled());
    EXPECT_TRUE(menu().unpin->isEnabled());

    // Unpinning the autosave takes its project's pin, which was the one holding it.
    select({itemIndex("Alpha", 0), projectIndex("Beta")});
    EXPECT_TRUE(menu().pin->isEnabled());
    EXPECT_TRUE(menu().unpin->isEnabled());
    menu().unpin->trigger();
    EXPECT_TRUE(PinnedPaths::stored().paths().isEmpty());
    EXPECT_FALSE(badged(projectIndex("Alpha")));
    EXPECT_FALSE(badged(itemIndex("Alpha", 0)));
    EXPECT_FALSE(menu().unpin->isEnabled());

    // Removing pinned rows by hand says so, and still trashes them.
    select({projectIndex("Alpha")});
    menu().pin->trigger();
    select({projectIndex("Alpha"), projectIndex("Beta")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().remove->trigger(); });
    EXPECT_EQ(answer.informative, "This cannot be undone. 1 of them is pinned.");
    EXPECT_TRUE(projectNames().isEmpty());
}

TEST_F(RecentlyRemoved, ListsWhatTheRemovalTrashedAndPutsTheSelectedRowBackButNeverOverAFileOrWhileHeld) {
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

    // A file at the original path is never replaced, and while another run holds the location
    // nothing is put back: the alert says why, naming the holder.
    removeProject("Beta");
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", "newer work");
    QString why = refusedPutBack();
    EXPECT_TRUE(why.contains("Beta-1.prproj")) << why.toStdString();
    EXPECT_EQ(readFile(premiere("Beta/Beta-1.prproj")), "newer work");
    EXPECT_EQ(readFile(inTrash("Beta-1.prproj")), "Beta/Beta-1.prproj");

    ASSERT_TRUE(QFile::remove(premiere("Beta/Beta-1.prproj")));
    const auto held = holdLocation(premiere(), "vestry-helper -clean");
    ASSERT_TRUE(held);
    why = refusedPutBack();
    EXPECT_TRUE(why.contains(
        QString(" is busy: another Vestry run (process %1, vestry-helper -clean)").arg(::getpid())))
        << why.toStdString();
    EXPECT_EQ(readFile(inTrash("Beta-1.prproj")), "Beta/Beta-1.prproj");
    EXPECT_FALSE(QFileInfo::exists(premiere("Beta/Beta-1.prproj")));
}

// `vestry pin` and `vestry unpin` while the window is open: the window's own writes to the
// settings keep what they stored, and its rules keep away from what is pinned now.
TEST_F(Pins, PinsTheCommandLineChangesWhileTheWindowIsOpenAreKeptAndHonoured) {
    start();
    const auto vestry = [&](const QStringList& arguments) {
        const ProgramRun run =
            runProgram(VESTRY_PROGRAM, arguments, {QProcessEnvironment::systemEnvironment(), home().home()});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    };
    const auto storedPins = [] {
        BMSettings file([] { return BMSettings::standard().userFilePath(); });
        return PinnedPaths::fromSettings(file).paths();
    };
    vestry({"pin", premiere("Beta")});
    // The user comes back to the window, which stores its open rows and reads the list again.
    expectRebuild([&] { controller->applicationBecameActive(); });
    EXPECT_EQ(storedPins(), QStringList{path(projectIndex("Beta"))});
    EXPECT_TRUE(badged(projectIndex("Beta")));

    vestry({"unpin", premiere("Beta")});
    vestry({"pin", premiere("Alpha")});
    now = now.addDays(10);
    select({projectIndex("Alpha"), projectIndex("Beta")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().removeOlderThan[2]->trigger(); });
    EXPECT_EQ(answer.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(trashed(), QStringList{"Beta-1.prproj"});
    EXPECT_EQ(readFile(premiere("Alpha/Alpha-1.prproj")), "Alpha/Alpha-1.prproj");
    EXPECT_TRUE(badged(projectIndex("Alpha")));
}
