#pragma once

#include <QList>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QString>
#include <QVariant>
#include <QVariantMap>

// The masks the watch list stores, summed: the same numbers on every platform. On Linux
// Command is the Ctrl key and Control is the Super (Meta) key, which is how Qt already
// names the keys on a Mac.
namespace ShortcutModifier {
inline constexpr int command = 0x100;
inline constexpr int shift = 0x200;
inline constexpr int option = 0x800;
inline constexpr int control = 0x1000;
} // namespace ShortcutModifier

// One key press as the key field records it.
struct CapturedKey {
    int keycode = 0;
    bool shift = false;
    bool ctrl = false;
    bool opt = false;
    bool cmd = false;

    // A key pressed with no modifier becomes Shift+Command+key, deliberately: the shortcuts
    // work system-wide, where a bare key would take the key away from every application.
    static CapturedKey fromPress(int keycode, bool shift, bool ctrl, bool opt, bool cmd);
    int modifiers() const;
    bool operator==(const CapturedKey&) const = default;
};

// The names of keys. Key codes are the platform's virtual key codes: on Linux the X11 key
// codes (evdev code + 8) as a US layout places them.
class BMShortcutKeyNames {
public:
    // The key's text under the given modifier mask (only Shift changes it), named through
    // the glyph table where the table has the character; null, logged, for an unknown key.
    static QString stringForKeyCode(int keycode, int modifierFlags);
    // "Ctrl+", "Shift+", "Alt+", "Cmd+" as held, in that order, then the key's text upper-cased
    // when it is one character; null when the key has no text.
    static QString nameForKeyCode(int keycode, int modifiers);
    // The glyph table: the name of a control or function-key character; null when it has none.
    static QString glyphName(char16_t character);

    // Between key codes and Qt's key values, for the window's own actions; 0 and -1 when
    // there is no such key.
    static int qtKeyForKeyCode(int keycode);
    static int keyCodeForQtKey(int qtKey);
    // Qt's modifier flags for a watch-list mask, and back.
    static int qtModifiersForMask(int modifiers);
    static int maskForQtModifiers(int qtModifiers);
};

// The data of the shortcut pane: the application's commands, each with the key the user
// gave it, and the watch list that the maker's resident key manager reads.
class BMShortcutKeyTableDelegate : public QObject {
    Q_OBJECT
public:
    static BMShortcutKeyTableDelegate& sharedController();

    static QString bundleIdentifier() { return QStringLiteral("com.brightmoor.Vestry"); }
    static QString watchListFileName() { return QStringLiteral("com.brightmoor.shortcutkeys.plist"); }
    // The user's Preferences folder + the watch list's name.
    static QString watchListPath();
    // The local Application Support folder + "Brightmoor/Shared Resources/BMShortcutKeyManager".
    static QString keyManagerPath();
    static bool keyManagerExists();
    static QString keyManagerMissingMessage() {
        return QStringLiteral("Unable to setup shortcut keys - shortcut key manager doesn't exist. "
                              "Please reinstall this software.");
    }
    // The session-bus signal that tells the key manager to read the watch list again.
    static QString reloadPath() { return QStringLiteral("/com/brightmoor/ShortcutKeys"); }
    static QString reloadInterface() { return QStringLiteral("com.brightmoor.ShortcutKeys"); }
    static QString reloadSignal() { return QStringLiteral("BMShortcutKeysReload"); }
    // Sends the reload signal; nothing happens when there is no bus.
    static void postReload();

    // The command list ("BMKeys": "id", "description") in the application's resources.
    void setCommandListPath(const QString& path);
    QString commandListPath() const;

    // Reads the command list and this application's entries of the watch list.
    void populateKeyData();
    QList<QVariantMap> commands() const { return m_commands; }
    // This application's shortcuts: command id -> (keycode, modifiers).
    static QMap<QString, QPair<int, int>> storedShortcuts();

    int selectedRow() const { return m_selectedRow; }
    void setSelectedRow(int row) { m_selectedRow = row; }

    // Replaces this application's entry for the command (and parameters), writes the watch
    // list atomically and tells the key manager; false, with the cause, when it could not
    // be written.
    static bool setKeyboardShortcut(const QString& commandId, const QVariant& params, int keycode, bool shift,
                                    bool cmd, bool opt, bool ctrl, QString* error = nullptr);
    static bool clearKeyboardShortcut(const QString& commandId, QString* error = nullptr);

public Q_SLOTS:
    // The selected command takes the key; without a selection nothing changes.
    void keyChanged(const CapturedKey& key);
    // The selected command loses its key.
    void keyCleared();

Q_SIGNALS:
    // A command's key was set or cleared (the window's actions follow it).
    void shortcutsChanged();
    // Writing the watch list failed: the file and the cause.
    void problem(const QString& text);

private:
    BMShortcutKeyTableDelegate() = default;
    static bool writeAndReload(const QVariantList& entries, QString* error);

    QString m_commandListPath = QStringLiteral(":/vestry/BMKeys.plist");
    QList<QVariantMap> m_commands;
    int m_selectedRow = -1;
};
