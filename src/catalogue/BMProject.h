#pragma once

#include "BMAutoItem.h"
#include "foundation/BMException.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>
#include <ranges>

class BMProject;
using BMProjectPtr = std::shared_ptr<BMProject>;
using BMProjectList = QList<BMProjectPtr>;

// A project of the catalogue: the autosaves of one editing project, grouped the way the
// editor lays them out on disk.
//
// Ownership: projects live in std::shared_ptr because they cross threads (a scan builds them
// on a worker, the window then owns them) and because the items' weak back references need a
// shared owner. A project owns its items; handing the project to another thread hands its
// items along. Create projects with projectType() only.
//
// Threads: the catalogue is built on one thread and handed over whole; after that only the
// thread that owns it (the main thread in the window) changes name, path and children.
// fileSize, startDate, endDate and type are atomic, so single reads and writes stay whole.
//
// Invariant: after every change of children (setChildren, addChild, removeChild) each child's
// parent is this project, fileSize is the sum of the children's sizes and startDate/endDate
// span their creation dates.
class BMProject : public std::enable_shared_from_this<BMProject> {
    struct Token {
        explicit Token() = default;
    };

public:
    explicit BMProject(Token) {}
    BMProject(const BMProject&) = delete;
    BMProject& operator=(const BMProject&) = delete;

    // A new project without children.
    static BMProjectPtr projectType(int type, const QString& name, const QString& path);

    const QString& name() const { return m_name; }
    void setName(const QString& name) { m_name = name; }
    const QString& path() const { return m_path; }
    void setPath(const QString& path) { m_path = path; }
    // The autosave location that the scan found this project in. Destructive work on the
    // project's autosaves never reaches outside it.
    const QString& location() const { return m_location; }
    void setLocation(const QString& location) { m_location = location; }
    BMAutoItemList children() const { return m_children; }
    qsizetype childCount() const { return m_children.size(); }

    // Stores the list, makes this project every element's parent, then recalculates the
    // size and the date range.
    void setChildren(BMAutoItemList children);
    // Both recalculate a second time after setChildren did; harmless, and kept.
    void addChild(const BMAutoItemPtr& item);
    // Removes every occurrence of the item, not just the first.
    void removeChild(const BMAutoItemPtr& item);

    double fileSize() const { return m_fileSize.load(std::memory_order_relaxed); }
    void setFileSize(double size) { m_fileSize.store(size, std::memory_order_relaxed); }
    // Invalid when there is no date.
    QDateTime startDate() const { return BMAutoItem::dateOf(startMsecs()); }
    QDateTime endDate() const { return BMAutoItem::dateOf(endMsecs()); }
    void setStartDate(const QDateTime& date) {
        m_start.store(BMAutoItem::msecsOf(date), std::memory_order_relaxed);
    }
    void setEndDate(const QDateTime& date) {
        m_end.store(BMAutoItem::msecsOf(date), std::memory_order_relaxed);
    }
    qint64 startMsecs() const { return m_start.load(std::memory_order_relaxed); }
    qint64 endMsecs() const { return m_end.load(std::memory_order_relaxed); }
    int type() const { return m_type.load(std::memory_order_relaxed); }
    void setType(int type) { m_type.store(type, std::memory_order_relaxed); }

    // The children's sizes, a file with several links among them counted once.
    void calculateFileSize();
    // Whether a child has a name elsewhere (a hard link): then the project's size may overlap
    // another's (see DistinctBytes).
    bool hasSharedFiles() const { return m_hasSharedFiles.load(std::memory_order_relaxed); }
    // One child: both bounds are its date. Otherwise the earliest and the latest, the first
    // of equal dates winning; children without a date take no part.
    void calculateDateRange();

    std::weak_ordering nameCompare(const BMProject& other) const;
    std::weak_ordering dateCompareEarly(const BMProject& other) const;
    std::weak_ordering dateCompareLate(const BMProject& other) const;
    std::weak_ordering sizeCompare(const BMProject& other) const;

    // Sort the children ascending (stable); descending is the exact reverse of that, so equal
    // keys come out in reverse relative order too.
    void sortChildrenByName(bool descending);
    void sortChildrenByDate(bool descending);
    void sortChildrenBySize(bool descending);

    // The elements in reverse order; nothing if the copy failed (the failure is logged).
    template <typename T>
    static std::optional<QList<T>> reverseArray(const QList<T>& array);

private:
    template <typename Compare>
    void sortChildren(Compare compare, bool descending);

    QString m_name;
    QString m_path;
    QString m_location;
    BMAutoItemList m_children;
    std::atomic<double> m_fileSize{0.0};
    std::atomic<qint64> m_start{BMAutoItem::noDate};
    std::atomic<qint64> m_end{BMAutoItem::noDate};
    std::atomic<int> m_type{0};
    std::atomic<bool> m_hasSharedFiles{false};
};

// The bytes of projects as the disk holds them: a file with several hard links among them (a
// location copied with `cp -al`, a backup made of links) counts once, with the first project
// that has it, as that is all the space its removal frees. Projects without such files cost
// nothing more than their sizes.
class DistinctBytes {
public:
    // What the project adds to the projects added before it.
    double add(const BMProject& project);
    double total() const { return m_total; }

private:
    QSet<quint32> m_counted;
    double m_total = 0.0;
};

template <typename T>
std::optional<QList<T>> BMProject::reverseArray(const QList<T>& array) {
    try {
        QList<T> reversed;
        reversed.reserve(array.size());
        for (const T& element : std::views::reverse(array))
            reversed.append(element);
        return reversed;
    } catch (const std::exception& e) {
        BMException::logException(e, "-[BMProject reverseArray:]");
        return std::nullopt;
    }
}
