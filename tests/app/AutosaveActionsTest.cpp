// The autosave actions as the user meets them in the window: the real controller and main
// window on real trees in a temporary home, every question answered from the test.
#include "app/AutosaveActions.h"

#include "TempHome.h"
#include "app/AppController.h"
#include "app/AutosaveOutlineModel.h"
#include "app/BMOutlineView.h"
#include "app/BusySpinner.h"
#include "app/MainWindow.h"
#include "app/ProgressSheet.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

QMessageBox* visibleAlert() {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible())
            return box;
    }
    return nullptr;
}

// What an alert showed before the test answered it.
struct Seen {
    int count = 0;
    QString text;
    QString informative;
    QStringList buttons;
    Qt::WindowModality modality = Qt::NonModal;
};

// Answers every alert that shows with the button of that title, recording what it showed.
class Answerer : public QObject {
public:
    explicit Answerer(QString title) : m_title(std::move(title)) {
        connect(&m_poll, &QTimer::timeout, this, [this] {
            QMessageBox* box = visibleAlert();
            if (!box || box == m_answered)
                return;
            m_answered = box;
            ++seen.count;
            seen.text = box->text();
            seen.informative = box->informativeText();
            seen.modality = box->windowModality();
            seen.buttons.clear();
            for (QAbstractButton* button : box->buttons())
                seen.buttons << button->text();
            seen.buttons.sort();
            for (QAbstractButton* button : box->buttons()) {
                if (button->text() == m_title) {
                    button->click();
                    return;
                }
            }
        });
        m_poll.start(20);
    }
    Seen seen;

private:
    QString m_title;
    QTimer m_poll;
    QPointer<QMessageBox> m_answered;
};

class Actions : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        const QString refusing = write("tools/pkexec", "#!/bin/sh\nexit 127\n");
        QFile::setPermissions(refusing, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        home().platform().setToolPath(Tool::Pkexec, refusing);
        m_previousAuthorization = BMAuthorization::installShared(std::make_unique<BMAuthorization>());
        for (const char* relative : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj"})
            write(premiereRelative + relative);
        for (const char* relative :
             {"Ceremony/CurrentVersion.fcpevent", "Ceremony/Backups/Ceremony 1.fcpevent",
              "Ceremony/Backups/Ceremony 2.fcpevent"})
            write(libraryRelative + relative);
        BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere(), library()});
    }

    void TearDown() override {
        if (controller)
            controller->waitForWorkers();
        controller.reset();
        BMAuthorization::installShared(std::move(m_previousAuthorization));
        TempHomeTest::TearDown();
    }

    QString write(const QString& relative, const QByteArray& contents = QByteArray()) const {
        const QString path = home().home() + "/" + relative;
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(contents.isEmpty() ? relative.toUtf8() : contents);
        return path;
    }
    QByteArray read(const QString& path) const {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString premiere() const { return home().home() + "/" + premiereRelative.chopped(1); }
    QString library() const { return home().home() + "/" + libraryRelative.chopped(1); }
    QStringList trashed() const {
        return QDir(home().home() + "/.local/share/Trash/files").entryList(QDir::Files, QDir::Name);
    }

    void start() {
        AppController::Environment env;
        env.authorize = [] { return true; };
        env.sharedAvidAttics = {};
        env.searchIntervalMs = 3600 * 1000;
        controller = std::make_unique<AppController>(env);
        ASSERT_TRUE(controller->awakeFromNib());
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        controller->applicationDidFinishLaunching();
        ASSERT_TRUE(rebuilt.wait(10000));
        controller->waitForWorkers();
        actions = controller->findChild<AutosaveActions*>();
        ASSERT_NE(actions, nullptr);
        AutosaveActions::Environment actionsEnv;
        actionsEnv.chooseFolder = [this](QWidget*) { return chosenFolder; };
        actionsEnv.chooseArchiveFile = [this](QWidget*, const QString& proposed) {
            proposedName = proposed;
            return chosenArchive;
        };
        actionsEnv.now = [this] { return now; };
        actions->setEnvironment(actionsEnv);
    }

    // Runs an action that ends in a rebuild and waits for it.
    void expectRebuild(const std::function<void()>& action) {
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        action();
        EXPECT_TRUE(rebuilt.wait(10000));
        controller->waitForWorkers();
    }
    // Runs an action whose work ends without a rebuild.
    void expectNoRebuild(const std::function<void()>& action) {
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        action();
        controller->waitForWorkers();
        EXPECT_FALSE(rebuilt.wait(300));
    }

    QModelIndex projectIndex(const QString& name) const {
        const BMProjectList& projects = controller->dataArray();
        for (int row = 0; row < projects.size(); ++row) {
            if (projects[row]->name() == name)
                return controller->model()->index(row, 0);
        }
        ADD_FAILURE() << "no project " << name.toStdString();
        return QModelIndex();
    }
    QModelIndex itemIndex(const QString& project, int row) const {
        return controller->model()->index(row, 0, projectIndex(project));
    }
    void select(const QList<QModelIndex>& rows) {
        QItemSelectionModel* selection = controller->mainWindow()->outlineView()->selectionModel();
        selection->clearSelection();
        for (const QModelIndex& row : rows)
            selection->select(row, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    QStringList projectNames() const {
        QStringList names;
        for (const BMProjectPtr& project : controller->dataArray())
            names << project->name();
        return names;
    }
    const MainWindow::Actions& menu() const { return controller->mainWindow()->actions(); }

    const QString premiereRelative = "Documents/Adobe Premiere Pro Auto-Save/";
    const QString libraryRelative = "Movies/Wedding.fcpbundle/";
    std::unique_ptr<AppController> controller;
    AutosaveActions* actions = nullptr;
    QString chosenFolder;
    QString chosenArchive;
    QString proposedName;
    QDateTime now = QDateTime::currentDateTimeUtc();
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};

} // namespace

TEST_F(Actions, RemovingAProjectAsksAboutOneRowAndTrashesItsAutosaves) {
    start();
    select({projectIndex("Beta")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().remove->trigger(); });
    EXPECT_EQ(answer.seen.count, 1);
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(answer.seen.informative, "This cannot be undone.");
    EXPECT_EQ(answer.seen.buttons, (QStringList{"Cancel", "Remove"}));
    EXPECT_EQ(answer.seen.modality, Qt::WindowModal);
    EXPECT_EQ(trashed(), (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Ceremony"}));
    EXPECT_FALSE(QFileInfo::exists(premiere() + "/Beta"));
}

TEST_F(Actions, RowsAreCountedAsRowsAndCancelKeepsEverything) {
    start();
    select({projectIndex("Alpha"), itemIndex("Beta", 1)});
    Answerer answer("Cancel");
    expectNoRebuild([&] { actions->remove(); });
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to remove 2 autosaves?");
    EXPECT_TRUE(trashed().isEmpty());
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Ceremony"}));
}

class RemoveKeys : public Actions, public ::testing::WithParamInterface<Qt::Key> {};

TEST_P(RemoveKeys, AskOnceToRemove) {
    start();
    select({itemIndex("Beta", 0)});
    controller->mainWindow()->activateWindow();
    controller->mainWindow()->outlineView()->setFocus();
    Answerer answer("Remove");
    expectRebuild([&] { QTest::keyClick(controller->mainWindow()->outlineView(), GetParam()); });
    controller->waitForWorkers();
    EXPECT_EQ(answer.seen.count, 1);
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(trashed(), QStringList{"Beta-1.prproj"});
}

INSTANTIATE_TEST_SUITE_P(Keys, RemoveKeys, ::testing::Values(Qt::Key_Backspace, Qt::Key_Delete),
                         [](const ::testing::TestParamInfo<Qt::Key>& info) {
                             return std::string(info.param == Qt::Key_Delete ? "Delete" : "Backspace");
                         });

TEST_F(Actions, AgeMenuCountsAProjectsOwnAutosaveTwiceAndRemovesItOnce) {
    start();
    now = now.addDays(10);
    select({projectIndex("Beta"), itemIndex("Beta", 0)});
    Answerer answer("Remove");
    QAction* sevenDays = menu().removeOlderThan[2];
    ASSERT_EQ(sevenDays->data().toInt(), 7);
    expectRebuild([&] { sevenDays->trigger(); });
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to remove 3 autosaves?");
    EXPECT_EQ(trashed(), (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Ceremony"}));
}

TEST_F(Actions, AgeMenuAsksNothingWhenNothingIsOldEnough) {
    start();
    select({projectIndex("Beta")});
    Answerer answer("Remove");
    expectNoRebuild([&] { menu().removeOlderThan[0]->trigger(); });
    EXPECT_EQ(answer.seen.count, 0);
    EXPECT_TRUE(trashed().isEmpty());
}

TEST_F(Actions, KeepMenuAsksEvenWhenNothingGoes) {
    start();
    select({projectIndex("Alpha")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().keepMostRecent[0]->trigger(); });
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to remove 0 autosaves?");
    EXPECT_TRUE(trashed().isEmpty());
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Beta", "Ceremony"}));
}

TEST_F(Actions, KeepingTheMostRecentOfTwoAsksAboutThisAutosave) {
    start();
    select({projectIndex("Beta")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().keepMostRecent[0]->trigger(); });
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(trashed().size(), 1);
    EXPECT_EQ(controller->dataArray()[projectIndex("Beta").row()]->childCount(), 1);
}

TEST_F(Actions, DoubleClickOnAProjectWithOneAutosaveOpensItWithoutAQuestion) {
    start();
    select({projectIndex("Alpha")});
    Answerer answer("Cancel");
    Q_EMIT controller->mainWindow()->outlineView()->doubleClicked(projectIndex("Alpha"));
    controller->waitForWorkers();
    EXPECT_EQ(answer.seen.count, 0);
    EXPECT_EQ(home().platform().opened(),
              (QList<FakePlatform::Opened>{
                  {{premiere() + "/Alpha/Alpha-1.prproj"}, "com.adobe.AdobePremierePro"}}));
}

TEST_F(Actions, OpeningTwoAutosavesAsksWithTheCountAndPlural) {
    start();
    select({projectIndex("Beta")});
    Answerer answer("Open");
    menu().open->trigger();
    controller->waitForWorkers();
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to open 2 items?");
    EXPECT_EQ(answer.seen.informative,
              "Opening a large number of autosaves at once could slow down your computer.");
    EXPECT_EQ(answer.seen.buttons, (QStringList{"Cancel", "Open"}));
    EXPECT_EQ(home().platform().opened(), (QList<FakePlatform::Opened>{{{premiere() + "/Beta/Beta-1.prproj",
                                                                         premiere() + "/Beta/Beta-2.prproj"},
                                                                        "com.adobe.AdobePremierePro"}}));
}

TEST_F(Actions, OnlyEventBackupsAskAboutNoItemsThenRestoreAndLaunchOnce) {
    start();
    select({projectIndex("Ceremony")});
    Answerer answer("Open");
    menu().open->trigger();
    controller->waitForWorkers();
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to open 0 items?");
    EXPECT_TRUE(home().platform().opened().isEmpty());
    EXPECT_EQ(home().platform().launched(), QStringList{"com.apple.FinalCut"});
    EXPECT_EQ(read(library() + "/Ceremony/CurrentVersion.fcpevent"),
              read(library() + "/Ceremony/Backups/Ceremony 2.fcpevent"));
}

TEST_F(Actions, CancellingTheOpenQuestionOpensNothing) {
    start();
    select({projectIndex("Alpha"), projectIndex("Beta")});
    Answerer answer("Cancel");
    menu().open->trigger();
    controller->waitForWorkers();
    EXPECT_EQ(answer.seen.text, "Are you sure you wish to open 3 items?");
    EXPECT_TRUE(home().platform().opened().isEmpty());
}

TEST_F(Actions, RestoringIsOfferedForEventBackupsOnly) {
    start();
    select({projectIndex("Ceremony")});
    EXPECT_FALSE(menu().restoreEvent->isEnabled());
    select({itemIndex("Ceremony", 0)});
    EXPECT_TRUE(menu().restoreEvent->isEnabled());
    select({itemIndex("Beta", 0)});
    EXPECT_FALSE(menu().restoreEvent->isEnabled());

    select({itemIndex("Ceremony", 0)});
    menu().restoreEvent->trigger();
    controller->waitForWorkers();
    EXPECT_EQ(read(library() + "/Ceremony/CurrentVersion.fcpevent"),
              read(library() + "/Ceremony/Backups/Ceremony 1.fcpevent"));
    EXPECT_EQ(home().platform().launched(), QStringList{"com.apple.FinalCut"});
}

TEST_F(Actions, RevealShowsTheFirstSelectedRow) {
    start();
    select({itemIndex("Beta", 1), projectIndex("Alpha")});
    menu().reveal->trigger();
    EXPECT_EQ(home().platform().revealed(),
              (QList<FakePlatform::Revealed>{{premiere() + "/Alpha", premiere() + "/Alpha"}}));
}

TEST_F(Actions, ArchivingProposesANamePacksTheSelectionAndTrashesIt) {
    start();
    chosenArchive = home().home() + "/Beta autosaves"; // the panel adds the extension
    select({projectIndex("Beta")});
    expectRebuild([&] { menu().archive->trigger(); });
    EXPECT_EQ(proposedName, "Beta.zip");
    EXPECT_TRUE(QFileInfo::exists(chosenArchive + ".zip"));
    EXPECT_EQ(trashed(), (QStringList{"Beta-1.prproj", "Beta-2.prproj"}));
    EXPECT_EQ(projectNames(), (QStringList{"Alpha", "Ceremony"}));
    EXPECT_FALSE(controller->mainWindow()->progressSheet()->isVisible());
    EXPECT_FALSE(controller->mainWindow()->spinner()->isSpinning());
}

TEST_F(Actions, ArchivingErrorsArePanelsOfTheirOwnAndNothingIsRemoved) {
    start();
    chosenArchive = home().home() + "/Beta.zip";
    select({projectIndex("Beta")});
    QDir(premiere() + "/Beta").removeRecursively();
    Answerer answer("OK");
    QSignalSpy finished(actions, &AutosaveActions::workFinished);
    expectNoRebuild([&] { menu().archive->trigger(); });
    EXPECT_EQ(finished.size(), 1);
    EXPECT_EQ(answer.seen.text, "Error: no files to archive.");
    EXPECT_EQ(answer.seen.informative, "Archiving aborted.");
    EXPECT_EQ(answer.seen.modality, Qt::ApplicationModal);
    EXPECT_FALSE(QFileInfo::exists(chosenArchive));
    EXPECT_FALSE(controller->mainWindow()->spinner()->isSpinning());
}

TEST_F(Actions, MovingTheOnlyAutosaveTakesTheFolderAndRebuildsCopyingDoesNeither) {
    start();
    chosenFolder = home().home() + "/Kept";
    QDir().mkpath(chosenFolder);
    select({projectIndex("Alpha")});
    expectNoRebuild([&] { menu().copy->trigger(); });
    EXPECT_TRUE(QFileInfo::exists(chosenFolder + "/Alpha-1.prproj"));
    EXPECT_TRUE(QFileInfo::exists(premiere() + "/Alpha/Alpha-1.prproj"));

    QFile::remove(chosenFolder + "/Alpha-1.prproj");
    select({projectIndex("Alpha")});
    expectRebuild([&] { menu().move->trigger(); });
    EXPECT_EQ(read(chosenFolder + "/Alpha-1.prproj"), (premiereRelative + "Alpha/Alpha-1.prproj").toUtf8());
    EXPECT_FALSE(QFileInfo::exists(premiere() + "/Alpha"));
    EXPECT_EQ(projectNames(), (QStringList{"Beta", "Ceremony"}));
}
