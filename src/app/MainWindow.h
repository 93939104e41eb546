#pragma once

#include <QMainWindow>

class BMOutlineView;
class BusySpinner;
class ProgressSheet;
class SizeShareDelegate;
class SpaceBar;
class SpaceSummary;
class QLabel;
class QMenu;
class QToolButton;

// The main window: a toolbar with the open button, the actions menu and remove; the
// catalogue outline filling the window; a status line with the counts and a spinner.
// It holds no behaviour of its own: the controller wires every action.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    struct Actions {
        QAction* open = nullptr;
        QAction* reveal = nullptr;
        QAction* copy = nullptr;
        QAction* move = nullptr;
        QAction* archive = nullptr;
        QAction* restoreEvent = nullptr;
        QAction* remove = nullptr;
        QAction* pin = nullptr;
        QAction* unpin = nullptr;
        QAction* recentlyRemoved = nullptr;
        QAction* refresh = nullptr;
        QAction* showLocation = nullptr; // checkable, in the column titles' menu
        // Checkable, in the View menu.
        QAction* showOnlyOrphans = nullptr;
        QList<QAction*> removeOlderThan; // data(): days
        QList<QAction*> keepMostRecent;  // data(): how many to keep
        QAction* thinOut = nullptr;
        QAction* preferences = nullptr;
        QAction* quit = nullptr;
        QAction* viewLog = nullptr;
        QAction* viewTaskLog = nullptr;
        QAction* gatherLogs = nullptr;
        QAction* userManual = nullptr;
        QAction* reportBug = nullptr;
        QAction* suggestFeature = nullptr;
        QAction* support = nullptr;
        QAction* productHome = nullptr;
        QAction* makerHome = nullptr;
        QAction* checkForUpdates = nullptr;
        QAction* about = nullptr;
    };

    // The offers of the two retention menus.
    static QList<int> olderThanDays() { return {1, 3, 7, 14, 30, 60, 90}; }
    static QList<int> keepCounts() { return {1, 3, 5, 10, 20}; }

    explicit MainWindow(QWidget* parent = nullptr);

    const Actions& actions() const { return m_actions; }
    BMOutlineView* outlineView() const { return m_outline; }
    QToolButton* openButton() const { return m_openButton; }
    QToolButton* actionsButton() const { return m_actionsButton; }
    QToolButton* removeButton() const { return m_removeButton; }
    QLabel* statusLabel() const { return m_status; }
    BusySpinner* spinner() const { return m_spinner; }
    ProgressSheet* progressSheet() const { return m_progress; }
    QMenu* actionsMenu() const { return m_actionsMenu; }
    QMenu* contextMenu() const { return m_contextMenu; }
    SpaceBar* spaceBar() const { return m_spaceBar; }
    SizeShareDelegate* sizeDelegate() const { return m_sizeDelegate; }
    // After every rebuild: the bar above the outline and the Size column's share bars.
    void showSpace(const SpaceSummary& summary);

private:
    void makeActions();
    void makeMenus();
    void makeToolbar();

    Actions m_actions;
    BMOutlineView* m_outline = nullptr;
    SpaceBar* m_spaceBar = nullptr;
    SizeShareDelegate* m_sizeDelegate = nullptr;
    QToolButton* m_openButton = nullptr;
    QToolButton* m_actionsButton = nullptr;
    QToolButton* m_removeButton = nullptr;
    QLabel* m_status = nullptr;
    BusySpinner* m_spinner = nullptr;
    ProgressSheet* m_progress = nullptr;
    QMenu* m_actionsMenu = nullptr;
    QMenu* m_contextMenu = nullptr;
};
