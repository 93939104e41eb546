#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMTaskEx.h"
#include "foundation/FileTree.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>

namespace {

// The entries of a zip archive as an independent tool lists them.
QStringList unzipList(const QString& archive) {
    QStringList names = BMTaskEx::stringFromTask("/usr/bin/unzip", {"-Z1", archive}, BMTaskEx::Encoding::Utf8)
                            .split('\n', Qt::SkipEmptyParts);
    names.sort();
    return names;
}

struct RawEntry {
    QString name;
    QByteArray contents;
    QString symlink; // a link entry when set
};

// A zip archive written entry by entry, names exactly as given (hostile ones too).
void writeRawZip(const QString& path, const QList<RawEntry>& entries) {
    archive* a = archive_write_new();
    archive_write_set_format_zip(a);
    ASSERT_EQ(archive_write_open_filename(a, QFile::encodeName(path).constData()), ARCHIVE_OK);
    for (const RawEntry& raw : entries) {
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname_utf8(e, raw.name.toUtf8().constData());
        archive_entry_set_mtime(e, 1400000000, 0);
        archive_entry_set_filetype(e, raw.symlink.isEmpty() ? AE_IFREG : AE_IFLNK);
        archive_entry_set_perm(e, raw.symlink.isEmpty() ? 0644 : 0777);
        if (!raw.symlink.isEmpty())
            archive_entry_set_symlink_utf8(e, raw.symlink.toUtf8().constData());
        archive_entry_set_size(e, raw.contents.size());
        ASSERT_EQ(archive_write_header(a, e), ARCHIVE_OK) << archive_error_string(a);
        if (!raw.contents.isEmpty())
            archive_write_data(a, raw.contents.constData(), size_t(raw.contents.size()));
        archive_entry_free(e);
    }
    archive_write_close(a);
    archive_write_free(a);
}

QStringList treeOf(const QString& folder) {
    QStringList names;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        names << it.next().mid(folder.size() + 1);
    names.sort();
    return names;
}

class Archives : public FileOpsTest {
protected:
    void SetUp() override {
        FileOpsTest::SetUp();
        writeWork("Cut 1/Cut 1_0101.fcp", "first");
        writeWork("Cut 1/older/Cut 1_0001.fcp", "zero");
        ASSERT_TRUE(QFile::link("Cut 1_0101.fcp", work("Cut 1/latest")));
        m_source = work("Cut 1");
    }
    QString m_source;
};

// An old archive of the same name goes to the Trash, and so does what extraction would replace.
TEST_F(Archives, TheFolderIsAtTheTopUnlessOnlyItsContentsAreWantedAndExtractionGivesBackWhatWasArchived) {
    const QString zip = writeWork("Cut 1.zip", "the old archive");
    EXPECT_TRUE(BMFileManager::compressFile(m_source, zip));
    EXPECT_EQ(unzipList(zip), (QStringList{"Cut 1/", "Cut 1/Cut 1_0101.fcp", "Cut 1/latest", "Cut 1/older/",
                                           "Cut 1/older/Cut 1_0001.fcp"}));
    EXPECT_EQ(BMTaskEx::terminationCodeFromTask("/usr/bin/unzip", {"-tq", zip}), 0);
    EXPECT_EQ(readFile(trash() + "/files/Cut 1.zip"), "the old archive");
    EXPECT_EQ(trashedFrom(trash(), "Cut 1.zip"), zip);

    EXPECT_TRUE(BMFileManager::compressFile(m_source, work("contents.zip"), false));
    EXPECT_EQ(unzipList(work("contents.zip")),
              (QStringList{"Cut 1_0101.fcp", "latest", "older/", "older/Cut 1_0001.fcp"}));
    EXPECT_TRUE(BMFileManager::compressFile(work("Cut 1/Cut 1_0101.fcp"), work("one.zip")));
    EXPECT_EQ(unzipList(work("one.zip")), QStringList{"Cut 1_0101.fcp"});

    EXPECT_FALSE(BMFileManager::compressFile(work("missing"), work("none.zip")));
    EXPECT_FALSE(FileTree::exists(work("none.zip")));
    const std::atomic<bool> stop{true};
    QString cause;
    EXPECT_FALSE(BMFileManager::compressFile(m_source, work("stopped.zip"), false, &cause, &stop));
    EXPECT_EQ(cause, "Cancelled");
    // No half-written archive is left beside the results.
    EXPECT_EQ(QDir(work()).entryList(QDir::Files | QDir::Hidden, QDir::Name),
              (QStringList{"Cut 1.zip", "contents.zip", "one.zip"}));

    // Extraction gives back what was archived, trashes what was there and drops Mac metadata.
    const QString out = writeWork("restored/mine.txt", "mine").section('/', 0, -2);
    EXPECT_TRUE(BMFileManager::decompressFile(zip, out));
    EXPECT_EQ(treeOf(out), (QStringList{"Cut 1", "Cut 1/Cut 1_0101.fcp", "Cut 1/latest", "Cut 1/older",
                                        "Cut 1/older/Cut 1_0001.fcp"}));
    EXPECT_EQ(readFile(out + "/Cut 1/older/Cut 1_0001.fcp"), "zero");
    EXPECT_EQ(QFileInfo(out + "/Cut 1/latest").symLinkTarget(), out + "/Cut 1/Cut 1_0101.fcp");
    EXPECT_EQ(readFile(trash() + "/files/restored/mine.txt"), "mine");

    const QString notZip = writeWork("notes.zip", "plain text, not an archive");
    EXPECT_FALSE(BMFileManager::decompressFile(notZip, work("out")));
    EXPECT_FALSE(FileTree::exists(work("out")));
    writeRawZip(
        work("links.zip"),
        {{"a/clip.mov", "clip", {}}, {"b/link", {}, "../a/clip.mov"}, {"__MACOSX/a/._clip.mov", "fork", {}}});
    EXPECT_TRUE(BMFileManager::decompressFile(work("links.zip"), work("out")));
    EXPECT_EQ(treeOf(work("out")), (QStringList{"a", "a/clip.mov", "b", "b/link"}));
    EXPECT_EQ(readFile(work("out/b/link")), "clip");
}

struct HostileRow {
    const char* name;
    QList<RawEntry> entries;
};

class HostileArchive : public FileOpsTest, public ::testing::WithParamInterface<HostileRow> {};

TEST_P(HostileArchive, IsRefusedBeforeAnythingIsWritten) {
    const QString zip = work("hostile.zip");
    writeRawZip(zip, GetParam().entries);
    // An earlier extraction that must survive the refused one.
    const QString out = writeWork("box/out/previous.txt", "previous").section('/', 0, -2);
    const QStringList before = treeOf(home().root());

    EXPECT_FALSE(BMFileManager::decompressFile(zip, out));
    EXPECT_EQ(treeOf(home().root()), before);
    EXPECT_EQ(readFile(out + "/previous.txt"), "previous");
    EXPECT_FALSE(QFileInfo::exists("/tmp/vestry-evil-absolute"));
    EXPECT_TRUE(logText().contains(QString("Unable to extract %1: the entry").arg(zip)));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HostileArchive,
    ::testing::Values(HostileRow{"ParentEntry", {{"ok.txt", "ok", {}}, {"../evil.txt", "x", {}}}},
                      HostileRow{"ParentInTheMiddle", {{"a/../../evil.txt", "x", {}}}},
                      HostileRow{"AbsoluteEntry", {{"/tmp/vestry-evil-absolute", "x", {}}}},
                      HostileRow{"LinkOutOfTheFolder",
                                 {{"evil-link", {}, "../../.."}, {"evil-link/evil.txt", "x", {}}}},
                      HostileRow{"AbsoluteLink", {{"evil-etc", {}, "/etc"}}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileOpsTest, DittoIsUsedWhereTheSystemHasIt) {
    RecordingTool ditto = fakeTool(Tool::Ditto);
    const QString folder = home().makeFolder("work/Cut");
    const QString zip = work("Cut.zip");
    // The stand-in writes nothing, so the results say the archive and folder are missing.
    EXPECT_FALSE(BMFileManager::compressFile(folder, zip));
    EXPECT_FALSE(BMFileManager::compressFile(folder, zip, false));
    EXPECT_FALSE(BMFileManager::decompressFile(zip, work("out")));
    EXPECT_EQ(ditto.calls(), (QList<QStringList>{
                                 {"-ck", "--keepParent", folder, zip},
                                 {"-ck", folder, zip},
                                 {"-xk", zip, work("out")},
                             }));
}

} // namespace
