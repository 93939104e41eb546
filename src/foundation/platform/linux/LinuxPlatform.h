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
    // Netatalk's AfpInfo record first (what a Mac leaves on a netatalk or Samba share),
    // then the attribute under the Mac's own name.
    std::optional<QByteArray> finderInfo(const QString& path) const override;
    bool setFinderInfo(const QString& path, const QByteArray& info) const override;

    // ---- Editors' applications and the name search ---------------------------------------
    // Applications are desktop entries named in a table by bundle identifier; the search is
    // plocate, else locate, over their index of path names.
    QString applicationPathForBundleIdentifier(const QString& identifier) const override;
    std::optional<QVariantMap> applicationInfo(const QString& applicationPath) const override;
    bool spotlightAvailable() const override;
    QStringList spotlightQuery(const SpotlightQuery& query, double timeoutSeconds) const override;
    // The desktop-entry names (without ".desktop") an application may be installed under.
    static QStringList desktopEntryNames(const QString& identifier);
    // The search tool's arguments for a query (glob characters in the text escaped).
    static QStringList locateArguments(const SpotlightQuery& query, const QString& database);
    // ---- end of editors' applications and the name search ---------------------------------

    static constexpr char netatalkAttribute[] = "user.org.netatalk.Metadata";
    static constexpr char finderInfoAttribute[] = "user.com.apple.FinderInfo";
    // The FinderInfo inside an AfpInfo record; nothing when the record is not one.
    static std::optional<QByteArray> finderInfoFromAfpInfo(const QByteArray& afpInfo);
    static QByteArray afpInfoWithFinderInfo(QByteArray afpInfo, const QByteArray& info);

    // Pure helpers, public so that they can be tested on their own.
    static std::optional<OSVersion> parseOsReleaseVersion(const QByteArray& osRelease);
    static QString parseSeatActiveUid(const QByteArray& seatFile);
    static QString unescapeDiskLabel(const QString& label);

protected:
    // The logind state folder; a test platform may point it elsewhere.
    virtual QString seatStateFile() const;
    // The index the search tool reads; empty for the tool's own.
    virtual QString locateDatabase() const;
};
