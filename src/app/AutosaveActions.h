#pragma once

#include "actions/ActionProgress.h"
#include "actions/AutosaveSelection.h"

#include <QDateTime>
#include <QObject>
#include <QSet>

#include <functional>

class AppController;
class PinnedPaths;
class RulePreviewSheet;
class QWidget;

// What the actions ask of the world outside them. The defaults show the platform's panels;
// tests answer instead.
struct AutosaveActionsEnvironment {
    // The folder chosen in an open sheet for copying or moving; null when cancelled.
    std::function<QString(QWidget* parent)> chooseFolder;
    // The archive chosen in a save sheet that proposes a name; null when cancelled.
    std::function<QString(QWidget* parent, const QString& proposedName)> chooseArchiveFile;
    // The moment the age rule measures from.
    std::function<QDateTime()> now;
    // Sees each progress report of long work on the worker doing it; none by default.
    ProgressCallback watchProgress;
    // Whether a project's own project file is gone; the preview marks such a project. By default
    // what the Orphans filter found, else what the preview's Premiere autosaves record.
    std::function<bool(const BMProject&)> isOrphan;
    // Shows what a rule would remove; true for Continue, and the sheet's ticks then decide.
    // The default runs the sheet on the main window.
    std::function<bool(RulePreviewSheet& sheet)> preview;
};

// The window's side of the autosave actions: removal, the two retention rules, opening,
// revealing, copying, moving, archiving and restoring event backups. It wires the main
// window's actions, asks the confirmations as sheets on the main thread before any work
// starts, runs the work on the controller's worker threads with progress in the window,
// and rebuilds the catalogue afterwards where the work changed it. The work itself is the
// actions layer's.
class AutosaveActions : public QObject {
    Q_OBJECT
public:
    using Environment = AutosaveActionsEnvironment;

    explicit AutosaveActions(AppController* controller, Environment environment = Environment());
    void setEnvironment(Environment environment);

    // The outline's selected rows in ascending row order, resolved to catalogue nodes.
    SelectedRows selectedRows() const;

    // Menu and toolbar actions, on the main thread. remove is also the outline's Delete and
    // Backspace keys.
    Q_INVOKABLE void remove();
    void removeOlderAutosaves(int days);
    void removeAllExceptMostRecent(int keep);
    // Autosaves ▸ Thin Out…: the combined rule on the selected projects, or on all of them.
    void thinOut();
    void sendToApp();
    void showInFinder();
    void copyFiles();
    void moveFiles();
    void archiveSave();
    // The selected event backups put back in place of their events, then Final Cut Pro X.
    void restoreEvents();

Q_SIGNALS:
    // On the main thread when the work an action started on a worker has ended, before the
    // rebuild it may start.
    void workFinished();

private:
    void connectWindow();
    void updateRestoreEventAction();
    bool ask(const QString& message, const QString& defaultButton, const QString& alternateButton,
             const QString& informative) const;
    void runWork(std::function<void()> work);
    // The pins as the settings file holds them now, given to the outline too.
    const PinnedPaths& currentPins() const;
    // " 2 of them are pinned." for the removal question, or nothing.
    QString pinnedNote(const SelectedRows& rows) const;
    void transfer(bool copy);
    // A rule's choice: the preview when it is on and there is something to show, then the
    // question, then the removal.
    void confirmRuleRemoval(BMAutoItemList items);
    QSet<QString> orphansAmong(const BMAutoItemList& items) const;
    // Worker side.
    void removeIndexSet(const SelectedRows& rows);
    void removeChildren(const BMAutoItemList& items);
    void archiveSelectionToFile(const SelectedRows& rows, const QString& destination);

    AppController* m_controller;
    Environment m_env;
    QSet<QString> m_orphansInPreview; // project paths, for the preview being shown
};
