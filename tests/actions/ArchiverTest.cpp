#include "ActionsFixture.h"
#include "ZipEntries.h"
#include "actions/AutosaveArchiver.h"
#include "actions/AutosaveRemoval.h"
#include "foundation/BMFileManager.h"
#include "support/LogLines.h"
#include "support/Tmpfs.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QThread>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

class Archiver : public ActionsTest {
public:
    QString destination() const { return home().home() + "/Autosaves.zip"; }
    QStringList premiereEntries() const {
        return QDir(premiere()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }
    QString halvern() const { return home().home() + "/.local/share/Brightmoor/Halvern"; }
    // A stand-in ditto running the given shell commands.
    void useDitto(const QByteArray& commands) {
        const QString ditto = write("tools/ditto", "#!/bin/sh\n" + commands + "\n");
        QFile::setPermissions(ditto, QFile::ReadOwner | QFile::ExeOwner);
        home().platform().setToolPath(Tool::Ditto, ditto);
    }
    // A stand-in ditto: the given shell commands, then the real zip tool over the gathered folder.
    bool useZipAsDitto(const QByteArray& before) {
        const QString zip = QStandardPaths::findExecutable("zip");
        if (!zip.isEmpty())
            useDitto(before + "\ncd \"$4\" && " + zip.toUtf8() + " -qr \"$5\" .");
        return !zip.isEmpty();
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
    EXPECT_EQ(zipEntryNames(destination()),
              (QStringList{"Adobe Premiere Pro Auto-Save/", "Adobe Premiere Pro Auto-Save/Promo-1.prproj",
                           "Adobe Premiere Pro Auto-Save/Promo-2.prproj", "Alpha/", "Alpha/Alpha-1.prproj",
                           "Backups/", "Backups/Ceremony 2026-11-18 10-00.fcpevent", "Beta/",
                           "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "manifest.json"}));
    // Only once the archive exists do the autosaves go to the Trash, with the folders they
    // leave empty; the location itself and the event's current version stay.
    EXPECT_EQ(trashRecords().size(), 6);
    EXPECT_TRUE(QFileInfo(premiere()).isDir());
    EXPECT_EQ(premiereEntries(), QStringList());
    EXPECT_TRUE(QFileInfo::exists(library("Ceremony/CurrentVersion.fcpevent")));
    // The run's own folder is gone; the one an older version left is not the run's to delete.
    EXPECT_EQ(QDir(halvern()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"Vestry Temp"});
    EXPECT_EQ(readFile(halvern() + "/Vestry Temp/Old Project/stale.prproj"), "left by an earlier run");
}

TEST_F(Archiver, TwoArchivesAtOnceEachGatherInAFolderOfTheirOwn) {
    scan();
    // Neither compresses before both have gathered their copies.
    std::atomic<int> gathered = 0;
    const ProgressCallback meet = [&](const ActionProgress& progress) {
        if (progress.stage != ActionProgress::Stage::Compressing)
            return;
        ++gathered;
        for (int i = 0; i < 500 && gathered < 2; ++i)
            QThread::msleep(10);
    };
    const QString premiereZip = home().home() + "/Premiere.zip", eventZip = home().home() + "/Events.zip";
    const SelectedRows premiereRows = rows({"Alpha", "Beta"}), eventRows = rows({"Ceremony"});
    AutosaveArchiver::Result first, second;
    std::thread a([&] { first = AutosaveArchiver::archiveSelectionToFile(premiereRows, premiereZip, meet); });
    std::thread b([&] { second = AutosaveArchiver::archiveSelectionToFile(eventRows, eventZip, meet); });
    a.join();
    b.join();
    EXPECT_EQ(gathered, 2);
    ASSERT_FALSE(first.error.isError() || second.error.isError())
        << first.error.informative.toStdString() << second.error.informative.toStdString();
    EXPECT_EQ(zipEntryNames(premiereZip),
              (QStringList{"Alpha/", "Alpha/Alpha-1.prproj", "Beta/", "Beta/Beta-1.prproj",
                           "Beta/Beta-2.prproj", "manifest.json"}));
    EXPECT_EQ(zipEntryNames(eventZip),
              (QStringList{"Backups/", "Backups/Ceremony 2026-11-16 10-00.fcpevent",
                           "Backups/Ceremony 2026-11-18 10-00.fcpevent", "manifest.json"}));
    EXPECT_EQ(trashRecords().size(), 5);
    EXPECT_EQ(QDir(halvern()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
}

// What the archiver's ditto does in a row: the real one, a stand-in that writes nothing, or one
// that copies an archive made beforehand holding Beta-1 and, if given, these contents as Beta-2.
enum class Ditto { Real, Fails, Faulty, FaultyAndTruncated };

struct FailureCase {
    const char* rowName;
    const char* fileBeforeScan; // written under the home before the catalogue is scanned
    Ditto ditto;
    const char* beta2;
    const char* rows;
    const char* message;
    const char* detail;  // part of the informative text: the file and the cause
    const char* trashed; // an earlier archive at the destination goes, with the user's agreement
};

class ArchiveFailures : public Archiver, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ArchiveFailures, StopBeforeAnythingIsRemovedAndSayWhy) {
    const FailureCase& row = GetParam();
    if (*row.fileBeforeScan)
        write(row.fileBeforeScan);
    if (row.ditto == Ditto::Fails)
        useDitto("exit 1");
    const bool faulty = row.ditto == Ditto::Faulty || row.ditto == Ditto::FaultyAndTruncated;
    if (faulty) {
        home().writeFile("faulty/Beta/Beta-1.prproj", readFile(premiere("Beta/Beta-1.prproj")));
        if (row.beta2)
            home().writeFile("faulty/Beta/Beta-2.prproj", row.beta2);
        const QString zip = home().root() + "/faulty.zip";
        ASSERT_TRUE(BMFileManager::compressFile(home().root() + "/faulty", zip, false));
        if (row.ditto == Ditto::FaultyAndTruncated) {
            ASSERT_TRUE(QFile::resize(zip, QFileInfo(zip).size() / 2));
        }
        useDitto("cp '" + zip.toUtf8() + "' \"$5\"");
    }
    scan();
    QDir(premiere("Gone")).removeRecursively(); // behind the catalogue's back
    const QStringList before = premiereEntries();
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile(rows(QString(row.rows).split(',')), destination());
    EXPECT_EQ(result.error.message, row.message);
    EXPECT_TRUE(result.error.informative.contains(row.detail)) << result.error.informative.toStdString();
    EXPECT_FALSE(result.archived);
    EXPECT_EQ(QFileInfo::exists(destination()), faulty); // a faulty one is left for the user to look at
    EXPECT_EQ(trashRecords().keys().join(','), row.trashed);
    EXPECT_EQ(premiereEntries(), before);
    EXPECT_EQ(readFile(premiere("Beta/Beta-2.prproj")),
              "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-2.prproj");
    EXPECT_TRUE(QFileInfo::exists(library("Ceremony/Backups/Ceremony 2026-11-16 10-00.fcpevent")));
}

INSTANTIATE_TEST_SUITE_P(
    Failures, ArchiveFailures,
    ::testing::Values(FailureCase{"AllFilesGone", "Documents/Adobe Premiere Pro Auto-Save/Gone/Gone-1.prproj",
                                  Ditto::Real, nullptr, "Gone", "Error: no files to archive.", "", ""},
                      FailureCase{"DittoFailsWithAnOldArchiveInPlace", "Autosaves.zip", Ditto::Fails, nullptr,
                                  "Beta", "Error: unable to create archive.", "", "Autosaves.zip"},
                      // Two events' backups of the same name meet in one "Backups" folder.
                      FailureCase{
                          "SameNameFromTwoFolders",
                          "Movies/Wedding.fcpbundle/Reception/Backups/Ceremony 2026-11-16 10-00.fcpevent",
                          Ditto::Real, nullptr, "Ceremony,Reception", "Unable to copy files to temp folder.",
                          "Ceremony 2026-11-16 10-00.fcpevent: File exists", ""},
                      // The archive made trashes nothing and names what it lacks.
                      FailureCase{"AnAutosaveLeftOut", "", Ditto::Faulty, nullptr, "Beta",
                                  "Error: the archive is incomplete.", "Auto-Save/Beta/Beta-2.prproj", ""},
                      FailureCase{"AnAutosaveCutShort", "", Ditto::Faulty, "Doc", "Beta",
                                  "Error: the archive is incomplete.", "Auto-Save/Beta/Beta-2.prproj", ""},
                      FailureCase{"TheArchiveEndsEarly", "", Ditto::FaultyAndTruncated,
                                  "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-2.prproj", "Beta",
                                  "Error: the archive cannot be read back.", "/Autosaves.zip", ""}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.rowName); });

static QString isoDate(const QDateTime& date) {
    return date.toUTC().toString(Qt::ISODate);
}

TEST_F(Archiver, RecordsEachAutosaveAsTheFileWasAndTheZipMatchesIt) {
    scan();
    const SelectedRows selected = rows({"Beta", "Ceremony 2026-11-18 10-00.fcpevent"});
    QMap<QString, QJsonObject> expected; // by original path, taken before the files go
    for (const BMAutoItemPtr& item : AutosaveSelection::autosavesOf(selected)) {
        const QFileInfo info(item->path());
        expected.insert(
            item->path(),
            QJsonObject{
                {"createdDate", isoDate(item->createdDate())},
                {"entry", info.dir().dirName() + "/" + info.fileName()},
                {"modifiedDate", isoDate(info.lastModified())},
                {"path", item->path()},
                {"sha256",
                 QString::fromLatin1(
                     QCryptographicHash::hash(readFile(item->path()), QCryptographicHash::Sha256).toHex())},
                {"size", info.size()}});
    }
    ASSERT_EQ(expected.size(), 3);
    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(selected, destination());
    ASSERT_FALSE(result.error.isError()) << result.error.informative.toStdString();
    EXPECT_EQ(trashRecords().size(), 3);

    // Read with the system's own unzip, not the reader that wrote the check.
    const QString unzipTool = QStandardPaths::findExecutable("unzip");
    if (unzipTool.isEmpty())
        GTEST_SKIP() << "unzip is not installed";
    const ProgramRun unzip = runProgram(unzipTool, {"-p", destination(), "manifest.json"});
    ASSERT_EQ(unzip.exitCode, 0) << unzip.err.toStdString();
    const QJsonArray autosaves =
        QJsonDocument::fromJson(unzip.out.toUtf8()).object().value("autosaves").toArray();
    QMap<QString, QJsonObject> recorded;
    for (const QJsonValue& value : autosaves)
        recorded.insert(value.toObject().value("path").toString(), value.toObject());
    EXPECT_EQ(recorded, expected);
}

struct ChangeCase {
    const char* rowName;
    const char* change; // shell commands the stand-in ditto runs first; $4 is the gathered folder
    const char* named;
};

class ArchiveChangedAfterGathering : public Archiver, public ::testing::WithParamInterface<ChangeCase> {};

// Sizes alone cannot tell: each change keeps every size.
TEST_P(ArchiveChangedAfterGathering, RemovesNothingAndNamesWhatDiffers) {
    const ChangeCase& row = GetParam();
    scan();
    QByteArray change = row.change;
    change.replace("@", premiere().toUtf8());
    if (!useZipAsDitto(change))
        GTEST_SKIP() << "the zip tool is not installed";
    const QByteArray beta2 = readFile(premiere("Beta/Beta-2.prproj"));
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile(rows({"Beta"}), destination());
    EXPECT_FALSE(result.archived);
    EXPECT_EQ(result.error.message, "Error: the archive does not match what was gathered.");
    EXPECT_TRUE(result.error.informative.contains(row.named)) << result.error.informative.toStdString();
    EXPECT_TRUE(result.error.informative.contains("Nothing was moved to the Trash"));
    EXPECT_TRUE(trashRecords().isEmpty());
    EXPECT_EQ(readFile(premiere("Beta/Beta-1.prproj")),
              "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj");
    EXPECT_EQ(readFile(premiere("Beta/Beta-2.prproj")).size(), beta2.size());
    EXPECT_TRUE(QFileInfo::exists(destination())); // left for the user to look at
}

INSTANTIATE_TEST_SUITE_P(
    Changes, ArchiveChangedAfterGathering,
    ::testing::Values(
        ChangeCase{"AGatheredCopyCorrupted",
                   "printf X | dd of=\"$4/Beta/Beta-2.prproj\" bs=1 seek=3 conv=notrunc 2>/dev/null",
                   "Beta/Beta-2.prproj: its contents differ from the manifest (SHA-256)"},
        ChangeCase{"AnOriginalRewrittenMeanwhile",
                   "printf X | dd of='@/Beta/Beta-2.prproj' bs=1 seek=3 conv=notrunc 2>/dev/null; "
                   "touch -d '2001-02-03 04:05:06' '@/Beta/Beta-2.prproj'",
                   "Auto-Save/Beta/Beta-2.prproj: changed after it was archived"}),
    [](const ::testing::TestParamInfo<ChangeCase>& info) { return std::string(info.param.rowName); });

namespace {

class ActionsLogLines;
using LogRow = LogLinesRow<ActionsLogLines>;

// What removal and archiving write to the log, line by line, and the method names under which
// their failures are logged.
class ActionsLogLines : public Archiver, public ::testing::WithParamInterface<LogRow> {
public:
    using Archiver::home;

    AutosaveArchiver::Result archive(const QStringList& names, const QString& destination,
                                     const ProgressCallback& progress = {}) {
        scan();
        return AutosaveArchiver::archiveSelectionToFile(rows(names), destination, progress);
    }
    // The archive's own folder on a volume of so many inodes: the folder itself takes one.
    void archiveOnVolumeOf(int inodes) {
        m_volume = std::make_unique<Tmpfs>(halvern(), "size=1m,nr_inodes=" + QByteArray::number(inodes));
        if (!m_volume->mounted())
            GTEST_SKIP() << "no tmpfs here: " << m_volume->why().toStdString();
        EXPECT_TRUE(archive({"Alpha"}, home().home() + "/Alpha.zip").error.isError());
    }
    void TearDown() override {
        m_volume.reset();
        Archiver::TearDown();
    }

private:
    std::unique_ptr<Tmpfs> m_volume;
};

void stop(const ActionProgress&) {
    throw std::runtime_error("stopped");
}

const QString kException = QStringLiteral("Exception in %1. std::runtime_error - stopped.");

QStringList failedRemovalOfRows(ActionsLogLines& test) {
    test.scan();
    AutosaveRemoval::removeIndexSet(test.rows({"Alpha"}), stop);
    return {"Removing autosaves manually...", kException.arg("-[AppController removeIndexSet:]")};
}

QStringList failedRemovalOfChildren(ActionsLogLines& test) {
    test.scan();
    AutosaveRemoval::removeChildren(test.rows({"Beta"}).first().autosaves(), stop);
    return {"Removing children manually...", kException.arg("-[AppController removeChildren:]")};
}

QStringList archiving(ActionsLogLines& test) {
    // The autosaves go to the Trash as rows removed by hand do.
    EXPECT_TRUE(test.archive({"Alpha"}, test.home().home() + "/Alpha.zip").archived);
    return {"Archiving autosaves to file...", "Removing autosaves manually..."};
}

QStringList archivingNothing(ActionsLogLines& test) {
    test.scan();
    QFile::remove(test.premiere("Alpha/Alpha-1.prproj"));
    EXPECT_TRUE(
        AutosaveArchiver::archiveSelectionToFile(test.rows({"Alpha"}), test.home().home() + "/Alpha.zip")
            .error.isError());
    return {"Archiving autosaves to file...", "Error: no files to archive. Archiving aborted."};
}

QStringList archiveNotCreated(ActionsLogLines& test) {
    EXPECT_FALSE(test.archive({"Alpha"}, test.home().home() + "/Gone/Alpha.zip").archived);
    return {"Archiving autosaves to file...", "Error: unable to create archive."};
}

QStringList temporaryFolderRefused(ActionsLogLines& test) {
    const QString brightmoor = test.write(".local/share/Brightmoor", "a file where the folder goes");
    EXPECT_TRUE(test.archive({"Alpha"}, test.home().home() + "/Alpha.zip").error.isError());
    return {"Archiving autosaves to file...",
            "Error: Unable to create temporary directory. " + brightmoor + "/Halvern: Not a directory"};
}

QStringList gatheringFolderRefused(ActionsLogLines& test) {
    test.archiveOnVolumeOf(2);
    const QString folder = test.halvern() + "/Vestry Temp */Alpha";
    return {"Archiving autosaves to file...",
            "Unable to create directory " + folder + " - " + folder + ": No space left on device"};
}

QStringList copyRefused(ActionsLogLines& test) {
    test.archiveOnVolumeOf(3);
    return {"Archiving autosaves to file...", "Unable to copy files to temp folder. Archiving aborted."};
}

QStringList failedArchive(ActionsLogLines& test) {
    EXPECT_FALSE(test.archive({"Alpha"}, test.home().home() + "/Alpha.zip", stop).archived);
    return {"Archiving autosaves to file...", kException.arg("-[AppController archiveSelectionToFile:]")};
}

} // namespace

TEST_P(ActionsLogLines, AreWrittenAsTheyRead) {
    const QStringList expected = GetParam().run(*this);
    if (IsSkipped())
        return;
    EXPECT_EQ(loggedOf(expected), expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, ActionsLogLines,
                         ::testing::Values(LogRow{"RemovingRowsFails", failedRemovalOfRows},
                                           LogRow{"RemovingChildrenFails", failedRemovalOfChildren},
                                           LogRow{"Archiving", archiving},
                                           LogRow{"ArchivingNothing", archivingNothing},
                                           LogRow{"ArchiveNotCreated", archiveNotCreated},
                                           LogRow{"TemporaryFolderRefused", temporaryFolderRefused},
                                           LogRow{"GatheringFolderRefused", gatheringFolderRefused},
                                           LogRow{"CopyToTheTemporaryFolderRefused", copyRefused},
                                           LogRow{"ArchivingFails", failedArchive}),
                         byRowName);
