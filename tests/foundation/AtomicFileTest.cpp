#include "foundation/AtomicFile.h"

#include "TempHome.h"
#include "Tmpfs.h"

#include <QDir>

using AtomicFileTest = TempHomeTest;

// Every file written whole or not at all (settings, units, the editor's preferences, the
// record of the last removal) goes through here.
TEST_F(AtomicFileTest, OnAFullDiskEvenASmallWriteLeavesTheOldFileWholeAndSaysWhy) {
    const QString folder = home().root() + "/small";
    Tmpfs volume(folder, "size=64k");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    const QString path = folder + "/vestry-last-removal.json";
    ASSERT_TRUE(AtomicFile::write(path, "before"));
    volume.fill();
    // Small enough for Qt to keep in its buffer until the commit.
    QString error;
    EXPECT_FALSE(AtomicFile::write(path, "after", &error));
    EXPECT_TRUE(error.contains("No space left on device")) << error.toStdString();
    EXPECT_EQ(readFile(path), "before");
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden),
              (QStringList{"filler", "vestry-last-removal.json"}));
}
