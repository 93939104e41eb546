#pragma once

#include <QString>

#include <atomic>
#include <functional>
#include <sys/stat.h>

// Whole items (a file, a folder with everything in it, a symbolic link) copied, moved and
// removed as the current user, the way a platform file manager does it. The operations
// never replace an existing destination and never follow symbolic links inside a tree.
// Errors come back as a description naming the item and the system's reason.
namespace FileTree {

// Anything at the path, a dangling symbolic link included.
bool exists(const QString& path);
QString errorDescription(const QString& path, int error);

// Sees each file's contents as the copy reads them, so that a digest of what was copied costs
// no second read. Files come one at a time: started, their data in order, finished.
class ContentObserver {
public:
    virtual ~ContentObserver() = default;
    virtual void fileStarted(const QByteArray& source, const struct stat& status) = 0;
    virtual void fileData(const char* data, size_t size) = 0;
    virtual void fileFinished() = 0;
};

struct CopyControl {
    // Bytes of file contents copied so far, after every chunk.
    std::function<void(quint64 bytesCopied)> progress;
    // Checked between chunks; a set flag ends the copy with ECANCELED.
    const std::atomic<bool>* cancelled = nullptr;
    // The contents then pass through this process rather than being copied by the kernel.
    ContentObserver* observer = nullptr;
    // Files are flushed to the disk before the copy takes its name; a copy that is thrown
    // away soon after (an archive's gathering) can do without.
    bool flush = true;
};

// Copies the item with its permissions, dates and extended attributes (and owner, for
// root). The destination must not exist; on failure nothing of the copy is left behind
// and errno tells why. The copy is made under a hidden name beside the destination (see
// partialPathFor) and renamed only once whole and flushed, so that a run killed midway or a
// power cut never leaves part of a file under the name of the whole.
bool copyItem(const QString& source, const QString& destination, QString* error,
              const CopyControl* control = nullptr);
// A free-looking hidden name beside path (".NAME.XXXXXXXX.partial") for something still being
// written; a name near the limit of 255 bytes is shortened by whole characters to fit.
QString partialPathFor(const QString& path);
// The bytes of file contents in the item (links not followed).
quint64 contentSize(const QString& path);
// Removes an item that this process made itself a moment ago (a half-made copy, an
// extraction's private folder), with everything in it: links are removed, never followed.
// Never for a user's files, which go to the Trash.
bool removeItem(const QString& path, QString* error);
// Everything inside an open folder, deepest first, through descriptors only; the folder
// itself stays. shownPath names the folder in the error.
bool emptyOpenFolder(int fd, const QString& shownPath, QString* error);
// Renames, or copies, checks the copy and removes the original across file systems (entry
// by entry, never what appeared in it meanwhile). The destination must not exist. When the
// source cannot be removed after a complete copy, the copy stays and the move reports
// failure: both places then hold the data rather than neither.
bool moveItem(const QString& source, const QString& destination, QString* error);
// The folder and any missing parents.
bool createDirectories(const QString& path, QString* error);

} // namespace FileTree
