#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;

// The sheet that covers the main window during long work it cannot go on without (the
// first search for autosave folders, archiving, removing many autosaves).
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

private:
    QLabel* m_message = nullptr;
    QProgressBar* m_bar = nullptr;
};
