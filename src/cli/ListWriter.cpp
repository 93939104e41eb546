#include "ListWriter.h"

#include "StandardOutput.h"

#include <QDateTime>
#include <QLocale>

#include <cmath>

namespace {

constexpr qsizetype kFlushAt = 1 << 16;

char hexDigit(unsigned value) {
    return char(value < 10 ? '0' + value : 'a' + value - 10);
}

char* escapedUnit(char* p, char16_t unit) {
    *p++ = '\\';
    *p++ = 'u';
    *p++ = hexDigit((unit >> 12) & 0xf);
    *p++ = hexDigit((unit >> 8) & 0xf);
    *p++ = hexDigit((unit >> 4) & 0xf);
    *p++ = hexDigit(unit & 0xf);
    return p;
}

char* utf8(char* p, char32_t c) {
    if (c < 0x800) {
        *p++ = char(0xc0 | (c >> 6));
    } else if (c < 0x10000) {
        *p++ = char(0xe0 | (c >> 12));
        *p++ = char(0x80 | ((c >> 6) & 0x3f));
    } else {
        *p++ = char(0xf0 | (c >> 18));
        *p++ = char(0x80 | ((c >> 12) & 0x3f));
        *p++ = char(0x80 | ((c >> 6) & 0x3f));
    }
    *p++ = char(0x80 | (c & 0x3f));
    return p;
}

char* digits(char* p, unsigned value, int width) {
    for (int i = width - 1; i >= 0; --i) {
        p[i] = char('0' + value % 10);
        value /= 10;
    }
    return p + width;
}

void appendInteger(QByteArray& out, qint64 value) {
    char text[24];
    char* end = text + sizeof text;
    char* p = end;
    quint64 magnitude = value < 0 ? 0 - quint64(value) : quint64(value);
    do {
        *--p = char('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude);
    if (value < 0)
        *--p = '-';
    out.append(p, end - p);
}

} // namespace

JsonListWriter::JsonListWriter(std::FILE* out, const QStringList& offline) : m_out(out) {
    m_buffer.reserve(kFlushAt + 4096);
    m_buffer.append('{');
    // Keys in sorted order, as a JSON object keeps them: "offline" before "projects", and only
    // when there is something to say.
    if (!offline.isEmpty()) {
        m_buffer.append("\"offline\":[");
        for (qsizetype i = 0; i < offline.size(); ++i) {
            if (i > 0)
                m_buffer.append(',');
            appendString(m_buffer, offline[i]);
        }
        m_buffer.append("],");
    }
    m_buffer.append("\"projects\":[");
}

JsonListWriter::~JsonListWriter() {
    finish();
}

void JsonListWriter::flushIfFull() {
    if (m_buffer.size() < kFlushAt)
        return;
    writeOutput(m_out, m_buffer.constData(), size_t(m_buffer.size()));
    m_buffer.truncate(0); // keeps its room
}

void JsonListWriter::write(const BMProject& project, bool orphan) {
    m_buffer.append(m_first ? "{\"endDate\":" : ",{\"endDate\":");
    m_first = false;
    appendDate(m_buffer, project.endMsecs());
    m_buffer.append(",\"items\":[");
    bool firstItem = true;
    for (const BMAutoItemPtr& item : project.children()) {
        m_buffer.append(firstItem ? "{\"createdDate\":" : ",{\"createdDate\":");
        firstItem = false;
        appendDate(m_buffer, item->createdMsecs());
        m_buffer.append(",\"name\":");
        appendString(m_buffer, item->name());
        m_buffer.append(",\"path\":");
        appendString(m_buffer, item->path());
        if (m_pins.isPinned(*item))
            m_buffer.append(",\"pinned\":true");
        if (m_guard.guards(*item, m_now))
            m_buffer.append(",\"recent\":true");
        m_buffer.append(",\"size\":");
        appendNumber(m_buffer, item->fileSize());
        m_buffer.append(",\"type\":");
        appendNumber(m_buffer, item->type());
        m_buffer.append('}');
        flushIfFull();
    }
    m_buffer.append("],\"name\":");
    appendString(m_buffer, project.name());
    if (orphan)
        m_buffer.append(",\"orphan\":true");
    m_buffer.append(",\"path\":");
    appendString(m_buffer, project.path());
    if (m_pins.isPinned(project))
        m_buffer.append(",\"pinned\":true");
    m_buffer.append(",\"size\":");
    appendNumber(m_buffer, project.fileSize());
    m_buffer.append(",\"startDate\":");
    appendDate(m_buffer, project.startMsecs());
    m_buffer.append(",\"type\":");
    appendNumber(m_buffer, project.type());
    m_buffer.append('}');
    flushIfFull();
}

void JsonListWriter::finish() {
    if (m_finished)
        return;
    m_finished = true;
    m_buffer.append("]}\n");
    writeOutput(m_out, m_buffer.constData(), size_t(m_buffer.size()));
    m_buffer.clear();
    flushOutput(m_out);
}

void JsonListWriter::appendString(QByteArray& out, const QString& text) {
    const char16_t* s = reinterpret_cast<const char16_t*>(text.constData());
    const qsizetype size = text.size();
    const qsizetype start = out.size();
    out.resize(start + 2 + 6 * size); // the most an escaped code unit can take
    char* p = out.data() + start;
    *p++ = '"';
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = s[i];
        if (unit >= 0x20 && unit < 0x80 && unit != u'"' && unit != u'\\') {
            *p++ = char(unit);
        } else if (unit >= 0x80) {
            if (QChar::isHighSurrogate(unit) && i + 1 < size && QChar::isLowSurrogate(s[i + 1])) {
                p = utf8(p, QChar::surrogateToUcs4(unit, s[i + 1]));
                ++i;
            } else if (QChar::isSurrogate(unit)) {
                // Not a character: written as the code unit it is, as Qt does.
                p = escapedUnit(p, unit);
            } else {
                p = utf8(p, unit);
            }
        } else {
            const char* escape = unit == u'"'    ? "\\\""
                                 : unit == u'\\' ? "\\\\"
                                 : unit == u'\b' ? "\\b"
                                 : unit == u'\f' ? "\\f"
                                 : unit == u'\n' ? "\\n"
                                 : unit == u'\r' ? "\\r"
                                 : unit == u'\t' ? "\\t"
                                                 : nullptr;
            if (escape) {
                *p++ = escape[0];
                *p++ = escape[1];
            } else {
                p = escapedUnit(p, unit);
            }
        }
    }
    *p++ = '"';
    out.truncate(p - out.constData());
}

void JsonListWriter::appendNumber(QByteArray& out, double value) {
    // A JSON value keeps a whole number that a double holds exactly as an integer, and prints
    // it so; anything else in the shortest form, with an exponent where that is shorter.
    constexpr double exact = 9007199254740992.0; // 2^53
    if (value >= -exact && value <= exact && value == std::trunc(value)) {
        appendInteger(out, qint64(value));
        return;
    }
    if (!std::isfinite(value)) {
        out.append("null");
        return;
    }
    out.append(QByteArray::number(value, 'g', QLocale::FloatingPointShortest));
}

void JsonListWriter::appendDate(QByteArray& out, qint64 msecs) {
    if (msecs == BMAutoItem::noDate) {
        out.append("null");
        return;
    }
    // Whole seconds, rounded down as the date's own fields are, then the civil date.
    const qint64 seconds = msecs >= 0 ? msecs / 1000 : -((-msecs + 999) / 1000);
    const qint64 days = seconds >= 0 ? seconds / 86400 : -((-seconds + 86399) / 86400);
    const auto secondOfDay = unsigned(seconds - days * 86400);
    const qint64 z = days + 719468;
    const qint64 era = (z >= 0 ? z : z - 146096) / 146097;
    const auto dayOfEra = unsigned(z - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned mp = (5 * dayOfYear + 2) / 153;
    const unsigned day = dayOfYear - (153 * mp + 2) / 5 + 1;
    const unsigned month = mp < 10 ? mp + 3 : mp - 9;
    const qint64 year = qint64(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
    if (year < 1 || year > 9999) {
        out.append('"');
        out.append(QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC).toString(Qt::ISODate).toUtf8());
        out.append('"');
        return;
    }
    char text[22];
    char* p = text;
    *p++ = '"';
    p = digits(p, unsigned(year), 4);
    *p++ = '-';
    p = digits(p, month, 2);
    *p++ = '-';
    p = digits(p, day, 2);
    *p++ = 'T';
    p = digits(p, secondOfDay / 3600, 2);
    *p++ = ':';
    p = digits(p, secondOfDay / 60 % 60, 2);
    *p++ = ':';
    p = digits(p, secondOfDay % 60, 2);
    *p++ = 'Z';
    *p++ = '"';
    out.append(text, p - text);
}
