#include "SharedCacheFile.h"

#include "foundation/PlistFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include "foundation/FileName.h"

namespace {

class FileLock {
public:
    FileLock(const QString& path, int waitMilliseconds) {
        m_fd = ::open(FileName::encode(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (m_fd < 0)
            return;
        // Bounded: a program that holds the lock and hangs must not hang us too.
        for (int waited = 0;; waited += 10) {
            if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0) {
                m_locked = true;
                return;
            }
            if ((errno != EWOULDBLOCK && errno != EINTR) || waited >= waitMilliseconds)
                return;
            QThread::msleep(10);
        }
    }
    ~FileLock() {
        if (m_fd < 0)
            return;
        if (m_locked)
            ::flock(m_fd, LOCK_UN);
        ::close(m_fd);
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    bool isLocked() const { return m_locked; }

private:
    int m_fd = -1;
    bool m_locked = false;
};

} // namespace

SharedCacheFile::SharedCacheFile(QString path) : m_path(std::move(path)) {
}

std::optional<QVariantMap> SharedCacheFile::read() const {
    return PlistFile::readDictionary(m_path);
}

QVariantMap SharedCacheFile::entry(const QString& name) const {
    const std::optional<QVariantMap> all = read();
    return all ? all->value(name).toMap() : QVariantMap();
}

bool SharedCacheFile::replaceEntry(const QString& name, const QVariantMap& entry,
                                   int lockWaitMilliseconds) const {
    if (!QDir().mkpath(QFileInfo(m_path).absolutePath()))
        return false;
    FileLock lock(lockPath(), lockWaitMilliseconds);
    if (!lock.isLocked())
        return false;
    // A damaged cache holds nothing worth keeping; it is replaced.
    QVariantMap all = read().value_or(QVariantMap());
    all.insert(name, entry);
    return PlistFile::writeXml(m_path, all);
}
