#include "FileOpsFixture.h"
#include "foundation/BMDigest.h"
#include "foundation/BMFileManager.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using Attributes = FileOpsTest;

// ---- Locking ----------------------------------------------------------------------------

TEST_F(Attributes, LockingFilesAndEverythingInsideAFolderButNotTheFolders) {
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString a = writeWork(QStringLiteral("vault/a.fcp"), "a");
    const QString b = writeWork(QStringLiteral("vault/sub/b.fcp"), "b");
    EXPECT_FALSE(BMFileManager::isFileLocked(a));
    EXPECT_TRUE(BMFileManager::lockFile(a));
    EXPECT_TRUE(BMFileManager::isFileLocked(a));
    // The system itself now refuses to change it, whoever asks.
    QFile writer(a);
    EXPECT_FALSE(writer.open(QIODevice::Append));
    EXPECT_NE(::unlink(QFile::encodeName(a).constData()), 0);
    EXPECT_TRUE(BMFileManager::unlockFile(a));
    EXPECT_TRUE(BMFileManager::unlockFile(a)); // already unlocked
    EXPECT_FALSE(BMFileManager::isFileLocked(a));

    BMFileManager::lockFolder(work(QStringLiteral("vault")));
    EXPECT_TRUE(BMFileManager::isFileLocked(a) && BMFileManager::isFileLocked(b));
    EXPECT_FALSE(BMFileManager::isFileLocked(work(QStringLiteral("vault"))));
    EXPECT_FALSE(BMFileManager::isFileLocked(work(QStringLiteral("vault/sub"))));
    BMFileManager::unlockFolder(work(QStringLiteral("vault")));
    EXPECT_FALSE(BMFileManager::isFileLocked(a) || BMFileManager::isFileLocked(b));
}

TEST_F(Attributes, MissingItemsAndLinksCannotBeLocked) {
    const QString missing = work(QStringLiteral("missing.fcp"));
    EXPECT_FALSE(BMFileManager::lockFile(missing));
    EXPECT_FALSE(BMFileManager::unlockFile(missing));
    // Both sides write the unlock text.
    EXPECT_EQ(
        logText().count(QStringLiteral("Unable to unlock file %1: No such file or directory").arg(missing)),
        2);
    ASSERT_TRUE(QFile::link(work(QStringLiteral("nowhere")), work(QStringLiteral("link"))));
    EXPECT_TRUE(BMFileManager::unlockFile(work(QStringLiteral("link")))); // a link has no flag to clear
    EXPECT_FALSE(BMFileManager::lockFile(work(QStringLiteral("link"))));
}

TEST_F(Attributes, CopyingIntoALockedFolderUnlocksItFirst) {
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString source = writeWork(QStringLiteral("a.fcp"), "a");
    const QString folder = home().makeFolder(QStringLiteral("work/held"));
    ASSERT_TRUE(BMFileManager::lockFile(folder));
    EXPECT_TRUE(BMFileManager::copyFile(source, folder + QStringLiteral("/a.fcp"), false));
    EXPECT_FALSE(BMFileManager::isFileLocked(folder));
    EXPECT_EQ(readFile(folder + QStringLiteral("/a.fcp")), "a");
}

TEST_F(Attributes, PermissionsAreSetOrReported) {
    const QString file = writeWork(QStringLiteral("a"), "x");
    EXPECT_TRUE(BMFileManager::setPosixPermissions(0604, file));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(file).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0604u);
    EXPECT_FALSE(BMFileManager::setPosixPermissions(0644, work(QStringLiteral("missing"))));
    EXPECT_TRUE(
        logText().contains(QStringLiteral("Error setting permissions for file %1: No such file or directory")
                               .arg(work(QStringLiteral("missing")))));
}

// ---- Extended attributes ----------------------------------------------------------------

TEST_F(Attributes, MetadataIsUserNamespaceTextOfAtMost255BytesAndEmptyMeansNothing) {
    const QString file = writeWork(QStringLiteral("a.mov"), "x");
    EXPECT_TRUE(
        BMFileManager::setMetadataValue(QStringLiteral("Schnitt fü"), QStringLiteral("com.bm.note"), file));
    char raw[64] = {};
    const ssize_t n = ::getxattr(QFile::encodeName(file).constData(), "user.com.bm.note", raw, sizeof raw);
    EXPECT_EQ(QByteArray(raw, int(n)), QStringLiteral("Schnitt fü").toUtf8()); // no terminating NUL
    ASSERT_EQ(::setxattr(QFile::encodeName(file).constData(), "user.empty", "", 0, 0), 0);
    const QString at255(255, QLatin1Char('a'));
    EXPECT_TRUE(BMFileManager::setMetadataValue(at255, QStringLiteral("k255"), file));
    EXPECT_TRUE(
        BMFileManager::setMetadataValue(QString(256, QLatin1Char('b')), QStringLiteral("k256"), file));

    ConsoleCapture console;
    EXPECT_EQ(BMFileManager::metadataValueForKey(QStringLiteral("com.bm.note"), file),
              QStringLiteral("Schnitt fü"));
    EXPECT_TRUE(BMFileManager::metadataValueForKey(QStringLiteral("empty"), file).isNull());
    EXPECT_TRUE(BMFileManager::metadataValueForKey(QStringLiteral("missing"), file).isNull());
    EXPECT_EQ(BMFileManager::metadataValueForKey(QStringLiteral("k255"), file), at255);
    EXPECT_TRUE(BMFileManager::metadataValueForKey(QStringLiteral("k256"), file).isNull());
    EXPECT_EQ(console.lines().mid(0, 4),
              (QStringList{QStringLiteral("buffer val: 11"), QStringLiteral("buffer val: 0"),
                           QStringLiteral("buffer val: -1"),
                           QStringLiteral("Error retrieving file attribute: %1").arg(ENODATA)}));
}

// ---- Touching ---------------------------------------------------------------------------

TEST_F(Attributes, TouchRunsTheToolDirectlyOnWritableItemsAndPrivilegedOnOthers) {
    RecordingTool touch = fakeTool(Tool::Touch);
    const QString file = writeWork(QStringLiteral("a"), "x");
    EXPECT_TRUE(BMFileManager::touchFile(file));
    EXPECT_TRUE(BMFileManager::touchFile(file, true));
    EXPECT_FALSE(BMFileManager::touchFile(QString()));
    EXPECT_EQ(touch.calls(), (QList<QStringList>(2, {QStringLiteral("-c"), file})));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    if (!lockingWorks())
        GTEST_SKIP() << "needs an item nobody may write: a locked one";
    grantingPkexec();
    ASSERT_TRUE(BMFileManager::lockFile(file));
    EXPECT_TRUE(BMFileManager::touchFile(file));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{touch.path(), QStringLiteral("-c"), file}));
    EXPECT_EQ(touch.calls().size(), 3);
}

// ---- Finder labels ----------------------------------------------------------------------

TEST_F(Attributes, LabelBitsAreReplacedAndOtherFlagsKept) {
    const QString file = writeWork(QStringLiteral("a.mov"), "x");
    QByteArray info(32, 0);
    info[8] = 0x40; // a Finder flag other than the label
    ASSERT_TRUE(home().platform().setFinderInfo(file, info));
    BMFileManager::setFinderColorIndex(12, file);
    EXPECT_EQ(BMFileManager::finderColorIndexForPath(file), 0x400C);
    // The whole word is compared, so another flag hides the colour.
    EXPECT_FALSE(BMFileManager::finderColorForPath(file).has_value());

    const QString plain = writeWork(QStringLiteral("b.mov"), "x");
    EXPECT_EQ(BMFileManager::finderColorIndexForPath(plain), 0);
    BMFileManager::setFinderColorIndex(13, plain); // only the label bits count
    EXPECT_EQ(BMFileManager::finderColorIndexForPath(plain), 12);
    EXPECT_EQ(BMFileManager::finderColorForPath(plain)->name, QStringLiteral("red"));
    BMFileManager::setFinderColorIndex(0, plain);
    EXPECT_EQ(BMFileManager::finderColorIndexForPath(plain), 0);
    BMFileManager::setFinderColorIndex(4, work(QStringLiteral("missing")));
    EXPECT_EQ(BMFileManager::finderColorIndexForPath(work(QStringLiteral("missing"))), 0);
    EXPECT_EQ(BMFileManager::finderColorIndexForPath(QStringLiteral("relative.mov")), 0);
}

struct ColourRow {
    quint16 index;
    const char* name; // nullptr: no colour
    double hue, saturation, brightness;
};

class LabelColour : public ::testing::TestWithParam<ColourRow> {};

TEST_P(LabelColour, MatchesTheTable) {
    const std::optional<BMLabelColor> colour = BMFileManager::finderColorForColorIndex(GetParam().index);
    ASSERT_EQ(colour.has_value(), GetParam().name != nullptr);
    if (colour) {
        EXPECT_EQ(*colour, (BMLabelColor{QString::fromLatin1(GetParam().name), GetParam().hue,
                                         GetParam().saturation, GetParam().brightness, 1.0}));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LabelColour,
    ::testing::Values(ColourRow{0, nullptr, 0, 0, 0}, ColourRow{1, nullptr, 0, 0, 0},
                      ColourRow{2, "grey", 0.0, 0.0, 0.72}, ColourRow{3, "grey", 0.0, 0.0, 0.72},
                      ColourRow{4, "green", 0.2056, 0.5, 0.85}, ColourRow{7, "purple", 0.7917, 0.26, 0.86},
                      ColourRow{8, "blue", 0.5789, 0.56, 0.98}, ColourRow{11, "yellow", 0.1388, 0.54, 0.95},
                      ColourRow{12, "red", 0.0083, 0.54, 1.0}, ColourRow{15, "orange", 0.0888, 0.52, 0.98},
                      ColourRow{16, nullptr, 0, 0, 0}, ColourRow{0x400C, nullptr, 0, 0, 0}),
    [](const auto& info) { return "Index" + std::to_string(info.param.index); });

// ---- Disk information -------------------------------------------------------------------

TEST_F(Attributes, DiskInformationComesFromFindmntAsADictionary) {
    RecordingTool findmnt =
        fakeTool(Tool::Findmnt, 0,
                 R"({"filesystems": [{"target": "/Volumes/Media", "fstype": "exfat", "size": 1000}]})");
    const std::optional<QVariantMap> info =
        BMFileManager::infoForDiskAtMountpoint(QStringLiteral("/Volumes/Media"));
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(*info, (QVariantMap{{QStringLiteral("target"), QStringLiteral("/Volumes/Media")},
                                  {QStringLiteral("fstype"), QStringLiteral("exfat")},
                                  {QStringLiteral("size"), 1000}}));
    ASSERT_EQ(findmnt.calls().size(), 1);
    EXPECT_EQ(findmnt.calls()[0].last(), QStringLiteral("/Volumes/Media"));
    EXPECT_TRUE(findmnt.calls()[0].contains(QStringLiteral("--json")));

    fakeTool(Tool::Findmnt, 1, "not json");
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::infoForDiskAtMountpoint(QStringLiteral("/")).has_value());
    EXPECT_TRUE(console.text().startsWith(QStringLiteral("Error converting diskutil output: ")));
}

TEST_F(Attributes, TheRealFindmntDescribesTheRootFileSystem) {
    if (!QFileInfo(QStringLiteral("/usr/bin/findmnt")).isExecutable())
        GTEST_SKIP() << "findmnt is not installed";
    const std::optional<QVariantMap> info = BMFileManager::infoForDiskAtMountpoint(QStringLiteral("/"));
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(info->value(QStringLiteral("target")).toString(), QStringLiteral("/"));
    EXPECT_FALSE(info->value(QStringLiteral("fstype")).toString().isEmpty());
}

// ---- Waiting for files ------------------------------------------------------------------

TEST_F(Attributes, WaitingForCreationLooksOnlyOnce) {
    const QString missing = work(QStringLiteral("render.mov"));
    QElapsedTimer clock;
    clock.start();
    BMFileManager::waitForFileCreation(missing, 60);
    EXPECT_LT(clock.elapsed(), 5000);
    BMFileManager::waitForFileCreation(writeWork(QStringLiteral("done.mov"), "x"), 60);
    BMFileManager::waitForFileCreation(missing, 0); // time-out already over: not a word
    EXPECT_EQ(logText().count(QStringLiteral("is not yet created")), 1);
    EXPECT_TRUE(logText().contains(QStringLiteral("File %1 is not yet created. Waiting...").arg(missing)));
}

TEST_F(Attributes, WaitingForWritesAnnouncesALockFileAndLastsUntilTheFileIsQuiet) {
    const QString file = writeWork(QStringLiteral("render.mov"), "x");
    ASSERT_TRUE(BMFileManager::setModificationDate(QDateTime::currentDateTimeUtc().addSecs(-60), file));
    BMFileManager::waitForFileWrites(file);
    EXPECT_FALSE(logText().contains(QStringLiteral("being written")));
    writeWork(QStringLiteral("render.lock"), "");
    BMFileManager::waitForFileWrites(file, QStringLiteral("render.lock"));
    EXPECT_TRUE(
        logText().contains(QStringLiteral("File %1 is currently being written to. Waiting...").arg(file)));
    EXPECT_TRUE(logText().contains(QStringLiteral("File %1 finished writing.").arg(file)));

    ASSERT_TRUE(BMFileManager::setModificationDate(QDateTime::currentDateTimeUtc().addMSecs(-3000), file));
    QElapsedTimer clock;
    clock.start();
    BMFileManager::waitForFileWrites(file);
    EXPECT_GE(clock.elapsed(), 900);
    EXPECT_GE(QFileInfo(file).lastModified().msecsTo(QDateTime::currentDateTime()), 4000);
}

// ---- Digests and sizes ------------------------------------------------------------------

TEST(Digests, FinishingACopyLeavesTheContextUsable) {
    BMDigestContext md5(BMDigestContext::Algorithm::MD5);
    EXPECT_EQ(BMFileManager::md5HashWithContext(md5), QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
    md5.update(QByteArray("ab"));
    EXPECT_EQ(BMFileManager::md5HashWithContext(md5), QStringLiteral("187ef4436122d1cc2f40dc2b92f0eba0"));
    md5.update(QByteArray("c"));
    EXPECT_EQ(BMFileManager::md5HashWithContext(md5), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
    BMDigestContext sha1(BMDigestContext::Algorithm::SHA1);
    sha1.update(QByteArray("abc"));
    BMDigestContext branch = sha1;
    branch.update(QByteArray("d"));
    EXPECT_EQ(BMFileManager::sha1HashWithContext(sha1),
              QStringLiteral("a9993e364706816aba3e25717850c26c9cd0d89d"));
    EXPECT_EQ(BMFileManager::sha1HashWithContext(branch),
              QStringLiteral("81fe8bfe87576c3ecb22426f8e57847382917acf"));
}

struct SizeRow {
    const char* name;
    double bytes;
    const char* text;
};

class FileSizeText : public ::testing::TestWithParam<SizeRow> {};

TEST_P(FileSizeText, StepsOf1024) {
    EXPECT_EQ(BMFileManager::formatFileSize(GetParam().bytes), QString::fromLatin1(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Rows, FileSizeText,
                         ::testing::Values(SizeRow{"Zero", 0, "0 B"}, SizeRow{"JustBelowKB", 1023, "1023 B"},
                                           SizeRow{"OneKB", 1024, "1.00 KB"},
                                           SizeRow{"KBRounded", 1536, "1.50 KB"},
                                           SizeRow{"JustBelowMB", 1048575, "1024.00 KB"},
                                           SizeRow{"OneMB", 1048576, "1.00 MB"},
                                           SizeRow{"OneGB", 1073741824, "1.00 GB"},
                                           SizeRow{"Terabyte", 1099511627776.0, "1024.00 GB"}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
