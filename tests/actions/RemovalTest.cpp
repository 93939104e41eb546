#include "ActionsFixture.h"
#include "actions/AutosaveArchiver.h"
#include "actions/AutosaveOpener.h"
#include "actions/AutosaveRemoval.h"
#include "actions/RetentionRules.h"

using Removal = ActionsTest;

TEST_F(Removal, AutosavesGoToTheTrashRestorablyAndOnlyTheFoldersTheyEmptyGo) {
    write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Notes.txt", "keep me");
    scan();
    ASSERT_TRUE(QFile::remove(premiere("Beta/Beta-1.prproj"))); // gone meanwhile: skipped
    const RemovalReport report =
        AutosaveRemoval::removeIndexSet(rows({"Alpha", "Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_TRUE(report.ok());
    EXPECT_EQ(report.missing, QStringList{premiere("Beta/Beta-1.prproj")});
    ASSERT_EQ(report.removed.size(), 2);
    EXPECT_EQ(report.removed[1].path, premiere("Beta/Beta-2.prproj"));
    EXPECT_EQ(report.removed[1].size, premiere("Beta/Beta-2.prproj").size() - home().home().size() - 1);
    // The last autosave of Beta takes its folder; Alpha's holds another file and stays.
    EXPECT_EQ(report.foldersRemoved, QStringList{premiere("Beta")});
    EXPECT_EQ(readFile(premiere("Alpha/Notes.txt")), "keep me");
    // Restorable: each file sits in the home's Trash with a record of where it came from.
    EXPECT_EQ(trashRecords(), (QMap<QString, QString>{{"Alpha-1.prproj", premiere("Alpha/Alpha-1.prproj")},
                                                      {"Beta-2.prproj", premiere("Beta/Beta-2.prproj")}}));
}

TEST_F(Removal, AnAutosaveChosenTwiceIsFoundMissingTheSecondTimeAndOnlyFoldersAreTakenForEmpty) {
    // Promo's path is Promo-1.prproj itself, Ceremony's its event's current version.
    scan();
    const RetentionChoice choice =
        RetentionRules::removeOlderAutosaves(rows({"Alpha", "Alpha-1.prproj", "Promo-2.prproj", "Ceremony"}),
                                             1, QDateTime::currentDateTimeUtc().addDays(3));
    ASSERT_EQ(choice.autosaves.size(), 5); // Alpha-1 counted twice
    const RemovalReport report = AutosaveRemoval::removeChildren(choice.autosaves);
    EXPECT_TRUE(report.ok());
    EXPECT_EQ(report.removed.size(), 4);
    EXPECT_EQ(report.missing, QStringList{premiere("Alpha/Alpha-1.prproj")});
    EXPECT_EQ(report.foldersRemoved, QStringList{premiere("Alpha")});
    EXPECT_TRUE(QFileInfo::exists(premiere("Promo-1.prproj")));
    EXPECT_TRUE(QFileInfo::exists(library("Ceremony/CurrentVersion.fcpevent")));
    // Nor is a link to an empty folder.
    ASSERT_TRUE(QFile::link(home().makeFolder("Empty"), home().home() + "/link"));
    EXPECT_FALSE(AutosaveRemoval::removeFolderIfEmpty(home().home() + "/link"));
}

TEST_F(Removal, ARefusingTrashStopsTheCommandLineButNotTheWindow) {
    write(".local/share/Trash/files", "a Trash whose files folder is a file takes nothing");
    scan();
    const BMAutoItemList items = AutosaveSelection::autosavesOf(rows({"Beta"}));
    const RemovalReport stopped =
        AutosaveRemoval::removeChildren(items, {}, AutosaveRemoval::OnFailure::Stop);
    EXPECT_EQ(stopped.failed, QStringList{premiere("Beta/Beta-1.prproj")});
    // The report says which file and why, for the window's alert and the command's message.
    const QString reason = stopped.reasons.value(premiere("Beta/Beta-1.prproj"));
    EXPECT_TRUE(reason.contains(premiere("Beta/Beta-1.prproj")) && reason.contains("Not a directory"))
        << reason.toStdString();
    const RemovalReport continued =
        AutosaveRemoval::removeChildren(items, {}, AutosaveRemoval::OnFailure::Continue);
    EXPECT_EQ(continued.failed,
              (QStringList{premiere("Beta/Beta-1.prproj"), premiere("Beta/Beta-2.prproj")}));
    EXPECT_TRUE(QFileInfo::exists(premiere("Beta/Beta-2.prproj")));
}

TEST_F(Removal, APathThatALinkedFolderLeadsOutOfItsLocationIsRefusedByEveryActionAndNothingMoves) {
    scan();
    // Beta's folder turns into a link to a folder elsewhere after the scan.
    const QString elsewhere = home().root() + "/Elsewhere";
    ASSERT_TRUE(QDir().rename(premiere("Beta"), elsewhere) && QFile::link(elsewhere, premiere("Beta")));
    const QStringList beta{premiere("Beta/Beta-1.prproj"), premiere("Beta/Beta-2.prproj")};

    const RemovalReport removal = AutosaveRemoval::removeIndexSet(rows({"Alpha", "Beta"}));
    EXPECT_EQ(removal.removed.size(), 1); // Alpha's, in its place
    EXPECT_EQ(removal.failed, beta);
    EXPECT_EQ(removal.reasons.value(beta[0]), beta[0] + " (really " + elsewhere +
                                                  "/Beta-1.prproj) lies outside its autosave location " +
                                                  premiere());
    const auto rule = RetentionRules::removeAllExceptMostRecent(rows({"Beta"}), 1).autosaves;
    EXPECT_EQ(AutosaveRemoval::removeChildren(rule).failed.size(), 1);
    const QStringList newestFirst{beta[1], beta[0]}; // as the keep rule left Beta
    const QString target = home().makeFolder("Kept");
    EXPECT_EQ(AutosaveOpener::copyFiles(rows({"Beta"}), target, AutosaveOpener::Transfer::Move).failed,
              newestFirst);
    EXPECT_EQ(AutosaveArchiver::archiveSelectionToFile(rows({"Beta"}), target + "/B.zip").removal.failed,
              newestFirst);

    EXPECT_EQ(QDir(elsewhere).entryList(QDir::Files), (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_TRUE(QFileInfo(premiere("Beta")).isSymLink());
    EXPECT_EQ(trashRecords().keys(), QStringList{"Alpha-1.prproj"});
}
