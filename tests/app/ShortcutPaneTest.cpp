#include "WindowFixture.h"
#include "app/PreferencesWindow.h"
#include "app/ShortcutKeyPane.h"
#include "foundation/PlistFile.h"
#include "support/BMShortcutKeys.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QTest>

namespace {

class ShortcutPane : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + QFile::encodeName(home().root()) + "/no-bus");
        BMShortcutKeyTableDelegate::sharedController().setCommandListPath(":/vestry/BMKeys.plist");
        start();
        pane = qobject_cast<ShortcutKeyPane*>(
            controller->preferencesWindow()->tabs()->widget(PreferencesWindow::ShortcutsTab));
        ASSERT_NE(pane, nullptr);
    }
    int rowOf(const QString& description) const {
        for (int row = 0; row < pane->table()->rowCount(); ++row) {
            if (pane->table()->item(row, ShortcutKeyPane::DescriptionColumn)->text() == description)
                return row;
        }
        return -1;
    }
    QString keyName(int row) const {
        return pane->table()->item(row, ShortcutKeyPane::ShortcutColumn)->text();
    }
    void press(QWidget* widget, int key, Qt::KeyboardModifiers modifiers, quint32 scanCode,
               const QString& text = {}) {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, scanCode, 0, 0, text);
        QCoreApplication::sendEvent(widget, &event);
    }

    ShortcutKeyPane* pane = nullptr;
};

TEST_F(ShortcutPane, TheCommandListIsTheWindowsMenuCommands) {
    const QVariantList listed =
        PlistFile::readDictionary(":/vestry/BMKeys.plist").value_or(QVariantMap()).value("BMKeys").toList();
    QMap<QString, QString> commands;
    for (const QVariant& entry : listed)
        commands.insert(entry.toMap().value("id").toString(), entry.toMap().value("description").toString());
    ASSERT_EQ(commands.size(), listed.size()) << "an id listed twice";

    QMap<QString, QString> menuCommands;
    for (QAction* menuAction : controller->mainWindow()->menuBar()->actions()) {
        for (QAction* action : menuAction->menu()->actions()) {
            if (action->isSeparator() || action->menu())
                continue;
            EXPECT_FALSE(action->objectName().isEmpty()) << action->text().toStdString();
            menuCommands.insert(action->objectName(), action->text());
        }
    }
    EXPECT_EQ(commands, menuCommands);
    EXPECT_EQ(pane->table()->rowCount(), listed.size());
}

TEST_F(ShortcutPane, ACapturedKeyIsTheActionsAndBackspaceGivesItsOwnBack) {
    // This build has no key manager.
    EXPECT_TRUE(pane->warningLabel()->isVisibleTo(pane));
    const QAction* refresh = menu().refresh;
    const QList<QKeySequence> original = refresh->shortcuts();
    const int row = rowOf("Refresh");
    ASSERT_GE(row, 0);

    // No row selected: the key goes nowhere.
    press(pane->keyField(), Qt::Key_F5, Qt::NoModifier, 71);
    EXPECT_EQ(keyName(row), "");

    pane->table()->setCurrentCell(row, 0);
    press(pane->keyField(), Qt::Key_F5, Qt::NoModifier, 71);
    EXPECT_EQ(keyName(row), "Shift+Cmd+F5");
    EXPECT_EQ(refresh->shortcut(), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F5));
    EXPECT_TRUE(pane->keyField()->text().isEmpty()) << "the key is not typed";

    // Cmd is the Ctrl key: the open command takes Ctrl+R, one of Refresh's two keys.
    const int open = rowOf("Open in Apps");
    pane->table()->setCurrentCell(open, 0);
    press(pane->keyField(), Qt::Key_R, Qt::ControlModifier, 27, "\x12");
    EXPECT_EQ(keyName(open), "Cmd+R");
    EXPECT_EQ(menu().open->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_R));

    pane->table()->setCurrentCell(row, 0);
    press(pane->table(), Qt::Key_Backspace, Qt::NoModifier, 22, "\b");
    EXPECT_EQ(keyName(row), "");
    EXPECT_EQ(refresh->shortcuts(), QList<QKeySequence>{QKeySequence(Qt::Key_F5)});
    pane->table()->setCurrentCell(open, 0);
    press(pane->table(), Qt::Key_Delete, Qt::NoModifier, 119, "\x7f");
    EXPECT_EQ(refresh->shortcuts(), original);
    EXPECT_EQ(original.size(), 2);
    EXPECT_TRUE(BMShortcutKeyTableDelegate::storedShortcuts().isEmpty());
}

} // namespace

// Each key reaches one command only, the menus show it, and the keys the user set none for
// (Refresh's two among them) stay as the window made them; one set in the pane runs its command.
TEST_F(ShortcutPane, NoTwoCommandsShareAKeyAndRefreshPreferencesAndOneSetInThePaneRunTheirs) {
    QMainWindow* window = controller->mainWindow();
    QMap<QString, QString> owners;
    for (QAction* action : window->findChildren<QAction*>()) {
        for (const QKeySequence& key : action->shortcuts()) {
            EXPECT_FALSE(owners.contains(key.toString()))
                << key.toString().toStdString() << " is " << owners.value(key.toString()).toStdString()
                << "'s and " << action->objectName().toStdString() << "'s";
            owners.insert(key.toString(), action->objectName());
            EXPECT_TRUE(action->isShortcutVisibleInContextMenu()) << action->objectName().toStdString();
        }
    }
    EXPECT_EQ(owners.value("F5"), "refresh");
    EXPECT_EQ(owners.value("Ctrl+R"), "refresh");
    EXPECT_EQ(owners.value("Ctrl+,"), "preferences");
    EXPECT_EQ(owners.value("Del"), "remove");
    // A key set in the pane runs its command too.
    const int viewLog = rowOf("View Log");
    pane->table()->setCurrentCell(viewLog, 0);
    press(pane->keyField(), Qt::Key_K, Qt::AltModifier, 45);
    EXPECT_EQ(keyName(viewLog), "Alt+K");

    window->show();
    QApplication::setActiveWindow(window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QSignalSpy preferences(menu().preferences, &QAction::triggered);
    QTest::keyClick(window, Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_EQ(preferences.size(), 1);
    QApplication::setActiveWindow(window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    expectRebuild([&] { QTest::keyClick(window, Qt::Key_R, Qt::ControlModifier); });
    home().writeHomeFile(".local/state/Brightmoor/Vestry.1.log", "log"); // a missing one is only an alert
    QApplication::setActiveWindow(window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    const qsizetype before = opened.size();
    QTest::keyClick(window, Qt::Key_K, Qt::AltModifier);
    ASSERT_EQ(opened.size(), before + 1);
    EXPECT_TRUE(opened.last().toLocalFile().endsWith("/Brightmoor/Vestry.1.log"));
}
