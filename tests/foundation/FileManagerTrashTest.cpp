#include "FileOpsFixture.h"
#include "Programs.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

class Trash : public FileOpsTest {
protected:
    QString items() { return trash() + "/files"; }

    // Root working for "jo", whose Trash the desktop's own facility cannot reach.
    QString actForConsoleUser() {
        home().platform().uid = 0;
        home().platform().user = "root";
        const QString joHome = home().makeFolder("jo-home");
        home().platform().homes.insert("jo", joHome);
        BMAuthorization::installShared(std::make_unique<BMAuthorization>());
        return joHome;
    }
};

TEST_F(Trash, ItemsLandInTheHomeTrashWithRecordsThatRestoreThem) {
    // No data folder yet: the desktop library once fell back to the working directory.
    ASSERT_FALSE(QFileInfo::exists(qEnvironmentVariable("XDG_DATA_HOME")));
    const QString cwd = home().makeFolder("cwd"), previous = QDir::currentPath();
    const QString a = writeWork("Autosave Vault/Cut 1/Cut 1.fcp", "1"), b = writeWork("two/Cut 1.fcp", "2");
    QDir::setCurrent(cwd);
    EXPECT_TRUE(BMFileManager::trashFile(a));
    QDir::setCurrent(previous);
    EXPECT_TRUE(BMFileManager::trashFileWithTimeout(b, 2));
    EXPECT_FALSE(QFileInfo::exists(a) || QFileInfo::exists(b));
    EXPECT_TRUE(QDir(cwd).isEmpty()) << "nothing may land in the working directory";
    EXPECT_EQ(QFile::permissions(trash()) & (QFile::ReadOther | QFile::WriteOther | QFile::ReadGroup), 0);
    EXPECT_TRUE(BMFileManager::trashFile(work("missing.mov"))) << "nothing there is done";

    EXPECT_EQ(trashRecords(trash()), (QMap<QString, QString>{{"Cut 1.fcp", a}, {"Cut 1 2.fcp", b}}));
    EXPECT_EQ(readFile(items() + "/Cut 1.fcp") + readFile(items() + "/Cut 1 2.fcp"), "12");
    EXPECT_TRUE(m_pkexec.calls().isEmpty());

    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString locked = writeWork("locked.mov", "x");
    ASSERT_TRUE(BMFileManager::lockFile(locked));
    EXPECT_TRUE(BMFileManager::trashFile(locked, false));
    EXPECT_FALSE(QFileInfo::exists(locked));
    EXPECT_EQ(readFile(items() + "/locked.mov"), "x");
    EXPECT_FALSE(BMFileManager::isFileLocked(items() + "/locked.mov"));
}

TEST_F(Trash, RootWorkingForTheConsoleUserFillsThatUsersTrashAndRecordsOnlyWhatArrived) {
    const QString joHome = actForConsoleUser();
    const bool asRoot = ::getuid() == 0 && ::chown(QFile::encodeName(joHome).constData(), 65534, 65534) == 0;
    const QString a = writeWork("a.mov", "x");
    // Straight into jo's Trash, not root's, and without the privileged path.
    EXPECT_TRUE(BMFileManager::trashFile(a, false));
    EXPECT_FALSE(QFileInfo::exists(a));
    const QString joTrash = BMLocalPaths::trashDirectory();
    ASSERT_TRUE(joTrash.startsWith(joHome));
    EXPECT_EQ(readFile(joTrash + "/files/a.mov"), "x");
    EXPECT_EQ(trashedFrom(joTrash, "a.mov"), a);
    if (asRoot) {
        for (const QString& made : {joTrash, joTrash + "/files", joTrash + "/info/a.mov.trashinfo"})
            EXPECT_EQ(QFileInfo(made).ownerId(), 65534u) << made.toStdString();
    }
    EXPECT_TRUE(m_pkexec.calls().isEmpty());

    fakeTool(Tool::Mv, "exit 1"); // from now on every privileged move fails
    const QString b = writeWork("b.mov", "b");
    EXPECT_FALSE(BMAuthorization::sharedController().authTrashFile(b));
    EXPECT_EQ(readFile(b), "b");
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    // A locked folder lets nothing out, by either path.
    const QString fcp = writeWork("vault/a.fcp", "a");
    writeWork("vault/b.mov", "b");
    ASSERT_TRUE(BMFileManager::lockFile(work("vault")));
    EXPECT_FALSE(BMFileManager::trashDirectoryContents(work("vault"), true));
    EXPECT_EQ(QDir(work("vault")).entryList(QDir::Files).size(), 2);
    EXPECT_EQ(BMFileManager::trashFilesOfType("fcp", work("vault")), QStringList{fcp}); // tried, though
    EXPECT_TRUE(QFileInfo::exists(fcp));
    // No record may remain for an item that did not arrive.
    EXPECT_EQ(QDir(joTrash + "/info").entryList(QDir::Files), QStringList{"a.mov.trashinfo"});
    BMFileManager::unlockFile(work("vault"));
}

TEST_F(Trash, ByTypeMatchesAnyCaseAndDescendsIntoPackagesByNameOnlyTheExactNameAndContentsLeaveTheFolder) {
    for (const char* name : {"x.fcp", "y.FCP", "keep.mov", "Lib.fcpbundle/z.fcp", "deep/er/w.Fcp",
                             ".DS_Store", "sub/.DS_Store", "sub/.ds_store"})
        writeWork(QString("v/") + name, "x");
    const QString v = work("v");
    QStringList trashed = BMFileManager::trashFilesOfType("FCP", v);
    trashed.sort();
    EXPECT_EQ(trashed,
              (QStringList{v + "/Lib.fcpbundle/z.fcp", v + "/deep/er/w.Fcp", v + "/x.fcp", v + "/y.FCP"}));
    EXPECT_TRUE(QFileInfo(v + "/Lib.fcpbundle").isDir());
    EXPECT_TRUE(QFileInfo::exists(v + "/keep.mov"));
    EXPECT_FALSE(QFileInfo::exists(v + "/x.fcp"));

    trashed = BMFileManager::trashFilesNamed(".DS_Store", v);
    trashed.sort();
    EXPECT_EQ(trashed, (QStringList{v + "/.DS_Store", v + "/sub/.DS_Store"}));
    EXPECT_TRUE(QFileInfo::exists(v + "/sub/.ds_store"));

    EXPECT_TRUE(BMFileManager::trashDirectoryContents(v));
    EXPECT_TRUE(QFileInfo(v).isDir() && QDir(v).isEmpty());
    EXPECT_EQ(readFile(items() + "/sub/.ds_store"), "x");
    EXPECT_TRUE(BMFileManager::trashDirectoryContents(v));
}

} // namespace
