// Zip archives: ditto where the system has it, otherwise libarchive writing the same
// layout ("ditto -c -k", with or without "--keepParent") and extracting the way "ditto -x
// -k" does, except that nothing is ever written outside the destination folder.
#include "BMDigest.h"
#include "BMFileManager.h"
#include "BMLocalPaths.h"
#include "BMLog.h"
#include "BMTaskEx.h"
#include "FileTree.h"
#include "PathText.h"
#include "foundation/FileName.h"
#include "platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

Platform& platform() {
    return Platform::current();
}

struct ArchiveDeleter {
    void operator()(archive* a) const { archive_free(a); }
};
using ArchivePtr = std::unique_ptr<archive, ArchiveDeleter>;

struct EntryDeleter {
    void operator()(archive_entry* e) const { archive_entry_free(e); }
};
using EntryPtr = std::unique_ptr<archive_entry, EntryDeleter>;

QString archiveError(archive* a) {
    const char* text = archive_error_string(a);
    QString error = text ? QString::fromUtf8(text) : QStringLiteral("unknown error");
    // libarchive says "Write error"; the system's reason is what a person can act on.
    const int code = archive_errno(a);
    // A file that is no zip comes with EILSEQ, whose text ("Invalid or incomplete multibyte
    // or wide character") says nothing about it.
    if (code > 0 && code != EILSEQ) {
        const QString reason = QString::fromLocal8Bit(std::strerror(code));
        if (!error.contains(reason))
            error += QStringLiteral(": ") + reason;
    }
    return error;
}

bool renameIntoPlace(const QString& from, const QString& to) {
    return ::renameat2(AT_FDCWD, FileName::encode(from).constData(), AT_FDCWD,
                       FileName::encode(to).constData(), RENAME_NOREPLACE) == 0;
}

// ---- Writing ------------------------------------------------------------------------------

class ZipWriter {
public:
    ZipWriter(const QString& file, const std::atomic<bool>* cancelled)
        : m_archive(archive_write_new()), m_cancelled(cancelled) {
        archive_write_set_format_zip(m_archive.get());
        archive_write_zip_set_compression_deflate(m_archive.get());
        m_open =
            archive_write_open_filename(m_archive.get(), FileName::encode(file).constData()) == ARCHIVE_OK;
    }

    bool isOpen() const { return m_open; }
    QString error() const { return m_error.isEmpty() ? archiveError(m_archive.get()) : m_error; }

    // The item under the name it has in the archive, folders with everything inside.
    bool add(const QString& path, const QString& name) {
        if (stopped())
            return false;
        struct stat info {};
        const QByteArray encoded = FileName::encode(path);
        if (::lstat(encoded.constData(), &info) != 0) {
            m_error = FileTree::errorDescription(path, errno);
            return false;
        }
        EntryPtr entry(archive_entry_new());
        archive_entry_copy_stat(entry.get(), &info);
        archive_entry_set_pathname_utf8(entry.get(), name.toUtf8().constData());
        if (S_ISLNK(info.st_mode)) {
            const QString target = readLink(encoded);
            archive_entry_set_size(entry.get(), 0);
            archive_entry_set_symlink_utf8(entry.get(), target.toUtf8().constData());
            return writeHeader(entry.get());
        }
        if (S_ISDIR(info.st_mode)) {
            archive_entry_set_size(entry.get(), 0);
            if (!writeHeader(entry.get()))
                return false;
            for (const QString& child : BMFileManager::contentsOfDirectory(path)) {
                if (!add(PathText::appendingComponent(path, child), name + QLatin1Char('/') + child))
                    return false;
            }
            return true;
        }
        if (!S_ISREG(info.st_mode))
            return true; // pipes, sockets and devices have no contents to keep
        const int fd = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            m_error = FileTree::errorDescription(path, errno);
            return false;
        }
        bool ok = writeHeader(entry.get());
        std::vector<char> buffer(1 << 16);
        while (ok && !stopped()) {
            const ssize_t n = ::read(fd, buffer.data(), buffer.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0) {
                m_error = FileTree::errorDescription(path, errno);
                ok = false;
            }
            if (n <= 0)
                break;
            ok = archive_write_data(m_archive.get(), buffer.data(), size_t(n)) == n;
        }
        ::close(fd);
        return ok && !stopped();
    }

    bool close() { return archive_write_close(m_archive.get()) == ARCHIVE_OK; }

private:
    static QString readLink(const QByteArray& path) {
        std::vector<char> target(4096);
        const ssize_t n = ::readlink(path.constData(), target.data(), target.size());
        return n < 0 ? QString() : FileName::decode(QByteArray(target.data(), qsizetype(n)));
    }

    bool writeHeader(archive_entry* entry) {
        return archive_write_header(m_archive.get(), entry) == ARCHIVE_OK;
    }

    bool stopped() {
        if (!m_cancelled || !m_cancelled->load())
            return false;
        m_error = QStringLiteral("Cancelled");
        return true;
    }

    ArchivePtr m_archive;
    const std::atomic<bool>* m_cancelled = nullptr;
    bool m_open = false;
    QString m_error;
};

bool writeZip(const QString& source, const QString& destination, bool includeParent, QString* error,
              const std::atomic<bool>* cancelled) {
    // A name beside the final one, so that a half-written result never carries that name.
    const QString partial = FileTree::partialPathFor(destination);
    bool ok = false;
    {
        ZipWriter writer(partial, cancelled);
        if (!writer.isOpen()) {
            *error = writer.error();
            return false;
        }
        const QString name = PathText::lastComponent(source);
        if (BMFileManager::isDirectoryAtPath(source) && !BMFileManager::isSymbolicLinkAtPath(source) &&
            !includeParent) {
            // The folder's contents at the top of the archive, as "ditto -c -k" writes them.
            ok = true;
            for (const QString& child : BMFileManager::contentsOfDirectory(source)) {
                if (!writer.add(PathText::appendingComponent(source, child), child)) {
                    ok = false;
                    break;
                }
            }
        } else {
            ok = writer.add(source, name);
        }
        if (ok && !writer.close())
            ok = false;
        if (!ok)
            *error = writer.error();
    }
    if (ok && !renameIntoPlace(partial, destination)) {
        *error = FileTree::errorDescription(destination, errno);
        ok = false;
    }
    if (!ok)
        QFile::remove(partial);
    return ok;
}

// ---- Reading ------------------------------------------------------------------------------

// Null, with the cause, when the file cannot be opened: then libarchive's own text would be
// about its state, not the file. A named pipe or a device is refused before it is opened, as
// opening it could wait for good.
ArchivePtr openZip(const QString& file, QString* error) {
    const QByteArray path = FileName::encode(file);
    struct stat status {};
    if (::stat(path.constData(), &status) != 0) {
        *error = QString::fromLocal8Bit(std::strerror(errno));
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        *error = S_ISDIR(status.st_mode) ? QString::fromLocal8Bit(std::strerror(EISDIR))
                                         : QStringLiteral("not a regular file");
        return nullptr;
    }
    ArchivePtr reader(archive_read_new());
    archive_read_support_format_zip(reader.get());
    if (archive_read_open_filename(reader.get(), path.constData(), 1 << 16) != ARCHIVE_OK) {
        *error = archiveError(reader.get());
        return nullptr;
    }
    return reader;
}

// The resource forks and Finder data that a Mac keeps beside the files in a zip archive;
// "ditto -x" turns them back into metadata, which this system has nowhere to put.
bool isMacMetadata(const QString& name) {
    return name == QLatin1String("__MACOSX") || name.startsWith(QLatin1String("__MACOSX/"));
}

// A name that stays inside the folder it is extracted into: relative, without "..".
bool isContainedName(const QString& name) {
    if (name.isEmpty() || name.startsWith(QLatin1Char('/')))
        return false;
    const QStringList parts = name.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    return !parts.isEmpty() && !parts.contains(QStringLiteral(".."));
}

// A link whose target, read from the link's own folder, stays inside.
bool isContainedLink(const QString& name, const QString& target) {
    if (target.isEmpty() || target.startsWith(QLatin1Char('/')))
        return false;
    const qsizetype slash = name.lastIndexOf(QLatin1Char('/'));
    const QString folder = slash < 0 ? QString() : name.left(slash + 1);
    const QString resolved = QDir::cleanPath(folder + target);
    return resolved != QLatin1String("..") && !resolved.startsWith(QLatin1String("../")) &&
           !resolved.startsWith(QLatin1Char('/'));
}

QString entryName(archive_entry* entry) {
    const char* utf8 = archive_entry_pathname_utf8(entry);
    return utf8 ? QString::fromUtf8(utf8) : QString::fromLocal8Bit(archive_entry_pathname(entry));
}

bool refuseEntry(const QString& name, QString* error) {
    *error = QStringLiteral("the entry \"%1\" would be written outside the destination folder").arg(name);
    return false;
}

// The entries of a zip one by one, past the Mac metadata.
struct EntryReader {
    explicit EntryReader(const QString& file) : reader(openZip(file, &openError)) {}
    bool next() {
        if (!reader)
            return false;
        while ((status = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK ||
               status == ARCHIVE_WARN) {
            name = entryName(entry);
            if (!isMacMetadata(name))
                return true;
        }
        return false;
    }
    // After the last entry: whether the archive ended cleanly, with libarchive's text if not.
    bool endedCleanly(QString* error) const {
        if (!reader) {
            *error = openError;
            return false;
        }
        if (status == ARCHIVE_EOF)
            return true;
        *error = archiveError(reader.get());
        return false;
    }

    QString openError;
    ArchivePtr reader;
    archive_entry* entry = nullptr;
    QString name;
    int status = ARCHIVE_OK;
};

// Every entry of the archive checked before anything is written; the first one that would
// land outside the destination refuses the whole archive.
bool checkEntries(const QString& file, QString* error) {
    EntryReader entries(file);
    while (entries.next()) {
        bool safe = isContainedName(entries.name);
        if (const char* link = archive_entry_symlink_utf8(entries.entry); safe && link)
            safe = isContainedLink(entries.name, QString::fromUtf8(link));
        if (!safe)
            return refuseEntry(entries.name, error);
    }
    return entries.endedCleanly(error);
}

bool extractZip(const QString& file, const QString& folder, QString* error) {
    EntryReader entries(file);
    ArchivePtr writer(archive_write_disk_new());
    archive_write_disk_set_options(writer.get(), ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_PERM |
                                                     ARCHIVE_EXTRACT_SECURE_NODOTDOT |
                                                     ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_XATTR);
    // The folder's own path has no links in it, so that the link check applies to what the
    // archive brings only.
    const QString base = QFileInfo(folder).canonicalFilePath();
    while (entries.next()) {
        archive_entry* entry = entries.entry;
        if (!isContainedName(entries.name))
            return refuseEntry(entries.name, error);
        archive_entry_set_pathname_utf8(entry, (base + QLatin1Char('/') + entries.name).toUtf8().constData());
        // No set-user-id and the like from somebody else's archive.
        archive_entry_set_perm(entry, archive_entry_perm(entry) & 0777);
        if (archive_write_header(writer.get(), entry) < ARCHIVE_WARN) {
            *error = archiveError(writer.get());
            return false;
        }
        const void* block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        int data = ARCHIVE_OK;
        while ((data = archive_read_data_block(entries.reader.get(), &block, &size, &offset)) == ARCHIVE_OK) {
            if (archive_write_data_block(writer.get(), block, size, offset) < ARCHIVE_WARN) {
                *error = archiveError(writer.get());
                return false;
            }
        }
        if (data != ARCHIVE_EOF) {
            *error = archiveError(entries.reader.get());
            return false;
        }
        if (archive_write_finish_entry(writer.get()) < ARCHIVE_WARN) {
            *error = archiveError(writer.get());
            return false;
        }
    }
    return entries.endedCleanly(error) && archive_write_close(writer.get()) == ARCHIVE_OK;
}

bool extractSafely(const QString& file, const QString& destination, QString* error) {
    // A name beside the final one, so that a half-written result never carries that name.
    const QString partial = FileTree::partialPathFor(destination);
    if (!QDir().mkdir(partial)) {
        *error = FileTree::errorDescription(partial, errno);
        return false;
    }
    bool ok = extractZip(file, partial, error);
    if (ok && !renameIntoPlace(partial, destination)) {
        *error = FileTree::errorDescription(destination, errno);
        ok = false;
    }
    if (!ok)
        FileTree::removeItem(partial, nullptr);
    return ok;
}

} // namespace

bool BMFileManager::compressFile(const QString& source, const QString& destinationFile) {
    return compressFile(source, destinationFile, true);
}

bool BMFileManager::compressFile(const QString& source, const QString& destinationFile, bool includeParent,
                                 QString* failure, const std::atomic<bool>* cancelled) {
    auto fail = [&](const QString& cause) {
        BMLog::appendLog(QStringLiteral("Unable to compress %1: %2").arg(source, cause));
        if (failure)
            *failure = cause;
    };
    if (fileExistsAtPath(destinationFile)) {
        trashFile(destinationFile);
        if (FileTree::exists(destinationFile)) {
            // The old archive stays rather than being overwritten without a way back.
            fail(QStringLiteral("%1 could not be moved to the Trash").arg(destinationFile));
            return false;
        }
    }
    const QString ditto = platform().toolPath(Tool::Ditto);
    if (BMTaskEx::isExecutable(ditto)) {
        QStringList arguments{QStringLiteral("-ck")};
        if (includeParent)
            arguments << QStringLiteral("--keepParent");
        arguments << source << destinationFile;
        BMTaskEx::runTask(ditto, arguments);
    } else if (!fileExistsAtPath(source)) {
        fail(FileTree::errorDescription(source, ENOENT));
    } else if (QString error; !writeZip(source, destinationFile, includeParent, &error, cancelled)) {
        if (cancelled && cancelled->load()) {
            BMLog::appendLog(QStringLiteral("Compressing %1 was cancelled").arg(source));
            if (failure)
                *failure = error;
            return false;
        }
        fail(error.contains(destinationFile) || error.contains(source)
                 ? error
                 : QStringLiteral("%1: %2").arg(destinationFile, error));
    }
    return fileExistsAtPath(destinationFile);
}

std::optional<QMap<QString, qint64>> BMFileManager::zipContents(const QString& archive, QString* error) {
    QMap<QString, qint64> contents;
    EntryReader entries(archive);
    std::vector<char> buffer(1 << 16);
    while (entries.next()) {
        QString name = entries.name;
        if (archive_entry_filetype(entries.entry) == AE_IFDIR && !name.endsWith(QLatin1Char('/')))
            name += QLatin1Char('/');
        qint64 bytes = 0;
        la_ssize_t n = 0;
        while ((n = archive_read_data(entries.reader.get(), buffer.data(), buffer.size())) > 0)
            bytes += n;
        if (n < 0) {
            if (error)
                *error = QStringLiteral("%1: %2").arg(name, archiveError(entries.reader.get()));
            return std::nullopt;
        }
        contents.insert(name, bytes);
    }
    QString ending;
    if (!entries.endedCleanly(&ending)) {
        if (error)
            *error = ending;
        return std::nullopt;
    }
    return contents;
}

std::optional<QMap<QString, BMFileManager::ZipEntry>>
BMFileManager::zipEntries(const QString& archive, const QString& keepName, QByteArray* kept, QString* error) {
    QMap<QString, ZipEntry> contents;
    EntryReader entries(archive);
    std::vector<char> buffer(1 << 16);
    while (entries.next()) {
        QString name = entries.name;
        ZipEntry entry;
        entry.isFile = archive_entry_filetype(entries.entry) == AE_IFREG;
        if (archive_entry_filetype(entries.entry) == AE_IFDIR && !name.endsWith(QLatin1Char('/')))
            name += QLatin1Char('/');
        const bool keep = kept && name == keepName;
        BMDigestContext digest(BMDigestContext::Algorithm::SHA256);
        la_ssize_t n = 0;
        while ((n = archive_read_data(entries.reader.get(), buffer.data(), buffer.size())) > 0) {
            entry.size += n;
            digest.update(buffer.data(), size_t(n));
            if (keep)
                kept->append(buffer.data(), qsizetype(n));
        }
        if (n < 0) {
            if (error)
                *error = QStringLiteral("%1: %2").arg(name, archiveError(entries.reader.get()));
            return std::nullopt;
        }
        if (entry.isFile)
            entry.sha256 = digest.hexDigest();
        contents.insert(name, entry);
    }
    QString ending;
    if (!entries.endedCleanly(&ending)) {
        if (error)
            *error = ending;
        return std::nullopt;
    }
    return contents;
}

bool BMFileManager::decompressFile(const QString& archive, const QString& destinationFolder) {
    const QString ditto = platform().toolPath(Tool::Ditto);
    const bool useDitto = BMTaskEx::isExecutable(ditto);
    QString error;
    if (!useDitto && !checkEntries(archive, &error)) {
        BMLog::appendLog(QStringLiteral("Unable to extract %1: %2").arg(archive, error));
        return false;
    }
    if (fileExistsAtPath(destinationFolder) &&
        !platform().moveToTrash(destinationFolder, BMLocalPaths::trashDirectory(), &error)) {
        BMLog::appendLog(
            QStringLiteral("Unable to extract %1: %2 is in the way and could not be moved to the Trash: %3")
                .arg(archive, destinationFolder, error));
        return false;
    }
    if (useDitto)
        BMTaskEx::runTask(ditto, {QStringLiteral("-xk"), archive, destinationFolder});
    else if (!extractSafely(archive, destinationFolder, &error))
        BMLog::appendLog(QStringLiteral("Unable to extract %1: %2").arg(archive, error));
    return fileExistsAtPath(destinationFolder);
}
