#include "DestructiveGuard.h"

#include "BMLocalPaths.h"
#include "FileName.h"
#include "RealPath.h"
#include "TrashBatch.h"
#include "platform/Platform.h"

#include <QDir>
#include <QStandardPaths>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

QString systemError(int code) {
    return QString::fromLocal8Bit(std::strerror(code));
}

bool isSameOrInside(const QString& path, const QString& folder) {
    if (folder.isEmpty())
        return false;
    if (folder == QLatin1String("/"))
        return true;
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

// The folders that hold the system, by path component: "/usr" and everything in it, not
// "/usrlocal". The temporary folders inside them ("/var/tmp", macOS's "/private/var/folders"
// behind $TMPDIR) are where people and tests put things of their own.
bool isInsideSystemFolder(const QString& canonical) {
    static const char* const roots[] = {"/usr", "/etc",    "/boot",        "/proc",       "/sys",
                                        "/dev", "/bin",    "/sbin",        "/lib",        "/lib64",
                                        "/var", "/System", "/private/etc", "/private/var"};
    bool inside = false;
    for (const char* root : roots)
        inside = inside || isSameOrInside(canonical, QString::fromLatin1(root));
    if (!inside)
        return false;
    for (const QString& temporary : {QDir::tempPath(), QStringLiteral("/var/tmp")}) {
        const QString resolved = DestructiveGuard::resolvedFolder(temporary);
        if (!resolved.isEmpty() && canonical != resolved && isSameOrInside(canonical, resolved))
            return false;
    }
    return true;
}

// The folders of the home that hold what a person made, wherever the platform and the XDG
// user-dirs file put them.
QStringList standardFoldersOf(const QString& home) {
    QStringList folders;
    for (const char* name : {"Documents", "Desktop", "Movies", "Music", "Pictures", "Downloads", "Public",
                             "Library", "Videos", "Templates"})
        folders << home + QLatin1Char('/') + QLatin1String(name);
    const Platform& platform = Platform::current();
    for (StandardFolder kind : {StandardFolder::Documents, StandardFolder::Desktop, StandardFolder::Movies,
                                StandardFolder::Library})
        folders += platform.standardFolders(kind, Domain::User);
    for (QStandardPaths::StandardLocation kind :
         {QStandardPaths::DocumentsLocation, QStandardPaths::DesktopLocation, QStandardPaths::MoviesLocation,
          QStandardPaths::MusicLocation, QStandardPaths::PicturesLocation, QStandardPaths::DownloadLocation,
          QStandardPaths::PublicShareLocation, QStandardPaths::TemplatesLocation})
        folders << QStandardPaths::writableLocation(kind);
    return folders;
}

} // namespace

QString DestructiveGuard::resolvedFolder(const QString& path, QString* error) {
    if (path.isEmpty()) {
        if (error)
            *error = systemError(ENOENT);
        return QString();
    }
    int failure = 0;
    const QByteArray resolved = RealPath::of(FileName::encode(path), &failure);
    if (resolved.isEmpty()) {
        if (error)
            *error = systemError(failure);
        return QString();
    }
    return FileName::decode(resolved);
}

QString DestructiveGuard::canonicalPath(const QString& path, QString* error) {
    QString trimmed = path;
    const bool namesFolder = trimmed.endsWith(QLatin1Char('/'));
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf(QLatin1Char('/'));
    const QString name = trimmed.mid(slash + 1);
    // With a trailing "/" the system follows a link to the folder it names; "." and ".."
    // are the folders themselves.
    if (namesFolder || name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return resolvedFolder(trimmed, error);
    const QString parent = slash < 0    ? QStringLiteral(".")
                           : slash == 0 ? QStringLiteral("/")
                                        : trimmed.left(slash);
    const QString folder = resolvedFolder(parent, error);
    if (folder.isEmpty())
        return QString();
    return folder == QLatin1String("/") ? QLatin1Char('/') + name : folder + QLatin1Char('/') + name;
}

DestructiveGuard::DestructiveGuard(const QString& location) : m_location(location) {
    TrashBatch* batch = TrashBatch::current();
    if (!location.isEmpty()) {
        if (batch && batch->folders.locations.contains(location)) {
            std::tie(m_canonicalLocation, m_locationError) = batch->folders.locations.value(location);
        } else {
            m_canonicalLocation = resolvedFolder(location, &m_locationError);
            if (m_canonicalLocation.isEmpty() && m_locationError.isEmpty())
                m_locationError = systemError(ENOENT);
            if (batch)
                batch->folders.locations.insert(location, {m_canonicalLocation, m_locationError});
        }
    }
    if (batch && batch->folders.guardKnown) {
        m_home = batch->folders.home;
        m_protected = batch->folders.protectedFolders;
        return;
    }
    m_home = resolvedFolder(Platform::current().homeDirectory());
    if (m_home.isEmpty())
        m_home = resolvedFolder(QDir::homePath());
    if (!m_home.isEmpty()) {
        for (const QString& folder : standardFoldersOf(m_home)) {
            const QString resolved = resolvedFolder(folder);
            if (!resolved.isEmpty() && !m_protected.contains(resolved))
                m_protected << resolved;
        }
    }
    if (batch) {
        batch->folders.home = m_home;
        batch->folders.protectedFolders = m_protected;
        batch->folders.guardKnown = true;
    }
}

QString DestructiveGuard::refusal(const QString& path) const {
    const QString shown = FileName::displayText(path);
    QString error;
    const QString canonical = canonicalPath(path, &error);
    if (canonical.isEmpty())
        return QStringLiteral("%1: the folder that holds it cannot be resolved (%2)").arg(shown, error);
    // The real path is shown where it differs from the spelling given.
    const QString where = canonical == path
                              ? shown
                              : QStringLiteral("%1 (really %2)").arg(shown, FileName::displayText(canonical));
    if (!m_home.isEmpty()) {
        if (canonical == m_home)
            return QStringLiteral("%1 is the home folder").arg(where);
        if (isSameOrInside(m_home, canonical))
            return QStringLiteral("%1 holds the home folder").arg(where);
        if (m_protected.contains(canonical))
            return QStringLiteral("%1 is a standard folder of the home").arg(where);
    }
    // A home may itself lie in a system folder (/var/home on image-based systems).
    if (BMLocalPaths::isPathSystemDirectory(canonical, true) ||
        (!isSameOrInside(canonical, m_home) && isInsideSystemFolder(canonical)))
        return QStringLiteral("%1 is a system folder or lies in one").arg(where);
    if (!m_location.isEmpty()) {
        if (m_canonicalLocation.isEmpty())
            return QStringLiteral("%1: its autosave location %2 cannot be resolved (%3)")
                .arg(shown, FileName::displayText(m_location), m_locationError);
        if (canonical == m_canonicalLocation || !isSameOrInside(canonical, m_canonicalLocation))
            return QStringLiteral("%1 lies outside its autosave location %2")
                .arg(where, FileName::displayText(m_location));
    }
    return QString();
}

bool DestructiveGuard::permits(const QString& path, QString* reason) const {
    const QString refused = refusal(path);
    if (reason)
        *reason = refused;
    return refused.isEmpty();
}
