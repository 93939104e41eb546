#pragma once

#include "actions/TrashRestore.h"
#include "catalogue/BMProject.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

// A project file of a supported editor lying in a Trash.
struct TrashedProject {
    QString pathInTrash;
    QString originalPath; // from its restore record; empty without one
    QString originalName; // from its restore record when it has one: the Trash may have renamed it
    QDateTime trashedAt;  // from the record; invalid without one
    int type = 0;         // AutosaveType
    // What the catalogue calls the project: the file name without its extension, or for a
    // Final Cut Pro X library the library's name.
    QString projectName;
};

// Finding the project files in the Trash, and the catalogue projects they stand for.
class TrashedProjects {
public:
    // The folders that hold trashed items: the home Trash's, then on the volume of each
    // location ".Trash-$uid/files" and ".Trash/$uid/files" where they exist. Each once.
    static QStringList trashItemFolders(const QStringList& locations);

    // The project files at the top of one such folder (an item in a trashed folder is not
    // looked into: the folder may hold anything).
    static QList<TrashedProject> inFolder(const QString& itemsFolder);

    // What a file of that name would be: ".prproj", ".motn", ".fcp", ".avp", ".fcpbundle",
    // or with finalCutType (a FinderInfo of "FCPF") a Final Cut Pro 7 file of any name.
    // False for anything else.
    static bool describe(const QString& originalName, bool finalCutType, TrashedProject& project);

    // Whether a catalogue project is the one the trashed file stands for: the same editor
    // and name; for a library, a location that is that library or its backups.
    static bool matches(const TrashedProject& trashed, const BMProject& project);

    using Record = TrashRestore::Record;
};
