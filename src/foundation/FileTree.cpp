#include "FileTree.h"

#include "foundation/CheckedCopy.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/UniqueFd.h"

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace FileTree {

namespace {

struct CopyState {
    const CopyControl* control = nullptr;
    quint64 copied = 0;
    bool cancelled() const { return control && control->cancelled && control->cancelled->load(); }
    ContentObserver* observer() const { return control ? control->observer : nullptr; }
    bool flush() const { return !control || control->flush; }
    void report(quint64 bytes) {
        copied += bytes;
        if (control && control->progress)
            control->progress(copied);
    }
};

// Extended attributes travel with the copy. Those the destination refuses (the system's
// own namespaces, a file system without them) are left behind quietly, as file managers do.
void copyAttributes(int from, int to) {
    const ssize_t size = ::flistxattr(from, nullptr, 0);
    if (size <= 0)
        return;
    std::vector<char> names(static_cast<size_t>(size));
    const ssize_t got = ::flistxattr(from, names.data(), names.size());
    if (got <= 0)
        return;
    std::vector<char> value;
    for (const char* name = names.data(); name < names.data() + got; name += std::strlen(name) + 1) {
        const ssize_t length = ::fgetxattr(from, name, nullptr, 0);
        if (length < 0)
            continue;
        value.resize(size_t(length) + 1);
        const ssize_t read = ::fgetxattr(from, name, value.data(), value.size());
        if (read < 0)
            continue;
        ::fsetxattr(to, name, value.data(), size_t(read), 0);
    }
}

void copyOwnerModeTimes(int to, const struct stat& info) {
    if (::geteuid() == 0 && ::fchown(to, info.st_uid, info.st_gid) != 0) {
        // Ownership is best effort, as for any copy.
    }
    ::fchmod(to, info.st_mode & 07777);
    const timespec times[2] = {info.st_atim, info.st_mtim};
    ::futimens(to, times);
}

bool copyContents(int from, int to, CopyState& state) {
    ContentObserver* observer = state.observer();
    bool kernelCopy = observer == nullptr;
    bool copiedAny = false;
    std::vector<char> buffer;
    for (;;) {
        if (state.cancelled()) {
            errno = ECANCELED;
            return false;
        }
        ssize_t n = -1;
        if (kernelCopy) {
            n = ::copy_file_range(from, nullptr, to, nullptr, 1 << 20, 0);
            // Files the kernel makes up as they are read show nothing to a kernel copy: an
            // empty first answer is checked by reading.
            if ((n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) ||
                (n == 0 && !copiedAny)) {
                kernelCopy = false;
                continue;
            }
        } else {
            buffer.resize(1 << 20);
            n = ::read(from, buffer.data(), buffer.size());
            if (n > 0) {
                if (observer)
                    observer->fileData(buffer.data(), size_t(n));
                for (ssize_t done = 0; done < n;) {
                    const ssize_t written = ::write(to, buffer.data() + done, size_t(n - done));
                    if (written < 0 && errno == EINTR)
                        continue;
                    if (written <= 0)
                        return false;
                    done += written;
                }
            }
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        copiedAny = true;
        state.report(quint64(n));
    }
}

bool copyTree(const QByteArray& source, const QByteArray& destination, CopyState& state, bool* created) {
    struct stat info {};
    if (::lstat(source.constData(), &info) != 0)
        return false;
    if (S_ISLNK(info.st_mode)) {
        std::vector<char> target(size_t(info.st_size) + 1 + 4096);
        const ssize_t length = ::readlink(source.constData(), target.data(), target.size() - 1);
        if (length < 0)
            return false;
        target[size_t(length)] = 0;
        if (::symlink(target.data(), destination.constData()) != 0)
            return false;
        *created = true;
        const timespec times[2] = {info.st_atim, info.st_mtim};
        ::utimensat(AT_FDCWD, destination.constData(), times, AT_SYMLINK_NOFOLLOW);
        return true;
    }
    if (S_ISDIR(info.st_mode)) {
        // Writable by us while it fills; its own mode comes last.
        if (::mkdir(destination.constData(), 0700) != 0)
            return false;
        *created = true;
        DIR* dir = ::opendir(source.constData());
        if (!dir)
            return false;
        std::vector<QByteArray> names;
        while (dirent* entry = ::readdir(dir)) {
            const char* name = entry->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            names.emplace_back(name);
        }
        ::closedir(dir);
        for (const QByteArray& name : names) {
            bool childCreated = false;
            if (!copyTree(source + '/' + name, destination + '/' + name, state, &childCreated))
                return false;
        }
        UniqueFd from(::open(source.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        UniqueFd to(::open(destination.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (from.fd >= 0 && to.fd >= 0)
            copyAttributes(from.fd, to.fd);
        if (to.fd >= 0)
            copyOwnerModeTimes(to.fd, info);
        return to.fd >= 0 && (!state.flush() || ::fsync(to.fd) == 0);
    }
    if (!S_ISREG(info.st_mode)) {
        // Devices, pipes and sockets are not documents; copying one means nothing.
        errno = EOPNOTSUPP;
        return false;
    }
    UniqueFd from(::open(source.constData(), O_RDONLY | O_CLOEXEC));
    if (from.fd < 0)
        return false;
    UniqueFd to(::open(destination.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (to.fd < 0)
        return false;
    *created = true;
    if (ContentObserver* observer = state.observer())
        observer->fileStarted(source, info);
    if (!copyContents(from.fd, to.fd, state))
        return false;
    if (ContentObserver* observer = state.observer())
        observer->fileFinished();
    copyAttributes(from.fd, to.fd);
    copyOwnerModeTimes(to.fd, info);
    return !state.flush() || ::fsync(to.fd) == 0;
}

bool renameNoReplace(const QByteArray& from, const QByteArray& to) {
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL)
        return false;
    // A file system without no-replace renames.
    struct stat info {};
    if (::lstat(to.constData(), &info) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.constData(), to.constData()) == 0;
}

} // namespace

bool exists(const QString& path) {
    struct stat info {};
    return !path.isEmpty() && ::lstat(FileName::encode(path).constData(), &info) == 0;
}

QString errorDescription(const QString& path, int error) {
    return QStringLiteral("%1: %2").arg(path, QString::fromLocal8Bit(std::strerror(error)));
}

QString partialPathFor(const QString& path) {
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    QString suffix = QStringLiteral(".");
    for (int i = 0; i < 8; ++i)
        suffix += QLatin1Char(alphabet[QRandomGenerator::global()->bounded(36)]);
    suffix += QStringLiteral(".partial");
    QString name = PathText::lastComponent(path);
    while (!name.isEmpty() && FileName::encode(QLatin1Char('.') + name + suffix).size() > 255) {
        const bool pair =
            name.size() > 1 && name.back().isLowSurrogate() && name[name.size() - 2].isHighSurrogate();
        name.chop(pair ? 2 : 1);
    }
    return PathText::appendingComponent(PathText::deletingLastComponent(path),
                                        QLatin1Char('.') + name + suffix);
}

bool copyItem(const QString& source, const QString& destination, QString* error, const CopyControl* control) {
    if (exists(destination)) {
        if (error)
            *error = errorDescription(destination, EEXIST);
        errno = EEXIST;
        return false;
    }
    CopyState state;
    state.control = control;
    const QByteArray from = FileName::encode(source);
    const QByteArray to = FileName::encode(destination);
    QByteArray partial;
    bool created = false;
    bool copied = false;
    for (int attempt = 0; attempt < 16; ++attempt) {
        partial = FileName::encode(partialPathFor(destination));
        copied = copyTree(from, partial, state, &created);
        if (copied || created || errno != EEXIST)
            break;
    }
    if (copied && renameNoReplace(partial, to))
        return true;
    const int failure = errno;
    if (error)
        *error = errorDescription(copied ? destination : source, failure);
    // The partial copy is ours alone: its name was free when it was made.
    if (created)
        removeItem(FileName::decode(partial), nullptr);
    errno = failure;
    return false;
}

quint64 contentSize(const QString& path) {
    struct stat info {};
    const QByteArray encoded = FileName::encode(path);
    if (::lstat(encoded.constData(), &info) != 0)
        return 0;
    if (S_ISREG(info.st_mode))
        return quint64(info.st_size);
    if (!S_ISDIR(info.st_mode))
        return 0;
    quint64 total = 0;
    DIR* dir = ::opendir(encoded.constData());
    if (!dir)
        return 0;
    while (dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        total += contentSize(path + QLatin1Char('/') + FileName::decode(name));
    }
    ::closedir(dir);
    return total;
}

bool emptyOpenFolder(int fd, const QString& shownPath, QString* error) {
    const int listFd = ::dup(fd);
    DIR* dir = listFd < 0 ? nullptr : ::fdopendir(listFd);
    if (!dir) {
        if (listFd >= 0)
            ::close(listFd);
        if (error)
            *error = errorDescription(shownPath, errno);
        return false;
    }
    bool ok = true;
    while (dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        const QString itemPath = shownPath + QLatin1Char('/') + FileName::decode(name);
        struct stat info {};
        if (::fstatat(fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(info.st_mode)) {
            const int child = ::openat(fd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child < 0 || !emptyOpenFolder(child, itemPath, error)) {
                if (child < 0 && error)
                    *error = errorDescription(itemPath, errno);
                if (child >= 0)
                    ::close(child);
                ok = false;
                break;
            }
            ::close(child);
        }
        if (::unlinkat(fd, name, S_ISDIR(info.st_mode) ? AT_REMOVEDIR : 0) != 0 && errno != ENOENT) {
            if (error)
                *error = errorDescription(itemPath, errno);
            ok = false;
            break;
        }
    }
    ::closedir(dir);
    return ok;
}

bool removeItem(const QString& path, QString* error) {
    const QByteArray encoded = FileName::encode(path);
    struct stat named {};
    if (::lstat(encoded.constData(), &named) != 0) {
        if (error)
            *error = errorDescription(path, errno);
        return false;
    }
    if (S_ISDIR(named.st_mode)) {
        // Through a descriptor of the very folder that was looked at: a link or another
        // folder put in its place meanwhile is never entered.
        UniqueFd folder(::open(encoded.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        struct stat opened {};
        if (folder.fd < 0 || ::fstat(folder.fd, &opened) != 0 || opened.st_ino != named.st_ino ||
            opened.st_dev != named.st_dev) {
            if (error)
                *error = errorDescription(path, folder.fd < 0 ? errno : ESTALE);
            return false;
        }
        if (!emptyOpenFolder(folder.fd, path, error))
            return false;
    }
    if ((S_ISDIR(named.st_mode) ? ::rmdir(encoded.constData()) : ::unlink(encoded.constData())) != 0) {
        if (error)
            *error = errorDescription(path, errno);
        return false;
    }
    return true;
}

bool moveItem(const QString& source, const QString& destination, QString* error) {
    const QByteArray from = FileName::encode(source);
    const QByteArray to = FileName::encode(destination);
    if (source == destination) {
        // Renaming an item onto itself changes nothing.
        if (exists(source))
            return true;
        if (error)
            *error = errorDescription(source, ENOENT);
        return false;
    }
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    int failure = errno;
    if (failure == EINVAL && !exists(destination)) {
        // A file system without no-replace renames.
        if (::rename(from.constData(), to.constData()) == 0)
            return true;
        failure = errno;
    }
    if (failure != EXDEV) {
        if (error)
            *error = errorDescription(failure == EEXIST ? destination : source, failure);
        errno = failure;
        return false;
    }
    if (!copyItem(source, destination, error))
        return false;
    // The original goes only once its copy is proven whole, and never by a recursive delete:
    // a file an editor writes into it during the copy stays where the editor put it.
    CheckedCopy checked;
    QString why;
    if (!checked.check(from, to, &why)) {
        removeItem(destination, nullptr); // the copy this move made, nothing else
        if (error)
            *error = QStringLiteral("%1 was not moved: %2").arg(FileName::displayText(source), why);
        errno = EIO;
        return false;
    }
    if (!checked.removeOriginal(&why)) {
        if (error)
            *error = QStringLiteral("%1 (the complete copy is at %2)")
                         .arg(why, FileName::displayText(destination));
        return false;
    }
    return true;
}

bool createDirectories(const QString& path, QString* error) {
    std::error_code code;
    const std::filesystem::path target(FileName::encode(path).toStdString());
    std::filesystem::create_directories(target, code);
    if (!code && std::filesystem::is_directory(target, code))
        return true;
    if (error)
        *error = errorDescription(path, code ? code.value() : EEXIST);
    return false;
}

} // namespace FileTree
