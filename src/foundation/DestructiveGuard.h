#pragma once

#include <QString>
#include <QStringList>

// The question every destructive step asks of the path it is about to trash, remove or move:
// where does it really lead? The system-folder guard reads paths as text; a path that runs
// through a symbolic link ("Auto-Save/linked/Documents") reads harmless and lands on the
// user's Documents. Here the real location counts: the canonical path of the item's parent
// folder plus the item's own name. The item itself is never resolved, because a link that is
// trashed or moved is the link, its target untouched.
//
// Refused are the system folders, the home folder, its standard folders (Documents, Desktop,
// Movies, Music, Pictures, Downloads, Public, Library and the XDG user folders), any folder
// that holds the home, and, when a location is given, anything that is not strictly inside
// that location's canonical path.
class DestructiveGuard {
public:
    // Without a location only the protected folders are refused.
    explicit DestructiveGuard(const QString& location = QString());

    // Empty when the path may be destroyed; otherwise why not, in words, naming the path.
    QString refusal(const QString& path) const;
    bool permits(const QString& path, QString* reason = nullptr) const;

    // The item's parent resolved, its own name kept; empty with the system's reason when the
    // parent folder cannot be resolved. A path ending in "/", "." or ".." names the folder
    // it leads to, so that one is resolved whole.
    static QString canonicalPath(const QString& path, QString* error = nullptr);
    // The folder itself resolved; empty when it cannot be.
    static QString resolvedFolder(const QString& path, QString* error = nullptr);

private:
    QString m_location;          // as given, for messages
    QString m_canonicalLocation; // empty when no location was given or it cannot be resolved
    QString m_locationError;
    QString m_home;
    QStringList m_protected; // canonical
};
