#include "AutosaveActions.h"

#include "AppController.h"
#include "AutosaveOutlineModel.h"
#include "BMAlert.h"
#include "BMOutlineView.h"
#include "MainWindow.h"
#include "ProgressSheet.h"
#include "RulePreviewSheet.h"
#include "ThinOutDialog.h"
#include "actions/ActionProgress.h"
#include "actions/ActionTexts.h"
#include "actions/AutosaveArchiver.h"
#include "actions/AutosaveOpener.h"
#include "actions/AutosaveRemoval.h"
#include "actions/CombinedRule.h"
#include "actions/RetentionRules.h"
#include "catalogue/AutosaveType.h"
#include "catalogue/PremiereOrphans.h"
#include "foundation/BMException.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/MainThread.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileDialog>
#include <QItemSelectionModel>
#include <QPointer>

#include <algorithm>
#include <memory>
#include <thread>

namespace {

// Brings a worker's progress to the window: the spinner at once, the progress sheet once
// the work has gone on for a moment (at once for archiving), updated at most every 50 ms.
// The sheet's Cancel sets the flag the work looks at between files. Constructed on the
// worker; apart from that flag every member is the worker's alone.
class ProgressRelay {
public:
    enum class Sheet { AtOnce, WhenSlow };

    ProgressRelay(AppController* controller, Sheet sheet, ProgressCallback watch)
        : m_controller(controller), m_sheet(controller->mainWindow()->progressSheet()),
          m_showAtOnce(sheet == Sheet::AtOnce), m_watch(std::move(watch)) {
        m_clock.start();
        MainThread::runAndWait([this, controller] {
            controller->startProgressSpinner();
            if (!m_sheet)
                return;
            m_sheet->setCancellable(true);
            CancelFlag* flag = &m_cancel;
            m_cancelConnection =
                QObject::connect(m_sheet, &ProgressSheet::cancelRequested, m_sheet, [flag] { *flag = true; });
        });
    }
    ~ProgressRelay() { finish(); }
    ProgressRelay(const ProgressRelay&) = delete;
    ProgressRelay& operator=(const ProgressRelay&) = delete;

    ProgressCallback callback() {
        return [this](const ActionProgress& progress) {
            if (m_watch)
                m_watch(progress);
            update(progress);
        };
    }
    const CancelFlag* cancelFlag() const { return &m_cancel; }

    // Hides the sheet and stops the spinner, waiting until the window has done so.
    void finish() {
        if (m_finished)
            return;
        m_finished = true;
        MainThread::runAndWait([this] {
            QObject::disconnect(m_cancelConnection);
            if (m_sheet) {
                m_sheet->setCancellable(false);
                m_sheet->endProgress();
            }
            m_controller->stopProgressSpinner();
        });
    }

private:
    void update(const ActionProgress& progress) {
        const qint64 elapsed = m_clock.elapsed();
        const bool changedStage = progress.stage != m_last.stage;
        const bool ended = progress.total > 0 && progress.done >= progress.total;
        m_last = progress;
        if (!m_showAtOnce && elapsed < kSlowMs)
            return;
        if (!changedStage && !ended && m_posted >= 0 && elapsed - m_posted < kIntervalMs)
            return;
        m_posted = elapsed;
        QPointer<ProgressSheet> sheet = m_sheet;
        const QString text = progress.text();
        MainThread::post([sheet, text, progress] {
            if (!sheet)
                return;
            sheet->showProgress(text);
            sheet->setProgress(progress.done, progress.total);
        });
    }

    static constexpr qint64 kSlowMs = 400;
    static constexpr qint64 kIntervalMs = 50;
    AppController* m_controller;
    QPointer<ProgressSheet> m_sheet;
    bool m_showAtOnce;
    ProgressCallback m_watch;
    QElapsedTimer m_clock;
    qint64 m_posted = -1;
    ActionProgress m_last;
    CancelFlag m_cancel{false};
    QMetaObject::Connection m_cancelConnection;
    bool m_finished = false;
};

// What a stopped action did, without waiting for an answer.
void reportCancelled(const QString& message, const QString& informative = QString()) {
    BMAlert::alertSheetWithButtons({message, {}, {}, {}, informative}, nullptr, false);
}

void reportCancelledRemoval(const RemovalReport& report) {
    if (report.cancelled)
        reportCancelled(ActionTexts::cancelled(QStringLiteral("moved to the Trash"), report.removed.size(),
                                               report.total));
}

// Tells the user about files an action could not handle, without waiting for an answer.
// Where the cause is known, the line names it.
void reportFailures(const QString& message, const QStringList& paths,
                    const QHash<QString, QString>& reasons = {}) {
    if (paths.isEmpty())
        return;
    QStringList shown;
    for (const QString& path : paths.mid(0, 5))
        shown << reasons.value(path, FileName::displayText(path));
    if (paths.size() > shown.size())
        shown << QStringLiteral("…");
    BMAlert::alertSheetWithButtons(
        {message, {}, {}, {}, shown.join(QLatin1Char('\n')) + QStringLiteral("\n\nThe log has the details.")},
        nullptr, false);
}

void reportNotRestored(const QHash<QString, QString>& reasons) {
    QStringList backups = reasons.keys();
    backups.sort();
    reportFailures(
        AutosaveActions::tr("Some events could not be restored; their current versions stay in place."),
        backups, reasons);
}

// Another run held a location, so nothing was touched: the message names who holds it.
void reportBusy(const RemovalReport& report) {
    if (!report.error.isEmpty())
        BMAlert::alertSheetWithMessageText(AutosaveActions::tr("No autosaves were moved to the Trash."),
                                           report.error, nullptr);
}

// The desktop could not show an item: the alert says where it is, so that it can be found by hand.
void reportNotShown(const QString& path, QWidget* parent) {
    BMAlert::alertSheetWithMessageText(AutosaveActions::tr("“%1” could not be shown in the file manager.")
                                           .arg(FileName::displayText(PathText::lastComponent(path))),
                                       AutosaveActions::tr("No file manager could be started. It is in %1.")
                                           .arg(FileName::displayText(PathText::deletingLastComponent(path))),
                                       parent);
}

// Restoring is done; only the editor to look at the events did not start. From a worker.
void reportNotLaunched() {
    BMAlert::alertSheetWithMessageText(
        AutosaveActions::tr("Final Cut Pro X could not be started."),
        AutosaveActions::tr("No application that opens Final Cut Pro X events could be started."), nullptr);
}

// Most often nothing on the computer opens the files' kind; the file manager can still show
// them. From a worker, which waits for the answer.
void offerToReveal(const QStringList& failed) {
    if (failed.isEmpty())
        return;
    const QString first = failed.first();
    const QString message = failed.size() == 1
                                ? AutosaveActions::tr("“%1” could not be opened.")
                                      .arg(FileName::displayText(PathText::lastComponent(first)))
                                : AutosaveActions::tr("%1 autosaves could not be opened.").arg(failed.size());
    const QString extension = PathText::extension(first);
    const QString cause =
        extension.isEmpty()
            ? AutosaveActions::tr("No application that opens this kind of file could be started.")
            : AutosaveActions::tr("No application that opens .%1 files could be started.")
                  .arg(FileName::displayText(extension));
    const int answer = BMAlert::alertSheetWithButtons(
        {message,
         AutosaveActions::tr("Show in File Manager"),
         AutosaveActions::tr("Cancel"),
         {},
         cause + QLatin1Char(' ') + AutosaveActions::tr("The file manager can show it instead.")},
        nullptr, true);
    if (answer == 1 &&
        !Platform::current().revealInFileManager(first, AutosaveSelection::containingFolder(first)))
        reportNotShown(first, nullptr);
}

} // namespace

AutosaveActions::AutosaveActions(AppController* controller, Environment environment)
    : QObject(controller), m_controller(controller) {
    setEnvironment(std::move(environment));
    connectWindow();
}

void AutosaveActions::setEnvironment(Environment environment) {
    m_env = std::move(environment);
    if (!m_env.chooseFolder) {
        m_env.chooseFolder = [](QWidget* parent) {
            return QFileDialog::getExistingDirectory(parent, tr("Choose a Folder"), QString(),
                                                     QFileDialog::ShowDirsOnly);
        };
    }
    if (!m_env.chooseArchiveFile) {
        m_env.chooseArchiveFile = [](QWidget* parent, const QString& proposedName) {
            QFileDialog dialog(parent, tr("Archive Autosaves"));
            dialog.setAcceptMode(QFileDialog::AcceptSave);
            dialog.setFileMode(QFileDialog::AnyFile);
            dialog.setNameFilter(tr("Zip archives (*.zip)"));
            dialog.setDefaultSuffix(QStringLiteral("zip"));
            dialog.selectFile(proposedName);
            dialog.setWindowModality(Qt::WindowModal);
            if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
                return QString();
            return dialog.selectedFiles().first();
        };
    }
    if (!m_env.now)
        m_env.now = [] { return QDateTime::currentDateTimeUtc(); };
    if (!m_env.isOrphan)
        m_env.isOrphan = [this](const BMProject& project) {
            return m_orphansInPreview.contains(project.path());
        };
    if (!m_env.preview)
        m_env.preview = [](RulePreviewSheet& sheet) { return sheet.exec() == QDialog::Accepted; };
}

void AutosaveActions::connectWindow() {
    MainWindow* window = m_controller->mainWindow();
    const MainWindow::Actions& a = window->actions();
    connect(a.open, &QAction::triggered, this, &AutosaveActions::sendToApp);
    connect(a.reveal, &QAction::triggered, this, &AutosaveActions::showInFinder);
    connect(a.copy, &QAction::triggered, this, &AutosaveActions::copyFiles);
    connect(a.move, &QAction::triggered, this, &AutosaveActions::moveFiles);
    connect(a.archive, &QAction::triggered, this, &AutosaveActions::archiveSave);
    connect(a.restoreEvent, &QAction::triggered, this, &AutosaveActions::restoreEvents);
    connect(a.remove, &QAction::triggered, this, &AutosaveActions::remove);
    for (QAction* action : a.removeOlderThan) {
        connect(action, &QAction::triggered, this,
                [this, action] { removeOlderAutosaves(action->data().toInt()); });
    }
    for (QAction* action : a.keepMostRecent) {
        connect(action, &QAction::triggered, this,
                [this, action] { removeAllExceptMostRecent(action->data().toInt()); });
    }
    connect(a.thinOut, &QAction::triggered, this, &AutosaveActions::thinOut);

    BMOutlineView* outline = window->outlineView();
    outline->setWatchDelegate(this);
    outline->setSelectionMenu(window->contextMenu());
    outline->addWatchKeys({u'\x7f', u'\b'}, QStringLiteral("remove"));
    // After the controller's own handler, which enables every action for any selection.
    connect(outline->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &AutosaveActions::updateRestoreEventAction);
    connect(m_controller, &AppController::catalogueRebuilt, this, &AutosaveActions::updateRestoreEventAction);
    updateRestoreEventAction();
}

void AutosaveActions::updateRestoreEventAction() {
    const SelectedRows rows = selectedRows();
    const bool anyBackup = std::any_of(rows.cbegin(), rows.cend(), [](const SelectedRow& row) {
        return row.item && AutosaveType::normalized(row.item->type()) == AutosaveType::FinalCutX;
    });
    m_controller->mainWindow()->actions().restoreEvent->setEnabled(anyBackup);
}

SelectedRows AutosaveActions::selectedRows() const {
    const AutosaveOutlineModel* model = m_controller->model();
    QModelIndexList indexes = m_controller->mainWindow()->outlineView()->selectionModel()->selectedRows(0);
    // Tree order: a project's row, then its autosaves' rows, then the next project's.
    auto place = [](const QModelIndex& index) {
        return index.parent().isValid() ? std::pair(index.parent().row(), index.row() + 1)
                                        : std::pair(index.row(), 0);
    };
    std::sort(indexes.begin(), indexes.end(),
              [&](const QModelIndex& a, const QModelIndex& b) { return place(a) < place(b); });
    SelectedRows rows;
    for (const QModelIndex& index : indexes) {
        if (BMProjectPtr project = model->projectAt(index))
            rows << SelectedRow::ofProject(std::move(project));
        else if (BMAutoItemPtr item = model->itemAt(index))
            rows << SelectedRow::ofItem(std::move(item));
    }
    return rows;
}

bool AutosaveActions::ask(const QString& message, const QString& defaultButton,
                          const QString& alternateButton, const QString& informative) const {
    return BMAlert::alertSheetWithButtons({message, defaultButton, alternateButton, {}, informative},
                                          m_controller->mainWindow(), true) == 1;
}

void AutosaveActions::runWork(std::function<void()> work) {
    // The catalogue's projects stay alive until the work is done, whatever rebuilds
    // meanwhile: an autosave finds its project's folder through a weak reference.
    m_controller->runInBackground([this, work = std::move(work), keep = m_controller->dataArray()] {
        work();
        MainThread::runAndWait([this] { Q_EMIT workFinished(); });
    });
}

// ---- Removal and the retention rules --------------------------------------------------------

void AutosaveActions::remove() {
    try {
        const SelectedRows rows = selectedRows();
        if (rows.isEmpty())
            return;
        const ActionQuestion question = ActionTexts::removeQuestion(rows.size());
        if (!ask(question.message, question.defaultButton, question.alternateButton,
                 question.informative + pinnedNote(rows)))
            return;
        runWork([this, rows] { removeIndexSet(rows); });
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController remove:]");
    }
}

// A pin keeps rules away, not the user: removing by hand goes on, but the question says so.
QString AutosaveActions::pinnedNote(const SelectedRows& rows) const {
    const PinnedPaths& pins = currentPins();
    const auto pinned = std::count_if(rows.cbegin(), rows.cend(), [&](const SelectedRow& row) {
        return row.isProject() ? pins.isPinned(*row.project) : pins.isPinned(*row.item);
    });
    if (pinned == 0)
        return QString();
    if (rows.size() == 1)
        return QLatin1Char(' ') + tr("It is pinned.");
    return QLatin1Char(' ') +
           (pinned == 1 ? tr("1 of them is pinned.") : tr("%1 of them are pinned.").arg(qint64(pinned)));
}

const PinnedPaths& AutosaveActions::currentPins() const {
    // `vestry pin` may have pinned something since the window last read the settings.
    BMSettings::standard().synchronize();
    PinnedPaths pins = PinnedPaths::stored();
    if (pins.paths() != m_controller->model()->pins().paths())
        m_controller->model()->setPins(std::move(pins));
    return m_controller->model()->pins();
}

void AutosaveActions::removeOlderAutosaves(int days) {
    const RetentionChoice choice =
        RetentionRules::removeOlderAutosaves(selectedRows(), days, m_env.now(), currentPins());
    if (choice.ask)
        confirmRuleRemoval(choice.autosaves);
}

void AutosaveActions::removeAllExceptMostRecent(int keep) {
    // The rule leaves the projects it thins out sorted newest first.
    const SelectedRows rows = selectedRows();
    RetentionChoice choice;
    const PinnedPaths& pins = currentPins();
    m_controller->model()->reorder(
        [&] { choice = RetentionRules::removeAllExceptMostRecent(rows, keep, pins); });
    if (choice.ask)
        confirmRuleRemoval(choice.autosaves);
}

void AutosaveActions::thinOut() {
    BMProjectList projects;
    for (const SelectedRow& row : selectedRows()) {
        BMProjectPtr project = row.isProject() ? row.project : row.item->parent();
        if (project && !projects.contains(project))
            projects << project;
    }
    const bool selectionOnly = !projects.isEmpty();
    if (!selectionOnly)
        projects = m_controller->dataArray();
    ThinOutDialog dialog(projects, selectionOnly, currentPins(), m_env.now(), m_controller->mainWindow());
    if (dialog.exec() != QDialog::Accepted)
        return;
    BMAutoItemList items;
    for (const RuleChoice& choice : dialog.choices())
        items << choice.item;
    confirmRuleRemoval(items);
}

// The orphans among the preview's Premiere projects: what the Orphans filter found for this
// catalogue, if it looked; else read from the autosaves on a worker, the window waiting but
// still painting.
QSet<QString> AutosaveActions::orphansAmong(const BMAutoItemList& items) const {
    BMProjectList premiere;
    for (const BMAutoItemPtr& item : items) {
        const BMProjectPtr project = item->parent();
        if (project && project->type() == AutosaveType::Premiere && !premiere.contains(project))
            premiere << project;
    }
    QSet<QString> orphans;
    if (premiere.isEmpty())
        return orphans;
    if (m_controller->orphansKnown()) {
        for (const BMProjectPtr& project : premiere)
            if (m_controller->isKnownOrphan(*project))
                orphans.insert(project->path());
        return orphans;
    }
    QEventLoop loop;
    std::thread reader([&] {
        for (const BMProjectPtr& project : premiere)
            if (PremiereOrphans::isOrphan(*project))
                orphans.insert(project->path());
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    QApplication::setOverrideCursor(Qt::BusyCursor);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    reader.join();
    QApplication::restoreOverrideCursor();
    return orphans;
}

void AutosaveActions::confirmRuleRemoval(BMAutoItemList items) {
    // An empty choice goes straight to the question, as it always has: there is nothing to untick.
    if (!items.isEmpty() && BMSettings::standard().boolValue(QLatin1String(SettingsKey::previewRules))) {
        m_orphansInPreview = orphansAmong(items);
        RulePreviewSheet sheet(RulePreviewSheet::group(items, m_env.isOrphan), m_controller->mainWindow());
        if (!m_env.preview(sheet))
            return;
        items = sheet.checked();
        if (items.isEmpty())
            return;
    }
    const ActionQuestion question = ActionTexts::removeQuestion(items.size());
    if (ask(question.message, question.defaultButton, question.alternateButton, question.informative))
        runWork([this, items] { removeChildren(items); });
}

void AutosaveActions::removeIndexSet(const SelectedRows& rows) {
    ProgressRelay relay(m_controller, ProgressRelay::Sheet::WhenSlow, m_env.watchProgress);
    const RemovalReport report = AutosaveRemoval::removeIndexSet(
        rows, relay.callback(), AutosaveRemoval::OnFailure::Continue, nullptr, relay.cancelFlag());
    relay.finish();
    reportBusy(report);
    reportCancelledRemoval(report);
    reportFailures(tr("Some autosaves could not be moved to the Trash."), report.failed, report.reasons);
    m_controller->populateData();
}

void AutosaveActions::removeChildren(const BMAutoItemList& items) {
    ProgressRelay relay(m_controller, ProgressRelay::Sheet::WhenSlow, m_env.watchProgress);
    const RemovalReport report = AutosaveRemoval::removeChildren(
        items, relay.callback(), AutosaveRemoval::OnFailure::Continue, relay.cancelFlag());
    relay.finish();
    reportBusy(report);
    reportCancelledRemoval(report);
    reportFailures(tr("Some autosaves could not be moved to the Trash."), report.failed, report.reasons);
    m_controller->populateData();
}

// ---- Opening, revealing, copying and moving --------------------------------------------------

void AutosaveActions::sendToApp() {
    try {
        BMLog::appendLog(QStringLiteral("Sending autosaves to application(s)..."));
        const SelectedRows rows = selectedRows();
        if (rows.isEmpty())
            return;
        const QString finalCut = AutosaveOpener::finalCutIdentifier();
        bool single = false;
        if (const BMAutoItemPtr item = AutosaveOpener::singleItem(rows, &single); single) {
            if (item)
                runWork([item, finalCut] {
                    bool notLaunched = false;
                    AutosaveOpener::Reasons notRestored;
                    if (!AutosaveOpener::openItem(*item, finalCut, &notLaunched, &notRestored))
                        offerToReveal({item->path()});
                    reportNotRestored(notRestored);
                    if (notLaunched)
                        reportNotLaunched();
                });
            return;
        }
        const AutosaveOpener::Plan plan = AutosaveOpener::planFor(rows, finalCut);
        const ActionQuestion question = ActionTexts::openQuestion(plan.total());
        if (ask(question.message, question.defaultButton, question.alternateButton, question.informative))
            runWork([plan] {
                bool notLaunched = false;
                AutosaveOpener::Reasons notRestored;
                offerToReveal(AutosaveOpener::open(plan, &notLaunched, &notRestored));
                reportNotRestored(notRestored);
                if (notLaunched)
                    reportNotLaunched();
            });
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController sendToApp:]");
    }
}

void AutosaveActions::restoreEvents() {
    QStringList backups;
    for (const SelectedRow& row : selectedRows()) {
        if (row.item && AutosaveType::normalized(row.item->type()) == AutosaveType::FinalCutX &&
            !backups.contains(row.item->path()))
            backups << row.item->path();
    }
    if (backups.isEmpty())
        return;
    runWork([backups] {
        AutosaveOpener::Reasons notRestored;
        for (const QString& backup : backups) {
            QString why;
            if (!AutosaveOpener::restoreFCPXEvent(backup, &why))
                notRestored.insert(backup, why);
        }
        const bool launched =
            Platform::current().launchApplication(QString::fromLatin1(AutosaveOpener::finalCutX));
        reportNotRestored(notRestored);
        if (!launched)
            reportNotLaunched();
    });
}

void AutosaveActions::showInFinder() {
    const SelectedRows rows = selectedRows();
    if (rows.isEmpty() || rows.first().path().isEmpty())
        return;
    if (!AutosaveOpener::showInFinder(rows))
        reportNotShown(rows.first().path(), m_controller->mainWindow());
}

void AutosaveActions::copyFiles() {
    transfer(true);
}

void AutosaveActions::moveFiles() {
    transfer(false);
}

void AutosaveActions::transfer(bool copy) {
    const QString folder = m_env.chooseFolder(m_controller->mainWindow());
    const SelectedRows rows = selectedRows();
    if (folder.isEmpty() || rows.isEmpty())
        return;
    runWork([this, rows, folder, copy] {
        ProgressRelay relay(m_controller, ProgressRelay::Sheet::WhenSlow, m_env.watchProgress);
        const AutosaveOpener::TransferReport report = AutosaveOpener::copyFiles(
            rows, folder, copy ? AutosaveOpener::Transfer::Copy : AutosaveOpener::Transfer::Move,
            relay.callback(), relay.cancelFlag());
        relay.finish();
        if (report.cancelled) {
            reportCancelled(
                ActionTexts::cancelled(copy ? tr("copied") : tr("moved"), report.done.size(), report.total),
                tr("The folder is %1.").arg(FileName::displayText(folder)));
        }
        if (!report.error.isEmpty())
            BMAlert::alertSheetWithMessageText(tr("No autosaves were moved."), report.error, nullptr);
        reportFailures(copy ? tr("Some autosaves could not be copied.")
                            : tr("Some autosaves could not be moved."),
                       report.failed, report.reasons);
        if (!copy)
            m_controller->populateData();
    });
}

// ---- Archiving --------------------------------------------------------------------------------

void AutosaveActions::archiveSave() {
    const SelectedRows rows = selectedRows();
    if (rows.isEmpty())
        return;
    QString destination =
        m_env.chooseArchiveFile(m_controller->mainWindow(), AutosaveArchiver::proposedFileName(rows));
    if (destination.isEmpty())
        return;
    if (PathText::extension(destination).compare(QLatin1String("zip"), Qt::CaseInsensitive) != 0)
        destination += QStringLiteral(".zip");
    runWork([this, rows, destination] { archiveSelectionToFile(rows, destination); });
}

void AutosaveActions::archiveSelectionToFile(const SelectedRows& rows, const QString& destination) {
    ProgressRelay relay(m_controller, ProgressRelay::Sheet::AtOnce, m_env.watchProgress);
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile(rows, destination, relay.callback(), relay.cancelFlag());
    relay.finish();
    if (result.cancelled)
        reportCancelled(ActionTexts::cancelledArchive());
    if (result.removal.cancelled) {
        reportCancelled(ActionTexts::cancelled(QStringLiteral("moved to the Trash"),
                                               result.removal.removed.size(), result.removal.total),
                        tr("The archive %1 is complete.").arg(FileName::displayText(destination)));
    }
    // Application-modal panels rather than sheets, shown from this worker, which waits.
    if (result.error.isError())
        BMAlert::alertSheetWithMessageText(result.error.message, result.error.informative, nullptr);
    if (result.archived) {
        reportFailures(tr("Some autosaves could not be moved to the Trash."), result.removal.failed,
                       result.removal.reasons);
        m_controller->populateData();
    }
}
