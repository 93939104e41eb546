#include "AppController.h"

#include "AboutDialog.h"
#include "AutosaveActions.h"
#include "AutosaveOutlineModel.h"
#include "BMAlert.h"
#include "BMOutlineView.h"
#include "BusySpinner.h"
#include "HelpLinks.h"
#include "MainWindow.h"
#include "PinCommands.h"
#include "PreferencesWindow.h"
#include "ProgressSheet.h"
#include "RecentlyRemovedDialog.h"
#include "ShortcutKeyPane.h"
#include "automation/BMLaunchd.h"
#include "automation/HelperJobs.h"
#include "automation/HelperRunLog.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "catalogue/AutosaveType.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/LocationDiscovery.h"
#include "catalogue/OutlineSorting.h"
#include "catalogue/OutlineText.h"
#include "catalogue/PremiereOrphans.h"
#include "catalogue/SpaceSummary.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/MainThread.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"
#include "support/BMQC.h"
#include "support/BMSoftwareUpdate.h"
#include "support/BMTroubleshootingUtils.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QListWidget>
#include <QToolButton>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <unistd.h>

namespace {

BMSettings& settings() {
    return BMSettings::standard();
}

QString home() {
    return BMLocalPaths::userDirectory();
}

QString abbreviated(const QString& path) {
    return PathText::abbreviatingHome(path, home());
}

// Why the folder cannot be listed now, in words.
QString listingError(const QString& folder) {
    const int fd = ::open(FileName::encode(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::close(fd);
        return QStringLiteral("it could not be listed");
    }
    return QString::fromLocal8Bit(std::strerror(errno));
}

// A clean-up set-up that found its folder ends with a rebuild, so that the window lists what
// the folder holds.
bool cleanFolderExists() {
    return BMFileManager::isDirectoryAtPath(HelperJobs::cleanFolder());
}

} // namespace

AppController::AppController(Environment environment, QObject* parent)
    : QObject(parent), m_env(std::move(environment)) {
    if (!m_env.authorize)
        m_env.authorize = [] { return BMAuthorization::sharedController().authStart(); };
    if (!m_env.chooseFolder) {
        m_env.chooseFolder = [](QWidget* parentWindow) {
            return QFileDialog::getExistingDirectory(parentWindow, tr("Add a Folder of Autosaves"), QString(),
                                                     QFileDialog::ShowDirsOnly);
        };
    }
    if (!m_env.chooseAutosaveFolder) {
        m_env.chooseAutosaveFolder = [](QWidget* parentWindow, const QString& current) {
            return QFileDialog::getExistingDirectory(parentWindow,
                                                     tr("Choose the Autosave Folder to Keep Clean"), current,
                                                     QFileDialog::ShowDirsOnly);
        };
    }
    if (!m_env.openUrl)
        m_env.openUrl = [](const QUrl& url) { return QDesktopServices::openUrl(url); };
    if (!m_env.analytics)
        m_env.analytics = &BMQC::sharedController();
    m_helperWorkers.setMaxThreadCount(1);

    m_appLaunching = true;
    m_manualPathArray = CatalogueLocations::storedPaths(settings(), SettingsKey::manualPaths);
    settings().registerDefaults(BMSettings::applicationDefaults());

    m_window = std::make_unique<MainWindow>();
    m_model = new AutosaveOutlineModel(this);
    m_window->outlineView()->setModel(m_model);
    m_preferences = new PreferencesWindow(m_window.get());
    m_preferences->setManualPaths(m_manualPathArray);
    connectWindow();
    m_autosaveActions = new AutosaveActions(this);
    new PinCommands(this);
    updateStatusLine();

    m_discovery = std::make_unique<LocationDiscovery>(settings());
    LocationDiscovery::WindowHooks hooks;
    hooks.isMainWindowKey = [this] { return isMainWindowKey(); };
    hooks.showProgress = [this] { showProgress(); };
    hooks.endProgress = [this] { endProgress(); };
    hooks.populateDataNoSave = [this] { populateDataNoSave(); };
    hooks.autosaveFolderStored = [this](const QString& folder) {
        MainThread::runAndWait([this, folder] { m_preferences->setAutosaveFolderText(folder); });
    };
    m_discovery->setWindowHooks(std::move(hooks));
    setLocationSearch([this] { m_discovery->searchForNewPaths(); });

    // The job changes run on a worker; what they must tell the user goes to the main window.
    QWidget* window = m_window.get();
    BMLaunchd::setAlertSink([window](const JobAlert& alert) {
        BMAlert::alertSheetWithButtons({alert.message, {}, {}, {}, alert.informative}, window, false);
    });
    BMTroubleshootingUtils::setAlertHook([window](const QString& message, const QString& informative) {
        BMAlert::alertSheetWithButtons({message, {}, {}, {}, informative}, window, false);
    });
}

AppController::~AppController() {
    m_stopping = true;
    m_updateTimer.stop();
    waitForWorkers();
    BMLaunchd::setAlertSink(nullptr);
    BMTroubleshootingUtils::setAlertHook(nullptr);
}

void AppController::connectWindow() {
    MainWindow* w = m_window.get();
    const MainWindow::Actions& a = w->actions();
    BMOutlineView* outline = w->outlineView();

    connect(outline->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &AppController::outlineViewSelectionDidChange);
    connect(outline->header(), &QHeaderView::sectionClicked, this, &AppController::didClickTableColumn);
    const bool showLocation = settings().boolValue(SettingsKey::showLocationColumn);
    outline->setColumnHidden(AutosaveOutlineModel::LocationColumn, !showLocation);
    a.showLocation->setChecked(showLocation);
    connect(a.showLocation, &QAction::toggled, this, [this, outline](bool on) {
        outline->setColumnHidden(AutosaveOutlineModel::LocationColumn, !on);
        settings().setValue(SettingsKey::showLocationColumn, on);
    });
    connect(a.showOnlyOrphans, &QAction::toggled, this, &AppController::setShowOnlyOrphans);
    // A double click opens the row, as the open button does.
    connect(outline, &QTreeView::doubleClicked, a.open, &QAction::trigger);
    connect(a.refresh, &QAction::triggered, this, &AppController::populateData);
    connect(a.recentlyRemoved, &QAction::triggered, this, [this] { RecentlyRemovedDialog::showFor(this); });
    connect(a.preferences, &QAction::triggered, this, &AppController::showPreferences);
    connect(a.quit, &QAction::triggered, qApp, &QApplication::quit);
    connect(a.viewLog, &QAction::triggered, this, &AppController::viewLog);
    connect(a.viewTaskLog, &QAction::triggered, this, &AppController::viewTaskLog);
    connect(a.gatherLogs, &QAction::triggered, this, &AppController::gatherLogs);
    connect(a.userManual, &QAction::triggered, this, &AppController::helpUserManual);
    connect(a.reportBug, &QAction::triggered, this, &AppController::helpReportBug);
    connect(a.suggestFeature, &QAction::triggered, this, &AppController::helpSuggestFeature);
    connect(a.support, &QAction::triggered, this, &AppController::helpSupport);
    connect(a.productHome, &QAction::triggered, this, &AppController::helpOstrandHome);
    connect(a.makerHome, &QAction::triggered, this, &AppController::helpBMHome);
    connect(a.about, &QAction::triggered, this, &AppController::showAboutDialog);
    connect(a.checkForUpdates, &QAction::triggered, this, &AppController::manualUpdateCheck);
    ShortcutKeyBindings::follow(w);

    connect(m_preferences, &PreferencesWindow::adminPasswordToggled, this,
            &AppController::prefsToggleAdminPass);
    connect(m_preferences, &PreferencesWindow::analyticsToggled, this, &AppController::prefsToggleQCLogging);
    connect(m_preferences, &PreferencesWindow::addManualPathRequested, this,
            &AppController::prefsAddManualPath);
    connect(m_preferences, &PreferencesWindow::removeManualPathRequested, this,
            &AppController::prefsRemoveManualPath);
    connect(m_preferences, &PreferencesWindow::premiereGroupingToggled, this, [this] { populateData(); });
    connect(m_preferences, &PreferencesWindow::autoRemoveToggled, this, &AppController::toggleAutoRemove);
    connect(m_preferences, &PreferencesWindow::autoCleanToggled, this, &AppController::toggleAutoClean);
    connect(m_preferences, &PreferencesWindow::autosaveFolderBrowseRequested, this,
            &AppController::autosaveDirBrowse);
    connect(m_preferences, &PreferencesWindow::autosaveFolderEdited, this, [this] { modifyAutosaveDir(); });
    connect(m_preferences, &PreferencesWindow::guardMinutesChanged, outline->viewport(),
            qOverload<>(&QWidget::update));
    connect(m_preferences, &PreferencesWindow::manualPathsTabShown, this, [this] {
        BMLog::appendLog(QStringLiteral("User switched tabs - refreshing..."));
        populateDataNoSave();
    });

    connect(&m_updateTimer, &QTimer::timeout, this, &AppController::reloadTimerCalled);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            applicationBecameActive();
    });
    outlineViewSelectionDidChange();
}

// ---- Lifecycle ----------------------------------------------------------------------------

bool AppController::awakeFromNib() {
    try {
        if (settings().integerValue(SettingsKey::requireAdminPassword) == 1) {
            m_preferences->setAdminPasswordChecked(true);
            if (!m_env.authorize())
                return false;
        }
        BMOutlineView* outline = m_window->outlineView();
        outline->header()->setSectionResizeMode(AutosaveOutlineModel::NameColumn, QHeaderView::Stretch);
        outline->header()->resizeSection(AutosaveOutlineModel::SizeColumn, 110);
        outline->header()->resizeSection(AutosaveOutlineModel::DateColumn, 260);
        reinstallHelpers();

        startProgressSpinner();
        // The window never shows an empty outline with nothing said about it, not even for the
        // moment before the first rebuild starts.
        m_window->outlineView()->setPlaceholderText(scanProgressText(
            int(CatalogueLocations(m_env.sharedAvidAttics).locations(settings()).size()), 0));
        m_window->show();
        m_window->raise();
        m_window->activateWindow();

        m_preferences->refreshFromSettings();
        m_updateTimer.start(m_env.searchIntervalMs);
        m_preferences->setAnalyticsChecked(BMSettings::analytics().integerValue(SettingsKey::logQC) != 0);
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController awakeFromNib]");
        stopProgressSpinner();
    }
    return true;
}

void AppController::applicationDidFinishLaunching() {
    // What the settings store printed reaches no one at the window.
    if (const QString problem = settings().userFileProblem(); !problem.isEmpty()) {
        BMAlert::alertSheetWithButtons({tr("Vestry's settings could not be read."), {}, {}, {}, problem},
                                       m_window.get(), false);
    }
    m_env.analytics->setPermissionHooks(
        [](QWidget* window) {
            return BMAlert::alertSheetWithButtons({BMQC::questionText(), tr("Allow"), tr("More Info"),
                                                   tr("Don't Allow"), BMQC::questionInformativeText()},
                                                  window, true);
        },
        m_env.openUrl);
    m_env.analytics->loadQC(m_window.get());
    m_preferences->setAnalyticsChecked(m_env.analytics->shouldLog());
    BMSoftwareUpdate::startup([this](std::function<void()> check) { runInBackground(std::move(check)); });
    populateDataNoSave();
}

void AppController::applicationWillTerminate() {
    saveExpandedItems();
}

void AppController::applicationBecameActive() {
    if (m_appLaunching || isBusy())
        return;
    BMLog::appendLog(QStringLiteral("Application became active - repopulating..."));
    populateData();
}

// ---- Threads ------------------------------------------------------------------------------

void AppController::runInBackground(std::function<void()> work) {
    m_workers.start(std::move(work));
}

bool AppController::isMainWindowKey() const {
    return m_window->isActiveWindow();
}

void AppController::waitForWorkers() {
    // Workers wait for the main thread; it keeps serving them while it waits. The helpers'
    // worker goes first because a clean-up set-up ends by starting a rebuild.
    while (!m_helperWorkers.waitForDone(10) || !m_workers.waitForDone(10))
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

// ---- The catalogue --------------------------------------------------------------------------

const BMProjectList& AppController::dataArray() const {
    return m_model->projects();
}

void AppController::setDataArray(BMProjectList projects, std::optional<QHash<QString, QString>> orphans) {
    m_allProjects = std::move(projects);
    m_orphans = std::move(orphans);
    ++m_catalogueGeneration;
    publishProjects();
}

void AppController::publishProjects() {
    // A rebuild makes new nodes: the open and selected rows are found again by their paths.
    BMOutlineView* view = m_window->outlineView();
    std::set<QString> expanded;
    std::set<QString> selected;
    const auto pathOf = [](const QModelIndex& index) {
        return index.data(int(AutosaveOutlineModel::Role::Path)).toString();
    };
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QModelIndex index = m_model->index(row, 0);
        if (view->isExpanded(index))
            expanded.insert(pathOf(index));
    }
    for (const QModelIndex& index : view->selectionModel()->selectedRows(0))
        selected.insert(pathOf(index));
    QString current = pathOf(view->currentIndex());
    if (m_heldOutline) {
        expanded = std::move(m_heldOutline->expanded);
        selected = std::move(m_heldOutline->selected);
        current = std::move(m_heldOutline->current);
        m_heldOutline.reset();
    }

    // While the filter waits for its answer the outline shows nothing rather than projects
    // that may not be orphans: an action on what it shows must act only on orphans.
    const bool filter = m_orphanFilter;
    if (filter && !m_orphans)
        m_heldOutline = HeldOutline{expanded, selected, current};
    BMProjectList shown = filter && !m_orphans ? BMProjectList() : m_allProjects;
    if (filter && m_orphans)
        shown.removeIf([this](const BMProjectPtr& project) { return !m_orphans->contains(project->path()); });
    m_model->setOrphans(filter && m_orphans ? *m_orphans : QHash<QString, QString>());
    m_model->setProjects(std::move(shown));
    m_window->showSpace(SpaceSummary::of(m_model->projects()));
    view->setPlaceholderText(filter && m_orphans && m_model->rowCount() == 0 ? tr("No orphaned projects.")
                                                                             : QString());

    QItemSelection selection;
    QModelIndex newCurrent;
    const auto keep = [&](const QModelIndex& index) {
        const QString path = pathOf(index);
        if (selected.count(path))
            selection.select(index, index);
        if (!current.isEmpty() && path == current)
            newCurrent = index;
    };
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QModelIndex project = m_model->index(row, 0);
        keep(project);
        if (expanded.count(pathOf(project)) && m_model->hasChildren(project))
            view->expand(project);
        if (selected.empty() && current.isEmpty())
            continue;
        for (int child = 0; child < m_model->rowCount(project); ++child)
            keep(m_model->index(child, 0, project));
    }
    if (newCurrent.isValid())
        view->selectionModel()->setCurrentIndex(newCurrent, QItemSelectionModel::NoUpdate);
    view->selectionModel()->select(selection,
                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    updateStatusLine();
    outlineViewSelectionDidChange();
    if (filter && !m_orphans)
        lookForOrphans();
}

// ---- Orphans ------------------------------------------------------------------------------

void AppController::setShowOnlyOrphans(bool on) {
    if (m_orphanFilter == on)
        return;
    if (QAction* action = m_window->actions().showOnlyOrphans; action->isChecked() != on)
        action->setChecked(on);
    BMLog::appendLog(on ? QStringLiteral("Showing only orphaned projects.")
                        : QStringLiteral("Showing every project."));
    // Stored as the rows were shown before, so that a project the filter hid opens again.
    saveExpandedItems();
    m_orphanFilter = on;
    publishProjects();
    applyOutlineViewSorting();
    loadExpandedItems();
}

void AppController::showOrphanProgress(int read, int total) {
    QString text = tr("Looking for orphaned projects...");
    if (total > 0)
        text += QLatin1Char(' ') + tr("%1 of %2 Premiere projects read").arg(read).arg(total);
    m_window->statusLabel()->setText(text);
    m_window->outlineView()->setPlaceholderText(text);
}

std::optional<QHash<QString, QString>> AppController::findOrphans(const BMProjectList& projects) {
    BMProjectList premiere = projects;
    premiere.removeIf([](const BMProjectPtr& project) {
        return AutosaveType::normalized(project->type()) != AutosaveType::Premiere;
    });
    const int total = int(premiere.size());
    MainThread::runAndWait([this, total] { showOrphanProgress(0, total); });
    QHash<QString, QString> orphans;
    for (int read = 0; read < total; ++read) {
        if (m_stopping || !m_orphanFilter)
            return std::nullopt;
        if (const QString missing = PremiereOrphans::missingProjectPath(*premiere[read]); !missing.isEmpty())
            orphans.insert(premiere[read]->path(), missing);
        MainThread::runAndWait([this, read, total] { showOrphanProgress(read + 1, total); });
    }
    BMLog::appendLog(QStringLiteral("Found %1 orphaned project(s) among %2 Premiere project(s).")
                         .arg(orphans.size())
                         .arg(total));
    return orphans;
}

void AppController::lookForOrphans() {
    showOrphanProgress(0, 0);
    if (m_orphanLookGeneration == m_catalogueGeneration)
        return;
    const int generation = m_orphanLookGeneration = m_catalogueGeneration;
    // A rebuild's spinner is the rebuild's to stop.
    const bool spins = !m_window->spinner()->isSpinning();
    if (spins)
        startProgressSpinner();
    runInBackground([this, generation, spins, projects = m_allProjects] {
        std::optional<QHash<QString, QString>> found;
        try {
            found = findOrphans(projects);
        } catch (const std::exception& e) {
            BMException::logException(e, "-[AppController lookForOrphans]");
            found.emplace(); // none known rather than a look that starts again and again
        }
        MainThread::runAndWait([&] {
            if (m_orphanLookGeneration == generation)
                m_orphanLookGeneration = -1;
            if (spins)
                stopProgressSpinner();
            // A rebuild since has its own look; a look stopped by the filter going off starts
            // again if the filter came back on meanwhile.
            if (!m_stopping && generation == m_catalogueGeneration) {
                if (found)
                    m_orphans = std::move(found);
                if (m_orphanFilter) {
                    publishProjects();
                    applyOutlineViewSorting();
                    loadExpandedItems();
                }
            }
            Q_EMIT orphansFound();
        });
    });
}

QString AppController::scanProgressText(int locations, int projectsFound) {
    const QLocale locale;
    QString text = locations == 1 ? tr("Scanning 1 location...")
                                  : tr("Scanning %1 locations...").arg(locale.toString(locations));
    if (projectsFound > 0) {
        text += QLatin1Char(' ') + (projectsFound == 1
                                        ? tr("1 project found so far")
                                        : tr("%1 projects found so far").arg(locale.toString(projectsFound)));
    }
    return text;
}

void AppController::showScanProgress(int locations, int projectsFound) {
    const QString text = scanProgressText(locations, projectsFound);
    m_window->statusLabel()->setText(text);
    // The list of the last rebuild stays until the new one is ready; an empty one says why.
    m_window->outlineView()->setPlaceholderText(text);
    Q_EMIT catalogueScanning(locations, projectsFound);
}

void AppController::populateData() {
    runInBackground([this] { populateDataOnThisThread(true); });
}

void AppController::populateDataNoSave() {
    runInBackground([this] { populateDataOnThisThread(false); });
}

void AppController::populateDataOnThisThread(bool saveExpandedState) {
    try {
        BMLog::appendLog(QStringLiteral("Populating autosaves..."));
        MainThread::runAndWait([this] { startProgressSpinner(); });
        if (saveExpandedState)
            MainThread::runAndWait([this] { saveExpandedItems(); });

        QStringList locations = CatalogueLocations::storedLocations(settings());
        MainThread::runAndWait([this] { m_preferences->clearAutosaveFolderChoices(); });

        const QStringList attics = CatalogueLocations(m_env.sharedAvidAttics).existingSharedAvidAttics();
        const int total = int(locations.size() + attics.size());
        MainThread::runAndWait([this, total] { showScanProgress(total, 0); });

        AutosaveFolderScanner scanner(settings());
        scanner.setAutosaveFolderHook([this](const QString& folder) {
            MainThread::runAndWait([this, folder] { m_preferences->setAutosaveFolderText(folder); });
        });
        BMProjectList projects;
        QStringList unreadable;
        auto scan = [&](const QString& location) {
            ScanStatus status = ScanStatus::Scanned;
            if (auto found = scanner.projectsFromFolder(location, &status))
                projects.append(*found);
            if (status == ScanStatus::ListingFailed)
                unreadable << location;
            const QString shown = abbreviated(location);
            const int found = int(projects.size());
            MainThread::runAndWait([this, shown, total, found] {
                m_preferences->addAutosaveFolderChoice(shown);
                showScanProgress(total, found);
            });
        };
        for (const QString& location : locations)
            scan(location);
        for (const QString& attic : attics)
            scan(attic);

        // A drive that is not plugged in keeps its location; the status line says so.
        const QStringList offline = CatalogueLocations::offlineLocations(locations);
        // Found before the list is shown, so that the filter never shows projects it would hide.
        std::optional<QHash<QString, QString>> orphans;
        if (m_orphanFilter)
            orphans = findOrphans(projects);
        BMLog::fastAppendLog(QStringLiteral("Updating data..."));
        MainThread::runAndWait([this, &projects, &offline, &unreadable, &orphans] {
            m_offlineLocations = offline;
            m_unreadableLocations = unreadable;
            setDataArray(std::move(projects), std::move(orphans));
        });
        BMLog::appendLog(QStringLiteral("Refreshing outline view..."));
        MainThread::runAndWait([this] { applyOutlineViewSorting(); });
        MainThread::runAndWait([this] { loadExpandedItems(); });
        startLocationSearch();
        MainThread::runAndWait([this] { stopProgressSpinner(); });
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController populateData:]");
        MainThread::runAndWait([this] { stopProgressSpinner(); });
    }
    m_appLaunching = false;
    MainThread::runAndWait([this] { Q_EMIT catalogueRebuilt(); });
}

void AppController::saveExpandedItems() {
    BMLog::appendLog(QStringLiteral("Saving expanded items..."));
    QVariantList expanded;
    const BMProjectList& projects = dataArray();
    for (int row = 0; row < projects.size(); ++row) {
        if (m_window->outlineView()->isExpanded(m_model->index(row, 0)) && !projects[row]->path().isEmpty())
            expanded << projects[row]->path();
    }
    // The projects the filter hides keep what was stored for them.
    if (m_orphanFilter) {
        std::set<QString> shown;
        for (const BMProjectPtr& project : projects)
            shown.insert(project->path());
        for (const QString& path : settings().stringListValue(SettingsKey::expandedItems)) {
            if (!shown.count(path))
                expanded << path;
        }
    }
    settings().setValue(SettingsKey::expandedItems, expanded);
    settings().synchronize();
}

void AppController::loadExpandedItems() {
    BMLog::appendLog(QStringLiteral("Loading expanded items..."));
    const QStringList wanted = settings().stringListValue(SettingsKey::expandedItems);
    const std::set<QString> paths(wanted.cbegin(), wanted.cend());
    const BMProjectList& projects = dataArray();
    for (int row = 0; row < projects.size(); ++row) {
        const QModelIndex index = m_model->index(row, 0);
        if (paths.count(projects[row]->path()) && m_model->hasChildren(index))
            m_window->outlineView()->expand(index);
    }
}

void AppController::reloadTimerCalled() {
    startLocationSearch();
}

void AppController::startLocationSearch() {
    if (m_locationSearch)
        runInBackground(m_locationSearch);
}

// ---- The outline ----------------------------------------------------------------------------

void AppController::applyOutlineViewSorting() {
    try {
        const OutlineSorting::Choice choice =
            OutlineSorting::savedChoice(settings(), AutosaveOutlineModel::columnIdentifier(0));
        sortColumnWithIdentifier(choice.column, choice.descending);
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController applyOutlineViewSorting]");
    }
}

void AppController::sortColumnWithIdentifier(const QString& column, bool descending) {
    m_model->sortBy(column, descending);
    int section = AutosaveOutlineModel::columnForIdentifier(column);
    if (section < 0)
        section = AutosaveOutlineModel::SizeColumn;
    m_window->outlineView()->header()->setSortIndicator(section, descending ? Qt::DescendingOrder
                                                                            : Qt::AscendingOrder);
    OutlineSorting::recordSort(settings(), OutlineSorting::Choice{column, descending});
}

void AppController::didClickTableColumn(int section) {
    if (section == AutosaveOutlineModel::LocationColumn)
        return;
    const QString column = AutosaveOutlineModel::columnIdentifier(section);
    const OutlineSorting::Choice choice = OutlineSorting::headerClicked(settings(), column);
    sortColumnWithIdentifier(choice.column, choice.descending);
}

QModelIndexList AppController::selectedRows() const {
    QModelIndexList rows = m_window->outlineView()->selectionModel()->selectedRows(0);
    std::sort(rows.begin(), rows.end(), [this](const QModelIndex& a, const QModelIndex& b) {
        return m_window->outlineView()->visualRect(a).top() < m_window->outlineView()->visualRect(b).top();
    });
    return rows;
}

BMProjectList AppController::selectedProjects() const {
    BMProjectList projects;
    for (const QModelIndex& index : selectedRows()) {
        if (BMProjectPtr project = m_model->projectAt(index))
            projects << project;
    }
    return projects;
}

BMAutoItemList AppController::selectedItems() const {
    BMAutoItemList items;
    for (const QModelIndex& index : selectedRows()) {
        if (BMAutoItemPtr item = m_model->itemAt(index))
            items << item;
    }
    return items;
}

QString AppController::openButtonTitle() const {
    std::set<int> kinds;
    for (const QModelIndex& index : m_window->outlineView()->selectionModel()->selectedRows(0)) {
        if (BMProjectPtr project = m_model->projectAt(index)) {
            if (project->childCount() > 0)
                kinds.insert(AutosaveType::normalized(project->children().first()->type()));
        } else if (BMAutoItemPtr item = m_model->itemAt(index)) {
            kinds.insert(AutosaveType::normalized(item->type()));
        }
    }
    if (kinds.size() != 1)
        return tr("Open in Apps");
    switch (*kinds.begin()) {
    case AutosaveType::Motion:
        return tr("Open in Motion");
    case AutosaveType::Premiere:
        return tr("Open in Premiere");
    case AutosaveType::Avid:
        return tr("Open in Avid");
    case AutosaveType::FinalCutX:
        return tr("Open in FCPX");
    default:
        return tr("Open in FCP");
    }
}

void AppController::outlineViewSelectionDidChange() {
    const int count = int(m_window->outlineView()->selectionModel()->selectedRows(0).size());
    m_window->outlineView()->setMenu(count == 1 ? m_window->contextMenu() : nullptr);
    const bool any = count > 0;
    const MainWindow::Actions& a = m_window->actions();
    for (QAction* action : {a.open, a.reveal, a.copy, a.move, a.archive, a.restoreEvent, a.remove})
        action->setEnabled(any);
    m_window->actionsButton()->setEnabled(any);
    if (any)
        a.open->setText(openButtonTitle());
}

void AppController::updateStatusLine() {
    qint64 autosaves = 0;
    DistinctBytes bytes;
    for (const BMProjectPtr& project : dataArray()) {
        autosaves += project->childCount();
        bytes.add(*project);
    }
    const qint64 projects = dataArray().size();
    const QLocale locale;
    const QString projectText =
        projects == 1 ? tr("1 project") : tr("%1 projects").arg(locale.toString(projects));
    const QString autosaveText =
        autosaves == 1 ? tr("1 autosave") : tr("%1 autosaves").arg(locale.toString(autosaves));
    QString text = QStringLiteral("%1, %2, %3")
                       .arg(projectText, autosaveText, OutlineText().formatFileSize(bytes.total()));
    QStringList offline;
    for (const QString& location : m_offlineLocations)
        offline << tr("%1 (offline)").arg(FileName::displayText(abbreviated(location)));
    if (!offline.isEmpty()) {
        const qint64 count = offline.size();
        text += QStringLiteral("; ") + (count == 1 ? tr("1 location offline")
                                                   : tr("%1 locations offline").arg(locale.toString(count)));
    }
    // A location that is there but cannot be listed would otherwise just look empty.
    for (const QString& location : m_unreadableLocations)
        offline << tr("%1 (could not be read: %2)")
                       .arg(FileName::displayText(abbreviated(location)), listingError(location));
    if (const qint64 count = m_unreadableLocations.size(); count > 0) {
        text += QStringLiteral("; ") +
                (count == 1 ? tr("1 location could not be read")
                            : tr("%1 locations could not be read").arg(locale.toString(count)));
    }
    if (m_orphanFilter && m_orphans)
        text += QStringLiteral("; ") + tr("orphaned projects only");
    m_window->statusLabel()->setText(text);
    m_window->statusLabel()->setToolTip(offline.join(QLatin1Char('\n')));
}

// ---- Progress -------------------------------------------------------------------------------

void AppController::showProgress() {
    m_window->progressSheet()->showProgress();
}

void AppController::endProgress() {
    m_window->progressSheet()->endProgress();
}

void AppController::startProgressSpinner() {
    m_window->spinner()->start();
}

void AppController::stopProgressSpinner() {
    m_window->spinner()->stop();
}

bool AppController::isBusy() const {
    return m_window->spinner()->isSpinning() || m_window->progressSheet()->isVisible();
}

// ---- Preferences ----------------------------------------------------------------------------

bool AppController::storeRequireAdminPassword(bool on, QString* problem) {
    *problem = tr("Changing it needs an administrator's rights.");
    if (settings().setComputerWideValue(SettingsKey::requireAdminPassword, on ? 1 : 0))
        return true;
    // The computer-wide folder is the administrator's: write a copy and move it in with
    // privileges.
    const QString target = settings().computerWideFilePath();
    const std::optional<QVariantMap> stored = PlistFile::readDictionary(target);
    if (!stored && FileTree::exists(target)) {
        // Replacing it would lose whatever else it holds.
        *problem = tr("The settings file %1 could not be read; it was left as it is.").arg(target);
        return false;
    }
    QVariantMap wide = stored.value_or(QVariantMap());
    wide.insert(QString::fromLatin1(SettingsKey::requireAdminPassword), qint64(on ? 1 : 0));
    const QString staged = BMLocalPaths::tempFile();
    if (target.isEmpty() || !PlistFile::writeXml(staged, wide))
        return false;
    BMAuthorization& auth = BMAuthorization::sharedController();
    const bool moved =
        auth.authCreateDir(PathText::deletingLastComponent(target)) && auth.authMoveFile(staged, target);
    QFile::remove(staged);
    settings().synchronize();
    return moved;
}

void AppController::prefsToggleAdminPass(bool on) {
    if (!on && !m_env.authorize()) {
        m_preferences->setAdminPasswordChecked(true);
        return;
    }
    if (QString problem; !storeRequireAdminPassword(on, &problem)) {
        BMLog::appendLog(
            QStringLiteral("Unable to store the administrator password setting: %1").arg(problem));
        m_preferences->setAdminPasswordChecked(!on);
        BMAlert::alertSheetWithButtons({tr("The setting could not be saved."), {}, {}, {}, problem},
                                       m_preferences, false);
    }
}

void AppController::prefsToggleQCLogging(bool on) {
    m_env.analytics->setQCLogging(on);
}

void AppController::prefsAddManualPath() {
    QString chosen = m_env.chooseFolder(m_preferences);
    if (!chosen.isEmpty()) {
        const QString vault = PathText::appendingComponent(chosen, QStringLiteral("Autosave Vault"));
        if (PathText::lastComponent(chosen) != QLatin1String("Autosave Vault") &&
            BMFileManager::isDirectoryAtPath(vault))
            chosen = vault;
        if (!m_manualPathArray.contains(chosen))
            m_manualPathArray << chosen;
        // `vestry discover` may have stored locations since the window read the list, or be
        // storing some now.
        settings().update(QStringLiteral("Vestry: adding a location"), [&] {
            QStringList known = CatalogueLocations::storedPaths(settings(), SettingsKey::autosavePaths);
            if (!known.contains(chosen)) {
                known << chosen;
                settings().setValue(SettingsKey::autosavePaths, CatalogueLocations::storablePaths(known));
            }
            return settings().setValue(SettingsKey::manualPaths,
                                       CatalogueLocations::storablePaths(m_manualPathArray));
        });
        m_preferences->setManualPaths(m_manualPathArray);
    }
    populateDataNoSave();
}

void AppController::prefsRemoveManualPath() {
    const int row = m_preferences->selectedManualPathRow();
    if (row < 0 || row >= m_manualPathArray.size())
        return;
    const QString path = m_manualPathArray.takeAt(row);
    settings().update(QStringLiteral("Vestry: removing a location"), [&] { // as when adding
        QStringList known = CatalogueLocations::storedPaths(settings(), SettingsKey::autosavePaths);
        if (known.removeAll(path) > 0)
            settings().setValue(SettingsKey::autosavePaths, CatalogueLocations::storablePaths(known));
        return settings().setValue(SettingsKey::manualPaths,
                                   CatalogueLocations::storablePaths(m_manualPathArray));
    });
    m_preferences->setManualPaths(m_manualPathArray);
}

void AppController::showPreferences() {
    m_preferences->refreshFromSettings();
    m_preferences->show();
    m_preferences->raise();
    m_preferences->activateWindow();
}

// ---- The background helpers ---------------------------------------------------------------

void AppController::runHelperWork(const char* method, std::function<void()> work) {
    m_helperWorkers.start([method, work = std::move(work)] {
        try {
            work();
        } catch (const std::exception& e) {
            BMException::logException(e, method);
        }
    });
}

void AppController::reinstallHelpers() {
    const bool clean = settings().boolValue(SettingsKey::autoClean);
    const bool trash = settings().integerValue(SettingsKey::autoRemove) == 1;
    if (!clean && !trash)
        return;
    // Asking for rights at every start would be worse than a job left as it was.
    if (!HelperJobs().jobsFolderWritable()) {
        BMLog::appendLog(
            QStringLiteral("The jobs folder %1 is not writable - the helpers were not reinstalled.")
                .arg(BMLaunchd::jobsFolder(true, true)));
        return;
    }
    if (clean)
        toggleCleanHelper(true);
    if (trash)
        toggleTrashHelper();
}

void AppController::setupTrashHelper() {
    runHelperWork("-[AppController setupTrashHelper]", [] { HelperJobs().setupTrashHelper(); });
}

void AppController::stopTrashHelper() {
    runHelperWork("-[AppController stopTrashHelper]", [] { HelperJobs().stopTrashHelper(); });
}

void AppController::toggleTrashHelper() {
    runHelperWork("-[AppController toggleTrashHelper]", [] { HelperJobs().toggleTrashHelper(); });
}

void AppController::setupCleanHelper(bool quiet) {
    runHelperWork("-[AppController setupCleanHelper:]", [this, quiet] {
        HelperJobs().setupCleanHelper(quiet);
        if (cleanFolderExists())
            populateDataNoSave();
    });
}

void AppController::stopCleanHelper() {
    runHelperWork("-[AppController stopCleanHelper]", [] { HelperJobs().stopCleanHelper(); });
}

void AppController::toggleCleanHelper(bool quiet) {
    runHelperWork("-[AppController toggleCleanHelper:]", [this, quiet] {
        HelperJobs().toggleCleanHelper(quiet);
        if (cleanFolderExists())
            populateDataNoSave();
    });
}

void AppController::toggleAutoRemove(bool on) {
    runHelperWork("-[AppController toggleAutoRemove:]", [on] {
        HelperJobs jobs;
        jobs.stopTrashHelper();
        if (on)
            jobs.setupTrashHelper();
    });
    updateTrashSelection();
}

void AppController::toggleAutoClean(bool on) {
    runHelperWork("-[AppController toggleAutoClean:]", [this, on] {
        HelperJobs jobs;
        jobs.stopCleanHelper();
        if (on) {
            jobs.setupCleanHelper(false);
            if (cleanFolderExists())
                populateDataNoSave();
        }
    });
    updateCleanSelection();
}

void AppController::autosaveDirBrowse() {
    const QString current =
        PathText::expandingTilde(settings().stringValue(SettingsKey::autosaveFolder), home());
    autosaveDirBrowseDidEnd(m_env.chooseAutosaveFolder(m_window.get(), current));
}

void AppController::autosaveDirBrowseDidEnd(const QString& chosen) {
    try {
        if (chosen.isEmpty())
            return;
        // Refused as `vestry helper enable clean` refuses it: stored, the path would name a folder
        // that is not there, and the job that works now would be stopped for nothing.
        if (const QString refusal = FileName::notStorableInSettings(QDir::cleanPath(chosen));
            !refusal.isEmpty()) {
            BMAlert::alertSheetWithMessageText(tr("This folder cannot be kept clean."),
                                               refusal + QStringLiteral("; nothing was changed."),
                                               m_preferences);
            return;
        }
        const QString stored = abbreviated(QDir::cleanPath(chosen));
        settings().setValue(SettingsKey::autosaveFolder, stored);
        m_preferences->setAutosaveFolderText(stored);
        setupCleanHelper(false);
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController autosaveDirBrowseDidEnd:returnCode:contextInfo:]");
    }
}

void AppController::modifyAutosaveDir() {
    // The field can only be edited with the helper on; a job is never installed for a helper
    // that is switched off.
    if (settings().boolValue(SettingsKey::autoClean))
        setupCleanHelper(false);
}

void AppController::updateTrashSelection() {
    m_preferences->updateTrashSelection();
}

void AppController::updateCleanSelection() {
    m_preferences->updateCleanSelection();
}

// ---- Help, log and About ------------------------------------------------------------------

void AppController::helpUserManual() {
    const QString manual = HelpLinks::userManualPath();
    if (!manual.isEmpty() && BMFileManager::fileExistsAtPath(manual))
        m_env.openUrl(QUrl::fromLocalFile(manual));
}

void AppController::helpReportBug() {
    m_env.openUrl(HelpLinks::bugReport());
}

void AppController::helpSuggestFeature() {
    m_env.openUrl(HelpLinks::featureRequest());
}

void AppController::helpSupport() {
    m_env.openUrl(HelpLinks::support());
}

void AppController::helpOstrandHome() {
    m_env.openUrl(HelpLinks::productHome());
}

void AppController::helpBMHome() {
    m_env.openUrl(HelpLinks::brightmoorHome());
}

void AppController::manualUpdateCheck() {
    const QString problem = BMSoftwareUpdate::launchSoftwareUpdate();
    if (!problem.isEmpty())
        BMAlert::alertSheetWithButtons({problem, {}, {}, {}, {}}, m_window.get(), false);
}

void AppController::viewLog() {
    BMTroubleshootingUtils::viewLogForApp(QStringLiteral("Vestry"), m_env.openUrl);
}

void AppController::viewTaskLog() {
    // The helper writes "Vestry.task.1.log".
    BMTroubleshootingUtils::viewTaskLogForApp(QStringLiteral("Vestry"), m_env.openUrl);
}

void AppController::gatherLogs() {
    BMTroubleshootingUtils::gatherLogsForAppsWithNames(
        {QStringLiteral("Vestry"), QStringLiteral("Vestry Helper")});
}

void AppController::showAboutDialog() {
    auto* about = new AboutDialog(m_window.get());
    about->setAttribute(Qt::WA_DeleteOnClose);
    about->show();
}
