#pragma once

#include "actions/TrashRestore.h"

#include <QDialog>

#include <functional>

class AppController;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

// What the Trashes hold from the autosave locations, newest first, with Put Back for the
// selected rows and for everything the last removal took. Putting back runs on the
// controller's workers, never replaces what stands at an original path, and ends with a
// rebuild of the catalogue.
class RecentlyRemovedDialog : public QDialog {
    Q_OBJECT
public:
    // The window's one dialog, made or raised.
    static RecentlyRemovedDialog* showFor(AppController* controller);

    explicit RecentlyRemovedDialog(AppController* controller, QWidget* parent);

    QTreeWidget* list() const { return m_list; }
    QPushButton* putBackButton() const { return m_putBack; }
    QPushButton* putBackLastButton() const { return m_putBackLast; }
    void reload();
    void putBackSelected();
    void putBackLast();

Q_SIGNALS:
    // On the main thread once a put-back has ended and the list shows what is left.
    void workFinished();

private:
    using Work = std::function<RestoreReport(const std::function<void(int done, int total)>& progress)>;
    void run(Work work);
    void updateButtons();

    AppController* m_controller;
    QList<TrashedItem> m_items;
    QTreeWidget* m_list = nullptr;
    QLabel* m_empty = nullptr;
    QProgressBar* m_progress = nullptr;
    QPushButton* m_putBack = nullptr;
    QPushButton* m_putBackLast = nullptr;
    bool m_working = false;
};
