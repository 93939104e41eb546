#include "RealPath.h"

#include "UniqueFd.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

#ifdef __linux__
// The name /proc gives the opened file. A folder removed meanwhile reads "... (deleted)"
// there, and is looked up again to tell it from a folder of that name; without /proc there is
// no name at all.
QByteArray namedByKernel(const QByteArray& path, int* error) {
    const UniqueFd opened(::open(path.constData(), O_PATH | O_CLOEXEC));
    if (opened.fd < 0) {
        *error = errno;
        return QByteArray();
    }
    char link[32];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", opened.fd);
    char name[PATH_MAX];
    const ssize_t length = ::readlink(link, name, sizeof name);
    if (length <= 0 || length >= ssize_t(sizeof name) || name[0] != '/')
        return QByteArray();
    const QByteArray real(name, length);
    if (real.endsWith(" (deleted)")) {
        struct stat held {};
        struct stat found {};
        if (::fstat(opened.fd, &held) != 0 || ::stat(real.constData(), &found) != 0 ||
            held.st_dev != found.st_dev || held.st_ino != found.st_ino)
            return QByteArray();
    }
    return real;
}
#endif

} // namespace

QByteArray RealPath::of(const QByteArray& path, int* error) {
    int failure = 0;
    if (path.isEmpty()) {
        failure = ENOENT;
    } else {
#ifdef __linux__
        const QByteArray real = namedByKernel(path, &failure);
        if (!real.isEmpty() || failure) {
            if (error && failure)
                *error = failure;
            return real;
        }
#endif
        if (char* resolved = ::realpath(path.constData(), nullptr)) {
            const QByteArray real(resolved);
            std::free(resolved);
            return real;
        }
        failure = errno;
    }
    if (error)
        *error = failure;
    return QByteArray();
}
