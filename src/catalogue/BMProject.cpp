#include "BMProject.h"

#include <QSet>

#include <algorithm>

BMProjectPtr BMProject::projectType(int type, const QString& name, const QString& path) {
    auto project = std::make_shared<BMProject>(Token{});
    project->m_type.store(type, std::memory_order_relaxed);
    project->m_name = name;
    project->m_path = path;
    return project;
}

void BMProject::setChildren(BMAutoItemList children) {
    m_children = std::move(children);
    const BMProjectPtr self = shared_from_this();
    for (const BMAutoItemPtr& child : std::as_const(m_children))
        child->setParent(self);
    calculateFileSize();
    calculateDateRange();
}

void BMProject::addChild(const BMAutoItemPtr& item) {
    BMAutoItemList copy = m_children;
    copy.append(item);
    setChildren(std::move(copy));
    calculateFileSize();
    calculateDateRange();
}

void BMProject::removeChild(const BMAutoItemPtr& item) {
    BMAutoItemList copy = m_children;
    copy.removeAll(item);
    setChildren(std::move(copy));
    calculateFileSize();
    calculateDateRange();
}

void BMProject::calculateFileSize() {
    try {
        double sum = 0.0;
        QSet<quint32> shared; // only ever filled for files with several links
        for (const BMAutoItemPtr& child : std::as_const(m_children)) {
            if (const quint32 file = child->sharedFile(); file != 0) {
                if (shared.contains(file))
                    continue;
                shared.insert(file);
            }
            sum += child->fileSize();
        }
        m_hasSharedFiles.store(!shared.isEmpty(), std::memory_order_relaxed);
        setFileSize(sum);
    } catch (const std::exception& e) {
        BMException::logException(e, "-[BMProject calculateFileSize]");
    }
}

void BMProject::calculateDateRange() {
    try {
        if (m_children.size() == 1) {
            const qint64 only = m_children.first()->createdMsecs();
            m_start.store(only, std::memory_order_relaxed);
            m_end.store(only, std::memory_order_relaxed);
            return;
        }
        qint64 start = BMAutoItem::noDate;
        qint64 end = BMAutoItem::noDate;
        for (const BMAutoItemPtr& child : std::as_const(m_children)) {
            const qint64 date = child->createdMsecs();
            if (date == BMAutoItem::noDate)
                continue;
            // Strict comparisons: of equal dates the first one stays.
            if (start == BMAutoItem::noDate || start > date)
                start = date;
            if (end == BMAutoItem::noDate || end < date)
                end = date;
        }
        m_start.store(start, std::memory_order_relaxed);
        m_end.store(end, std::memory_order_relaxed);
    } catch (const std::exception& e) {
        BMException::logException(e, "-[BMProject calculateDateRange]");
    }
}

std::weak_ordering BMProject::nameCompare(const BMProject& other) const {
    return m_name.compare(other.m_name, Qt::CaseInsensitive) <=> 0;
}

std::weak_ordering BMProject::dateCompareEarly(const BMProject& other) const {
    return startMsecs() <=> other.startMsecs();
}

std::weak_ordering BMProject::dateCompareLate(const BMProject& other) const {
    return endMsecs() <=> other.endMsecs();
}

std::weak_ordering BMProject::sizeCompare(const BMProject& other) const {
    return compareNumbers(fileSize(), other.fileSize());
}

template <typename Compare>
void BMProject::sortChildren(Compare compare, bool descending) {
    BMAutoItemList sorted = m_children;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](const BMAutoItemPtr& a, const BMAutoItemPtr& b) { return compare(*a, *b) < 0; });
    if (descending)
        sorted = reverseArray(sorted).value_or(BMAutoItemList());
    setChildren(std::move(sorted));
}

void BMProject::sortChildrenByName(bool descending) {
    sortChildren([](const BMAutoItem& a, const BMAutoItem& b) { return a.nameCompare(b); }, descending);
}

void BMProject::sortChildrenByDate(bool descending) {
    sortChildren([](const BMAutoItem& a, const BMAutoItem& b) { return a.dateCompare(b); }, descending);
}

void BMProject::sortChildrenBySize(bool descending) {
    sortChildren([](const BMAutoItem& a, const BMAutoItem& b) { return a.sizeCompare(b); }, descending);
}

double DistinctBytes::add(const BMProject& project) {
    double bytes = project.fileSize();
    if (project.hasSharedFiles()) {
        QSet<quint32> mine;
        for (const BMAutoItemPtr& child : project.children()) {
            const quint32 file = child->sharedFile();
            if (file == 0 || mine.contains(file))
                continue;
            mine.insert(file);
            if (m_counted.contains(file))
                bytes -= child->fileSize();
        }
        m_counted.unite(mine);
    }
    m_total += bytes;
    return bytes;
}
