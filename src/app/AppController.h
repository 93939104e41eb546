#pragma once

#include "catalogue/BMProject.h"
#include "catalogue/CatalogueLocations.h"

#include <QHash>
#include <QModelIndex>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <set>

class AutosaveActions;
class BMQC;
class AutosaveOutlineModel;
class LocationDiscovery;
class MainWindow;
class PreferencesWindow;
class QModelIndex;

// What the controller asks of the world outside it. The defaults ask the user and the
// platform; tests answer instead.
struct AppControllerEnvironment {
    // Obtains administrator rights; false when refused.
    std::function<bool()> authorize;
    // The folder the user chose in an open panel; null when cancelled.
    std::function<QString(QWidget* parent)> chooseFolder;
    // The folder the clean-up helper keeps clean, chosen in a folder-only panel that starts at
    // the current one; null when cancelled.
    std::function<QString(QWidget* parent, const QString& current)> chooseAutosaveFolder;
    // Opens a document or web page in the default handler.
    std::function<bool(const QUrl&)> openUrl;
    // The shared Avid attics that every rebuild scans when they exist.
    QStringList sharedAvidAttics = CatalogueLocations::defaultSharedAvidAttics();
    // The 60-second search timer's interval.
    int searchIntervalMs = 60000;
    // The usage analytics; the process's own when none is given.
    BMQC* analytics = nullptr;
};

// The application's controller: owns the main window, the outline's model, the
// preferences window and the catalogue (`dataArray`), and serves every menu action of the
// shell. Catalogue rebuilds and location searches run on worker threads and reach the
// window only through waited calls on the main thread.
class AppController : public QObject {
    Q_OBJECT
public:
    using Environment = AppControllerEnvironment;

    explicit AppController(Environment environment = Environment(), QObject* parent = nullptr);
    ~AppController() override;

    // ---- Lifecycle ------------------------------------------------------------------------
    // Set-up once the window exists. False when the application must end (the
    // administrator password was required and refused).
    bool awakeFromNib();
    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    // The application became the active one again.
    void applicationBecameActive();
    bool isLaunching() const { return m_appLaunching.load(); }

    MainWindow* mainWindow() const { return m_window.get(); }
    AutosaveOutlineModel* model() const { return m_model; }
    PreferencesWindow* preferencesWindow() const { return m_preferences; }

    // ---- The catalogue --------------------------------------------------------------------
    const BMProjectList& dataArray() const;
    // Main thread only. orphans: those of the projects, when they were looked for.
    void setDataArray(BMProjectList projects, std::optional<QHash<QString, QString>> orphans = std::nullopt);
    // Starts a rebuild on a worker thread, saving the expanded rows first or not.
    void populateData();
    void populateDataNoSave();
    // The rebuild itself, on the calling (worker) thread.
    void populateDataOnThisThread(bool saveExpandedState);
    void saveExpandedItems();
    void loadExpandedItems();
    void reloadTimerCalled();
    // The search for new autosave locations that rebuilds and the timer start on a worker
    // thread: the catalogue's discovery, unless a test sets another.
    void setLocationSearch(std::function<void()> search) { m_locationSearch = std::move(search); }
    void startLocationSearch();
    // Blocks, serving the main thread's events, until no worker runs (tests, shut-down).
    void waitForWorkers();
    // Runs work on one of the controller's worker threads; shut-down waits for it.
    void runInBackground(std::function<void()> work);
    // Whether the main window is the active one (the first search shows its sheet only then).
    bool isMainWindowKey() const;

    // ---- Orphans ----------------------------------------------------------------------------
    // Shows only the orphaned Premiere projects, or everything again. Finding them reads each
    // Premiere project's newest autosave, on a worker: when the filter is turned on, and after
    // each rebuild while it is on. Until the answer comes the outline is empty and says why.
    void setShowOnlyOrphans(bool on);
    bool showsOnlyOrphans() const { return m_orphanFilter.load(); }
    // Whether the orphans of the catalogue are known: the filter looked since the last rebuild
    // (it may have been turned off since). The model marks them only while the filter is on.
    bool orphansKnown() const { return m_orphans.has_value(); }
    // One of the known orphans.
    bool isKnownOrphan(const BMProject& project) const {
        return m_orphans && m_orphans->contains(project.path());
    }

    // ---- The outline ----------------------------------------------------------------------
    void applyOutlineViewSorting();
    void sortColumnWithIdentifier(const QString& column, bool descending);
    void didClickTableColumn(int section);
    void outlineViewSelectionDidChange();
    // The open button's title for the current selection.
    QString openButtonTitle() const;
    // The selected rows' nodes, in row order (a project row gives its project).
    BMProjectList selectedProjects() const;
    BMAutoItemList selectedItems() const;

    // ---- Progress -------------------------------------------------------------------------
    void showProgress();
    void endProgress();
    void startProgressSpinner();
    void stopProgressSpinner();
    bool isBusy() const;

    // ---- Preferences ----------------------------------------------------------------------
    void prefsToggleAdminPass(bool on);
    void prefsToggleQCLogging(bool on);
    void prefsAddManualPath();
    void prefsRemoveManualPath();
    QStringList manualPathArray() const { return m_manualPathArray; }
    void showPreferences();

    // ---- The background helpers -------------------------------------------------------------
    // Each installs or removes its job on the helpers' worker, one job change after another in
    // the order asked: the service manager may take seconds to answer and the window must not
    // wait for it. What goes wrong reaches the main window as a sheet.
    void setupTrashHelper();
    void stopTrashHelper();
    // Stop, then set up again.
    void toggleTrashHelper();
    // quiet: a missing autosave folder is only logged.
    void setupCleanHelper(bool quiet = false);
    void stopCleanHelper();
    void toggleCleanHelper(bool quiet = false);
    // The on/off check boxes of the two helper tabs.
    void toggleAutoRemove(bool on);
    void toggleAutoClean(bool on);
    // The clean-up folder's browse button, and the end of its panel (null: cancelled).
    void autosaveDirBrowse();
    void autosaveDirBrowseDidEnd(const QString& chosen);
    // The folder field was edited.
    void modifyAutosaveDir();
    void updateTrashSelection();
    void updateCleanSelection();

    // ---- Help, log and About ----------------------------------------------------------------
    void helpUserManual();
    void helpReportBug();
    void helpSuggestFeature();
    void helpSupport();
    void helpOstrandHome();
    void helpBMHome();
    void manualUpdateCheck();
    void viewLog();
    void viewTaskLog();
    void gatherLogs();
    void showAboutDialog();

Q_SIGNALS:
    // On the main thread, at the end of every rebuild.
    void catalogueRebuilt();
    // On the main thread while a rebuild scans, once it starts and after each location.
    void catalogueScanning(int locations, int projectsFound);
    // On the main thread when a look for orphans that was not part of a rebuild has ended.
    void orphansFound();

private:
    void connectWindow();
    void updateStatusLine();
    static QString scanProgressText(int locations, int projectsFound);
    void showScanProgress(int locations, int projectsFound);
    void refillAutosaveFolderChoices(const QStringList& abbreviated);
    // Gives the outline the catalogue, or its orphans while the filter is on, keeping the
    // open and selected rows.
    void publishProjects();
    // Starts the look for the catalogue shown unless one already runs for it.
    void lookForOrphans();
    // The look on the calling (worker) thread: project path -> the missing project file it
    // records. Null when stopped because the filter went off or the controller is going.
    std::optional<QHash<QString, QString>> findOrphans(const BMProjectList& projects);
    void showOrphanProgress(int read, int total);
    // False with the reason in *problem when it could not be stored.
    bool storeRequireAdminPassword(bool on, QString* problem);
    QModelIndexList selectedRows() const;
    // Runs a job change on the helpers' worker; an exception is logged under the method name.
    void runHelperWork(const char* method, std::function<void()> work);
    void reinstallHelpers();

    Environment m_env;
    std::unique_ptr<MainWindow> m_window;
    AutosaveOutlineModel* m_model = nullptr;
    PreferencesWindow* m_preferences = nullptr;
    QTimer m_updateTimer;
    QThreadPool m_workers;
    // One thread: job changes happen in the order the check boxes asked for them.
    QThreadPool m_helperWorkers;
    std::atomic<bool> m_appLaunching{true};
    QStringList m_manualPathArray;
    // Stored locations that were not there at the last rebuild; the status line names them.
    QStringList m_offlineLocations;
    // Those that were there but could not be listed; the status line names them too.
    QStringList m_unreadableLocations;
    std::function<void()> m_locationSearch;
    // Finds new autosave folders; the workers that use it are waited for before it goes.
    std::unique_ptr<LocationDiscovery> m_discovery;
    // The autosave actions (remove, archive, open, ...); a child of this object.
    AutosaveActions* m_autosaveActions = nullptr;

    // The whole catalogue of the last rebuild; the model holds what is shown of it.
    BMProjectList m_allProjects;
    // Counts the rebuilds: a look for orphans answers for the catalogue it was started on.
    int m_catalogueGeneration = 0;
    // The catalogue a look for orphans runs for; -1 when none runs.
    int m_orphanLookGeneration = -1;
    // Those of m_allProjects, once looked for.
    std::optional<QHash<QString, QString>> m_orphans;
    std::atomic<bool> m_orphanFilter{false};
    // The rows open and selected when the outline emptied to wait for the orphans.
    struct HeldOutline {
        std::set<QString> expanded;
        std::set<QString> selected;
        QString current;
    };
    std::optional<HeldOutline> m_heldOutline;
    std::atomic<bool> m_stopping{false};
};
