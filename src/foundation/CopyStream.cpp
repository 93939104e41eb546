#include "CopyStream.h"

#include "foundation/FileName.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

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

bool CopyStreamFaults::oneChunkPerCall() const {
    return true;
}

size_t CopyStreamFaults::readableBytes(const QString&, size_t size) {
    return size;
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
    const int fd = ::open(FileName::encode(path).constData(), flags | O_CLOEXEC, 0666);
    if (fd < 0)
        return nullptr;
    std::shared_ptr<CopyStreamFaults> faults;
    {
        std::lock_guard lock(g_faultsMutex);
        faults = g_faults;
    }
    return std::unique_ptr<CopyStream>(new CopyStream(fd, path, std::move(faults)));
}

namespace {
// Blocks reserved past the end of the file go back; the file's bytes are untouched.
void giveBackReserved(int fd) {
    struct stat info {};
    if (::fstat(fd, &info) == 0)
        (void)::ftruncate(fd, info.st_size);
}
} // namespace

CopyStream::~CopyStream() {
    if (m_fd < 0)
        return;
    if (m_reserved)
        giveBackReserved(m_fd);
    ::close(m_fd);
}

void CopyStream::reserve(quint64 size) {
    if (size == 0 || m_reserved)
        return;
#if defined(__linux__)
    if (::fallocate(m_fd, FALLOC_FL_KEEP_SIZE, 0, off_t(size)) == 0) {
        m_reserved = true;
        return;
    }
    // A file system short of room may have kept part of it.
    if (errno == ENOSPC || errno == EDQUOT)
        giveBackReserved(m_fd);
#endif
}

size_t CopyStream::read(char* buffer, size_t size) {
    const iovec one{buffer, size};
    return readv(&one, 1);
}

size_t CopyStream::write(const char* data, size_t size) {
    const iovec one{const_cast<char*>(data), size};
    return writev(&one, 1);
}

namespace {
// The part of a list of buffers that is left after the first done bytes, at most limit
// bytes of it.
std::vector<iovec> remainder(const iovec* buffers, int count, size_t done,
                             size_t limit = std::numeric_limits<size_t>::max()) {
    std::vector<iovec> rest;
    for (int i = 0; i < count && limit > 0; ++i) {
        if (done >= buffers[i].iov_len) {
            done -= buffers[i].iov_len;
            continue;
        }
        const size_t length = std::min(buffers[i].iov_len - done, limit);
        rest.push_back({static_cast<char*>(buffers[i].iov_base) + done, length});
        limit -= length;
        done = 0;
    }
    return rest;
}

size_t totalLength(const iovec* buffers, int count) {
    size_t total = 0;
    for (int i = 0; i < count; ++i)
        total += buffers[i].iov_len;
    return total;
}
} // namespace

size_t CopyStream::transfer(Direction direction, const iovec* buffers, int count, size_t requested,
                            size_t wanted) {
    size_t done = 0;
    while (done < wanted) {
        // Only after a partial transfer, or when a fault cuts the call short, does the list
        // need trimming.
        std::vector<iovec> rest;
        const bool trimmed = done > 0 || wanted < requested;
        if (trimmed)
            rest = remainder(buffers, count, done, wanted - done);
        const iovec* list = trimmed ? rest.data() : buffers;
        const int listCount = trimmed ? int(rest.size()) : count;
        const off_t at = off_t(m_position + done);
        const ssize_t n = direction == Direction::Read ? ::preadv(m_fd, list, listCount, at)
                                                       : ::pwritev(m_fd, list, listCount, at);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || (n == 0 && direction == Direction::Write)) {
            m_error = true;
            break;
        }
        if (n == 0) {
            m_atEnd = true;
            break;
        }
        done += size_t(n);
    }
    return done;
}

size_t CopyStream::readv(const iovec* buffers, int count) {
    const size_t requested = totalLength(buffers, count);
    const size_t wanted =
        m_faults ? std::min(requested, m_faults->readableBytes(m_path, requested)) : requested;
    const size_t done = transfer(Direction::Read, buffers, count, requested, wanted);
    if (done == wanted && wanted < requested) {
        m_error = true;
        errno = EIO;
    }
    m_position += done;
    if (m_faults) {
        size_t left = done;
        for (int i = 0; i < count && left > 0; ++i) {
            const size_t part = std::min(left, buffers[i].iov_len);
            m_faults->afterRead(m_path, static_cast<char*>(buffers[i].iov_base), part);
            left -= part;
        }
    }
    return done;
}

size_t CopyStream::writev(const iovec* buffers, int count) {
    const size_t requested = totalLength(buffers, count);
    const size_t wanted =
        m_faults ? std::min(requested, m_faults->writableBytes(m_path, requested)) : requested;
    const size_t done = transfer(Direction::Write, buffers, count, requested, wanted);
    if (done < requested) {
        m_error = true;
        if (wanted < requested)
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
