#include "BMAutoItem.h"

#include <map>
#include <mutex>

BMAutoItem::BMAutoItem(Token) : m_created(QDateTime::currentMSecsSinceEpoch()) {
}

BMAutoItemPtr BMAutoItem::autoItemType(int type, const QString& name, const QString& path,
                                       const QDateTime& createdDate, double fileSize) {
    auto item = std::make_shared<BMAutoItem>(Token{});
    item->m_name = name;
    item->m_path = path;
    item->m_created.store(msecsOf(createdDate), std::memory_order_relaxed);
    item->m_fileSize.store(fileSize, std::memory_order_relaxed);
    item->m_type.store(type, std::memory_order_relaxed);
    return item;
}

QDateTime BMAutoItem::createdDate() const {
    return dateOf(createdMsecs());
}

void BMAutoItem::setCreatedDate(const QDateTime& date) {
    m_created.store(msecsOf(date), std::memory_order_relaxed);
}

qint64 BMAutoItem::msecsOf(const QDateTime& date) {
    return date.isValid() ? date.toMSecsSinceEpoch() : noDate;
}

QDateTime BMAutoItem::dateOf(qint64 msecs) {
    return msecs == noDate ? QDateTime() : QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

std::weak_ordering BMAutoItem::nameCompare(const BMAutoItem& other) const {
    return m_name.compare(other.m_name, Qt::CaseInsensitive) <=> 0;
}

std::weak_ordering BMAutoItem::dateCompare(const BMAutoItem& other) const {
    return createdMsecs() <=> other.createdMsecs();
}

std::weak_ordering BMAutoItem::sizeCompare(const BMAutoItem& other) const {
    return compareNumbers(fileSize(), other.fileSize());
}

std::weak_ordering compareNumbers(double a, double b) {
    if (a < b)
        return std::weak_ordering::less;
    if (a > b)
        return std::weak_ordering::greater;
    return std::weak_ordering::equivalent;
}

quint32 BMAutoItem::sharedFileOf(quint64 device, quint64 inode) {
    // Only files with several links come here, which are few: a map for the process's life.
    static std::mutex mutex;
    static std::map<std::pair<quint64, quint64>, quint32> numbers;
    const std::lock_guard lock(mutex);
    const auto [at, added] = numbers.try_emplace({device, inode}, quint32(numbers.size() + 1));
    return at->second;
}
