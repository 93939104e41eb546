#include "foundation/platform/linux/LinuxPlatform.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

class FinderInfoTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = m_dir.path() + QStringLiteral("/Wedding_11-22-26_1030");
        QFile file(m_path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.close();
        if (!set("user.vestry.probe", "1"))
            GTEST_SKIP() << "this file system refuses user extended attributes";
        ::removexattr(encoded().constData(), "user.vestry.probe");
    }

    QByteArray encoded() const { return QFile::encodeName(m_path); }
    bool set(const char* name, const QByteArray& value) {
        return ::setxattr(encoded().constData(), name, value.constData(), size_t(value.size()), 0) == 0;
    }
    static QByteArray info(const char* type) {
        return QByteArray(type, 4) + QByteArray("KeyG") + QByteArray(24, 0);
    }

    QTemporaryDir m_dir;
    QString m_path;
    LinuxPlatform m_platform;
};

} // namespace

TEST_F(FinderInfoTest, NoneWithoutAttributesOrWithOthersOnly) {
    EXPECT_FALSE(m_platform.finderInfo(m_path));
    ASSERT_TRUE(set("user.xdg.origin.url", "https://example.org"));
    EXPECT_FALSE(m_platform.finderInfo(m_path));
}

TEST_F(FinderInfoTest, ReadsEitherFormAndPrefersTheShareRecord) {
    ASSERT_TRUE(set(LinuxPlatform::finderInfoAttribute, info("TEXT")));
    EXPECT_EQ(m_platform.finderInfo(m_path), info("TEXT"));
    ASSERT_TRUE(set(LinuxPlatform::netatalkAttribute,
                    LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info("FCPF"))));
    EXPECT_EQ(m_platform.finderInfo(m_path), info("FCPF"));
}

TEST_F(FinderInfoTest, FoundAmongMoreNamesThanOneListingHolds) {
    for (int n = 0; n < 40; ++n)
        ASSERT_TRUE(set(
            QStringLiteral("user.vestry.padding-attribute-with-a-long-name-%1").arg(n).toLatin1().constData(),
            "x"));
    ASSERT_TRUE(set(LinuxPlatform::finderInfoAttribute, info("FCPF")));
    char names[1024];
    ASSERT_LT(::listxattr(encoded().constData(), names, sizeof names), 0);
    EXPECT_EQ(m_platform.finderInfo(m_path), info("FCPF"));
}

namespace {

class SeatPlatform : public LinuxPlatform {
public:
    explicit SeatPlatform(QString seat) : m_seat(std::move(seat)) {}

protected:
    QString seatStateFile() const override { return m_seat; }

private:
    QString m_seat;
};

} // namespace

TEST(ConsoleUser, MachineWithoutASeatIsUsedByTheProcesssOwnUser) {
    QTemporaryDir dir;
    // logind makes the seats folder even where no seat exists (headless machines).
    const SeatPlatform platform(dir.path() + QStringLiteral("/seat0"));
    EXPECT_EQ(platform.consoleUser(), platform.userName());
}

TEST(ConsoleUser, ActiveSeatNamesItsUser) {
    QTemporaryDir dir;
    QFile seat(dir.path() + QStringLiteral("/seat0"));
    ASSERT_TRUE(seat.open(QIODevice::WriteOnly));
    seat.write(QStringLiteral("IS_SEAT0=1\nACTIVE_UID=%1\n").arg(::getuid()).toLatin1());
    seat.close();
    const SeatPlatform platform(seat.fileName());
    EXPECT_EQ(platform.consoleUser(), platform.userName());
}
