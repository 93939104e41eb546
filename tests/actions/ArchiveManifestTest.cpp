
#include "ActionsFixture.h"
#include "ZipEntries.h"
#include "actions/AutosaveArchiver.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

namespace {

class ArchiveManifestTest : public ActionsTest {
protected:
    QString destination() const { return home().home() + "/Autosaves.zip"; }
    // A stand-in ditto: the given shell commands, then the real zip tool over the gathered folder.
    bool useZipAsDitto(const QByteArray& before) {
        const QString zip = QStandardPaths::findExecutable("zip");
        if (zip.isEmpty())
            return false;
        const QString ditto = write("tools/ditto", "#!/bin/sh\n" + before + "\ncd \"$4\" && " + zip.toUtf8() +
                                                       " -qr \"$5\" .\n");
        QFile::setPermissions(ditto, QFile::ReadOwner | QFile::ExeOwner);
        home().platform().setToolPath(Tool::Ditto, ditto);
        return true;
    }
};

QString isoDate(const QDateTime& date) {
    return date.toUTC().toString(Qt::ISODate);
}

} // namespace

TEST_F(ArchiveManifestTest, RecordsEachAutosaveAsTheFileWasAndTheZipMatchesIt) {
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

class ArchiveChangedAfterGathering : public ArchiveManifestTest,
                                     public ::testing::WithParamInterface<ChangeCase> {};

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
