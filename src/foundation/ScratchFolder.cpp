#include "ScratchFolder.h"

#include "FileName.h"
#include "FileTree.h"
#include "PathText.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

std::optional<ScratchFolder> ScratchFolder::create(const QString& parent, const QString& prefix,
                                                   QString* error) {
    QString problem;
    if (!FileTree::createDirectories(parent, &problem)) {
        if (error)
            *error = problem;
        return std::nullopt;
    }
    QByteArray pattern =
        FileName::encode(PathText::appendingComponent(parent, prefix + QStringLiteral("XXXXXX")));
    if (!::mkdtemp(pattern.data())) {
        if (error)
            *error = FileTree::errorDescription(parent, errno);
        return std::nullopt;
    }
    const QString path = FileName::decode(pattern);
    const int parentFd = ::open(FileName::encode(parent).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int fd = ::open(pattern.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (parentFd < 0 || fd < 0) {
        if (error)
            *error = FileTree::errorDescription(path, errno);
        if (parentFd >= 0)
            ::close(parentFd);
        if (fd >= 0)
            ::close(fd);
        ::rmdir(pattern.constData()); // empty: just made
        return std::nullopt;
    }
    return ScratchFolder(parentFd, fd, path);
}

ScratchFolder::ScratchFolder(int parentFd, int fd, QString path)
    : m_parentFd(parentFd), m_fd(fd), m_path(std::move(path)) {
}

ScratchFolder::ScratchFolder(ScratchFolder&& other) noexcept
    : m_parentFd(std::exchange(other.m_parentFd, -1)), m_fd(std::exchange(other.m_fd, -1)),
      m_path(std::move(other.m_path)) {
}

ScratchFolder& ScratchFolder::operator=(ScratchFolder&& other) noexcept {
    if (this != &other) {
        remove();
        m_parentFd = std::exchange(other.m_parentFd, -1);
        m_fd = std::exchange(other.m_fd, -1);
        m_path = std::move(other.m_path);
    }
    return *this;
}

ScratchFolder::~ScratchFolder() {
    remove();
}

bool ScratchFolder::remove(QString* error) {
    if (m_fd < 0)
        return true;
    bool ok = FileTree::emptyOpenFolder(m_fd, m_path, error);
    if (ok) {
        // The name goes only while it still is this folder.
        const QByteArray name = FileName::encode(PathText::lastComponent(m_path));
        struct stat mine {
        }, named{};
        if (::fstat(m_fd, &mine) == 0 &&
            ::fstatat(m_parentFd, name.constData(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
            mine.st_dev == named.st_dev && mine.st_ino == named.st_ino &&
            ::unlinkat(m_parentFd, name.constData(), AT_REMOVEDIR) != 0 && errno != ENOENT) {
            if (error)
                *error = FileTree::errorDescription(m_path, errno);
            ok = false;
        }
    }
    close();
    return ok;
}

void ScratchFolder::close() {
    if (m_fd >= 0)
        ::close(m_fd);
    if (m_parentFd >= 0)
        ::close(m_parentFd);
    m_fd = m_parentFd = -1;
}
