#pragma once

#include "ActionProgress.h"
#include "ActionTexts.h"
#include "AutosaveRemoval.h"
#include "AutosaveSelection.h"

// Packs the selected autosaves into one zip archive and then clears them away: they are
// gathered in a private temporary folder, one sub-folder per folder that held them, the
// folder's contents are compressed in ditto's layout ("ditto -c -k --sequesterRsrc" where
// the tool exists, libarchive writing the same layout elsewhere), and only once the archive
// exists do the autosaves go to the Trash. Runs on the calling (worker) thread.
class AutosaveArchiver {
public:
    // "Brightmoor/Halvern/Vestry Temp" in the user's Application Support folder.
    static QString temporaryFolder();
    // "<first row's name without its extension>.zip"; empty with no row.
    static QString proposedFileName(const SelectedRows& rows);

    struct Result {
        bool archived = false; // the archive exists at the destination
        qint64 autosaves = 0;  // how many went into it
        ActionError error;     // what the user is told when it stopped; nothing was removed then
        RemovalReport removal; // what went to the Trash once the archive existed
    };

    // An archive already at the destination goes to the Trash first (the user agreed to
    // replace it), so that a failed run can never pass it off as the new one.
    static Result archiveSelectionToFile(const SelectedRows& rows, const QString& destination,
                                         const ProgressCallback& progress = {});
};
