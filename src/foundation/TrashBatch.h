#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>
#include <sys/stat.h>
#include <sys/types.h>

// Many items going to the Trash in one run, in a known order. While one is in force on a
// thread, the work that does not depend on the item is done once for all of them: the home
// folder's protected and system folders are worked out once, and the restore records of the
// items about to go are written and synced together, so that one wait for the disk serves
// many items. Every item is still checked on its own (its real path, the Trash it goes to)
// when its turn comes; a record written ahead for an item that does not go is removed when
// the batch ends.
class TrashBatch {
public:
    explicit TrashBatch(const QStringList& paths);
    ~TrashBatch();
    TrashBatch(const TrashBatch&) = delete;
    TrashBatch& operator=(const TrashBatch&) = delete;

    // The innermost batch in force on this thread; null outside of one.
    static TrashBatch* current();

    // Where the path stands in the batch; -1 when it is not one of its items.
    qsizetype indexOf(const QString& path) const { return m_index.value(path, -1); }
    const QStringList& paths() const { return m_paths; }

    // A restore record written ahead: its Trash, the name it holds there, the item's real
    // path that it records, and the record file itself as it was made.
    struct Record {
        QByteArray trash;
        QByteArray name;
        QByteArray original;
        QByteArray file;
        dev_t device = 0;
        ino_t inode = 0;
    };
    void addRecord(const QString& path, Record record);
    // The record written ahead for that path, now the caller's to use or remove.
    std::optional<Record> takeRecord(const QString& path);
    // Items before this index have had their records written ahead (or were tried).
    qsizetype recordsThrough() const { return m_recordsThrough; }
    void setRecordsThrough(qsizetype index) { m_recordsThrough = index; }
    // Removes a record written ahead when it is still the very file that was made.
    static void removeRecord(const Record& record);

    // Folder lists that stay the same for the whole batch, worked out by their owners once.
    struct Folders {
        bool guardKnown = false;
        QString home;
        QStringList protectedFolders;
        bool systemKnown = false;
        QStringList systemFolders;
        bool trashKnown = false;
        QString trash;
        // Each autosave location as given, resolved once: the location's real path and, when
        // it cannot be resolved, why not. Every item is still resolved on its own.
        QHash<QString, std::pair<QString, QString>> locations;
        // The home Trash once its folders are made, and its status then.
        QByteArray homeTrashReady;
        struct stat homeTrashStatus {};
    };
    Folders folders;
    // For a Trash folder and an item's name, how many of the names it takes there this batch
    // has already found taken.
    QHash<QByteArray, int> namesTaken;

private:
    QStringList m_paths;
    QHash<QString, qsizetype> m_index;
    QHash<QString, Record> m_records;
    qsizetype m_recordsThrough = 0;
    TrashBatch* m_outer = nullptr;
};
