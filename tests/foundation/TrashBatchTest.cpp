// Many items trashed in one batch, records written ahead and synced together, on two volumes.
#include "foundation/TrashBatch.h"

#include "FileOpsFixture.h"
#include "Programs.h"
#include "Tmpfs.h"
#include "foundation/BMFileManager.h"
#include "foundation/FileTree.h"

#include <QDir>

namespace {

QStringList names(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden,
                                  QDir::Name);
}

class TrashBatchTest : public FileOpsTest {
protected:
    // Files in several folders, the same names in each (so that names in the Trash collide).
    QStringList makeFiles(const QString& root, int folders, int each) {
        QStringList paths;
        for (int f = 0; f < folders; ++f) {
            for (int i = 0; i < each; ++i) {
                const QString path = QString("%1/Project %2/Cut %3.prproj").arg(root).arg(f).arg(i);
                paths << home().writeFile(path, path.toUtf8());
            }
        }
        return paths;
    }
};

TEST_F(TrashBatchTest, ManyItemsOnTwoVolumesGoWithRecordsThatTrashCliLists) {
    const QString volume = work("volume");
    Tmpfs tmpfs(volume, "size=8m");
    if (!tmpfs.mounted())
        GTEST_SKIP() << tmpfs.why().toStdString();
    const QStringList onDisk = makeFiles(work("disk"), 3, 60);
    const QStringList onVolume = makeFiles(volume, 2, 10);
    QStringList all = onDisk;
    // The two volumes take turns, as a catalogue of several locations would.
    for (qsizetype i = 0; i < onVolume.size(); ++i)
        all.insert(i * 9, onVolume[i]);
    {
        TrashBatch batch(all);
        for (const QString& path : all) {
            QString error;
            EXPECT_TRUE(BMFileManager::trashFile(path, false, &error)) << error.toStdString();
            EXPECT_FALSE(FileTree::exists(path));
        }
    }
    // Every item beside its record, and no record without an item.
    EXPECT_EQ(names(trash() + "/files").size(), onDisk.size());
    EXPECT_EQ(names(trash() + "/info").size(), onDisk.size());
    EXPECT_EQ(names(volume + "/.Trash-0/files").size(), onVolume.size());
    EXPECT_EQ(names(volume + "/.Trash-0/info").size(), onVolume.size());

    const ProgramRun list =
        runProgram("trash-list", {}, {QProcessEnvironment::systemEnvironment(), {}, 20000});
    ASSERT_TRUE(list.finished) << "trash-list did not finish";
    for (const QString& path : all)
        EXPECT_TRUE(list.out.contains(' ' + path + '\n')) << path.toStdString();
    // Each record names its own item: the contents say where each came from.
    for (const QString& name : names(trash() + "/files"))
        EXPECT_EQ(readFile(trash() + "/files/" + name), trashedFrom(trash(), name).toUtf8());
}

// Items after the failing one were never tried and keep no record written ahead for them.
TEST_F(TrashBatchTest, AnItemThatFailsMidBatchStaysAndLeavesNoRecordBehind) {
    if (!lockingWorks())
        GTEST_SKIP() << "the immutable flag cannot be set here";
    const QStringList paths = makeFiles(work("disk"), 1, 12);
    const QString stuck = paths[4];
    ASSERT_TRUE(home().platform().setImmutableFlag(stuck, true, nullptr));
    QString error;
    {
        TrashBatch batch(paths);
        for (const QString& path : paths) {
            if (!home().platform().moveToTrash(path, trash(), &error))
                break; // the command line stops at the first refusal
        }
    }
    home().platform().setImmutableFlag(stuck, false, nullptr);
    EXPECT_TRUE(error.contains("Operation not permitted")) << error.toStdString();
    EXPECT_EQ(readFile(stuck), stuck.toUtf8());
    for (qsizetype i = 0; i < paths.size(); ++i)
        EXPECT_EQ(FileTree::exists(paths[i]), i >= 4) << paths[i].toStdString();
    EXPECT_EQ(names(trash() + "/files").size(), 4);
    EXPECT_EQ(names(trash() + "/info").size(), 4);
}

} // namespace

// Someone removes the whole Trash while a long run goes on (to free room at once): the run
// makes it again instead of failing every item that is left.
TEST_F(TrashBatchTest, ATrashRemovedMidBatchIsMadeAgainForTheItemsLeft) {
    const QStringList paths = makeFiles(work("disk"), 1, 4);
    const QString away = work("old Trash");
    {
        TrashBatch batch(paths);
        QString error;
        ASSERT_TRUE(BMFileManager::trashFile(paths[0], false, &error)) << error.toStdString();
        ASSERT_TRUE(QDir().rename(trash(), away));
        for (const QString& path : paths.mid(1))
            EXPECT_TRUE(BMFileManager::trashFile(path, false, &error)) << error.toStdString();
    }
    EXPECT_EQ(names(trash() + "/files").size(), 3);
    EXPECT_EQ(names(trash() + "/info").size(), 3);
    for (const QString& name : names(trash() + "/files"))
        EXPECT_EQ(readFile(trash() + "/files/" + name), trashedFrom(trash(), name).toUtf8());
    EXPECT_EQ(names(away + "/files").size(), 1);
}
