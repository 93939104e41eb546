#include "CheckedCopy.h"

#include "FileName.h"
#include "UniqueFd.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString cause(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

QString shown(const QByteArray& path) {
    return FileName::displayText(FileName::decode(path));
}

bool sameContents(const QByteArray& source, const QByteArray& copy, QString* why) {
    UniqueFd from(::open(source.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    UniqueFd to(::open(copy.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (from.fd < 0 || to.fd < 0) {
        *why = QStringLiteral("%1: %2").arg(shown(from.fd < 0 ? source : copy), cause(errno));
        return false;
    }
    std::vector<char> a(1 << 16), b(1 << 16);
    for (;;) {
        const ssize_t got = ::read(from.fd, a.data(), a.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            *why = QStringLiteral("%1: %2").arg(shown(source), cause(errno));
            return false;
        }
        ssize_t have = 0;
        while (have < got) {
            const ssize_t n = ::read(to.fd, b.data() + have, size_t(got - have));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            have += n;
        }
        if (have != got || std::memcmp(a.data(), b.data(), size_t(got)) != 0) {
            *why = QStringLiteral("the copy %1 differs from the original").arg(shown(copy));
            return false;
        }
        if (got == 0)
            break;
    }
    if (::fsync(to.fd) != 0) {
        *why = QStringLiteral("%1: %2").arg(shown(copy), cause(errno));
        return false;
    }
    return true;
}

} // namespace

bool CheckedCopy::check(const QByteArray& source, const QByteArray& copy, QString* why) {
    m_entries.clear();
    return checkEntry(source, copy, why);
}

// Compares the original with its copy entry by entry (type, size, contents, link target),
// syncs the copy and lists the original's entries, parents before their contents.
bool CheckedCopy::checkEntry(const QByteArray& source, const QByteArray& copy, QString* why) {
    struct stat original {
    }, duplicate{};
    if (::lstat(source.constData(), &original) != 0 || ::lstat(copy.constData(), &duplicate) != 0) {
        *why = QStringLiteral("%1: %2").arg(shown(source), cause(errno));
        return false;
    }
    if ((original.st_mode & S_IFMT) != (duplicate.st_mode & S_IFMT) ||
        (S_ISREG(original.st_mode) && original.st_size != duplicate.st_size)) {
        *why = QStringLiteral("the copy %1 differs from the original").arg(shown(copy));
        return false;
    }
    m_entries.push_back({source, original});
    if (S_ISREG(original.st_mode))
        return sameContents(source, copy, why);
    if (S_ISLNK(original.st_mode)) {
        std::vector<char> a(4097), b(4097);
        const ssize_t x = ::readlink(source.constData(), a.data(), a.size());
        const ssize_t y = ::readlink(copy.constData(), b.data(), b.size());
        if (x < 0 || x != y || std::memcmp(a.data(), b.data(), size_t(x)) != 0) {
            *why = QStringLiteral("the copy %1 differs from the original").arg(shown(copy));
            return false;
        }
        return true;
    }
    DIR* dir = ::opendir(source.constData());
    if (!dir) {
        *why = QStringLiteral("%1: %2").arg(shown(source), cause(errno));
        return false;
    }
    std::vector<QByteArray> names;
    while (dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    ::closedir(dir);
    for (const QByteArray& name : names) {
        if (!checkEntry(source + '/' + name, copy + '/' + name, why))
            return false;
    }
    UniqueFd folder(::open(copy.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.fd < 0 || ::fsync(folder.fd) != 0) {
        *why = QStringLiteral("%1: %2").arg(shown(copy), cause(errno));
        return false;
    }
    return true;
}

// The original goes once its copy is checked: deepest entries first, each only while it is
// still the one that was copied, folders with rmdir so that anything that arrived since stays.
bool CheckedCopy::removeOriginal(QString* why) const {
    for (auto it = m_entries.rbegin(); it != m_entries.rend(); ++it) {
        struct stat now {};
        if (::lstat(it->path.constData(), &now) != 0) {
            *why = QStringLiteral("%1: %2").arg(shown(it->path), cause(errno));
            return false;
        }
        const bool folder = S_ISDIR(now.st_mode);
        const bool same = now.st_dev == it->status.st_dev && now.st_ino == it->status.st_ino &&
                          (folder || (now.st_size == it->status.st_size &&
                                      now.st_mtim.tv_sec == it->status.st_mtim.tv_sec &&
                                      now.st_mtim.tv_nsec == it->status.st_mtim.tv_nsec));
        if (!same) {
            *why = QStringLiteral("%1 changed after it was copied").arg(shown(it->path));
            return false;
        }
        if ((folder ? ::rmdir(it->path.constData()) : ::unlink(it->path.constData())) != 0) {
            *why = QStringLiteral("%1: %2").arg(shown(it->path), cause(errno));
            return false;
        }
    }
    return true;
}
