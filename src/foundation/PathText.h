#pragma once

#include <QString>
#include <QStringList>

// Path strings handled as text, the way the rest of the program reasons about them: no
// disk access, no symbolic link resolution.
class PathText {
public:
    // Joins with exactly one "/" and drops a trailing "/" of the result (except for "/").
    static QString appendingComponent(const QString& base, const QString& component);
    static QString lastComponent(const QString& path);
    static QString deletingLastComponent(const QString& path);
    // The extension after the last "." of the last component; empty when there is none.
    static QString extension(const QString& path);
    static QString deletingExtension(const QString& path);
    // "/" first for absolute paths, then every non-empty component.
    static QStringList components(const QString& path);
    // The home folder at the start of a path becomes "~".
    static QString abbreviatingHome(const QString& path, const QString& home);
    static QString expandingTilde(const QString& path, const QString& home);
};
