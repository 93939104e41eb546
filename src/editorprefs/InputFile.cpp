#include "InputFile.h"

#include "foundation/FileName.h"
#include "foundation/UniqueFd.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace {

void setError(QString* error, const QString& text) {
    if (error)
        *error = text;
}

QString errnoText() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

bool InputFile::readPieces(const QString& path, qint64 limit,
                           const std::function<bool(QByteArrayView)>& receive, QString* error) {
    if (path.isEmpty()) {
        setError(error, QStringLiteral("No file name was given."));
        return false;
    }
    // Non-blocking, so that opening a named pipe that nobody writes returns at once.
    UniqueFd fd(::open(FileName::encode(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (fd.fd < 0) {
        setError(error, QStringLiteral("The file %1 could not be opened: %2").arg(path, errnoText()));
        return false;
    }
    struct stat info {};
    if (::fstat(fd.fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        setError(error, QStringLiteral("%1 is not a regular file.").arg(path));
        return false;
    }
    std::vector<char> buffer(static_cast<size_t>(pieceSize));
    qint64 total = 0;
    while (total < limit) {
        const size_t wanted = size_t(std::min<qint64>(pieceSize, limit - total));
        const ssize_t n = ::read(fd.fd, buffer.data(), wanted);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            setError(error, QStringLiteral("The file %1 could not be read: %2").arg(path, errnoText()));
            return false;
        }
        if (n == 0)
            break;
        total += n;
        if (!receive(QByteArrayView(buffer.data(), n)))
            break;
    }
    return true;
}

std::optional<QByteArray> InputFile::readAll(const QString& path, qint64 limit, QString* error) {
    QByteArray bytes;
    bool tooLarge = false;
    const bool ok = readPieces(
        path, limit + 1,
        [&](QByteArrayView piece) {
            if (bytes.size() + piece.size() > limit) {
                tooLarge = true;
                return false;
            }
            bytes.append(piece);
            return true;
        },
        error);
    if (!ok)
        return std::nullopt;
    if (tooLarge) {
        setError(error, QStringLiteral("The file %1 is larger than %2 bytes.").arg(path).arg(limit));
        return std::nullopt;
    }
    return bytes;
}

bool InputFile::isGzip(QByteArrayView data) {
    return data.size() >= 2 && static_cast<unsigned char>(data[0]) == 0x1f &&
           static_cast<unsigned char>(data[1]) == 0x8b;
}

std::optional<QByteArray> InputFile::gunzip(QByteArrayView data, qint64 limit, QString* error) {
    z_stream stream{};
    // 16 + MAX_WBITS: gzip wrapper only.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) {
        setError(error, QStringLiteral("The decompressor could not be started."));
        return std::nullopt;
    }
    QByteArray out;
    std::vector<char> buffer(64 * 1024);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = uInt(std::min<qsizetype>(data.size(), std::numeric_limits<uInt>::max()));
    int status = Z_OK;
    while (status != Z_STREAM_END) {
        stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
        stream.avail_out = uInt(buffer.size());
        status = inflate(&stream, Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END) {
            inflateEnd(&stream);
            setError(error, QStringLiteral("The compressed data is damaged."));
            return std::nullopt;
        }
        const qsizetype produced = qsizetype(buffer.size() - stream.avail_out);
        if (out.size() + produced > limit) {
            inflateEnd(&stream);
            setError(error, QStringLiteral("The compressed data inflates to more than %1 bytes.").arg(limit));
            return std::nullopt;
        }
        out.append(buffer.data(), produced);
        if (status == Z_OK && produced == 0 && stream.avail_in == 0) {
            inflateEnd(&stream);
            setError(error, QStringLiteral("The compressed data is truncated."));
            return std::nullopt;
        }
    }
    inflateEnd(&stream);
    return out;
}

std::optional<QByteArray> InputFile::readMaybeCompressed(const QString& path, qint64 limit, QString* error) {
    std::optional<QByteArray> bytes = readAll(path, limit, error);
    if (!bytes || !isGzip(*bytes))
        return bytes;
    return gunzip(*bytes, limit, error);
}
