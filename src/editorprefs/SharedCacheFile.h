#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

// A property-list dictionary that several programs keep entries in. An entry is replaced
// by reading, changing and writing the file under an exclusive lock (a lock file beside
// it), so two writers never lose each other's entries; the file itself is replaced
// atomically, so readers need no lock.
class SharedCacheFile {
public:
    explicit SharedCacheFile(QString path);

    QString path() const { return m_path; }
    QString lockPath() const { return m_path + QStringLiteral(".lock"); }

    // The whole dictionary; nothing when the file is missing or not a dictionary.
    std::optional<QVariantMap> read() const;
    QVariantMap entry(const QString& name) const;
    // Replaces one entry and keeps every other key. False when the lock could not be had
    // within the wait or the file could not be written.
    bool replaceEntry(const QString& name, const QVariantMap& entry, int lockWaitMilliseconds = 5000) const;

private:
    QString m_path;
};
