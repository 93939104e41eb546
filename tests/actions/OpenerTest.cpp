#include "ActionsFixture.h"
#include "actions/AutosaveOpener.h"
#include "catalogue/AutosaveType.h"
#include "support/Tmpfs.h"

#include <QProcess>

namespace {

class Opener : public ActionsTest {
protected:
    QString backup(const char* date) const {
        return library("Ceremony/Backups/Ceremony " + QString(date) + " 10-00.fcpevent");
    }
    QString current(const QString& suffix = "") const {
        return library("Ceremony/CurrentVersion" + suffix + ".fcpevent");
    }
};

} // namespace

TEST_F(Opener, OnlyASingleAutosaveOpensWithoutAQuestion) {
    scan();
    projects << BMProject::projectType(2, "Empty", home().home());
    // A lone project without autosaves opens nothing, and asks nothing either.
    const std::tuple<QStringList, QString, bool> cases[] = {{{"Alpha"}, "Alpha-1.prproj", true},
                                                            {{"Beta-2.prproj"}, "Beta-2.prproj", true},
                                                            {{"Beta"}, "", false},
                                                            {{"Alpha-1.prproj", "Alpha"}, "", false},
                                                            {{"Empty"}, "", true}};
    for (const auto& [names, opened, applies] : cases) {
        bool applied = !applies;
        const BMAutoItemPtr single = AutosaveOpener::singleItem(rows(names), &applied);
        EXPECT_EQ(single ? single->name() : QString(), opened) << names.join(", ").toStdString();
        EXPECT_EQ(applied, applies) << names.join(", ").toStdString();
    }
}

TEST_F(Opener, FinalCutExpressTakesTheClassicAutosavesOnlyWhereItIsInstalled) {
    EXPECT_EQ(AutosaveOpener::finalCutIdentifier(), "com.apple.FinalCutPro");
    home().platform().applications["com.apple.FinalCutPro"] = "/Applications/Final Cut Pro.app";
    home().platform().applications["com.apple.FinalCutExpress"] = "/Applications/Final Cut Express.app";
    EXPECT_EQ(AutosaveOpener::finalCutIdentifier(), "com.apple.FinalCutExpress");
}

TEST_F(Opener, EachEditorGetsItsFilesOnceInOneCallAndEventsAreRestoredThenFinalCutXStartsOnce) {
    scan();
    SelectedRows selected = rows({"Beta", "Beta-1.prproj", "Promo", "Ceremony"});
    for (const auto& [type, path] : {std::pair{int(AutosaveType::Motion), "/m/Titles.motn"},
                                     {int(AutosaveType::Avid), "/a/Reel.avb"},
                                     {7, "/v/Cut_11-01-26_1030"}})
        selected << SelectedRow::ofItem(
            BMAutoItem::autoItemType(type, QFileInfo(path).fileName(), path, {}, 1));
    const AutosaveOpener::Plan plan = AutosaveOpener::planFor(selected, "com.apple.FinalCutPro");
    EXPECT_EQ(plan.total(), 7); // the event backups are not counted
    AutosaveOpener::open(plan);
    // Any type outside the table is Final Cut Pro's.
    EXPECT_EQ(home().platform().opened(),
              (QList<FakePlatform::Opened>{{{"/v/Cut_11-01-26_1030"}, "com.apple.FinalCutPro"},
                                           {{"/m/Titles.motn"}, "com.apple.motion"},
                                           {{premiere("Beta/Beta-1.prproj"), premiere("Beta/Beta-2.prproj"),
                                             premiere("Promo-1.prproj"), premiere("Promo-2.prproj")},
                                            "com.adobe.AdobePremierePro"},
                                           {{"/a/Reel.avb"}, "com.avid.MediaComposer"}}));
    EXPECT_EQ(home().platform().launched(), QStringList{"com.apple.FinalCut"});
    // Both backups were put in place in turn, each earlier version kept aside under a free name.
    EXPECT_EQ(readFile(current()), readFile(backup("2026-11-18")));
    EXPECT_EQ(readFile(current("-Backup")), "Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent");
    EXPECT_EQ(readFile(current("-Backup 2")), readFile(backup("2026-11-16")));
    EXPECT_TRUE(QFileInfo::exists(backup("2026-11-16"))); // the backups themselves stay
}

TEST_F(Opener, OpeningABackupThatCannotBePutInPlaceSaysWhyAndStillStartsFinalCutX) {
    scan();
    ASSERT_TRUE(QFile::resize(backup("2026-11-16"), 0));
    bool single = false;
    const BMAutoItemPtr item =
        AutosaveOpener::singleItem(rows({"Ceremony 2026-11-16 10-00.fcpevent"}), &single);
    ASSERT_TRUE(item);
    AutosaveOpener::Reasons notRestored;
    EXPECT_TRUE(AutosaveOpener::openItem(*item, "com.apple.FinalCutPro", nullptr, &notRestored));
    EXPECT_EQ(notRestored.value(backup("2026-11-16")), backup("2026-11-16") + ": the backup is empty");
    AutosaveOpener::open(AutosaveOpener::planFor(rows({"Ceremony"}), "com.apple.FinalCutPro"), nullptr,
                         &notRestored);
    EXPECT_EQ(notRestored.keys(), QStringList{backup("2026-11-16")});
    EXPECT_EQ(home().platform().launched(), (QStringList{"com.apple.FinalCut", "com.apple.FinalCut"}));
}

TEST_F(Opener, AFailedRestoreLeavesTheCurrentVersionInPlace) {
    // The backup vanished after the catalogue listed it: nothing can be put in place.
    ASSERT_TRUE(QFile::remove(backup("2026-11-16")));
    EXPECT_FALSE(AutosaveOpener::restoreFCPXEvent(backup("2026-11-16")));
    EXPECT_EQ(readFile(current()), "Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent");
    EXPECT_FALSE(QFileInfo::exists(current("-Backup")));
    // An event without a current version is not restored either.
    ASSERT_TRUE(QFile::remove(current()));
    EXPECT_FALSE(AutosaveOpener::restoreFCPXEvent(backup("2026-11-18")));
    EXPECT_EQ(QDir(library("Ceremony")).entryList(QDir::Files), QStringList());
}

// Events are databases: the sqlite3 tool makes them, holds one open, and cuts one short.
TEST_F(Opener, ABackupIsNotPutInPlaceWhenCutShortOrWhileTheEventIsOpen) {
    if (!QFileInfo("/usr/bin/sqlite3").isExecutable())
        GTEST_SKIP() << "sqlite3 is not installed";
    const auto sql = [](const QString& database, const QString& statements) {
        const ProgramRun run = runProgram("/usr/bin/sqlite3", {database, statements});
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    };
    ASSERT_TRUE(QFile::remove(current()));
    sql(current(), "create table clips(name); insert into clips values('current');");
    const QByteArray currentBytes = readFile(current());
    const QString cut = backup("2026-11-16");
    ASSERT_TRUE(QFile::remove(cut));
    sql(cut, "create table clips(name); with recursive n(i) as (select 1 union all select i + 1 from n "
             "where i < 20) insert into clips select randomblob(3000) from n;");
    ASSERT_TRUE(QFile::resize(cut, 4096));
    const auto refused = [&](const QString& backupPath, const char* why) {
        QString error;
        EXPECT_FALSE(AutosaveOpener::restoreFCPXEvent(backupPath, &error));
        EXPECT_TRUE(error.contains(why)) << error.toStdString();
        EXPECT_EQ(readFile(current()), currentBytes);
        EXPECT_FALSE(QFileInfo::exists(current("-Backup")));
    };
    refused(cut, "the backup is cut short (4096 of ");
    ASSERT_TRUE(QFile::resize(cut, 0));
    refused(cut, "the backup is empty");

    QProcess editor;
    editor.start("/usr/bin/sqlite3", {current()});
    editor.write("begin immediate; select 'open';\n");
    ASSERT_TRUE(editor.waitForReadyRead(10000));
    refused(backup("2026-11-18"),
            QString("is open in another program (process %1)").arg(editor.processId()).toUtf8().constData());
    editor.closeWriteChannel();
    if (!editor.waitForFinished(10000))
        editor.kill();
    editor.waitForFinished();
    write("Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent-wal", "changes not yet written");
    refused(backup("2026-11-18"), "was not closed cleanly (CurrentVersion.fcpevent-wal is beside it)");
}

TEST_F(Opener, ABackupThatDoesNotFitLeavesTheCurrentVersionAndSaysWhy) {
    const QString disk = home().root() + "/disk";
    Tmpfs volume(disk, "size=64k");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    const QString event = disk + "/Wedding.fcpbundle/Ceremony";
    home().writeFile(event + "/CurrentVersion.fcpevent", "current");
    home().writeFile(event + "/Backups/Ceremony 2026-11-16 10-00.fcpevent", QByteArray(40 * 1024, 'b'));
    volume.fill();
    home().platform().uid = 0; // a privileged retry would only leave part of the backup behind
    QString error;
    EXPECT_FALSE(
        AutosaveOpener::restoreFCPXEvent(event + "/Backups/Ceremony 2026-11-16 10-00.fcpevent", &error));
    EXPECT_TRUE(error.contains("No space left on device")) << error.toStdString();
    EXPECT_EQ(readFile(event + "/CurrentVersion.fcpevent"), "current");
    EXPECT_EQ(QDir(event).entryList(QDir::Files), QStringList{"CurrentVersion.fcpevent"});
}

TEST_F(Opener, MovingTheOnlyAutosaveOfAProjectTakesItsFolderCopyingDoesNot) {
    const QString target = home().makeFolder("Users/jö ed/Kept");
    scan();
    const auto copy = AutosaveOpener::copyFiles(rows({"Alpha"}), target, AutosaveOpener::Transfer::Copy);
    EXPECT_EQ(copy.done, QStringList{target + "/Alpha-1.prproj"});
    EXPECT_TRUE(QFileInfo::exists(premiere("Alpha/Alpha-1.prproj")));
    EXPECT_EQ(readFile(target + "/Alpha-1.prproj"),
              "Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");
    // A file of the same name already there takes a free name beside it; a file gone
    // meanwhile is skipped.
    ASSERT_TRUE(QFile::remove(premiere("Beta/Beta-1.prproj")));
    const auto move =
        AutosaveOpener::copyFiles(rows({"Alpha", "Beta"}), target, AutosaveOpener::Transfer::Move);
    EXPECT_EQ(move.done, (QStringList{target + "/Alpha-1 2.prproj", target + "/Beta-2.prproj"}));
    EXPECT_FALSE(QFileInfo::exists(premiere("Alpha")));
    EXPECT_FALSE(QFileInfo::exists(premiere("Beta")));
}
