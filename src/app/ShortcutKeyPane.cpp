#include "ShortcutKeyPane.h"

#include <QAction>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const char defaultShortcutProperty[] = "vestryDefaultShortcut";

bool isModifierKey(int key) {
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Meta || key == Qt::Key_Alt ||
           key == Qt::Key_AltGr || key == Qt::Key_Super_L || key == Qt::Key_Super_R ||
           key == Qt::Key_CapsLock;
}

} // namespace

BMShortcutKeyFieldEditor::BMShortcutKeyFieldEditor(QWidget* parent) : QLineEdit(parent) {
    setPlaceholderText(tr("Press a key"));
}

void BMShortcutKeyFieldEditor::keyPressEvent(QKeyEvent* event) {
    if (isModifierKey(event->key())) {
        event->accept();
        return;
    }
#ifdef Q_OS_MACOS
    int keycode = int(event->nativeVirtualKey());
#else
    // The X11 key code, also under Wayland (the evdev code + 8).
    int keycode = int(event->nativeScanCode());
#endif
    if (keycode == 0)
        keycode = BMShortcutKeyNames::keyCodeForQtKey(event->key());
    event->accept();
    if (keycode <= 0)
        return;
    const Qt::KeyboardModifiers held = event->modifiers();
    const CapturedKey key = CapturedKey::fromPress(keycode, held & Qt::ShiftModifier, held & Qt::MetaModifier,
                                                   held & Qt::AltModifier, held & Qt::ControlModifier);
    clear();
    Q_EMIT keyCaptured(key);
}

void BMShortcutKeyTableview::keyPressEvent(QKeyEvent* event) {
    const QString text = event->text();
    const char16_t first = text.isEmpty() ? 0 : text.at(0).unicode();
    if (event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete || first == 0x08 ||
        first == 0x7F || first == 0xF728 || first == 0xF73E) {
        Q_EMIT clearRequested();
        event->accept();
        return;
    }
    QTableWidget::keyPressEvent(event);
}

ShortcutKeyPane::ShortcutKeyPane(QWidget* parent) : QWidget(parent) {
    BMShortcutKeyTableDelegate& delegate = BMShortcutKeyTableDelegate::sharedController();

    m_warning = new QLabel(
        tr("The Brightmoor shortcut key manager is not installed, so these shortcuts work only "
           "while Vestry's window is active. Please reinstall this software to use them everywhere."),
        this);
    m_warning->setWordWrap(true);
    m_warning->setObjectName(QStringLiteral("shortcutKeyManagerWarning"));

    m_table = new BMShortcutKeyTableview(0, 2, this);
    m_table->setHorizontalHeaderLabels({tr("Command"), tr("Shortcut")});
    m_table->horizontalHeader()->setSectionResizeMode(DescriptionColumn, QHeaderView::Stretch);
    m_table->verticalHeader()->hide();
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);

    m_keyField = new BMShortcutKeyFieldEditor(this);
    m_clear = new QPushButton(tr("Clear"), this);
    m_problem = new QLabel(this);
    m_problem->setWordWrap(true);
    m_problem->hide();

    auto* keyRow = new QHBoxLayout;
    keyRow->addWidget(new QLabel(tr("Shortcut:"), this));
    keyRow->addWidget(m_keyField, 1);
    keyRow->addWidget(m_clear);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_warning);
    layout->addWidget(m_table, 1);
    layout->addLayout(keyRow);
    layout->addWidget(m_problem);
    auto* note = new QLabel(
        tr("A key pressed alone becomes Shift+Cmd+key. Cmd is the Ctrl key, Ctrl the Super key."), this);
    note->setWordWrap(true);
    layout->addWidget(note);

    connect(m_table, &QTableWidget::currentCellChanged, this,
            [](int row) { BMShortcutKeyTableDelegate::sharedController().setSelectedRow(row); });
    connect(m_keyField, &BMShortcutKeyFieldEditor::keyCaptured, &delegate,
            &BMShortcutKeyTableDelegate::keyChanged);
    connect(m_table, &BMShortcutKeyTableview::clearRequested, &delegate,
            &BMShortcutKeyTableDelegate::keyCleared);
    connect(m_clear, &QPushButton::clicked, &delegate, &BMShortcutKeyTableDelegate::keyCleared);
    connect(&delegate, &BMShortcutKeyTableDelegate::shortcutsChanged, this, [this] {
        m_problem->hide();
        refreshTable();
    });
    connect(&delegate, &BMShortcutKeyTableDelegate::problem, this, [this](const QString& text) {
        m_problem->setText(text);
        m_problem->show();
    });

    populateKeyData();
}

void ShortcutKeyPane::populateKeyData() {
    m_warning->setVisible(!BMShortcutKeyTableDelegate::keyManagerExists());
    BMShortcutKeyTableDelegate& delegate = BMShortcutKeyTableDelegate::sharedController();
    delegate.populateKeyData();
    delegate.setSelectedRow(-1);
    m_table->setCurrentCell(-1, -1);
    refreshTable();
}

void ShortcutKeyPane::refreshTable() {
    const QList<QVariantMap> commands = BMShortcutKeyTableDelegate::sharedController().commands();
    m_table->setRowCount(int(commands.size()));
    for (int row = 0; row < commands.size(); ++row) {
        const QVariantMap& command = commands.at(row);
        auto cell = [this, row](int column, const QString& text) {
            QTableWidgetItem* item = m_table->item(row, column);
            if (!item) {
                item = new QTableWidgetItem;
                m_table->setItem(row, column, item);
            }
            item->setText(text);
        };
        cell(DescriptionColumn, command.value(QStringLiteral("description")).toString());
        cell(ShortcutColumn, command.value(QStringLiteral("keyname")).toString());
    }
}

void ShortcutKeyBindings::apply(const QList<QAction*>& actions) {
    const QMap<QString, QPair<int, int>> stored = BMShortcutKeyTableDelegate::storedShortcuts();
    QMap<QString, QKeySequence> chosen;
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        const int key = BMShortcutKeyNames::qtKeyForKeyCode(it->first);
        if (key != 0)
            chosen.insert(it.key(),
                          QKeySequence(QKeyCombination(
                              Qt::KeyboardModifiers(BMShortcutKeyNames::qtModifiersForMask(it->second)),
                              Qt::Key(key))));
    }
    const QList<QKeySequence> taken = chosen.values();
    for (QAction* action : actions) {
        if (action->objectName().isEmpty())
            continue;
        if (!action->property(defaultShortcutProperty).isValid())
            action->setProperty(defaultShortcutProperty, QVariant::fromValue(action->shortcuts()));
        const auto found = chosen.constFind(action->objectName());
        if (found != chosen.cend()) {
            action->setShortcut(*found);
            continue;
        }
        // A key the user gave another command is that command's alone.
        QList<QKeySequence> original = action->property(defaultShortcutProperty).value<QList<QKeySequence>>();
        original.removeIf([&taken](const QKeySequence& key) { return taken.contains(key); });
        action->setShortcuts(original);
    }
}

void ShortcutKeyBindings::follow(QWidget* window) {
    apply(window->findChildren<QAction*>());
    QObject::connect(&BMShortcutKeyTableDelegate::sharedController(),
                     &BMShortcutKeyTableDelegate::shortcutsChanged, window,
                     [window] { apply(window->findChildren<QAction*>()); });
}
