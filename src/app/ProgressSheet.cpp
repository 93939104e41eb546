#include "ProgressSheet.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

ProgressSheet::ProgressSheet(QWidget* parent) : QDialog(parent, Qt::Sheet) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(tr("Working"));
    auto* layout = new QVBoxLayout(this);
    m_message = new QLabel(tr("Searching for autosave folders…"));
    m_bar = new QProgressBar;
    m_bar->setRange(0, 0);
    m_bar->setTextVisible(false);
    m_bar->setMinimumWidth(320);
    layout->addWidget(m_message);
    layout->addWidget(m_bar);
    m_cancel = new QPushButton(tr("Cancel"));
    m_cancel->setAutoDefault(false);
    m_cancel->hide();
    connect(m_cancel, &QPushButton::clicked, this, &ProgressSheet::requestCancel);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_cancel);
    layout->addLayout(buttons);
}

void ProgressSheet::setCancellable(bool cancellable) {
    m_cancel->setText(tr("Cancel"));
    m_cancel->setEnabled(cancellable);
    m_cancel->setVisible(cancellable);
}

void ProgressSheet::requestCancel() {
    if (m_cancel->isHidden() || !m_cancel->isEnabled())
        return;
    m_cancel->setText(tr("Cancelling…"));
    m_cancel->setEnabled(false);
    Q_EMIT cancelRequested();
}

void ProgressSheet::reject() {
    // Esc stops work that can stop, and never hides the sheet while the work goes on.
    if (!m_cancel->isHidden()) {
        requestCancel();
        return;
    }
    QDialog::reject();
}

void ProgressSheet::showProgress(const QString& message) {
    if (!message.isEmpty())
        m_message->setText(message);
    m_bar->setRange(0, 0);
    if (isVisible())
        return;
    open();
    raise();
}

void ProgressSheet::endProgress() {
    if (isVisible())
        hide();
}

void ProgressSheet::setProgress(qint64 done, qint64 total) {
    if (total <= 0) {
        m_bar->setRange(0, 0);
        return;
    }
    // The bar counts in ints; per mille keeps large byte counts in range.
    m_bar->setRange(0, 1000);
    m_bar->setValue(int(std::clamp<qint64>(done * 1000 / total, 0, 1000)));
}

QString ProgressSheet::message() const {
    return m_message->text();
}
