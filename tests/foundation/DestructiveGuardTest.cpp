// The real-path guard of destructive steps, on real folders and symbolic links.
#include "foundation/DestructiveGuard.h"

#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// An autosave location in the home holding one project, and links inside it that lead to
// the root, the home, the folder above the home and a folder outside the location.
class Guard : public FileOpsTest {
protected:
    void SetUp() override {
        FileOpsTest::SetUp();
        location = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
        autosave = home().writeHomeFile("Documents/Adobe Premiere Pro Auto-Save/Edit/Edit-1.prproj");
        outside = home().writeFile("Elsewhere/Edit-1.prproj");
        for (const char* folder : {"Desktop", "Music", "Tunes"})
            QDir().mkpath(home().home() + '/' + folder);
        ASSERT_TRUE(QFile::link("/", location + "/root"));
        ASSERT_TRUE(QFile::link(home().home(), location + "/home"));
        ASSERT_TRUE(QFile::link(home().home() + "/..", location + "/up"));
        ASSERT_TRUE(QFile::link(home().root() + "/Elsewhere", location + "/out"));
    }
    QString location;
    QString autosave;
    QString outside;
};

TEST_F(Guard, TheRealPathIsTheParentResolvedWithTheItemsOwnName) {
    EXPECT_EQ(DestructiveGuard::canonicalPath(location + "/out/Edit-1.prproj"), outside);
    // A link is itself the item: it is what would move, its target stays.
    EXPECT_EQ(DestructiveGuard::canonicalPath(location + "/home"), location + "/home");
    // A trailing "/", "." and ".." lead to the folder itself.
    EXPECT_EQ(DestructiveGuard::canonicalPath(location + "/home/"), home().home());
    EXPECT_EQ(DestructiveGuard::canonicalPath(location + "/home/."), home().home());
    EXPECT_EQ(DestructiveGuard::canonicalPath(location + "/out/.."), home().root());
    QString error;
    EXPECT_EQ(DestructiveGuard::canonicalPath(location + "/missing/file", &error), "");
    EXPECT_EQ(error, "No such file or directory");
}

TEST_F(Guard, PathsLeadingToProtectedFoldersAreRefusedWithOrWithoutALocation) {
    const DestructiveGuard anywhere;
    const DestructiveGuard inLocation(location);
    for (const DestructiveGuard* guard : {&anywhere, &inLocation}) {
        EXPECT_EQ(guard->refusal(location + "/root/usr"),
                  location + "/root/usr (really /usr) is a system folder or lies in one");
        EXPECT_NE(guard->refusal(location + "/root/etc/passwd"), "");
        EXPECT_EQ(guard->refusal(location + "/home/"),
                  location + "/home/ (really " + home().home() + ") is the home folder");
        EXPECT_EQ(guard->refusal(location + "/home/Documents"),
                  location + "/home/Documents (really " + home().home() +
                      "/Documents) is a standard folder of the home");
        EXPECT_NE(guard->refusal(location + "/home/Desktop"), "");
        EXPECT_NE(guard->refusal(location + "/home/Music"), "");
        EXPECT_EQ(guard->refusal(location + "/up/"),
                  location + "/up/ (really " + home().root() + "/Users) holds the home folder");
        EXPECT_EQ(guard->refusal(location + "/missing/file"),
                  location + "/missing/file: the folder that holds it cannot be resolved (No such file or "
                             "directory)");
    }
    // Not a standard folder: only the location rule keeps it.
    EXPECT_EQ(anywhere.refusal(location + "/home/Tunes"), "");
    EXPECT_EQ(anywhere.refusal(location + "/out/Edit-1.prproj"), "");
}

TEST_F(Guard, XdgUserFoldersAreStandardFoldersWhereverTheyAre) {
    home().writeHomeFile(".config/user-dirs.dirs", "XDG_MUSIC_DIR=\"$HOME/Tunes\"\n");
    EXPECT_EQ(DestructiveGuard().refusal(location + "/home/Tunes"),
              location + "/home/Tunes (really " + home().home() + "/Tunes) is a standard folder of the home");
}

TEST_F(Guard, OnlyWhatLiesStrictlyInsideTheLocationPasses) {
    const DestructiveGuard guard(location);
    EXPECT_TRUE(guard.permits(autosave));
    EXPECT_TRUE(guard.permits(location + "/Edit"));
    EXPECT_TRUE(guard.permits(location + "/home"));
    // Spelled through the link, the real place is the home itself.
    EXPECT_TRUE(guard.permits(location + "/up/jö ed/Documents/Adobe Premiere Pro Auto-Save/Edit"));
    QString reason;
    EXPECT_FALSE(guard.permits(location + "/out/Edit-1.prproj", &reason));
    EXPECT_EQ(reason, location + "/out/Edit-1.prproj (really " + outside +
                          ") lies outside its autosave location " + location);
    EXPECT_EQ(guard.refusal(location), location + " lies outside its autosave location " + location);
    EXPECT_EQ(guard.refusal(location + "/home/Tunes"), location + "/home/Tunes (really " + home().home() +
                                                           "/Tunes) lies outside its autosave location " +
                                                           location);
    EXPECT_EQ(DestructiveGuard(home().home() + "/Gone").refusal(autosave),
              autosave + ": its autosave location " + home().home() +
                  "/Gone cannot be resolved (No such file or directory)");
}

TEST_F(Guard, TheFileManagerRefusesToTrashRemoveOrMoveThroughALinkToAStandardFolder) {
    const QString keep = home().writeHomeFile("Desktop/keep.txt");
    const QString documents = home().home() + "/Documents";
    EXPECT_FALSE(BMFileManager::trashFile(location + "/home/Desktop"));
    EXPECT_FALSE(BMFileManager::removeFile(location + "/home/Desktop"));
    EXPECT_FALSE(BMFileManager::moveFile(location + "/home/Documents", home().root() + "/Moved"));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(location + "/home/Music"));
    // Administrator rights see through no link either, even where they are granted.
    grantingPkexec();
    BMAuthorization& authorization = BMAuthorization::sharedController();
    EXPECT_FALSE(authorization.authRemoveFile(location + "/home/Desktop"));
    EXPECT_FALSE(authorization.authTrashFile(location + "/home/Desktop"));
    EXPECT_FALSE(authorization.authMoveFile(location + "/home/Documents", home().root() + "/Moved"));
    EXPECT_EQ(readFile(keep), "Desktop/keep.txt");
    EXPECT_TRUE(QFileInfo(documents).isDir());
    EXPECT_TRUE(QFileInfo(home().home() + "/Music").isDir());
    EXPECT_FALSE(QFileInfo::exists(home().root() + "/Moved"));
    EXPECT_TRUE(QDir(trash() + "/files").isEmpty());
    EXPECT_TRUE(logText().contains("Unable to move to the Trash: " + location + "/home/Desktop (really " +
                                   home().home() + "/Desktop) is a standard folder of the home."));
    // The link itself is no standard folder: it goes, and what it leads to stays.
    EXPECT_TRUE(BMFileManager::trashFile(location + "/home"));
    EXPECT_FALSE(QFileInfo(location + "/home").isSymLink());
    EXPECT_EQ(readFile(keep), "Desktop/keep.txt");
}

TEST_F(Guard, AHomeInsideASystemFolderKeepsItsOwnFilesAndNothingAroundIt) {
    QTemporaryDir var("/var/cache/vestry-guard-XXXXXX");
    if (!var.isValid())
        GTEST_SKIP() << "cannot make a folder under /var/cache";
    const QString homeInVar = var.path() + "/home";
    const QString file = homeInVar + "/Documents/Adobe Premiere Pro Auto-Save/Edit/Edit-1.prproj";
    ASSERT_TRUE(QDir().mkpath(QFileInfo(file).path()));
    ASSERT_TRUE(QFile(file).open(QIODevice::WriteOnly));
    const QByteArray previous = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(homeInVar));
    const DestructiveGuard guard;
    qputenv("HOME", previous);
    EXPECT_EQ(guard.refusal(file), "");
    EXPECT_EQ(guard.refusal(var.path() + "/other"), var.path() + "/other is a system folder or lies in one");
}

TEST_F(Guard, TrashingByTypeNeverDescendsIntoALinkedFolder) {
    const QString bulk = home().makeFolder("Bulk");
    const QString own = home().writeFile("Bulk/Own-1.prproj");
    ASSERT_TRUE(QFile::link(home().root() + "/Elsewhere", bulk + "/far"));
    EXPECT_EQ(BMFileManager::trashFilesOfType("prproj", bulk), QStringList{own});
    EXPECT_FALSE(QFileInfo::exists(own));
    EXPECT_TRUE(QFileInfo::exists(outside));
}

} // namespace
