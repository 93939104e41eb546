#pragma once

#include <QMenu>
#include <QPointer>
#include <QTreeView>

#include <functional>
#include <optional>

// The catalogue's tree view. A right click selects the row under the pointer alone and
// shows the view's menu (a click inside a selection of several rows keeps that selection
// and shows the selection menu); keys listed in the watch list run an operation of the watch
// delegate. The delegate hooks are optional: an empty function means "not implemented".
class BMOutlineView : public QTreeView {
    Q_OBJECT
public:
    struct WatchKey {
        char16_t keycode;
        QString selector; // the name of an invokable method of the watch delegate
    };

    explicit BMOutlineView(QWidget* parent = nullptr);

    // The menu a right click shows; none for no menu. Not owned.
    void setMenu(QMenu* menu) { m_menu = menu; }
    QMenu* menu() const { return m_menu; }
    // The menu a right click inside a selection of several rows shows; none for no menu.
    void setSelectionMenu(QMenu* menu) { m_selectionMenu = menu; }

    QList<WatchKey> watchKeys() const { return m_watchKeys; }
    void setWatchKeys(const QList<WatchKey>& keys) { m_watchKeys = keys; }
    void addWatchKeys(const QList<char16_t>& keycodes, const QString& selector);
    QObject* watchDelegate() const { return m_watchDelegate; }
    void setWatchDelegate(QObject* delegate) { m_watchDelegate = delegate; }

    std::function<bool(const QModelIndex&)> shouldSelectItem;
    std::function<bool(QKeyEvent*)> keyDownHandler;
    std::function<bool(QKeyEvent*)> keyUpHandler;

    // Shown in the middle of the view while it has no rows; empty for nothing.
    void setPlaceholderText(const QString& text);
    QString placeholderText() const { return m_placeholder; }

    // The menu for a right click at a point of the viewport; selects the row there unless it
    // is part of a selection of several rows. Null for no menu.
    QMenu* menuForPosition(const QPoint& viewportPosition);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QPointer<QMenu> m_menu;
    QPointer<QMenu> m_selectionMenu;
    QList<WatchKey> m_watchKeys;
    QPointer<QObject> m_watchDelegate;
    QString m_placeholder;
};
