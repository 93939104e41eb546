#include "Gzip.h"

#include <zlib.h>

QByteArray gzipCompressed(const QByteArray& bytes) {
    z_stream stream{};
    // 16 + MAX_WBITS: a gzip header and trailer around the deflate data.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) !=
        Z_OK)
        return {};
    QByteArray out(qsizetype(deflateBound(&stream, uLong(bytes.size()))) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.constData()));
    stream.avail_in = uInt(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    const int status = deflate(&stream, Z_FINISH);
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return status == Z_STREAM_END ? out : QByteArray();
}
