#include "foundation/platform/linux/LinuxPlatform.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/xattr.h>

TEST(LinuxPlatform, FinderInfoFromEitherAttributeAmongAnyNumberOfOthers) {
    QTemporaryDir dir;
    const QString path = dir.path() + "/Wedding_11-22-26_1030";
    QFile(path).open(QIODevice::WriteOnly);
    const QByteArray encoded = QFile::encodeName(path);
    auto set = [&](const QByteArray& name, const QByteArray& value) {
        return ::setxattr(encoded.constData(), name.constData(), value.constData(), size_t(value.size()),
                          0) == 0;
    };
    auto info = [](const char* type) { return QByteArray(type) + "KeyG" + QByteArray(24, 0); };
    if (!set("user.xdg.origin.url", "https://example.org"))
        GTEST_SKIP() << "this file system refuses user extended attributes";
    const LinuxPlatform platform;
    EXPECT_FALSE(platform.finderInfo(path));
    ASSERT_TRUE(set(LinuxPlatform::finderInfoAttribute, info("TEXT")));
    EXPECT_EQ(platform.finderInfo(path), info("TEXT"));
    // A share's record wins, also when there are more names than one listing holds.
    for (int n = 0; n < 40; ++n)
        ASSERT_TRUE(set("user.vestry.padding-attribute-with-a-long-name-" + QByteArray::number(n), "x"));
    ASSERT_TRUE(set(LinuxPlatform::netatalkAttribute,
                    LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info("FCPF"))));
    EXPECT_EQ(platform.finderInfo(path), info("FCPF"));
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

TEST(LinuxPlatform, MachineWithoutASeatIsUsedByTheProcesssOwnUser) {
    QTemporaryDir dir; // logind makes the seats folder even where no seat exists
    const SeatPlatform platform(dir.path() + "/seat0");
    EXPECT_EQ(platform.consoleUser(), platform.userName());
}
