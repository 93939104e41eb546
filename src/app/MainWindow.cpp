#include "MainWindow.h"

#include "AutosaveOutlineModel.h"
#include "BMOutlineView.h"
#include "BusySpinner.h"
#include "ProgressSheet.h"
#include "SizeShareDelegate.h"
#include "SpaceBar.h"

#include <QApplication>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(QStringLiteral("Vestry"));
    setWindowIcon(QIcon(QStringLiteral(":/vestry/icons/vestry.svg")));
    setUnifiedTitleAndToolBarOnMac(true);

    m_outline = new BMOutlineView(this);
    m_outline->setIconSize(QSize(22, 22));
    m_outline->header()->setSectionsClickable(true);
    m_outline->header()->setSortIndicatorShown(true);
    m_outline->header()->setStretchLastSection(false);
    m_sizeDelegate = new SizeShareDelegate(m_outline);
    m_outline->setItemDelegateForColumn(AutosaveOutlineModel::SizeColumn, m_sizeDelegate);
    m_spaceBar = new SpaceBar(this);
    m_spaceBar->hide(); // until a catalogue with something in it is shown
    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_spaceBar);
    layout->addWidget(m_outline, 1);
    setCentralWidget(central);

    makeActions();
    makeMenus();
    makeToolbar();

    m_status = new QLabel(this);
    m_spinner = new BusySpinner(this);
    statusBar()->addWidget(m_status, 1);
    statusBar()->addPermanentWidget(m_spinner);
    statusBar()->setSizeGripEnabled(true);

    m_progress = new ProgressSheet(this);
    resize(860, 560);
}

void MainWindow::showSpace(const SpaceSummary& summary) {
    m_spaceBar->setSummary(summary);
    m_sizeDelegate->setLargestBytes(summary.largestProjectBytes());
    m_outline->viewport()->update();
}

void MainWindow::makeActions() {
    auto make = [this](const QString& text, const QList<QKeySequence>& shortcuts = {}) {
        auto* action = new QAction(text, this);
        action->setShortcuts(shortcuts);
        // Some desktops hide keys in context menus; the keys are how users learn them.
        action->setShortcutVisibleInContextMenu(true);
        return action;
    };
    Actions& a = m_actions;
    a.open = make(tr("Open in Apps"), {QKeySequence(Qt::CTRL | Qt::Key_O)});
    a.reveal = make(tr("Show in File Manager"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R)});
    a.copy = make(tr("Copy To…"));
    a.move = make(tr("Move To…"));
    a.archive = make(tr("Archive…"));
    a.restoreEvent = make(tr("Restore Event from Backup"));
    a.remove = make(tr("Move to Trash…"), {QKeySequence(Qt::Key_Delete)});
    a.remove->setIcon(style()->standardIcon(QStyle::SP_TrashIcon));
    a.pin = make(tr("Pin"));
    a.unpin = make(tr("Unpin"));
    a.recentlyRemoved = make(tr("Recently Removed…"));
    a.refresh = make(tr("Refresh"), {QKeySequence(Qt::Key_F5), QKeySequence(Qt::CTRL | Qt::Key_R)});
    a.showLocation = make(tr("Show Location Column"));
    a.showLocation->setCheckable(true);
    a.showOnlyOrphans = make(tr("Show Only Orphaned Projects"));
    a.showOnlyOrphans->setCheckable(true);
    a.showOnlyOrphans->setToolTip(tr("Premiere projects whose project file no longer exists"));
    for (int days : olderThanDays()) {
        QAction* action = make(days == 1 ? tr("1 Day") : tr("%1 Days").arg(days));
        action->setData(days);
        a.removeOlderThan << action;
    }
    for (int count : keepCounts()) {
        QAction* action = make(count == 1 ? tr("Most Recent") : tr("%1 Most Recent").arg(count));
        action->setData(count);
        a.keepMostRecent << action;
    }
    a.thinOut = make(tr("Thin Out…"));
    // The platform has no Preferences key on Linux; Ctrl+, is what other applications use.
    QList<QKeySequence> preferenceKeys = QKeySequence::keyBindings(QKeySequence::Preferences);
    if (preferenceKeys.isEmpty())
        preferenceKeys << QKeySequence(Qt::CTRL | Qt::Key_Comma);
    a.preferences = make(tr("Preferences…"), preferenceKeys);
    a.preferences->setMenuRole(QAction::PreferencesRole);
    a.quit = make(tr("Quit Vestry"), QKeySequence::keyBindings(QKeySequence::Quit));
    a.quit->setMenuRole(QAction::QuitRole);
    a.viewLog = make(tr("View Log"));
    a.viewTaskLog = make(tr("View Helper Log"));
    a.gatherLogs = make(tr("Gather Logs"));
    a.userManual = make(tr("Vestry Help"), QKeySequence::keyBindings(QKeySequence::HelpContents));
    a.reportBug = make(tr("Report a Bug…"));
    a.suggestFeature = make(tr("Suggest a Feature…"));
    a.support = make(tr("Support"));
    a.productHome = make(tr("Halvern Home Page"));
    a.makerHome = make(tr("Brightmoor Home Page"));
    a.about = make(tr("About Vestry"));
    a.about->setMenuRole(QAction::AboutRole);
    a.checkForUpdates = make(tr("Check for Updates…"));
    a.checkForUpdates->setMenuRole(QAction::ApplicationSpecificRole);

    // The shortcut pane's commands are named by these identifiers (BMKeys.plist).
    const QList<std::pair<QAction*, const char*>> identifiers{
        {a.open, "open"},
        {a.reveal, "reveal"},
        {a.copy, "copy"},
        {a.move, "move"},
        {a.archive, "archive"},
        {a.restoreEvent, "restoreEvent"},
        {a.remove, "remove"},
        {a.pin, "pin"},
        {a.unpin, "unpin"},
        {a.recentlyRemoved, "recentlyRemoved"},
        {a.thinOut, "thinOut"},
        {a.refresh, "refresh"},
        {a.showOnlyOrphans, "showOnlyOrphans"},
        {a.preferences, "preferences"},
        {a.quit, "quit"},
        {a.viewLog, "viewLog"},
        {a.viewTaskLog, "viewTaskLog"},
        {a.gatherLogs, "gatherLogs"},
        {a.userManual, "userManual"},
        {a.reportBug, "reportBug"},
        {a.suggestFeature, "suggestFeature"},
        {a.support, "support"},
        {a.productHome, "productHome"},
        {a.makerHome, "makerHome"},
        {a.checkForUpdates, "checkForUpdates"},
        {a.about, "about"},
    };
    for (const auto& [action, identifier] : identifiers)
        action->setObjectName(QString::fromLatin1(identifier));
}

void MainWindow::makeMenus() {
    const Actions& a = m_actions;
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(a.refresh);
    file->addSeparator();
    file->addAction(a.preferences);
    file->addSeparator();
    file->addAction(a.quit);
    // A right click on the column titles, as in a file manager.
    m_outline->header()->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_outline->header()->addAction(a.showLocation);

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(a.showOnlyOrphans);

    m_actionsMenu = menuBar()->addMenu(tr("&Autosaves"));
    m_actionsMenu->addAction(a.open);
    m_actionsMenu->addAction(a.reveal);
    m_actionsMenu->addAction(a.restoreEvent);
    m_actionsMenu->addSeparator();
    m_actionsMenu->addAction(a.pin);
    m_actionsMenu->addAction(a.unpin);
    m_actionsMenu->addSeparator();
    m_actionsMenu->addAction(a.copy);
    m_actionsMenu->addAction(a.move);
    m_actionsMenu->addAction(a.archive);
    m_actionsMenu->addSeparator();
    QMenu* older = m_actionsMenu->addMenu(tr("Remove Autosaves Older Than"));
    older->addActions(a.removeOlderThan);
    QMenu* keep = m_actionsMenu->addMenu(tr("Remove All Except"));
    keep->addActions(a.keepMostRecent);
    m_actionsMenu->addAction(a.thinOut);
    m_actionsMenu->addAction(a.remove);
    m_actionsMenu->addAction(a.recentlyRemoved);

    QMenu* logs = menuBar()->addMenu(tr("&Log"));
    logs->addAction(a.viewLog);
    logs->addAction(a.viewTaskLog);
    logs->addSeparator();
    logs->addAction(a.gatherLogs);

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(a.userManual);
    help->addSeparator();
    help->addAction(a.reportBug);
    help->addAction(a.suggestFeature);
    help->addAction(a.support);
    help->addSeparator();
    help->addAction(a.productHome);
    help->addAction(a.makerHome);
    help->addAction(a.checkForUpdates);
    help->addSeparator();
    help->addAction(a.about);

    m_contextMenu = new QMenu(this);
    m_contextMenu->addAction(a.open);
    m_contextMenu->addAction(a.reveal);
    m_contextMenu->addAction(a.restoreEvent);
    m_contextMenu->addSeparator();
    m_contextMenu->addAction(a.copy);
    m_contextMenu->addAction(a.move);
    m_contextMenu->addAction(a.archive);
    m_contextMenu->addSeparator();
    m_contextMenu->addAction(a.remove);
    m_contextMenu->addSeparator();
    m_contextMenu->addAction(a.pin);
    m_contextMenu->addAction(a.unpin);
}

void MainWindow::makeToolbar() {
    QToolBar* bar = addToolBar(tr("Autosaves"));
    bar->setObjectName(QStringLiteral("mainToolbar"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);

    m_openButton = new QToolButton(bar);
    m_openButton->setDefaultAction(m_actions.open);
    m_openButton->setIcon(style()->standardIcon(QStyle::SP_DialogOpenButton));
    m_openButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    bar->addWidget(m_openButton);

    m_actionsButton = new QToolButton(bar);
    m_actionsButton->setText(tr("Actions"));
    m_actionsButton->setIcon(style()->standardIcon(QStyle::SP_FileDialogDetailedView));
    m_actionsButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_actionsButton->setPopupMode(QToolButton::InstantPopup);
    m_actionsButton->setMenu(m_actionsMenu);
    bar->addWidget(m_actionsButton);

    auto* spacer = new QWidget(bar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(spacer);

    m_removeButton = new QToolButton(bar);
    m_removeButton->setDefaultAction(m_actions.remove);
    m_removeButton->setText(tr("Remove"));
    m_removeButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    bar->addWidget(m_removeButton);
}
