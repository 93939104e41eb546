#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

// Restores the working directory when it goes.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const QString& path) : m_previous(QDir::currentPath()) {
        QDir::setCurrent(path);
    }
    ~WorkingDirectory() { QDir::setCurrent(m_previous); }

private:
    QString m_previous;
};

class Trash : public FileOpsTest {
protected:
    QString items() { return trash() + QStringLiteral("/files"); }
    QString record(const QString& name) {
        return trash() + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo");
    }

    // Root working for "jo", whose Trash the desktop's own facility cannot reach.
    QString actForConsoleUser() {
        home().platform().uid = 0;
        home().platform().user = QStringLiteral("root");
        const QString joHome = home().makeFolder(QStringLiteral("jo-home"));
        home().platform().homes.insert(QStringLiteral("jo"), joHome);
        BMAuthorization::installShared(std::make_unique<BMAuthorization>());
        return joHome;
    }
};

TEST_F(Trash, ItemLandsInTheHomeTrashWithARecordThatRestoresIt) {
    // No data folder yet: the case where the desktop library once fell back to the working
    // directory.
    const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    ASSERT_FALSE(QFileInfo::exists(dataHome));
    const QString cwd = home().makeFolder(QStringLiteral("cwd"));
    const QString a = writeWork(QStringLiteral("Autosave Vault/Cut 1/Cut 1_12-01-01_1200.fcp"), "autosave");
    {
        WorkingDirectory inside(cwd);
        EXPECT_TRUE(BMFileManager::trashFile(a));
    }
    EXPECT_FALSE(QFileInfo::exists(a));
    EXPECT_TRUE(QDir(cwd).isEmpty()) << "nothing may land in the working directory";
    const QString inTrash = items() + QStringLiteral("/Cut 1_12-01-01_1200.fcp");
    EXPECT_EQ(readFile(inTrash), "autosave");
    EXPECT_EQ(QFile::permissions(trash()) & (QFile::ReadOther | QFile::WriteOther | QFile::ReadGroup), 0);

    // Restoring is what a file manager does with the record: back to the path it names.
    const QString original = LinuxPlatform::originalPathFromTrashRecord(
        readFile(record(QStringLiteral("Cut 1_12-01-01_1200.fcp"))));
    EXPECT_EQ(original, a);
    ASSERT_TRUE(QFile::rename(inTrash, original));
    EXPECT_EQ(readFile(a), "autosave");
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

TEST_F(Trash, TwoItemsOfOneNameKeepTwoRecords) {
    const QString a = writeWork(QStringLiteral("one/Project.prproj"), "1");
    const QString b = writeWork(QStringLiteral("two/Project.prproj"), "2");
    EXPECT_TRUE(BMFileManager::trashFile(a));
    EXPECT_TRUE(BMFileManager::trashFile(b));
    QStringList originals;
    for (const QString& info : QDir(trash() + QStringLiteral("/info")).entryList(QDir::Files))
        originals << LinuxPlatform::originalPathFromTrashRecord(
            readFile(trash() + QStringLiteral("/info/") + info));
    originals.sort();
    EXPECT_EQ(originals, (QStringList{a, b}));
    EXPECT_EQ(QDir(items()).entryList(QDir::Files).size(), 2);
}

TEST_F(Trash, NothingThereIsDone) {
    EXPECT_TRUE(BMFileManager::trashFile(work(QStringLiteral("missing.mov"))));
    EXPECT_TRUE(BMFileManager::trashFileWithTimeout(work(QStringLiteral("missing.mov")), 1));
    EXPECT_FALSE(QFileInfo::exists(items() + QStringLiteral("/missing.mov")));
}

TEST_F(Trash, TimeoutFormWaitsForTheItemToGo) {
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    EXPECT_TRUE(BMFileManager::trashFileWithTimeout(a, 2));
    EXPECT_FALSE(QFileInfo::exists(a));
}

TEST_F(Trash, ALockedItemIsUnlockedAndTrashed) {
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString a = writeWork(QStringLiteral("locked.mov"), "x");
    ASSERT_TRUE(BMFileManager::lockFile(a));
    EXPECT_TRUE(BMFileManager::isFileLocked(a));
    EXPECT_TRUE(BMFileManager::trashFile(a, false));
    EXPECT_FALSE(QFileInfo::exists(a));
    EXPECT_FALSE(BMFileManager::isFileLocked(items() + QStringLiteral("/locked.mov")));
}

TEST_F(Trash, ProtectedFoldersAreRefusedAndUntouched) {
    grantingPkexec();
    const QString desktop = BMLocalPaths::desktopDirectory();
    QDir().mkpath(desktop);
    const QString keep =
        home().writeFile(desktop.mid(home().root().size() + 1) + QStringLiteral("/keep.txt"), "keep");
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::trashFile(home().home()));
    EXPECT_FALSE(BMFileManager::trashFile(desktop));
    EXPECT_FALSE(BMFileManager::removeFile(desktop));
    EXPECT_FALSE(BMFileManager::removeFile(home().home() + QStringLiteral("/Desktop/..")));
    EXPECT_FALSE(BMFileManager::moveFile(desktop, work(QStringLiteral("Desktop"))));
    EXPECT_EQ(readFile(keep), "keep");
    EXPECT_TRUE(console.lines().contains(
        QStringLiteral("Unable to trash path %1 because it is a system directory.").arg(desktop)));
    EXPECT_TRUE(console.lines().contains(
        QStringLiteral("Unable to delete path %1 because it is a system directory.").arg(desktop)));
    EXPECT_TRUE(console.lines().contains(
        QStringLiteral("Unable to move path %1 because it is a system directory.").arg(desktop)));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

TEST_F(Trash, RootWorkingForTheConsoleUserRetriesOnlyWhenAllowed) {
    const QString joHome = actForConsoleUser();
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    // The desktop's facility would fill root's own Trash: it is not used, and without the
    // privileged path nothing happens.
    EXPECT_FALSE(BMFileManager::trashFile(a, false));
    EXPECT_EQ(readFile(a), "x");
    EXPECT_TRUE(BMFileManager::trashFile(a, true));
    EXPECT_FALSE(QFileInfo::exists(a));
    const QString joTrash = BMLocalPaths::trashDirectory();
    ASSERT_TRUE(joTrash.startsWith(joHome));
    EXPECT_EQ(readFile(joTrash + QStringLiteral("/files/a.mov")), "x");
    EXPECT_EQ(LinuxPlatform::originalPathFromTrashRecord(
                  readFile(joTrash + QStringLiteral("/info/a.mov.trashinfo"))),
              a);
}

TEST_F(Trash, DirectoryContentsGoAndTheFolderStays) {
    const QString vault = home().makeFolder(QStringLiteral("work/vault"));
    EXPECT_TRUE(BMFileManager::trashDirectoryContents(vault));
    EXPECT_TRUE(QFileInfo(vault).isDir());
    writeWork(QStringLiteral("vault/a.mov"), "a");
    writeWork(QStringLiteral("vault/sub/b.mov"), "b");
    EXPECT_TRUE(BMFileManager::trashDirectoryContents(vault));
    EXPECT_TRUE(QFileInfo(vault).isDir());
    EXPECT_TRUE(QDir(vault).isEmpty());
    EXPECT_EQ(readFile(items() + QStringLiteral("/sub/b.mov")), "b");
}

TEST_F(Trash, DirectoryContentsReportAFailureAndCarryOn) {
    actForConsoleUser();
    // mv that does nothing: every privileged move fails.
    fakeTool(Tool::Mv, RecordingTool::exiting(1));
    const QString vault = home().makeFolder(QStringLiteral("work/vault"));
    writeWork(QStringLiteral("vault/a.mov"), "a");
    writeWork(QStringLiteral("vault/b.mov"), "b");
    EXPECT_FALSE(BMFileManager::trashDirectoryContents(vault, true));
    EXPECT_EQ(QDir(vault).entryList(QDir::Files).size(), 2);
    // No record may remain for an item that did not arrive.
    EXPECT_TRUE(
        QDir(BMLocalPaths::trashDirectory() + QStringLiteral("/info")).entryList(QDir::Files).isEmpty());
}

TEST_F(Trash, ByTypeMatchesAnyCaseAndDescendsIntoPackages) {
    writeWork(QStringLiteral("v/x.fcp"), "1");
    writeWork(QStringLiteral("v/y.FCP"), "2");
    writeWork(QStringLiteral("v/keep.mov"), "3");
    writeWork(QStringLiteral("v/Lib.fcpbundle/z.fcp"), "4");
    writeWork(QStringLiteral("v/deep/er/w.Fcp"), "5");
    const QString v = work(QStringLiteral("v"));
    QStringList trashed = BMFileManager::trashFilesOfType(QStringLiteral("FCP"), v);
    trashed.sort();
    EXPECT_EQ(trashed,
              (QStringList{v + QStringLiteral("/Lib.fcpbundle/z.fcp"), v + QStringLiteral("/deep/er/w.Fcp"),
                           v + QStringLiteral("/x.fcp"), v + QStringLiteral("/y.FCP")}));
    EXPECT_TRUE(QFileInfo(v + QStringLiteral("/Lib.fcpbundle")).isDir());
    EXPECT_TRUE(QFileInfo::exists(v + QStringLiteral("/keep.mov")));
    EXPECT_FALSE(QFileInfo::exists(v + QStringLiteral("/x.fcp")));
}

TEST_F(Trash, ByTypeListsItemsEvenWhenTheTrashRefused) {
    actForConsoleUser();
    fakeTool(Tool::Mv, RecordingTool::exiting(1));
    const QString a = writeWork(QStringLiteral("v/x.fcp"), "1");
    EXPECT_EQ(BMFileManager::trashFilesOfType(QStringLiteral("fcp"), work(QStringLiteral("v"))),
              QStringList{a});
    EXPECT_TRUE(QFileInfo::exists(a));
}

TEST_F(Trash, ByNameIsCaseSensitive) {
    writeWork(QStringLiteral("v/.DS_Store"), "1");
    writeWork(QStringLiteral("v/sub/.DS_Store"), "2");
    writeWork(QStringLiteral("v/sub/.ds_store"), "3");
    const QString v = work(QStringLiteral("v"));
    QStringList trashed = BMFileManager::trashFilesNamed(QStringLiteral(".DS_Store"), v);
    trashed.sort();
    EXPECT_EQ(trashed, (QStringList{v + QStringLiteral("/.DS_Store"), v + QStringLiteral("/sub/.DS_Store")}));
    EXPECT_TRUE(QFileInfo::exists(v + QStringLiteral("/sub/.ds_store")));
}

} // namespace
