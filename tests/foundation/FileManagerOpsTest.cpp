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
#include <QRegularExpression>

#include <atomic>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace {

using Ops = FileOpsTest;

TEST_F(Ops, RemoveTakesOneItemNeverATreeAndRetriesPrivilegedOnlyWhenAllowed) {
    const QString file = writeWork("a.txt", "x");
    writeWork("tree/b/c.txt", "y");
    ASSERT_TRUE(QFile::link("/", work("tree/link-to-root")));
    EXPECT_TRUE(BMFileManager::removeFile(file) &&
                BMFileManager::removeFileWithTimeout(work("tree/link-to-root"), 2));
    EXPECT_FALSE(FileTree::exists(file) || FileTree::exists(work("tree/link-to-root")));
    EXPECT_TRUE(QFileInfo::exists("/bin"));
    EXPECT_TRUE(BMFileManager::removeFile(work("never-was"))); // nothing there is done
    // A folder with something in it stays, and rights would not change that.
    grantingPkexec();
    EXPECT_FALSE(BMFileManager::removeFile(work("tree")));
    EXPECT_EQ(readFile(work("tree/b/c.txt")), "y");
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString locked = writeWork("locked.fcp", "x"), empty = home().makeFolder("work/held/empty");
    ASSERT_TRUE(BMFileManager::lockFile(locked) && BMFileManager::lockFile(work("held")));
    EXPECT_TRUE(BMFileManager::removeFile(locked, false));
    EXPECT_FALSE(QFileInfo::exists(locked));
    // An empty folder in a locked one: only rights could take it.
    m_pkexec = fakeTool(Tool::Pkexec, "exit 127");
    EXPECT_FALSE(BMFileManager::removeFile(empty, false));
    EXPECT_TRUE(logText().contains(
        QRegularExpression("Error removing file: .+: Operation not permitted\\. Authorizing...")));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_FALSE(BMFileManager::removeFile(empty)); // the stand-in refuses the right
    EXPECT_EQ(m_pkexec.calls(), QList<QStringList>{{"/bin/true"}});
    grantingPkexec();
    EXPECT_FALSE(BMFileManager::removeFile(empty)); // granted, and still locked
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{"/bin/rm", "-df", empty}));
    EXPECT_TRUE(QFileInfo(empty).isDir());
}

TEST_F(Ops, TidyingAFolderKeepsAFileWrittenIntoItAtTheLastMoment) {
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    // Only the privileged retry can take it (the parent is locked); the editor saves just before.
    const QString folder = home().makeFolder("work/parent/Beta");
    home().makeFolder("work/parent/Beta/Backups");
    writeWork("parent/Beta/.DS_Store", "finder");
    ASSERT_TRUE(BMFileManager::lockFile(work("parent")));
    m_pkexec = fakeTool(Tool::Pkexec, "printf late > '" + folder.toUtf8() + "/Beta-3.prproj'\nexec \"$@\"");
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(folder));
    EXPECT_EQ(readFile(folder + "/Beta-3.prproj"), "late");
    // Only the leftovers and the empty folder inside went, each on its own.
    EXPECT_EQ(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{"Beta-3.prproj"});
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{"/bin/rm", "-df", folder}));
    // No option of any privileged call asks for a recursive delete.
    for (const QStringList& call : m_pkexec.calls()) {
        for (const QString& argument : call)
            EXPECT_FALSE(argument.startsWith('-') && argument.contains(QRegularExpression("[Rr]")))
                << call.join(' ').toStdString();
    }
}

struct EmptyRow {
    const char* name;
    QStringList entries; // relative to the folder; a folder ends with "/"
    bool empty;
};

class EmptyFolder : public FileOpsTest, public ::testing::WithParamInterface<EmptyRow> {};

TEST_P(EmptyFolder, HoldsOnlyFinderFilesAndEmptyFolders) {
    const QString folder = home().makeFolder("work/f");
    for (const QString& entry : GetParam().entries)
        entry.endsWith('/') ? home().makeFolder("work/f/" + entry) : writeWork("f/" + entry, "x");
    EXPECT_EQ(BMFileManager::isFolderEmpty(folder), GetParam().empty);
    EXPECT_EQ(BMFileManager::removeFolderIfEmpty(folder), GetParam().empty);
    EXPECT_EQ(QFileInfo::exists(folder), !GetParam().empty);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EmptyFolder,
    ::testing::Values(
        EmptyRow{"Nothing", {}, true}, EmptyRow{"OnlyDSStore", {".DS_Store"}, true},
        EmptyRow{"OnlyIcon", {"Icon\r"}, true}, EmptyRow{"DSStoreAndFile", {".DS_Store", "a"}, false},
        EmptyRow{"NestedEmptyFoldersAndFinderFiles", {"a/.DS_Store", "a/b/Icon\r", "Icon\r", "a/b/c/"}, true},
        EmptyRow{"FileDeepDown", {"a/b/c/clip.mov"}, false},
        EmptyRow{"IconWithoutReturnIsAFile", {"Icon"}, false}, EmptyRow{"HiddenFile", {".hidden"}, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Ops, RemovingAnEmptyFolderNeverTakesAFileALinkOrWhatCannotBeRead) {
    // What cannot be listed counts as an "empty folder", a file too, yet it must survive.
    EXPECT_TRUE(BMFileManager::isFolderEmpty(work("missing")));
    const QString file = writeWork("Edit-1.prproj", "project"), link = work("link");
    EXPECT_TRUE(BMFileManager::isFolderEmpty(file));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(file));
    EXPECT_EQ(readFile(file), "project");
    // A link to an empty folder is not that folder.
    ASSERT_TRUE(QFile::link(home().makeFolder("work/target"), link));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(link));
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every folder: the unreadable case needs an ordinary user";
    const QString inner = home().makeFolder("work/closed/inner");
    writeWork("closed/inner/clip.mov", "x");
    ASSERT_TRUE(QFile::setPermissions(inner, QFileDevice::WriteOwner));
    EXPECT_FALSE(BMFileManager::removeFolderIfEmpty(work("closed")));
    QFile::setPermissions(inner, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(readFile(inner + "/clip.mov"), "x");
}

TEST_F(Ops, CreateMakesIntermediateFoldersExceptOnAnUnmountedVolume) {
    EXPECT_TRUE(BMFileManager::createDirectoryWithTimeout(work("a/b/c"), 2));
    EXPECT_TRUE(BMFileManager::createDirectory(work("a/b/c"))); // already there
    EXPECT_TRUE(QFileInfo(work("a/b/c")).isDir());
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::createDirectory("/Volumes/Missing/x"));
    EXPECT_EQ(console.lines(), (QStringList{"mountpoint: /Volumes/Missing",
                                            "Unable to create directory. Drive is not mounted."}));
    EXPECT_FALSE(logText().contains("Error creating folder"));

    // A failure announces authorizing whatever the flag says.
    const QString underFile = writeWork("plain-file", "x") + "/sub";
    EXPECT_FALSE(BMFileManager::createDirectory(underFile, false));
    EXPECT_TRUE(logText().contains(QRegularExpression("Error creating folder: .+\\. Authorizing...")));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    grantingPkexec();
    EXPECT_FALSE(BMFileManager::createDirectory(underFile, true));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{"/bin/mkdir", "-p", underFile}));
}

TEST_F(Ops, DirectoryStructureMirrorsTheWholeSourcePathAndEmptyFilesNeverReplace) {
    const QString folder = home().makeFolder("work/src/Cut"), destination = home().makeFolder("work/dest");
    EXPECT_EQ(BMFileManager::createDirectoryStructure(folder, destination), destination + folder);
    EXPECT_TRUE(QFileInfo(destination + folder).isDir());
    EXPECT_EQ(BMFileManager::createDirectoryStructure(writeWork("src/Cut/a.fcp"), destination),
              destination + folder);
    EXPECT_EQ(
        BMFileManager::createDirectoryStructure(home().makeFolder("work/src/Lib.fcpbundle"), destination),
        destination + work("src"));

    EXPECT_TRUE(BMFileManager::createEmptyFile(work("marker")));
    EXPECT_TRUE(QFileInfo(work("marker")).isFile() && QFileInfo(work("marker")).size() == 0);
    writeWork("taken", "keep");
    EXPECT_FALSE(BMFileManager::createEmptyFile(work("taken")));
    EXPECT_EQ(readFile(work("taken")), "keep");
    EXPECT_TRUE(QDir(BMLocalPaths::tempDirectory()).isEmpty()); // no temporary file stays behind
}

TEST_F(Ops,
       CopyKeepsContentsLinksModesDatesAndAttributesAndOntoAnExistingItemRetriesPrivilegedOnlyWhenAllowed) {
    const QString file = writeWork("Cut/sub/a.fcp", "autosave"), copy = work("Copy");
    ASSERT_TRUE(QFile::link("sub/a.fcp", work("Cut/link")));
    ASSERT_EQ(::chmod(QFile::encodeName(file).constData(), 0640), 0);
    ASSERT_EQ(::setxattr(QFile::encodeName(file).constData(), "user.test", "v", 1, 0), 0);
    const QDateTime old(QDate(2012, 5, 6), QTime(7, 8, 9), Qt::UTC);
    ASSERT_TRUE(BMFileManager::setModificationDate(old, file));

    EXPECT_TRUE(BMFileManager::copyFileWithTimeout(work("Cut"), copy, 2));
    EXPECT_EQ(readFile(copy + "/sub/a.fcp"), "autosave");
    EXPECT_TRUE(QFileInfo(copy + "/link").isSymLink());
    EXPECT_EQ(QFileInfo(copy + "/link").symLinkTarget(), copy + "/sub/a.fcp");
    EXPECT_EQ(QFileInfo(copy + "/sub/a.fcp").permissions() & 0x7077,
              QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
    EXPECT_EQ(QFileInfo(copy + "/sub/a.fcp").lastModified().toUTC(), old);
    char value[4] = {};
    EXPECT_EQ(::getxattr(QFile::encodeName(copy + "/sub/a.fcp").constData(), "user.test", value, 4), 1);
    EXPECT_EQ(value[0], 'v');
    const QString source = writeWork("new.fcp", "new"), destination = writeWork("old.fcp", "old");
    EXPECT_FALSE(BMFileManager::copyFile(source, destination, false));
    EXPECT_EQ(readFile(destination), "old");
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(logText().contains("Error copying file: " + destination + ": File exists. Authorizing..."));
    grantingPkexec();
    EXPECT_TRUE(BMFileManager::copyFile(source, destination));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{"/bin/cp", "-f", "-p", "-R", source, destination}));
    EXPECT_EQ(readFile(destination), "new");
}

TEST_F(Ops, AFailedOrCancelledCopyLeavesNothingBehindAndCopyingContentsStopsAtTheFirstFailure) {
    for (const char* name : {"a", "b", "c"})
        writeWork(QString("src/") + name, name);
    writeWork("dest/b", "taken");
    EXPECT_FALSE(BMFileManager::copyContentsOfDirectory(work("src"), work("dest"), 1));
    EXPECT_EQ(readFile(work("dest/a")) + readFile(work("dest/b")), "ataken");
    EXPECT_FALSE(QFileInfo::exists(work("dest/c")));

    // A pipe is no document: the copy fails when it reaches it, after three files.
    ASSERT_EQ(::mkfifo(QFile::encodeName(work("src/d.pipe")).constData(), 0600), 0);
    EXPECT_FALSE(BMFileManager::copyFile(work("src"), work("copy"), false));
    EXPECT_FALSE(FileTree::exists(work("copy")));
    std::atomic<bool> cancelled{true};
    FileTree::CopyControl control;
    control.cancelled = &cancelled;
    EXPECT_FALSE(FileTree::copyItem(writeWork("big.bin", QByteArray(1 << 20, 'x')), work("big copy"), nullptr,
                                    &control));
    EXPECT_EQ(errno, ECANCELED);
    EXPECT_FALSE(FileTree::exists(work("big copy")));
}

TEST_F(Ops, MoveRenamesNeverReplacesAndRetriesPrivilegedOnlyWhenAllowed) {
    const QString a = writeWork("a.fcp", "a"), b = home().makeFolder("work/sub") + "/b.fcp",
                  c = writeWork("c.fcp", "c");
    EXPECT_TRUE(BMFileManager::moveFileWithTimeout(a, b, 2));
    EXPECT_FALSE(BMFileManager::moveFile(c, b, false));
    EXPECT_EQ(readFile(b) + readFile(c), "ac");
    EXPECT_FALSE(BMFileManager::moveFile(work("none"), b, false));
    EXPECT_TRUE(logText().contains("Error moving file: " + b + ": File exists."));
    EXPECT_TRUE(logText().contains("Error moving file: " + work("none") + ": No such file or directory."));
    EXPECT_FALSE(logText().contains(" - Authorizing..."));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    grantingPkexec();
    EXPECT_TRUE(BMFileManager::moveFile(c, b));
    EXPECT_TRUE(logText().contains(" - Authorizing..."));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{"/bin/mv", "-f", c, b}));
    EXPECT_EQ(readFile(b), "c");
    // A rename that changes only the case is no move onto an existing item.
    EXPECT_TRUE(BMFileManager::moveFile(b, work("sub/B.fcp")));
    EXPECT_EQ(QDir(work("sub")).entryList(QDir::Files), QStringList{"B.fcp"});
}

TEST_F(Ops, SizesLinksAndPackages) {
    EXPECT_EQ(BMFileManager::fileSize(home().makeFolder("work/sizes")), 0u);
    writeWork("sizes/a/ten", QByteArray(10, 'x'));
    writeWork("sizes/b/c/twenty", QByteArray(20, 'y'));
    EXPECT_EQ(BMFileManager::fileSize(work("sizes")), 30u);
    EXPECT_EQ(BMFileManager::fileSize(work("missing")), 0u);
    ASSERT_TRUE(QFile::link(work("nowhere"), work("dangling")));
    EXPECT_TRUE(BMFileManager::isSymbolicLinkAtPath(work("dangling")));
    EXPECT_FALSE(BMFileManager::fileExistsAtPath(work("dangling")));
    EXPECT_TRUE(BMFileManager::isPackageAtPath(home().makeFolder("work/Lib.fcpbundle")));
    EXPECT_TRUE(BMFileManager::isPackageAtPath(home().makeFolder("work/Editor.APP")));
    EXPECT_FALSE(BMFileManager::isPackageAtPath(home().makeFolder("work/Cut.fcp")));
}

TEST(MountTests, TheMountPointIsTheLongestListedVolumeAndVolumeAndDriveDifferInPrefix) {
    const QStringList volumes{"/", "/Volumes/Media", "/Volumes/Media 2", "/home"};
    QStringList mountPoints;
    // By path, not by text ("Media 2"); an unmounted volume has none.
    for (const char* path : {"/Volumes/Media/Cuts/a.fcp", "/Volumes/Media", "/Volumes/Media 2/x",
                             "/Volumes/Foo/bar", "/Users/x", "/home/jo/x"})
        mountPoints << BMFileManager::volumeMountPointForPath(path, volumes);
    EXPECT_EQ(mountPoints,
              (QStringList{"/Volumes/Media", "/Volumes/Media", "/Volumes/Media 2", QString(), "/", "/home"}));
    EXPECT_TRUE(BMFileManager::isVolumeMountedForPath("/Users/x") &&
                BMFileManager::isVolumeMountedForPath("/Volumes"));
    // "/VolumesX/..." is under the volume prefix without the slash only.
    EXPECT_FALSE(BMFileManager::isVolumeMountedForPath("/Volumes/NoSuchDisk/x") ||
                 BMFileManager::isVolumeMountedForPath("/VolumesX/NoSuchDisk/x"));
    ConsoleCapture console;
    EXPECT_TRUE(BMFileManager::isDriveMountedForPath("/VolumesX/NoSuchDisk/x"));
    EXPECT_FALSE(BMFileManager::isDriveMountedForPath("/Volumes/NoSuchDisk/x"));
    EXPECT_EQ(console.lines(), QStringList{"mountpoint: /Volumes/NoSuchDisk"});
}

TEST(MountTests, LocalVolumesKeepTheTablesOrderAndRemovableAndNetworkOnesLeaveOutTheSystems) {
    const QByteArray table = "22 1 254:0 / / rw - ext4 /dev/vda rw\n"
                             "23 22 0:21 / /proc rw - proc proc rw\n"
                             "24 22 0:22 / /run rw - tmpfs tmpfs rw\n"
                             "25 22 8:1 / /boot rw - ext4 /dev/sda1 rw\n"
                             "26 22 0:50 / /usr rw - nfs4 server:/usr rw\n"
                             "27 22 0:51 / /mnt/auto rw - autofs systemd-1 rw\n"
                             "30 22 8:17 / /media/jo/Media\\040Disk rw - exfat /dev/sdb1 rw\n"
                             "31 22 0:40 / /mnt/share rw - cifs //nas/share rw\n"
                             "32 22 8:18 / /run/media/jo/EDIT rw shared:9 master:2 - ext4 /dev/sdb2 rw\n"
                             "33 22 0:42 / /home/jo/remote rw - fuse.sshfs jo@host: rw\n"
                             "34 22 0:43 / /srv/projects rw - nfs server:/projects rw\n"
                             "35 22 8:33 / /home/jo/usb rw - ext4 /dev/sdc1 rw\n"
                             "36 22 0:44 / /media/old rw - ext4 /dev/sdd1 rw\n"
                             // Mounted over: the disk below is out of reach.
                             "37 22 0:45 / /media rw - tmpfs tmpfs rw\n"
                             "38 37 0:46 / /media/new rw - vfat /dev/sde1 rw\n";
    EXPECT_EQ(LinuxPlatform::parseMountInfo(table),
              (QStringList{"/", "/boot", "/media/jo/Media Disk", "/run/media/jo/EDIT", "/home/jo/usb",
                           "/media/old", "/media/new"}));
    EXPECT_TRUE(Platform::current().mountedLocalVolumes().contains("/"));
    EXPECT_EQ(
        LinuxPlatform::parseRemovableAndNetworkVolumes(table),
        (QStringList{"/mnt/share", "/run/media/jo/EDIT", "/home/jo/remote", "/srv/projects", "/media/new"}));
}

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
