// Path patterns and file names: the part of BMFileManager that works on names only.
#include "BMFileManager.h"
#include "PathText.h"
#include "foundation/FileName.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

QStringList BMFileManager::contentsOfDirectory(const QString& path, bool* ok, QString* error,
                                               QStringList* symbolicLinks) {
    QStringList names;
    DIR* dir = ::opendir(FileName::encode(path).constData());
    if (!dir) {
        if (ok)
            *ok = false;
        if (error)
            *error = QString::fromLocal8Bit(std::strerror(errno));
        return names;
    }
    while (dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        bool link = false;
        if (symbolicLinks) {
            link = entry->d_type == DT_LNK;
            struct stat info {};
            if (entry->d_type == DT_UNKNOWN)
                link =
                    ::fstatat(::dirfd(dir), name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(info.st_mode);
        }
        (link ? *symbolicLinks : names).append(FileName::decode(name));
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    if (symbolicLinks)
        std::sort(symbolicLinks->begin(), symbolicLinks->end());
    if (ok)
        *ok = true;
    return names;
}

bool BMFileManager::fileExistsAtPath(const QString& path) {
    struct stat info {};
    return !path.isEmpty() && ::stat(FileName::encode(path).constData(), &info) == 0;
}

bool BMFileManager::isDirectoryAtPath(const QString& path) {
    struct stat info {};
    return !path.isEmpty() && ::stat(FileName::encode(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool BMFileManager::matchesLikePattern(const QString& name, const QString& pattern) {
    // Iterative wildcard match with single back-tracking point: linear in practice and
    // never recursive, whatever the pattern.
    qsizetype n = 0, p = 0, starP = -1, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == QLatin1Char('?') || pattern[p] == name[n])) {
            ++n;
            ++p;
        } else if (p < pattern.size() && pattern[p] == QLatin1Char('*')) {
            starP = p++;
            starN = n;
        } else if (starP >= 0) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == QLatin1Char('*'))
        ++p;
    return p == pattern.size();
}

QStringList BMFileManager::filesMatchingWildcardPath(const QString& pattern) {
    return filesMatchingWildcardPath(pattern, QString(), false);
}

QStringList BMFileManager::filesMatchingWildcardPath(const QString& pattern, const QString& basePath) {
    return filesMatchingWildcardPath(pattern, basePath, false);
}

QStringList BMFileManager::filesMatchingWildcardPath(const QString& pattern, const QString& basePath, bool) {
    const bool hasBase = !basePath.isEmpty();
    if (!pattern.contains(QLatin1Char('*')))
        return {hasBase ? PathText::appendingComponent(basePath, pattern) : pattern};

    const QString root = hasBase ? basePath : QStringLiteral("/");
    QStringList candidates{root};
    for (const QString& component : PathText::components(pattern)) {
        QStringList next;
        if (component == QLatin1String("/")) {
            next << root;
        } else if (component.contains(QLatin1Char('*'))) {
            for (const QString& folder : candidates) {
                for (const QString& entry : contentsOfDirectory(folder)) {
                    const QString full = PathText::appendingComponent(folder, entry);
                    if (matchesLikePattern(entry, component) && fileExistsAtPath(full))
                        next << full;
                }
            }
        } else {
            for (const QString& folder : candidates) {
                const QString full = PathText::appendingComponent(folder, component);
                if (fileExistsAtPath(full))
                    next << full;
            }
        }
        candidates = next;
    }
    return candidates;
}

QString BMFileManager::decodeWildcardPath(const QString& pattern, const QString& basePath) {
    const QStringList matches = filesMatchingWildcardPath(pattern, basePath);
    if (!matches.isEmpty())
        return matches.first();
    return PathText::appendingComponent(basePath, pattern);
}

QString BMFileManager::validateFilename(const QString& name) {
    if (name == QLatin1String("."))
        return QStringLiteral("");
    QString cleaned = name;
    if (cleaned.startsWith(QLatin1Char('.')))
        cleaned.remove(0, 1);
    cleaned = cleaned.trimmed();
    cleaned.remove(QLatin1Char('/'));
    cleaned.remove(QLatin1Char(':'));
    return cleaned;
}

// Taken means anything at the path, a dangling symbolic link included: a free name must
// never point into something that is there.
static bool pathIsTaken(const QString& path) {
    struct stat info {};
    return ::lstat(FileName::encode(path).constData(), &info) == 0;
}

QString BMFileManager::uniqueFilename(const QString& path) {
    if (!pathIsTaken(path))
        return path;
    const QString extension = PathText::extension(path);
    const QString folder = PathText::deletingLastComponent(path);
    const QString name = PathText::lastComponent(PathText::deletingExtension(path));
    for (long n = 2;; ++n) {
        QString tail = QLatin1Char(' ') + QString::number(n);
        if (!extension.isEmpty())
            tail += QLatin1Char('.') + extension;
        // The number must fit in a name of NAME_MAX bytes: whole characters go from the end.
        QString stem = name;
        while (!stem.isEmpty() && FileName::encode(stem + tail).size() > NAME_MAX) {
            const bool pair =
                stem.size() >= 2 && stem.back().isLowSurrogate() && stem[stem.size() - 2].isHighSurrogate();
            stem.chop(pair ? 2 : 1);
        }
        const QString candidate = PathText::appendingComponent(folder, stem + tail);
        if (!pathIsTaken(candidate))
            return candidate;
    }
}
