#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/FileTree.h"
#include "foundation/MainThread.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>

#include <atomic>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace {

using Ops = FileOpsTest;

const QString kMkdir = QStringLiteral("/bin/mkdir");

// ---- Delete -----------------------------------------------------------------------------

TEST_F(Ops, RemoveDeletesFilesAndWholeFoldersWithoutFollowingLinks) {
    const QString file = writeWork(QStringLiteral("a.txt"), "x");
    writeWork(QStringLiteral("tree/b/c.txt"), "y");
    ASSERT_TRUE(QFile::link(QStringLiteral("/"), work(QStringLiteral("tree/link-to-root"))));
    EXPECT_TRUE(BMFileManager::removeFile(file));
    EXPECT_TRUE(BMFileManager::removeFileWithTimeout(work(QStringLiteral("tree")), 2));
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_FALSE(FileTree::exists(work(QStringLiteral("tree"))));
    EXPECT_TRUE(QFileInfo::exists(QStringLiteral("/bin")));
    EXPECT_TRUE(BMFileManager::removeFile(work(QStringLiteral("never-was")))); // nothing there is done
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

TEST_F(Ops, RemoveUnlocksALockedFileAndRetriesPrivilegedOnlyWhenAllowed) {
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString file = writeWork(QStringLiteral("locked.fcp"), "x");
    ASSERT_TRUE(BMFileManager::lockFile(file));
    EXPECT_TRUE(BMFileManager::removeFile(file, false));
    EXPECT_FALSE(QFileInfo::exists(file));

    // A locked file inside a folder: the folder cannot go.
    const QString inner = writeWork(QStringLiteral("held/inner.fcp"), "x");
    ASSERT_TRUE(BMFileManager::lockFile(inner));
    EXPECT_FALSE(BMFileManager::removeFile(work(QStringLiteral("held")), false));
    EXPECT_TRUE(logText().contains(QStringLiteral("Error removing file: ")));
    EXPECT_TRUE(logText().contains(QStringLiteral(". Authorizing...")));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_FALSE(BMFileManager::removeFile(work(QStringLiteral("held")))); // the stand-in refuses the right
    EXPECT_EQ(m_pkexec.calls(), QList<QStringList>{{QStringLiteral("/bin/true")}});
    EXPECT_EQ(readFile(inner), "x");
}

// ---- The empty-folder rule --------------------------------------------------------------

struct EmptyRow {
    const char* name;
    QStringList files;   // relative to the folder
    QStringList folders; // relative to the folder
    bool empty;
};

class EmptyFolder : public FileOpsTest, public ::testing::WithParamInterface<EmptyRow> {};

TEST_P(EmptyFolder, HoldsOnlyFinderFilesAndEmptyFolders) {
    const QString folder = home().makeFolder(QStringLiteral("work/f"));
    for (const QString& sub : GetParam().folders)
        QDir().mkpath(folder + QLatin1Char('/') + sub);
    for (const QString& file : GetParam().files)
        writeWork(QStringLiteral("f/") + file, "x");
    EXPECT_EQ(BMFileManager::isFolderEmpty(folder), GetParam().empty);
    EXPECT_EQ(BMFileManager::removeFolderIfEmpty(folder), GetParam().empty);
    EXPECT_EQ(QFileInfo::exists(folder), !GetParam().empty);
}

INSTANTIATE_TEST_SUITE_P(Rows, EmptyFolder,
                         ::testing::Values(EmptyRow{"Nothing", {}, {}, true},
                                           EmptyRow{"OnlyDSStore", {".DS_Store"}, {}, true},
                                           EmptyRow{"OnlyIcon", {"Icon\r"}, {}, true},
                                           EmptyRow{"DSStoreAndFile", {".DS_Store", "a"}, {}, false},
                                           EmptyRow{"NestedEmptyFoldersAndFinderFiles",
                                                    {"a/.DS_Store", "a/b/Icon\r", "Icon\r"},
                                                    {"a/b/c"},
                                                    true},
                                           EmptyRow{"FileDeepDown", {"a/b/c/clip.mov"}, {}, false},
                                           EmptyRow{"IconWithoutReturnIsAFile", {"Icon"}, {}, false},
                                           EmptyRow{"HiddenFile", {".hidden"}, {}, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(Ops, RemovingAnEmptyFolderNeverTakesAFileOrALink) {
    // What cannot be listed counts as an "empty folder", a file too, yet it must survive.
    EXPECT_TRUE(BMFileManager::isFolderEmpty(work(QStringLiteral("missing"))));
    const QString file = writeWork(QStringLiteral("Edit-1.prproj"), "project");
    EXPECT_TRUE(BMFileManager::isFolderEmpty(file));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(file));
    EXPECT_EQ(readFile(file), "project");
    // A link to an empty folder is not that folder.
    const QString link = work(QStringLiteral("link"));
    ASSERT_TRUE(QFile::link(home().makeFolder(QStringLiteral("work/target")), link));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(link));
    EXPECT_TRUE(QFileInfo(link).isSymLink());
}

TEST_F(Ops, RemovingAnEmptyFolderNeverTakesWhatCannotBeRead) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every folder: the unreadable case needs an ordinary user";
    const QString folder = home().makeFolder(QStringLiteral("work/closed/inner"));
    writeWork(QStringLiteral("closed/inner/clip.mov"), "x");
    ASSERT_TRUE(QFile::setPermissions(folder, QFileDevice::WriteOwner));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(work(QStringLiteral("closed"))));
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(readFile(folder + QStringLiteral("/clip.mov")), "x");
}

// ---- Create -----------------------------------------------------------------------------

TEST_F(Ops, CreateOnAnUnmountedVolumeFailsAtOnce) {
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::createDirectory(QStringLiteral("/Volumes/Missing/x")));
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("mountpoint: /Volumes/Missing"),
                           QStringLiteral("Unable to create directory. Drive is not mounted.")}));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_FALSE(logText().contains(QStringLiteral("Error creating folder")));
}

TEST_F(Ops, CreateMakesIntermediateFoldersAndAnnouncesAuthorizingWhateverTheFlag) {
    const QString nested = work(QStringLiteral("a/b/c"));
    EXPECT_TRUE(BMFileManager::createDirectoryWithTimeout(nested, 2));
    EXPECT_TRUE(BMFileManager::createDirectory(nested)); // already there
    EXPECT_TRUE(QFileInfo(nested).isDir());

    const QString underFile = writeWork(QStringLiteral("plain-file"), "x") + QStringLiteral("/sub");
    EXPECT_FALSE(BMFileManager::createDirectory(underFile, false));
    EXPECT_TRUE(logText().contains(QStringLiteral("Error creating folder: ")));
    EXPECT_TRUE(logText().contains(QStringLiteral(". Authorizing...")));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    grantingPkexec();
    EXPECT_FALSE(BMFileManager::createDirectory(underFile, true));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{kMkdir, QStringLiteral("-p"), underFile}));
}

TEST_F(Ops, DirectoryStructureMirrorsTheWholeSourcePath) {
    const QString folder = home().makeFolder(QStringLiteral("work/src/Cut"));
    const QString file = writeWork(QStringLiteral("src/Cut/a.fcp"), "x");
    const QString package = home().makeFolder(QStringLiteral("work/src/Lib.fcpbundle"));
    const QString destination = home().makeFolder(QStringLiteral("work/dest"));
    EXPECT_EQ(BMFileManager::createDirectoryStructure(folder, destination), destination + folder);
    EXPECT_TRUE(QFileInfo(destination + folder).isDir());
    EXPECT_EQ(BMFileManager::createDirectoryStructure(file, destination), destination + folder);
    EXPECT_EQ(BMFileManager::createDirectoryStructure(package, destination),
              destination + work(QStringLiteral("src")));
}

TEST_F(Ops, AnEmptyFileIsMovedIntoPlaceButNeverOverAnExistingItem) {
    const QString path = work(QStringLiteral("marker"));
    EXPECT_TRUE(BMFileManager::createEmptyFile(path));
    EXPECT_TRUE(QFileInfo(path).isFile());
    EXPECT_EQ(QFileInfo(path).size(), 0);
    QFile::remove(path);
    writeWork(QStringLiteral("marker"), "keep");
    EXPECT_FALSE(BMFileManager::createEmptyFile(path));
    EXPECT_EQ(readFile(path), "keep");
    EXPECT_TRUE(QDir(BMLocalPaths::tempDirectory()).isEmpty()); // no temporary file stays behind
}

// ---- Copy -------------------------------------------------------------------------------

TEST_F(Ops, CopyKeepsContentsLinksModesDatesAndAttributes) {
    const QString source = home().makeFolder(QStringLiteral("work/Cut"));
    const QString file = writeWork(QStringLiteral("Cut/sub/a.fcp"), "autosave");
    ASSERT_TRUE(QFile::link(QStringLiteral("sub/a.fcp"), source + QStringLiteral("/link")));
    ASSERT_EQ(::chmod(QFile::encodeName(file).constData(), 0640), 0);
    ASSERT_EQ(::setxattr(QFile::encodeName(file).constData(), "user.test", "v", 1, 0), 0);
    const QDateTime old(QDate(2012, 5, 6), QTime(7, 8, 9), Qt::UTC);
    ASSERT_TRUE(BMFileManager::setModificationDate(old, file));

    const QString copy = work(QStringLiteral("Copy"));
    EXPECT_TRUE(BMFileManager::copyFileWithTimeout(source, copy, 2));
    const QString copied = copy + QStringLiteral("/sub/a.fcp");
    EXPECT_EQ(readFile(copied), "autosave");
    EXPECT_TRUE(QFileInfo(copy + QStringLiteral("/link")).isSymLink());
    EXPECT_EQ(QFileInfo(copy + QStringLiteral("/link")).symLinkTarget(), copied);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(copied).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(QFileInfo(copied).lastModified().toUTC(), old);
    char value[4] = {};
    EXPECT_EQ(::getxattr(QFile::encodeName(copied).constData(), "user.test", value, sizeof value), 1);
    EXPECT_EQ(value[0], 'v');
}

TEST_F(Ops, CopyOntoAnExistingDestinationRetriesPrivilegedOnlyWhenAllowed) {
    const QString source = writeWork(QStringLiteral("new.fcp"), "new");
    const QString destination = writeWork(QStringLiteral("old.fcp"), "old");
    EXPECT_FALSE(BMFileManager::copyFile(source, destination, false));
    EXPECT_EQ(readFile(destination), "old");
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(logText().contains(
        QStringLiteral("Error copying file: %1: File exists. Authorizing...").arg(destination)));

    grantingPkexec();
    EXPECT_TRUE(BMFileManager::copyFile(source, destination));
    EXPECT_EQ(m_pkexec.calls().last(),
              (QStringList{QStringLiteral("/bin/cp"), QStringLiteral("-f"), QStringLiteral("-p"),
                           QStringLiteral("-R"), source, destination}));
    EXPECT_EQ(readFile(destination), "new");
}

TEST_F(Ops, AFailedOrCancelledCopyLeavesNothingBehind) {
    writeWork(QStringLiteral("src/a.txt"), "a");
    writeWork(QStringLiteral("src/b.txt"), "b");
    // A pipe is no document: the copy fails when it reaches it, after two files.
    ASSERT_EQ(::mkfifo(QFile::encodeName(work(QStringLiteral("src/c.pipe"))).constData(), 0600), 0);
    EXPECT_FALSE(BMFileManager::copyFile(work(QStringLiteral("src")), work(QStringLiteral("dest")), false));
    EXPECT_FALSE(FileTree::exists(work(QStringLiteral("dest"))));

    const QString big = writeWork(QStringLiteral("big.bin"), QByteArray(1 << 20, 'x'));
    std::atomic<bool> cancelled{true};
    FileTree::CopyControl control;
    control.cancelled = &cancelled;
    EXPECT_FALSE(FileTree::copyItem(big, work(QStringLiteral("copy.bin")), nullptr, &control));
    EXPECT_EQ(errno, ECANCELED);
    EXPECT_FALSE(FileTree::exists(work(QStringLiteral("copy.bin"))));
}

TEST_F(Ops, CopyContentsStopsAtTheFirstFailure) {
    for (const char* name : {"a", "b", "c"})
        writeWork(QStringLiteral("src/") + QLatin1String(name), name);
    writeWork(QStringLiteral("dest/b"), "taken");
    EXPECT_FALSE(
        BMFileManager::copyContentsOfDirectory(work(QStringLiteral("src")), work(QStringLiteral("dest")), 1));
    EXPECT_EQ(readFile(work(QStringLiteral("dest/a"))), "a");
    EXPECT_EQ(readFile(work(QStringLiteral("dest/b"))), "taken");
    EXPECT_FALSE(QFileInfo::exists(work(QStringLiteral("dest/c"))));
}

// ---- Move -------------------------------------------------------------------------------

TEST_F(Ops, MoveRenamesAndNeverReplaces) {
    const QString a = writeWork(QStringLiteral("a.fcp"), "a");
    const QString b = home().makeFolder(QStringLiteral("work/sub")) + QStringLiteral("/b.fcp");
    EXPECT_TRUE(BMFileManager::moveFileWithTimeout(a, b, 2));
    EXPECT_EQ(readFile(b), "a");

    const QString c = writeWork(QStringLiteral("c.fcp"), "c");
    EXPECT_FALSE(BMFileManager::moveFile(c, b, false));
    EXPECT_EQ(readFile(b), "a");
    EXPECT_EQ(readFile(c), "c");
    EXPECT_FALSE(BMFileManager::moveFile(work(QStringLiteral("none")), b, false));
    const QString log = logText();
    EXPECT_TRUE(log.contains(QStringLiteral("Error moving file: %1: File exists.").arg(b)));
    EXPECT_TRUE(log.contains(QStringLiteral("Error moving file: %1: No such file or directory.")
                                 .arg(work(QStringLiteral("none")))));
    EXPECT_FALSE(log.contains(QStringLiteral(" - Authorizing...")));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());

    grantingPkexec();
    EXPECT_TRUE(BMFileManager::moveFile(c, b));
    EXPECT_TRUE(logText().contains(QStringLiteral(" - Authorizing...")));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{QStringLiteral("/bin/mv"), QStringLiteral("-f"), c, b}));
    EXPECT_EQ(readFile(b), "c");
}

TEST_F(Ops, CaseOnlyRenameSucceeds) {
    const QString report = writeWork(QStringLiteral("x/Report"), "r");
    const QString lower = work(QStringLiteral("x/report"));
    EXPECT_TRUE(BMFileManager::moveFile(report, lower));
    EXPECT_EQ(QDir(work(QStringLiteral("x"))).entryList(QDir::Files), QStringList{QStringLiteral("report")});
    EXPECT_TRUE(BMFileManager::moveFileWithTimeout(lower, report, 1));
    EXPECT_EQ(QDir(work(QStringLiteral("x"))).entryList(QDir::Files), QStringList{QStringLiteral("Report")});
    EXPECT_EQ(readFile(report), "r");
}

// ---- Sizes, links, packages and volumes -------------------------------------------------

TEST_F(Ops, SizesLinksAndPackages) {
    const QString folder = home().makeFolder(QStringLiteral("work/sizes"));
    EXPECT_EQ(BMFileManager::fileSize(folder), 0u);
    writeWork(QStringLiteral("sizes/a/ten"), QByteArray(10, 'x'));
    writeWork(QStringLiteral("sizes/b/c/twenty"), QByteArray(20, 'y'));
    EXPECT_EQ(BMFileManager::fileSize(folder), 30u);
    EXPECT_EQ(BMFileManager::fileSize(work(QStringLiteral("missing"))), 0u);

    ASSERT_TRUE(QFile::link(work(QStringLiteral("nowhere")), work(QStringLiteral("dangling"))));
    EXPECT_TRUE(BMFileManager::isSymbolicLinkAtPath(work(QStringLiteral("dangling"))));
    EXPECT_FALSE(BMFileManager::fileExistsAtPath(work(QStringLiteral("dangling"))));
    EXPECT_TRUE(BMFileManager::isPackageAtPath(home().makeFolder(QStringLiteral("work/Lib.fcpbundle"))));
    EXPECT_TRUE(BMFileManager::isPackageAtPath(home().makeFolder(QStringLiteral("work/Editor.APP"))));
    EXPECT_FALSE(BMFileManager::isPackageAtPath(home().makeFolder(QStringLiteral("work/Cut.fcp"))));
}

struct MountRow {
    const char* name;
    const char* path;
    const char* expected; // nullptr: nothing
};

class MountPoint : public ::testing::TestWithParam<MountRow> {};

TEST_P(MountPoint, IsTheLongestListedVolumeThatHoldsThePath) {
    const QStringList volumes{QStringLiteral("/"), QStringLiteral("/Volumes/Media"),
                              QStringLiteral("/Volumes/Media 2"), QStringLiteral("/home")};
    const QString result =
        BMFileManager::volumeMountPointForPath(QString::fromUtf8(GetParam().path), volumes);
    EXPECT_EQ(result, GetParam().expected ? QString::fromUtf8(GetParam().expected) : QString());
    EXPECT_EQ(result.isNull(), !GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MountPoint,
    ::testing::Values(MountRow{"OnAVolume", "/Volumes/Media/Cuts/a.fcp", "/Volumes/Media"},
                      MountRow{"TheVolumeItself", "/Volumes/Media", "/Volumes/Media"},
                      MountRow{"NotAPrefixByText", "/Volumes/Media 2/x", "/Volumes/Media 2"},
                      MountRow{"UnmountedVolume", "/Volumes/Foo/bar", nullptr},
                      MountRow{"ElsewhereIsRoot", "/Users/x", "/"},
                      MountRow{"HomeVolume", "/home/jo/x", "/home"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MountTests, VolumeAndDriveDifferInPrefixAndAnnouncement) {
    EXPECT_TRUE(BMFileManager::isVolumeMountedForPath(QStringLiteral("/Users/x")));
    EXPECT_TRUE(BMFileManager::isVolumeMountedForPath(QStringLiteral("/Volumes")));
    EXPECT_FALSE(BMFileManager::isVolumeMountedForPath(QStringLiteral("/Volumes/NoSuchDisk/x")));
    // "/VolumesX/..." is under the volume prefix without the slash only.
    EXPECT_FALSE(BMFileManager::isVolumeMountedForPath(QStringLiteral("/VolumesX/NoSuchDisk/x")));
    ConsoleCapture console;
    EXPECT_TRUE(BMFileManager::isDriveMountedForPath(QStringLiteral("/VolumesX/NoSuchDisk/x")));
    EXPECT_FALSE(BMFileManager::isDriveMountedForPath(QStringLiteral("/Volumes/NoSuchDisk/x")));
    EXPECT_EQ(console.lines(), QStringList{QStringLiteral("mountpoint: /Volumes/NoSuchDisk")});
}

TEST(MountTests, MountTableKeepsLocalVolumesInOrder) {
    const QByteArray table = "22 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
                             "23 22 0:21 / /proc rw - proc proc rw\n"
                             "30 22 8:17 / /media/jo/Media\\040Disk rw - exfat /dev/sdb1 rw\n"
                             "31 22 0:40 / /mnt/share rw - cifs //nas/share rw\n"
                             "32 22 0:41 / /run/user/1000 rw - tmpfs tmpfs rw\n"
                             "33 22 0:42 / /home/jo/remote rw - fuse.sshfs jo@host: rw\n"
                             "34 22 8:33 / /Volumes/Media rw shared:9 master:2 - hfsplus /dev/sdc1 rw\n";
    EXPECT_EQ(LinuxPlatform::parseMountInfo(table),
              (QStringList{QStringLiteral("/"), QStringLiteral("/media/jo/Media Disk"),
                           QStringLiteral("/Volumes/Media")}));
    EXPECT_TRUE(Platform::current().mountedLocalVolumes().contains(QStringLiteral("/")));
}

// ---- Waiting ----------------------------------------------------------------------------

TEST_F(Ops, WaitingServesTheMainThreadsEventsOnlyOnTheMainThread) {
    ASSERT_TRUE(MainThread::isCurrent());
    std::atomic<bool> delivered{false};
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&] { delivered = true; }, Qt::QueuedConnection);
    bool elsewhere = true;
    std::thread([&] {
        elsewhere = BMFileManager::waitForCondition([&] { return delivered.load(); }, 1);
    }).join();
    EXPECT_FALSE(elsewhere);
    EXPECT_TRUE(BMFileManager::waitForCondition([&] { return delivered.load(); }, 5));
}

} // namespace
