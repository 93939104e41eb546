#include "ActionsFixture.h"
#include "actions/AutosaveArchiver.h"
#include "foundation/platform/Platform.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class Archiver : public ActionsTest {
protected:
    QString destination() const { return home().home() + "/Archives/Autosaves.zip"; }
    QString temp() const { return home().home() + "/.local/share/Brightmoor/Halvern/Vestry Temp"; }

    void SetUp() override {
        ActionsTest::SetUp();
        QDir().mkpath(home().home() + "/Archives");
    }

    // A ditto stand-in: records its arguments and what the gathered folder held, then
    // writes the destination or not.
    QString fakeDitto(bool writesArchive) {
        const QString script =
            write("tools/ditto",
                  QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args\"\n"
                                 "(cd \"$4\" && find . -type f | sort) > \"$0.gathered\"\n%1\n")
                      .arg(writesArchive ? QStringLiteral("printf zip > \"$5\"") : QStringLiteral("exit 1"))
                      .toUtf8());
        QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        home().platform().setToolPath(Tool::Ditto, script);
        return script;
    }

    QStringList lines(const QString& path) const {
        return QString::fromUtf8(read(path)).split('\n', Qt::SkipEmptyParts);
    }
};

} // namespace

TEST_F(Archiver, TwoAutosavesOfTwoProjectsGiveTwoFoldersAndThenGoToTheTrash) {
    const BMProjectList projects = scan();
    QList<ActionProgress::Stage> stages;
    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(
        {itemRow(projects, "Alpha-1.prproj"), itemRow(projects, "Beta-2.prproj")}, destination(),
        [&](const ActionProgress& progress) {
            if (stages.isEmpty() || stages.last() != progress.stage)
                stages << progress.stage;
        });

    ASSERT_FALSE(result.error.isError()) << result.error.message.toStdString();
    EXPECT_TRUE(result.archived);
    EXPECT_EQ(result.autosaves, 2);
    const QMap<QString, QByteArray> entries = zipEntries(destination());
    EXPECT_EQ(entries.keys(), (QStringList{"Alpha/", "Alpha/Alpha-1.prproj", "Beta/", "Beta/Beta-2.prproj"}));
    EXPECT_EQ(entries.value("Beta/Beta-2.prproj"),
              "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-2.prproj");
    // Only once the archive exists do the autosaves go, restorable; Alpha's folder is left
    // empty and goes too.
    EXPECT_EQ(result.removal.removed.size(), 2);
    EXPECT_EQ(trashRecords().value("Beta-2.prproj"), premiere() + "/Beta/Beta-2.prproj");
    EXPECT_FALSE(exists(premiere() + "/Alpha"));
    EXPECT_TRUE(exists(premiere() + "/Beta/Beta-1.prproj"));
    EXPECT_FALSE(exists(temp()));
    using Stage = ActionProgress::Stage;
    EXPECT_EQ(stages, (QList<Stage>{Stage::Gathering, Stage::Compressing, Stage::Trashing}));
    EXPECT_TRUE(logText().contains("Archiving autosaves to file..."));
}

TEST_F(Archiver, AProjectWithItsOwnAutosaveIsArchivedOnce) {
    const BMProjectList projects = scan();
    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(
        {projectRow(projects, "Beta"), itemRow(projects, "Beta-1.prproj")}, destination());
    ASSERT_FALSE(result.error.isError()) << result.error.message.toStdString();
    EXPECT_EQ(result.autosaves, 2);
    EXPECT_EQ(zipEntries(destination()).keys(),
              (QStringList{"Beta/", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj"}));
    EXPECT_EQ(result.removal.removed.size(), 2);
    EXPECT_EQ(result.removal.missing, QStringList{premiere() + "/Beta/Beta-1.prproj"});
    EXPECT_FALSE(exists(premiere() + "/Beta"));
}

TEST_F(Archiver, EachAutosaveGoesUnderTheFolderThatHeldIt) {
    const BMProjectList projects = scan();
    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(
        {projectRow(projects, "Promo"), itemRow(projects, "Ceremony 2026-11-18 10-00.fcpevent")},
        destination());
    ASSERT_FALSE(result.error.isError()) << result.error.message.toStdString();
    EXPECT_EQ(zipEntries(destination()).keys(),
              (QStringList{"Adobe Premiere Pro Auto-Save/", "Adobe Premiere Pro Auto-Save/Promo-1.prproj",
                           "Adobe Premiere Pro Auto-Save/Promo-2.prproj", "Backups/",
                           "Backups/Ceremony 2026-11-18 10-00.fcpevent"}));
    // The location itself and the event's current version stay.
    EXPECT_TRUE(exists(premiere() + "/Alpha/Alpha-1.prproj"));
    EXPECT_TRUE(exists(library() + "/Ceremony/CurrentVersion.fcpevent"));
}

TEST_F(Archiver, LeftoversOfAnEarlierRunAreClearedFirst) {
    write(".local/share/Brightmoor/Halvern/Vestry Temp/Old Project/stale.prproj", "stale");
    const BMProjectList projects = scan();
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile({projectRow(projects, "Alpha")}, destination());
    ASSERT_FALSE(result.error.isError());
    EXPECT_EQ(zipEntries(destination()).keys(), (QStringList{"Alpha/", "Alpha/Alpha-1.prproj"}));
}

TEST_F(Archiver, DittoGetsTheGatheredFolderWhereItExists) {
    const QString ditto = fakeDitto(true);
    const BMProjectList projects = scan();
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile({projectRow(projects, "Beta")}, destination());
    ASSERT_FALSE(result.error.isError());
    EXPECT_EQ(lines(ditto + ".args"), (QStringList{"-c", "-k", "--sequesterRsrc", temp(), destination()}));
    EXPECT_EQ(lines(ditto + ".gathered"), (QStringList{"./Beta/Beta-1.prproj", "./Beta/Beta-2.prproj"}));
    EXPECT_EQ(result.removal.removed.size(), 2);
}

TEST_F(Archiver, AnOldArchiveIsNeverTakenForTheNewOne) {
    write("Archives/Autosaves.zip", "last week's archive");
    fakeDitto(false);
    const BMProjectList projects = scan();
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile({projectRow(projects, "Beta")}, destination());
    EXPECT_EQ(result.error.message, "Error: unable to create archive.");
    EXPECT_FALSE(result.archived);
    EXPECT_FALSE(exists(destination()));
    EXPECT_TRUE(exists(premiere() + "/Beta/Beta-1.prproj"));
    // The old archive was replaced with the user's agreement, and can be had back.
    EXPECT_EQ(trashRecords().keys(), QStringList{"Autosaves.zip"});
}

struct FailureCase {
    const char* rowName;
    std::function<void()> spoil;     // spoils the run before the catalogue is scanned
    std::function<void()> afterScan; // ... or after, behind the catalogue's back
    bool dittoFails;
    QStringList rows;
    const char* message;
    const char* informative; // empty: any text naming the temporary folder's parent
    const char* logLine;
};

class ArchiveFailures : public Archiver, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ArchiveFailures, StopBeforeAnythingIsRemoved) {
    const FailureCase& row = GetParam();
    if (row.spoil)
        row.spoil();
    if (row.dittoFails)
        fakeDitto(false);
    const BMProjectList projects = scan();
    if (row.afterScan)
        row.afterScan();
    SelectedRows rows;
    for (const QString& name : row.rows)
        rows << (name.contains('.') ? itemRow(projects, name) : projectRow(projects, name));
    const QStringList before = QDir(premiere()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);

    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(rows, destination());

    EXPECT_EQ(result.error.message, QString::fromUtf8(row.message));
    if (*row.informative)
        EXPECT_EQ(result.error.informative, QString::fromUtf8(row.informative));
    else
        EXPECT_TRUE(result.error.informative.contains("Halvern")) << result.error.informative.toStdString();
    EXPECT_FALSE(result.archived);
    EXPECT_FALSE(exists(destination()));
    EXPECT_TRUE(result.removal.removed.isEmpty());
    EXPECT_TRUE(trashRecords().isEmpty());
    EXPECT_EQ(QDir(premiere()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), before);
    EXPECT_TRUE(exists(library() + "/Ceremony/Backups/Ceremony 2026-11-16 10-00.fcpevent"));
    EXPECT_TRUE(logText().contains(QString::fromUtf8(row.logLine))) << logText().toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Failures, ArchiveFailures,
    ::testing::Values(
        FailureCase{
            "AllFilesGone",
            nullptr,
            [] {
                QDir(QDir::homePath() + "/Documents/Adobe Premiere Pro Auto-Save/Beta").removeRecursively();
            },
            false,
            {"Beta"},
            "Error: no files to archive.",
            "Archiving aborted.",
            "Error: no files to archive. Archiving aborted."},
        FailureCase{"TemporaryFolderCannotBeMade",
                    [] {
                        QDir().mkpath(QDir::homePath() + "/.local/share/Brightmoor");
                        QFile file(QDir::homePath() + "/.local/share/Brightmoor/Halvern");
                        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                    },
                    nullptr,
                    false,
                    {"Beta"},
                    "Error: Unable to create temporary directory",
                    "",
                    "Error: Unable to create temporary directory. "},
        FailureCase{"DittoFails",
                    nullptr,
                    nullptr,
                    true,
                    {"Beta"},
                    "Error: unable to create archive.",
                    "Please report this error to Brightmoor.",
                    "Error: unable to create archive."},
        FailureCase{"SameNameFromTwoFolders",
                    [] {
                        // Two events' backups of the same name meet in one "Backups" folder.
                        const QString other =
                            QDir::homePath() +
                            "/Movies/Wedding.fcpbundle/Reception/Backups/Ceremony 2026-11-16 10-00.fcpevent";
                        QDir().mkpath(QFileInfo(other).path());
                        QFile file(other);
                        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                        file.write("another event");
                    },
                    nullptr,
                    false,
                    {"Ceremony", "Reception"},
                    "Unable to copy files to temp folder.",
                    "Archiving aborted.",
                    "Unable to copy files to temp folder. Archiving aborted."}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.rowName); });

TEST(ArchiverNames, TheProposedNameIsTheFirstRowsWithoutExtension) {
    const BMProjectPtr project = BMProject::projectType(2, "Beta", "/a/Beta");
    const BMAutoItemPtr item =
        BMAutoItem::autoItemType(4, "Ceremony 2026-11-16 10-00.fcpevent", "/a/b/c", {}, 1);
    EXPECT_EQ(AutosaveArchiver::proposedFileName({SelectedRow::ofProject(project)}), "Beta.zip");
    EXPECT_EQ(
        AutosaveArchiver::proposedFileName({SelectedRow::ofItem(item), SelectedRow::ofProject(project)}),
        "Ceremony 2026-11-16 10-00.zip");
    EXPECT_EQ(AutosaveArchiver::proposedFileName({}), "");
}
