#pragma once

#include "foundation/platform/Platform.h"

// Linux answers: XDG base directories for the well-known folders, logind's seat0 for the
// console user, os-release for the version.
class LinuxPlatform : public Platform {
public:
    LinuxPlatform();

    unsigned userId() const override;
    QString userName() const override;
    QString homeDirectory() const override;
    QString homeDirectoryOfUser(const QString& name) const override;
    QString consoleUser() const override;
    QString bootVolumeName() const override;
    std::optional<OSVersion> osVersion() const override;
    QString osVersionText() const override;
    QStringList standardFolders(StandardFolder kind, Domain domain) const override;
    QString temporaryDirectory() const override;
    std::optional<FileFacts> fileFacts(const QString& path, bool followLinks = true) const override;
    std::optional<FileFacts> fileFactsAt(int folder, const QString& folderPath,
                                         const QByteArray& name) const override;
    // Netatalk's AfpInfo record first (what a Mac leaves on a netatalk or Samba share),
    // then the attribute under the Mac's own name.
    std::optional<QByteArray> finderInfo(const QString& path) const override;
    std::optional<QByteArray> finderInfoAt(int folder, const QString& folderPath,
                                           const QByteArray& name) const override;
    bool setFinderInfo(const QString& path, const QByteArray& info) const override;

    // ---- File operations (LinuxPlatformFiles.cpp) ---------------------------------------
    // The freedesktop Trash (FreedesktopTrash): items in "files", restore records in "info".
    std::optional<QString> moveToTrash(const QString& path, const QString& trashDirectory,
                                       QString* error) const override;
    QString trashItemsFolder(const QString& trashDirectory) const override;
    bool writeTrashRecord(const QString& trashDirectory, const QString& nameInTrash,
                          const QString& originalPath, QString* error) const override;
    bool hasTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const override;
    void removeTrashRecord(const QString& trashDirectory, const QString& nameInTrash) const override;
    // pkexec with the tool and its arguments.
    int runPrivileged(const QString& tool, const QStringList& arguments, bool async) const override;
    bool obtainPrivilege() const override;
    // pkexec asks through the desktop's agent only: no credentials can be handed over.
    bool canAuthorizeWithCredentials() const override { return false; }
    bool authorizeWithCredentials(const QString&, const QString&) const override { return false; }
    QStringList mountedLocalVolumes() const override;
    // Under /media, /mnt and /run/media, and network file systems elsewhere: what Debian's
    // updatedb.conf prunes.
    QStringList removableAndNetworkVolumes() const override;
    bool isPackage(const QString& path) const override;
    // FS_IMMUTABLE_FL through the file-attribute ioctl.
    std::optional<bool> immutableFlag(const QString& path, QString* error) const override;
    bool setImmutableFlag(const QString& path, bool locked, QString* error) const override;
    // Linux file systems do not let a birth time be set.
    bool setCreationDate(const QString&, const QDateTime&) const override { return false; }
    QString extendedAttributeName(const QString& key) const override;
    std::pair<Tool, QStringList> diskInfoCommand(const QString& mountPoint) const override;
    std::optional<QVariantMap> parseDiskInfo(const QByteArray& output, QString* error) const override;
    // File managers watch the file system themselves: nothing to tell them.
    int notifyFileSystemChanged(const QString&) const override { return 0; }
    bool registerApplication(const QString& path) const override;

    // Pure helpers of the above.
    // Mount points of local file systems in a /proc/self/mountinfo text.
    static QStringList parseMountInfo(const QByteArray& mountInfo);
    // Mount points of removable and network volumes in a /proc/self/mountinfo text.
    static QStringList parseRemovableAndNetworkVolumes(const QByteArray& mountInfo);
    // The contents of a .trashinfo record.
    static QByteArray trashRecord(const QString& originalPath, const QDateTime& deletionDate);
    // The original path in a .trashinfo record; null when the record is not one.
    static QString originalPathFromTrashRecord(const QByteArray& record);
    // ---- end of file operations ----------------------------------------------------------

    // ---- Editors' applications and the name search ---------------------------------------
    // Applications are desktop entries named in a table by bundle identifier; the search is
    // plocate, else locate, over their index of path names.
    QString applicationPathForBundleIdentifier(const QString& identifier) const override;
    std::optional<QVariantMap> applicationInfo(const QString& applicationPath) const override;
    bool spotlightAvailable() const override;
    QStringList spotlightQuery(const SpotlightQuery& query, double timeoutSeconds) const override;
    QString spotlightProblem() const override;
    // The environment variable naming the index the search reads instead of the tool's own.
    static constexpr char locateDatabaseVariable[] = "VESTRY_LOCATE_DB";
    // The desktop-entry names (without ".desktop") an application may be installed under.
    static QStringList desktopEntryNames(const QString& identifier);
    // The search tool's arguments for a query (glob characters in the text escaped).
    static QStringList locateArguments(const SpotlightQuery& query, const QString& database);
    // ---- end of editors' applications and the name search ---------------------------------

    // ---- Launch jobs (SystemdUnits.cpp) -----------------------------------------------------
    // A systemd unit pair per job, loaded by systemctl; a computer-wide job is root's.
    QString launchDaemonsFolderName() const override { return QString(); }
    QStringList launchJobFileNames(const QString& label) const override;
    std::optional<QList<LaunchJobFile>> launchJobFiles(const QString& label,
                                                       const LaunchJobSettings& settings, bool computerWide,
                                                       QString* error) const override;
    QList<LaunchJobCommand> launchJobCommands(LaunchJobStep step, const QString& label, const QString& folder,
                                              bool runAtLoad, bool computerWide) const override;
    QString computerWideJobOwner() const override { return QStringLiteral("root:root"); }
    QStringList launchJobWatchedPaths(const QString& label, const QString& folder) const override;
    // ---- end of launch jobs -------------------------------------------------------------------

    // Where a Mac's FinderInfo lies on a Samba or netatalk share: netatalk's metadata (Samba's
    // fruit:metadata=netatalk, its default) is an AppleDouble header of 402 bytes; with
    // fruit:metadata=stream, the AfpInfo stream is kept by streams_xattr.
    static constexpr char netatalkAttribute[] = "user.org.netatalk.Metadata";
    static constexpr char afpStreamAttribute[] = "user.DosStream.AFP_AfpInfo:$DATA";
    static constexpr char finderInfoAttribute[] = "user.com.apple.FinderInfo";
    // The FinderInfo inside a share's record, an AfpInfo record or an AppleDouble header;
    // nothing when the record is neither.
    static std::optional<QByteArray> finderInfoFromAfpInfo(const QByteArray& afpInfo);
    // The record with the FinderInfo replaced, everything else in it kept.
    static QByteArray afpInfoWithFinderInfo(QByteArray afpInfo, const QByteArray& info);

    // Pure helpers, public so that they can be tested on their own.
    static std::optional<OSVersion> parseOsReleaseVersion(const QByteArray& osRelease);
    static QString parseSeatActiveUid(const QByteArray& seatFile);
    static QString unescapeDiskLabel(const QString& label);

protected:
    // The logind state folder; a test platform may point it elsewhere.
    virtual QString seatStateFile() const;
    // The folder systemd makes when it runs the machine.
    virtual QString systemdRunningMarker() const;
    // The index the search tool reads: the one VESTRY_LOCATE_DB names, else (empty) the
    // tool's own.
    virtual QString locateDatabase() const;

    // ---- Opening and revealing (LinuxDesktop.cpp) -----------------------------------------
    // An editor is the desktop entry that applicationPathForBundleIdentifier finds, started as
    // its Exec key says; files without one go to xdg-open, the desktop's default handler.
    // Revealing asks the session's file manager over D-Bus (org.freedesktop.FileManager1) and
    // opens the folder with xdg-open when none answers.
public:
    bool openFiles(const QStringList& paths, const QString& bundleIdentifier) const override;
    bool launchApplication(const QString& bundleIdentifier) const override;
    bool revealInFileManager(const QString& path, const QString& rootFolder) const override;
    // The command lines that start a desktop entry (its text) with the files: one when its
    // Exec takes a list (%F, %U) or no file at all (the files are then appended), one per
    // file when it takes a single one (%f, %u). Empty when the entry has no usable Exec.
    static QList<QStringList> desktopEntryCommands(const QByteArray& entry, const QString& entryPath,
                                                   const QStringList& files);
    // An Exec value split into arguments by the desktop-entry quoting rules; nothing when a
    // quote is left open.
    static std::optional<QStringList> splitExec(const QString& exec);

protected:
    // Starts a program (the first element, looked up in PATH when not absolute) without
    // waiting for it.
    virtual bool startDetached(const QStringList& command) const;
    // Calls a method of the session's file manager ("ShowItems", "ShowFolders") with the
    // paths; false when no file manager answered.
    virtual bool callFileManager(const QString& method, const QStringList& paths) const;
    // ---- end of opening and revealing -----------------------------------------------------
};
