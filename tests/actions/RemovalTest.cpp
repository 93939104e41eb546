#include "ActionsFixture.h"
#include "actions/AutosaveRemoval.h"
#include "actions/RetentionRules.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class Removal : public ActionsTest {
protected:
    QString beta(const QString& name = QString()) const {
        return premiere() + QStringLiteral("/Beta") + (name.isEmpty() ? QString() : QLatin1Char('/') + name);
    }
};

} // namespace

TEST_F(Removal, AProjectGoesToTheTrashWithRestoreRecordsAndItsFolderGoes) {
    const BMProjectList projects = scan();
    QList<ActionProgress> seen;
    const RemovalReport report = AutosaveRemoval::removeIndexSet(
        {projectRow(projects, "Beta")}, [&](const ActionProgress& progress) { seen << progress; });

    EXPECT_TRUE(report.ok());
    ASSERT_EQ(report.removed.size(), 2);
    EXPECT_EQ(report.removed[0].path, beta("Beta-1.prproj"));
    // Each file holds its own path relative to the home.
    EXPECT_EQ(report.removed[0].size,
              QByteArray("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj").size());
    EXPECT_EQ(report.removed[1].path, beta("Beta-2.prproj"));
    EXPECT_EQ(report.foldersRemoved, QStringList{beta()});
    EXPECT_FALSE(exists(beta()));
    // Restorable: each file sits in the home's Trash with a record of where it came from.
    const QMap<QString, QString> trash = trashRecords();
    EXPECT_EQ(trash.value("Beta-1.prproj"), beta("Beta-1.prproj"));
    EXPECT_EQ(trash.value("Beta-2.prproj"), beta("Beta-2.prproj"));
    EXPECT_EQ(read(trashFolder() + "/files/Beta-1.prproj"),
              "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj");
    EXPECT_TRUE(logText().contains("Removing autosaves manually..."));
    using Stage = ActionProgress::Stage;
    EXPECT_EQ(seen, (QList<ActionProgress>{
                        {Stage::Trashing, 0, 2}, {Stage::Trashing, 1, 2}, {Stage::Trashing, 2, 2}}));
}

TEST_F(Removal, AFolderHoldingOtherFilesStays) {
    write("Documents/Adobe Premiere Pro Auto-Save/Beta/Notes.txt", "keep me");
    const BMProjectList projects = scan();
    const RemovalReport report = AutosaveRemoval::removeIndexSet({projectRow(projects, "Beta")});
    EXPECT_EQ(report.removed.size(), 2);
    EXPECT_TRUE(report.foldersRemoved.isEmpty());
    EXPECT_EQ(read(beta("Notes.txt")), "keep me");
}

TEST_F(Removal, TheLastAutosaveOfAProjectTakesItsFolder) {
    const BMProjectList projects = scan();
    AutosaveRemoval::removeIndexSet({itemRow(projects, "Beta-1.prproj")});
    EXPECT_TRUE(exists(beta()));
    const RemovalReport report = AutosaveRemoval::removeIndexSet({itemRow(projects, "Beta-2.prproj")});
    EXPECT_EQ(report.foldersRemoved, QStringList{beta()});
    EXPECT_FALSE(exists(beta()));
}

TEST_F(Removal, AFileDeletedBehindOurBackIsSkipped) {
    const BMProjectList projects = scan();
    ASSERT_TRUE(QFile::remove(beta("Beta-1.prproj")));
    const RemovalReport report = AutosaveRemoval::removeIndexSet({projectRow(projects, "Beta")});
    EXPECT_TRUE(report.ok());
    EXPECT_EQ(report.missing, QStringList{beta("Beta-1.prproj")});
    ASSERT_EQ(report.removed.size(), 1);
    EXPECT_EQ(report.removed[0].path, beta("Beta-2.prproj"));
    EXPECT_FALSE(trashRecords().contains("Beta-1.prproj"));
}

TEST_F(Removal, AProjectChosenWithItsOwnAutosaveCopesWithTheSecondMissingFile) {
    const BMProjectList projects = scan();
    const RetentionChoice choice = RetentionRules::removeOlderAutosaves(
        {projectRow(projects, "Alpha"), itemRow(projects, "Alpha-1.prproj")}, 1,
        QDateTime::currentDateTimeUtc().addDays(3));
    ASSERT_EQ(choice.autosaves.size(), 2); // one file, counted twice
    const RemovalReport report = AutosaveRemoval::removeChildren(choice.autosaves);
    EXPECT_TRUE(report.ok());
    ASSERT_EQ(report.removed.size(), 1);
    EXPECT_EQ(report.missing, QStringList{premiere() + "/Alpha/Alpha-1.prproj"});
    EXPECT_FALSE(exists(premiere() + "/Alpha"));
    EXPECT_EQ(trashRecords().size(), 1);
    EXPECT_TRUE(logText().contains("Removing children manually..."));
}

TEST_F(Removal, ALooseAutosavesProjectPathIsAFileAndIsNeverTakenForAFolder) {
    // Promo's path is Promo-1.prproj itself; removing Promo-2 must leave Promo-1 alone.
    const BMProjectList projects = scan();
    ASSERT_EQ(project(projects, "Promo")->path(), premiere() + "/Promo-1.prproj");
    const RemovalReport report = AutosaveRemoval::removeChildren({item(projects, "Promo-2.prproj")});
    EXPECT_EQ(report.removed.size(), 1);
    EXPECT_TRUE(report.foldersRemoved.isEmpty());
    EXPECT_TRUE(exists(premiere() + "/Promo-1.prproj"));
}

TEST_F(Removal, AnEventsBackupsGoButItsCurrentVersionStays) {
    const BMProjectList projects = scan();
    const RemovalReport report = AutosaveRemoval::removeIndexSet({projectRow(projects, "Ceremony")});
    EXPECT_EQ(report.removed.size(), 2);
    EXPECT_EQ(read(library() + "/Ceremony/CurrentVersion.fcpevent"),
              "Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent");
}

TEST_F(Removal, ARefusingTrashStopsTheCommandLineButNotTheWindow) {
    // A Trash whose "files" folder is a file takes nothing.
    QDir().mkpath(trashFolder());
    write(".local/share/Trash/files", "in the way");
    const BMProjectList projects = scan();
    const BMAutoItemList items{item(projects, "Beta-1.prproj"), item(projects, "Beta-2.prproj")};

    const RemovalReport stopped =
        AutosaveRemoval::removeChildren(items, {}, AutosaveRemoval::OnFailure::Stop);
    EXPECT_FALSE(stopped.ok());
    EXPECT_EQ(stopped.failed, QStringList{beta("Beta-1.prproj")});

    const RemovalReport continued =
        AutosaveRemoval::removeChildren(items, {}, AutosaveRemoval::OnFailure::Continue);
    EXPECT_EQ(continued.failed, (QStringList{beta("Beta-1.prproj"), beta("Beta-2.prproj")}));
    EXPECT_TRUE(continued.removed.isEmpty());
    EXPECT_TRUE(exists(beta("Beta-1.prproj")));
    EXPECT_TRUE(exists(beta("Beta-2.prproj")));
}

TEST_F(Removal, EmptyFolderRuleNeedsAFolder) {
    const QString emptyFolder = home().makeFolder("Users/jö ed/empty/.DS_Store-only");
    write("empty/.DS_Store-only/.DS_Store", "x");
    EXPECT_TRUE(AutosaveRemoval::removeFolderIfEmpty(emptyFolder));
    EXPECT_FALSE(exists(emptyFolder));
    const QString file = write("plain.prproj", "data");
    EXPECT_FALSE(AutosaveRemoval::removeFolderIfEmpty(file));
    EXPECT_TRUE(exists(file));
    const QString link = home().home() + "/link";
    ASSERT_TRUE(QFile::link(home().home() + "/empty", link));
    EXPECT_FALSE(AutosaveRemoval::removeFolderIfEmpty(link));
    EXPECT_FALSE(AutosaveRemoval::removeFolderIfEmpty(QString()));
}
