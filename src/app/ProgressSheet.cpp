#include "ProgressSheet.h"

#include <QLabel>
#include <QProgressBar>
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
