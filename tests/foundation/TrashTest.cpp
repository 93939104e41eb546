// The freedesktop Trash on real file systems, read by trash-cli; full volumes, a second user.
#include "FileOpsFixture.h"
#include "Programs.h"
#include "Tmpfs.h"
#include "foundation/BMFileManager.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/platform/linux/FreedesktopTrash.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr uid_t kNobody = 65534;

QString writeBytes(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).path());
    std::ofstream out(FileName::encode(path).toStdString(), std::ios::binary);
    EXPECT_TRUE(out.write(contents.constData(), contents.size()))
        << FileName::displayText(path).toStdString();
    return path;
}

QByteArray readBytes(const QString& path) {
    std::ifstream in(FileName::encode(path).toStdString(), std::ios::binary);
    return QByteArray::fromStdString(std::string(std::istreambuf_iterator<char>(in), {}));
}

QString recordedPath(const QString& trashFolder, const QString& name) {
    return LinuxPlatform::originalPathFromTrashRecord(
        readBytes(trashFolder + "/info/" + name + ".trashinfo"));
}

QStringList entries(const QString& folder) {
    QStringList names;
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(FileName::encode(folder).toStdString(), error))
        names << FileName::decode(QByteArray::fromStdString(entry.path().filename().string()));
    names.sort();
    return names;
}

bool isEmptyTrash(const QString& trashFolder) {
    return entries(trashFolder + "/files").isEmpty() && entries(trashFolder + "/info").isEmpty();
}

using Outcome = ProgramRun;
Outcome run(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
            const QString& workingDirectory = QString(), const QByteArray& input = QByteArray()) {
    return runProgram(program, arguments, {environment, workingDirectory, 20000, input, true});
}

class TrashTest : public FileOpsTest {
protected:
    void TearDown() override {
        while (!m_mounts.empty())
            m_mounts.pop_back(); // the innermost first
        removeUndecodableNames(home().root());
        FileOpsTest::TearDown();
    }

    // Qt's temporary folder cannot remove a name that is not UTF-8.
    static void removeUndecodableNames(const QString& folder) {
        for (const QString& name : entries(folder)) {
            const QString path = folder + '/' + name;
            if (FileName::hasInvalidBytes(name))
                std::filesystem::remove_all(FileName::encode(path).toStdString());
            else if (QFileInfo(path).isDir() && !QFileInfo(path).isSymLink())
                removeUndecodableNames(path);
        }
    }

    bool mountTmpfs(const QString& folder, const QByteArray& options) {
        m_mounts.push_back(std::make_unique<Tmpfs>(folder, options));
        return m_mounts.back()->mounted();
    }
    QString dataHome() const { return qEnvironmentVariable("XDG_DATA_HOME"); }
    bool mountDataHome(const QByteArray& options) { return mountTmpfs(dataHome(), options); }
    // An item on the home Trash's volume, made with the Trash before the volume is filled.
    QString itemBesideTrash() {
        QDir().mkpath(trash() + "/files");
        QDir().mkpath(trash() + "/info");
        return writeBytes(dataHome() + "/a.mov", "x");
    }

    std::optional<QString> moveToTrash(const QString& path, QString* error) {
        return home().platform().moveToTrash(path, trash(), error);
    }

    static void useUpInodes(const QString& folder) {
        for (int i = 0; i < 100000; ++i) {
            const int fd = ::open(QFile::encodeName(folder + QString("/i%1").arg(i)).constData(),
                                  O_WRONLY | O_CREAT | O_EXCL, 0600);
            if (fd < 0) {
                ASSERT_EQ(errno, ENOSPC);
                return;
            }
            ::close(fd);
        }
        FAIL() << "the volume never ran out of inodes";
    }

    // The probe as the given user, with XDG_DATA_HOME above that Trash as a desktop sets it.
    Outcome probe(const QString& item, const QString& trashFolder, bool asNobody) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_DATA_HOME", QFileInfo(trashFolder).path());
        QStringList arguments{VESTRY_TRASH_PROBE, item, trashFolder};
        if (!asNobody)
            return run(arguments.takeFirst(), arguments, environment);
        return run("setpriv", setprivAsNobody() + arguments, environment);
    }

    // The second user's folder, the folders above open to them; empty when impossible.
    QString nobodysFolder() {
        if (::getuid() != 0)
            return QString();
        const QString folder = home().makeFolder("nobody");
        ::chmod(QFile::encodeName(home().root()).constData(), 0711);
        for (QString path = QFileInfo(home().root()).path(); path != "/"; path = QFileInfo(path).path()) {
            if (!(QFileInfo(path).permissions() & QFile::ExeOther))
                return QString();
        }
        if (::chown(QFile::encodeName(folder).constData(), kNobody, kNobody) != 0)
            return QString();
        return folder;
    }
    static QString nobodysSubfolder(const QString& path, mode_t mode) {
        QDir().mkpath(path);
        ::chown(QFile::encodeName(path).constData(), kNobody, kNobody);
        ::chmod(QFile::encodeName(path).constData(), mode);
        return path;
    }

    std::vector<std::unique_ptr<Tmpfs>> m_mounts;
};

using OddName = std::pair<const char*, QByteArray>;

class TrashRecords : public TrashTest, public ::testing::WithParamInterface<OddName> {};

TEST_P(TrashRecords, TrashCliListsTheExactPathAndRestoresTheItem) {
    const QString folder = work("odd folder %20");
    const QString item = writeBytes(folder + '/' + FileName::decode(GetParam().second), "contents");
    ASSERT_TRUE(BMFileManager::trashFile(item, false));
    ASSERT_FALSE(FileTree::exists(item));
    const QStringList trashed = entries(trash() + "/files");
    ASSERT_EQ(trashed.size(), 1);
    EXPECT_EQ(recordedPath(trash(), trashed.first()), item);

    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const Outcome list = run("trash-list", {}, environment, folder);
    ASSERT_TRUE(list.finished && list.exitCode == 0) << list.out.toStdString();
    // trash-cli shows bytes that are not UTF-8 as U+FFFD, as QString::fromUtf8 does.
    const QString shown = QString::fromUtf8(FileName::encode(item));
    EXPECT_TRUE(list.out.endsWith(' ' + shown + '\n')) << list.out.toStdString();

    if (FileName::hasInvalidBytes(item)) {
        // trash-cli 0.17 would restore under a U+FFFD name: put back by the record instead.
        ASSERT_EQ(::rename(FileName::encode(trash() + "/files/" + trashed.first()).constData(),
                           FileName::encode(recordedPath(trash(), trashed.first())).constData()),
                  0);
        ::unlink(FileName::encode(trash() + "/info/" + trashed.first() + ".trashinfo").constData());
    } else {
        const Outcome restore = run("trash-restore", {}, environment, folder, "0\n");
        ASSERT_TRUE(restore.finished && restore.exitCode == 0) << restore.out.toStdString();
    }
    EXPECT_EQ(readBytes(item), "contents");
    EXPECT_TRUE(isEmptyTrash(trash()));
}

INSTANTIATE_TEST_SUITE_P(OddNames, TrashRecords,
                         ::testing::Values(OddName("Spaces", "Cut 1 final.fcp"),
                                           OddName("Percent", "100% %41 done.fcp"),
                                           OddName("Tab", "a\tb.fcp"), OddName("Newline", "a\nb.fcp"),
                                           OddName("NonAscii", "G\xc3\xa2teau \xe2\x9c\x82 \xe6\x97\xa5.fcp"),
                                           OddName("InvalidUtf8", "caf\xe9 \xff.fcp")),
                         [](const auto& info) { return std::string(info.param.first); });

TEST_F(TrashTest, GioListsTheOriginalPath) {
    const QString item = writeWork("100% a\tb.fcp", "x");
    ASSERT_TRUE(moveToTrash(item, nullptr));
    // gio reads the Trash through the gvfs daemon, which a bus of the test's own starts.
    const Outcome list =
        run("dbus-run-session", {"--", "gio", "trash", "--list"}, QProcessEnvironment::systemEnvironment());
    if (!list.finished || list.exitCode != 0)
        GTEST_SKIP() << "gio cannot list the Trash here (it needs gvfs and dbus-run-session): "
                     << list.out.toStdString();
    // gio shows control characters escaped, the rest of the path as it is.
    EXPECT_TRUE(list.out.contains('\t' + QString(item).replace('\t', "\\x09") + '\n'))
        << list.out.toStdString();
}

TEST_F(TrashTest, TakenNamesGetANumberAndNamesTooLongForARecordAreShortened) {
    // An item left without a record and a record without an item both hold their names.
    writeBytes(trash() + "/files/a.mov", "orphan");
    writeBytes(trash() + "/info/a 2.mov.trashinfo", "");
    const QString item = writeWork("a.mov", "mine");
    EXPECT_EQ(moveToTrash(item, nullptr), trash() + "/files/a 3.mov");
    EXPECT_EQ(readBytes(trash() + "/files/a.mov"), "orphan");
    EXPECT_EQ(recordedPath(trash(), "a 3.mov"), item);

    const QString ascii = QString(246, 'a') + ".mov";
    EXPECT_EQ(FreedesktopTrash::nameInTrash(ascii, 0), QString(241, 'a') + ".mov");
    EXPECT_EQ(FreedesktopTrash::nameInTrash(ascii, 2), QString(239, 'a') + " 3.mov");
    // Whole characters and escaped bytes survive the cut; a too-long "extension" is cut too.
    const QString accents = QString(125, QChar(0xe9)) + ".fcp";
    const QString cut = FreedesktopTrash::nameInTrash(accents, 0);
    EXPECT_EQ(cut, QString(120, QChar(0xe9)) + ".fcp");
    const QString escaped = FileName::decode(QByteArray(250, '\xe9'));
    EXPECT_EQ(FileName::encode(FreedesktopTrash::nameInTrash(escaped, 0)), QByteArray(245, '\xe9'));
    EXPECT_EQ(FreedesktopTrash::nameInTrash("x." + QString(250, 'b'), 0).size(), 245);
    EXPECT_EQ(FreedesktopTrash::nameInTrash(".hidden", 1), ".hidden 2");
}

TEST_F(TrashTest, WithoutFreeInodesTheMoveFailsAtOnceInsteadOfHanging) {
    if (!mountDataHome("size=1m,nr_inodes=16"))
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    const QString item = itemBesideTrash();
    useUpInodes(dataHome());
    const Outcome result = probe(item, trash(), false);
    ASSERT_TRUE(result.finished && !result.leftBehind) << "the move hung or left a process behind";
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.contains("No space left on device")) << result.out.toStdString();
    EXPECT_EQ(readBytes(item), "x");
    EXPECT_TRUE(isEmptyTrash(trash()));
}

TEST_F(TrashTest, AsAnotherUserAnUnwritableRecordFolderFailsAndALongNameIsShortenedButRestoredWhole) {
    const QString own = nobodysFolder();
    if (own.isEmpty())
        GTEST_SKIP() << "needs root to act as a second user";
    const QString trashFolder = own + "/share/Trash";
    nobodysSubfolder(own + "/share", 0700);
    nobodysSubfolder(trashFolder, 0700);
    nobodysSubfolder(trashFolder + "/files", 0700);
    nobodysSubfolder(trashFolder + "/info", 0500);
    const QString work = nobodysSubfolder(own + "/work", 0755);
    const QString item = writeBytes(work + "/a.mov", "x");
    const QString longName = QString(246, 'l') + ".mov";
    const QString longItem = writeBytes(work + '/' + longName, "long");
    for (const QString& path : {item, longItem})
        ::chown(QFile::encodeName(path).constData(), kNobody, kNobody);

    Outcome result = probe(item, trashFolder, true);
    if (result.exitCode == 126 || result.exitCode == 127)
        GTEST_SKIP() << "the second user cannot run the probe: " << result.out.toStdString();
    ASSERT_TRUE(result.finished && !result.leftBehind) << "the move hung or left a process behind";
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.contains("Permission denied")) << result.out.toStdString();
    EXPECT_TRUE(result.out.contains(trashFolder + "/info/a.mov.trashinfo")) << result.out.toStdString();
    EXPECT_EQ(readBytes(item), "x");
    EXPECT_TRUE(isEmptyTrash(trashFolder));

    ::chmod(QFile::encodeName(trashFolder + "/info").constData(), 0700);
    result = probe(longItem, trashFolder, true);
    ASSERT_TRUE(result.finished && !result.leftBehind) << "the move hung or left a process behind";
    ASSERT_EQ(result.exitCode, 0) << result.out.toStdString();
    const QString shortName = QString(241, 'l') + ".mov";
    EXPECT_EQ(entries(trashFolder + "/files"), QStringList{shortName});
    EXPECT_EQ(recordedPath(trashFolder, shortName), longItem);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_DATA_HOME", own + "/share");
    const Outcome restore = run("trash-restore", {}, environment, work, "0\n");
    ASSERT_TRUE(restore.finished && restore.exitCode == 0) << restore.out.toStdString();
    EXPECT_EQ(readBytes(longItem), "long");
}

TEST_F(TrashTest, AnotherVolumeUsesItsOwnTrashAndRefusesLinkedOnes) {
    const QString volume = home().root() + "/volume";
    if (!mountTmpfs(volume, "size=1m"))
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    const QString uid = QString::number(::getuid());
    auto trashed = [&](const QString& relative) {
        const QString item = volume + '/' + relative;
        if (!FileTree::exists(item))
            writeBytes(item, relative.toUtf8());
        QString error;
        const std::optional<QString> landed = moveToTrash(item, &error);
        EXPECT_TRUE(landed) << error.toStdString();
        EXPECT_FALSE(FileTree::exists(item));
        return landed.value_or(QString());
    };

    const QString own = volume + "/.Trash-" + uid;
    EXPECT_EQ(trashed("a.mov"), own + "/files/a.mov");
    EXPECT_EQ(recordedPath(own, "a.mov"), volume + "/a.mov");
    struct stat ownStatus {};
    ASSERT_EQ(::stat(QFile::encodeName(own).constData(), &ownStatus), 0);
    EXPECT_EQ(ownStatus.st_mode & 0777, 0700u);

    // An administrator's sticky .Trash takes a folder per user.
    QDir().mkpath(volume + "/.Trash");
    ::chmod(QFile::encodeName(volume + "/.Trash").constData(), 01777);
    EXPECT_EQ(trashed("b.mov"), volume + "/.Trash/" + uid + "/files/b.mov");
    EXPECT_EQ(recordedPath(volume + "/.Trash/" + uid, "b.mov"), volume + "/b.mov");

    // A linked .Trash is not used, even one that leads to a sticky folder.
    QDir().rename(volume + "/.Trash", volume + "/sticky");
    ASSERT_EQ(::symlink("sticky", QFile::encodeName(volume + "/.Trash").constData()), 0);
    EXPECT_EQ(trashed("c.mov"), own + "/files/c.mov");
    EXPECT_EQ(entries(volume + "/sticky/" + uid + "/files"), QStringList{"b.mov"});

    // Nor a linked .Trash-$uid: copied into the home Trash, checked, only then removed.
    QDir().rename(own, volume + "/decoy");
    ASSERT_EQ(::symlink("decoy", FileName::encode(own).constData()), 0);
    writeBytes(volume + "/cut/deep/x.fcp", "x");
    QDir().mkpath(volume + "/cut/empty");
    EXPECT_EQ(trashed("cut/y.fcp"), trash() + "/files/y.fcp");
    EXPECT_EQ(trashed("cut"), trash() + "/files/cut");
    EXPECT_EQ(readBytes(trash() + "/files/cut/deep/x.fcp"), "x");
    EXPECT_TRUE(QFileInfo(trash() + "/files/cut/empty").isDir());
    EXPECT_EQ(recordedPath(trash(), "cut"), volume + "/cut");
    EXPECT_EQ(entries(volume + "/decoy/files"), (QStringList{"a.mov", "c.mov"}));
}

TEST_F(TrashTest, AFullHomeTrashTakesNothingAndSaysWhyAndTheItemStaysWhole) {
    const QString volume = home().root() + "/volume";
    if (!mountTmpfs(volume, "size=1m") || !mountDataHome("size=64k"))
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    const QString beside = itemBesideTrash();
    // The volume's own Trash cannot be used: the copy into the home Trash is the only way.
    ASSERT_EQ(::symlink("/nonexistent", QFile::encodeName(volume + "/.Trash-" + QString::number(::getuid()))),
              0);
    writeBytes(volume + "/cut/small.fcp", "small");
    const QString big = writeBytes(volume + "/cut/big.mov", QByteArray(200 * 1024, 'b'));
    QString error;
    EXPECT_FALSE(moveToTrash(volume + "/cut", &error));
    EXPECT_TRUE(error.contains("No space left on device")) << error.toStdString();
    EXPECT_TRUE(isEmptyTrash(trash()));
    EXPECT_EQ(readBytes(volume + "/cut/small.fcp"), "small");
    EXPECT_EQ(readBytes(big).size(), 200 * 1024);

    // An item on the full volume itself stays without a record.
    m_mounts.back()->fill();
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::trashFile(beside, false));
    EXPECT_EQ(readBytes(beside), "x");
    EXPECT_TRUE(isEmptyTrash(trash())) << "no empty record may be left";
    EXPECT_TRUE(console.text().contains("Unable to move " + beside + " to the Trash: "))
        << console.text().toStdString();
    EXPECT_TRUE(console.text().contains("No space left on device")) << console.text().toStdString();
}

TEST_F(TrashTest, AnItemOnAReadOnlyVolumeIsNotCopiedAnywhere) {
    const QString volume = home().root() + "/volume";
    if (!mountTmpfs(volume, "size=1m"))
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    const QString item = writeBytes(volume + "/a.mov", "x");
    ASSERT_TRUE(m_mounts.back()->remountReadOnly());
    QString error;
    EXPECT_FALSE(moveToTrash(item, &error));
    EXPECT_TRUE(error.contains("Read-only file system")) << error.toStdString();
    EXPECT_EQ(readBytes(item), "x");
    EXPECT_TRUE(isEmptyTrash(trash()));
}

} // namespace
