#include "AppleDouble.h"

#include "FileName.h"
#include "UniqueFd.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr quint32 kMagic = 0x00051607;
constexpr quint32 kVersion2 = 0x00020000;
constexpr qsizetype kEntryCountOffset = 24; // after magic, version and 16 bytes of filler
constexpr qsizetype kEntriesOffset = 26;
constexpr qsizetype kEntrySize = 12;
constexpr quint32 kFinderInfoEntry = 9;

quint32 bigEndian32(QByteArrayView bytes, qsizetype at) {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data()) + at;
    return quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | quint32(p[3]);
}

// Whether a folder holds any "._" file at all. A scan asks for every file of a folder in turn
// and most folders hold none: one listing answers for the calls of the next moment, where a
// failed open per file would cost as much as the scan's own look at the file.
bool folderHoldsCompanions(const QByteArray& folder) {
    struct Listing {
        QByteArray folder;
        std::chrono::steady_clock::time_point at;
        bool holds = true;
    };
    thread_local Listing last;
    const auto now = std::chrono::steady_clock::now();
    if (last.folder == folder && now - last.at < std::chrono::milliseconds(100))
        return last.holds;
    bool holds = true; // a folder that cannot be listed: the file itself is tried
    if (DIR* dir = ::opendir(folder.isEmpty() ? "." : folder.constData())) {
        holds = false;
        while (const dirent* entry = ::readdir(dir)) {
            if (entry->d_name[0] == '.' && entry->d_name[1] == '_') {
                holds = true;
                break;
            }
        }
        ::closedir(dir);
    }
    last = Listing{folder, now, holds};
    return holds;
}

} // namespace

QString AppleDouble::companionPath(const QString& path) {
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QString name = path.mid(slash + 1);
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return QString();
    return path.left(slash + 1) + QStringLiteral("._") + name;
}

std::optional<QByteArray> AppleDouble::finderInfo(QByteArrayView header, qint64 fileSize) {
    const std::optional<qsizetype> offset = finderInfoOffset(header, fileSize);
    if (!offset)
        return std::nullopt;
    return header.sliced(*offset, finderInfoSize).toByteArray();
}

std::optional<qsizetype> AppleDouble::finderInfoOffset(QByteArrayView header, qint64 fileSize) {
    if (header.size() < kEntriesOffset || fileSize < header.size() || bigEndian32(header, 0) != kMagic ||
        bigEndian32(header, 4) != kVersion2)
        return std::nullopt;
    const auto* countBytes = reinterpret_cast<const unsigned char*>(header.data()) + kEntryCountOffset;
    const qsizetype count = qsizetype(countBytes[0]) << 8 | countBytes[1];
    const qint64 entriesEnd = kEntriesOffset + qint64(count) * kEntrySize;
    if (entriesEnd > header.size())
        return std::nullopt;
    for (qsizetype entry = kEntriesOffset; entry < entriesEnd; entry += kEntrySize) {
        if (bigEndian32(header, entry) != kFinderInfoEntry)
            continue;
        const qint64 offset = bigEndian32(header, entry + 4);
        const qint64 length = bigEndian32(header, entry + 8);
        // An entry inside the header, shorter than a FinderInfo or running past the end of
        // the file does not describe this file.
        if (offset < entriesEnd || length < finderInfoSize || offset + length > fileSize ||
            offset + finderInfoSize > header.size())
            return std::nullopt;
        return qsizetype(offset);
    }
    return std::nullopt;
}

std::optional<QByteArray> AppleDouble::readFinderInfo(const QString& path) {
    const QString companion = companionPath(path);
    if (companion.isEmpty())
        return std::nullopt;
    const QByteArray encoded = FileName::encode(companion);
    if (!folderHoldsCompanions(encoded.left(encoded.lastIndexOf('/') + 1)))
        return std::nullopt;
    const UniqueFd file(
        ::open(encoded.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (file.fd < 0)
        return std::nullopt;
    struct stat info {};
    if (::fstat(file.fd, &info) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    QByteArray header(qsizetype(std::min<qint64>(info.st_size, maxHeaderBytes)), Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < header.size()) {
        const ssize_t n = ::pread(file.fd, header.data() + filled, size_t(header.size() - filled), filled);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        filled += n;
    }
    header.truncate(filled);
    return finderInfo(header, qMax<qint64>(info.st_size, filled));
}
