#include "foundation/ScratchFolder.h"

#include "TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

using ScratchFolderTest = TempHomeTest;

TEST_F(ScratchFolderTest, EachRunHasItsOwnAndRemovesOnlyInsideIt) {
    const QString parent = home().root() + "/support/Halvern";
    const QString outside = home().writeFile("outside/keep.txt", "keep");
    home().writeFile("support/Halvern/Vestry Temp/stale.prproj", "an older version's");
    QString error;
    std::optional<ScratchFolder> first = ScratchFolder::create(parent, "Vestry Temp ", &error);
    std::optional<ScratchFolder> second = ScratchFolder::create(parent, "Vestry Temp ", &error);
    ASSERT_TRUE(first && second) << error.toStdString();
    EXPECT_NE(first->path(), second->path());
    EXPECT_TRUE(QFileInfo(first->path()).fileName().startsWith("Vestry Temp "));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(first->path()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u); // private to the user

    // A link inside goes as a link; what it points at stays.
    QDir().mkpath(first->path() + "/Beta/deep");
    QFile::copy(outside, first->path() + "/Beta/deep/copy.txt");
    ASSERT_TRUE(QFile::link(QFileInfo(outside).path(), first->path() + "/Beta/link"));
    EXPECT_TRUE(first->remove(&error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(first->path()));
    EXPECT_EQ(readFile(outside), "keep");

    // Something else put under the second's name since it was made is not the run's own.
    const QString name = second->path();
    ASSERT_TRUE(QDir().rename(name, name + " moved"));
    home().writeFile(name + "/someone else's.txt", "theirs");
    second.reset();
    EXPECT_EQ(readFile(name + "/someone else's.txt"), "theirs");
    EXPECT_EQ(readFile(parent + "/Vestry Temp/stale.prproj"), "an older version's");
}

} // namespace
