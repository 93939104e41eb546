#pragma once

#include "catalogue/BMProject.h"
#include "catalogue/PinnedPaths.h"
#include "catalogue/RecentWriteGuard.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdio>

// Writes `vestry list --json` as the catalogue comes, project by project, in the very bytes a
// compact QJsonDocument of the whole catalogue would have: keys in sorted order, doubles in
// their shortest form, strings escaped as Qt escapes them. Nothing of the document is kept.
class JsonListWriter {
public:
    explicit JsonListWriter(std::FILE* out, const QStringList& offline);
    ~JsonListWriter();
    JsonListWriter(const JsonListWriter&) = delete;
    JsonListWriter& operator=(const JsonListWriter&) = delete;

    // A pinned project or autosave gets "pinned": true; nothing is added for the others.
    void setPins(PinnedPaths pins) { m_pins = std::move(pins); }
    // An autosave the background jobs leave alone for now gets "recent": true.
    void setGuard(RecentWriteGuard guard, const QDateTime& now) {
        m_guard = guard;
        m_now = now;
    }
    // orphan adds "orphan": true; the key is left out otherwise.
    void write(const BMProject& project, bool orphan = false);
    // Closes the document and flushes; the destructor does it when nobody did.
    void finish();

    static void appendString(QByteArray& out, const QString& text);
    static void appendNumber(QByteArray& out, double value);
    // "yyyy-MM-ddTHH:mm:ssZ", or null for no date.
    static void appendDate(QByteArray& out, qint64 msecs);

private:
    void flushIfFull();

    std::FILE* m_out;
    PinnedPaths m_pins;
    RecentWriteGuard m_guard;
    QDateTime m_now;
    QByteArray m_buffer;
    bool m_first = true;
    bool m_finished = false;
};
