#include "PinCommands.h"

#include "AppController.h"
#include "AutosaveActions.h"
#include "AutosaveOutlineModel.h"
#include "BMAlert.h"
#include "BMOutlineView.h"
#include "MainWindow.h"
#include "catalogue/PinnedPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"

#include <QAction>
#include <QItemSelectionModel>

namespace {

bool isPinned(const PinnedPaths& pins, const SelectedRow& row) {
    return row.isProject() ? pins.isPinned(*row.project) : pins.isPinned(*row.item);
}

} // namespace

PinCommands::PinCommands(AppController* controller) : QObject(controller), m_controller(controller) {
    const MainWindow::Actions& a = controller->mainWindow()->actions();
    connect(a.pin, &QAction::triggered, this, &PinCommands::pin);
    connect(a.unpin, &QAction::triggered, this, &PinCommands::unpin);
    connect(controller->mainWindow()->outlineView()->selectionModel(), &QItemSelectionModel::selectionChanged,
            this, &PinCommands::updateActions);
    // `vestry pin` may have changed the list while the window was open.
    connect(controller, &AppController::catalogueRebuilt, this, &PinCommands::reload);
    reload();
}

void PinCommands::pin() {
    change(true);
}

void PinCommands::unpin() {
    change(false);
}

void PinCommands::change(bool pin) {
    const auto* actions = m_controller->findChild<AutosaveActions*>();
    if (!actions)
        return;
    // Read, changed and written under the lock `vestry pin` takes, so that neither writes back
    // a list without the other's pin.
    bool unchanged = false;
    QStringList paths;
    QString error;
    const bool stored = BMSettings::standard().update(
        QStringLiteral("Vestry: changing the pins"),
        [&] {
            const PinnedPaths pins = PinnedPaths::stored();
            paths = pins.paths();
            for (const SelectedRow& row : actions->selectedRows()) {
                if (pin && !isPinned(pins, row)) {
                    paths << PinnedPaths::storedForm(row.path());
                } else if (!pin) {
                    paths = PinnedPaths::removing(paths, row.path());
                    if (!row.isProject() && row.item->parent())
                        paths = PinnedPaths::removing(paths, row.item->parent()->path());
                }
            }
            unchanged = paths == pins.paths();
            return unchanged || PinnedPaths::store(BMSettings::standard(), paths);
        },
        &error);
    if (unchanged)
        return;
    if (!stored) {
        BMAlert::alertSheetWithMessageText(
            pin ? tr("The pins could not be saved.") : tr("The pins could not be removed."),
            error.isEmpty() ? tr("The settings file could not be written. The log has the details.") : error,
            m_controller->mainWindow());
        return;
    }
    BMLog::appendLog(
        QStringLiteral("%1 from the window; %2 pinned").arg(pin ? "Pinned" : "Unpinned").arg(paths.size()));
    reload();
}

void PinCommands::reload() {
    m_controller->model()->setPins(PinnedPaths::stored());
    updateActions();
}

void PinCommands::updateActions() {
    const auto* actions = m_controller->findChild<AutosaveActions*>();
    const PinnedPaths& pins = m_controller->model()->pins();
    bool anyPinned = false;
    bool anyUnpinned = false;
    if (actions) {
        for (const SelectedRow& row : actions->selectedRows())
            (isPinned(pins, row) ? anyPinned : anyUnpinned) = true;
    }
    const MainWindow::Actions& a = m_controller->mainWindow()->actions();
    a.pin->setEnabled(anyUnpinned);
    a.unpin->setEnabled(anyPinned);
}
