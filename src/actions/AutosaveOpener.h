#pragma once

#include "ActionProgress.h"
#include "AutosaveSelection.h"

#include <QHash>
#include <QStringList>

// Opening autosaves in the editor that wrote them, putting Final Cut Pro X event backups
// back in place, revealing in the file manager, and copying or moving autosaves to a folder.
// The desktop is reached through the platform seam (Platform::openFiles and friends).
class AutosaveOpener {
public:
    static constexpr char finalCutExpress[] = "com.apple.FinalCutExpress";
    static constexpr char finalCutPro[] = "com.apple.FinalCutPro";
    static constexpr char finalCutX[] = "com.apple.FinalCut";
    static constexpr char motion[] = "com.apple.motion";
    static constexpr char premiere[] = "com.adobe.AdobePremierePro";
    static constexpr char mediaComposer[] = "com.avid.MediaComposer";

    // Final Cut Express when the desktop knows an application under its identifier, else
    // Final Cut Pro. Asked once per action.
    static QString finalCutIdentifier();
    // The editor of a type code; any code outside 1 to 4 is Final Cut Pro 7 or Express.
    static QString bundleIdentifierForType(int type, const QString& finalCutIdentifier);

    // The autosave opened at once without a question: one row selected that is an autosave,
    // or a project with exactly one. Null otherwise; `applies` tells whether the single-row
    // case held at all (a lone project without autosaves opens nothing and asks nothing).
    static BMAutoItemPtr singleItem(const SelectedRows& rows, bool* applies);

    // The files of a selection, one list per application, each file once per list; event
    // backups apart (they are restored, not opened).
    struct Plan {
        QString finalCutIdentifier;
        QStringList finalCut, motion, premiere, avid;
        QStringList eventBackups;
        // The files of the four lists; event backups are not counted, on purpose.
        qsizetype total() const { return finalCut.size() + motion.size() + premiere.size() + avid.size(); }
    };
    static Plan planFor(const SelectedRows& rows, const QString& finalCutIdentifier);

    // Hands each non-empty list to its application in one call; then restores each event
    // backup in turn and launches Final Cut Pro X once when there was any. Returns the files
    // the desktop could not open; notLaunched tells whether Final Cut Pro X was due and could
    // not be started; notRestored gets each backup that could not be put in place, with why.
    using Reasons = QHash<QString, QString>;
    static QStringList open(const Plan& plan, bool* notLaunched = nullptr, Reasons* notRestored = nullptr);
    // One autosave: an event backup is restored and Final Cut Pro X launched; anything else
    // is opened with its editor. False when the desktop could not open it.
    static bool openItem(const BMAutoItem& item, const QString& finalCutIdentifier,
                         bool* notLaunched = nullptr, Reasons* notRestored = nullptr);

    // Puts an event backup in place of its event's current version ("CurrentVersion.fcpevent"
    // in the folder above the backup's folder), which is kept aside under a free name
    // "CurrentVersion-Backup.fcpevent". False, with the current version where it was, when
    // there is none or the backup cannot be put in its place; also, touching nothing, when the
    // backup is cut short or the event is open (another program holds a lock on it, or the
    // editor's journal beside it holds changes not yet written into it). error, when given,
    // gets the file and the cause.
    static bool restoreFCPXEvent(const QString& backupPath, QString* error = nullptr);

    // Shows the first row: an autosave selected in its folder, a project's folder opened.
    static bool showInFinder(const SelectedRows& rows);

    enum class Transfer { Copy, Move };
    struct TransferReport {
        QStringList done;                // destinations written
        QStringList failed;              // sources that could not be copied or moved
        QHash<QString, QString> reasons; // for failed: the file and the cause in words
        QString error;                   // a move that did not start: another run holds a location
        qint64 total = 0;                // the autosaves it set out to copy or move
        bool cancelled = false;          // stopped between two files; those not reached are untouched
    };
    // Copies or moves every autosave of the rows that still exists into the folder (under
    // its own name, or a free one beside an existing file), then removes the folders a move
    // left empty. Moving an autosave into the folder it lies in leaves it as it is. A move
    // holds the locks of the locations it empties (LocationLocks). A set cancel flag stops it
    // before the next file; the one under way is finished.
    static TransferReport copyFiles(const SelectedRows& rows, const QString& folder, Transfer transfer,
                                    const ProgressCallback& progress = {},
                                    const CancelFlag* cancel = nullptr);
};
