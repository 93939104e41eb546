#pragma once

#include "support/BMShortcutKeys.h"

#include <QLineEdit>
#include <QTableWidget>
#include <QWidget>

class QLabel;
class QPushButton;

// The key field: takes the next key press as the shortcut instead of typing it.
class BMShortcutKeyFieldEditor : public QLineEdit {
    Q_OBJECT
public:
    explicit BMShortcutKeyFieldEditor(QWidget* parent = nullptr);

Q_SIGNALS:
    void keyCaptured(const CapturedKey& key);

protected:
    void keyPressEvent(QKeyEvent* event) override;
};

// The command table: Backspace or Delete asks for the selected command's key to be cleared.
class BMShortcutKeyTableview : public QTableWidget {
    Q_OBJECT
public:
    using QTableWidget::QTableWidget;

Q_SIGNALS:
    void clearRequested();

protected:
    void keyPressEvent(QKeyEvent* event) override;
};

// The shortcut pane of the preferences: the application's commands and their keys, the key
// field and the clear button, and a warning while the maker's key manager is missing.
class ShortcutKeyPane : public QWidget {
    Q_OBJECT
public:
    enum Column { DescriptionColumn, ShortcutColumn };

    explicit ShortcutKeyPane(QWidget* parent = nullptr);

    // Reads the commands and the watch list again.
    void populateKeyData();

    BMShortcutKeyTableview* table() const { return m_table; }
    BMShortcutKeyFieldEditor* keyField() const { return m_keyField; }
    QPushButton* clearButton() const { return m_clear; }
    QLabel* warningLabel() const { return m_warning; }
    QLabel* problemLabel() const { return m_problem; }

private:
    void refreshTable();

    BMShortcutKeyTableview* m_table = nullptr;
    BMShortcutKeyFieldEditor* m_keyField = nullptr;
    QPushButton* m_clear = nullptr;
    QLabel* m_warning = nullptr;
    QLabel* m_problem = nullptr;
};

// Gives the window's actions the keys the user set for them (by the action's object name,
// the command's "id"); an action without one keeps the key it was made with. The actions
// follow every later change made in the pane.
class ShortcutKeyBindings {
public:
    static void apply(const QList<QAction*>& actions);
    static void follow(QWidget* window);
};
