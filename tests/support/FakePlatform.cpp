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
