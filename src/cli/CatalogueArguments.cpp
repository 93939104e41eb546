#include "CatalogueArguments.h"

#include "catalogue/CatalogueLocations.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMSettings.h"
#include "foundation/Console.h"
#include "foundation/DestructiveGuard.h"
#include "foundation/FileName.h"

#include <QDir>
#include <QFile>
#include <QHash>

namespace CatalogueArguments {

namespace {

QString suffixList() {
    QStringList quoted;
    for (const QString& suffix : AutosaveFolderScanner::acceptedSuffixes())
        quoted << QLatin1Char('"') + suffix + QLatin1Char('"');
    const QString last = quoted.takeLast();
    return quoted.join(QStringLiteral(", ")) + QStringLiteral(" or ") + last;
}

} // namespace

void warn(const char* command, const QString& text) {
    Console::print(QStringLiteral("vestry %1: %2").arg(QString::fromLatin1(command), text));
}

QString absolutePath(const QString& path) {
    if (path.startsWith(QLatin1Char('/')))
        return path;
    QString absolute = QDir::cleanPath(QDir::currentPath() + QLatin1Char('/') + path);
    if (path.endsWith(QLatin1Char('/')) && !absolute.endsWith(QLatin1Char('/')))
        absolute += QLatin1Char('/');
    return absolute;
}

QString absolutePath(const std::string& argument) {
    return absolutePath(FileName::decode(QByteArray::fromStdString(argument)));
}

namespace {

// Scans with the scan given, then explains a folder it could not take.
template <typename Scan>
bool scanExplained(const char* command, const QString& path, const Scan& scan) {
    auto fail = [&](const QString& problem) {
        warn(command, QStringLiteral("%1: %2").arg(path, problem));
        return false;
    };
    if (!BMFileManager::fileExistsAtPath(path))
        return fail(QStringLiteral("no such folder"));
    if (!BMFileManager::isDirectoryAtPath(path))
        return fail(QStringLiteral("not a folder"));
    ScanStatus status = ScanStatus::Failed;
    scan(&status);
    switch (status) {
    case ScanStatus::Scanned:
        return true;
    case ScanStatus::UnknownSuffix: {
        QString problem =
            QStringLiteral("not an autosave location: its path must end with %1").arg(suffixList());
        QString trimmed = path;
        while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
            trimmed.chop(1);
        if (trimmed != path &&
            AutosaveFolderScanner::layoutForFolder(trimmed) != AutosaveFolderScanner::Layout::None)
            problem += QStringLiteral(" (write it without the trailing \"/\")");
        return fail(problem);
    }
    case ScanStatus::Missing:
        return fail(QStringLiteral("no such folder"));
    case ScanStatus::NotAFolder:
        return fail(QStringLiteral("not a folder"));
    case ScanStatus::ListingFailed: {
        bool listed = false;
        QString cause;
        BMFileManager::contentsOfDirectory(path, &listed, &cause);
        return fail(cause.isEmpty() ? QStringLiteral("the folder could not be read")
                                    : QStringLiteral("the folder could not be read: %1").arg(cause));
    }
    case ScanStatus::Failed:
        return fail(QStringLiteral("the scan failed; the log has the details"));
    }
    return false;
}

} // namespace

bool scanNamedFolder(const char* command, const AutosaveFolderScanner& scanner, const QString& path,
                     BMProjectList& projects) {
    return scanExplained(command, path, [&](ScanStatus* status) {
        const std::optional<BMProjectList> found = scanner.projectsFromFolder(path, status);
        if (*status == ScanStatus::Scanned)
            projects += found.value_or(BMProjectList());
    });
}

bool scanNamedFolder(const char* command, const AutosaveFolderScanner& scanner, const QString& path,
                     const AutosaveFolderScanner::ProjectSink& sink) {
    return scanExplained(command, path, [&](ScanStatus* status) { scanner.scanFolder(path, sink, status); });
}

namespace {

template <typename ScanLocation, typename ScanNamed>
void catalogueOf(const char* command, const std::vector<std::string>& paths, bool* ok,
                 const ScanLocation& scanLocation, const ScanNamed& scanNamed) {
    AutosaveFolderScanner scanner;
    scanner.setWarningHook([command](const QString& warning) { warn(command, warning); });
    *ok = true;
    if (paths.empty()) {
        const CatalogueLocations locations;
        for (const QString& location : locations.locations(BMSettings::standard()))
            scanLocation(scanner, location);
        return;
    }
    // The same folder named twice (once through a link, say) is listed once: twice, its
    // autosaves would be counted twice and a prune would set out to remove each twice.
    QHash<QString, QString> scanned; // real path -> the path it was first scanned by
    for (const std::string& argument : paths) {
        const QString path = absolutePath(argument);
        const QString real = DestructiveGuard::resolvedFolder(path);
        if (const auto first = scanned.constFind(real); !real.isEmpty() && first != scanned.cend()) {
            warn(command, QStringLiteral("%1: the same folder as %2, taken once")
                              .arg(FileName::displayText(path), FileName::displayText(*first)));
            continue;
        }
        if (!scanNamed(scanner, path))
            *ok = false;
        else if (!real.isEmpty())
            scanned.insert(real, path);
    }
}

} // namespace

BMProjectList catalogue(const char* command, const std::vector<std::string>& paths, bool* ok) {
    BMProjectList projects;
    catalogueOf(
        command, paths, ok,
        [&](const AutosaveFolderScanner& scanner, const QString& location) {
            projects += scanner.projectsFromFolder(location).value_or(BMProjectList());
        },
        [&](const AutosaveFolderScanner& scanner, const QString& path) {
            return scanNamedFolder(command, scanner, path, projects);
        });
    return projects;
}

void catalogue(const char* command, const std::vector<std::string>& paths, bool* ok,
               const AutosaveFolderScanner::ProjectSink& sink) {
    catalogueOf(
        command, paths, ok,
        [&](const AutosaveFolderScanner& scanner, const QString& location) {
            scanner.scanFolder(location, sink);
        },
        [&](const AutosaveFolderScanner& scanner, const QString& path) {
            return scanNamedFolder(command, scanner, path, sink);
        });
}

} // namespace CatalogueArguments
