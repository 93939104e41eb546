#include "PlistCheck.h"

#include <algorithm>
#include <vector>

namespace {

constexpr qsizetype kHeaderSize = 8;
constexpr qsizetype kTrailerSize = 32;

class Checker {
public:
    explicit Checker(QByteArrayView bytes) : m_bytes(bytes) {}

    bool run(QString* reason);

private:
    struct Object {
        std::vector<quint64> children;
        int state = 0; // 0 unread, 1 being expanded, 2 done
        qint64 values = 0;
    };

    bool fail(const QString& why) {
        m_reason = why;
        return false;
    }
    // A big-endian unsigned number of 1 to 8 bytes inside the file.
    bool readNumber(quint64 offset, int size, quint64* value) const {
        if (size < 1 || size > 8 || offset > quint64(m_bytes.size()) ||
            quint64(size) > quint64(m_bytes.size()) - offset)
            return false;
        quint64 v = 0;
        for (int i = 0; i < size; ++i)
            v = (v << 8) | static_cast<unsigned char>(m_bytes[qsizetype(offset) + i]);
        *value = v;
        return true;
    }
    unsigned char byteAt(quint64 offset) const {
        return static_cast<unsigned char>(m_bytes[qsizetype(offset)]);
    }
    // Whether [start, start + length) lies in the object area.
    bool inObjects(quint64 start, quint64 length) const {
        return start >= quint64(kHeaderSize) && start <= m_offsetTable && length <= m_offsetTable - start;
    }
    bool readObject(quint64 index, Object* object);
    bool isString(quint64 index) const;

    QByteArrayView m_bytes;
    QString m_reason;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_count = 0;
    quint64 m_top = 0;
    quint64 m_offsetTable = 0;
    std::vector<quint64> m_offsets;
};

bool Checker::isString(quint64 index) const {
    const unsigned char marker = byteAt(m_offsets[size_t(index)]);
    return (marker >> 4) == 0x5 || (marker >> 4) == 0x6;
}

bool Checker::readObject(quint64 index, Object* object) {
    const quint64 offset = m_offsets[size_t(index)];
    const unsigned char marker = byteAt(offset);
    const int kind = marker >> 4;
    const int low = marker & 0x0f;

    // The count of a string, data or container: in the marker, or in an integer after it.
    quint64 length = quint64(low);
    quint64 start = offset + 1;
    if ((kind == 0x4 || kind == 0x5 || kind == 0x6 || kind == 0xA || kind == 0xC || kind == 0xD) &&
        low == 0x0f) {
        if (!inObjects(offset + 1, 1))
            return fail(QStringLiteral("length outside the file"));
        const unsigned char lengthMarker = byteAt(offset + 1);
        if ((lengthMarker >> 4) != 0x1 || (lengthMarker & 0x0f) > 3)
            return fail(QStringLiteral("malformed length"));
        const int size = 1 << (lengthMarker & 0x0f);
        if (!inObjects(offset + 2, quint64(size)) || !readNumber(offset + 2, size, &length))
            return fail(QStringLiteral("length outside the file"));
        start = offset + 2 + quint64(size);
    }
    if (length > quint64(m_bytes.size()))
        return fail(QStringLiteral("length larger than the file"));

    quint64 refs = 0;
    switch (kind) {
    case 0x0:
        if (marker != 0x00 && marker != 0x08 && marker != 0x09 && marker != 0x0f)
            return fail(QStringLiteral("unknown simple value"));
        return true;
    case 0x1:
        if (low > 4 || !inObjects(start, 1u << low))
            return fail(QStringLiteral("integer outside the file"));
        return true;
    case 0x2:
        if ((low != 2 && low != 3) || !inObjects(start, 1u << low))
            return fail(QStringLiteral("malformed real"));
        return true;
    case 0x3:
        if (marker != 0x33 || !inObjects(start, 8))
            return fail(QStringLiteral("malformed date"));
        return true;
    case 0x4:
        if (!inObjects(start, length))
            return fail(QStringLiteral("data outside the file"));
        return true;
    case 0x5:
        if (!inObjects(start, length))
            return fail(QStringLiteral("string outside the file"));
        for (quint64 i = 0; i < length; ++i) {
            if (byteAt(start + i) == 0)
                return fail(QStringLiteral("string holding a NUL character"));
        }
        return true;
    case 0x6:
        if (!inObjects(start, length * 2))
            return fail(QStringLiteral("string outside the file"));
        for (quint64 i = 0; i < length; ++i) {
            if (byteAt(start + 2 * i) == 0 && byteAt(start + 2 * i + 1) == 0)
                return fail(QStringLiteral("string holding a NUL character"));
        }
        return true;
    case 0x8:
        if (!inObjects(start, quint64(low) + 1))
            return fail(QStringLiteral("identifier outside the file"));
        return true;
    case 0xA:
    case 0xC:
        refs = length;
        break;
    case 0xD:
        refs = length * 2;
        break;
    default:
        return fail(QStringLiteral("unknown object kind %1").arg(kind));
    }
    if (!inObjects(start, refs * quint64(m_refSize)))
        return fail(QStringLiteral("references outside the file"));
    object->children.reserve(size_t(refs));
    for (quint64 i = 0; i < refs; ++i) {
        quint64 child = 0;
        readNumber(start + i * quint64(m_refSize), m_refSize, &child);
        if (child >= m_count)
            return fail(QStringLiteral("reference to a missing object"));
        // A dictionary's keys come first, and each is a string.
        if (kind == 0xD && i < length && !isString(child))
            return fail(QStringLiteral("dictionary key that is not a string"));
        object->children.push_back(child);
    }
    return true;
}

bool Checker::run(QString* reason) {
    const bool ok = [this] {
        const qsizetype size = m_bytes.size();
        if (size < kHeaderSize + kTrailerSize || !m_bytes.startsWith(QByteArrayView("bplist00")))
            return fail(QStringLiteral("no binary property list"));
        const quint64 trailer = quint64(size - kTrailerSize);
        m_offsetSize = byteAt(trailer + 6);
        m_refSize = byteAt(trailer + 7);
        readNumber(trailer + 8, 8, &m_count);
        readNumber(trailer + 16, 8, &m_top);
        readNumber(trailer + 24, 8, &m_offsetTable);
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
            return fail(QStringLiteral("malformed trailer"));
        if (m_count == 0 || m_top >= m_count || m_offsetTable < quint64(kHeaderSize) ||
            m_offsetTable > trailer || m_count > (trailer - m_offsetTable) / quint64(m_offsetSize))
            return fail(QStringLiteral("offset table outside the file"));
        m_offsets.resize(size_t(m_count));
        for (quint64 i = 0; i < m_count; ++i) {
            readNumber(m_offsetTable + i * quint64(m_offsetSize), m_offsetSize, &m_offsets[size_t(i)]);
            if (m_offsets[size_t(i)] < quint64(kHeaderSize) || m_offsets[size_t(i)] >= m_offsetTable)
                return fail(QStringLiteral("object outside the file"));
        }

        // Depth first from the top object, without recursion: no cycles, bounded depth, and
        // the values counted as they will be built, shared ones once per use.
        std::vector<Object> objects(static_cast<size_t>(m_count));
        struct Frame {
            quint64 index;
            size_t next;
        };
        std::vector<Frame> stack;
        stack.push_back({m_top, 0});
        if (!readObject(m_top, &objects[size_t(m_top)]))
            return false;
        objects[size_t(m_top)].state = 1;
        while (!stack.empty()) {
            Frame& frame = stack.back();
            Object& object = objects[size_t(frame.index)];
            if (frame.next == object.children.size()) {
                object.values += 1;
                object.state = 2;
                const qint64 values = object.values;
                stack.pop_back();
                if (!stack.empty()) {
                    Object& parent = objects[size_t(stack.back().index)];
                    parent.values = std::min(parent.values + values, PlistCheck::maximumValues + 1);
                }
                if (values > PlistCheck::maximumValues)
                    return fail(QStringLiteral("too many values"));
                continue;
            }
            const quint64 child = object.children[frame.next++];
            Object& next = objects[size_t(child)];
            if (next.state == 1)
                return fail(QStringLiteral("object that contains itself"));
            if (next.state == 2) {
                object.values = std::min(object.values + next.values, PlistCheck::maximumValues + 1);
                continue;
            }
            if (stack.size() >= size_t(PlistCheck::maximumDepth))
                return fail(QStringLiteral("nesting too deep"));
            if (!readObject(child, &next))
                return false;
            next.state = 1;
            stack.push_back({child, 0});
        }
        return true;
    }();
    if (!ok && reason)
        *reason = m_reason;
    return ok;
}

} // namespace

bool PlistCheck::isSafeBinary(QByteArrayView bytes, QString* reason) {
    return Checker(bytes).run(reason);
}

bool PlistCheck::isSafeXml(QByteArrayView bytes, QString* reason) {
    // Counts open elements, skipping what cannot open one: declarations, comments, CDATA
    // sections and quoted attribute values. Text that is not well-formed may be counted
    // oddly; libplist refuses it anyway.
    // XML has no place for a NUL character, and libplist would keep it inside a string.
    if (bytes.contains('\0')) {
        if (reason)
            *reason = QStringLiteral("NUL character");
        return false;
    }
    int depth = 0;
    const qsizetype size = bytes.size();
    auto skipPast = [&](qsizetype from, QByteArrayView end) {
        const qsizetype found = bytes.sliced(from).indexOf(end);
        return found < 0 ? size : from + found + end.size();
    };
    for (qsizetype i = 0; i < size;) {
        if (bytes[i] != '<') {
            ++i;
            continue;
        }
        const QByteArrayView rest = bytes.sliced(i);
        if (rest.startsWith(QByteArrayView("<!--"))) {
            i = skipPast(i + 4, "-->");
        } else if (rest.startsWith(QByteArrayView("<![CDATA["))) {
            i = skipPast(i + 9, "]]>");
        } else if (rest.startsWith(QByteArrayView("<?")) || rest.startsWith(QByteArrayView("<!"))) {
            i = skipPast(i + 2, ">");
        } else if (rest.startsWith(QByteArrayView("</"))) {
            depth = std::max(0, depth - 1);
            i = skipPast(i + 2, ">");
        } else {
            // A start tag: find its end outside quotes; "/>" closes it at once.
            qsizetype j = i + 1;
            char quote = 0;
            for (; j < size; ++j) {
                if (quote) {
                    if (bytes[j] == quote)
                        quote = 0;
                } else if (bytes[j] == '"' || bytes[j] == '\'') {
                    quote = bytes[j];
                } else if (bytes[j] == '>') {
                    break;
                }
            }
            if (j >= size || bytes[j - 1] != '/') {
                if (++depth > maximumDepth + 1) {
                    if (reason)
                        *reason = QStringLiteral("nesting too deep");
                    return false;
                }
            }
            i = j + 1;
        }
    }
    return true;
}
