#include "DosAttrib.h"

#include <cstring>
#include <limits>

namespace {

constexpr quint32 kCreateTimeValid = 0x10;
// Ticks from 1601-01-01 to 1970-01-01.
constexpr qint64 kUnixEpochTicks = 116444736000000000LL;

quint64 littleEndian(QByteArrayView bytes, qsizetype at, int size) {
    quint64 value = 0;
    for (int i = size - 1; i >= 0; --i)
        value = value << 8 | quint8(bytes[at + i]);
    return value;
}

// Where the version's creation time sits after the valid-field flags, and how many bytes the
// version's fields take.
struct Layout {
    qsizetype createTime;
    qsizetype size;
};

std::optional<Layout> layoutOf(quint16 version) {
    switch (version) {
    case 3: // flags, attributes, EA size, size, allocation size, create time, change time
        return Layout{28, 44};
    case 4: // flags, attributes, instantiation time, create time
        return Layout{16, 24};
    case 5: // flags, attributes, create time
        return Layout{8, 16};
    default: // 1 and 2 were written under another attribute name; later ones are unknown
        return std::nullopt;
    }
}

} // namespace

std::optional<QDateTime> DosAttrib::fromNtTime(quint64 ticks) {
    if (ticks == 0 || ticks > quint64(std::numeric_limits<qint64>::max()))
        return std::nullopt;
    const qint64 sinceUnix = qint64(ticks) - kUnixEpochTicks;
    qint64 msecs = sinceUnix / 10000;
    if (sinceUnix % 10000 < 0)
        --msecs; // before 1970: round towards the past, as the later dates do
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

std::optional<QDateTime> DosAttrib::createTime(QByteArrayView record) {
    if (record.size() > maxSize)
        return std::nullopt;
    // The attributes as hex text, NUL-terminated (Samba before 3.5 wrote nothing else).
    const void* nul = std::memchr(record.data(), 0, size_t(record.size()));
    if (!nul)
        return std::nullopt;
    qsizetype at = static_cast<const char*>(nul) - record.data() + 1;
    at = (at + 1) & ~qsizetype(1); // the version is aligned to 2
    if (at + 4 > record.size())
        return std::nullopt;
    const auto version = quint16(littleEndian(record, at, 2));
    const auto level = quint16(littleEndian(record, at + 2, 2)); // the union's own copy
    const std::optional<Layout> layout = layoutOf(version);
    if (level != version || !layout)
        return std::nullopt;
    at = (at + 4 + 3) & ~qsizetype(3); // the fields are aligned to 4
    if (at + layout->size > record.size())
        return std::nullopt;
    if (!(littleEndian(record, at, 4) & kCreateTimeValid))
        return std::nullopt;
    return fromNtTime(littleEndian(record, at + layout->createTime, 8));
}
