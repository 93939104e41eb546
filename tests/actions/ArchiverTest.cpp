#include "ActionsFixture.h"
#include "actions/AutosaveArchiver.h"

#include <archive.h>
#include <archive_entry.h>

namespace {

class Archiver : public ActionsTest {
protected:
    QString destination() const { return home().home() + "/Autosaves.zip"; }
    QStringList premiereEntries() const {
        return QDir(premiere()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }
};

} // namespace

TEST_F(Archiver, EachAutosaveGoesOnceUnderTheFolderThatHeldItAndThenToTheTrash) {
    write(".local/share/Brightmoor/Halvern/Vestry Temp/Old Project/stale.prproj", "left by an earlier run");
    scan();
    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(
        rows({"Alpha-1.prproj", "Beta", "Beta-1.prproj", "Promo", "Ceremony 2026-11-18 10-00.fcpevent"}),
        destination());
    ASSERT_FALSE(result.error.isError()) << result.error.message.toStdString();
    EXPECT_EQ(result.autosaves, 6);
    // Its entries, folders ending in "/".
    QStringList names;
    archive* reader = archive_read_new();
    archive_read_support_format_zip(reader);
    EXPECT_EQ(archive_read_open_filename(reader, QFile::encodeName(destination()).constData(), 1 << 16),
              ARCHIVE_OK);
    for (archive_entry* entry = nullptr; archive_read_next_header(reader, &entry) == ARCHIVE_OK;) {
        const QString name = QString::fromUtf8(archive_entry_pathname_utf8(entry));
        names << (archive_entry_filetype(entry) == AE_IFDIR && !name.endsWith('/') ? name + '/' : name);
    }
    archive_read_free(reader);
    names.sort();
    EXPECT_EQ(names,
              (QStringList{"Adobe Premiere Pro Auto-Save/", "Adobe Premiere Pro Auto-Save/Promo-1.prproj",
                           "Adobe Premiere Pro Auto-Save/Promo-2.prproj", "Alpha/", "Alpha/Alpha-1.prproj",
                           "Backups/", "Backups/Ceremony 2026-11-18 10-00.fcpevent", "Beta/",
                           "Beta/Beta-1.prproj", "Beta/Beta-2.prproj"}));
    // Only once the archive exists do the autosaves go to the Trash, with the folders they
    // leave empty; the location itself and the event's current version stay.
    EXPECT_EQ(trashRecords().size(), 6);
    EXPECT_TRUE(QFileInfo(premiere()).isDir());
    EXPECT_EQ(premiereEntries(), QStringList());
    EXPECT_TRUE(QFileInfo::exists(library("Ceremony/CurrentVersion.fcpevent")));
    EXPECT_FALSE(QFileInfo::exists(home().home() + "/.local/share/Brightmoor/Halvern/Vestry Temp"));
}

struct FailureCase {
    const char* rowName;
    const char* fileBeforeScan; // written under the home before the catalogue is scanned
    bool dittoFails;
    const char* rows;
    const char* message;
    const char* trashed; // an earlier archive at the destination goes, with the user's agreement
};

class ArchiveFailures : public Archiver, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ArchiveFailures, StopBeforeAnythingIsRemoved) {
    const FailureCase& row = GetParam();
    write(row.fileBeforeScan);
    if (row.dittoFails) {
        const QString ditto = write("tools/ditto", "#!/bin/sh\nexit 1\n"); // a stand-in that writes nothing
        QFile::setPermissions(ditto, QFile::ReadOwner | QFile::ExeOwner);
        home().platform().setToolPath(Tool::Ditto, ditto);
    }
    scan();
    QDir(premiere("Gone")).removeRecursively(); // behind the catalogue's back
    const QStringList before = premiereEntries();
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile(rows(QString(row.rows).split(',')), destination());
    EXPECT_EQ(result.error.message, row.message);
    EXPECT_FALSE(result.archived);
    EXPECT_FALSE(QFileInfo::exists(destination()));
    EXPECT_EQ(trashRecords().keys().join(','), row.trashed);
    EXPECT_EQ(premiereEntries(), before);
    EXPECT_TRUE(QFileInfo::exists(library("Ceremony/Backups/Ceremony 2026-11-16 10-00.fcpevent")));
}

INSTANTIATE_TEST_SUITE_P(
    Failures, ArchiveFailures,
    ::testing::Values(FailureCase{"AllFilesGone", "Documents/Adobe Premiere Pro Auto-Save/Gone/Gone-1.prproj",
                                  false, "Gone", "Error: no files to archive.", ""},
                      FailureCase{"DittoFailsWithAnOldArchiveInPlace", "Autosaves.zip", true, "Beta",
                                  "Error: unable to create archive.", "Autosaves.zip"},
                      // Two events' backups of the same name meet in one "Backups" folder.
                      FailureCase{
                          "SameNameFromTwoFolders",
                          "Movies/Wedding.fcpbundle/Reception/Backups/Ceremony 2026-11-16 10-00.fcpevent",
                          false, "Ceremony,Reception", "Unable to copy files to temp folder.", ""}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.rowName); });
