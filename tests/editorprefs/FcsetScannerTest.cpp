#include "editorprefs/FcsetScanner.h"

#include "editorprefs/FcsetBuilder.h"

#include <QList>
#include <QPair>
#include <QRandomGenerator>

#include <gtest/gtest.h>

namespace {

using Found = QList<QPair<QString, QStringList>>;

// The whole file at once, or fed in pieces of the given size.
Found scan(const QByteArray& bytes, std::optional<QStringList> types = std::nullopt,
           qsizetype pieceSize = 0) {
    Found found;
    FcsetScanner scanner(
        std::move(types), [&](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
            found.append({QString::fromLatin1(key.name), FcsetScanner::toStrings(candidates)});
        });
    const qsizetype piece = pieceSize > 0 ? pieceSize : std::max<qsizetype>(bytes.size(), 1);
    for (qsizetype at = 0;
         at < bytes.size() &&
         scanner.feed(QByteArrayView(bytes.constData() + at, std::min(piece, bytes.size() - at)));
         at += piece) {
    }
    scanner.finish();
    return found;
}

} // namespace

TEST(FcsetScanner, AcceptsExactlyTheListedCharacters) {
    const QByteArray accepted("AZaz09!@#$%^&*()-_=+[{]}\\|'\";:/?.>,<`~ ");
    for (const int c : accepted + QByteArray("\0\xA7\xB1", 3))
        EXPECT_TRUE(FcsetScanner::isAccepted(static_cast<unsigned char>(c))) << c;
    for (const int c : {1, 9, 10, 13, 15, 31, 127, 0x80, 0xA6, 0xE9, 0xFF})
        EXPECT_FALSE(FcsetScanner::isAccepted(static_cast<unsigned char>(c))) << c;
}

TEST(FcsetScanner, GathersMaximalRunsAndNeverTheKeyNames) {
    FcsetBuilder builder;
    builder.noise(3).key("waveform").noise(2).text("render").noise(2);
    builder.text("Media:Very Long Folder Name:Waveforms")
        .noise(3)
        .text("searchLocations")
        .noise(1)
        .text("tail");
    EXPECT_EQ(scan(builder.bytes()),
              (Found{{"waveform", {"Media:Very Long Folder Name:Waveforms", "tail"}}}));
    // What follows the next key belongs to that key.
    EXPECT_EQ(scan(FcsetBuilder().key("capture").path("Media:Cap").key("render").path("Media:R").bytes()),
              (Found{{"capture", {"Media:Cap"}}, {"render", {"Media:R"}}}));
}

TEST(FcsetScanner, StopsOnceEveryRequestedKeyIsFinished) {
    FcsetBuilder builder;
    builder.key("autoSaveVault").path("Media:Vault").fillerUntil(450).noise(2).key("render").path("Media:R");
    EXPECT_EQ(scan(builder.bytes()).size(), 2);
    const Found only = scan(builder.bytes(), QStringList{QStringLiteral("\rautoSaveVault")});
    ASSERT_EQ(only.size(), 1);
    EXPECT_EQ(only[0].first, "autoSaveVault");
}

TEST(FcsetScanner, NeedsSeventeenCharactersForAProbe) {
    // A probe is fifteen characters and the scan stops sixteen before the end.
    EXPECT_TRUE(scan(QByteArray("\x06render") + QByteArray(8, 'x')).isEmpty());
    EXPECT_EQ(scan(QByteArray("\x06render") + QByteArray(10, 'x')).size(), 1);
}

TEST(FcsetScanner, PiecesGiveTheSameResultAsTheWholeFile) {
    FcsetBuilder builder;
    builder.noise(5).key("audiorender").path("Media:Audio Renders Of A Long Project");
    builder.noise(300).key("render").path("Macintosh HD:Users:jo:Render Files");
    builder.noise(500).key("thumbnail").noise(200).path("Other:Thumbs");
    builder.noise(300).key("autoSaveVault").path("Media:Vault");
    const Found whole = scan(builder.bytes());
    ASSERT_EQ(whole.size(), 4);
    for (const int size : {1, 2, 15, 16, 17, 31, 400, 4096})
        EXPECT_EQ(scan(builder.bytes(), std::nullopt, size), whole) << size;
}

TEST(FcsetScanner, HostileFilesEndWithBoundedCandidates) {
    QByteArray random(4 << 20, 0);
    QRandomGenerator(20261122).fillRange(reinterpret_cast<quint32*>(random.data()), random.size() / 4);
    QByteArray backToBack;
    while (backToBack.size() < (1 << 20))
        backToBack.append("\x06render\x0d"
                          "autoSaveVault\x07"
                          "capture:");
    const QByteArray endlessPath = QByteArray("\x0d"
                                              "autoSaveVault") +
                                   QByteArray(1 << 20, ':');
    for (const QByteArray& bytes : {random, QByteArray(1 << 20, '\0'), backToBack, endlessPath}) {
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
}
