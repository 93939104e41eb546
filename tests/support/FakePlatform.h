#pragma once

#include "foundation/platform/linux/LinuxPlatform.h"

#include <QMap>

#include <atomic>
#include <mutex>

// The Linux platform with the questions about who runs the program answered by the test,
// and the machine-wide folders moved under a folder of the test's own.
class FakePlatform : public LinuxPlatform {
public:
    explicit FakePlatform(QString machineRoot);

    unsigned uid = 501;
    QString user = QStringLiteral("jo");
    QString console = QStringLiteral("jo");
    QMap<QString, QString> homes; // user name -> home, for users other than the process's
    QString bootVolume = QStringLiteral("Macintosh HD");
    std::optional<OSVersion> version = OSVersion{12, 0, 0};
    // Installed applications: bundle identifier -> application folder.
    QMap<QString, QString> applications;
    // The index the name search reads: the test machine's, missing until a test builds one.
    QString locateDatabasePath;
    // The removable and network volumes discovery walks: none of the test machine's.
    QStringList volumes;

    unsigned userId() const override { return uid; }
    QString userName() const override { return user; }
    QString homeDirectoryOfUser(const QString& name) const override { return homes.value(name); }
    QString consoleUser() const override { return console; }
    QString bootVolumeName() const override { return bootVolume; }
    std::optional<OSVersion> osVersion() const override { return version; }
    QStringList standardFolders(StandardFolder kind, Domain domain) const override;
    QString temporaryDirectory() const override;
    QStringList removableAndNetworkVolumes() const override { return volumes; }
    QString applicationPathForBundleIdentifier(const QString& identifier) const override {
        return applications.value(identifier);
    }

    QString machineRoot() const { return m_machineRoot; }

    // What was handed to the desktop, recorded instead of done; any thread may hand over.
    struct Opened {
        QStringList files;
        QString application; // bundle identifier
        bool operator==(const Opened&) const = default;
    };
    struct Revealed {
        QString path;
        QString rootFolder;
        bool operator==(const Revealed&) const = default;
    };
    bool openFiles(const QStringList& paths, const QString& bundleIdentifier) const override;
    bool launchApplication(const QString& bundleIdentifier) const override;
    bool revealInFileManager(const QString& path, const QString& rootFolder) const override;
    QList<Opened> opened() const;
    QStringList launched() const;
    QList<Revealed> revealed() const;
    // False: the desktop has nothing to open files or show them with (still recorded).
    std::atomic<bool> canOpen{true};
    std::atomic<bool> canReveal{true};
    std::atomic<bool> canLaunch{true};

protected:
    QString locateDatabase() const override { return locateDatabasePath; }

private:
    QString m_machineRoot;
    mutable std::mutex m_desktopMutex;
    mutable QList<Opened> m_opened;
    mutable QStringList m_launched;
    mutable QList<Revealed> m_revealed;
};
