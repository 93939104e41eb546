#include "RecentlyRemovedDialog.h"

#include "AppController.h"
#include "BMAlert.h"
#include "MainWindow.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/MainThread.h"
#include "foundation/PathText.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

// Below this many items a put-back is over before a bar could be read.
constexpr int kProgressFrom = 5;

QStringList knownLocations() {
    return CatalogueLocations().locations(BMSettings::standard());
}

// Refusals and failures, each line naming the file and why; from a worker, without waiting.
void reportProblems(const RestoreReport& report, const QString& lastError) {
    QStringList lines;
    for (const QString& path : report.refused + report.failed)
        lines << report.reasons.value(path, FileName::displayText(path));
    for (const QString& path : report.notFound)
        lines << RecentlyRemovedDialog::tr("%1: no longer in the Trash").arg(FileName::displayText(path));
    if (!lastError.isEmpty())
        lines << lastError;
    if (!report.error.isEmpty())
        lines << report.error;
    if (lines.isEmpty())
        return;
    const QString message = report.restored.isEmpty()
                                ? RecentlyRemovedDialog::tr("Nothing was put back.")
                                : RecentlyRemovedDialog::tr("Some items could not be put back.");
    BMAlert::alertSheetWithButtons({message, {}, {}, {}, lines.join(QLatin1Char('\n'))}, nullptr, false);
}

} // namespace

RecentlyRemovedDialog* RecentlyRemovedDialog::showFor(AppController* controller) {
    MainWindow* window = controller->mainWindow();
    auto* dialog = window->findChild<RecentlyRemovedDialog*>();
    if (!dialog) {
        dialog = new RecentlyRemovedDialog(controller, window);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
    }
    dialog->reload();
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    return dialog;
}

RecentlyRemovedDialog::RecentlyRemovedDialog(AppController* controller, QWidget* parent)
    : QDialog(parent), m_controller(controller) {
    setWindowTitle(tr("Recently Removed"));
    m_list = new QTreeWidget(this);
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setHeaderLabels({tr("Name"), tr("Original Location"), tr("Date Removed"), tr("Size")});
    // Long locations give way in the middle, where their folders are least telling.
    m_list->setTextElideMode(Qt::ElideMiddle);
    m_list->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    m_list->header()->setStretchLastSection(false);
    m_empty = new QLabel(tr("The Trash holds nothing from the autosave locations."), this);
    m_empty->setAlignment(Qt::AlignCenter);
    m_progress = new QProgressBar(this);
    m_progress->hide();

    auto* buttons = new QDialogButtonBox(this);
    m_putBack = buttons->addButton(tr("Put Back"), QDialogButtonBox::ActionRole);
    m_putBackLast = buttons->addButton(tr("Put Back Last Removal"), QDialogButtonBox::ActionRole);
    QPushButton* close = buttons->addButton(QDialogButtonBox::Close);
    connect(m_putBack, &QPushButton::clicked, this, &RecentlyRemovedDialog::putBackSelected);
    connect(m_putBackLast, &QPushButton::clicked, this, &RecentlyRemovedDialog::putBackLast);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, &RecentlyRemovedDialog::updateButtons);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_empty, 1);
    layout->addWidget(m_progress);
    layout->addWidget(buttons);
    resize(760, 380);
}

void RecentlyRemovedDialog::reload() {
    m_items = TrashRestore::list(knownLocations());
    m_list->clear();
    const QLocale locale;
    const OutlineText text;
    const QString home = QDir::homePath();
    for (const TrashedItem& item : m_items) {
        auto* row = new QTreeWidgetItem(m_list);
        row->setText(0, FileName::displayText(PathText::lastComponent(item.originalPath)));
        row->setText(1, FileName::displayText(PathText::abbreviatingHome(
                            PathText::deletingLastComponent(item.originalPath), home)));
        row->setText(2, locale.toString(item.deletionDate.toLocalTime(), QLocale::ShortFormat));
        row->setText(3, text.formatFileSize(double(item.size)));
        row->setTextAlignment(3, Qt::AlignRight | Qt::AlignVCenter);
        row->setToolTip(0, item.originalPath);
    }
    for (int column : {0, 2, 3})
        m_list->resizeColumnToContents(column);
    m_list->setVisible(!m_items.isEmpty());
    m_empty->setVisible(m_items.isEmpty());
    updateButtons();
}

void RecentlyRemovedDialog::updateButtons() {
    m_putBack->setEnabled(!m_working && !m_list->selectedItems().isEmpty());
    m_putBackLast->setEnabled(!m_working && !m_items.isEmpty());
}

void RecentlyRemovedDialog::putBackSelected() {
    QList<TrashedItem> chosen;
    for (int row = 0; row < m_items.size(); ++row) {
        if (m_list->topLevelItem(row)->isSelected())
            chosen << m_items[row];
    }
    if (chosen.isEmpty())
        return;
    run([chosen](const std::function<void(int, int)>& progress) {
        // One at a time so that the bar moves; each item is refused or restored on its own,
        // all under the locks of their locations.
        RestoreReport total;
        const std::optional<LocationLocks> locks = TrashRestore::lockLocations(chosen, &total.error);
        if (!locks)
            return total;
        for (int i = 0; i < chosen.size(); ++i) {
            progress(i, int(chosen.size()));
            const RestoreReport one = TrashRestore::restore({chosen[i]});
            total.restored += one.restored;
            total.refused += one.refused;
            total.failed += one.failed;
            total.notFound += one.notFound;
            total.reasons.insert(one.reasons);
        }
        return total;
    });
}

void RecentlyRemovedDialog::putBackLast() {
    run([](const std::function<void(int, int)>& progress) {
        progress(0, 0);
        QString error;
        RestoreReport report = TrashRestore::restoreLast(knownLocations(), &error);
        if (!error.isEmpty())
            report.reasons.insert(QString(), error);
        return report;
    });
}

void RecentlyRemovedDialog::run(Work work) {
    m_working = true;
    updateButtons();
    QPointer<RecentlyRemovedDialog> self(this);
    QPointer<QProgressBar> bar(m_progress);
    m_controller->runInBackground([self, bar, work = std::move(work), controller = m_controller] {
        const RestoreReport report = work([bar](int done, int total) {
            MainThread::post([bar, done, total] {
                if (!bar || (total > 0 && total < kProgressFrom))
                    return;
                bar->setRange(0, total);
                bar->setValue(done);
                bar->show();
            });
        });
        BMLog::appendLog(QStringLiteral("Put back %1 item(s) from the Trash; %2 refused, %3 failed")
                             .arg(report.restored.size())
                             .arg(report.refused.size())
                             .arg(report.failed.size()));
        RestoreReport shown = report;
        const QString lastError = shown.reasons.take(QString());
        reportProblems(shown, lastError);
        MainThread::runAndWait([self] {
            if (!self)
                return;
            self->m_working = false;
            self->m_progress->hide();
            self->reload();
            Q_EMIT self->workFinished();
        });
        if (!report.restored.isEmpty())
            controller->populateData();
    });
}
