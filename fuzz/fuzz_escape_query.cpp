// Query escaping on arbitrary text, read both as UTF-16 units and as UTF-8: what comes out
// holds only codes 20 to 159, and every "&" starts an entity.
#include "FuzzSupport.h"
#include "editorprefs/BMXMLParser.h"
#include "foundation/BMLog.h"

#include <cstring>

namespace {

void check(const QString& text) {
    const QString escaped = BMXMLParser::escapeQueryString(text);
    for (qsizetype i = 0; i < escaped.size(); ++i) {
        const char16_t code = escaped[i].unicode();
        FUZZ_CHECK(code >= 20 && code < 160);
        if (code == u'&') {
            const QStringView rest = QStringView(escaped).sliced(i + 1);
            FUZZ_CHECK(rest.startsWith(QLatin1String("amp;")) || rest.startsWith(QLatin1Char('#')));
        }
    }
    // Text without anything to escape passes unchanged.
    bool plain = true;
    for (const QChar c : text)
        plain = plain && c.unicode() >= 20 && c.unicode() < 160 && c != QLatin1Char('&');
    if (plain)
        FUZZ_CHECK(escaped == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    prepareFuzzing();
    QString units(qsizetype(size / 2), Qt::Uninitialized);
    std::memcpy(units.data(), data, size_t(units.size()) * 2);
    check(units);
    check(QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size)));
    // Stripped characters are logged; keep the log's queue from growing across inputs.
    BMLog::finishWriting();
    return 0;
}
