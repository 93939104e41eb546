#pragma once

#include "AutosaveFolderScanner.h"
#include "VolumeSearch.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>

class BMFCPPrefParser;
class BMSettings;

// Finds autosave locations the application does not know yet and adds each one that holds at
// least one project to the remembered list ("autosavePaths"). The editors' own preference
// files are asked first (Final Cut Pro, Final Cut Express, Motion, Premiere), then the name
// search (Spotlight on a Mac, plocate or locate here), then the removable and network volumes
// that the name search leaves out, walked within bounds (VolumeSearch). A location is never
// removed.
//
// Only a search that could ask the name search stores what it found: on a machine without one,
// the locations read from the preferences are scanned but not remembered. That is how the
// application has always behaved, and it is kept.
//
// Searches overlap (the timer's and the one after each rebuild): each works on its own copy of
// the list and the later write wins. One discovery object serves them all; everything it holds
// is safe to share between threads.
class LocationDiscovery {
public:
    // What a search asks of the window. Every hook is optional: a missing one answers false or
    // does nothing, which is what a program without a window wants.
    struct WindowHooks {
        // Whether the main window is the key window. Called on the main thread.
        std::function<bool()> isMainWindowKey;
        // Shows the progress sheet; called on the main thread, and the search waits for it.
        std::function<void()> showProgress;
        // Hides it; on the main thread, waited for, at the end of every search.
        std::function<void()> endProgress;
        // Starts a catalogue rebuild without saving the expanded rows; called on the search's
        // own thread, so it must hand the rebuild to another thread and return.
        std::function<void()> populateDataNoSave;
        // Given to the folder scanner: called on the search's thread when a scan stores the
        // first autosave folder in the settings.
        AutosaveFolderScanner::AutosaveFolderHook autosaveFolderStored;
    };

    // One removable or network volume a search walked (or took from the last hour's walk).
    struct SearchedVolume {
        QString path;
        bool cutOff = false;
        QString problem; // why it could not be walked; null when it could
    };

    // What one search did.
    struct Outcome {
        // The search's working list as it ended: what it read, then what it accepted.
        QStringList locations;
        // The locations it accepted, in the order it found them.
        QStringList found;
        // Folders holding autosaves whose path is not valid UTF-8: the settings cannot hold
        // them, so they are never stored (each search finds them again).
        QStringList unstorable;
        // Whether a name search could be asked, the index tool or a walk of a mounted volume (and
        // so whether anything could be stored).
        bool nameSearchAvailable = false;
        // Whether the list was written to the settings.
        bool stored = false;
        // Whether an exception ended the search early (it is in the log).
        bool failed = false;
        // Why the name search could not be asked as it was set up (an index that cannot be
        // read); it was then skipped. Null when nothing stood in its way.
        QString nameSearchProblem;
        // The volumes searched beside the name search, in mount order.
        QList<SearchedVolume> volumes;
    };

    // The method name under which a failed search is logged.
    static constexpr char exceptionMethod[] = "-[AppController searchForNewPaths]";
    // Why a folder of unstorable is not stored.
    static constexpr char unstorableReason[] =
        "its path is not valid UTF-8, which the settings file cannot hold";
    // How long the name search may take, per query.
    static constexpr double nameSearchTimeoutSeconds = 10.0;
    // A volume walked completely is walked again at most this often by one discovery object
    // (the window searches every minute); a volume newly mounted, or mounted again after a
    // search that did not see it, is walked at once.
    static constexpr qint64 volumeRewalkSeconds = 3600;

    // Makes its own Final Cut Pro and Final Cut Express readers.
    explicit LocationDiscovery(BMSettings& settings);
    // Shares readers with whoever else reads the Final Cut preferences.
    LocationDiscovery(BMSettings& settings, std::shared_ptr<BMFCPPrefParser> fcpPrefs,
                      std::shared_ptr<BMFCPPrefParser> fcePrefs);
    ~LocationDiscovery();
    LocationDiscovery(const LocationDiscovery&) = delete;
    LocationDiscovery& operator=(const LocationDiscovery&) = delete;

    void setWindowHooks(WindowHooks hooks);
    void setVolumeSearchBounds(VolumeSearch::Bounds bounds);

    BMFCPPrefParser& fcpPrefs() const { return *m_fcpPrefs; }
    BMFCPPrefParser& fcePrefs() const { return *m_fcePrefs; }

    // One search, on the calling thread (a worker: it scans folders and runs the name search).
    Outcome searchForNewPaths();

    // Motion's autosave folder as its preference file names it; empty when the file or the key
    // is missing or not readable.
    static QString motionAutosavePath();

private:
    WindowHooks windowHooks() const;
    // The folders one volume holds by name, from a walk within the last hour where there was
    // a complete one.
    QStringList searchVolume(const QString& volume, const QList<Platform::SpotlightQuery>& queries,
                             SearchedVolume& searched);

    BMSettings& m_settings;
    std::shared_ptr<BMFCPPrefParser> m_fcpPrefs;
    std::shared_ptr<BMFCPPrefParser> m_fcePrefs;
    mutable std::mutex m_hooksMutex;
    WindowHooks m_hooks;
    struct Walked {
        QDateTime when;
        QStringList paths;
    };
    std::mutex m_volumesMutex;
    VolumeSearch::Bounds m_volumeBounds;
    QHash<QString, Walked> m_walked;
};
