#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;
class QPushButton;

// The sheet that covers the main window during long work it cannot go on without (the
// first search for autosave folders, archiving, removing many autosaves). Work that can stop
// between files shows a Cancel button (Esc too), which turns into a disabled "Cancelling…"
// until the work has stopped.
class ProgressSheet : public QDialog {
    Q_OBJECT
public:
    explicit ProgressSheet(QWidget* parent);

    // Shows the sheet unless it is showing already.
    void showProgress(const QString& message = QString());
    void endProgress();
    // Determinate progress; a total of 0 shows an indeterminate bar.
    void setProgress(qint64 done, qint64 total);
    QString message() const;

    // Offers Cancel for the work that follows (an enabled "Cancel"), or hides it.
    void setCancellable(bool cancellable);
    QPushButton* cancelButton() const { return m_cancel; }

Q_SIGNALS:
    // Once per piece of work, on the first Cancel.
    void cancelRequested();

protected:
    void reject() override;

private:
    void requestCancel();

    QLabel* m_message = nullptr;
    QProgressBar* m_bar = nullptr;
    QPushButton* m_cancel = nullptr;
};
