#include "app/AppController.h"

#include "TempHome.h"
#include "app/AutosaveOutlineModel.h"
#include "app/BMOutlineView.h"
#include "app/BusySpinner.h"
#include "app/MainWindow.h"
#include "app/PreferencesWindow.h"
#include "catalogue/AutosaveType.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QSignalSpy>
#include <QTabWidget>
#include <QToolButton>

namespace {

class Controller : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        premiere = home().makeFolder("Users/jö ed/Documents/Adobe Premiere Pro Auto-Save");
        file("Alpha/Alpha-1.prproj", 1023);
        file("Beta/Beta-1.prproj", 1536);
        file("Beta/Beta-2.prproj", 2048);
        file("Gamma/Gamma-1.prproj", 100);
        vault = home().makeFolder("Users/jö ed/Movies/Autosave Vault");
        home().writeFile("Users/jö ed/Movies/Autosave Vault/Promo/Promo_2026-11-02_1030.motn",
                         QByteArray(500, 'm'));
        settings().setValue(SettingsKey::autosavePaths, QStringList{premiere, vault});
    }
    void TearDown() override {
        controller.reset();
        TempHomeTest::TearDown();
    }

    static BMSettings& settings() { return BMSettings::standard(); }

    void file(const QString& relative, int size) {
        home().writeFile(premiere.mid(home().root().size() + 1) + "/" + relative, QByteArray(size, 'p'));
    }

    void start() {
        AppController::Environment env;
        env.authorize = [this] { return ++authorizations, authorizeAnswer; };
        env.chooseFolder = [this](QWidget*) { return chosenFolder; };
        env.openUrl = [this](const QUrl& url) { return opened << url, true; };
        env.sharedAvidAttics = {home().root() + "/Shared/AvidMediaComposer/Avid Attic"};
        env.searchIntervalMs = 3600 * 1000;
        controller = std::make_unique<AppController>(env);
        tester = std::make_unique<QAbstractItemModelTester>(
            controller->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        ASSERT_TRUE(controller->awakeFromNib());
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        controller->applicationDidFinishLaunching();
        ASSERT_TRUE(rebuilt.wait(10000));
    }

    void rebuild(bool save = true) {
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        save ? controller->populateData() : controller->populateDataNoSave();
        ASSERT_TRUE(rebuilt.wait(10000));
        controller->waitForWorkers();
    }

    QStringList projectNames() const {
        QStringList names;
        for (const BMProjectPtr& project : controller->dataArray())
            names << project->name();
        return names;
    }

    QModelIndex projectIndex(const QString& name) const {
        const BMProjectList& projects = controller->dataArray();
        for (int row = 0; row < projects.size(); ++row) {
            if (projects[row]->name() == name)
                return controller->model()->index(row, 0);
        }
        return QModelIndex();
    }

    void select(const QList<QModelIndex>& rows) {
        QItemSelectionModel* selection = controller->mainWindow()->outlineView()->selectionModel();
        selection->clearSelection();
        for (const QModelIndex& row : rows)
            selection->select(row, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    void clickHeader(int section) {
        Q_EMIT controller->mainWindow()->outlineView()->header()->sectionClicked(section);
    }

    QString premiere;
    QString vault;
    bool authorizeAnswer = true;
    int authorizations = 0;
    QString chosenFolder;
    QList<QUrl> opened;
    std::unique_ptr<AppController> controller;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

} // namespace

TEST_F(Controller, FirstStartListsEveryLocationSortedByName) {
    start();
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Gamma", "Promo"}));
    EXPECT_FALSE(controller->isLaunching());
    EXPECT_FALSE(controller->mainWindow()->spinner()->isSpinning());
    EXPECT_EQ(controller->mainWindow()->statusLabel()->text(), "4 projects, 5 autosaves, 5.08 KB");
    // The auto-clean folder's list holds every scanned location, home abbreviated.
    EXPECT_EQ(controller->preferencesWindow()->autosaveFolderChoices(),
              (QStringList{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Movies/Autosave Vault"}));
}

TEST_F(Controller, CellsShowTheOutlineTexts) {
    start();
    AutosaveOutlineModel* model = controller->model();
    const QModelIndex alpha = projectIndex("Alpha");
    const QModelIndex beta = projectIndex("Beta");
    EXPECT_EQ(model->index(alpha.row(), AutosaveOutlineModel::SizeColumn).data().toString(), "1,023 B");
    EXPECT_EQ(model->index(beta.row(), AutosaveOutlineModel::SizeColumn).data().toString(), "3.5 KB");
    EXPECT_EQ(model->index(0, AutosaveOutlineModel::NameColumn, beta).data().toString(), "Beta-1.prproj");
    EXPECT_FALSE(model->index(0, AutosaveOutlineModel::DateColumn, beta).data().toString().isEmpty());
    EXPECT_FALSE(model->index(0, AutosaveOutlineModel::NameColumn, beta)
                     .data(Qt::DecorationRole)
                     .value<QIcon>()
                     .isNull());
}

TEST_F(Controller, HeaderClicksSortAscendingThenDescending) {
    start();
    clickHeader(AutosaveOutlineModel::NameColumn);
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Gamma", "Promo"}));
    EXPECT_EQ(settings().stringValue(SettingsKey::sortedColumn), "colName");
    EXPECT_FALSE(settings().boolValue(SettingsKey::sortedDescending));

    clickHeader(AutosaveOutlineModel::NameColumn);
    EXPECT_EQ(projectNames(), (QStringList{"Promo", "Gamma", "Beta", "Alpha"}));
    EXPECT_TRUE(settings().boolValue(SettingsKey::sortedDescending));
    EXPECT_EQ(controller->mainWindow()->outlineView()->header()->sortIndicatorOrder(), Qt::DescendingOrder);

    // Another column starts ascending.
    clickHeader(AutosaveOutlineModel::SizeColumn);
    EXPECT_EQ(projectNames(), (QStringList{"Gamma", "Promo", "Alpha", "Beta"}));
    EXPECT_EQ(settings().stringValue(SettingsKey::sortedColumn), "colSize");
    EXPECT_EQ(settings().stringValue(SettingsKey::sortColumn), "colSize");

    // The user's choice comes back after a rebuild.
    rebuild();
    EXPECT_EQ(projectNames(), (QStringList{"Gamma", "Promo", "Alpha", "Beta"}));
}

TEST_F(Controller, ExpandedRowsSurviveRebuildsBySortAndByPath) {
    start();
    BMOutlineView* outline = controller->mainWindow()->outlineView();
    outline->expand(projectIndex("Beta"));
    clickHeader(AutosaveOutlineModel::SizeColumn); // moves Beta; it stays open
    EXPECT_TRUE(outline->isExpanded(projectIndex("Beta")));

    rebuild();
    EXPECT_TRUE(outline->isExpanded(projectIndex("Beta")));
    EXPECT_FALSE(outline->isExpanded(projectIndex("Alpha")));
    EXPECT_EQ(settings().stringListValue(SettingsKey::expandedItems), QStringList{premiere + "/Beta"});

    // A renamed folder is another path: it comes back closed.
    ASSERT_TRUE(QDir().rename(premiere + "/Beta", premiere + "/Beta Renamed"));
    rebuild();
    EXPECT_FALSE(outline->isExpanded(projectIndex("Beta Renamed")));
}

TEST_F(Controller, OpenButtonIsTitledByTheKindsSelected) {
    start();
    const QModelIndex beta = projectIndex("Beta");
    const QModelIndex promo = projectIndex("Promo");
    QToolButton* open = controller->mainWindow()->openButton();

    select({});
    EXPECT_FALSE(open->isEnabled());
    EXPECT_FALSE(controller->mainWindow()->removeButton()->isEnabled());
    EXPECT_EQ(controller->mainWindow()->outlineView()->menu(), nullptr);

    select({beta});
    EXPECT_TRUE(open->isEnabled());
    EXPECT_EQ(open->text(), "Open in Premiere");
    EXPECT_EQ(controller->mainWindow()->outlineView()->menu(), controller->mainWindow()->contextMenu());

    select({controller->model()->index(0, 0, promo)});
    EXPECT_EQ(open->text(), "Open in Motion");

    select({controller->model()->index(1, 0, beta), controller->model()->index(0, 0, promo)});
    EXPECT_EQ(open->text(), "Open in Apps");
    EXPECT_EQ(controller->mainWindow()->outlineView()->menu(), nullptr);
}

TEST_F(Controller, AProjectWithoutAutosavesGivesOpenInApps) {
    start();
    controller->setDataArray({BMProject::projectType(AutosaveType::Premiere, "Empty", "/x/Empty")});
    select({controller->model()->index(0, 0)});
    EXPECT_EQ(controller->mainWindow()->openButton()->text(), "Open in Apps");
}

TEST_F(Controller, AddingAFolderTakesItsVaultOnceAndRebuilds) {
    start();
    const QString project = home().makeFolder("Volumes/Edit/Project");
    home().writeFile("Volumes/Edit/Project/Autosave Vault/Spot/Spot_2026-11-01_0900.motn", "m");
    chosenFolder = project;
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    controller->prefsAddManualPath();
    ASSERT_TRUE(rebuilt.wait(10000));
    const QString expected = project + "/Autosave Vault";
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), QStringList{expected});
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths),
              (QStringList{premiere, vault, expected}));
    EXPECT_TRUE(projectNames().contains("Spot"));
    EXPECT_EQ(controller->preferencesWindow()->manualPathList()->count(), 1);

    controller->prefsAddManualPath();
    ASSERT_TRUE(rebuilt.wait(10000));
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), QStringList{expected});

    // Cancelling the panel still rebuilds.
    chosenFolder.clear();
    controller->prefsAddManualPath();
    EXPECT_TRUE(rebuilt.wait(10000));
}

TEST_F(Controller, AVaultIsTakenAsChosen) {
    start();
    chosenFolder = vault;
    controller->prefsAddManualPath();
    controller->waitForWorkers();
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), QStringList{vault});
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), (QStringList{premiere, vault}));
}

TEST_F(Controller, RemovingAFolderForgetsItWithoutARebuild) {
    settings().setValue(SettingsKey::manualPaths, QStringList{vault});
    start();
    controller->preferencesWindow()->manualPathList()->setCurrentRow(0);
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    controller->prefsRemoveManualPath();
    EXPECT_FALSE(rebuilt.wait(300));
    EXPECT_TRUE(settings().stringListValue(SettingsKey::manualPaths).isEmpty());
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), QStringList{premiere});
    EXPECT_EQ(controller->manualPathArray(), QStringList());

    // Nothing selected: nothing happens.
    controller->prefsRemoveManualPath();
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), QStringList{premiere});
}

TEST_F(Controller, TurningTheAdminPasswordOffNeedsAuthorisation) {
    start();
    QCheckBox* box = controller->preferencesWindow()->adminPasswordBox();
    box->click(); // on: no authorisation asked
    EXPECT_EQ(authorizations, 0);
    EXPECT_EQ(settings().integerValue(SettingsKey::requireAdminPassword), 1);
    EXPECT_EQ(
        PlistFile::readDictionary(settings().computerWideFilePath())->value("requireAdminPassword").toInt(),
        1);

    authorizeAnswer = false;
    box->click(); // off, refused: the box goes back on, the setting stays
    EXPECT_EQ(authorizations, 1);
    EXPECT_TRUE(box->isChecked());
    EXPECT_EQ(settings().integerValue(SettingsKey::requireAdminPassword), 1);

    authorizeAnswer = true;
    box->click();
    EXPECT_FALSE(box->isChecked());
    EXPECT_EQ(settings().integerValue(SettingsKey::requireAdminPassword), 0);
}

TEST_F(Controller, RefusedAuthorisationAtStartEndsTheApplication) {
    settings().setComputerWideValue(SettingsKey::requireAdminPassword, 1);
    authorizeAnswer = false;
    AppController::Environment env;
    env.authorize = [this] { return ++authorizations, authorizeAnswer; };
    env.sharedAvidAttics = {};
    controller = std::make_unique<AppController>(env);
    EXPECT_FALSE(controller->awakeFromNib());
    EXPECT_EQ(authorizations, 1);
    EXPECT_TRUE(controller->preferencesWindow()->adminPasswordBox()->isChecked());
}

TEST_F(Controller, AnalyticsSwitchIsWrittenToItsOwnFile) {
    start();
    controller->preferencesWindow()->analyticsBox()->click();
    EXPECT_TRUE(BMSettings::analytics().boolValue(SettingsKey::logQC));
    EXPECT_FALSE(settings().hasValue(SettingsKey::logQC));
}

TEST_F(Controller, BecomingActiveRebuildsOnlyWhenIdle) {
    start();
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    controller->startProgressSpinner();
    controller->applicationBecameActive();
    EXPECT_FALSE(rebuilt.wait(300));
    controller->stopProgressSpinner();
    controller->applicationBecameActive();
    EXPECT_TRUE(rebuilt.wait(10000));
}

TEST_F(Controller, OnlyTheLocationsTabRebuilds) {
    start();
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    controller->preferencesWindow()->tabs()->setCurrentIndex(PreferencesWindow::RemovalTab);
    EXPECT_FALSE(rebuilt.wait(300));
    controller->preferencesWindow()->tabs()->setCurrentIndex(PreferencesWindow::LocationsTab);
    EXPECT_TRUE(rebuilt.wait(10000));
}

TEST_F(Controller, SharedAtticsAreScannedWhenTheyExist) {
    home().writeFile("Shared/AvidMediaComposer/Avid Attic/Feature/Bins/Reel 1/Reel 1.avb.1", "bin");
    start();
    EXPECT_TRUE(projectNames().contains("Feature"));
    EXPECT_TRUE(controller->preferencesWindow()->autosaveFolderChoices().last().endsWith("Avid Attic"));
}

TEST_F(Controller, HelpAndLogMenusOpenTheirPlaces) {
    start();
    controller->helpReportBug();
    controller->viewLog();
    controller->helpUserManual(); // no manual installed: nothing opens
    ASSERT_EQ(opened.size(), 2);
    EXPECT_EQ(opened[0].path(), "/halvern/bugreport");
    EXPECT_TRUE(opened[1].toLocalFile().endsWith("/Brightmoor/Vestry.1.log"));
}

TEST_F(Controller, AFolderFoundByTheNameSearchIsStoredAndShown) {
    // Only the name search knows this vault: a stand-in locate prints it, plocate is absent.
    const QString found = home().makeFolder("Volumes/Media/Autosave Vault");
    home().writeFile("Volumes/Media/Autosave Vault/Trailer/Trailer_2026-11-03_1200.motn", "m");
    const QString locate =
        home().writeFile("tools/locate", "#!/bin/sh\ncase \"$*\" in *'Autosave Vault'*) printf '%s\\0' '" +
                                             found.toUtf8() + "';; esac\n");
    QFile::setPermissions(locate, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    home().platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
    home().platform().setToolPath(Tool::Locate, locate);

    start(); // the launch rebuild's search stores the vault and starts another rebuild
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    EXPECT_TRUE(projectNames().contains("Trailer") || rebuilt.wait(10000));
    controller->waitForWorkers();
    EXPECT_TRUE(projectNames().contains("Trailer"));
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), (QStringList{premiere, vault, found}));
}
