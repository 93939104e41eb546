#include "OpenFolder.h"

#include "FileName.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
}

OpenFolder::OpenFolder(const QString& path, bool followLink) : m_path(path) {
    m_fd = path.isEmpty()
               ? -1
               : ::open(FileName::encode(path).constData(), followLink ? kFlags & ~O_NOFOLLOW : kFlags);
    m_error = m_fd < 0 ? (path.isEmpty() ? ENOENT : errno) : 0;
}

OpenFolder::OpenFolder(const OpenFolder& parent, const QString& name, const QString& path) : m_path(path) {
    m_fd = parent.isOpen() ? ::openat(parent.m_fd, FileName::encode(name).constData(), kFlags) : -1;
    m_error = m_fd < 0 ? (parent.isOpen() ? errno : parent.m_error) : 0;
}

OpenFolder::~OpenFolder() {
    if (m_fd >= 0)
        ::close(m_fd);
}

bool OpenFolder::list(QStringList* names, QStringList* links) {
    const int copy = m_fd >= 0 ? ::fcntl(m_fd, F_DUPFD_CLOEXEC, 0) : -1;
    DIR* dir = copy >= 0 ? ::fdopendir(copy) : nullptr;
    if (!dir) {
        m_error = m_fd >= 0 ? errno : m_error;
        if (copy >= 0)
            ::close(copy);
        return false;
    }
    while (dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        bool link = false;
        if (links) {
            link = entry->d_type == DT_LNK;
            struct stat info {};
            if (entry->d_type == DT_UNKNOWN)
                link = ::fstatat(m_fd, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(info.st_mode);
        }
        (link ? *links : *names).append(FileName::decode(name));
    }
    ::closedir(dir);
    std::sort(names->begin(), names->end());
    if (links)
        std::sort(links->begin(), links->end());
    return true;
}

std::optional<FileFacts> OpenFolder::facts(const QString& name) const {
    if (m_fd < 0)
        return std::nullopt;
    return Platform::current().fileFactsAt(m_fd, m_path, FileName::encode(name));
}

std::optional<QByteArray> OpenFolder::finderInfo(const QString& name) const {
    if (m_fd < 0)
        return Platform::current().finderInfo(m_path + QLatin1Char('/') + name);
    return Platform::current().finderInfoAt(m_fd, m_path, FileName::encode(name));
}
