#pragma once

#include <QTimer>
#include <QWidget>

// The small spinner of the status line: visible and turning while a rebuild or an action
// runs. Its visibility is what tells the controller that work is under way.
class BusySpinner : public QWidget {
    Q_OBJECT
public:
    explicit BusySpinner(QWidget* parent = nullptr);

    void start();
    void stop();
    bool isSpinning() const { return m_timer.isActive(); }
    QSize sizeHint() const override { return {16, 16}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QTimer m_timer;
    int m_angle = 0;
};
