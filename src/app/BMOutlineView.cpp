#include "BMOutlineView.h"

#include "foundation/Console.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

BMOutlineView::BMOutlineView(QWidget* parent) : QTreeView(parent) {
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setAlternatingRowColors(true);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    // Autosave names end in the dates that tell them apart.
    setTextElideMode(Qt::ElideMiddle);
}

void BMOutlineView::setPlaceholderText(const QString& text) {
    if (text == m_placeholder)
        return;
    m_placeholder = text;
    viewport()->update();
}

void BMOutlineView::paintEvent(QPaintEvent* event) {
    QTreeView::paintEvent(event);
    if (m_placeholder.isEmpty() || !model() || model()->rowCount(rootIndex()) > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(viewport()->rect().adjusted(12, 12, -12, -12), Qt::AlignCenter | Qt::TextWordWrap,
                     m_placeholder);
}

void BMOutlineView::addWatchKeys(const QList<char16_t>& keycodes, const QString& selector) {
    QList<WatchKey> keys = m_watchKeys;
    for (char16_t code : keycodes)
        keys.append(WatchKey{code, selector});
    m_watchKeys = keys;
}

QMenu* BMOutlineView::menuForPosition(const QPoint& viewportPosition) {
    const QModelIndex index = indexAt(viewportPosition);
    if (!index.isValid())
        return nullptr;
    if (shouldSelectItem && !shouldSelectItem(index))
        return nullptr;
    // A click inside a selection of several rows acts on all of them, as in a file manager.
    if (selectionModel()->isRowSelected(index.row(), index.parent()) &&
        selectionModel()->selectedRows().size() > 1)
        return m_selectionMenu;
    // The row alone, replacing the selection; the selection change sets the menu.
    selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    return m_menu;
}

void BMOutlineView::contextMenuEvent(QContextMenuEvent* event) {
    event->accept();
    // A mouse click reaches the view from its viewport, already in the viewport's
    // coordinates; the menu key comes to the view itself and means the current row.
    QPoint position = event->pos();
    QPoint globalPosition = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        if (!currentIndex().isValid())
            return;
        position = visualRect(currentIndex()).center();
        globalPosition = viewport()->mapToGlobal(position);
    }
    if (QMenu* menu = menuForPosition(position))
        menu->popup(globalPosition);
}

void BMOutlineView::keyPressEvent(QKeyEvent* event) {
    // Keys without a character (arrows, function keys) and keys typed while editing a
    // cell belong to the view itself.
    if (state() == QAbstractItemView::EditingState || event->text().isEmpty()) {
        QTreeView::keyPressEvent(event);
        return;
    }
    if (keyDownHandler && !keyDownHandler(event))
        QTreeView::keyPressEvent(event);
    const char16_t character = event->text().at(0).unicode();
    for (const WatchKey& key : m_watchKeys) {
        if (key.keycode != character)
            continue;
        const QByteArray signature =
            QMetaObject::normalizedSignature((key.selector + QStringLiteral("()")).toLatin1());
        if (m_watchDelegate && m_watchDelegate->metaObject()->indexOfMethod(signature.constData()) >= 0) {
            QMetaObject::invokeMethod(m_watchDelegate, key.selector.toLatin1().constData(),
                                      Qt::DirectConnection);
            break;
        }
        Console::print(QStringLiteral("Selector %1 doesn't exist").arg(key.selector));
    }
    if (!keyDownHandler)
        QTreeView::keyPressEvent(event);
}

void BMOutlineView::keyReleaseEvent(QKeyEvent* event) {
    if (state() == QAbstractItemView::EditingState) {
        QTreeView::keyReleaseEvent(event);
        return;
    }
    const bool handled = keyUpHandler && keyUpHandler(event);
    if (!handled)
        QTreeView::keyReleaseEvent(event);
}
