// vestry pin and unpin, the combined prune rule, and what a pin keeps: the built program run as a
// subprocess on real Premiere locations in the test's temporary home.
#include "CommandLineFixture.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "support/MacMetadata.h"
#include "support/ZipEntries.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <vector>

namespace {

constexpr char kLocation[] = "Documents/Adobe Premiere Pro Auto-Save";

class Pins : public CommandLine {
protected:
    static QStringList stored() {
        BMSettings::standard().synchronize();
        return BMSettings::standard().stringListValue(SettingsKey::pinnedPaths);
    }
    QString at(const QString& relative) const { return autosave(relative); }
};

TEST_F(Pins, ArePinnedOnceRefusedByNameOrForNotBeingUtf8AndTakenOffEvenWhenTheFileIsGone) {
    const ProgramRun first = run({"pin", at("Beta/"), at("Alpha/Alpha-1.prproj")});
    EXPECT_EQ(first.out, "Pinned " + at("Beta") + "\nPinned " + at("Alpha/Alpha-1.prproj") + "\n");
    EXPECT_EQ(run({"pin", QString(kLocation) + "/Beta"}).exitCode, 0); // relative, and again
    const QString tilde = QString("~/") + kLocation;
    EXPECT_EQ(stored(), (QStringList{tilde + "/Beta", tilde + "/Alpha/Alpha-1.prproj"}));

    // One bad path and nothing changes; each is named with its cause.
    home().writeFile(at("Beta/notes.txt"));
    const ProgramRun refused =
        run({"pin", at("Beta/Beta-2.prproj"), "Gone.prproj", premiere, at("Beta/notes.txt")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err.split('\n'),
              (QStringList{"vestry pin: Gone.prproj: no such file or folder",
                           "vestry pin: " + premiere +
                               ": is an autosave location; name the projects or autosaves in it",
                           "vestry pin: " + at("Beta/notes.txt") +
                               ": not a project or autosave that Vestry lists in " + premiere,
                           "vestry pin: nothing was changed", ""}));
    EXPECT_EQ(stored().size(), 2);

    EXPECT_EQ(run({"unpin", at("Beta/Beta-2.prproj")}).err, "vestry unpin: " + at("Beta/Beta-2.prproj") +
                                                                ": stays pinned with its project " +
                                                                at("Beta") + "\n");
    ASSERT_TRUE(QFile::remove(at("Alpha/Alpha-1.prproj")));
    EXPECT_EQ(run({"unpin", at("Alpha/Alpha-1.prproj"), at("Beta")}).exitCode, 0);
    EXPECT_EQ(stored(), QStringList());
    const ProgramRun gone = run({"unpin", at("Alpha/Alpha-1.prproj")});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.err, "vestry unpin: " + at("Alpha/Alpha-1.prproj") +
                            ": no such file or folder\nvestry unpin: nothing was changed\n");

    // The settings file holds text: a pin of a path that is not UTF-8 would be stored as "Caf?",
    // which keeps nothing.
    ASSERT_EQ(run({"pin", at("Beta")}).exitCode, 0);
    cafeProject();
    // A shell passes the name's bytes, which a QString argument cannot.
    const ProgramRun pin =
        run({"-c", "exec \"$0\" pin \"$1$(printf '\\351')\"", VESTRY_PROGRAM, premiere + "/Caf"},
            environment(), "/bin/sh");
    EXPECT_EQ(pin.exitCode, 1);
    EXPECT_TRUE(pin.err.endsWith("vestry pin: " + premiere +
                                 "/Caf\\xe9: the path is not valid UTF-8, which the settings file cannot "
                                 "hold\nvestry pin: nothing was changed\n"))
        << pin.err.toStdString();
    EXPECT_EQ(stored(), QStringList{tilde + "/Beta"});
}

// Pins are marked in the listing, and so is what the background jobs leave alone for being just
// written (Beta-3 only); the listing's other bytes stay as they were.
TEST_F(Pins, AndRecentWritesAreMarkedInTheListingAndLeaveItsOtherBytesAlone) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const auto& [name, secondsAgo] : {std::pair{"Alpha/Alpha-1.prproj", 3600},
                                           {"Beta/Beta-1.prproj", 3600},
                                           {"Beta/Beta-2.prproj", 11 * 60},
                                           {"Beta/Beta-3.prproj", 60}})
        ASSERT_TRUE(keepOriginalModificationTime(at(name), now.addSecs(-secondsAgo)));
    const auto marked = [&] { return run({"list", premiere}).out.split('\n').filter("(recent)"); };
    const QString json = run({"list", "--json", premiere}).out;
    ASSERT_EQ(run({"pin", at("Beta"), at("Alpha/Alpha-1.prproj")}).exitCode, 0);
    QString expected = json;
    for (const char* path :
         {"Alpha/Alpha-1.prproj", "Beta", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"}) {
        const QString key = "\"path\":\"" + at(path) + "\",";
        ASSERT_EQ(expected.count(key), 1) << key.toStdString();
        expected.replace(key, key + "\"pinned\":true,");
    }
    EXPECT_EQ(run({"list", "--json", premiere}).out, expected);
    // In text a project's row stands for its autosaves; an autosave pinned alone has its own mark.
    const QStringList lines = run({"list", premiere}).out.split('\n').filter("(pinned)");
    EXPECT_TRUE(lines.size() == 2 && lines[0].startsWith("  Alpha-1.prproj") && lines[1].startsWith("Beta "));
    ASSERT_EQ(run({"unpin", at("Beta"), at("Alpha/Alpha-1.prproj")}).exitCode, 0);
    EXPECT_EQ(run({"list", "--json", premiere}).out, json);

    EXPECT_EQ(json.count("\"recent\":true"), 1) << json.toStdString();
    EXPECT_TRUE(json.contains("\"path\":\"" + at("Beta/Beta-3.prproj") + "\",\"recent\":true,\"size\":180,"))
        << json.toStdString();
    QStringList recent = marked();
    ASSERT_EQ(recent.size(), 1);
    EXPECT_TRUE(recent[0].startsWith("  Beta-3.prproj ") && recent[0].endsWith("  (recent)"))
        << recent[0].toStdString();
    ASSERT_EQ(run({"pin", at("Beta/Beta-3.prproj")}).exitCode, 0);
    recent = marked();
    ASSERT_EQ(recent.size(), 1);
    EXPECT_TRUE(recent[0].endsWith("  (pinned) (recent)")) << recent[0].toStdString(); // the pin first
    ASSERT_EQ(run({"unpin", at("Beta/Beta-3.prproj")}).exitCode, 0);
    // The guard off: the very bytes without the mark.
    BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
    BMSettings::standard().synchronize();
    EXPECT_EQ(run({"list", "--json", premiere}).out, QString(json).replace(",\"recent\":true", ""));
    EXPECT_EQ(marked(), QStringList());
}

// A drive reached through a link in the home: a pin is its real path, and matches either way.
TEST_F(Pins, MatchTheRealPathThroughALinkEitherWayAndAnOldLinkPinStillComesOff) {
    ASSERT_TRUE(QFile::link(home().home() + "/Documents", home().home() + "/Link"));
    const QString linked = home().home() + "/Link/Adobe Premiere Pro Auto-Save";
    const auto pinnedRows = [&](const QString& location) {
        QStringList names;
        for (const QString& line : run({"list", location}).out.split('\n').filter("(pinned)"))
            names << line.section(' ', 0, 0, QString::SectionSkipEmpty);
        return names;
    };

    const ProgramRun pinned = run({"pin", linked + "/Beta"});
    EXPECT_EQ(pinned.out, "Pinned " + at("Beta") + "\n");
    EXPECT_EQ(stored(), QStringList{QString("~/") + kLocation + "/Beta"});
    EXPECT_EQ(pinnedRows(linked), QStringList{"Beta"});
    EXPECT_EQ(pinnedRows(premiere), QStringList{"Beta"});
    ASSERT_EQ(run({"unpin", linked + "/Beta"}).exitCode, 0);
    EXPECT_EQ(stored(), QStringList());

    // A pin stored as a link path before pins were stored by their real path.
    BMSettings::standard().setValue(SettingsKey::pinnedPaths, QStringList{linked + "/Alpha/Alpha-1.prproj"});
    BMSettings::standard().synchronize();
    EXPECT_EQ(pinnedRows(premiere), QStringList{"Alpha-1.prproj"});
    const ProgramRun unpinned = run({"unpin", at("Alpha/Alpha-1.prproj")});
    EXPECT_EQ(unpinned.out, "Unpinned " + at("Alpha/Alpha-1.prproj") + "\n") << unpinned.err.toStdString();
    EXPECT_EQ(stored(), QStringList());
}

TEST_F(Pins, KeepAnAutosaveFromTheRulesAndFromTheTrashAfterAnArchive) {
    ASSERT_EQ(run({"pin", at("Beta/Beta-1.prproj")}).exitCode, 0);
    const ProgramRun keep = run({"prune", "--keep", "1", "--json", premiere});
    EXPECT_TRUE(keep.out.startsWith("{\"removed\":[{\"path\":\"" + at("Beta/Beta-2.prproj") + "\",") &&
                keep.out.endsWith("}],\"bytes\":180}\n"))
        << keep.out.toStdString();
    // Over one byte, Beta would lose all but its newest; the pin keeps Beta-1.
    EXPECT_EQ(run({"prune", "--keep", "1", "--max-size", "1B", "--json", premiere}).out,
              "{\"removed\":[],\"bytes\":0}\n");
    // The archive packs the pinned autosave too, but only the other goes to the Trash.
    const ProgramRun archive = run({"archive", "--to", "Beta.zip", at("Beta")});
    EXPECT_TRUE(archive.out.endsWith("); moved 1 (1 pinned stayed) to the Trash\n"))
        << archive.out.toStdString();
    EXPECT_EQ(zipEntryNames(home().home() + "/Beta.zip"),
              (QStringList{"Beta/", "Beta/Beta-1.prproj", "Beta/Beta-3.prproj", "manifest.json"}));
    EXPECT_TRUE(QFile::exists(at("Beta/Beta-1.prproj")));
    EXPECT_FALSE(QFile::exists(at("Beta/Beta-3.prproj")));
}

// A script that pins in the background, one run per path: each pin is kept.
TEST_F(Pins, SetByRunsAtOnceAreAllKept) {
    QStringList paths{at("Alpha"), at("Beta")};
    for (const QString& name : kAll)
        paths << at(name);
    std::vector<std::unique_ptr<QProcess>> runs;
    for (const QString& path : paths)
        runs.push_back(startProgram(VESTRY_PROGRAM, {"pin", path}, {environment()}));
    for (const auto& pin : runs) {
        const ProgramRun result = finishProgram(*pin, 30000);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    }
    EXPECT_EQ(stored().size(), paths.size()) << stored().join(", ").toStdString();
}

// The pin is set while the prune waits for another run, after it listed the location.
TEST_F(Pins, SetWhileAPruneWaitsForAnotherRunStillKeepTheAutosave) {
    const ProgramRun pruned = runWhileHeld({"prune", "--keep", "1", premiere}, [&](QProcess&) {
        EXPECT_EQ(run({"pin", at("Beta/Beta-1.prproj")}).exitCode, 0);
    });
    EXPECT_EQ(pruned.exitCode, 0) << pruned.err.toStdString();
    EXPECT_EQ(autosavesLeft(),
              (QStringList{"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-3.prproj"}));
}

TEST_F(Pins, AndTheCombinedRuleKeepTheNewestThenTakeTheOldThenTheOldestOverTheSize) {
    const QString share = home().home() + "/Share/Adobe Premiere Pro Auto-Save";
    const QList<std::tuple<QString, int, int>> files{
        {"Edit-1", 60, 100}, {"Edit-2", 50, 100}, {"Edit-3", 40, 100}, {"Edit-4", 20, 300},
        {"Edit-5", 10, 100}, {"Edit-6", 5, 100},  {"Edit-7", 1, 100},  {"Cut-1", 3, 400},
        {"Cut-2", 2, 400},   {"Cut-3", 1, 400}};
    for (const auto& [name, days, size] : files) {
        // Creation dates as Samba records a Mac's.
        const QString path = share + "/" + name.section('-', 0, 0) + "/" + name + ".prproj";
        const QDateTime created = QDateTime::currentDateTimeUtc().addDays(-days);
        home().writeFile(path);
        if (!QFile::resize(path, size) || !setDosAttrib(path, dosAttribRecord(4, created)) ||
            !keepOriginalModificationTime(path, created))
            GTEST_SKIP() << "the file system refuses user extended attributes (the dates of autosaves)";
    }
    const auto removed = [&] {
        const ProgramRun result = run({"prune", "--keep", "2", "--older-than", "30", "--max-size", "350B",
                                       "--dry-run", "--json", share});
        QStringList names;
        for (const QJsonValue& each : QJsonDocument::fromJson(result.out.toUtf8())["removed"].toArray())
            names << each["path"].toString().section('/', -1).chopped(7);
        return names.join(' ');
    };
    // Edit keeps 7 and 6; 1 to 3 are old; Edit-4 brings the 600 B left within 350 B. Cut keeps its
    // two newest although it stays over the size.
    EXPECT_EQ(removed(), "Cut-1 Edit-4 Edit-3 Edit-2 Edit-1");
    // A pinned autosave stays but counts in the size, so Edit-5 goes too; a pinned project loses nothing.
    ASSERT_EQ(run({"pin", share + "/Edit/Edit-3.prproj", share + "/Cut"}).exitCode, 0);
    EXPECT_EQ(removed(), "Edit-5 Edit-4 Edit-2 Edit-1");
}

} // namespace
