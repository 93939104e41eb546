// vestry pin and unpin, and what a pin keeps: the built program run as a subprocess on a real
// Premiere location in the test's temporary home.
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "support/Programs.h"
#include "support/TempHome.h"
#include "support/ZipEntries.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <gtest/gtest.h>

namespace {

constexpr char kLocation[] = "Documents/Adobe Premiere Pro Auto-Save";

// Alpha (one autosave) and Beta (three, created in this order).
class Pins : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
        premiere = home().home() + "/" + kLocation;
        for (const char* name :
             {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"}) {
            home().writeFile(premiere + "/" + name, QByteArray(name).repeated(10));
            QThread::msleep(5);
        }
    }
    ProgramRun run(const QStringList& arguments) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        environment.insert("TZ", "UTC");
        return runProgram(VESTRY_PROGRAM, arguments, {environment, home().home()});
    }
    static QStringList stored() {
        BMSettings::standard().synchronize();
        return BMSettings::standard().stringListValue(SettingsKey::pinnedPaths);
    }
    QString at(const QString& relative) const { return premiere + "/" + relative; }
    bool exists(const QString& relative) const { return QFileInfo::exists(at(relative)); }

    QString premiere;
};

TEST_F(Pins, ArePinnedOnceRefusedByNameAndTakenOffEvenWhenTheFileIsGone) {
    const ProgramRun first = run({"pin", at("Beta/"), at("Alpha/Alpha-1.prproj")});
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_EQ(first.out, "Pinned " + at("Beta") + "\nPinned " + at("Alpha/Alpha-1.prproj") + "\n");
    EXPECT_EQ(run({"pin", QString(kLocation) + "/Beta"}).exitCode, 0); // relative, and again
    const QString tilde = QString("~/") + kLocation;
    EXPECT_EQ(stored(), (QStringList{tilde + "/Beta", tilde + "/Alpha/Alpha-1.prproj"}));

    // One bad path and nothing changes; each is named with its cause.
    home().writeFile(home().home() + "/Documents/notes.txt");
    home().writeFile(at("Beta/notes.txt"));
    const ProgramRun refused = run({"pin", at("Beta/Beta-2.prproj"), "Gone.prproj", "Documents/notes.txt",
                                    premiere, at("Beta/notes.txt")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(
        refused.err.split('\n'),
        (QStringList{"vestry pin: Gone.prproj: no such file or folder",
                     "vestry pin: Documents/notes.txt: not inside an autosave location (see vestry list)",
                     "vestry pin: " + premiere +
                         ": is an autosave location; name the projects or autosaves in it",
                     "vestry pin: " + at("Beta/notes.txt") +
                         ": not a project or autosave that Vestry lists in " + premiere,
                     "vestry pin: nothing was changed", ""}));
    EXPECT_EQ(stored().size(), 2);

    // An autosave of a pinned project stays pinned with it.
    const ProgramRun within = run({"unpin", at("Beta/Beta-2.prproj")});
    EXPECT_EQ(within.exitCode, 0);
    EXPECT_EQ(within.err, "vestry unpin: " + at("Beta/Beta-2.prproj") + ": stays pinned with its project " +
                              at("Beta") + "\n");
    ASSERT_TRUE(QFile::remove(at("Alpha/Alpha-1.prproj")));
    EXPECT_EQ(run({"unpin", at("Alpha/Alpha-1.prproj"), at("Beta")}).exitCode, 0);
    EXPECT_EQ(stored(), QStringList());
    const ProgramRun gone = run({"unpin", at("Alpha/Alpha-1.prproj")});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.err, "vestry unpin: " + at("Alpha/Alpha-1.prproj") +
                            ": no such file or folder\nvestry unpin: nothing was changed\n");
}

TEST_F(Pins, AreMarkedInTheListingAndOtherwiseLeaveItsBytesAsTheyWere) {
    const ProgramRun before = run({"list", "--json", premiere});
    ASSERT_EQ(before.exitCode, 0) << before.err.toStdString();
    ASSERT_EQ(run({"pin", at("Beta"), at("Alpha/Alpha-1.prproj")}).exitCode, 0);

    QString expected = before.out;
    for (const char* path :
         {"Alpha/Alpha-1.prproj", "Beta", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"}) {
        const QString key = "\"path\":\"" + at(path) + "\",";
        ASSERT_EQ(expected.count(key), 1) << key.toStdString();
        expected.replace(key, "\"path\":\"" + at(path) + "\",\"pinned\":true,");
    }
    EXPECT_EQ(run({"list", "--json", premiere}).out, expected);
    EXPECT_EQ(run({"list", "--json", "--sort", "name", premiere}).out, expected);

    // In text the project's row is marked for all of its autosaves, a single autosave on its own.
    const QStringList lines = run({"list", premiere}).out.split('\n');
    ASSERT_GE(lines.size(), 5);
    EXPECT_FALSE(lines[0].endsWith("(pinned)")) << lines[0].toStdString();
    EXPECT_TRUE(lines[1].startsWith("  Alpha-1.prproj") && lines[1].endsWith("  (pinned)"));
    EXPECT_TRUE(lines[2].startsWith("Beta ") && lines[2].endsWith("  (pinned)"));
    EXPECT_FALSE(lines[3].endsWith("(pinned)")) << lines[3].toStdString();

    ASSERT_EQ(run({"unpin", at("Beta"), at("Alpha/Alpha-1.prproj")}).exitCode, 0);
    EXPECT_EQ(run({"list", "--json", premiere}).out, before.out);
}

TEST_F(Pins, KeepAnAutosaveFromEveryRuleAndFromTheTrashAfterAnArchive) {
    ASSERT_EQ(run({"pin", at("Beta/Beta-1.prproj")}).exitCode, 0);
    const ProgramRun keep = run({"prune", "--keep", "1", "--json", premiere});
    ASSERT_EQ(keep.exitCode, 0) << keep.err.toStdString();
    EXPECT_TRUE(keep.out.startsWith("{\"removed\":[{\"path\":\"" + at("Beta/Beta-2.prproj") + "\","))
        << keep.out.toStdString();
    EXPECT_TRUE(exists("Beta/Beta-1.prproj"));
    EXPECT_FALSE(exists("Beta/Beta-2.prproj"));

    // Over one byte, Beta would lose its oldest but the newest; the pin keeps it.
    const ProgramRun combined = run({"prune", "--keep", "1", "--max-size", "1B", "--json", premiere});
    EXPECT_EQ(combined.exitCode, 0) << combined.err.toStdString();
    EXPECT_EQ(combined.out, "{\"removed\":[],\"bytes\":0}\n");

    // The archive holds the pinned autosave too, but only the other goes to the Trash.
    const ProgramRun archive = run({"archive", "--to", "Beta.zip", at("Beta")});
    ASSERT_EQ(archive.exitCode, 0) << archive.err.toStdString();
    EXPECT_TRUE(archive.out.endsWith("); moved 1 (1 pinned stayed) to the Trash\n"))
        << archive.out.toStdString();
    EXPECT_EQ(zipEntryNames(home().home() + "/Beta.zip"),
              (QStringList{"Beta/", "Beta/Beta-1.prproj", "Beta/Beta-3.prproj"}));
    EXPECT_TRUE(exists("Beta/Beta-1.prproj"));
    EXPECT_FALSE(exists("Beta/Beta-3.prproj"));
    EXPECT_TRUE(exists("Alpha/Alpha-1.prproj"));
}

} // namespace
