#pragma once

#include "TempHome.h"
#include "app/AppController.h"
#include "app/AutosaveActions.h"
#include "app/AutosaveOutlineModel.h"
#include "app/BMOutlineView.h"
#include "app/MainWindow.h"
#include "app/RulePreviewSheet.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMSettings.h"
#include "foundation/LocationLock.h"
#include "foundation/SettingsKeys.h"
#include "support/BMQC.h"

#include <QAbstractButton>
#include <QAbstractItemModelTester>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QPointer>
#include <QSignalSpy>
#include <QTimer>

#include <functional>

// A visible alert other than the one given.
inline QMessageBox* visibleAlert(const QMessageBox* except = nullptr) {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget); box && box != except && box->isVisible())
            return box;
    }
    return nullptr;
}

inline void clickButton(QMessageBox* box, const QString& title) {
    for (QAbstractButton* button : box->buttons()) {
        if (button->text() == title)
            return button->click();
    }
    ADD_FAILURE() << "no button " << title.toStdString();
}

// Pumps events until the predicate holds or ten seconds pass.
inline bool waitFor(const std::function<bool()>& done) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < 10000)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

// Answers every alert that shows (but the one to skip) with the button of that title, from
// the main loop, recording what the last one showed.
class Answerer : public QObject {
public:
    explicit Answerer(QString title, const QMessageBox* skip = nullptr) : m_title(std::move(title)) {
        connect(&m_poll, &QTimer::timeout, this, [this, skip] {
            QMessageBox* box = visibleAlert(skip);
            if (!box || box == m_answered)
                return;
            m_answered = box;
            ++count;
            text = box->text();
            informative = box->informativeText();
            modality = box->windowModality();
            parent = box->parentWidget();
            buttons.clear();
            for (QAbstractButton* button : box->buttons())
                buttons << button->text();
            buttons.sort();
            if (beforeAnswer)
                beforeAnswer(box);
            clickButton(box, m_title);
        });
        m_poll.start(20);
    }
    std::function<void(QMessageBox*)> beforeAnswer;
    int count = 0;
    QString text;
    QString informative;
    QStringList buttons;
    Qt::WindowModality modality = Qt::NonModal;
    QPointer<QWidget> parent;

private:
    QString m_title;
    QTimer m_poll;
    QPointer<QMessageBox> m_answered;
};

// The real controller and main window on real trees in a temporary home, every panel
// answered by the test and a model tester watching the outline's model.
class WindowTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        home().platform().setToolPath(Tool::Pkexec, home().root() + "/no-pkexec");
        m_previousAuthorization = BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    }
    void TearDown() override {
        if (controller)
            controller->waitForWorkers();
        controller.reset();
        qunsetenv("VESTRY_LOCK_WAIT_MS");
        analytics.reset();
        BMAuthorization::installShared(std::move(m_previousAuthorization));
        TempHomeTest::TearDown();
    }

    QString write(const QString& relative, const QByteArray& contents = QByteArray()) const {
        return home().writeHomeFile(relative, contents);
    }
    // The home's Premiere location, or a path in it.
    QString premiere(const QString& relative = "") const {
        return home().home() + "/Documents/Adobe Premiere Pro Auto-Save" +
               (relative.isEmpty() ? "" : "/" + relative);
    }
    static BMSettings& settings() { return BMSettings::standard(); }

    AppController::Environment environment() {
        AppController::Environment env;
        env.authorize = [this] { return ++authorizations, authorizeAnswer; };
        env.chooseFolder = [this](QWidget*) { return chosenFolder; };
        env.chooseAutosaveFolder = [this](QWidget*, const QString&) { return chosenAutosaveFolder; };
        env.openUrl = [this](const QUrl& url) { return opened << url, openAnswer; };
        env.sharedAvidAttics = {home().root() + "/Shared/AvidMediaComposer/Avid Attic"};
        env.searchIntervalMs = 3600 * 1000;
        // Each test's analytics live in its own home; making them counts a launch.
        if (!analytics)
            analytics = std::make_unique<BMQC>();
        env.analytics = analytics.get();
        return env;
    }
    void start() {
        controller = std::make_unique<AppController>(environment());
        tester = std::make_unique<QAbstractItemModelTester>(
            controller->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        ASSERT_TRUE(controller->awakeFromNib());
        expectRebuild([&] { controller->applicationDidFinishLaunching(); });
        actions = controller->findChild<AutosaveActions*>();
        ASSERT_NE(actions, nullptr);
        AutosaveActions::Environment actionsEnv;
        actionsEnv.chooseFolder = [this](QWidget*) { return chosenFolder; };
        actionsEnv.chooseArchiveFile = [this](QWidget*, const QString& proposed) {
            proposedName = proposed;
            return chosenArchive;
        };
        actionsEnv.now = [this] { return now; };
        // A rule's preview is continued with everything ticked unless a test looks at it.
        actionsEnv.preview = [](RulePreviewSheet&) { return true; };
        actions->setEnvironment(actionsEnv);
    }

    // Runs what ends in a rebuild of the catalogue and waits for it.
    void expectRebuild(const std::function<void()>& action) {
        QSignalSpy rebuilt(controller.get(), &AppController::catalogueRebuilt);
        action();
        EXPECT_TRUE(rebuilt.wait(10000));
        controller->waitForWorkers();
    }
    // Triggers the menu command and waits for the work it started.
    void triggerAndWait(QAction* action) {
        action->trigger();
        controller->waitForWorkers();
    }
    // Runs what must end without one.
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
        return QModelIndex();
    }
    QModelIndex itemIndex(const QString& project, int row) const {
        return controller->model()->index(row, 0, projectIndex(project));
    }
    void select(const QList<QModelIndex>& rows) {
        QItemSelectionModel* selection = outline()->selectionModel();
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
    // The names of the selected rows, sorted.
    QStringList selectedNames() const {
        QStringList names;
        for (const QModelIndex& index : outline()->selectionModel()->selectedRows(0))
            names << index.data().toString();
        names.sort();
        return names;
    }
    // The location's lock held as another Vestry run holds it; the window waits for it briefly.
    static std::optional<LocationLock> holdLocation(const QString& location, const QString& doing) {
        qputenv("VESTRY_LOCK_WAIT_MS", "300");
        QString error;
        std::optional<LocationLock> held =
            LocationLock::acquire(location, doing, std::chrono::milliseconds(0), &error);
        EXPECT_TRUE(held) << error.toStdString();
        return held;
    }
    // The names in the home's Trash, sorted.
    QStringList trashed() const {
        return QDir(home().home() + "/.local/share/Trash/files").entryList(QDir::Files, QDir::Name);
    }
    BMOutlineView* outline() const { return controller->mainWindow()->outlineView(); }
    const MainWindow::Actions& menu() const { return controller->mainWindow()->actions(); }

    std::unique_ptr<AppController> controller;
    std::unique_ptr<QAbstractItemModelTester> tester;
    std::unique_ptr<BMQC> analytics;
    AutosaveActions* actions = nullptr;
    bool authorizeAnswer = true;
    int authorizations = 0;
    QString chosenFolder;
    QString chosenAutosaveFolder;
    QString chosenArchive;
    QString proposedName;
    QList<QUrl> opened;
    bool openAnswer = true; // false: the desktop has nothing to open a link or file with
    QDateTime now = QDateTime::currentDateTimeUtc();

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};
