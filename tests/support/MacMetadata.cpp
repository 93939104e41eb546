#include "MacMetadata.h"

#include <QFile>
#include <QtEndian>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

template <typename T>
void bigEndian(QByteArray& out, T value) {
    char bytes[sizeof(T)];
    qToBigEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

template <typename T>
void littleEndian(QByteArray& out, T value) {
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

void alignTo(QByteArray& out, int boundary) {
    while (out.size() % boundary)
        out.append('\0');
}

} // namespace

QByteArray finderInfoOfType(const char type[4]) {
    return QByteArray(type, 4) + "KeyG" + QByteArray(24, 0);
}

QByteArray appleDoubleFile(const QByteArray& finderInfo) {
    constexpr quint32 fileSize = 4096, forkSize = 286, infoOffset = 50;
    QByteArray out;
    bigEndian<quint32>(out, 0x00051607);
    bigEndian<quint32>(out, 0x00020000);
    out.append("Mac OS X        ", 16);
    bigEndian<quint16>(out, 2);
    for (quint32 value :
         {9u, infoOffset, fileSize - forkSize - infoOffset, 2u, fileSize - forkSize, forkSize})
        bigEndian<quint32>(out, value);
    out += finderInfo + QByteArray(2, 0) + "ATTR";
    return out.leftJustified(fileSize, '\0');
}

QByteArray netatalkMetadata(const QByteArray& finderInfo, const QByteArray& comment) {
    QByteArray out;
    bigEndian<quint32>(out, 0x00051607);
    bigEndian<quint32>(out, 0x00020000);
    out.append(QByteArray(16, 0));
    bigEndian<quint16>(out, 8);
    // {id, length}; each entry follows the one before it.
    const quint32 entries[8][2] = {{9, 32},         {4, 200},        {8, 16},         {14, 4},
                                   {0x80444556, 8}, {0x80494E4F, 8}, {0x80535954, 4}, {0x8053567E, 4}};
    quint32 offset = 26 + 8 * 12;
    for (const auto& [id, length] : entries) {
        for (quint32 value : {id, offset, length})
            bigEndian<quint32>(out, value);
        offset += length;
    }
    out += finderInfo.leftJustified(32, '\0', true) + comment.leftJustified(200, '\0', true);
    return out.leftJustified(402, '\0');
}

QByteArray dosAttribRecord(int version, const QDateTime& created, bool createTimeValid, const char* hexText) {
    const quint64 ticks = quint64(created.toMSecsSinceEpoch() + 11644473600000LL) * 10000;
    const quint32 archive = 0x20;
    QByteArray out = version == 3 ? QByteArray(hexText) : QByteArray();
    out.append('\0');
    alignTo(out, 2);
    littleEndian<quint16>(out, quint16(version));
    littleEndian<quint16>(out, quint16(version)); // the union's switch
    alignTo(out, 4);
    littleEndian<quint32>(out, 0x1 | (createTimeValid ? 0x10 : 0)); // attributes, create time
    littleEndian<quint32>(out, archive);
    if (version == 3) {
        littleEndian<quint32>(out, 0);         // EA size
        littleEndian<quint64>(out, 4096);      // size
        littleEndian<quint64>(out, 8192);      // allocation size
        littleEndian<quint64>(out, ticks);     // create time
        littleEndian<quint64>(out, ticks + 1); // change time
    } else {
        if (version == 4)
            littleEndian<quint64>(out, ticks + 7); // instantiation time
        littleEndian<quint64>(out, ticks);
    }
    return out;
}

bool setDosAttrib(const QString& path, const QByteArray& record) {
    return ::setxattr(QFile::encodeName(path).constData(), "user.DOSATTRIB", record.constData(),
                      size_t(record.size()), 0) == 0;
}

bool keepOriginalModificationTime(const QString& path, const QDateTime& modified) {
    const qint64 ms = modified.toMSecsSinceEpoch();
    const struct timespec times[2] = {{ms / 1000, (ms % 1000) * 1000000}, {ms / 1000, (ms % 1000) * 1000000}};
    return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0;
}
