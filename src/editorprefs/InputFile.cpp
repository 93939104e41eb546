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

namespace {

// Inflates gzip data handed over in pieces, never past the limit.
class Inflater {
public:
    // With a sink the inflated data goes there rather than being kept, until it says stop.
    explicit Inflater(qint64 limit, std::function<bool(QByteArrayView)> sink = {})
        : m_limit(limit), m_sink(std::move(sink)) {
        // 16 + MAX_WBITS: the gzip wrapper only, so that its checksum is checked too.
        if (inflateInit2(&m_stream, 16 + MAX_WBITS) != Z_OK)
            m_error = QStringLiteral("the decompressor could not be started");
        else
            m_started = true;
    }
    ~Inflater() {
        if (m_started)
            inflateEnd(&m_stream);
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    // False once there is nothing more to take: the data ended, is damaged or is too large.
    bool feed(QByteArrayView piece) {
        if (!m_error.isEmpty() || m_ended)
            return false;
        // gunzip hands over one whole buffer, which can be more than inflate takes at once.
        while (!piece.isEmpty()) {
            const qsizetype slice = std::min<qsizetype>(piece.size(), std::numeric_limits<uInt>::max());
            if (!inflateSlice(piece.first(slice)))
                return false;
            piece = piece.sliced(slice);
        }
        return true;
    }
    // The inflated data once the whole stream was seen; the reason otherwise.
    std::optional<QByteArray> finish(QString* error) {
        if (m_stopped)
            return QByteArray();
        if (m_error.isEmpty() && !m_ended)
            m_error = QStringLiteral("it is truncated");
        if (!m_error.isEmpty()) {
            setError(error, m_error);
            return std::nullopt;
        }
        return std::move(m_out);
    }

private:
    bool inflateSlice(QByteArrayView slice) {
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(slice.data()));
        m_stream.avail_in = uInt(slice.size());
        while (m_stream.avail_in > 0 || m_stream.avail_out == 0) {
            m_stream.next_out = reinterpret_cast<Bytef*>(m_buffer.data());
            m_stream.avail_out = uInt(m_buffer.size());
            const int status = inflate(&m_stream, Z_NO_FLUSH);
            if (status == Z_DATA_ERROR || status == Z_NEED_DICT) {
                m_error = QStringLiteral("it is damaged (%1)")
                              .arg(QString::fromLatin1(m_stream.msg ? m_stream.msg : "bad data"));
                return false;
            }
            if (status == Z_MEM_ERROR) {
                m_error = QString::fromLocal8Bit(std::strerror(ENOMEM));
                return false;
            }
            const qsizetype produced = qsizetype(m_buffer.size() - m_stream.avail_out);
            if (m_produced + produced > m_limit) {
                m_error = QStringLiteral("it inflates to more than %1 bytes").arg(m_limit);
                return false;
            }
            m_produced += produced;
            if (!m_sink) {
                m_out.append(m_buffer.data(), produced);
            } else if (!m_sink(QByteArrayView(m_buffer.data(), produced))) {
                m_stopped = true;
                return false;
            }
            if (status == Z_STREAM_END) {
                // Whatever follows the first member is ignored, as gzip itself does.
                m_ended = true;
                return false;
            }
            // Z_BUF_ERROR: this slice is used up and more input is needed.
            if (status == Z_BUF_ERROR)
                break;
        }
        return true;
    }

    z_stream m_stream{};
    qint64 m_limit;
    std::function<bool(QByteArrayView)> m_sink;
    qint64 m_produced = 0;
    bool m_started = false;
    bool m_ended = false;
    bool m_stopped = false;
    QString m_error;
    QByteArray m_out;
    std::vector<char> m_buffer = std::vector<char>(64 * 1024);
};

} // namespace

std::optional<QByteArray> InputFile::gunzip(QByteArrayView data, qint64 limit, QString* error) {
    Inflater inflater(limit);
    inflater.feed(data);
    QString reason;
    std::optional<QByteArray> inflated = inflater.finish(&reason);
    if (!inflated)
        setError(error, QStringLiteral("The compressed data cannot be read: %1.").arg(reason));
    return inflated;
}

std::optional<QByteArray> InputFile::readMaybeCompressed(const QString& path, qint64 limit, QString* error) {
    // The first piece tells which it is; compressed data is inflated as it is read, so the
    // compressed bytes are never held beside the inflated ones.
    QByteArray plain;
    std::optional<Inflater> inflater;
    bool tooLarge = false;
    qint64 total = 0;
    const bool ok = readPieces(
        path, limit + 1,
        [&](QByteArrayView piece) {
            total += piece.size();
            if (!inflater && plain.isEmpty() && isGzip(piece))
                inflater.emplace(limit);
            if (inflater)
                return inflater->feed(piece);
            if (plain.size() + piece.size() > limit) {
                tooLarge = true;
                return false;
            }
            plain.append(piece);
            return true;
        },
        error);
    if (!ok)
        return std::nullopt;
    if (inflater) {
        QString reason;
        std::optional<QByteArray> inflated = inflater->finish(&reason);
        if (inflated)
            return inflated;
        // A compressed file longer than the limit was not read to its end.
        if (total <= limit) {
            setError(error, QStringLiteral("The compressed file %1 cannot be read: %2.").arg(path, reason));
            return std::nullopt;
        }
        tooLarge = true;
    }
    if (tooLarge) {
        setError(error, QStringLiteral("The file %1 is larger than %2 bytes.").arg(path).arg(limit));
        return std::nullopt;
    }
    return plain;
}

bool InputFile::readPiecesMaybeCompressed(const QString& path, qint64 limit,
                                          const std::function<bool(QByteArrayView)>& receive,
                                          QString* error) {
    std::optional<Inflater> inflater;
    bool first = true;
    const bool ok = readPieces(
        path, limit,
        [&](QByteArrayView piece) {
            if (first && isGzip(piece))
                inflater.emplace(limit, receive);
            first = false;
            return inflater ? inflater->feed(piece) : receive(piece);
        },
        error);
    if (!ok || !inflater)
        return ok;
    QString reason;
    if (!inflater->finish(&reason)) {
        setError(error, QStringLiteral("The compressed file %1 cannot be read: %2.").arg(path, reason));
        return false;
    }
    return true;
}
