#pragma once

#include "BMDigest.h"

#include <QDateTime>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

class BMFileOperation;

// A Finder label colour in hue, saturation and brightness (calibrated, 0 to 1).
struct BMLabelColor {
    QString name;
    double hue = 0;
    double saturation = 0;
    double brightness = 0;
    double alpha = 1.0;
    bool operator==(const BMLabelColor&) const = default;
};

// What a verified copy tells its caller. Every member is optional: an empty one is a
// question the delegate does not answer, and the copy then does not ask it. The settings
// passed along are the copy's own dictionary ("source", "destinations", "operationtype",
// "delegate", "object", "object2", and the checksums once known).
struct BMFileCopyDelegate {
    // Bytes written so far, after every 41,943,040 bytes and once at the end.
    std::function<void(quint64 bytesWritten, QVariantMap& settings)> fileCopyBytesWritten;
    // Asked right after each intermediate report; false stops the copy.
    std::function<bool(QVariantMap& settings)> fileCopyShouldContinue;
    // A destination whose digest differs from the source's ("destChecksum" holds it).
    std::function<void(QVariantMap& settings, const QString& file)> fileCopyVerificationFailed;
    std::function<void(QVariantMap& settings)> fileCopyFinished;

    // The background copy service: status reports with "stage" (2 running, 3 complete)
    // merged into the settings, delivered on the main thread. The forms with the
    // operation are preferred when both are given.
    std::function<void(const QVariantMap& status, BMFileOperation& operation)>
        fileOperationProgressWithOperation;
    std::function<void(const QVariantMap& status)> fileOperationProgress;
    std::function<void(const QVariantMap& status, BMFileOperation& operation)>
        fileOperationFinishedWithOperation;
    std::function<void(const QVariantMap& status)> fileOperationFinished;
};

// The program's single entry point for looking at and changing the file system. Every
// operation is class-level and keeps no state, so any thread may call it.
//
// Each mutating family comes in three forms: the plain form, which retries with
// administrator rights (BMAuthorization) when the user's own attempt fails; the form with
// shouldAuth, which retries only when asked to; and the ...WithTimeout form, which runs the
// plain form and then waits up to that many whole seconds until the file system shows the
// result (pumping events on the main thread, sleeping 0.3 s elsewhere).
//
// Destructive operations refuse the protected folders (BMLocalPaths's guard, exact match).
class BMFileManager {
public:
    // ---- Directory listing --------------------------------------------------------------
    // The names in a folder (hidden ones included, "." and ".." not), in code-point order so
    // that every file system lists the same way. Null optional-like: ok is false when the
    // folder cannot be read. With symbolicLinks, the links among them go there instead
    // (told by the listing itself where the file system says, else by one lstat).
    static QStringList contentsOfDirectory(const QString& path, bool* ok = nullptr, QString* error = nullptr,
                                           QStringList* symbolicLinks = nullptr);
    static bool fileExistsAtPath(const QString& path);
    static bool isDirectoryAtPath(const QString& path);

    // ---- Path patterns and names --------------------------------------------------------
    // The first match of the pattern, or base + pattern when nothing matches.
    static QString decodeWildcardPath(const QString& pattern, const QString& basePath);
    static QStringList filesMatchingWildcardPath(const QString& pattern);
    static QStringList filesMatchingWildcardPath(const QString& pattern, const QString& basePath);
    // searchSubdirs is accepted and, by design, not used.
    static QStringList filesMatchingWildcardPath(const QString& pattern, const QString& basePath,
                                                 bool searchSubdirs);
    // "*" any run of characters, "?" one character, case-sensitive.
    static bool matchesLikePattern(const QString& name, const QString& pattern);
    static QString validateFilename(const QString& name);
    // The path itself when free, else "name 2.ext", "name 3.ext", ...
    static QString uniqueFilename(const QString& path);

    // ---- Tests on paths -----------------------------------------------------------------
    static bool isPackageAtPath(const QString& path);
    static bool isSymbolicLinkAtPath(const QString& path);
    // True unless the path lies under "/Volumes/<name>" and that volume folder is missing.
    static bool isVolumeMountedForPath(const QString& path);
    // The same on the prefix "/Volumes/", announcing the tested folder on the console.
    static bool isDriveMountedForPath(const QString& path);
    // The mount point of the local volume holding the path; null for an unmounted
    // "/Volumes/..." path, "/" for anything else that no volume holds.
    static QString volumeMountPointForPath(const QString& path);
    static QString volumeMountPointForPath(const QString& path, const QStringList& mountedVolumes);
    // Empty also when it holds only ".DS_Store", "Icon\r" and folders empty by this rule.
    static bool isFolderEmpty(const QString& path);
    // Bytes; folders summed recursively.
    static quint64 fileSize(const QString& path);

    // ---- Trash --------------------------------------------------------------------------
    // Into the user's Trash, restorable from there. A path where nothing is counts as done.
    // error: why the item did not go, naming it (also logged).
    static bool trashFile(const QString& path);
    static bool trashFile(const QString& path, bool shouldAuth, QString* error = nullptr);
    static bool trashFileWithTimeout(const QString& path, qint64 seconds);
    // Every entry of the folder (the folder stays); true only when every entry went.
    static bool trashDirectoryContents(const QString& folder);
    static bool trashDirectoryContents(const QString& folder, bool shouldAuth);
    // Walks the folder (packages too) and trashes the files of that extension
    // (case-insensitive) or that exact name; returns every path it tried.
    static QStringList trashFilesOfType(const QString& type, const QString& folder);
    static QStringList trashFilesNamed(const QString& name, const QString& folder);

    // ---- Delete -------------------------------------------------------------------------
    // One item: a file, a link (never followed) or an empty folder; a folder with anything in
    // it stays, also through the privileged retry ("rm -df").
    static bool removeFile(const QString& path);
    static bool removeFile(const QString& path, bool shouldAuth);
    static bool removeFileWithTimeout(const QString& path, qint64 seconds);
    // A real folder holding nothing but ".DS_Store", "Icon\r" and folders empty by the same
    // rule goes, bottom-up: those two files unlinked, each folder removed with rmdir (the
    // privileged retry with "rm -df"), never a recursive delete. Anything written into it
    // meanwhile stays, and so do the folders above it; the result is then false, which is
    // no error.
    static bool removeFolderIfEmpty(const QString& path);

    // ---- Create -------------------------------------------------------------------------
    // With intermediate folders.
    static bool createDirectory(const QString& path);
    static bool createDirectory(const QString& path, bool shouldAuth);
    static bool createDirectoryWithTimeout(const QString& path, qint64 seconds);
    // Mirrors the source's folder (the source itself when it is a plain folder) under the
    // destination: /Users/a/b under /Volumes/X is /Volumes/X/Users/a/b. Returns that path.
    static QString createDirectoryStructure(const QString& source, const QString& destination);
    static bool createEmptyFile(const QString& path);

    // ---- Copy and move ------------------------------------------------------------------
    // The destination must not exist yet. error, when given, gets the file and the cause of
    // the failure in this process, and errno tells it, when shouldAuth is false.
    static bool copyFile(const QString& source, const QString& destination);
    static bool copyFile(const QString& source, const QString& destination, bool shouldAuth,
                         QString* error = nullptr);
    static bool copyFileWithTimeout(const QString& source, const QString& destination, qint64 seconds);
    // Each top-level entry into the existing destination folder; stops at the first failure.
    static bool copyContentsOfDirectory(const QString& source, const QString& destination, qint64 seconds);
    static bool moveFile(const QString& source, const QString& destination);
    static bool moveFile(const QString& source, const QString& destination, bool shouldAuth,
                         QString* error = nullptr);
    static bool moveFileWithTimeout(const QString& source, const QString& destination, qint64 seconds);

    // ---- Archives -----------------------------------------------------------------------
    // A zip archive of the item; an existing archive is trashed first. includeParent keeps
    // the item's own folder as the top of the archive (the default).
    static bool compressFile(const QString& source, const QString& destinationFile);
    // *failure (when given) names the file and the cause when it fails. A set *cancelled stops
    // the writing between blocks and leaves no archive (ditto, where used, runs to its end).
    static bool compressFile(const QString& source, const QString& destinationFile, bool includeParent,
                             QString* failure = nullptr, const std::atomic<bool>* cancelled = nullptr);
    // Extracts into the folder (an existing one is trashed first); never writes outside it.
    static bool decompressFile(const QString& archive, const QString& destinationFolder);
    // What a zip archive holds, read with the reader the extraction uses (Mac metadata left
    // out): entry name -> bytes of contents, each entry read to its end so that its checksum
    // is tested. Folders end in "/" and count 0. Nothing, with the reason, when the archive
    // cannot be read to its end.
    static std::optional<QMap<QString, qint64>> zipContents(const QString& archive, QString* error);
    struct ZipEntry {
        bool isFile = false; // a regular file; folders and links have no digest
        qint64 size = 0;
        QString sha256; // lowercase hex
    };
    // The same, with each file's SHA-256, and the contents of the entry named keepName (a small
    // file the caller reads, such as a manifest) in *kept, all in one read of the archive.
    static std::optional<QMap<QString, ZipEntry>> zipEntries(const QString& archive, const QString& keepName,
                                                             QByteArray* kept, QString* error);

    // Tells the desktop that the item changed; a status, 0 for success. On Linux file
    // managers watch the file system themselves, so this does nothing and returns 0.
    static int notifyFileSystemChanged(const QString& path);

    // ---- Waiting ------------------------------------------------------------------------
    // Waits until the condition holds or the whole seconds have passed; the result is the
    // condition tested once more. On the main thread events keep being handled (waits of
    // at most 10 ms for the next one); elsewhere the thread sleeps 0.3 s at a time.
    static bool waitForCondition(const std::function<bool()>& condition, qint64 seconds);

    // ---- Attributes ---------------------------------------------------------------------
    static bool isFileLocked(const QString& path);
    static bool lockFile(const QString& path);
    static bool unlockFile(const QString& path);
    // Every item inside, recursively; the folder itself is left as it is.
    static void lockFolder(const QString& path);
    static void unlockFolder(const QString& path);
    static bool setPosixPermissions(unsigned long permissions, const QString& path);
    // An extended attribute read as UTF-8 text; null when missing or empty.
    static QString metadataValueForKey(const QString& key, const QString& path);
    static bool setMetadataValue(const QString& value, const QString& key, const QString& path);
    static bool setModificationDate(const QDateTime& date, const QString& path);
    static bool touchFile(const QString& path);
    static bool touchFile(const QString& path, bool setCreationDate);
    static bool registerApplicationWithLaunchServices(const QString& path);
    // The description of the disk mounted there (findmnt's on Linux); nothing when unknown.
    static std::optional<QVariantMap> infoForDiskAtMountpoint(const QString& mountPoint);
    // The whole Finder-flags word (0 when unreadable); the label is in bits 0x000E.
    static quint16 finderColorIndexForPath(const QString& path);
    static std::optional<BMLabelColor> finderColorForPath(const QString& path);
    static void setFinderColorIndex(quint16 index, const QString& path);
    static std::optional<BMLabelColor> finderColorForColorIndex(quint16 index);
    // Looks once: when the file is not there or empty yet and the time-out has not passed,
    // says so and pauses 0.5 ms. Callers that need a real wait call it again.
    static void waitForFileCreation(const QString& path, qint64 seconds);
    // Blocks while the file keeps being modified (modified less than 4 s ago).
    static void waitForFileWrites(const QString& path);
    static void waitForFileWrites(const QString& path, const QString& lockFile);
    // Digest text (lower-case hexadecimal) of a copy of the running context.
    static QString md5HashWithContext(BMDigestContext context);
    static QString sha1HashWithContext(BMDigestContext context);
    static QString formatFileSize(double bytes);
    // Kept so that callers can state the intent; does nothing.
    static void disableFileSystemCachingForFile(const QString& path);

    // ---- Verified copy ------------------------------------------------------------------
    enum class Verification : int { None = 0, MD5 = 1, SHA1 = 2 };
    // Progress is reported after every this many bytes.
    static constexpr quint64 progressStep = 0x2800000;
    // One pass over the source writes every destination (parent folders are created); with
    // verification each destination is read back and its digest compared with the
    // source's. True when the copy ran to the end with the source's size; verification
    // failures reach the delegate and do not change the result. Meant for a worker thread.
    static bool copyFileWithProgress(const QString& source, const QStringList& destinations,
                                     Verification verification, BMFileCopyDelegate* delegate,
                                     const QVariant& object = QVariant(),
                                     const QVariant& object2 = QVariant());
    static bool copyFileWithProgress(const QString& source, const QString& destination,
                                     BMFileCopyDelegate* delegate, const QVariant& object,
                                     const QVariant& object2);
    static bool copyFileWithProgress(const QString& source, const QString& destination,
                                     BMFileCopyDelegate* delegate, const QVariant& object);
    // The older form: the copy runs on the background copy service, which keeps the
    // delegate alive and reports to it on the main thread. True when it started; the
    // operation can be cancelled.
    static bool copyFileWithProgressOld(const QString& source, const QString& destination,
                                        std::shared_ptr<BMFileCopyDelegate> delegate,
                                        const QVariant& object = QVariant(),
                                        const QVariant& object2 = QVariant(),
                                        std::shared_ptr<BMFileOperation>* operation = nullptr);
    static void cancelFileOperation(const std::shared_ptr<BMFileOperation>& operation);
};
