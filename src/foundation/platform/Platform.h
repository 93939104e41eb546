#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

// The operating-system facilities with no portable answer. Everything above this seam asks
// here rather than calling the system, so tests can substitute answers (user id, console
// user, tool paths) without depending on who runs them.

enum class Tool {
    Launchctl,
    Ditto,
    Mdfind,
    Killall,
    Chown,
    Chmod,
    Diskutil,
    Touch,
    Rm,
    Mv,
    Cp,
    Mkdir,
    Findmnt,
    Plocate,
    Locate,
    Pkexec,
    Systemctl,
    TrueProgram, // /bin/true: a privileged run that does nothing
};

// A launch job's description: its keys in the order they are written (Label, Program,
// ProgramArguments, WorkingDirectory, WatchPaths, RunAtLoad, LowPriorityIO, Nice). Values are
// strings, string lists, booleans and integers.
using LaunchJobSettings = QList<std::pair<QString, QVariant>>;

// One file of a launch job: its name in the jobs folder and its bytes.
struct LaunchJobFile {
    QString name;
    QByteArray contents;
};

// One run of the service manager's tool.
struct LaunchJobCommand {
    Tool tool;
    QStringList arguments;
    bool operator==(const LaunchJobCommand&) const = default;
};

// The moments a launch job's commands belong to: taking the job out of the service manager,
// making it forget the job, loading the job once its files are in place, and after its
// files are gone.
enum class LaunchJobStep { Unload, Forget, Load, FilesRemoved };

enum class StandardFolder {
    Applications,
    AdminApplications,
    Documents,
    Library,
    Preferences,
    Caches,
    ApplicationSupport,
    Desktop,
    Movies,
    Logs,
    Documentation,
    SystemLibrary,
    Trash,
    LaunchAgents,
};

enum class Domain { User, Local, System };

// What one status query of the file system says about an item.
struct FileFacts {
    bool isDirectory = false;
    bool isSymbolicLink = false; // only when links are not followed
    quint64 size = 0;
    // The file's identity, for one with several hard links: its names are one file on disk.
    quint64 links = 1;
    quint64 device = 0;
    quint64 inode = 0;
    // The creation date a Mac gave the file where a Samba share keeps it, else the birth
    // time where the file system records it, else the modification time.
    QDateTime created;
    QDateTime modified;
};

struct OSVersion {
    int major = 0;
    int minor = 0;
    int bugfix = 0;
};

class Platform {
public:
    virtual ~Platform();

    // The platform in force. Never null: the native one unless a test installed another.
    static Platform& current();
    // Replaces the platform in force and returns the previous one (tests restore it).
    static std::unique_ptr<Platform> install(std::unique_ptr<Platform> platform);
    static std::unique_ptr<Platform> makeNative();

    virtual unsigned userId() const = 0;
    virtual QString userName() const = 0;
    // The home folder of this process's own user, as its environment names it.
    virtual QString homeDirectory() const = 0;
    virtual QString homeDirectoryOfUser(const QString& name) const = 0;
    // The user at the console as the platform reports it; null when nobody is logged in.
    virtual QString consoleUser() const = 0;
    virtual QString bootVolumeName() const = 0;
    virtual std::optional<OSVersion> osVersion() const = 0;
    // Human-readable system description for the log header.
    virtual QString osVersionText() const = 0;
    // The folders of a kind in a domain, with "~" expanded; empty when the platform has none.
    virtual QStringList standardFolders(StandardFolder kind, Domain domain) const = 0;
    virtual QString temporaryDirectory() const = 0;

    // One status query; nothing when the item cannot be examined.
    virtual std::optional<FileFacts> fileFacts(const QString& path, bool followLinks = true) const = 0;
    // The same for the entry name of an open folder (folderPath is where it is), never
    // following a link: one query, however deep the folder.
    virtual std::optional<FileFacts> fileFactsAt(int folder, const QString& folderPath,
                                                 const QByteArray& name) const;
    // The 32-byte Finder information of an item (type, creator, flags, ...), from the item
    // itself or from the AppleDouble file a Mac left beside it; nothing when it has none.
    virtual std::optional<QByteArray> finderInfo(const QString& path) const = 0;
    // The same for the entry name of an open folder, not following a link.
    virtual std::optional<QByteArray> finderInfoAt(int folder, const QString& folderPath,
                                                   const QByteArray& name) const;
    virtual bool setFinderInfo(const QString& path, const QByteArray& info) const = 0;

    // ---- File operations: Trash, privileged tools, volumes, flags -----------------------
    // Everything the file operations need to ask the system; nothing here checks the
    // system-folder guard, which the callers do first.

    // Moves an item into the user's Trash, given as the folder the caller expects it in (an
    // item on another volume may go to that volume's Trash), and returns the path it now has
    // there. Nothing, with the cause in words, when it did not go (it is then still where it
    // was).
    virtual std::optional<QString> moveToTrash(const QString& path, const QString& trashDirectory,
                                               QString* error) const = 0;
    // The folder of a Trash that holds the trashed items themselves.
    virtual QString trashItemsFolder(const QString& trashDirectory) const = 0;
    // Records where an item moved into the Trash's items folder under nameInTrash came
    // from, so that it can be put back. True where the platform keeps no such record.
    virtual bool writeTrashRecord(const QString& trashDirectory, const QString& nameInTrash,
                                  const QString& originalPath, QString* error) const = 0;
    virtual bool hasTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const = 0;
    virtual void removeTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const = 0;

    // Runs a tool with administrator rights on behalf of a process that lacks them; the
    // tool's exit status (0 for success), non-zero when the right was refused or the tool
    // could not run. async: returns 0 as soon as the tool is started.
    virtual int runPrivileged(const QString& tool, const QStringList& arguments, bool async) const = 0;
    // Asks for the right without a real job; true when it was granted.
    virtual bool obtainPrivilege() const = 0;
    // Whether the right can be obtained with a user name and password and no dialog.
    virtual bool canAuthorizeWithCredentials() const = 0;
    virtual bool authorizeWithCredentials(const QString& user, const QString& password) const = 0;

    // Mount points of the mounted local volumes, in mount order.
    virtual QStringList mountedLocalVolumes() const = 0;
    // Mount points of the mounted removable and network volumes, which a file name index of
    // the system's may leave out (editing drives, file servers), in mount order; never the
    // system's own folders. Empty where the name search covers them itself.
    virtual QStringList removableAndNetworkVolumes() const { return {}; }
    // A folder that the desktop shows as one file (an application bundle, a library).
    virtual bool isPackage(const QString& path) const = 0;
    // The locked (immutable) flag. Nothing, with a reason, when it cannot be read.
    virtual std::optional<bool> immutableFlag(const QString& path, QString* error) const = 0;
    // Sets or clears the flag; clearing succeeds on items whose file system has no flag.
    virtual bool setImmutableFlag(const QString& path, bool locked, QString* error) const = 0;
    virtual bool setCreationDate(const QString& path, const QDateTime& date) const = 0;
    // The attribute name under which a key (a Mac name such as "com.apple.metadata:x") is
    // stored.
    virtual QString extendedAttributeName(const QString& key) const = 0;
    // The tool and arguments that describe the disk mounted at a mount point, and the
    // dictionary that its output gives (nothing, with a reason, when it cannot be read).
    virtual std::pair<Tool, QStringList> diskInfoCommand(const QString& mountPoint) const = 0;
    virtual std::optional<QVariantMap> parseDiskInfo(const QByteArray& output, QString* error) const = 0;
    // Tells the desktop that something changed at a path; a status, 0 for success.
    virtual int notifyFileSystemChanged(const QString& path) const = 0;
    // Registers an application bundle with the desktop; true when nothing went wrong.
    virtual bool registerApplication(const QString& path) const = 0;
    // ---- end of file operations ----------------------------------------------------------

    // ---- Editors' applications and the name search (editor preference readers) -----------
    // The application registered under a bundle identifier ("com.apple.FinalCutPro"); null
    // when none is installed.
    virtual QString applicationPathForBundleIdentifier(const QString& identifier) const = 0;
    // An application's information dictionary (CFBundleShortVersionString, CFBundleVersion,
    // ...); nothing when it cannot be read.
    virtual std::optional<QVariantMap> applicationInfo(const QString& applicationPath) const = 0;

    // A Spotlight search. Spotlight takes the query text; an index of path names, which has
    // none of Spotlight's metadata, answers the path rule instead.
    struct SpotlightQuery {
        enum class PathRule {
            FolderNamed, // a folder whose name is the text, in any case
            EndsWith,    // a path ending in the text, in any case
        };
        QString mdfindQuery;
        PathRule rule = PathRule::FolderNamed;
        QString text;

        // name:"<name>" kind:folder
        static SpotlightQuery folderNamed(const QString& name);
        static SpotlightQuery pathsEndingWith(const QString& mdfindQuery, const QString& suffix);
    };
    // Whether the search tool is installed; without it there is no search at all.
    virtual bool spotlightAvailable() const = 0;
    // The paths the search reports, in its order; empty when the tool is missing, fails,
    // times out or finds nothing.
    virtual QStringList spotlightQuery(const SpotlightQuery& query, double timeoutSeconds) const = 0;
    // Why the search cannot be asked as it was set up (an index named for this run that is
    // missing or unreadable), naming the file and the cause; null when nothing is in the way.
    virtual QString spotlightProblem() const { return QString(); }
    // ---- end of editors' applications and the name search ---------------------------------

    // ---- Opening and revealing (autosave actions) -----------------------------------------
    // Opens files with the application registered under a bundle identifier, in one
    // hand-over where the application takes several; with no such application each file
    // goes to the desktop's default application for it. False when something could not be
    // started.
    virtual bool openFiles(const QStringList& paths, const QString& bundleIdentifier) const = 0;
    // Starts the application registered under a bundle identifier; false when there is none.
    virtual bool launchApplication(const QString& bundleIdentifier) const = 0;
    // Shows an item in a file-manager window rooted at a folder: selected in its folder, or,
    // when the item is that folder itself, the folder opened.
    virtual bool revealInFileManager(const QString& path, const QString& rootFolder) const = 0;
    // ---- end of opening and revealing -----------------------------------------------------

    // ---- Launch jobs ------------------------------------------------------------------------
    // Here the form of launchd: one property list per job, launchctl to load it, owned by
    // root:wheel when it is the computer's. The Linux platform has systemd units instead.

    // The folder in the Library that holds daemons apart from agents; empty where both kinds
    // share the agents' folder.
    virtual QString launchDaemonsFolderName() const { return QStringLiteral("LaunchDaemons"); }
    // The names of a job's files in its jobs folder.
    virtual QStringList launchJobFileNames(const QString& label) const;
    // A job's files; nothing, with the reason in words, when the settings cannot be written
    // in the form the service manager reads (a path it cannot take).
    virtual std::optional<QList<LaunchJobFile>> launchJobFiles(const QString& label,
                                                               const LaunchJobSettings& settings,
                                                               bool computerWide, QString* error) const;
    // The commands of one step for a job whose files are in a folder.
    virtual QList<LaunchJobCommand> launchJobCommands(LaunchJobStep step, const QString& label,
                                                      const QString& folder, bool runAtLoad,
                                                      bool computerWide) const;
    // The owner ("user:group") of a computer-wide job's files.
    virtual QString computerWideJobOwner() const { return QStringLiteral("root:wheel"); }
    // The paths an installed job watches, as its files name them; empty when it has none.
    virtual QStringList launchJobWatchedPaths(const QString& label, const QString& folder) const;
    // ---- end of launch jobs -------------------------------------------------------------------

    QString toolPath(Tool tool) const;
    void setToolPath(Tool tool, const QString& path);

protected:
    void setDefaultToolPaths(std::map<Tool, QString> paths);

private:
    mutable std::mutex m_toolMutex;
    std::map<Tool, QString> m_toolPaths;
};
