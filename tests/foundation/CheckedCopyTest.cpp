// A move across volumes takes from the original only what it copied and proved whole.
#include "foundation/CheckedCopy.h"

#include "TempHome.h"
#include "Tmpfs.h"
#include "foundation/FileTree.h"

#include <QFile>

namespace {

QByteArray bytes(const QString& path) {
    return QFile::encodeName(path);
}

class CheckedCopyTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        home().writeFile("Beta/Beta-1.prproj", "one");
        home().writeFile("Beta/Auto/Beta-2.prproj", "two");
        source = home().root() + "/Beta";
    }
    QString source;
};

} // namespace

TEST_F(CheckedCopyTest, WhatArrivesOrChangesAfterTheCheckStaysAndADifferentCopyIsCaught) {
    const QString copy = home().root() + "/Copy";
    ASSERT_TRUE(FileTree::copyItem(source, copy, nullptr));
    CheckedCopy checked;
    QString why;
    ASSERT_TRUE(checked.check(bytes(source), bytes(copy), &why)) << why.toStdString();

    // An editor saves into the folder after the check: its file and the folder stay.
    home().writeFile("Beta/Auto/Beta-3.prproj", "three");
    EXPECT_FALSE(checked.removeOriginal(&why));
    EXPECT_TRUE(why.contains("Auto")) << why.toStdString();
    EXPECT_TRUE(QFile::exists(source + "/Auto/Beta-3.prproj"));

    // An original rewritten after the check is not removed either.
    home().writeFile("Beta/Beta-1.prproj", "one, saved again");
    ASSERT_TRUE(FileTree::removeItem(copy, nullptr));
    ASSERT_TRUE(FileTree::copyItem(source, copy, nullptr));
    ASSERT_TRUE(checked.check(bytes(source), bytes(copy), &why));
    home().writeFile("Beta/Beta-1.prproj", "one, saved a third time");
    EXPECT_FALSE(checked.removeOriginal(&why));
    EXPECT_TRUE(why.contains("changed after it was copied")) << why.toStdString();
    EXPECT_TRUE(QFile::exists(source + "/Beta-1.prproj"));

    // A copy that differs in one byte or lacks an entry is no proof.
    home().writeFile("Copy/Beta-1.prproj", "one, saved a third timE");
    EXPECT_FALSE(checked.check(bytes(source), bytes(copy), &why));
    EXPECT_TRUE(why.contains("differs")) << why.toStdString();
    QFile::remove(copy + "/Beta-1.prproj");
    EXPECT_FALSE(checked.check(bytes(source), bytes(copy), &why));
}

TEST_F(CheckedCopyTest, AMoveToAnotherVolumeEndsWithTheOriginalGoneOrWhole) {
    const QString volume = home().root() + "/Volume";
    const Tmpfs mounted(volume, "size=64k");
    if (!mounted.mounted())
        GTEST_SKIP() << mounted.why().toStdString();

    QString error;
    ASSERT_TRUE(FileTree::moveItem(source, volume + "/Beta", &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(source));
    EXPECT_TRUE(QFile::exists(volume + "/Beta/Auto/Beta-2.prproj"));

    // Too big for the volume: the copy goes, the original stays whole.
    home().writeFile("Beta/Big.prproj", QByteArray(128 * 1024, 'x'));
    EXPECT_FALSE(FileTree::moveItem(source, volume + "/Big", &error));
    EXPECT_TRUE(error.contains("No space left on device")) << error.toStdString();
    EXPECT_EQ(QFileInfo(source + "/Big.prproj").size(), 128 * 1024);
    EXPECT_FALSE(FileTree::exists(volume + "/Big"));
}
