#pragma once

#include <QByteArray>
#include <QString>

// A tmpfs mounted at a folder (made if missing) for as long as the object lives, so that a
// test can have a full disk, a volume without inodes or a second volume. Mounting needs
// root: where it is not permitted, mounted() is false and why() says so.
class Tmpfs {
public:
    Tmpfs(const QString& folder, const QByteArray& options);
    ~Tmpfs();
    Tmpfs(const Tmpfs&) = delete;
    Tmpfs& operator=(const Tmpfs&) = delete;

    bool mounted() const { return m_mounted; }
    QString why() const { return m_why; }
    // Makes the volume read-only; false when the kernel refuses.
    bool remountReadOnly();
    // Writes into a file there until no byte more fits.
    void fill() const;

private:
    QByteArray m_folder;
    bool m_mounted = false;
    QString m_why;
};
