#include "CatalogueRows.h"

#include "CatalogueArguments.h"
#include "catalogue/AutosaveType.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"

#include <QDir>

namespace {

QString withoutTrailingSlashes(QString path) {
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}

// The nearest folder above the path that is an autosave location; null when none is.
QString locationAbove(const QString& path) {
    QString folder = PathText::deletingLastComponent(path);
    while (!folder.isEmpty() && folder != QLatin1String("/")) {
        if (AutosaveFolderScanner::layoutForFolder(folder) != AutosaveFolderScanner::Layout::None)
            return folder;
        folder = PathText::deletingLastComponent(folder);
    }
    return QString();
}

// The row a path stands for among the projects of its location: an autosave by its own
// path first (a loose Premiere project's path is its first autosave's), then a project by
// its path or, for an event, by its folder.
std::optional<SelectedRow> rowFor(const QString& path, const BMProjectList& projects) {
    for (const BMProjectPtr& project : projects) {
        for (const BMAutoItemPtr& item : project->children()) {
            if (item->path() == path)
                return SelectedRow::ofItem(item);
        }
    }
    for (const BMProjectPtr& project : projects) {
        const bool eventFolder = AutosaveType::normalized(project->type()) == AutosaveType::FinalCutX &&
                                 PathText::deletingLastComponent(project->path()) == path;
        if (project->path() == path || eventFolder)
            return SelectedRow::ofProject(project);
    }
    return std::nullopt;
}

} // namespace

CatalogueRows::CatalogueRows(const char* command) : m_command(command) {
    m_scanner.setWarningHook(
        [command](const QString& warning) { CatalogueArguments::warn(command, warning); });
}

QString CatalogueRows::cleanPath(const QString& typed) {
    return withoutTrailingSlashes(QDir::cleanPath(CatalogueArguments::absolutePath(typed)));
}

std::optional<SelectedRow> CatalogueRows::resolve(const QString& typed) {
    const QString path = cleanPath(typed);
    auto fail = [&](const QString& problem) {
        CatalogueArguments::warn(m_command, QStringLiteral("%1: %2").arg(typed, problem));
        return std::nullopt;
    };
    if (!FileTree::exists(path))
        return fail(QStringLiteral("no such file or folder"));
    if (AutosaveFolderScanner::layoutForFolder(path) != AutosaveFolderScanner::Layout::None)
        return fail(QStringLiteral("is an autosave location; name the projects or autosaves in it"));
    const QString location = locationAbove(path);
    if (location.isEmpty())
        return fail(QStringLiteral("not inside an autosave location (see vestry list)"));
    if (!m_scanned.contains(location))
        m_scanned.insert(location, m_scanner.projectsFromFolder(location).value_or(BMProjectList()));
    if (std::optional<SelectedRow> row = rowFor(path, m_scanned.value(location)))
        return row;
    return fail(QStringLiteral("not a project or autosave that Vestry lists in %1").arg(location));
}
