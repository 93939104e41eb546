#include "foundation/platform/linux/LinuxPlatform.h"

#include "MacMetadata.h"
#include "TempHome.h"

#include <QFile>

#include <sys/xattr.h>

TEST(LinuxPlatform, ParsesOsReleaseSeatFileAndDiskLabels) {
    const auto version = [](const char* text) {
        const auto v = LinuxPlatform::parseOsReleaseVersion(text);
        return v ? QString("%1.%2.%3").arg(v->major).arg(v->minor).arg(v->bugfix) : QString();
    };
    EXPECT_EQ(version("NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n"), "12.0.0");
    EXPECT_EQ(version("VERSION_ID=22.04.3\n"), "22.4.3");
    EXPECT_TRUE(version("NAME=Arch\n").isNull() && version("VERSION_ID=rolling\n").isNull());
    EXPECT_EQ(LinuxPlatform::parseSeatActiveUid("IS_SEAT0=1\nACTIVE=c2\nACTIVE_UID=1000\n"), "1000");
    EXPECT_TRUE(LinuxPlatform::parseSeatActiveUid("IS_SEAT0=1\n").isEmpty());
    EXPECT_EQ(LinuxPlatform::unescapeDiskLabel("Media\\x20Drive"), "Media Drive");
}

namespace {
class SeatPlatform : public LinuxPlatform {
public:
    explicit SeatPlatform(QString seat, QString marker = "/run/systemd/system")
        : m_seat(std::move(seat)), m_marker(std::move(marker)) {}

protected:
    QString seatStateFile() const override { return m_seat; }
    QString systemdRunningMarker() const override { return m_marker; }

private:
    QString m_seat;
    QString m_marker;
};
} // namespace

// Root on a server (seat0, nobody at it), without a seat or without systemd works for itself.
using PlatformFiles = TempHomeTest;

TEST_F(PlatformFiles, NobodyAtTheSeatMeansTheProcesssOwnUser) {
    const QString marker = home().makeFolder("systemd-running"), own = LinuxPlatform().userName();
    const QString seat = home().writeFile("seat0", "IS_SEAT0=1\nCAN_MULTI_SESSION=1\n");
    EXPECT_EQ(SeatPlatform(seat, marker).consoleUser(), own);
    EXPECT_EQ(SeatPlatform(home().root() + "/none", marker).consoleUser(), own);
    home().writeFile("seat0", "IS_SEAT0=1\nACTIVE_UID=65534\n");
    EXPECT_EQ(SeatPlatform(seat, marker).consoleUser(), "nobody");
    EXPECT_EQ(SeatPlatform(seat, home().root() + "/not-running").consoleUser(), own);
}

// The records a Mac's metadata gets on a Samba or netatalk share win over the file's own
// attribute, and are read and changed in place, however many attribute names the file has.
TEST_F(PlatformFiles, FinderInfoFromEitherAttributeTheSharesRecordWinningAndChangedInPlace) {
    const LinuxPlatform platform;
    const QByteArray record = LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), finderInfoOfType("FCPF"));
    EXPECT_EQ(record.size(), 60);
    EXPECT_TRUE(record.startsWith(QByteArray("AFP\0\0\1\0\0", 8)));
    EXPECT_EQ(record.mid(16, 32), finderInfoOfType("FCPF")); // the FinderInfo's place in the record
    EXPECT_FALSE(LinuxPlatform::finderInfoFromAfpInfo(QByteArray("XYZ") + QByteArray(57, 0)));
    QByteArray labelled = finderInfoOfType("FCPF");
    labelled[9] = 0x0C;
    const QByteArray metadata = netatalkMetadata(finderInfoOfType("FCPF"), "Reel 4, final grade");
    for (const auto& [attribute, value] : {std::pair{LinuxPlatform::netatalkAttribute, metadata},
                                           std::pair{LinuxPlatform::afpStreamAttribute, record + '\0'}}) {
        const QString file = home().writeFile(QStringLiteral("share/%1").arg(value.size()), "x");
        const QByteArray encoded = QFile::encodeName(file);
        auto set = [&](const char* name, const QByteArray& bytes) {
            return ::setxattr(encoded.constData(), name, bytes.constData(), size_t(bytes.size()), 0) == 0;
        };
        if (!set("user.xdg.origin.url", "https://example.org"))
            GTEST_SKIP() << "this file system refuses user extended attributes";
        for (int n = 0; n < 40; ++n)
            ASSERT_TRUE(set("user.vestry.padding-attribute-with-a-long-name-" + QByteArray::number(n), "x"));
        ASSERT_TRUE(set(attribute, value));
        EXPECT_EQ(platform.finderInfo(file), finderInfoOfType("FCPF")) << attribute;
        ASSERT_TRUE(platform.setFinderInfo(file, labelled));
        EXPECT_EQ(platform.finderInfo(file), labelled) << attribute;
        char buffer[1024];
        const ssize_t n = ::getxattr(encoded.constData(), attribute, buffer, sizeof buffer);
        QByteArray expected = value;
        expected.replace(value.size() == 402 ? 122 : 16, 32, labelled); // nothing else changed
        EXPECT_EQ(QByteArray(buffer, qsizetype(std::max<ssize_t>(n, 0))), expected) << attribute;
        EXPECT_EQ(::getxattr(encoded.constData(), LinuxPlatform::finderInfoAttribute, nullptr, 0), -1);
        // The file's own attribute, where there is no record.
        const QString own = home().writeFile("own/" + QString::number(value.size()), "x");
        ASSERT_TRUE(platform.setFinderInfo(own, finderInfoOfType("TEXT")));
        EXPECT_EQ(platform.finderInfo(own), finderInfoOfType("TEXT"));
        ASSERT_EQ(::setxattr(QFile::encodeName(own).constData(), attribute, value.constData(),
                             size_t(value.size()), 0),
                  0);
        EXPECT_EQ(platform.finderInfo(own), finderInfoOfType("FCPF")) << "the record wins";
    }
}

TEST_F(PlatformFiles, FileFactsGiveSizeKindAndDates) {
    const QString file = home().writeFile("facts/twelve.txt", "twelve bytes"),
                  link = home().root() + "/facts/link";
    ASSERT_TRUE(QFile::link(file, link));
    const LinuxPlatform platform;
    const auto facts = platform.fileFacts(file);
    ASSERT_TRUE(facts);
    EXPECT_TRUE(facts->size == 12u && !facts->isDirectory && facts->created <= facts->modified.addSecs(1));
    EXPECT_TRUE(platform.fileFacts(home().root() + "/facts")->isDirectory);
    EXPECT_FALSE(platform.fileFacts(home().root() + "/facts/none"));
    EXPECT_TRUE(platform.fileFacts(link, false)->isSymbolicLink &&
                !platform.fileFacts(link, true)->isSymbolicLink);
}
