#pragma once

#include "catalogue/BMProject.h"

#include <QList>
#include <QString>

// One selected row of the outline: a whole project or a single autosave. The actions work
// on rows in ascending row order, resolved to catalogue nodes before the work starts, so a
// rebuild of the catalogue meanwhile cannot change what they act on.
struct SelectedRow {
    BMProjectPtr project; // set for a project row
    BMAutoItemPtr item;   // set for an autosave row

    static SelectedRow ofProject(BMProjectPtr project) { return SelectedRow{std::move(project), nullptr}; }
    static SelectedRow ofItem(BMAutoItemPtr item) { return SelectedRow{nullptr, std::move(item)}; }

    bool isProject() const { return project != nullptr; }
    QString name() const;
    QString path() const;
    // The project's autosaves in their current order, or the single autosave.
    BMAutoItemList autosaves() const;
};
using SelectedRows = QList<SelectedRow>;

namespace AutosaveSelection {

// Every autosave the rows stand for, row after row. An autosave selected with its own
// project comes twice: once for the project row, once for its own.
BMAutoItemList autosavesOf(const SelectedRows& rows);
// Every project as a selected row, as the command line applies the menu actions to all.
SelectedRows allProjects(const BMProjectList& projects);
// The folder that holds an autosave file.
QString containingFolder(const QString& path);
// The autosave location the scan found the item's project in; empty when it has none.
QString locationOf(const BMAutoItemPtr& item);
// The same for a row: its project's, or its autosave's project's.
QString locationOf(const SelectedRow& row);

} // namespace AutosaveSelection
