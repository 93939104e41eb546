#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <atomic>
#include <compare>
#include <limits>
#include <memory>

class BMProject;
class BMAutoItem;

using BMAutoItemPtr = std::shared_ptr<BMAutoItem>;
using BMAutoItemList = QList<BMAutoItemPtr>;

// One autosave: a file or bundle that an editor wrote, the leaf of the catalogue.
//
// Ownership: items live in std::shared_ptr. A project owns its items through its children
// list; a selection, an action or a worker thread may hold an item too, and the item then
// stays valid even after the catalogue was rebuilt. The back reference to the project is a
// weak pointer: it never keeps a project alive and never dangles. Once the project is gone,
// parent() answers null.
//
// Threads: an item is built on the scanning thread and handed over whole. name and path are
// fixed at creation; the other fields are atomic, so a read from another thread sees either
// the old or the new value, never a torn one.
class BMAutoItem {
    struct Token {
        explicit Token() = default;
    };

public:
    // Use autoItemType(); the token keeps the constructor out of reach while letting
    // std::make_shared allocate object and count in one block.
    explicit BMAutoItem(Token);
    BMAutoItem(const BMAutoItem&) = delete;
    BMAutoItem& operator=(const BMAutoItem&) = delete;

    // A new item without a parent. An invalid createdDate means the file system gave none.
    static BMAutoItemPtr autoItemType(int type, const QString& name, const QString& path,
                                      const QDateTime& createdDate, double fileSize);

    const QString& name() const { return m_name; }
    const QString& path() const { return m_path; }
    QDateTime createdDate() const;
    void setCreatedDate(const QDateTime& date);
    double fileSize() const { return m_fileSize.load(std::memory_order_relaxed); }
    void setFileSize(double size) { m_fileSize.store(size, std::memory_order_relaxed); }
    int type() const { return m_type.load(std::memory_order_relaxed); }
    void setType(int type) { m_type.store(type, std::memory_order_relaxed); }
    // 0 for a file with one name; for one with several hard links, a number that every name
    // of that file shares in this process (see sharedFileOf), so that totals count it once.
    quint32 sharedFile() const { return m_sharedFile; }
    void setSharedFile(quint32 id) { m_sharedFile = id; }
    // The number of the file on that device with that inode, the same for each of its names.
    static quint32 sharedFileOf(quint64 device, quint64 inode);
    // The project that last took this item as a child; null when there is none (any more).
    std::shared_ptr<BMProject> parent() const { return m_parent.load().lock(); }
    void setParent(const std::shared_ptr<BMProject>& project) { m_parent.store(project); }

    // Case-insensitive by name.
    std::weak_ordering nameCompare(const BMAutoItem& other) const;
    // An item without a date sorts before every dated one.
    std::weak_ordering dateCompare(const BMAutoItem& other) const;
    std::weak_ordering sizeCompare(const BMAutoItem& other) const;

    // Dates travel as milliseconds since the epoch so that they can be atomic.
    static constexpr qint64 noDate = std::numeric_limits<qint64>::min();
    static qint64 msecsOf(const QDateTime& date);
    static QDateTime dateOf(qint64 msecs);
    qint64 createdMsecs() const { return m_created.load(std::memory_order_relaxed); }
    // When the file was last written, noDate when unknown. Kept as a number: the catalogue
    // holds one per autosave and only compares it.
    qint64 modifiedMsecs() const { return m_modified.load(std::memory_order_relaxed); }
    void setModifiedMsecs(qint64 msecs) { m_modified.store(msecs, std::memory_order_relaxed); }

private:
    QString m_name;
    QString m_path;
    std::atomic<qint64> m_created;
    std::atomic<qint64> m_modified{noDate};
    std::atomic<double> m_fileSize{0.0};
    std::atomic<int> m_type{0};
    quint32 m_sharedFile = 0; // set once, before the item is shared; fits beside m_type
    std::atomic<std::weak_ptr<BMProject>> m_parent;
};

// Three-way comparison of two numbers as the catalogue sorts them: NaN counts as equal.
std::weak_ordering compareNumbers(double a, double b);
