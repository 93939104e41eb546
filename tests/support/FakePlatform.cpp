#include "FakePlatform.h"

#include <QDir>

FakePlatform::FakePlatform(QString machineRoot)
    : locateDatabasePath(machineRoot + QStringLiteral("/var/lib/plocate/plocate.db")),
      m_machineRoot(std::move(machineRoot)) {
    // The name search reads the test's own index (none until a test builds one), never the
    // machine's.
}

QStringList FakePlatform::standardFolders(StandardFolder kind, Domain domain) const {
    QStringList folders = LinuxPlatform::standardFolders(kind, domain);
    if (domain == Domain::User)
        return folders;
    // Machine-wide folders live under the test's own root, so that nothing outside the
    // test's folder is ever touched.
    for (QString& folder : folders)
        folder = m_machineRoot + folder;
    return folders;
}

QString FakePlatform::temporaryDirectory() const {
    return m_machineRoot + QStringLiteral("/tmp");
}

bool FakePlatform::openFiles(const QStringList& paths, const QString& bundleIdentifier) const {
    const std::lock_guard lock(m_desktopMutex);
    m_opened << Opened{paths, bundleIdentifier};
    return canOpen;
}

bool FakePlatform::launchApplication(const QString& bundleIdentifier) const {
    const std::lock_guard lock(m_desktopMutex);
    m_launched << bundleIdentifier;
    return canLaunch;
}

bool FakePlatform::revealInFileManager(const QString& path, const QString& rootFolder) const {
    const std::lock_guard lock(m_desktopMutex);
    m_revealed << Revealed{path, rootFolder};
    return canReveal;
}

QList<FakePlatform::Opened> FakePlatform::opened() const {
    const std::lock_guard lock(m_desktopMutex);
    return m_opened;
}

QStringList FakePlatform::launched() const {
    const std::lock_guard lock(m_desktopMutex);
    return m_launched;
}

QList<FakePlatform::Revealed> FakePlatform::revealed() const {
    const std::lock_guard lock(m_desktopMutex);
    return m_revealed;
}
