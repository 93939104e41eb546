// Move To after the editor wrote an autosave again under its old name.
#include "ActionsFixture.h"
#include "actions/AutosaveOpener.h"

// The list was made before Premiere saved Beta-1 again: the new work stays where the editor
// looks for it, as a removal leaves it; Beta-2, as listed, moves.
TEST_F(ActionsTest, MoveToLeavesAnAutosaveWrittenAgainSinceItWasListed) {
    scan();
    const QString folder = home().makeFolder("Kept");
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", "the newest edit, saved just now");
    const auto report = AutosaveOpener::copyFiles(rows({"Beta"}), folder, AutosaveOpener::Transfer::Move);
    EXPECT_EQ(report.done, QStringList{folder + "/Beta-2.prproj"});
    EXPECT_EQ(report.failed, QStringList{premiere("Beta/Beta-1.prproj")});
    EXPECT_TRUE(
        report.reasons.value(premiere("Beta/Beta-1.prproj"))
            .startsWith(premiere("Beta/Beta-1.prproj: written again since it was listed (now 31 bytes, ")))
        << report.reasons.value(premiere("Beta/Beta-1.prproj")).toStdString();
    EXPECT_EQ(readFile(premiere("Beta/Beta-1.prproj")), "the newest edit, saved just now");
}
