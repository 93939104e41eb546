#include "FcsetScanner.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::array<bool, 256> makeAcceptedTable() {
    std::array<bool, 256> table{};
    for (int c = 'A'; c <= 'Z'; ++c)
        table[size_t(c)] = true;
    for (int c = 'a'; c <= 'z'; ++c)
        table[size_t(c)] = true;
    for (int c = '0'; c <= '9'; ++c)
        table[size_t(c)] = true;
    for (const char c : std::string_view("!@#$%^&*()-_=+[{]}\\|'\";:/?.>,<`~ "))
        table[static_cast<unsigned char>(c)] = true;
    table[0xA7] = true; // section sign
    table[0xB1] = true; // plus-minus sign
    table[0] = true;
    return table;
}

constexpr std::array<bool, 256> kAccepted = makeAcceptedTable();

// The texts that follow the prefixes; "searchLocations" is the full name of the key that
// is matched by its first fourteen letters.
constexpr const char* kKeyNames[] = {"audiorender", "render",    "audiocapture",  "capture",        "scratch",
                                     "waveform",    "thumbnail", "autoSaveVault", "searchLocations"};

} // namespace

const std::array<FcsetScanner::Key, FcsetScanner::keyCount>& FcsetScanner::keys() {
    // The prefix of "searchLocation" is the length of "searchLocations": prefix and name
    // then fill one probe exactly. It is one more than the text that follows, on purpose.
    static const std::array<Key, keyCount> table{{
        {"audiorender", 11, "audioRender", "Audio Render Files"},
        {"render", 6, "render", "Render Files"},
        {"audiocapture", 12, "audioCapture", "Audio Capture Scratch"},
        {"capture", 7, "capture", "Capture Scratch"},
        {"scratch", 7, "scratch", nullptr},
        {"waveform", 8, "waveform", "Waveform Cache Files"},
        {"thumbnail", 9, "thumbnail", "Thumbnail Cache Files"},
        {"autoSaveVault", 13, "autosaveVault", "Autosave Vault"},
        {"searchLocation", 15, nullptr, nullptr},
    }};
    return table;
}

bool FcsetScanner::isAccepted(unsigned char c) {
    return kAccepted[c];
}

bool FcsetScanner::isKeyName(QByteArrayView piece) {
    for (const char* name : kKeyNames) {
        if (piece == QByteArrayView(name))
            return true;
    }
    return false;
}

QString FcsetScanner::normalizedKeyName(const QString& key) {
    qsizetype first = 0;
    qsizetype last = key.size();
    while (first < last && !key[first].isLetterOrNumber())
        ++first;
    while (last > first && !key[last - 1].isLetterOrNumber())
        --last;
    return key.mid(first, last - first);
}

FcsetScanner::FcsetScanner(std::optional<QStringList> types, Finished finished)
    : m_finished(std::move(finished)) {
    if (types) {
        m_types = QStringList();
        for (const QString& type : *types)
            m_types->append(normalizedKeyName(type));
    }
}

void FcsetScanner::scan(QByteArrayView text, std::optional<QStringList> types, const Finished& finished) {
    FcsetScanner scanner(std::move(types), finished);
    scanner.feed(text);
    scanner.finish();
}

bool FcsetScanner::windowHasAccepted(qsizetype i) {
    m_nextAccepted = std::max(m_nextAccepted, i);
    while (m_nextAccepted < i + probeLength && !kAccepted[at(m_nextAccepted)])
        ++m_nextAccepted;
    return m_nextAccepted < i + probeLength;
}

bool FcsetScanner::windowIsClean(qsizetype i) {
    m_nextNoise = std::max(m_nextNoise, i);
    while (m_nextNoise < i + probeLength && kAccepted[at(m_nextNoise)])
        ++m_nextNoise;
    return m_nextNoise >= i + probeLength;
}

int FcsetScanner::keyAt(qsizetype i) const {
    const unsigned char first = at(i);
    if (first < 6 || first > 15)
        return -1;
    const auto& table = keys();
    for (int k = 0; k < keyCount; ++k) {
        if (table[size_t(k)].prefix != first)
            continue;
        const char* name = table[size_t(k)].name;
        const qsizetype length = qsizetype(std::strlen(name));
        bool same = true;
        for (qsizetype j = 0; j < length && same; ++j)
            same = at(i + 1 + j) == static_cast<unsigned char>(name[j]);
        if (same)
            return k;
    }
    return -1;
}

bool FcsetScanner::feed(QByteArrayView bytes) {
    if (m_done)
        return false;
    m_chunk = bytes;
    m_chunkBase = m_end;
    m_end += bytes.size();
    // A probe needs its fifteen characters and two more after them.
    while (!m_done && m_position + probeLength + 1 < m_end)
        step();
    if (!m_done) {
        QByteArray tail;
        tail.reserve(m_end - m_position);
        for (qsizetype j = m_position; j < m_end; ++j)
            tail.append(char(at(j)));
        m_carry = tail;
        m_carryBase = m_position;
    } else {
        m_carry.clear();
        m_carryBase = m_end;
    }
    m_chunk = QByteArrayView();
    m_chunkBase = m_end;
    return !m_done;
}

void FcsetScanner::finish() {
    if (!m_done)
        end();
}

void FcsetScanner::end() {
    // A key is always finished once, with what it has, also when the scan ends before
    // it reached its distance.
    if (m_key >= 0 && !m_keyFinished)
        finishKey();
    m_done = true;
}

void FcsetScanner::step() {
    // With no key gathering, nothing but the start of a key (or, after a finished key, the
    // stop distance) can change anything: move straight to the next byte that could begin one.
    if (m_key < 0 || m_keyFinished) {
        qsizetype limit = m_end - probeLength - 1;
        if (m_key >= 0)
            limit = std::min(limit, m_keyPosition + stopDistance);
        qsizetype next = m_position;
        while (next<limit&& unsigned(at(next)) - 6u> 9u)
            ++next;
        if (next > m_position) {
            m_position = next;
            return;
        }
    }
    const qsizetype i = m_position;
    if (!windowHasAccepted(i)) {
        ++m_position;
        return;
    }
    if (const int key = keyAt(i); key >= 0) {
        if (m_key >= 0 && !m_keyFinished) {
            dropGatheredFrom(i);
            finishKey();
            if (m_done)
                return;
        }
        m_key = key;
        m_keyPosition = i;
        m_keyFinished = false;
        m_gathered.truncate(0);
        m_runs.clear();
        m_runOpen = false;
        m_consumed = i + 1;
        ++m_position;
        return;
    }
    if (m_key < 0) {
        ++m_position;
        return;
    }
    const qsizetype distance = i - m_keyPosition;
    if (distance >= stopDistance) {
        end();
        return;
    }
    if (distance >= finishDistance) {
        if (!m_keyFinished)
            finishKey();
        ++m_position;
        return;
    }
    // Gathering: every character is looked at once, so a path that spans several probes
    // stays one run and a noise character ends it.
    const bool clean = windowIsClean(i);
    for (qsizetype j = std::max(i, m_consumed); j < i + probeLength; ++j) {
        const unsigned char c = at(j);
        if (kAccepted[c]) {
            if (!m_runOpen) {
                m_runs.append({j, m_gathered.size(), 0});
                m_runOpen = true;
            }
            m_gathered.append(char(c));
            ++m_runs.last().length;
        } else {
            m_runOpen = false;
        }
    }
    m_consumed = i + probeLength;
    m_position = clean ? i + probeLength : i + 1;
}

void FcsetScanner::dropGatheredFrom(qsizetype position) {
    // A key begins with its prefix, which is noise, so no run reaches across it.
    while (!m_runs.isEmpty() && m_runs.last().position > position)
        m_runs.removeLast();
    m_gathered.truncate(m_runs.isEmpty() ? 0 : m_runs.last().offset + m_runs.last().length);
    m_runOpen = false;
}

QStringList FcsetScanner::toStrings(const QList<QByteArrayView>& candidates) {
    QStringList strings;
    strings.reserve(candidates.size());
    for (const QByteArrayView candidate : candidates)
        strings.append(QString::fromLatin1(candidate));
    return strings;
}

void FcsetScanner::finishKey() {
    m_views.clear();
    for (const Run& run : std::as_const(m_runs)) {
        const QByteArrayView candidate(m_gathered.constData() + run.offset, run.length);
        if (!isKeyName(candidate))
            m_views.append(candidate);
    }
    m_keyFinished = true;
    const Key& key = keys()[size_t(m_key)];
    if (m_finished)
        m_finished(key, m_views);
    m_views.clear();
    m_runs.clear();
    m_gathered.truncate(0);
    m_runOpen = false;
    if (m_types) {
        m_types->removeAll(QString::fromLatin1(key.name));
        if (m_types->isEmpty())
            m_done = true;
    }
}
