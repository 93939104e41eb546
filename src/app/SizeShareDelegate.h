#pragma once

#include <QRectF>
#include <QStyledItemDelegate>

#include <optional>

// The Size column's cells: the size text as always, and under a project's size a thin bar as
// long as the project's share of the largest project, so the big ones stand out at a glance.
// Autosave rows get no bar.
class SizeShareDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // Set on every rebuild: the bytes of the largest project.
    void setLargestBytes(double bytes) { m_largest = bytes; }
    double largestBytes() const { return m_largest; }

    // 0 to 1 for a project row; nothing for an autosave row or an empty catalogue.
    std::optional<double> shareOf(const QModelIndex& index) const;
    // Where the bar goes in a cell of the given rectangle; empty when there is none.
    QRectF barRect(const QModelIndex& index, const QRect& cell) const;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

private:
    double m_largest = 0;
};
