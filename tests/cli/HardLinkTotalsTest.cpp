// Autosaves with several hard links among the listed locations: the totals say the space on disk.
#include "CommandLineFixture.h"

#include <QRegularExpression>

#include <unistd.h>

// A second name of Alpha-1 in its own project, and the location copied with `cp -al` as a
// snapshot that is listed too: every file is on disk once, and trashing all its names frees
// its size once.
TEST_F(CommandLine, FilesWithSeveralLinksCountOnceInTheTotals) {
    const QString snapshot = home().root() + "/Snapshot/Adobe Premiere Pro Auto-Save";
    ASSERT_EQ(
        ::link(QFile::encodeName(autosave(kAll[0])), QFile::encodeName(autosave("Alpha/Alpha-2.prproj"))), 0);
    for (const QString& name : kAll + QStringList{"Alpha/Alpha-2.prproj"}) {
        write(snapshot + "/" + name); // the folders
        QFile::remove(snapshot + "/" + name);
        ASSERT_EQ(::link(QFile::encodeName(autosave(name)), QFile::encodeName(snapshot + "/" + name)), 0);
    }
    const Outcome list = run({"list", premiere, snapshot});
    EXPECT_TRUE(list.out.contains(QRegularExpression("^Alpha +200 B ", QRegularExpression::MultilineOption)))
        << list.out.toStdString();
    EXPECT_TRUE(list.out.endsWith("4 projects, 10 autosaves, 740 bytes (740 B)\n")) << list.out.toStdString();
    const Outcome summary = run({"list", "--summary", "--json", premiere, snapshot});
    EXPECT_TRUE(summary.out.contains("\"total\":{\"autosaves\":10,\"bytes\":740,\"projects\":4}"))
        << summary.out.toStdString();
}
