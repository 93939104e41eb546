#include "AutosaveSelection.h"

#include "foundation/PathText.h"

QString SelectedRow::name() const {
    if (project)
        return project->name();
    return item ? item->name() : QString();
}

QString SelectedRow::path() const {
    if (project)
        return project->path();
    return item ? item->path() : QString();
}

BMAutoItemList SelectedRow::autosaves() const {
    if (project)
        return project->children();
    return item ? BMAutoItemList{item} : BMAutoItemList();
}

namespace AutosaveSelection {

BMAutoItemList autosavesOf(const SelectedRows& rows) {
    BMAutoItemList autosaves;
    for (const SelectedRow& row : rows)
        autosaves += row.autosaves();
    return autosaves;
}

SelectedRows allProjects(const BMProjectList& projects) {
    SelectedRows rows;
    rows.reserve(projects.size());
    for (const BMProjectPtr& project : projects)
        rows << SelectedRow::ofProject(project);
    return rows;
}

QString containingFolder(const QString& path) {
    return PathText::deletingLastComponent(path);
}

QString locationOf(const BMAutoItemPtr& item) {
    const BMProjectPtr project = item ? item->parent() : nullptr;
    return project ? project->location() : QString();
}

QString locationOf(const SelectedRow& row) {
    return row.isProject() ? row.project->location() : locationOf(row.item);
}

} // namespace AutosaveSelection
