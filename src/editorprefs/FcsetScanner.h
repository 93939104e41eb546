#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <optional>

// Reads a Final Cut preference file (".fcset") the only way its unpublished format allows:
// as text, looking for key names stored with a one-character length prefix and gathering
// the runs of path-like characters that follow each key.
//
// The input may arrive in pieces of any size. Work is linear in the input and memory stays
// bounded whatever the file holds: only the last few characters and the candidates of the
// current key (at most a few hundred characters) are kept.
class FcsetScanner {
public:
    struct Key {
        const char* name;       // as it follows the prefix in the file
        int prefix;             // the code of the prefix character
        const char* cacheKey;   // the key of the path in the shared cache; null: not stored
        const char* folderName; // appended to a found path not already ending in it; null: none
    };
    static constexpr int keyCount = 9;
    // In the order they are tested.
    static const std::array<Key, keyCount>& keys();

    static constexpr qsizetype probeLength = 15;
    // From a key's position: at this distance its candidates are complete...
    static constexpr qsizetype finishDistance = 401;
    // ... and at this one, with no other key in between, the scan ends.
    static constexpr qsizetype stopDistance = 601;

    // Letters, digits, the listed punctuation, the section and plus-minus signs (as one
    // byte each), space and NUL. Everything else is noise.
    static bool isAccepted(unsigned char c);
    // The texts that are the keys' own names and so never candidates.
    static bool isKeyName(QByteArrayView piece);
    // A key as a caller may give it: with or without its prefix.
    static QString normalizedKeyName(const QString& key);

    // Called once for every key that was found, with its candidates in file order (maximal
    // runs of accepted characters, one byte per character). The views are valid during the
    // call only.
    using Finished = std::function<void(const Key& key, const QList<QByteArrayView>& candidates)>;
    // The candidates as text (Latin-1, as the file is read).
    static QStringList toStrings(const QList<QByteArrayView>& candidates);

    // With a list of key names, the scan ends as soon as each of them has been finished.
    FcsetScanner(std::optional<QStringList> types, Finished finished);

    // Scans the next piece of input. Returns false once the scan has ended and wants no more.
    bool feed(QByteArrayView bytes);
    // The end of the input: a key still gathering is finished with what it has.
    void finish();
    bool isDone() const { return m_done; }

    static void scan(QByteArrayView text, std::optional<QStringList> types, const Finished& finished);

private:
    // Called for every position: kept inline.
    Q_ALWAYS_INLINE unsigned char at(qsizetype index) const {
        if (index >= m_chunkBase) [[likely]]
            return static_cast<unsigned char>(m_chunk.data()[index - m_chunkBase]);
        return static_cast<unsigned char>(m_carry.constData()[index - m_carryBase]);
    }
    Q_ALWAYS_INLINE bool windowHasAccepted(qsizetype i);
    Q_ALWAYS_INLINE bool windowIsClean(qsizetype i);
    int keyAt(qsizetype i) const;
    void step();
    void finishKey();
    // Gathering looks a probe ahead; what it took from a key that follows is not the
    // earlier key's.
    void dropGatheredFrom(qsizetype position);
    void end();

    std::optional<QStringList> m_types;
    Finished m_finished;

    // The input seen so far is [0, m_end). The part still needed is the carried tail
    // [m_carryBase, m_chunkBase) followed by the piece being fed [m_chunkBase, m_end).
    QByteArray m_carry;
    qsizetype m_carryBase = 0;
    QByteArrayView m_chunk;
    qsizetype m_chunkBase = 0;
    qsizetype m_end = 0;

    qsizetype m_position = 0;     // the next probe
    qsizetype m_nextAccepted = 0; // search marks, never moving back: linear time
    qsizetype m_nextNoise = 0;
    qsizetype m_consumed = 0; // characters before this one are already gathered

    int m_key = -1;
    qsizetype m_keyPosition = 0;
    bool m_keyFinished = false;
    // The current key's runs: their characters one after another, and where each run is
    // in the file and in that buffer. Kept between keys so that nothing is allocated per run.
    struct Run {
        qsizetype position;
        qsizetype offset;
        qsizetype length;
    };
    QByteArray m_gathered;
    QList<Run> m_runs;
    bool m_runOpen = false;
    QList<QByteArrayView> m_views;
    bool m_done = false;
};
