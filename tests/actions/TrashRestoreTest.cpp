#include "actions/TrashRestore.h"

#include "ActionsFixture.h"
#include "actions/AutosaveRemoval.h"
#include "foundation/BMFileManager.h"
#include "support/Tmpfs.h"

#include <QThread>

#include <unistd.h>

namespace {

QStringList originals(const QList<TrashedItem>& items) {
    QStringList paths;
    for (const TrashedItem& item : items)
        paths << item.originalPath;
    return paths;
}

} // namespace

class Restore : public ActionsTest {
protected:
    QStringList locations() const { return {premiere()}; }
    BMAutoItemList autosaves(const QStringList& names) const {
        return AutosaveSelection::autosavesOf(rows(names));
    }
};

TEST_F(Restore, ListsTheLocationsItemsNewestFirstPutsThemBackAndNeverOverwrites) {
    scan();
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Beta-1.prproj"})).ok());
    // Deletion dates are whole seconds.
    QThread::msleep(1100);
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Alpha-1.prproj", "Beta-2.prproj"})).ok());
    // Something removed from outside the locations is not Vestry's to list.
    ASSERT_TRUE(BMFileManager::trashFile(write("Documents/letter.txt")));

    const QList<TrashedItem> items = TrashRestore::list(locations());
    EXPECT_EQ(originals(items), (QStringList{premiere("Alpha/Alpha-1.prproj"), premiere("Beta/Beta-2.prproj"),
                                             premiere("Beta/Beta-1.prproj")}));
    ASSERT_EQ(items.size(), 3);
    EXPECT_EQ(items[0].size, quint64(premiere("Alpha/Alpha-1.prproj").size() - home().home().size() - 1));
    EXPECT_GT(items[0].deletionDate, items[2].deletionDate);

    // Alpha's folder went with its last autosave and comes back; Beta-1's place is taken.
    ASSERT_FALSE(QFileInfo::exists(premiere("Alpha")));
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", "written since");
    const RestoreReport report = TrashRestore::restore(items);
    EXPECT_EQ(report.restored,
              (QStringList{premiere("Alpha/Alpha-1.prproj"), premiere("Beta/Beta-2.prproj")}));
    EXPECT_EQ(report.refused, QStringList{premiere("Beta/Beta-1.prproj")});
    EXPECT_TRUE(report.reasons.value(premiere("Beta/Beta-1.prproj")).contains("already stands there"));
    EXPECT_EQ(readFile(premiere("Beta/Beta-1.prproj")), "written since");
    EXPECT_EQ(readFile(premiere("Alpha/Alpha-1.prproj")),
              "Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");
    // The refused one keeps its item and record; trash-cli sees the Trash as we left it.
    EXPECT_EQ(trashRecords(),
              (QMap<QString, QString>{{"Beta-1.prproj", premiere("Beta/Beta-1.prproj")},
                                      {"letter.txt", home().home() + "/Documents/letter.txt"}}));
    const ProgramRun listed = runProgram("trash-list", {});
    ASSERT_TRUE(listed.finished && listed.exitCode == 0) << listed.err.toStdString();
    // It also reads the Trashes of the machine's volumes: only what is ours is looked at.
    EXPECT_TRUE(listed.out.contains(" " + premiere("Beta/Beta-1.prproj") + "\n")) << listed.out.toStdString();
    EXPECT_FALSE(listed.out.contains(premiere("Beta/Beta-2.prproj"))) << listed.out.toStdString();
    EXPECT_FALSE(listed.out.contains(premiere("Alpha"))) << listed.out.toStdString();
}

TEST_F(Restore, TheLastRemovalComesBackAloneAndANamedPathItsNewestItem) {
    scan();
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Alpha-1.prproj"})).ok());
    ASSERT_TRUE(AutosaveRemoval::removeIndexSet(rows({"Beta"})).ok());
    QString error;
    const RestoreReport last = TrashRestore::restoreLast(locations(), &error);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    EXPECT_EQ(last.restored, (QStringList{premiere("Beta/Beta-1.prproj"), premiere("Beta/Beta-2.prproj")}));
    EXPECT_TRUE(last.ok());
    EXPECT_FALSE(QFileInfo::exists(premiere("Alpha/Alpha-1.prproj")));

    // The same path removed twice: the newer one is put back, the older stays.
    write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj", "second");
    scan();
    QThread::msleep(1100);
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Alpha-1.prproj"})).ok());
    const RestoreReport named = TrashRestore::restorePaths(
        {premiere("Alpha/Alpha-1.prproj"), premiere("Alpha/None.prproj")}, locations());
    EXPECT_EQ(named.restored, QStringList{premiere("Alpha/Alpha-1.prproj")});
    EXPECT_EQ(named.notFound, QStringList{premiere("Alpha/None.prproj")});
    EXPECT_EQ(readFile(premiere("Alpha/Alpha-1.prproj")), "second");
    EXPECT_EQ(TrashRestore::list(locations()).size(), 1);
}

TEST_F(Restore, NeverThroughALinkOutOfTheLocationNorAsIfAStaleListStillHeldTheItem) {
    scan();
    ASSERT_TRUE(AutosaveRemoval::removeIndexSet(rows({"Beta"})).ok());
    const QList<TrashedItem> items = TrashRestore::list(locations());
    ASSERT_EQ(items.size(), 2);
    const QString outside = home().makeFolder("outside");
    ASSERT_TRUE(QFile::link(outside, premiere("Beta")));
    const RestoreReport linked = TrashRestore::restore(items);
    EXPECT_EQ(linked.failed.size(), 2);
    const QString reason = linked.reasons.value(premiere("Beta/Beta-1.prproj"));
    EXPECT_TRUE(
        reason.contains("a link on the way leads outside the location " + premiere() + ", to " + outside))
        << reason.toStdString();
    EXPECT_EQ(QDir(outside).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    EXPECT_EQ(trashRecords().size(), 2);

    ASSERT_TRUE(QFile::remove(premiere("Beta")));
    write("Documents/Adobe Premiere Pro Auto-Save/Beta", "a file now");
    EXPECT_EQ(TrashRestore::restore(items).reasons.value(premiere("Beta/Beta-1.prproj")),
              premiere("Beta/Beta-1.prproj") + ": " + premiere("Beta") +
                  " is a file now, not a folder; it stays in the Trash");
    ASSERT_TRUE(QFile::remove(premiere("Beta")));
    ASSERT_TRUE(TrashRestore::restore(items).ok());
    // The window's list from before: another run has put them back meanwhile.
    const RestoreReport stale = TrashRestore::restore(items);
    EXPECT_EQ(stale.failed.size(), 2);
    EXPECT_TRUE(stale.refused.isEmpty());
    EXPECT_TRUE(stale.reasons.value(premiere("Beta/Beta-2.prproj")).contains("is gone"));
}

// Records edited by hand: read as trash-cli reads them, never as another file's name.
TEST(TrashRecord, AnEscapeThatIsNoneStaysAsWrittenAndANulMakesNoPath) {
    const auto path = [](const QByteArray& written) {
        const auto record = TrashRestore::parseRecord("[Trash Info]\r\nPath=" + written + "\r\n");
        return record ? record->originalPath : QString("(none)");
    };
    EXPECT_EQ(path("/a/100%.prproj"), "/a/100%.prproj");
    EXPECT_EQ(path("/a/%zz%2"), "/a/%zz%2");
    EXPECT_EQ(path("/a/caf%c3%A9%20b"), "/a/caf\u00e9 b");
    EXPECT_EQ(path("/a/nul%00.prproj"), "(none)");
}

// A location on a volume of its own, whose items go to the volume's Trash.
class RestoreFromAVolume : public Restore {
protected:
    void SetUp() override {
        Restore::SetUp();
        if (testing::Test::IsSkipped())
            return;
        disk = home().root() + "/disk";
        volume = std::make_unique<Tmpfs>(disk, "size=1m,nr_inodes=200");
        if (!volume->mounted())
            GTEST_SKIP() << volume->why().toStdString();
        location = disk + "/Adobe Premiere Pro Auto-Save";
        home().writeFile(location + "/Cut/Cut-1.prproj", "cut one");
        home().writeFile(location + "/Cut/Cut-2.prproj", "cut two");
        projects = AutosaveFolderScanner().projectsFromFolder(location).value_or(BMProjectList());
    }
    void TearDown() override {
        volume.reset();
        Restore::TearDown();
    }
    QString disk;
    QString location;
    std::unique_ptr<Tmpfs> volume;
};

TEST_F(RestoreFromAVolume, ItemsComeBackFromTheVolumesTrashAndAcrossVolumesFromTheHomeTrash) {
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Cut-1.prproj"})).ok());
    const QString volumeTrash = disk + "/.Trash-" + QString::number(::getuid());
    ASSERT_TRUE(QFileInfo::exists(volumeTrash + "/files/Cut-1.prproj"));
    // Where the volume's Trash cannot be made, the item is copied into the home Trash.
    ASSERT_TRUE(QFile::rename(volumeTrash, disk + "/old Trash"));
    home().writeFile(volumeTrash, "not a folder");
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Cut-2.prproj"})).ok());
    ASSERT_TRUE(QFile::remove(volumeTrash));
    ASSERT_TRUE(QFile::rename(disk + "/old Trash", volumeTrash));
    ASSERT_TRUE(QFileInfo::exists(home().home() + "/.local/share/Trash/files/Cut-2.prproj"));

    const QList<TrashedItem> items = TrashRestore::list({location});
    ASSERT_EQ(items.size(), 2);
    const RestoreReport report = TrashRestore::restore(items);
    EXPECT_TRUE(report.ok()) << report.reasons.values().join("; ").toStdString();
    EXPECT_EQ(readFile(location + "/Cut/Cut-1.prproj"), "cut one");
    EXPECT_EQ(readFile(location + "/Cut/Cut-2.prproj"), "cut two");
    EXPECT_TRUE(::trashRecords(volumeTrash).isEmpty());
    EXPECT_TRUE(trashRecords().isEmpty());
}

TEST_F(RestoreFromAVolume, AFailureNamesTheFileAndTheCauseAndLeavesTheItemWithItsRecord) {
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Cut-1.prproj"})).ok());
    const QString volumeTrash = disk + "/.Trash-" + QString::number(::getuid());
    // A link planted at the top of the volume is no Trash of the user's.
    const QString elsewhere = home().makeFolder("elsewhere");
    home().writeFile(elsewhere + "/files/Planted.prproj", "planted");
    home().writeFile(elsewhere + "/info/Planted.prproj.trashinfo",
                     "[Trash Info]\nPath=" + (location + "/Cut/Planted.prproj").toUtf8() +
                         "\nDeletionDate=2026-11-20T10:00:00\n");
    ASSERT_TRUE(QFile::link(elsewhere, disk + "/.Trash-4242"));
    home().platform().uid = 4242;
    EXPECT_EQ(originals(TrashRestore::list({location})), QStringList{location + "/Cut/Cut-1.prproj"});
    if (!volume->remountReadOnly())
        GTEST_SKIP() << "the kernel refuses to make the volume read-only";
    const RestoreReport report = TrashRestore::restore(TrashRestore::list({location}));
    EXPECT_EQ(report.failed, QStringList{location + "/Cut/Cut-1.prproj"});
    const QString reason = report.reasons.value(location + "/Cut/Cut-1.prproj");
    EXPECT_TRUE(reason.startsWith(location + "/Cut/Cut-1.prproj: ")) << reason.toStdString();
    EXPECT_TRUE(reason.contains("Read-only file system")) << reason.toStdString();
    EXPECT_EQ(::trashRecords(volumeTrash),
              (QMap<QString, QString>{{"Cut-1.prproj", location + "/Cut/Cut-1.prproj"}}));
}

TEST_F(RestoreFromAVolume, NothingIsMadeUnderTheMountPointOfAVolumeNoLongerMounted) {
    // Where the volume's Trash cannot be made, the item is copied into the home Trash.
    home().writeFile(disk + "/.Trash-" + QString::number(::getuid()), "not a folder");
    ASSERT_TRUE(AutosaveRemoval::removeChildren(autosaves({"Cut-1.prproj"})).ok());
    const QList<TrashedItem> items = TrashRestore::list({location});
    ASSERT_EQ(items.size(), 1);
    volume.reset();
    const RestoreReport report = TrashRestore::restore(items);
    EXPECT_EQ(report.failed, QStringList{location + "/Cut/Cut-1.prproj"});
    EXPECT_TRUE(report.reasons.value(location + "/Cut/Cut-1.prproj")
                    .contains("its location " + location + " is not there"));
    EXPECT_EQ(QDir(disk).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    EXPECT_EQ(trashRecords().size(), 1);
}
