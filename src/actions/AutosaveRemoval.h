#pragma once

#include "ActionProgress.h"
#include "AutosaveSelection.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QStringList>

// One autosave that went to the Trash, as it was listed.
struct RemovedAutosave {
    QString path;
    double size = 0;
    QDateTime createdDate;
    bool operator==(const RemovedAutosave&) const = default;
};

// What a removal did.
struct RemovalReport {
    QList<RemovedAutosave> removed;  // in the Trash now, in the order removed
    QStringList missing;             // already gone (another run moved them since the scan): no failure
    QStringList failed;              // still in place: the Trash refused them
    QHash<QString, QString> reasons; // why, for those of failed where it is known
    QStringList foldersRemoved;      // folders left empty and removed
    QString error;                   // why nothing was touched at all (another run holds a location)
    qint64 total = 0;                // the autosaves it set out to remove
    bool cancelled = false;          // stopped between two files; those not reached are untouched

    double bytes() const;
    bool ok() const { return failed.isEmpty() && error.isEmpty(); }
};

// Removal of autosaves: each file goes to the Trash through BMFileManager (restorable from
// there), then the folder it leaves empty is removed. Files that no longer exist are
// skipped. Both forms run on the calling thread (a worker in the window); neither rebuilds
// the catalogue, which is the caller's next step. Both hold the locks of the locations
// involved (LocationLocks) while they work; when one stays taken, nothing is touched and
// the report's error says who holds it. A set cancel flag stops either before the next file.
class AutosaveRemoval {
public:
    enum class OnFailure {
        Continue, // the others are still removed (the window)
        Stop,     // nothing more is touched after the first refusal (the command line)
    };

    // What the rows stand for: a project's autosaves and then the project's folder if it is
    // left empty; a single autosave and then its containing folder if left empty.
    // With onlyThese, autosaves of other paths are left alone (an archive removes only what
    // its zip was shown to hold).
    static RemovalReport removeIndexSet(const SelectedRows& rows, const ProgressCallback& progress = {},
                                        OnFailure onFailure = OnFailure::Continue,
                                        const QSet<QString>* onlyThese = nullptr,
                                        const CancelFlag* cancel = nullptr);
    // Exactly these autosaves, each followed by its project's folder if left empty. An
    // autosave listed twice is removed once and then found missing.
    static RemovalReport removeChildren(const BMAutoItemList& items, const ProgressCallback& progress = {},
                                        OnFailure onFailure = OnFailure::Continue,
                                        const CancelFlag* cancel = nullptr);

    // Removes the folder when it is one and holds nothing that counts (BMFileManager's
    // rule). A project's path that is a file (a loose Premiere autosave, an event's current
    // version) is never touched, nor a folder that really lies outside the location.
    static bool removeFolderIfEmpty(const QString& path, RemovalReport* report = nullptr,
                                    const QString& location = QString());

    // A list that is minutes or days old may show a file that an editor has since written
    // again under the same name (Premiere reuses its autosave names): that file is not the one
    // the user or a rule chose, so nothing takes it away. True, with why naming the file and
    // what it is now, when its size or modification time are no longer those listed. Folders
    // are left to the guard and the Trash; their dates say little.
    static bool changedSinceListed(const BMAutoItem& item, QString* why);
};
