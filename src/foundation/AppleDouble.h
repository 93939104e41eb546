#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

// On a volume that keeps no Mac metadata of its own (an exFAT or FAT editing drive, an SMB share
// without streams) a Mac writes it into an AppleDouble file "._NAME" beside the file: a header
// of entries {id, offset, length} pointing into the file, entry 9 being the 32-byte FinderInfo.
// The file comes from another machine and may be damaged or made up: nothing in it is trusted,
// and whatever does not add up is "no FinderInfo".
class AppleDouble {
public:
    // More than a Mac ever puts before the FinderInfo; the rest of a large file (a resource
    // fork) is never read.
    static constexpr qsizetype maxHeaderBytes = 64 * 1024;
    static constexpr qsizetype finderInfoSize = 32;

    // The "._NAME" beside a path; null when the path names no file.
    static QString companionPath(const QString& path);

    // The FinderInfo in the first bytes of an AppleDouble file of fileSize bytes (the bytes
    // may be fewer than the file holds).
    static std::optional<QByteArray> finderInfo(QByteArrayView header, qint64 fileSize);
    static std::optional<QByteArray> finderInfo(QByteArrayView header) {
        return finderInfo(header, header.size());
    }
    // Where the FinderInfo lies in such a header; nothing when it holds none.
    static std::optional<qsizetype> finderInfoOffset(QByteArrayView header, qint64 fileSize);

    // The FinderInfo that the companion file of a path holds. Only a regular file is read
    // (never through a link, never a pipe that would wait), and at most maxHeaderBytes of it.
    static std::optional<QByteArray> readFinderInfo(const QString& path);
};
