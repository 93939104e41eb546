#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <sys/xattr.h>
#include <unistd.h>

namespace {

using Attributes = FileOpsTest;
using FM = BMFileManager;

TEST_F(Attributes, LockingFilesAndEverythingInsideAFolderButNotTheFoldersNorMissingItemsOrLinks) {
    const QString missing = work("missing.fcp");
    EXPECT_FALSE(FM::lockFile(missing) || FM::unlockFile(missing) || FM::isFileLocked(missing));
    // Both sides write the unlock text.
    EXPECT_EQ(logText().count("Unable to unlock file " + missing + ": No such file or directory"), 2);
    ASSERT_TRUE(QFile::link(work("nowhere"), work("link")));
    EXPECT_TRUE(FM::unlockFile(work("link"))); // a link has no flag to clear
    EXPECT_FALSE(FM::lockFile(work("link")));
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString a = writeWork("vault/a.fcp", "a"), b = writeWork("vault/sub/b.fcp", "b");
    EXPECT_FALSE(FM::isFileLocked(a));
    EXPECT_TRUE(FM::lockFile(a) && FM::isFileLocked(a));
    // The system itself now refuses to change it, whoever asks.
    QFile writer(a);
    EXPECT_FALSE(writer.open(QIODevice::Append));
    EXPECT_NE(::unlink(QFile::encodeName(a).constData()), 0);
    EXPECT_TRUE(FM::unlockFile(a) && FM::unlockFile(a)); // the second time already unlocked
    EXPECT_FALSE(FM::isFileLocked(a));

    FM::lockFolder(work("vault"));
    EXPECT_TRUE(FM::isFileLocked(a) && FM::isFileLocked(b));
    EXPECT_FALSE(FM::isFileLocked(work("vault")) || FM::isFileLocked(work("vault/sub")));
    // Copying into a locked folder unlocks it first.
    EXPECT_TRUE(FM::copyFile(writeWork("c.fcp", "c"), work("vault/sub/c.fcp"), false));
    EXPECT_EQ(readFile(work("vault/sub/c.fcp")), "c");
    FM::unlockFolder(work("vault"));
    EXPECT_FALSE(FM::isFileLocked(a) || FM::isFileLocked(b));
}

TEST_F(Attributes, MetadataIsUserNamespaceTextOfAtMost255BytesAndEmptyMeansNothing) {
    const QString file = writeWork("a.mov", "x");
    EXPECT_TRUE(FM::setMetadataValue("Schnitt fü", "com.bm.note", file));
    char raw[64] = {};
    const ssize_t n = ::getxattr(QFile::encodeName(file).constData(), "user.com.bm.note", raw, sizeof raw);
    EXPECT_EQ(QByteArray(raw, int(n)), QString("Schnitt fü").toUtf8()); // no terminating NUL
    ASSERT_EQ(::setxattr(QFile::encodeName(file).constData(), "user.empty", "", 0, 0), 0);
    EXPECT_TRUE(FM::setMetadataValue(QString(255, 'a'), "k255", file));
    EXPECT_TRUE(FM::setMetadataValue(QString(256, 'b'), "k256", file));
    ConsoleCapture console;
    EXPECT_EQ(FM::metadataValueForKey("com.bm.note", file), "Schnitt fü");
    EXPECT_TRUE(FM::metadataValueForKey("empty", file).isNull());
    EXPECT_TRUE(FM::metadataValueForKey("missing", file).isNull());
    EXPECT_EQ(FM::metadataValueForKey("k255", file), QString(255, 'a'));
    EXPECT_TRUE(FM::metadataValueForKey("k256", file).isNull());
}

TEST_F(Attributes, TouchRunsTheToolDirectlyOnWritableItemsAndPrivilegedOnOthers) {
    const RecordingTool touch = fakeTool(Tool::Touch);
    const QString file = writeWork("a", "x");
    EXPECT_TRUE(FM::touchFile(file) && FM::touchFile(file, true));
    EXPECT_FALSE(FM::touchFile(QString()));
    EXPECT_EQ(touch.calls(), (QList<QStringList>(2, {"-c", file})));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    if (!lockingWorks())
        GTEST_SKIP() << "needs an item nobody may write: a locked one";
    grantingPkexec();
    ASSERT_TRUE(FM::lockFile(file));
    EXPECT_TRUE(FM::touchFile(file));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{touch.path(), "-c", file}));
    EXPECT_EQ(touch.calls().size(), 3);
}

TEST_F(Attributes, LabelBitsAreReplacedAndOtherFlagsKept) {
    const QString file = writeWork("a.mov", "x"), plain = writeWork("b.mov", "x");
    QByteArray info(32, 0);
    info[8] = 0x40; // a Finder flag other than the label
    ASSERT_TRUE(home().platform().setFinderInfo(file, info));
    FM::setFinderColorIndex(12, file);
    EXPECT_EQ(FM::finderColorIndexForPath(file), 0x400C);
    EXPECT_FALSE(FM::finderColorForPath(file).has_value()); // the whole word is compared

    EXPECT_EQ(FM::finderColorIndexForPath(plain), 0);
    FM::setFinderColorIndex(13, plain); // only the label bits count
    EXPECT_EQ(FM::finderColorIndexForPath(plain), 12);
    EXPECT_EQ(FM::finderColorForPath(plain), (BMLabelColor{"red", 0.0083, 0.54, 1.0}));
    FM::setFinderColorIndex(0, plain);
    EXPECT_EQ(FM::finderColorIndexForPath(plain), 0);
    FM::setFinderColorIndex(4, work("missing"));
    EXPECT_EQ(FM::finderColorIndexForPath(work("missing")) + FM::finderColorIndexForPath("relative.mov"), 0);
}

TEST(LabelColour, EachEvenIndexBelowSixteenHasItsColourAndTheOddOnesShareIt) {
    const BMLabelColor table[] = {{"grey", 0.0, 0.0, 0.72},       {"green", 0.2056, 0.5, 0.85},
                                  {"purple", 0.7917, 0.26, 0.86}, {"blue", 0.5789, 0.56, 0.98},
                                  {"yellow", 0.1388, 0.54, 0.95}, {"red", 0.0083, 0.54, 1.0},
                                  {"orange", 0.0888, 0.52, 0.98}};
    for (quint16 index = 0; index < 18; ++index) {
        const auto colour = BMFileManager::finderColorForColorIndex(index);
        EXPECT_EQ(colour, index < 2 || index > 15 ? std::nullopt : std::optional(table[index / 2 - 1]))
            << index;
    }
    EXPECT_FALSE(BMFileManager::finderColorForColorIndex(0x400C));
}

TEST_F(Attributes, DiskInformationComesFromFindmntAsADictionary) {
    const RecordingTool findmnt = fakeTool(
        Tool::Findmnt, R"(printf '%s' '{"filesystems": [{"target": "/Volumes/Media", "size": 1000}]}')");
    EXPECT_EQ(FM::infoForDiskAtMountpoint("/Volumes/Media"),
              (QVariantMap{{"target", "/Volumes/Media"}, {"size", 1000}}));
    ASSERT_EQ(findmnt.calls().size(), 1);
    EXPECT_EQ(findmnt.calls()[0].last(), "/Volumes/Media");
    EXPECT_TRUE(findmnt.calls()[0].contains("--json"));
    fakeTool(Tool::Findmnt, "echo not json; exit 1");
    ConsoleCapture console;
    EXPECT_FALSE(FM::infoForDiskAtMountpoint("/").has_value());
    EXPECT_TRUE(console.text().startsWith("Error converting diskutil output: "));
}

TEST_F(Attributes, WaitingForCreationLooksOnlyOnceAndForWritesLastsUntilTheFileIsQuiet) {
    const QString missing = work("render.mov");
    QElapsedTimer clock;
    clock.start();
    FM::waitForFileCreation(missing, 60);
    EXPECT_LT(clock.elapsed(), 5000);
    FM::waitForFileCreation(writeWork("done.mov", "x"), 60);
    FM::waitForFileCreation(missing, 0); // time-out already over: not a word
    EXPECT_EQ(logText().count("is not yet created"), 1);
    EXPECT_TRUE(logText().contains("File " + missing + " is not yet created. Waiting..."));
    const QString file = writeWork("render.mov", "x");
    ASSERT_TRUE(FM::setModificationDate(QDateTime::currentDateTimeUtc().addSecs(-60), file));
    FM::waitForFileWrites(file);
    EXPECT_FALSE(logText().contains("being written"));
    writeWork("render.lock", "");
    FM::waitForFileWrites(file, "render.lock");
    EXPECT_TRUE(logText().contains("File " + file + " is currently being written to. Waiting..."));
    EXPECT_TRUE(logText().contains("File " + file + " finished writing."));

    ASSERT_TRUE(FM::setModificationDate(QDateTime::currentDateTimeUtc().addMSecs(-3000), file));
    clock.restart();
    FM::waitForFileWrites(file);
    EXPECT_GE(clock.elapsed(), 900);
    EXPECT_GE(QFileInfo(file).lastModified().msecsTo(QDateTime::currentDateTime()), 4000);
}

TEST(FileSizeText, StepsOf1024UpToGigabytes) {
    QStringList texts;
    for (const double bytes :
         {0.0, 1023.0, 1024.0, 1536.0, 1048575.0, 1048576.0, 1073741824.0, 1099511627776.0})
        texts << FM::formatFileSize(bytes);
    EXPECT_EQ(texts, (QStringList{"0 B", "1023 B", "1.00 KB", "1.50 KB", "1024.00 KB", "1.00 MB", "1.00 GB",
                                  "1024.00 GB"}));
}

} // namespace
