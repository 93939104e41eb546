// The preference file scan on arbitrary bytes: it must end, keep its memory bounded, give
// the same result however the input is split, and every path it chooses must convert.
#include "FuzzSupport.h"
#include "editorprefs/BMFCPPrefParser.h"
#include "editorprefs/FcsetScanner.h"

#include <QList>
#include <QPair>

#include <algorithm>

namespace {

using Found = QList<QPair<QString, QStringList>>;

Found scanInPieces(QByteArrayView bytes, qsizetype pieceSize, const std::optional<QStringList>& types) {
    Found found;
    FcsetScanner scanner(types, [&](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
        found.append({QString::fromLatin1(key.name), FcsetScanner::toStrings(candidates)});
    });
    for (qsizetype at = 0; at < bytes.size(); at += pieceSize) {
        if (!scanner.feed(bytes.sliced(at, std::min(pieceSize, bytes.size() - at))))
            break;
    }
    scanner.finish();
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    prepareFuzzing();
    if (size < 1)
        return 0;
    // The first byte chooses how the rest is split and whether a key list is given.
    const qsizetype pieceSize = 1 + (data[0] & 0x3f);
    std::optional<QStringList> types;
    if (data[0] & 0x40)
        types = QStringList{QStringLiteral("autoSaveVault")};
    const QByteArrayView bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size) - 1);

    const Found whole = scanInPieces(bytes, std::max<qsizetype>(bytes.size(), 1), types);
    FUZZ_CHECK(scanInPieces(bytes, pieceSize, types) == whole);

    for (const auto& [key, candidates] : whole) {
        qsizetype total = 0;
        for (const QString& candidate : candidates) {
            FUZZ_CHECK(!candidate.isEmpty());
            FUZZ_CHECK(!FcsetScanner::isKeyName(candidate.toLatin1()));
            total += candidate.size();
        }
        FUZZ_CHECK(total <= FcsetScanner::finishDistance + FcsetScanner::probeLength);
    }

    BMFCPPrefParser parser;
    parser.scanPreferenceText(bytes, types);
    for (const QString& path :
         {parser.autosavePath(), parser.renderPath(), parser.audioRenderPath(), parser.scratchPath(),
          parser.captureScratchPath(), parser.audioCaptureScratchPath(), parser.waveformCachePath(),
          parser.thumbnailCachePath()})
        FUZZ_CHECK(path.isNull() || path.startsWith(QLatin1Char('/')));
    parser.setupDefaults();
    return 0;
}
