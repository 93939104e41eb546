#include "SizeShareDelegate.h"

#include "AutosaveOutlineModel.h"

#include <QPainter>
#include <QStyle>

#include <algorithm>

std::optional<double> SizeShareDelegate::shareOf(const QModelIndex& index) const {
    if (m_largest <= 0 || !index.data(int(AutosaveOutlineModel::Role::IsProject)).toBool())
        return std::nullopt;
    return std::clamp(index.data(int(AutosaveOutlineModel::Role::Bytes)).toDouble() / m_largest, 0.0, 1.0);
}

QRectF SizeShareDelegate::barRect(const QModelIndex& index, const QRect& cell) const {
    const std::optional<double> share = shareOf(index);
    if (!share)
        return QRectF();
    const QRectF inner = QRectF(cell).adjusted(3, 0, -3, -2);
    // At least a sliver, so a tiny project still shows it has a bar.
    const qreal width = std::max(1.0, inner.width() * *share);
    // Right-aligned like the size text above it.
    return QRectF(inner.right() - width, inner.bottom() - 2, width, 2);
}

void SizeShareDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    QStyledItemDelegate::paint(painter, option, index);
    const QRectF bar = barRect(index, option.rect);
    if (bar.isEmpty())
        return;
    QColor colour = option.palette.color(option.state & QStyle::State_Selected ? QPalette::HighlightedText
                                                                               : QPalette::Highlight);
    colour.setAlpha(170);
    painter->fillRect(bar, colour);
}
