#pragma once

#include <QString>
#include <QStringList>

// The program's single entry point for looking at and changing the file system. Every
// operation is class-level and keeps no state, so any thread may call it.
class BMFileManager {
public:
    // ---- Directory listing --------------------------------------------------------------
    // The names in a folder (hidden ones included, "." and ".." not), in code-point order so
    // that every file system lists the same way. Null optional-like: ok is false when the
    // folder cannot be read.
    static QStringList contentsOfDirectory(const QString& path, bool* ok = nullptr, QString* error = nullptr);
    static bool fileExistsAtPath(const QString& path);
    static bool isDirectoryAtPath(const QString& path);

    // ---- Path patterns and names --------------------------------------------------------
    // The first match of the pattern, or base + pattern when nothing matches.
    static QString decodeWildcardPath(const QString& pattern, const QString& basePath);
    static QStringList filesMatchingWildcardPath(const QString& pattern);
    static QStringList filesMatchingWildcardPath(const QString& pattern, const QString& basePath);
    // searchSubdirs is accepted and, by design, not used.
    static QStringList filesMatchingWildcardPath(const QString& pattern, const QString& basePath,
                                                 bool searchSubdirs);
    // "*" any run of characters, "?" one character, case-sensitive.
    static bool matchesLikePattern(const QString& name, const QString& pattern);
    static QString validateFilename(const QString& name);
    // The path itself when free, else "name 2.ext", "name 3.ext", ...
    static QString uniqueFilename(const QString& path);
};
