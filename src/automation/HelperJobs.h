#pragma once

#include "BMLaunchd.h"

#include <QString>
#include <QStringList>

// The two background jobs that run vestry-helper: the removal helper ("-trash"), started when
// something lands in the user's Trash, and the clean-up helper ("-clean FOLDER"), started when
// the chosen autosave folder or one of its project folders changes. Both also run once when
// loaded. This class builds their descriptions from the settings and installs or removes them
// through BMLaunchd; the window's check boxes, `vestry helper` and the reinstall at start all
// come here.
class HelperJobs {
public:
    static constexpr char trashLabel[] = "com.brightmoor.VestryTrashHelper";
    static constexpr char cleanLabel[] = "com.brightmoor.VestryCleanHelper";

    // computerWide: the jobs of the whole computer (a file server's), not the user's.
    explicit HelperJobs(bool computerWide = false);

    // The helper program the jobs run: vestry-helper beside this program, else in libexec/vestry
    // of the tree this program is installed in, else where the package installs it.
    static QString helperProgram();
    // The removal job; it watches the folder the Trash keeps trashed items in.
    static LaunchJobSettings trashJob(const QString& program, const QString& trashItemsFolder);
    static LaunchJobSettings cleanJob(const QString& program, const QString& folder,
                                      const QStringList& watchPaths);
    // The folder, then in listing order each folder in it, except that an entry whose name
    // ends in "Avid Attic" gives the folders inside its "Bins" instead. Plain files are not
    // watched.
    static QStringList cleanWatchList(const QString& folder);
    // The autosave folder of the clean-up job from the settings, "~" expanded.
    static QString cleanFolder();

    // Each logs its first line, synchronises the settings so that the helper reads the
    // current ones, and installs the job. False when the job is not in place.
    bool setupTrashHelper();
    // quiet: a missing folder is only logged, never shown.
    bool setupCleanHelper(bool quiet = false);
    void stopTrashHelper();
    void stopCleanHelper();
    // Stop, then set up again.
    bool toggleTrashHelper();
    bool toggleCleanHelper(bool quiet = false);

    // Whether the jobs folder can be written without asking for rights: the enabled helpers
    // are reinstalled at start only then.
    bool jobsFolderWritable() const;

    struct JobState {
        QString label;
        bool switchedOn = false;  // the setting
        bool installed = false;   // every job file is in place
        QStringList watchedPaths; // as the installed job names them
    };
    JobState trashState() const;
    JobState cleanState() const;

private:
    bool m_user;
};
