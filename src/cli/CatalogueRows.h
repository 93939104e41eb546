#pragma once

#include "actions/AutosaveSelection.h"
#include "catalogue/AutosaveFolderScanner.h"

#include <QMap>
#include <QString>

#include <optional>

// The project or autosave a path typed on the command line stands for: the path must exist,
// lie inside an autosave location, and be a project (its folder; for a Final Cut Pro X event
// its folder or its CurrentVersion.fcpevent) or a single autosave that the location's scan
// lists. Each location is scanned once however many paths lie in it.
class CatalogueRows {
public:
    explicit CatalogueRows(const char* command);

    // The row, or nothing after saying why on standard error, naming the path as typed.
    std::optional<SelectedRow> resolve(const QString& typed);

    // The typed path made absolute and clean, without a trailing slash, as resolve reads it.
    static QString cleanPath(const QString& typed);

private:
    const char* m_command;
    AutosaveFolderScanner m_scanner;
    QMap<QString, BMProjectList> m_scanned;
};
