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
#include <gtest/gtest.h>

namespace {

// The entries of a zip archive as an independent tool lists them.
QStringList unzipList(const QString& archive) {
    QStringList names = BMTaskEx::stringFromTask(QStringLiteral("/usr/bin/unzip"),
                                                 {QStringLiteral("-Z1"), archive}, BMTaskEx::Encoding::Utf8)
                            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
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

// Every item under the folder, relative to it, hidden ones included.
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
        writeWork(QStringLiteral("Cut 1/Cut 1_0101.fcp"), "first");
        writeWork(QStringLiteral("Cut 1/older/Cut 1_0001.fcp"), "zero");
        ASSERT_TRUE(QFile::link(QStringLiteral("Cut 1_0101.fcp"), work(QStringLiteral("Cut 1/latest"))));
        m_source = work(QStringLiteral("Cut 1"));
    }
    QString m_source;
};

TEST_F(Archives, TheFolderIsAtTheTopUnlessOnlyItsContentsAreWanted) {
    const QString zip = home().makeFolder(QStringLiteral("work/out")) + QStringLiteral("/Cut 1.zip");
    EXPECT_TRUE(BMFileManager::compressFile(m_source, zip));
    EXPECT_EQ(unzipList(zip), (QStringList{QStringLiteral("Cut 1/"), QStringLiteral("Cut 1/Cut 1_0101.fcp"),
                                           QStringLiteral("Cut 1/latest"), QStringLiteral("Cut 1/older/"),
                                           QStringLiteral("Cut 1/older/Cut 1_0001.fcp")}));
    EXPECT_EQ(
        BMTaskEx::terminationCodeFromTask(QStringLiteral("/usr/bin/unzip"), {QStringLiteral("-tq"), zip}), 0);

    EXPECT_TRUE(BMFileManager::compressFile(m_source, work(QStringLiteral("contents.zip")), false));
    EXPECT_EQ(unzipList(work(QStringLiteral("contents.zip"))),
              (QStringList{QStringLiteral("Cut 1_0101.fcp"), QStringLiteral("latest"),
                           QStringLiteral("older/"), QStringLiteral("older/Cut 1_0001.fcp")}));
    EXPECT_TRUE(BMFileManager::compressFile(work(QStringLiteral("Cut 1/Cut 1_0101.fcp")),
                                            work(QStringLiteral("one.zip"))));
    EXPECT_EQ(unzipList(work(QStringLiteral("one.zip"))), QStringList{QStringLiteral("Cut 1_0101.fcp")});

    EXPECT_FALSE(
        BMFileManager::compressFile(work(QStringLiteral("missing")), work(QStringLiteral("none.zip"))));
    EXPECT_FALSE(FileTree::exists(work(QStringLiteral("none.zip"))));
    EXPECT_TRUE(
        QDir(work()).entryList(QDir::Hidden | QDir::Files).filter(QStringLiteral("partial")).isEmpty());
}

TEST_F(Archives, CompressingOverAnExistingArchiveTrashesTheOldOne) {
    const QString zip = writeWork(QStringLiteral("Cut 1.zip"), "the old archive");
    EXPECT_TRUE(BMFileManager::compressFile(m_source, zip));
    EXPECT_EQ(unzipList(zip).first(), QStringLiteral("Cut 1/"));
    EXPECT_EQ(readFile(trash() + QStringLiteral("/files/Cut 1.zip")), "the old archive");
    EXPECT_EQ(trashedFrom(trash(), QStringLiteral("Cut 1.zip")), zip);
    // No half-written archive is left beside the result.
    EXPECT_EQ(QDir(work()).entryList({QStringLiteral("*.partial")}, QDir::AllEntries | QDir::Hidden),
              QStringList());
}

TEST_F(Archives, ExtractionGivesBackWhatWasArchivedAndTrashesWhatWasThere) {
    const QString zip = work(QStringLiteral("Cut 1.zip"));
    ASSERT_TRUE(BMFileManager::compressFile(m_source, zip));
    const QString out =
        writeWork(QStringLiteral("restored/mine.txt"), "mine").section(QLatin1Char('/'), 0, -2);
    EXPECT_TRUE(BMFileManager::decompressFile(zip, out));
    EXPECT_EQ(treeOf(out), (QStringList{QStringLiteral("Cut 1"), QStringLiteral("Cut 1/Cut 1_0101.fcp"),
                                        QStringLiteral("Cut 1/latest"), QStringLiteral("Cut 1/older"),
                                        QStringLiteral("Cut 1/older/Cut 1_0001.fcp")}));
    EXPECT_EQ(readFile(out + QStringLiteral("/Cut 1/older/Cut 1_0001.fcp")), "zero");
    EXPECT_EQ(QFileInfo(out + QStringLiteral("/Cut 1/latest")).symLinkTarget(),
              out + QStringLiteral("/Cut 1/Cut 1_0101.fcp"));
    EXPECT_EQ(readFile(trash() + QStringLiteral("/files/restored/mine.txt")), "mine");

    const QString notZip = writeWork(QStringLiteral("notes.zip"), "plain text, not an archive");
    EXPECT_FALSE(BMFileManager::decompressFile(notZip, work(QStringLiteral("out"))));
    EXPECT_FALSE(FileTree::exists(work(QStringLiteral("out"))));
}

TEST_F(FileOpsTest, LinksThatStayInsideAreExtractedAndMacMetadataIsNot) {
    const QString zip = work(QStringLiteral("links.zip"));
    writeRawZip(zip, {{QStringLiteral("a/clip.mov"), "clip", {}},
                      {QStringLiteral("b/link"), {}, QStringLiteral("../a/clip.mov")},
                      {QStringLiteral("__MACOSX/a/._clip.mov"), "fork", {}}});
    const QString out = work(QStringLiteral("out"));
    EXPECT_TRUE(BMFileManager::decompressFile(zip, out));
    EXPECT_EQ(treeOf(out), (QStringList{QStringLiteral("a"), QStringLiteral("a/clip.mov"),
                                        QStringLiteral("b"), QStringLiteral("b/link")}));
    EXPECT_EQ(readFile(out + QStringLiteral("/b/link")), "clip");
}

struct HostileRow {
    const char* name;
    QList<RawEntry> entries;
};

class HostileArchive : public FileOpsTest, public ::testing::WithParamInterface<HostileRow> {};

TEST_P(HostileArchive, IsRefusedBeforeAnythingIsWritten) {
    const QString zip = work(QStringLiteral("hostile.zip"));
    writeRawZip(zip, GetParam().entries);
    // An earlier extraction that must survive the refused one.
    const QString out =
        writeWork(QStringLiteral("box/out/previous.txt"), "previous").section(QLatin1Char('/'), 0, -2);
    const QStringList before = treeOf(home().root());

    EXPECT_FALSE(BMFileManager::decompressFile(zip, out));
    EXPECT_EQ(treeOf(home().root()), before);
    EXPECT_EQ(readFile(out + QStringLiteral("/previous.txt")), "previous");
    EXPECT_FALSE(QFileInfo::exists(QStringLiteral("/tmp/vestry-evil-absolute")));
    EXPECT_TRUE(logText().contains(QStringLiteral("Unable to extract %1: the entry").arg(zip)));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HostileArchive,
    ::testing::Values(HostileRow{"ParentEntry",
                                 {{QStringLiteral("ok.txt"), "ok", {}},
                                  {QStringLiteral("../evil.txt"), "x", {}}}},
                      HostileRow{"ParentInTheMiddle", {{QStringLiteral("a/../../evil.txt"), "x", {}}}},
                      HostileRow{"AbsoluteEntry", {{QStringLiteral("/tmp/vestry-evil-absolute"), "x", {}}}},
                      HostileRow{"LinkOutOfTheFolder",
                                 {{QStringLiteral("evil-link"), {}, QStringLiteral("../../..")},
                                  {QStringLiteral("evil-link/evil.txt"), "x", {}}}},
                      HostileRow{"AbsoluteLink", {{QStringLiteral("evil-etc"), {}, QStringLiteral("/etc")}}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileOpsTest, DittoIsUsedWhereTheSystemHasIt) {
    RecordingTool ditto = fakeTool(Tool::Ditto);
    const QString folder = home().makeFolder(QStringLiteral("work/Cut"));
    const QString zip = work(QStringLiteral("Cut.zip"));
    // The stand-in writes nothing, so the results say the archive and folder are missing.
    EXPECT_FALSE(BMFileManager::compressFile(folder, zip));
    EXPECT_FALSE(BMFileManager::compressFile(folder, zip, false));
    EXPECT_FALSE(BMFileManager::decompressFile(zip, work(QStringLiteral("out"))));
    EXPECT_EQ(ditto.calls(), (QList<QStringList>{
                                 {QStringLiteral("-ck"), QStringLiteral("--keepParent"), folder, zip},
                                 {QStringLiteral("-ck"), folder, zip},
                                 {QStringLiteral("-xk"), zip, work(QStringLiteral("out"))},
                             }));
}

} // namespace
