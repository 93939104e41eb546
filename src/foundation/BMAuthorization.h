#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>

// Removes, moves, copies and creates with administrator rights where the user may not:
// the right is obtained once, then the standard tools run as root. A process that is root
// already runs them directly. Every destructive operation refuses the protected folders
// first (the system-folder guard, exact match) and then leaves the file system untouched.
class BMAuthorization {
public:
    enum class Interface { WithGUI, WithoutGUI };

    explicit BMAuthorization(Interface interface = Interface::WithGUI);
    ~BMAuthorization();
    BMAuthorization(const BMAuthorization&) = delete;
    BMAuthorization& operator=(const BMAuthorization&) = delete;

    // The process-wide object, created on first use with an interface.
    static BMAuthorization& sharedController();
    // Created without an interface when this is the first use (background programs).
    static BMAuthorization& sharedController(bool withGUI);
    // Replaces the process-wide object (tests give each case a fresh one); returns the
    // previous one. Not for use while other threads run operations.
    static std::unique_ptr<BMAuthorization> installShared(std::unique_ptr<BMAuthorization> authorization);

    bool authStart();
    // Without a dialog, with the given credentials, where the platform allows it.
    bool authStartWithUser(const QString& user, const QString& password);
    void authEnd();
    bool isAuthorized() const { return m_authorized.load(); }
    bool canAuthorize() const { return m_hasGUI; }
    // The user whose Trash receives trashed items; null when nobody is known.
    QString userDirectory() const { return m_userDirectory; }

    // A file, a link or an empty folder ("rm -df"); never a folder with contents.
    bool authRemoveFile(const QString& path);
    bool authMoveFile(const QString& oldPath, const QString& newPath);
    bool authCopyFile(const QString& oldPath, const QString& newPath);
    bool authCreateDir(const QString& path);
    bool authTrashFile(const QString& path);
    // deleteOnRootAccount is kept for its callers and deletes nothing: a root process with no
    // user to trash for refuses, with a message, and leaves the item where it is.
    bool authTrashFile(const QString& path, bool deleteOnRootAccount);
    bool authTrashFolderContents(const QString& folder);
    bool authTrashFolderContents(const QString& folder, bool deleteOnRootAccount);
    bool authMoveFolderContents(const QString& folder, const QString& destination);
    // 0 for success; -1 when the right could not be obtained, -2 when the tool is missing,
    // otherwise the platform's status.
    int authExecTask(const QString& toolPath, const QStringList& parameters);
    int authExecTask(const QString& toolPath, const QStringList& parameters, bool async);

    // The name an item gets in the Trash when its own is taken: "<name>_<local time
    // yyyyMMddHHmmss>.<extension>", the "." kept also when there is no extension.
    static QString timestampedTrashName(const QString& name, const QDateTime& now);

private:
    static bool isRoot();
    bool refuseSystemDirectory(const QString& path, const char* message) const;

    const bool m_hasGUI;
    const QString m_userDirectory;
    std::atomic<bool> m_authorized{false};
    std::mutex m_authMutex; // one request for the right at a time
};
