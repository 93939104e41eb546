#include "LocationLock.h"

#include "BMLocalPaths.h"
#include "FileName.h"
#include "FileTree.h"
#include "PathText.h"
#include "RealPath.h"

#include <QCryptographicHash>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace {

QString lockFolder() {
    return PathText::appendingComponent(BMLocalPaths::cacheDirectory(true), QStringLiteral("Vestry/locks"));
}

int openLockFile(const QString& path) {
    const QByteArray encoded = FileName::encode(path);
    int fd = ::open(encoded.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0 && errno == EACCES) // root's file in this user's folder: flock needs no write
        fd = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    return fd;
}

std::optional<LocationLock::Holder> readHolder(int fd) {
    char buffer[512];
    const ssize_t n = ::pread(fd, buffer, sizeof buffer - 1, 0);
    if (n <= 0)
        return std::nullopt;
    const QString text = QString::fromUtf8(buffer, n);
    const qsizetype newline = text.indexOf(QLatin1Char('\n'));
    LocationLock::Holder holder;
    holder.pid = text.left(newline).toLongLong();
    holder.activity = newline < 0 ? QString() : text.mid(newline + 1).trimmed();
    return holder;
}

void writeHolder(int fd, const QString& activity) {
    const QByteArray text = QByteArray::number(qint64(::getpid())) + '\n' + activity.toUtf8() + '\n';
    if (::ftruncate(fd, 0) == 0 && ::pwrite(fd, text.constData(), size_t(text.size()), 0) == text.size())
        return;
    // A read-only lock file (made by root for this user) only loses the holder's name.
}

} // namespace

QString LocationLock::canonicalLocation(const QString& location) {
    const QByteArray resolved = RealPath::of(FileName::encode(location));
    return resolved.isEmpty() ? location : FileName::decode(resolved);
}

std::chrono::milliseconds LocationLock::configuredWait() {
    bool ok = false;
    const qint64 ms = qEnvironmentVariable("VESTRY_LOCK_WAIT_MS").toLongLong(&ok, 10);
    return ok && ms >= 0 ? std::chrono::milliseconds(ms) : defaultWait;
}

QString LocationLock::lockFilePath(const QString& location) {
    const QByteArray key =
        QCryptographicHash::hash(FileName::encode(LocationLock::canonicalLocation(location)),
                                 QCryptographicHash::Sha1)
            .toHex();
    return PathText::appendingComponent(lockFolder(), QString::fromLatin1(key) + QStringLiteral(".lock"));
}

std::optional<LocationLock::Holder> LocationLock::currentHolder(const QString& location) {
    const int fd =
        ::open(FileName::encode(lockFilePath(location)).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return std::nullopt;
    std::optional<Holder> holder;
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0)
        ::flock(fd, LOCK_UN);
    else
        holder = readHolder(fd).value_or(Holder{});
    ::close(fd);
    return holder;
}

std::optional<LocationLock> LocationLock::acquire(const QString& location, const QString& activity,
                                                  std::chrono::milliseconds wait, QString* error,
                                                  const std::atomic<bool>* cancelled) {
    const QString path = lockFilePath(location);
    QString folderError;
    if (!FileTree::createDirectories(lockFolder(), &folderError)) {
        if (error)
            *error =
                QStringLiteral("Unable to lock %1: %2").arg(FileName::displayText(location), folderError);
        return std::nullopt;
    }
    const int fd = openLockFile(path);
    if (fd < 0) {
        if (error)
            *error = QStringLiteral("Unable to lock %1: %2")
                         .arg(FileName::displayText(location), FileTree::errorDescription(path, errno));
        return std::nullopt;
    }
    const auto deadline = std::chrono::steady_clock::now() + wait;
    while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            if (error)
                *error = QStringLiteral("Unable to lock %1: %2")
                             .arg(FileName::displayText(location), FileTree::errorDescription(path, errno));
            ::close(fd);
            return std::nullopt;
        }
        const bool stopped = cancelled && cancelled->load();
        if (stopped || std::chrono::steady_clock::now() >= deadline) {
            const Holder holder = readHolder(fd).value_or(Holder{});
            if (error) {
                const QString who = holder.pid > 0 ? QStringLiteral("process %1%2")
                                                         .arg(holder.pid)
                                                         .arg(holder.activity.isEmpty()
                                                                  ? QString()
                                                                  : QStringLiteral(", ") + holder.activity)
                                                   : QStringLiteral("another process");
                *error = stopped
                             ? QStringLiteral("Stopped while waiting for %1, which another Vestry run (%2) "
                                              "is working on.")
                                   .arg(FileName::displayText(location), who)
                             : QStringLiteral("%1 is busy: another Vestry run (%2) is working on it. Try "
                                              "again when it has finished.")
                                   .arg(FileName::displayText(location), who);
            }
            ::close(fd);
            errno = stopped ? ECANCELED : EWOULDBLOCK;
            return std::nullopt;
        }
        // Short steps: a stop asked for is acted on at once, not after the wait.
        QThread::msleep(50);
    }
    writeHolder(fd, activity);
    return LocationLock(fd, location);
}

LocationLock::LocationLock(int fd, QString location) : m_fd(fd), m_location(std::move(location)) {
}

LocationLock::LocationLock(LocationLock&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)), m_location(std::move(other.m_location)) {
}

LocationLock& LocationLock::operator=(LocationLock&& other) noexcept {
    if (this != &other) {
        release();
        m_fd = std::exchange(other.m_fd, -1);
        m_location = std::move(other.m_location);
    }
    return *this;
}

LocationLock::~LocationLock() {
    release();
}

void LocationLock::release() {
    if (m_fd < 0)
        return;
    // Emptied first so that a reader never names a run that has finished.
    [[maybe_unused]] const int truncated = ::ftruncate(m_fd, 0);
    ::flock(m_fd, LOCK_UN);
    ::close(m_fd);
    m_fd = -1;
}
