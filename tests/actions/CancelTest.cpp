// A stop asked for in the middle of long work: each file is wholly handled or untouched.
#include "ActionsFixture.h"
#include "actions/AutosaveArchiver.h"
#include "actions/AutosaveOpener.h"

#include <QDirIterator>

namespace {

// Every file under the folder: relative path -> contents.
QMap<QString, QByteArray> listing(const QString& folder) {
    QMap<QString, QByteArray> files;
    for (QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();) {
        const QString path = it.next();
        files.insert(path.mid(folder.size() + 1), readFile(path));
    }
    return files;
}

// Gamma holds six autosaves, the first of 8 MB.
class Cancel : public ActionsTest {
protected:
    void SetUp() override {
        ActionsTest::SetUp();
        for (int i = 1; i <= 6; ++i)
            write(QString("Documents/Adobe Premiere Pro Auto-Save/Gamma/Gamma-%1.prproj").arg(i),
                  i == 1 ? QByteArray(8 << 20, 'g') : QByteArray::number(i));
        scan();
    }
    // Sets the flag once the stage has reported the count.
    ProgressCallback stopAt(ActionProgress::Stage stage, qint64 done) {
        return [=, this](const ActionProgress& progress) {
            flag = flag || (progress.stage == stage && progress.done >= done);
        };
    }
    CancelFlag flag{false};
};

} // namespace

TEST_F(Cancel, CopyAndMoveFinishTheFileUnderWayAndLeaveTheRestWithNothingHalfWrittenOrInBothPlaces) {
    const QMap<QString, QByteArray> before = listing(premiere("Gamma"));
    for (const auto transfer : {AutosaveOpener::Transfer::Copy, AutosaveOpener::Transfer::Move}) {
        const bool copy = transfer == AutosaveOpener::Transfer::Copy;
        flag = false;
        const QString target = home().root() + (copy ? "/copies" : "/moved");
        ASSERT_TRUE(QDir().mkpath(target));
        const auto report = AutosaveOpener::copyFiles(
            rows({"Gamma"}), target, transfer,
            stopAt(copy ? ActionProgress::Stage::Copying : ActionProgress::Stage::Moving, 3), &flag);
        EXPECT_TRUE(report.cancelled);
        EXPECT_EQ(report.done.size(), 3);
        // Three whole copies and, in the source, the other three (a move) or all six (a copy).
        const QMap<QString, QByteArray> written = listing(target);
        QMap<QString, QByteArray> together = listing(premiere("Gamma"));
        EXPECT_EQ(written.size(), 3);
        EXPECT_EQ(together.size(), copy ? 6 : 3);
        together.insert(written);
        EXPECT_EQ(together, before);
    }
}

// Before the archive is whole and checked, only what the run made goes (a copy cut short, the
// zip written) and an earlier archive stays; after, the archive stays and trashing stops.
TEST_F(Cancel, ArchiveTakesAwayOnlyItsOwnUnfinishedWorkOrKeepsTheCheckedArchive) {
    const QMap<QString, QByteArray> before = listing(premiere());
    const QString zip = home().home() + "/Gamma.zip";
    write("Gamma.zip", "an earlier archive");
    for (const auto stage : {ActionProgress::Stage::Gathering, ActionProgress::Stage::Compressing}) {
        flag = false;
        const bool gathering = stage == ActionProgress::Stage::Gathering;
        const auto result = AutosaveArchiver::archiveSelectionToFile(rows({"Gamma"}), zip,
                                                                     stopAt(stage, gathering ? 1 : 0), &flag);
        EXPECT_TRUE(result.cancelled && !result.archived && !result.error.isError());
        EXPECT_EQ(QFileInfo::exists(zip) ? readFile(zip) : "", gathering ? "an earlier archive" : "");
        EXPECT_TRUE(QDir(AutosaveArchiver::temporaryFolderParent()).isEmpty());
        EXPECT_EQ(listing(premiere()), before);
    }
    EXPECT_EQ(trashRecords().keys(), QStringList{"Gamma.zip"}); // the one the user agreed to replace

    flag = false;
    const auto result = AutosaveArchiver::archiveSelectionToFile(
        rows({"Gamma"}), zip, stopAt(ActionProgress::Stage::Trashing, 1), &flag);
    EXPECT_TRUE(result.archived && result.removal.cancelled);
    EXPECT_EQ(result.removal.removed.size(), 1);
    EXPECT_EQ(listing(premiere("Gamma")).size(), 5);
    EXPECT_TRUE(QFileInfo(zip).isFile());
}
