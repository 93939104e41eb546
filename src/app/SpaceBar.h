#pragma once

#include "catalogue/OutlineText.h"
#include "catalogue/SpaceSummary.h"

#include <QColor>
#include <QList>
#include <QRectF>
#include <QWidget>

// The strip above the outline that shows where the space goes: the upper bar splits the total
// by editor (each editor its colour, its name written in when it fits), the thinner lower bar
// by autosave location. Hovering a segment names it with its size and share.
class SpaceBar : public QWidget {
    Q_OBJECT
public:
    struct Segment {
        QRectF rect;
        QColor colour;
        QString label;   // written into the segment when there is room
        QString toolTip; // "Premiere Pro: 4.88 KB, 62.5% (2 projects)"
    };

    explicit SpaceBar(QWidget* parent = nullptr, OutlineText text = OutlineText());

    void setSummary(const SpaceSummary& summary);
    const SpaceSummary& summary() const { return m_summary; }

    // The editors' segments first, then the locations', laid out for the current size.
    QList<Segment> segments() const;
    // Empty where no segment is.
    QString toolTipAt(const QPointF& position) const;

    static QColor editorColour(int type);

    QSize sizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QList<Segment> row(const QList<SpaceShare>& shares, const QRectF& area, bool editors) const;

    SpaceSummary m_summary;
    OutlineText m_text;
};
