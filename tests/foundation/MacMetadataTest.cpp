// The AppleDouble file beside a file and Samba's creation-time record, on real files.
#include "MacMetadata.h"

#include "TempHome.h"
#include "foundation/AppleDouble.h"
#include "foundation/DosAttrib.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QFile>
#include <QtEndian>

#include <fcntl.h>
#include <functional>
#include <future>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

void put32(QByteArray& bytes, qsizetype at, quint32 value) {
    qToBigEndian(value, bytes.data() + at);
}

const QByteArray kFcpf = finderInfoOfType("FCPF");

} // namespace

TEST(AppleDouble, FinderInfoOnlyFromAHeaderThatAddsUp) {
    const QByteArray mac = appleDoubleFile(kFcpf);
    ASSERT_EQ(AppleDouble::finderInfo(mac), kFcpf);
    // The entries are at 26 and 38: {id, offset, length}.
    struct Row {
        const char* what;
        std::function<void(QByteArray&)> change;
        std::optional<QByteArray> expected;
    };
    const Row rows[] = {
        {"an AppleSingle file", [](QByteArray& b) { put32(b, 0, 0x00051600); }, std::nullopt},
        {"version 1", [](QByteArray& b) { put32(b, 4, 0x00010000); }, std::nullopt},
        {"the fork's entry first",
         [&](QByteArray& b) { b.replace(26, 24, mac.mid(38, 12) + mac.mid(26, 12)); }, kFcpf},
        {"no FinderInfo entry", [](QByteArray& b) { put32(b, 26, 2); }, std::nullopt},
        {"more entries than the file holds", [](QByteArray& b) { b[24] = char(0xFF); }, std::nullopt},
        {"an entry pointing into the header", [](QByteArray& b) { put32(b, 30, 26); }, std::nullopt},
        {"an offset past the end", [](QByteArray& b) { put32(b, 30, 0xFFFFFFF0); }, std::nullopt},
        {"shorter than a FinderInfo", [](QByteArray& b) { put32(b, 34, 31); }, std::nullopt},
        {"longer than the file", [](QByteArray& b) { put32(b, 34, 4096); }, std::nullopt},
        {"the file's last 32 bytes", [](QByteArray& b) { put32(b, 30, 4064), put32(b, 34, 32); },
         QByteArray(32, 0)},
    };
    for (const Row& row : rows) {
        QByteArray bytes = mac;
        row.change(bytes);
        EXPECT_EQ(AppleDouble::finderInfo(bytes), row.expected) << row.what;
    }
    for (qsizetype size = 0; size < 82; ++size)
        EXPECT_FALSE(AppleDouble::finderInfo(mac.left(size))) << "cut at " << size;
    // The first bytes of a larger file: enough when they hold the entry, never read beyond.
    EXPECT_EQ(AppleDouble::finderInfo(mac.left(100), 1 << 20), kFcpf);
    EXPECT_FALSE(AppleDouble::finderInfo(mac.left(60), 4096));

    EXPECT_EQ(AppleDouble::companionPath("/Volumes/Drive/Wedding_11-22-26_1030"),
              "/Volumes/Drive/._Wedding_11-22-26_1030");
    EXPECT_EQ(AppleDouble::companionPath("Wedding"), "._Wedding");
    EXPECT_TRUE(AppleDouble::companionPath("/Volumes/Drive/").isNull());
}

TEST(DosAttrib, CreationTimeFromEachVersionSambaWritesAndNothingFromABrokenRecord) {
    const QDateTime copied(QDate(2019, 11, 4), QTime(15, 4, 8, 250), Qt::UTC);
    for (int version : {3, 4, 5}) {
        const QByteArray record = dosAttribRecord(version, copied);
        EXPECT_EQ(DosAttrib::createTime(record), copied) << "version " << version;
        EXPECT_FALSE(DosAttrib::createTime(dosAttribRecord(version, copied, false))) << "not marked valid";
        for (qsizetype size = 0; size < record.size(); ++size)
            EXPECT_FALSE(DosAttrib::createTime(record.left(size))) << version << " cut at " << size;
    }
    // The hex text moves everything after it: the fields stay aligned to 4.
    for (const char* hex : {"0x2", "0x20", "0x820", "0x2020", "0x10020"})
        EXPECT_EQ(DosAttrib::createTime(dosAttribRecord(3, copied, true, hex)), copied) << hex;

    QByteArray mismatch = dosAttribRecord(4, copied);
    mismatch[4] = 5; // the union's copy of the version
    EXPECT_FALSE(DosAttrib::createTime(mismatch));
    QByteArray unknown = dosAttribRecord(5, copied);
    unknown[2] = unknown[4] = 6;
    EXPECT_FALSE(DosAttrib::createTime(unknown));
    EXPECT_FALSE(DosAttrib::createTime(QByteArray("0x20\0", 5))) << "Samba before 3.5: the text alone";
    EXPECT_FALSE(DosAttrib::createTime(QByteArray("0x20")));
    const QDateTime ntEpoch(QDate(1601, 1, 1), QTime(0, 0), Qt::UTC);
    EXPECT_FALSE(DosAttrib::createTime(dosAttribRecord(4, ntEpoch))) << "zero: not set";

    EXPECT_EQ(DosAttrib::fromNtTime(132173534480000000ULL),
              QDateTime(QDate(2019, 11, 4), QTime(15, 4, 8), Qt::UTC));
    EXPECT_EQ(DosAttrib::fromNtTime(1), ntEpoch);
    EXPECT_FALSE(DosAttrib::fromNtTime(~0ULL));
}

using MacMetadataFiles = TempHomeTest;

TEST_F(MacMetadataFiles, FinderInfoFromTheAppleDoubleBesideAFileThatHasNoAttribute) {
    const LinuxPlatform platform;
    EXPECT_FALSE(platform.finderInfo(home().writeFile("Drive/Plain/Wedding_11-22-26_1030", "x")));
    const QString file = home().writeFile("Drive/Vault/Wedding_11-22-26_1030", "x");
    home().writeFile("Drive/Vault/._Wedding_11-22-26_1030", appleDoubleFile(kFcpf));
    EXPECT_EQ(platform.finderInfo(file), kFcpf);
    const QByteArray text = finderInfoOfType("TEXT");
    if (::setxattr(QFile::encodeName(file).constData(), LinuxPlatform::finderInfoAttribute, text.constData(),
                   size_t(text.size()), 0) != 0)
        GTEST_SKIP() << "this file system refuses user extended attributes";
    EXPECT_EQ(platform.finderInfo(file), text) << "the file's own attribute comes first";

    // A companion that is a link is not followed; a pipe is not read (it would wait for ever).
    const QString linked = home().writeFile("Drive/Vault/Linked_11-22-26_1030", "x");
    ASSERT_TRUE(QFile::link(home().root() + "/Drive/Vault/._Wedding_11-22-26_1030",
                            home().root() + "/Drive/Vault/._Linked_11-22-26_1030"));
    EXPECT_FALSE(platform.finderInfo(linked));
    const QString piped = home().writeFile("Drive/Vault/Piped_11-22-26_1030", "x");
    const QByteArray pipe = QFile::encodeName(home().root() + "/Drive/Vault/._Piped_11-22-26_1030");
    ASSERT_EQ(::mkfifo(pipe.constData(), 0600), 0);
    auto answer = std::async(std::launch::async, [&] { return platform.finderInfo(piped); });
    if (answer.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        ADD_FAILURE() << "reading the FinderInfo waited on a pipe";
        ::close(::open(pipe.constData(), O_WRONLY | O_NONBLOCK)); // let it go
    }
    EXPECT_FALSE(answer.get());
}

TEST_F(MacMetadataFiles, CreationDateFromSambasRecordThenTheBirthTime) {
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-2);
    const QString file = home().writeFile("Share/Edit-1.prproj", "x");
    const QDateTime copied(QDate(2019, 11, 4), QTime(15, 4, 8), Qt::UTC);
    if (!setDosAttrib(file, dosAttribRecord(4, copied)))
        GTEST_SKIP() << "this file system refuses user extended attributes";
    const QDateTime original = copied.addDays(3);
    ASSERT_TRUE(keepOriginalModificationTime(file, original));
    const LinuxPlatform platform;
    EXPECT_EQ(platform.fileFacts(file)->created, copied);
    EXPECT_EQ(platform.fileFacts(file)->modified, original);
    // A link's own facts are not its target's.
    const QString link = home().root() + "/Share/Edit-link.prproj";
    ASSERT_TRUE(QFile::link(file, link));
    EXPECT_EQ(platform.fileFacts(link, true)->created, copied);
    EXPECT_GE(platform.fileFacts(link, false)->created, before);
    ASSERT_TRUE(setDosAttrib(file, dosAttribRecord(4, copied).left(20)));
    EXPECT_EQ(platform.fileFacts(file)->created, original) << "a broken record: born after it was modified";
    // Saved again on the share after it was born: the record is not read, the share's date stands.
    ASSERT_TRUE(setDosAttrib(file, dosAttribRecord(4, copied)));
    ASSERT_TRUE(keepOriginalModificationTime(file, QDateTime::currentDateTimeUtc().addSecs(60)));
    EXPECT_GE(platform.fileFacts(file)->created, before);
}
