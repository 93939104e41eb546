#include "foundation/RealPath.h"

#include "TempHome.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

// What realpath(3) says of a path: the resolved path, or the errno.
std::pair<QByteArray, int> byLibrary(const QByteArray& path) {
    char resolved[PATH_MAX];
    if (!::realpath(path.constData(), resolved))
        return {QByteArray(), errno};
    return {QByteArray(resolved), 0};
}

TEST(RealPath, ResolvesEveryPathAsRealpathDoesAndFailsWithTheSameCause) {
    TempHome home;
    const QByteArray root = QFile::encodeName(home.root());
    const QByteArray odd = root + "/Caf\xe9 \n% (deleted)";
    ASSERT_EQ(::mkdir(odd.constData(), 0755), 0);
    ASSERT_EQ(::mkdir(root + "/real", 0755), 0);
    home.writeFile("real/file");
    ASSERT_EQ(::symlink("real", root + "/link"), 0);
    ASSERT_EQ(::symlink(odd.constData(), root + "/to odd"), 0);
    ASSERT_EQ(::symlink("nowhere", root + "/dangling"), 0);
    ASSERT_EQ(::symlink("loop", root + "/loop"), 0);
    const QByteArray cases[] = {
        root + "/link",      root + "/link/../link/./file", root + "/to odd",         odd,
        root + "/real/",     root + "/real/file/",          root + "/dangling",       root + "/loop/x",
        root + "/missing/x", root + "//real///file",        root + "/to odd/../real", "",
    };
    for (const QByteArray& path : cases) {
        int failure = 0;
        const QByteArray real = RealPath::of(path, &failure);
        const auto [expected, expectedFailure] = byLibrary(path);
        EXPECT_EQ(real, expected) << path.toStdString();
        EXPECT_EQ(failure, expectedFailure) << path.toStdString();
    }
    EXPECT_EQ(RealPath::of(root + "/to odd"), odd);
}

// A folder removed while it was being resolved is no longer anywhere: not "... (deleted)".
TEST(RealPath, AFolderRemovedAfterItWasReachedHasNoRealPath) {
    TempHome home;
    const QByteArray folder = QFile::encodeName(home.root()) + "/gone";
    ASSERT_EQ(::mkdir(folder.constData(), 0755), 0);
    const QString before = QDir::currentPath();
    ASSERT_EQ(::chdir(folder.constData()), 0);
    ASSERT_EQ(::rmdir(folder.constData()), 0);
    int failure = 0;
    EXPECT_EQ(RealPath::of(".", &failure), QByteArray());
    EXPECT_EQ(failure, ENOENT);
    ASSERT_TRUE(QDir::setCurrent(before));
}

} // namespace
