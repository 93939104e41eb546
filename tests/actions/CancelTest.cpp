// A stop asked for in the middle of long work: each file is wholly handled or untouched.
#include "ActionsFixture.h"
#include "actions/AutosaveArchiver.h"
#include "actions/AutosaveOpener.h"
#include "actions/AutosaveRemoval.h"

#include <QDirIterator>

namespace {

// Every file under the folder (relative path -> contents).
QMap<QString, QByteArray> listing(const QString& folder) {
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(path.mid(folder.size() + 1), readFile(path));
    }
    return files;
}

// Gamma holds six autosaves besides the fixture's.
class Cancel : public ActionsTest {
protected:
    void SetUp() override {
        ActionsTest::SetUp();
        for (int i = 1; i <= 6; ++i)
            write(QStringLiteral("Documents/Adobe Premiere Pro Auto-Save/Gamma/Gamma-%1.prproj").arg(i));
        scan();
    }
    // Sets the flag when the given stage reports the given count.
    ProgressCallback stopAt(ActionProgress::Stage stage, qint64 done) {
        return [this, stage, done](const ActionProgress& progress) {
            if (progress.stage == stage && progress.done >= done)
                flag = true;
        };
    }
    QString halvern() const { return home().home() + "/.local/share/Brightmoor/Halvern"; }
    CancelFlag flag{false};
};

} // namespace

TEST_F(Cancel, CopyAndMoveStopAfterTheFileUnderWayWithNothingHalfWrittenOrInBothPlaces) {
    const QString gamma = premiere("Gamma");
    const QMap<QString, QByteArray> before = listing(gamma);
    for (const auto transfer : {AutosaveOpener::Transfer::Copy, AutosaveOpener::Transfer::Move}) {
        SCOPED_TRACE(transfer == AutosaveOpener::Transfer::Copy ? "copy" : "move");
        flag = false;
        const QString target =
            home().root() + (transfer == AutosaveOpener::Transfer::Copy ? "/copies" : "/moved");
        ASSERT_TRUE(QDir().mkpath(target));
        const auto stage = transfer == AutosaveOpener::Transfer::Copy ? ActionProgress::Stage::Copying
                                                                      : ActionProgress::Stage::Moving;
        const AutosaveOpener::TransferReport report =
            AutosaveOpener::copyFiles(rows({"Gamma"}), target, transfer, stopAt(stage, 3), &flag);
        EXPECT_TRUE(report.cancelled);
        EXPECT_EQ(report.total, 6);
        EXPECT_EQ(report.done.size(), 3);
        EXPECT_TRUE(report.failed.isEmpty());
        // Three whole copies; the source holds the rest (a move) or everything (a copy), each as it was.
        const QMap<QString, QByteArray> written = listing(target);
        const QMap<QString, QByteArray> left = listing(gamma);
        EXPECT_EQ(written.size(), 3);
        for (auto it = written.cbegin(); it != written.cend(); ++it)
            EXPECT_EQ(before.value(it.key()), it.value()) << it.key().toStdString();
        QMap<QString, QByteArray> together = left;
        if (transfer == AutosaveOpener::Transfer::Move) {
            EXPECT_EQ(left.size(), 3);
            together.insert(written);
        }
        EXPECT_EQ(together, before);
    }
}

TEST_F(Cancel, RemovalStopsBeforeTheNextFileAndSaysHowManyOfHowMany) {
    const BMAutoItemList items = rows({"Gamma"}).first().autosaves();
    const RemovalReport report = AutosaveRemoval::removeChildren(
        items, stopAt(ActionProgress::Stage::Trashing, 2), AutosaveRemoval::OnFailure::Continue, &flag);
    EXPECT_TRUE(report.cancelled);
    EXPECT_EQ(report.removed.size(), 2);
    EXPECT_EQ(trashRecords().size(), 2);
    EXPECT_EQ(listing(premiere("Gamma")).size(), 4);
    EXPECT_EQ(ActionTexts::cancelled("moved to the Trash", report.removed.size(), report.total),
              "Cancelled: 2 of 6 autosaves were moved to the Trash; the other 4 are untouched.");
}

// Before the archive is whole, only what the run made goes (the copies cut short included) and
// an archive already at the destination stays; once it is checked, it stays and trashing stops.
TEST_F(Cancel, ArchiveTakesAwayOnlyItsOwnUnfinishedWorkOrKeepsTheCheckedArchive) {
    write("Documents/Adobe Premiere Pro Auto-Save/Gamma/Gamma-1.prproj", QByteArray(8 << 20, 'g'));
    scan();
    const QMap<QString, QByteArray> before = listing(premiere());
    const QString zip = home().home() + "/Gamma.zip";
    struct Row {
        const char* name;
        ActionProgress::Stage stage;
        qint64 done;
        bool earlierArchive;
    };
    for (const Row& row : {Row{"mid-copy", ActionProgress::Stage::Gathering, 1, true},
                           Row{"compressing", ActionProgress::Stage::Compressing, 0, false}}) {
        SCOPED_TRACE(row.name);
        flag = false;
        if (row.earlierArchive)
            write("Gamma.zip", "an earlier archive");
        const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(
            rows({"Gamma"}), zip, stopAt(row.stage, row.done), &flag);
        EXPECT_TRUE(result.cancelled);
        EXPECT_FALSE(result.archived);
        EXPECT_FALSE(result.error.isError());
        if (row.earlierArchive)
            EXPECT_EQ(readFile(zip), "an earlier archive");
        else
            EXPECT_FALSE(QFileInfo::exists(zip));
        EXPECT_EQ(QDir(halvern()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
        EXPECT_TRUE(trashRecords().isEmpty());
        EXPECT_EQ(listing(premiere()), before);
        QFile::remove(zip);
    }

    flag = false;
    const AutosaveArchiver::Result result = AutosaveArchiver::archiveSelectionToFile(
        rows({"Gamma"}), zip, stopAt(ActionProgress::Stage::Trashing, 1), &flag);
    EXPECT_FALSE(result.cancelled);
    EXPECT_TRUE(result.archived);
    EXPECT_TRUE(result.removal.cancelled);
    EXPECT_EQ(result.removal.removed.size(), 1);
    EXPECT_EQ(trashRecords().size(), 1);
    EXPECT_EQ(listing(premiere("Gamma")).size(), 5);
    EXPECT_TRUE(QFileInfo(zip).isFile());
}
