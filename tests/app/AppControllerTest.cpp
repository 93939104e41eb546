#include "WindowFixture.h"
#include "ZipEntries.h"
#include "app/BusySpinner.h"
#include "app/PreferencesWindow.h"
#include "catalogue/AutosaveType.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/PlistFile.h"
#include "support/Programs.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QTabWidget>
#include <QToolButton>
#include <QUrlQuery>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// Alpha (1,023 bytes), Beta (1,536 and 2,048) and Gamma (100) in the Premiere location, Promo
// (a Motion autosave of 500) in a vault.
class Controller : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        vault = home().home() + "/Movies/Autosave Vault";
        for (const auto& [file, size] : {std::pair{"Alpha/Alpha-1.prproj", 1023},
                                         {"Beta/Beta-1.prproj", 1536},
                                         {"Beta/Beta-2.prproj", 2048},
                                         {"Gamma/Gamma-1.prproj", 100}})
            write("Documents/Adobe Premiere Pro Auto-Save/" + QString(file), QByteArray(size, 'p'));
        write("Movies/Autosave Vault/Promo/Promo_2026-11-02_1030.motn", QByteArray(500, 'm'));
        settings().setValue(SettingsKey::autosavePaths, QStringList{premiere(), vault});
    }
    void clickHeader(int section) { Q_EMIT outline()->header()->sectionClicked(section); }

    QString vault;
};

} // namespace

TEST_F(Controller, FirstStartListsEveryLocationAndTheSharedAtticsThatExistSortedByName) {
    home().writeFile("Shared/AvidMediaComposer/Avid Attic/Feature/Bins/Reel 1/Reel 1.avb.1", "bin");
    start();
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Feature", "Gamma", "Promo"}));
    EXPECT_FALSE(controller->isLaunching());
    EXPECT_FALSE(controller->mainWindow()->spinner()->isSpinning());
    EXPECT_EQ(controller->mainWindow()->statusLabel()->text(), "5 projects, 6 autosaves, 5.09 KB");
    // The auto-clean folder's list holds every scanned location, home abbreviated.
    EXPECT_EQ(controller->preferencesWindow()->autosaveFolderChoices(),
              (QStringList{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Movies/Autosave Vault",
                           home().root() + "/Shared/AvidMediaComposer/Avid Attic"}));
}

TEST_F(Controller, CellsShowTheOutlineTextsAndTheLocationColumnIsHiddenUntilShownAndRemembered) {
    start();
    const AutosaveOutlineModel* model = controller->model();
    const QModelIndex beta = projectIndex("Beta");
    const auto cell = [&](const QModelIndex& row, int column) { return row.siblingAtColumn(column).data(); };
    EXPECT_EQ(cell(projectIndex("Alpha"), AutosaveOutlineModel::SizeColumn), "1,023 B");
    EXPECT_EQ(cell(beta, AutosaveOutlineModel::SizeColumn), "3.5 KB");
    const BMProjectPtr project = controller->dataArray()[beta.row()];
    EXPECT_EQ(cell(beta, AutosaveOutlineModel::DateColumn),
              OutlineText().projectDateText(project->startDate(), project->endDate()));
    const QModelIndex first = model->index(0, 0, beta);
    EXPECT_EQ(cell(first, AutosaveOutlineModel::NameColumn), "Beta-1.prproj");
    EXPECT_EQ(cell(first, AutosaveOutlineModel::DateColumn),
              OutlineText().itemDateText(project->children()[0]->createdDate()));
    EXPECT_FALSE(first.data(Qt::DecorationRole).value<QIcon>().isNull());

    // The location column is hidden until shown, and remembered.
    EXPECT_EQ(outline()->textElideMode(), Qt::ElideMiddle);
    const QModelIndex alpha = projectIndex("Alpha");
    EXPECT_EQ(alpha.siblingAtColumn(AutosaveOutlineModel::LocationColumn).data(),
              "~/Documents/Adobe Premiere Pro Auto-Save");
    EXPECT_EQ(alpha.data(Qt::ToolTipRole), premiere("Alpha"));
    EXPECT_TRUE(outline()->isColumnHidden(AutosaveOutlineModel::LocationColumn));
    menu().showLocation->trigger();
    EXPECT_FALSE(outline()->isColumnHidden(AutosaveOutlineModel::LocationColumn));
    // Its header sorts nothing.
    const QString sorted = settings().stringValue(SettingsKey::sortColumn);
    clickHeader(AutosaveOutlineModel::LocationColumn);
    EXPECT_EQ(settings().stringValue(SettingsKey::sortColumn), sorted);
    controller->waitForWorkers();
    controller = std::make_unique<AppController>(environment());
    ASSERT_TRUE(controller->awakeFromNib());
    EXPECT_FALSE(outline()->isColumnHidden(AutosaveOutlineModel::LocationColumn));
    EXPECT_TRUE(menu().showLocation->isChecked());
}

TEST_F(Controller, HeaderClicksSortAscendingThenDescendingAndTheOpenButtonIsTitledByTheKindsSelected) {
    start();
    clickHeader(AutosaveOutlineModel::NameColumn);
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Gamma", "Promo"}));
    EXPECT_EQ(settings().stringValue(SettingsKey::sortedColumn), "colName");
    EXPECT_FALSE(settings().boolValue(SettingsKey::sortedDescending));

    clickHeader(AutosaveOutlineModel::NameColumn);
    EXPECT_EQ(projectNames(), (QStringList{"Promo", "Gamma", "Beta", "Alpha"}));
    EXPECT_TRUE(settings().boolValue(SettingsKey::sortedDescending));
    EXPECT_EQ(outline()->header()->sortIndicatorOrder(), Qt::DescendingOrder);

    // Another column starts ascending, and the user's choice comes back after a rebuild.
    clickHeader(AutosaveOutlineModel::SizeColumn);
    EXPECT_EQ(projectNames(), (QStringList{"Gamma", "Promo", "Alpha", "Beta"}));
    EXPECT_EQ(settings().stringValue(SettingsKey::sortColumn), "colSize");
    expectRebuild([&] { controller->populateData(); });
    EXPECT_EQ(projectNames(), (QStringList{"Gamma", "Promo", "Alpha", "Beta"}));

    // The Open button is titled by the kinds selected, and only one kind gets the menu.
    const QModelIndex beta = projectIndex("Beta");
    const QModelIndex promo = projectIndex("Promo");
    QToolButton* open = controller->mainWindow()->openButton();

    select({});
    EXPECT_FALSE(open->isEnabled());
    EXPECT_FALSE(controller->mainWindow()->removeButton()->isEnabled());
    EXPECT_EQ(outline()->menu(), nullptr);

    select({beta});
    EXPECT_TRUE(open->isEnabled());
    EXPECT_EQ(open->text(), "Open in Premiere");
    EXPECT_EQ(outline()->menu(), controller->mainWindow()->contextMenu());
    select({controller->model()->index(0, 0, promo)});
    EXPECT_EQ(open->text(), "Open in Motion");
    select({controller->model()->index(1, 0, beta), controller->model()->index(0, 0, promo)});
    EXPECT_EQ(open->text(), "Open in Apps");
    EXPECT_EQ(outline()->menu(), nullptr);

    // A project without autosaves is of no kind.
    controller->setDataArray({BMProject::projectType(AutosaveType::Premiere, "Empty", "/x/Empty")});
    select({controller->model()->index(0, 0)});
    EXPECT_EQ(open->text(), "Open in Apps");
}

TEST_F(Controller, AddedFoldersAreStoredOnceWithTheirVaultAndRemovedOnesForgotten) {
    start();
    const QString project = home().makeFolder("Volumes/Edit/Project");
    home().writeFile("Volumes/Edit/Project/Autosave Vault/Spot/Spot_2026-11-01_0900.motn", "m");
    const QString expected = project + "/Autosave Vault";
    // Folders inside the home are stored as "~/...", the others as they are.
    const QStringList inHome{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Movies/Autosave Vault"};
    chosenFolder = project;
    expectRebuild([&] { controller->prefsAddManualPath(); });
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), QStringList{expected});
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), inHome + QStringList{expected});
    EXPECT_TRUE(projectNames().contains("Spot"));
    EXPECT_EQ(controller->preferencesWindow()->manualPathList()->count(), 1);

    expectRebuild([&] { controller->prefsAddManualPath(); }); // the same folder again
    chosenFolder = vault;                                     // a vault is taken as chosen
    expectRebuild([&] { controller->prefsAddManualPath(); });
    chosenFolder.clear();
    expectRebuild([&] { controller->prefsAddManualPath(); }); // cancelling the panel still rebuilds
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), (QStringList{expected, inHome[1]}));
    EXPECT_EQ(controller->preferencesWindow()->manualPathList()->item(1)->text(), inHome[1]);
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), inHome + QStringList{expected});

    controller->preferencesWindow()->manualPathList()->setCurrentRow(0);
    expectNoRebuild([&] { controller->prefsRemoveManualPath(); });
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), QStringList{inHome[1]});
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths), inHome);
    controller->preferencesWindow()->manualPathList()->setCurrentRow(-1);
    controller->prefsRemoveManualPath(); // nothing selected: nothing happens
    EXPECT_EQ(settings().stringListValue(SettingsKey::manualPaths), QStringList{inHome[1]});
}

// `vestry discover` stores a location while the window is open; adding and removing a folder
// in the preferences keeps it.
TEST_F(Controller, LocationsAnotherProgramStoredMeanwhileSurviveAddingAndRemovingAFolder) {
    start();
    const auto stored = [this] {
        BMSettings file([this] { return settings().userFilePath(); });
        return file.stringListValue(SettingsKey::autosavePaths);
    };
    const auto storeElsewhere = [this](const QStringList& locations) {
        BMSettings file([this] { return settings().userFilePath(); });
        file.setValue(SettingsKey::autosavePaths, locations);
    };
    const QStringList found = stored() + QStringList{"/Volumes/Cart/Autosave Vault"};
    storeElsewhere(found);
    chosenFolder = home().makeFolder("Edit");
    expectRebuild([&] { controller->prefsAddManualPath(); });
    QStringList now = stored();
    EXPECT_TRUE(now.contains("/Volumes/Cart/Autosave Vault") && now.contains(chosenFolder))
        << now.join(", ").toStdString();

    storeElsewhere(found + QStringList{chosenFolder, "/Volumes/Two/Avid Attic"});
    controller->preferencesWindow()->manualPathList()->setCurrentRow(0);
    controller->prefsRemoveManualPath();
    now = stored();
    EXPECT_TRUE(now.contains("/Volumes/Cart/Autosave Vault") && now.contains("/Volumes/Two/Avid Attic") &&
                !now.contains(chosenFolder))
        << now.join(", ").toStdString();
}

TEST_F(Controller, TurningTheAdminPasswordOffOrStartingWithItNeedsAuthorisationAndAnalyticsHaveTheirOwnFile) {
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

    // The analytics switch has a file of its own.
    controller->preferencesWindow()->analyticsBox()->click();
    EXPECT_TRUE(BMSettings::analytics().boolValue(SettingsKey::logQC));
    EXPECT_FALSE(settings().hasValue(SettingsKey::logQC));

    // Required again, a refused authorisation at start ends the application.
    settings().setComputerWideValue(SettingsKey::requireAdminPassword, 1);
    authorizeAnswer = false;
    controller->waitForWorkers();
    controller = std::make_unique<AppController>(environment());
    EXPECT_FALSE(controller->awakeFromNib());
    EXPECT_EQ(authorizations, 3);
    EXPECT_TRUE(controller->preferencesWindow()->adminPasswordBox()->isChecked());
}

TEST_F(Controller, AnalyticsQuestionAtTheSecondLaunchIsASheetAndTheBoxFollowsTheAnswer) {
    settings().setValue(SettingsKey::launchCount, 1);
    {
        Answerer moreInfo("More Info");
        start();
        EXPECT_EQ(moreInfo.count, 1);
        EXPECT_EQ(moreInfo.text, BMQC::questionText());
        EXPECT_EQ(moreInfo.informative, BMQC::questionInformativeText());
        EXPECT_EQ(moreInfo.buttons, (QStringList{"Allow", "Don't Allow", "More Info"}));
        EXPECT_EQ(moreInfo.modality, Qt::WindowModal);
        EXPECT_EQ(moreInfo.parent, controller->mainWindow());
    }
    EXPECT_EQ(opened, QList<QUrl>{BMQC::moreInfoPage()});
    EXPECT_FALSE(BMSettings::analytics().hasValue(SettingsKey::logQC));
    controller->waitForWorkers();
    controller.reset();
    analytics.reset();

    Answerer allow("Allow");
    start();
    EXPECT_EQ(allow.count, 1);
    QCheckBox* box = controller->preferencesWindow()->analyticsBox();
    EXPECT_TRUE(box->isChecked());
    EXPECT_TRUE(BMSettings::analytics().boolValue(SettingsKey::logQC));
    box->click();
    EXPECT_FALSE(analytics->shouldLog());
    EXPECT_FALSE(BMSettings::analytics().boolValue(SettingsKey::logQC));
}

// A user file that cannot be read is set aside at start and told; a computer-wide one is left
// as it is, and the admin switch that would be stored in it stays off.
TEST_F(Controller, UnreadableSettingsFilesAreToldAndOnlyTheUsersIsSetAside) {
    const QString file = settings().userFilePath(), wide = settings().computerWideFilePath();
    write(".config/com.brightmoor.Vestry.plist", "not a property list");
    home().writeFile(wide, "not a property list");
    settings().synchronize();
    start();
    QMessageBox* box = visibleAlert();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "Vestry's settings could not be read.");
    EXPECT_TRUE(box->informativeText().contains("it was set aside as " + file + ".unreadable-"))
        << box->informativeText().toStdString();
    clickButton(box, "OK");

    controller->preferencesWindow()->adminPasswordBox()->click();
    box = visibleAlert();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->informativeText(),
              "The settings file " + wide + " could not be read; it was left as it is.");
    clickButton(box, "OK");
    EXPECT_FALSE(controller->preferencesWindow()->adminPasswordBox()->isChecked());
    EXPECT_EQ(readFile(wide), "not a property list");
}

TEST_F(Controller, HelpAndLogMenusOpenTheirPlacesOrSayWhyNotAndGatherLogsPutsBothProgramsLogsOnTheDesktop) {
    start();
    const MainWindow::Actions& menu = controller->mainWindow()->actions();
    menu.checkForUpdates->trigger(); // there is no updater
    QMessageBox* box = visibleAlert();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "Unable to launch Software Update - path doesn't exist");
    box->close();
    {
        // No log yet: each command says which log is missing.
        Answerer answer("OK");
        menu.viewLog->trigger();
        ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
        EXPECT_EQ(answer.text, "No log found");
        EXPECT_EQ(answer.informative, "You must perform a task before viewing the log.");
        menu.viewTaskLog->trigger();
        ASSERT_TRUE(waitFor([&] { return answer.count == 2; }));
        EXPECT_EQ(answer.informative,
                  "You must run the application as a task (e.g. through Orrery) before viewing a log.");
        EXPECT_TRUE(opened.isEmpty());
    }
    write(".local/state/Brightmoor/Vestry.1.log", "log");
    write(".local/state/Brightmoor/Vestry.task.1.log", "log");
    QCoreApplication::setApplicationVersion("1.0 beta");
    controller->helpReportBug();
    QCoreApplication::setApplicationVersion(QString());
    menu.viewLog->trigger();
    controller->helpUserManual(); // no manual installed: nothing opens
    menu.viewTaskLog->trigger();
    ASSERT_EQ(opened.size(), 3);
    EXPECT_EQ(opened[0].path(), "/halvern/bugreport");
    EXPECT_EQ(QUrlQuery(opened[0]).queryItemValue("app"), "vestry");
    EXPECT_EQ(QUrlQuery(opened[0]).queryItemValue("version", QUrl::FullyEncoded), "1.0%20beta");
    EXPECT_EQ(opened[1].toLocalFile(), home().home() + "/.local/state/Brightmoor/Vestry.1.log");
    // The log the background helper writes.
    EXPECT_EQ(opened[2].toLocalFile(), home().home() + "/.local/state/Brightmoor/Vestry.task.1.log");

    openAnswer = false;
    Answerer answer("OK");
    menu.viewLog->trigger();
    ASSERT_TRUE(waitFor([&] { return answer.count == 1; }));
    EXPECT_EQ(answer.text, "The log could not be opened.");
    EXPECT_EQ(answer.informative, "No application that shows text files could be started. The log is " +
                                      home().home() + "/.local/state/Brightmoor/Vestry.1.log.");

    // Gather Logs puts the logs of both programs on the desktop.
    write(".config/com.brightmoor.VestryHelper.plist", "x");
    menu.gatherLogs->trigger();
    ASSERT_TRUE(waitFor([&] { return answer.count == 2; }));
    EXPECT_EQ(answer.text, "Logs gathered successfully");
    EXPECT_EQ(answer.parent, controller->mainWindow());
    const QStringList entries = zipEntryNames(BMLocalPaths::desktopDirectory() + "/Vestry Logs.zip");
    for (const char* log :
         {"/.local/state/Brightmoor/Vestry.task.1.log", "/.config/com.brightmoor.VestryHelper.plist"})
        EXPECT_TRUE(entries.contains("BM_App_Logs" + home().home() + log)) << log;
}

TEST_F(Controller, AFolderFoundByTheNameSearchIsStoredAndShown) {
    // Only the name search knows this vault: a stand-in locate prints it, plocate is absent.
    const QString found = home().makeFolder("Volumes/Media/Autosave Vault");
    home().writeFile("Volumes/Media/Autosave Vault/Trailer/Trailer_2026-11-03_1200.motn", "m");
    const QString locate =
        home().writeFile("tools/locate", "#!/bin/sh\ncase \"$*\" in *'Autosave Vault'*) printf '%s\\0' '" +
                                             found.toUtf8() + "';; esac\n");
    QFile::setPermissions(locate, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    home().platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
    home().platform().setToolPath(Tool::Locate, locate);

    start(); // the launch rebuild's search stores the vault and starts another rebuild
    QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
    EXPECT_TRUE(projectNames().contains("Trailer") || rebuilt.wait(10000));
    controller->waitForWorkers();
    EXPECT_TRUE(projectNames().contains("Trailer"));
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths),
              (QStringList{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Movies/Autosave Vault", found}));
}

TEST_F(Controller, PremiereGroupingIsOnUntilUntickedWhichIsStoredAndRebuildsWithTheLastDashRule) {
    write("Documents/Adobe Premiere Pro Auto-Save/Cut-2019-11-04_15-04-08.prproj");
    write("Documents/Adobe Premiere Pro Auto-Save/Cut.prproj");
    start();
    QCheckBox* box = controller->preferencesWindow()->premiereGroupingBox();
    EXPECT_TRUE(box->isChecked());
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Cut", "Gamma", "Promo"}));
    expectRebuild([&] { box->click(); });
    EXPECT_EQ(projectNames(), (QStringList{"", "Alpha", "Beta", "Cut-2019-11-04_15-04", "Gamma", "Promo"}));
    // Stored as a value of its own, not left to the default; what is stored shows again.
    EXPECT_EQ(settings().value(SettingsKey::premiereGroupTimestampedCopies), QVariant(false));
    settings().setValue(SettingsKey::premiereGroupTimestampedCopies, true);
    controller->preferencesWindow()->refreshFromSettings();
    EXPECT_TRUE(box->isChecked());
}

TEST_F(Controller, AStoredLocationOnADriveThatIsNotMountedIsShownOfflineAndKeptUntilItComesBack) {
    const QString drive = home().root() + "/media/EDIT";
    const QString offline = drive + "/Adobe Premiere Pro Auto-Save";
    settings().setValue(SettingsKey::autosavePaths, QStringList{premiere(), offline, vault});
    start();
    const QLabel* status = controller->mainWindow()->statusLabel();
    EXPECT_EQ(status->text(), "4 projects, 5 autosaves, 5.08 KB; 1 location offline");
    EXPECT_EQ(status->toolTip(), offline + " (offline)");
    EXPECT_EQ(settings().stringListValue(SettingsKey::autosavePaths),
              (QStringList{premiere(), offline, vault}));

    // The drive comes back: its projects join and the status line no longer mentions it.
    home().writeFile("media/EDIT/Adobe Premiere Pro Auto-Save/Delta/Delta-1.prproj", QByteArray(10, 'd'));
    expectRebuild([&] { controller->populateData(); });
    EXPECT_TRUE(projectNames().contains("Delta"));
    EXPECT_FALSE(status->text().contains("offline")) << status->text().toStdString();
    EXPECT_TRUE(status->toolTip().isEmpty());
}

// A location the user may not list looked empty. Root lists everything, so the window runs as
// nobody: this test runs itself again under setpriv, given a location only root may open.
TEST_F(Controller, ALocationThatCannotBeReadIsNamedInTheStatusLineWithTheCause) {
    const QString locked = qEnvironmentVariable("VESTRY_TEST_LOCKED_LOCATION");
    if (locked.isEmpty()) {
        if (::getuid() != 0 || !QFileInfo("/usr/bin/setpriv").isExecutable())
            GTEST_SKIP() << "needs root and setpriv to run the window as nobody";
        home().writeFile("Locked/Autosave Vault/Shut/Shut_2026-11-01_0900.motn", "m");
        const QString location = home().root() + "/Locked/Autosave Vault";
        ASSERT_EQ(::chmod(QFile::encodeName(home().root()), 0755), 0);
        ASSERT_EQ(::chmod(QFile::encodeName(location), 0700), 0);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VESTRY_TEST_LOCKED_LOCATION", location);
        const ProgramRun run = runProgram(
            "/usr/bin/setpriv",
            setprivAsNobody() + QStringList{QFileInfo("/proc/self/exe").canonicalFilePath(),
                                            "--gtest_filter=Controller.ALocationThatCannotBeRead*"},
            {env, QString(), 60000, QByteArray(), true});
        EXPECT_EQ(run.exitCode, 0) << run.out.toStdString();
        EXPECT_TRUE(run.out.contains("[  PASSED  ] 1 test.")) << run.out.toStdString();
        return;
    }
    settings().setValue(SettingsKey::autosavePaths, QStringList{premiere(), locked});
    start();
    const QLabel* status = controller->mainWindow()->statusLabel();
    EXPECT_EQ(status->text(), "3 projects, 4 autosaves, 4.6 KB; 1 location could not be read");
    EXPECT_EQ(status->toolTip(), locked + " (could not be read: Permission denied)");
}

TEST_F(Controller, WhileTheCatalogueIsBuiltTheWindowSaysSoAndCountsWhatItFound) {
    controller = std::make_unique<AppController>(environment());
    ASSERT_TRUE(controller->awakeFromNib());
    EXPECT_EQ(outline()->placeholderText(), "Scanning 2 locations..."); // shown before the scan starts
    QStringList shown;
    QObject::connect(controller.get(), &AppController::catalogueScanning, controller.get(), [&] {
        shown << controller->mainWindow()->statusLabel()->text() + " | " + outline()->placeholderText();
    });
    expectRebuild([&] { controller->applicationDidFinishLaunching(); });
    const QString first = "Scanning 2 locations...";
    EXPECT_EQ(shown,
              (QStringList{first + " | " + first,
                           first + " 3 projects found so far | " + first + " 3 projects found so far",
                           first + " 4 projects found so far | " + first + " 4 projects found so far"}));
    EXPECT_EQ(controller->mainWindow()->statusLabel()->text(), "4 projects, 5 autosaves, 5.08 KB");
    EXPECT_TRUE(outline()->placeholderText().isEmpty());
}

// Becoming active rebuilds only when idle, as showing the locations tab does.
TEST_F(Controller, RebuildsWhenIdleAndSelectedAndOpenRowsSurviveEveryRebuildBySortAndByPath) {
    start();
    controller->startProgressSpinner();
    expectNoRebuild([&] { controller->applicationBecameActive(); });
    controller->stopProgressSpinner();
    expectRebuild([&] { controller->applicationBecameActive(); });
    outline()->expand(projectIndex("Beta"));
    clickHeader(AutosaveOutlineModel::SizeColumn); // moves Beta; it stays open
    EXPECT_TRUE(outline()->isExpanded(projectIndex("Beta")));
    select({projectIndex("Gamma"), itemIndex("Beta", 1)});
    const QString item = itemIndex("Beta", 1).data().toString();
    outline()->selectionModel()->setCurrentIndex(itemIndex("Beta", 1), QItemSelectionModel::NoUpdate);
    // Switching to the locations tab rebuilds without saving the open rows first.
    QTabWidget* tabs = controller->preferencesWindow()->tabs();
    expectNoRebuild([&] { tabs->setCurrentIndex(PreferencesWindow::RemovalTab); });
    expectRebuild([&] { tabs->setCurrentIndex(PreferencesWindow::LocationsTab); });
    EXPECT_TRUE(outline()->isExpanded(projectIndex("Beta")));
    EXPECT_FALSE(outline()->isExpanded(projectIndex("Alpha")));
    EXPECT_EQ(selectedNames(), (QStringList{item, "Gamma"}));
    EXPECT_EQ(outline()->currentIndex(), itemIndex("Beta", 1));
    EXPECT_TRUE(menu().remove->isEnabled());

    // A selected project that is gone leaves the rest selected.
    ASSERT_TRUE(QDir(premiere("Gamma")).removeRecursively());
    expectRebuild([&] { controller->populateData(); });
    EXPECT_EQ(selectedNames(), QStringList{item});
    EXPECT_EQ(settings().stringListValue(SettingsKey::expandedItems), QStringList{premiere("Beta")});
    // A renamed folder is another path: it comes back closed.
    ASSERT_TRUE(QDir().rename(premiere("Beta"), premiere("Beta Renamed")));
    expectRebuild([&] { controller->populateData(); });
    EXPECT_FALSE(outline()->isExpanded(projectIndex("Beta Renamed")));
}
