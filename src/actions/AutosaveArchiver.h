#pragma once

#include "ActionProgress.h"
#include "ActionTexts.h"
#include "AutosaveRemoval.h"
#include "AutosaveSelection.h"
#include "catalogue/PinnedPaths.h"

// Packs the selected autosaves into one zip archive and then clears them away: they are
// gathered in a temporary folder of the run's own, one sub-folder per folder that held them,
// the folder's contents are compressed in ditto's layout ("ditto -c -k --sequesterRsrc"
// where the tool exists, libarchive writing the same layout elsewhere), the archive is read
// back, and only the autosaves it was shown to hold, whole, go to the Trash. The locations
// involved stay locked (LocationLocks) from the gathering to the last removal. Runs on the
// calling (worker) thread.
class AutosaveArchiver {
public:
    // "Brightmoor/Halvern" in the user's Application Support folder: each run makes its own
    // "Vestry Temp XXXXXX" there and takes only that away. A plain "Vestry Temp" that older
    // versions left is never touched.
    static QString temporaryFolderParent();
    // "<first row's name without its extension>.zip"; empty with no row.
    static QString proposedFileName(const SelectedRows& rows);

    struct Result {
        bool archived = false;  // the archive exists at the destination
        qint64 autosaves = 0;   // how many went into it
        ActionError error;      // what the user is told when it stopped; nothing was removed then
                                // (an archive that failed its check is left at the destination)
        RemovalReport removal;  // what went to the Trash once the archive existed
        QStringList pinned;     // archived but left in place: a pin keeps an autosave where it is
        bool cancelled = false; // stopped before the archive was complete: no archive and nothing
                                // removed (a stop while trashing shows in removal instead)
    };

    // What becomes of a file at the destination when the archive is about to be written.
    enum class Existing {
        Replace, // it goes to the Trash first (the user agreed to replace it)
        Refuse,  // the archive fails and nothing moves: the file came after the user's check
                 // (another run's archive, finished while this one gathered)
    };

    // An archive already at the destination goes to the Trash first (existing, by default),
    // so that a failed run can never pass it off as the new one. A set cancel flag
    // before the archive is complete and checked takes away what this run wrote (its scratch
    // folder, its unfinished archive) and trashes nothing; once the archive is checked, it
    // stays and the trashing stops between files. Pinned autosaves (pins, by default the stored
    // ones) go into the archive like the rest but never to the Trash.
    static Result archiveSelectionToFile(const SelectedRows& rows, const QString& destination,
                                         const ProgressCallback& progress = {},
                                         const CancelFlag* cancel = nullptr,
                                         const PinnedPaths& pins = PinnedPaths::stored(),
                                         Existing existing = Existing::Replace);
};
