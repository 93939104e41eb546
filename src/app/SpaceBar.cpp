#include "SpaceBar.h"

#include "catalogue/AutosaveType.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

#include <cmath>

namespace {
constexpr qreal kMargin = 4;
constexpr qreal kEditorHeight = 16;
constexpr qreal kLocationHeight = 6;
constexpr qreal kGap = 2;
} // namespace

SpaceBar::SpaceBar(QWidget* parent, OutlineText text) : QWidget(parent), m_text(std::move(text)) {
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SpaceBar::setSummary(const SpaceSummary& summary) {
    m_summary = summary;
    // Nothing to split in an empty catalogue: the outline says that itself.
    setVisible(summary.totalBytes() > 0);
    update();
}

QColor SpaceBar::editorColour(int type) {
    switch (AutosaveType::normalized(type)) {
    case AutosaveType::Motion:
        return QColor(0x8e, 0x5c, 0xc9);
    case AutosaveType::Premiere:
        return QColor(0x2f, 0x6f, 0xd1);
    case AutosaveType::Avid:
        return QColor(0x3a, 0x9d, 0x5d);
    case AutosaveType::FinalCutX:
        return QColor(0xd9, 0x8a, 0x1c);
    default:
        return QColor(0xc9, 0x4a, 0x3d);
    }
}

QSize SpaceBar::sizeHint() const {
    return QSize(400, int(2 * kMargin + kEditorHeight + kGap + kLocationHeight));
}

QList<SpaceBar::Segment> SpaceBar::row(const QList<SpaceShare>& shares, const QRectF& area,
                                       bool editors) const {
    QList<Segment> segments;
    const double total = m_summary.totalBytes();
    if (total <= 0)
        return segments;
    // Edges from running sums, so the segments meet without gaps and end at the bar's end.
    double sum = 0;
    int index = 0;
    for (const SpaceShare& share : shares) {
        const qreal left = area.left() + area.width() * (sum / total);
        sum += share.bytes;
        const qreal right = area.left() + area.width() * (sum / total);
        const QString size = m_text.formatFileSize(share.bytes);
        const QString percent = m_text.locale().toString(m_summary.percentOf(share.bytes), 'f', 1);
        const QString projects =
            share.projects == 1 ? tr("1 project")
                                : tr("%1 projects").arg(m_text.locale().toString(qint64(share.projects)));
        QColor colour = editors ? editorColour(share.type) : palette().color(QPalette::Mid);
        if (!editors)
            colour = colour.darker(100 + 25 * (index % 3)); // neighbours told apart
        segments.append({QRectF(left, area.top(), right - left, area.height()), colour,
                         editors ? share.name : QString(),
                         QStringLiteral("%1: %2, %3% (%4)").arg(share.name, size, percent, projects)});
        ++index;
    }
    return segments;
}

QList<SpaceBar::Segment> SpaceBar::segments() const {
    const qreal span = std::max<qreal>(0, width() - 2 * kMargin);
    QList<Segment> all = row(m_summary.byEditor(), QRectF(kMargin, kMargin, span, kEditorHeight), true);
    all += row(m_summary.byLocation(), QRectF(kMargin, kMargin + kEditorHeight + kGap, span, kLocationHeight),
               false);
    return all;
}

QString SpaceBar::toolTipAt(const QPointF& position) const {
    for (const Segment& segment : segments())
        if (segment.rect.contains(position))
            return segment.toolTip;
    return QString();
}

bool SpaceBar::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const QString text = toolTipAt(help->pos());
        if (text.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(help->globalPos(), text, this);
        return true;
    }
    return QWidget::event(event);
}

void SpaceBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const Segment& segment : segments()) {
        painter.fillRect(segment.rect, segment.colour);
        if (segment.label.isEmpty())
            continue;
        const QString label =
            fontMetrics().elidedText(segment.label, Qt::ElideRight, int(segment.rect.width()) - 6);
        // An elided stub says nothing; the tooltip does.
        if (label.size() < 4)
            continue;
        painter.setPen(Qt::white);
        painter.drawText(segment.rect.adjusted(3, 0, -3, 0), Qt::AlignVCenter | Qt::AlignLeft, label);
    }
}
