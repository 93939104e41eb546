#pragma once

#include <QByteArray>

#include <cstring>

// Synthetic Final Cut preference files: keys with their length prefixes, binary noise,
// plain text, and filler that is text but not a path.
class FcsetBuilder {
public:
    // The key as the file stores it: one character holding the length, then the name.
    FcsetBuilder& key(const char* name, int prefix = -1) {
        m_bytes.append(char(prefix < 0 ? int(std::strlen(name)) : prefix));
        m_bytes.append(name);
        return *this;
    }
    // Characters outside the accepted set: control codes and bytes above 127.
    FcsetBuilder& noise(int count) {
        static const char kNoise[] = {'\x01', '\x9c', '\x02', '\xff', '\x1f', '\x80'};
        for (int i = 0; i < count; ++i)
            m_bytes.append(kNoise[i % 6]);
        return *this;
    }
    FcsetBuilder& text(const QByteArray& text) {
        m_bytes.append(text);
        return *this;
    }
    // A path with noise on both sides, as a record in the file would hold it.
    FcsetBuilder& path(const QByteArray& path) { return noise(4).text(path).noise(4); }
    // Accepted characters that are neither a key nor a path, up to the position.
    FcsetBuilder& fillerUntil(qsizetype position) {
        while (m_bytes.size() < position)
            m_bytes.append('x');
        return *this;
    }
    // The file, with trailing noise so that the last record is looked at too.
    QByteArray bytes() const { return m_bytes + QByteArray(32, '\x01'); }

private:
    QByteArray m_bytes;
};
