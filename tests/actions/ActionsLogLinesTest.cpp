// What removal and archiving write to the log, line by line, and the method names under which
// their failures are logged.
#include "ActionsFixture.h"
#include "actions/AutosaveArchiver.h"
#include "actions/AutosaveRemoval.h"
#include "support/LogLines.h"
#include "support/Tmpfs.h"

#include <stdexcept>

namespace {

class ActionsLogLines;
using LogRow = LogLinesRow<ActionsLogLines>;

class ActionsLogLines : public ActionsTest, public ::testing::WithParamInterface<LogRow> {
public:
    using ActionsTest::home;
    using ActionsTest::premiere;
    using ActionsTest::rows;
    using ActionsTest::scan;
    using ActionsTest::write;

    QString halvern() const { return home().home() + "/.local/share/Brightmoor/Halvern"; }
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
        ActionsTest::TearDown();
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
