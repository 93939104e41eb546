#include "TrashBatch.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {
thread_local TrashBatch* t_current = nullptr;
} // namespace

TrashBatch::TrashBatch(const QStringList& paths) : m_outer(t_current) {
    // A selection can name an autosave twice (a project and one of its own rows): one record
    // ahead per item, or the second would leave the first without an item.
    m_index.reserve(paths.size());
    for (const QString& path : paths) {
        if (m_index.contains(path))
            continue;
        m_index.insert(path, m_paths.size());
        m_paths << path;
    }
    t_current = this;
}

TrashBatch::~TrashBatch() {
    t_current = m_outer;
    for (const Record& record : std::as_const(m_records))
        removeRecord(record);
}

TrashBatch* TrashBatch::current() {
    return t_current;
}

void TrashBatch::addRecord(const QString& path, Record record) {
    if (m_records.contains(path)) {
        removeRecord(record);
        return;
    }
    m_records.insert(path, std::move(record));
}

std::optional<TrashBatch::Record> TrashBatch::takeRecord(const QString& path) {
    const auto it = m_records.find(path);
    if (it == m_records.end())
        return std::nullopt;
    Record record = std::move(it.value());
    m_records.erase(it);
    return record;
}

void TrashBatch::removeRecord(const Record& record) {
    struct stat info {};
    if (::lstat(record.file.constData(), &info) == 0 && info.st_ino == record.inode &&
        info.st_dev == record.device && S_ISREG(info.st_mode))
        ::unlink(record.file.constData());
}
