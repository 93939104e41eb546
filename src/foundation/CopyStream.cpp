#include "CopyStream.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {
std::mutex g_faultsMutex;
std::shared_ptr<CopyStreamFaults> g_faults;
} // namespace

CopyStreamFaults::~CopyStreamFaults() = default;

void CopyStreamFaults::afterRead(const QString&, char*, size_t) {
}

bool CopyStreamFaults::allowSeek(const QString&) {
    return true;
}

size_t CopyStreamFaults::writableBytes(const QString&, size_t size) {
    return size;
}

std::shared_ptr<CopyStreamFaults> CopyStream::installFaults(std::shared_ptr<CopyStreamFaults> faults) {
    std::lock_guard lock(g_faultsMutex);
    std::swap(g_faults, faults);
    return faults;
}

CopyStream::CopyStream(int fd, QString path, std::shared_ptr<CopyStreamFaults> faults)
    : m_fd(fd), m_path(std::move(path)), m_faults(std::move(faults)) {
}

std::unique_ptr<CopyStream> CopyStream::open(const QString& path, Mode mode) {
    const int flags = mode == Mode::Read ? O_RDONLY : (O_RDWR | O_CREAT | O_TRUNC);
    const int fd = ::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, 0666);
    if (fd < 0)
        return nullptr;
    std::shared_ptr<CopyStreamFaults> faults;
    {
        std::lock_guard lock(g_faultsMutex);
        faults = g_faults;
    }
    return std::unique_ptr<CopyStream>(new CopyStream(fd, path, std::move(faults)));
}

CopyStream::~CopyStream() {
    if (m_fd >= 0)
        ::close(m_fd);
}

size_t CopyStream::read(char* buffer, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pread(m_fd, buffer + done, size - done, off_t(m_position + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            m_error = true;
            break;
        }
        if (n == 0) {
            m_atEnd = true;
            break;
        }
        done += size_t(n);
    }
    m_position += done;
    if (m_faults && done > 0)
        m_faults->afterRead(m_path, buffer, done);
    return done;
}

size_t CopyStream::write(const char* data, size_t size) {
    size_t allowed = m_faults ? m_faults->writableBytes(m_path, size) : size;
    size_t done = 0;
    while (done < allowed) {
        const ssize_t n = ::pwrite(m_fd, data + done, allowed - done, off_t(m_position + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            m_error = true;
            break;
        }
        done += size_t(n);
    }
    if (done < size) {
        m_error = true;
        if (allowed < size)
            errno = ENOSPC;
    }
    m_position += done;
    return done;
}

bool CopyStream::seek(quint64 position) {
    if (m_faults && !m_faults->allowSeek(m_path)) {
        errno = EIO;
        m_error = true;
        return false;
    }
    m_position = position;
    m_atEnd = false;
    return true;
}
