#include "FileName.h"

#include <QList>

namespace {

constexpr char16_t escapeBase = 0xDC00;

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// The length of the valid UTF-8 sequence at the start, or 0 (overlong forms, surrogates
// and code points above U+10FFFF are invalid, as the standard says).
int validSequence(const unsigned char* s, qsizetype left, char32_t* codePoint) {
    const unsigned char lead = s[0];
    if (lead < 0x80) {
        *codePoint = lead;
        return 1;
    }
    int length = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
        minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
        minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
        minimum = 0x10000;
    } else {
        return 0;
    }
    if (left < length)
        return 0;
    for (int i = 1; i < length; ++i) {
        if (!isContinuation(s[i]))
            return 0;
        value = (value << 6) | (s[i] & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    *codePoint = value;
    return length;
}

void appendUtf8(QByteArray& out, char32_t c) {
    if (c < 0x80) {
        out.append(char(c));
    } else if (c < 0x800) {
        out.append(char(0xC0 | (c >> 6)));
        out.append(char(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.append(char(0xE0 | (c >> 12)));
        out.append(char(0x80 | ((c >> 6) & 0x3F)));
        out.append(char(0x80 | (c & 0x3F)));
    } else {
        out.append(char(0xF0 | (c >> 18)));
        out.append(char(0x80 | ((c >> 12) & 0x3F)));
        out.append(char(0x80 | ((c >> 6) & 0x3F)));
        out.append(char(0x80 | (c & 0x3F)));
    }
}

bool isEscapedByte(char16_t unit) {
    return unit >= escapeBase + 0x80 && unit <= escapeBase + 0xFF;
}

} // namespace

QString FileName::decode(const char* bytes, qsizetype size) {
    QString name;
    name.reserve(size);
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    qsizetype i = 0;
    while (i < size) {
        // Plain ASCII runs are by far the most common; take them in one go.
        qsizetype run = i;
        while (run < size && s[run] < 0x80)
            ++run;
        if (run > i) {
            name.append(QLatin1String(bytes + i, run - i));
            i = run;
            continue;
        }
        char32_t codePoint = 0;
        const int length = validSequence(s + i, size - i, &codePoint);
        if (length == 0) {
            name.append(QChar(char16_t(escapeBase + s[i])));
            ++i;
            continue;
        }
        if (codePoint >= 0x10000) {
            name.append(QChar(QChar::highSurrogate(codePoint)));
            name.append(QChar(QChar::lowSurrogate(codePoint)));
        } else {
            name.append(QChar(char16_t(codePoint)));
        }
        i += length;
    }
    return name;
}

QString FileName::decode(const char* bytes) {
    return bytes ? decode(bytes, qsizetype(std::char_traits<char>::length(bytes))) : QString();
}

QString FileName::decode(const QByteArray& bytes) {
    if (bytes.isNull())
        return QString();
    return decode(bytes.constData(), bytes.size());
}

QByteArray FileName::encode(const QString& name) {
    QByteArray out;
    out.reserve(name.size());
    const qsizetype size = name.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = name[i].unicode();
        if (unit < 0x80) {
            out.append(char(unit));
        } else if (QChar::isHighSurrogate(unit) && i + 1 < size &&
                   QChar::isLowSurrogate(name[i + 1].unicode())) {
            appendUtf8(out, QChar::surrogateToUcs4(unit, name[i + 1].unicode()));
            ++i;
        } else if (isEscapedByte(unit)) {
            out.append(char(unit - escapeBase));
        } else if (QChar::isSurrogate(unit)) {
            // A lone surrogate that no decoding made: there are no bytes it stands for.
            appendUtf8(out, 0xFFFD);
        } else {
            appendUtf8(out, unit);
        }
    }
    return out;
}

bool FileName::hasInvalidBytes(const QString& name) {
    const qsizetype size = name.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = name[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < size && QChar::isLowSurrogate(name[i + 1].unicode())) {
            ++i;
            continue;
        }
        if (isEscapedByte(unit))
            return true;
    }
    return false;
}

namespace {

// The invisible marks that change the direction of the text after them. Letters of right-to-left
// scripts are not among them and are shown as they are.
bool isDirectionControl(char16_t unit) {
    return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
           (unit >= 0x2066 && unit <= 0x2069);
}

} // namespace

QString FileName::displayText(const QString& name) {
    QString text;
    text.reserve(name.size());
    const qsizetype size = name.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = name[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < size && QChar::isLowSurrogate(name[i + 1].unicode())) {
            text.append(name[i]);
            text.append(name[++i]);
        } else if (isEscapedByte(unit)) {
            text.append(QStringLiteral("\\x%1").arg(int(unit - escapeBase), 2, 16, QLatin1Char('0')));
        } else if (unit == '\n') {
            text.append(QLatin1String("\\n"));
        } else if (unit == '\t') {
            text.append(QLatin1String("\\t"));
        } else if (unit < 0x20 || unit == 0x7F) {
            text.append(QStringLiteral("\\x%1").arg(int(unit), 2, 16, QLatin1Char('0')));
        } else if (isDirectionControl(unit)) {
            // Drawn, it turns the rest of the name round: "Shot \u202Eevom" would read "Shot move".
            text.append(QLatin1String("\\u") +
                        QString::number(int(unit), 16).toUpper().rightJustified(4, QLatin1Char('0')));
        } else {
            text.append(name[i]);
        }
    }
    return text;
}

namespace {
// The wide and fullwidth blocks of Unicode's East Asian Width table, and the emoji planes.
bool isWide(char32_t c) {
    static constexpr std::pair<char32_t, char32_t> ranges[] = {
        {0x1100, 0x115F}, {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},
        {0xA000, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE4F},   {0xFF00, 0xFF60},
        {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD}};
    for (const auto& [first, last] : ranges) {
        if (c >= first && c <= last)
            return true;
    }
    return false;
}
} // namespace

qsizetype FileName::displayColumns(const QString& text) {
    qsizetype columns = 0;
    for (const char32_t c : text.toUcs4()) {
        switch (QChar::category(c)) {
        case QChar::Mark_NonSpacing:
        case QChar::Mark_Enclosing:
        case QChar::Other_Format:
            break;
        default:
            columns += isWide(c) ? 2 : 1;
        }
    }
    return columns;
}

QString FileName::notStorableInSettings(const QString& path) {
    if (!hasInvalidBytes(path))
        return QString();
    return QStringLiteral("%1: the path is not valid UTF-8, which the settings file cannot hold")
        .arg(displayText(path));
}
