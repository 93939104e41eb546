#pragma once

#include <QByteArray>
#include <QString>

#include <sys/stat.h>
#include <vector>

// The proof that a copy is whole before its original goes: the copy is compared with the
// original entry by entry (type, size, contents, link target) and synced, and the original
// is then removed deepest entries first, each only while it is still what was copied and
// folders with rmdir, so that anything written into the original meanwhile stays.
// Paths are file-system bytes (FileName::encode).
class CheckedCopy {
public:
    // False, with the reason naming the entry, when the copy is not the original's twin.
    bool check(const QByteArray& source, const QByteArray& copy, QString* why);
    // Removes the checked original; stops at the first entry that changed or cannot go.
    bool removeOriginal(QString* why) const;

private:
    struct Entry {
        QByteArray path;
        struct stat status;
    };
    bool checkEntry(const QByteArray& source, const QByteArray& copy, QString* why);
    std::vector<Entry> m_entries; // parents before their contents
};
