#include "foundation/platform/linux/LinuxPlatform.h"

#include "TempHome.h"

#include <QDateTime>
#include <QFile>

#include <sys/xattr.h>

TEST(OsRelease, ReadsVersionIdInThreeParts) {
    auto v = LinuxPlatform::parseOsReleaseVersion("NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");
    ASSERT_TRUE(v);
    EXPECT_EQ(v->major, 12);
    EXPECT_EQ(v->minor, 0);
    v = LinuxPlatform::parseOsReleaseVersion("VERSION_ID=22.04.3\n");
    ASSERT_TRUE(v);
    EXPECT_EQ(v->minor, 4);
    EXPECT_EQ(v->bugfix, 3);
    EXPECT_FALSE(LinuxPlatform::parseOsReleaseVersion("NAME=Arch\n"));
    EXPECT_FALSE(LinuxPlatform::parseOsReleaseVersion("VERSION_ID=rolling\n"));
}

TEST(ConsoleUser, ActiveUidComesFromTheSeatFile) {
    EXPECT_EQ(LinuxPlatform::parseSeatActiveUid("IS_SEAT0=1\nACTIVE=c2\nACTIVE_UID=1000\n"), "1000");
    EXPECT_TRUE(LinuxPlatform::parseSeatActiveUid("IS_SEAT0=1\n").isEmpty());
}

TEST(BootVolume, DiskLabelsAreUnescaped) {
    EXPECT_EQ(LinuxPlatform::unescapeDiskLabel("Media\\x20Drive"), "Media Drive");
    EXPECT_EQ(LinuxPlatform::unescapeDiskLabel("plain"), "plain");
}

TEST(FinderInfo, AfpInfoCarriesItAtOffsetSixteen) {
    QByteArray finder(32, 0);
    finder.replace(0, 8, "FCPFKeyG");
    const QByteArray record = LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), finder);
    EXPECT_EQ(record.size(), 60);
    EXPECT_TRUE(record.startsWith(QByteArray("AFP\0\0\1\0\0", 8)));
    EXPECT_EQ(LinuxPlatform::finderInfoFromAfpInfo(record), finder);
    EXPECT_FALSE(LinuxPlatform::finderInfoFromAfpInfo(QByteArray("XYZ") + QByteArray(57, 0)));
}

using PlatformFiles = TempHomeTest;

TEST_F(PlatformFiles, FinderInfoRoundTripsOnRealFiles) {
    const QString file = home().writeFile("vault/Cut_01-02-14_1030", "x");
    const QString shared = home().writeFile("vault/FromShare_01-02-14_1030", "x");
    const LinuxPlatform platform;
    QByteArray info(32, 0);
    info.replace(0, 4, "FCPF");
    if (!platform.setFinderInfo(file, info))
        GTEST_SKIP() << "this file system refuses user extended attributes";
    EXPECT_EQ(platform.finderInfo(file)->left(4), QByteArray("FCPF"));

    // A file a Mac left on a netatalk share: the record wins and is kept up to date.
    QByteArray afp = LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info);
    ASSERT_EQ(::setxattr(QFile::encodeName(shared).constData(), LinuxPlatform::netatalkAttribute,
                         afp.constData(), size_t(afp.size()), 0),
              0);
    EXPECT_EQ(platform.finderInfo(shared)->left(4), QByteArray("FCPF"));
    QByteArray labelled = info;
    labelled[9] = 0x0C;
    ASSERT_TRUE(platform.setFinderInfo(shared, labelled));
    EXPECT_EQ(platform.finderInfo(shared)->at(9), 0x0C);
    EXPECT_LT(
        ::getxattr(QFile::encodeName(shared).constData(), LinuxPlatform::finderInfoAttribute, nullptr, 0), 0);
    EXPECT_FALSE(platform.finderInfo(home().writeFile("vault/plain")).has_value());
}

TEST_F(PlatformFiles, FileFactsGiveSizeKindAndDates) {
    const QString file = home().writeFile("facts/twelve.txt", "twelve bytes");
    const LinuxPlatform platform;
    const auto facts = platform.fileFacts(file);
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->size, 12u);
    EXPECT_FALSE(facts->isDirectory);
    EXPECT_LE(facts->created, QDateTime::currentDateTimeUtc().addSecs(1));
    EXPECT_LE(facts->created, facts->modified.addSecs(1));
    EXPECT_TRUE(platform.fileFacts(home().root() + "/facts")->isDirectory);
    EXPECT_FALSE(platform.fileFacts(home().root() + "/facts/none"));

    ASSERT_TRUE(QFile::link(file, home().root() + "/facts/link"));
    EXPECT_TRUE(platform.fileFacts(home().root() + "/facts/link", false)->isSymbolicLink);
    EXPECT_FALSE(platform.fileFacts(home().root() + "/facts/link", true)->isSymbolicLink);
}
