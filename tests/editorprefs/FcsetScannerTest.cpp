#include "editorprefs/FcsetScanner.h"

#include "editorprefs/FcsetBuilder.h"

#include <QList>
#include <QPair>
#include <QRandomGenerator>

#include <gtest/gtest.h>

namespace {

using Found = QList<QPair<QString, QStringList>>;

Found scanWhole(const QByteArray& bytes, std::optional<QStringList> types = std::nullopt) {
    Found found;
    FcsetScanner::scan(bytes, std::move(types),
                       [&](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
                           found.append({QString::fromLatin1(key.name), FcsetScanner::toStrings(candidates)});
                       });
    return found;
}

Found scanInPieces(const QByteArray& bytes, qsizetype pieceSize) {
    Found found;
    FcsetScanner scanner(
        std::nullopt, [&](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
            found.append({QString::fromLatin1(key.name), FcsetScanner::toStrings(candidates)});
        });
    for (qsizetype at = 0;
         at < bytes.size() &&
         scanner.feed(QByteArrayView(bytes.constData() + at, std::min(pieceSize, bytes.size() - at)));
         at += pieceSize) {
    }
    scanner.finish();
    return found;
}

} // namespace

TEST(FcsetScanner, AcceptsExactlyTheListedCharacters) {
    const QByteArray accepted("AZaz09!@#$%^&*()-_=+[{]}\\|'\";:/?.>,<`~ ");
    for (const char c : accepted)
        EXPECT_TRUE(FcsetScanner::isAccepted(static_cast<unsigned char>(c))) << c;
    EXPECT_TRUE(FcsetScanner::isAccepted(0));
    EXPECT_TRUE(FcsetScanner::isAccepted(0xA7));
    EXPECT_TRUE(FcsetScanner::isAccepted(0xB1));
    for (const int c : {1, 9, 10, 13, 15, 31, 127, 0x80, 0xA6, 0xE9, 0xFF})
        EXPECT_FALSE(FcsetScanner::isAccepted(static_cast<unsigned char>(c))) << c;
}

TEST(FcsetScanner, GathersMaximalRunsAndNeverTheKeyNames) {
    const QByteArray bytes = FcsetBuilder()
                                 .noise(3)
                                 .key("waveform")
                                 .noise(2)
                                 .text("render")
                                 .noise(2)
                                 .text("Media:Very Long Folder Name:Waveforms")
                                 .noise(3)
                                 .text("searchLocations")
                                 .noise(1)
                                 .text("tail")
                                 .bytes();
    const Found found = scanWhole(bytes);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found[0].first, "waveform");
    EXPECT_EQ(found[0].second, (QStringList{"Media:Very Long Folder Name:Waveforms", "tail"}));
}

TEST(FcsetScanner, MatchesTheSearchLocationKeyOnlyWithItsLongerPrefix) {
    const QByteArray right = FcsetBuilder().key("searchLocation", 15).text("s").noise(20).bytes();
    const QByteArray wrong = FcsetBuilder().key("searchLocation", 14).text("s").noise(20).bytes();
    ASSERT_EQ(scanWhole(right).size(), 1);
    EXPECT_EQ(scanWhole(right)[0].first, "searchLocation");
    EXPECT_TRUE(scanWhole(right)[0].second.isEmpty()) << "its own name is no candidate";
    EXPECT_TRUE(scanWhole(wrong).isEmpty());
}

TEST(FcsetScanner, KeepsWhatFollowsTheNextKeyOutOfTheEarlierOne) {
    const QByteArray bytes =
        FcsetBuilder().key("capture").path("Media:Cap").key("render").path("Media:R").bytes();
    const Found found = scanWhole(bytes);
    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0], (QPair<QString, QStringList>{"capture", {"Media:Cap"}}));
    EXPECT_EQ(found[1], (QPair<QString, QStringList>{"render", {"Media:R"}}));
}

TEST(FcsetScanner, StopsOnceEveryRequestedKeyIsFinished) {
    FcsetBuilder builder;
    builder.key("autoSaveVault").path("Media:Vault");
    builder.fillerUntil(450).noise(2).key("render").path("Media:Renders");
    const QByteArray bytes = builder.bytes();
    EXPECT_EQ(scanWhole(bytes).size(), 2);
    const Found only = scanWhole(bytes, QStringList{QStringLiteral("\rautoSaveVault")});
    ASSERT_EQ(only.size(), 1);
    EXPECT_EQ(only[0].first, "autoSaveVault");
}

TEST(FcsetScanner, NeedsSeventeenCharactersForAProbe) {
    // A probe is fifteen characters and the scan stops sixteen before the end.
    EXPECT_TRUE(scanWhole(QByteArray("\x06render") + QByteArray(8, 'x')).isEmpty());
    ASSERT_EQ(scanWhole(QByteArray("\x06render") + QByteArray(10, 'x')).size(), 1);
}

class FcsetScannerPieces : public ::testing::TestWithParam<int> {};

TEST_P(FcsetScannerPieces, GiveTheSameResultAsTheWholeFile) {
    FcsetBuilder builder;
    builder.noise(5).key("audiorender").path("Media:Audio Renders Of A Long Project");
    builder.noise(300).key("render").path("Macintosh HD:Users:jo:Render Files");
    builder.noise(500).key("thumbnail").noise(200).path("Other:Thumbs");
    builder.noise(300).key("autoSaveVault").path("Media:Vault");
    const QByteArray bytes = builder.bytes();
    const Found whole = scanWhole(bytes);
    ASSERT_EQ(whole.size(), 4);
    EXPECT_EQ(scanInPieces(bytes, GetParam()), whole);
}

INSTANTIATE_TEST_SUITE_P(Sizes, FcsetScannerPieces, ::testing::Values(1, 2, 15, 16, 17, 31, 400, 4096),
                         [](const auto& info) { return "Piece" + std::to_string(info.param); });

struct HostileRow {
    const char* name;
    QByteArray (*make)();
};

class FcsetScannerHostile : public ::testing::TestWithParam<HostileRow> {};

TEST_P(FcsetScannerHostile, EndsWithBoundedCandidates) {
    const QByteArray bytes = GetParam().make();
    qsizetype largest = 0;
    int keys = 0;
    FcsetScanner::scan(bytes, std::nullopt,
                       [&](const FcsetScanner::Key&, const QList<QByteArrayView>& candidates) {
                           ++keys;
                           qsizetype total = 0;
                           for (const QByteArrayView candidate : candidates)
                               total += candidate.size();
                           largest = std::max(largest, total);
                       });
    // Gathering covers at most the 401 positions after a key plus one probe.
    EXPECT_LE(largest, FcsetScanner::finishDistance + FcsetScanner::probeLength);
    EXPECT_LE(keys, bytes.size() / 7 + 1);
}

INSTANTIATE_TEST_SUITE_P(Files, FcsetScannerHostile,
                         ::testing::Values(HostileRow{"RandomBinary",
                                                      [] {
                                                          QByteArray bytes(4 << 20, 0);
                                                          QRandomGenerator generator(20261122);
                                                          generator.fillRange(
                                                              reinterpret_cast<quint32*>(bytes.data()),
                                                              bytes.size() / 4);
                                                          return bytes;
                                                      }},
                                           HostileRow{"AllNul", [] { return QByteArray(1 << 20, '\0'); }},
                                           HostileRow{"AllText", [] { return QByteArray(1 << 20, 'A'); }},
                                           HostileRow{"KeysBackToBack",
                                                      [] {
                                                          QByteArray bytes;
                                                          while (bytes.size() < (1 << 20))
                                                              bytes.append("\x06render\x0d"
                                                                           "autoSaveVault\x07"
                                                                           "capture:");
                                                          return bytes;
                                                      }},
                                           HostileRow{"OneKeyThenEndlessPath",
                                                      [] {
                                                          return QByteArray("\x0d"
                                                                            "autoSaveVault") +
                                                                 QByteArray(1 << 20, ':');
                                                      }}),
                         [](const auto& info) { return std::string(info.param.name); });
