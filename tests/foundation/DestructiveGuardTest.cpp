#include "foundation/DestructiveGuard.h"

#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"
#include "foundation/TrashBatch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

// An autosave location with links to the root, the home, the folder above it and one outside.
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
    QString really(const QString& path, const QString& real) const {
        return location + path + " (really " + real + ")";
    }
    QString location, autosave, outside;
};

TEST_F(Guard, PathsLeadingToProtectedFoldersAreRefusedAndWithALocationOnlyWhatReallyLiesInsidePasses) {
    const DestructiveGuard anywhere, inLocation(location);
    for (const DestructiveGuard* guard : {&anywhere, &inLocation}) {
        EXPECT_EQ(guard->refusal(location + "/root/usr"),
                  really("/root/usr", "/usr") + " is a system folder or lies in one");
        EXPECT_EQ(guard->refusal(location + "/home/"),
                  really("/home/", home().home()) + " is the home folder");
        EXPECT_EQ(guard->refusal(location + "/home/."),
                  really("/home/.", home().home()) + " is the home folder");
        EXPECT_EQ(guard->refusal(location + "/home/Documents"),
                  really("/home/Documents", home().home() + "/Documents") +
                      " is a standard folder of the home");
        EXPECT_EQ(guard->refusal(location + "/up/"),
                  really("/up/", home().root() + "/Users") + " holds the home folder");
        EXPECT_EQ(guard->refusal(location + "/gone/x"),
                  location +
                      "/gone/x: the folder that holds it cannot be resolved (No such file or directory)");
    }
    // Only the location rule keeps these.
    EXPECT_EQ(anywhere.refusal(location + "/home/Tunes"), "");
    EXPECT_EQ(anywhere.refusal(location + "/out/Edit-1.prproj"), "");
    home().writeHomeFile(".config/user-dirs.dirs", "XDG_MUSIC_DIR=\"$HOME/Tunes\"\n");
    EXPECT_EQ(DestructiveGuard().refusal(location + "/home/Tunes"),
              really("/home/Tunes", home().home() + "/Tunes") + " is a standard folder of the home");

    // With a location, only what really lies inside it passes.
    const DestructiveGuard guard(location);
    EXPECT_TRUE(guard.permits(autosave));
    EXPECT_TRUE(guard.permits(location + "/home")); // the link itself, not what it leads to
    EXPECT_TRUE(guard.permits(location + "/up/jö ed/Documents/Adobe Premiere Pro Auto-Save/Edit"));
    EXPECT_EQ(guard.refusal(location + "/out/Edit-1.prproj"),
              really("/out/Edit-1.prproj", outside) + " lies outside its autosave location " + location);
    EXPECT_EQ(guard.refusal(location), location + " lies outside its autosave location " + location);
    EXPECT_EQ(DestructiveGuard(home().home() + "/Gone").refusal(autosave),
              autosave + ": its autosave location " + home().home() +
                  "/Gone cannot be resolved (No such file or directory)");
}

TEST_F(Guard, AHomeInsideASystemFolderKeepsItsOwnFilesAndNothingAroundIt) {
    QTemporaryDir var("/var/cache/vestry-guard-XXXXXX");
    if (!var.isValid())
        GTEST_SKIP() << "cannot make a folder under /var/cache";
    const QString file = var.path() + "/home/Edit-1.prproj";
    ASSERT_TRUE(QDir().mkpath(var.path() + "/home") && QFile(file).open(QIODevice::WriteOnly));
    const QByteArray previous = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(var.path() + "/home"));
    const DestructiveGuard guard;
    qputenv("HOME", previous);
    EXPECT_EQ(guard.refusal(file), "");
    EXPECT_EQ(guard.refusal(var.path() + "/other"), var.path() + "/other is a system folder or lies in one");
}

TEST_F(Guard, FileOperationsRefuseWhatALinkLeadsToAndNeverDescendIntoALinkedFolder) {
    const QString keep = home().writeHomeFile("Desktop/keep.txt");
    EXPECT_FALSE(BMFileManager::trashFile(location + "/home/Desktop"));
    EXPECT_FALSE(BMFileManager::removeFile(location + "/home/Desktop"));
    EXPECT_FALSE(BMFileManager::moveFile(location + "/home/Documents", home().root() + "/Moved"));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(location + "/home/Music"));
    // Administrator rights see through no link either, even where they are granted.
    grantingPkexec();
    BMAuthorization& authorization = BMAuthorization::sharedController();
    EXPECT_FALSE(authorization.authRemoveFile(location + "/home/Desktop"));
    EXPECT_FALSE(authorization.authMoveFile(location + "/home/Documents", home().root() + "/Moved"));
    EXPECT_EQ(readFile(keep), "Desktop/keep.txt");
    EXPECT_TRUE(QFileInfo(home().home() + "/Documents").isDir() &&
                QFileInfo(home().home() + "/Music").isDir());
    EXPECT_FALSE(QFileInfo::exists(home().root() + "/Moved"));
    EXPECT_TRUE(logText().contains(
        "Unable to move to the Trash: " + really("/home/Desktop", home().home() + "/Desktop") +
        " is a standard folder of the home."));

    const QString own = home().writeFile("Bulk/Own-1.prproj");
    ASSERT_TRUE(QFile::link(home().root() + "/Elsewhere", home().root() + "/Bulk/far"));
    EXPECT_EQ(BMFileManager::trashFilesOfType("prproj", home().root() + "/Bulk"), QStringList{own});
    EXPECT_TRUE(QFileInfo::exists(outside));
    // The link itself is no standard folder: it goes, and what it leads to stays.
    EXPECT_TRUE(BMFileManager::trashFile(location + "/home"));
    EXPECT_EQ(readFile(keep), "Desktop/keep.txt");
}

} // namespace

// A batch takes each location's real path once. A location swapped for a link while the run
// goes on then leads every later item out of it, and they are refused, not followed.
TEST_F(Guard, ALocationSwappedForALinkDuringABatchRefusesWhatLiesBehindTheLink) {
    const QString item = location + "/Edit/Edit-1.prproj";
    TrashBatch batch({item});
    EXPECT_EQ(DestructiveGuard(location).refusal(item), "");
    const QString elsewhere = home().root() + "/Elsewhere";
    home().writeFile("Elsewhere/Edit/Edit-1.prproj");
    ASSERT_TRUE(QDir().rename(location, location + " (moved)"));
    ASSERT_TRUE(QFile::link(elsewhere, location));
    EXPECT_EQ(DestructiveGuard(location).refusal(item),
              item + " (really " + elsewhere + "/Edit/Edit-1.prproj) lies outside its autosave location " +
                  location);
}
