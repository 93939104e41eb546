// Copy To and Move To on real volumes: a full one, and the folder an autosave already lies in.
#include "ActionsFixture.h"
#include "actions/AutosaveOpener.h"
#include "support/Tmpfs.h"

namespace {

class Transfer : public ActionsTest {};

TEST_F(Transfer, OntoAFullVolumeNothingHalfMadeIsLeftAndTheCauseIsGiven) {
    const QString disk = home().root() + "/disk";
    Tmpfs volume(disk, "size=64k");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    const QByteArray big(200 * 1024, 'a');
    const QString alpha = write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj", big);
    // Run by root, a retry with privileges could only repeat the failure, or overwrite.
    home().platform().uid = 0;
    scan();
    for (const auto how : {AutosaveOpener::Transfer::Copy, AutosaveOpener::Transfer::Move}) {
        const auto report = AutosaveOpener::copyFiles(rows({"Alpha-1.prproj"}), disk, how);
        EXPECT_TRUE(report.done.isEmpty()) << report.done.join(", ").toStdString();
        EXPECT_EQ(report.failed, QStringList{alpha});
        const QString reason = report.reasons.value(alpha);
        EXPECT_TRUE(reason.contains(alpha) && reason.contains("No space left on device"))
            << reason.toStdString();
        EXPECT_EQ(QDir(disk).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
        EXPECT_EQ(readFile(alpha), big);
    }
}

// Moving into the folder an autosave is in leaves its name; a folder gone before the move is
// named as the cause.
TEST_F(Transfer, MovingIntoTheFolderItIsInLeavesItsNameAndAFolderGoneIsNamedAsTheCause) {
    const QString link = home().root() + "/to Beta";
    ASSERT_TRUE(QFile::link(premiere("Beta"), link));
    scan();
    for (const QString& folder : {premiere("Beta"), link}) {
        const auto report =
            AutosaveOpener::copyFiles(rows({"Beta-1.prproj"}), folder, AutosaveOpener::Transfer::Move);
        EXPECT_TRUE(report.failed.isEmpty());
        EXPECT_EQ(report.done, QStringList{premiere("Beta/Beta-1.prproj")});
        EXPECT_EQ(QDir(premiere("Beta")).entryList(QDir::Files),
                  (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    }
    const QString gone = home().root() + "/Unmounted/Kept";
    const auto report = AutosaveOpener::copyFiles(rows({"Beta"}), gone, AutosaveOpener::Transfer::Move);
    EXPECT_EQ(report.failed.size(), 2);
    EXPECT_EQ(report.reasons.value(premiere("Beta/Beta-1.prproj")), gone + ": No such file or directory");
    EXPECT_TRUE(QFileInfo::exists(premiere("Beta/Beta-2.prproj")));
}

} // namespace
