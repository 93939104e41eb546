#include "BusySpinner.h"

#include <QPainter>

BusySpinner::BusySpinner(QWidget* parent) : QWidget(parent) {
    setFixedSize(sizeHint());
    m_timer.setInterval(80);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + 30) % 360;
        update();
    });
    hide();
}

void BusySpinner::start() {
    show();
    m_timer.start();
}

void BusySpinner::stop() {
    m_timer.stop();
    hide();
}

void BusySpinner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(width() / 2.0, height() / 2.0);
    painter.rotate(m_angle);
    const QColor base = palette().color(QPalette::WindowText);
    for (int i = 0; i < 12; ++i) {
        QColor spoke = base;
        spoke.setAlphaF(0.15 + 0.85 * (i / 11.0));
        painter.setPen(QPen(spoke, 1.6, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -3.5), QPointF(0, -7));
        painter.rotate(30);
    }
}
