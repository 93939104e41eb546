#include "BMShortcutKeys.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMTaskEx.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileInfo>

#include <array>

namespace {

// A key of the US layout by its X11 key code: the character it types, with and without
// Shift, as a Mac layout would give it (so that the glyph table names the same keys), or the
// text of a key that types none.
struct KeyEntry {
    int keycode;
    char16_t plain;
    char16_t shifted;
    int qtKey;
    const char* text;
};

constexpr std::array keyTable{
    KeyEntry{9, 0x1B, 0x1B, Qt::Key_Escape, nullptr},
    KeyEntry{10, '1', '!', Qt::Key_1, nullptr},
    KeyEntry{11, '2', '@', Qt::Key_2, nullptr},
    KeyEntry{12, '3', '#', Qt::Key_3, nullptr},
    KeyEntry{13, '4', '$', Qt::Key_4, nullptr},
    KeyEntry{14, '5', '%', Qt::Key_5, nullptr},
    KeyEntry{15, '6', '^', Qt::Key_6, nullptr},
    KeyEntry{16, '7', '&', Qt::Key_7, nullptr},
    KeyEntry{17, '8', '*', Qt::Key_8, nullptr},
    KeyEntry{18, '9', '(', Qt::Key_9, nullptr},
    KeyEntry{19, '0', ')', Qt::Key_0, nullptr},
    KeyEntry{20, '-', '_', Qt::Key_Minus, nullptr},
    KeyEntry{21, '=', '+', Qt::Key_Equal, nullptr},
    KeyEntry{22, 0x08, 0x08, Qt::Key_Backspace, nullptr},
    KeyEntry{23, 0x09, 0x19, Qt::Key_Tab, nullptr},
    KeyEntry{24, 'q', 'Q', Qt::Key_Q, nullptr},
    KeyEntry{25, 'w', 'W', Qt::Key_W, nullptr},
    KeyEntry{26, 'e', 'E', Qt::Key_E, nullptr},
    KeyEntry{27, 'r', 'R', Qt::Key_R, nullptr},
    KeyEntry{28, 't', 'T', Qt::Key_T, nullptr},
    KeyEntry{29, 'y', 'Y', Qt::Key_Y, nullptr},
    KeyEntry{30, 'u', 'U', Qt::Key_U, nullptr},
    KeyEntry{31, 'i', 'I', Qt::Key_I, nullptr},
    KeyEntry{32, 'o', 'O', Qt::Key_O, nullptr},
    KeyEntry{33, 'p', 'P', Qt::Key_P, nullptr},
    KeyEntry{34, '[', '{', Qt::Key_BracketLeft, nullptr},
    KeyEntry{35, ']', '}', Qt::Key_BracketRight, nullptr},
    KeyEntry{36, 0x0D, 0x0D, Qt::Key_Return, nullptr},
    KeyEntry{38, 'a', 'A', Qt::Key_A, nullptr},
    KeyEntry{39, 's', 'S', Qt::Key_S, nullptr},
    KeyEntry{40, 'd', 'D', Qt::Key_D, nullptr},
    KeyEntry{41, 'f', 'F', Qt::Key_F, nullptr},
    KeyEntry{42, 'g', 'G', Qt::Key_G, nullptr},
    KeyEntry{43, 'h', 'H', Qt::Key_H, nullptr},
    KeyEntry{44, 'j', 'J', Qt::Key_J, nullptr},
    KeyEntry{45, 'k', 'K', Qt::Key_K, nullptr},
    KeyEntry{46, 'l', 'L', Qt::Key_L, nullptr},
    KeyEntry{47, ';', ':', Qt::Key_Semicolon, nullptr},
    KeyEntry{48, '\'', '"', Qt::Key_Apostrophe, nullptr},
    KeyEntry{49, '`', '~', Qt::Key_QuoteLeft, nullptr},
    KeyEntry{51, '\\', '|', Qt::Key_Backslash, nullptr},
    KeyEntry{52, 'z', 'Z', Qt::Key_Z, nullptr},
    KeyEntry{53, 'x', 'X', Qt::Key_X, nullptr},
    KeyEntry{54, 'c', 'C', Qt::Key_C, nullptr},
    KeyEntry{55, 'v', 'V', Qt::Key_V, nullptr},
    KeyEntry{56, 'b', 'B', Qt::Key_B, nullptr},
    KeyEntry{57, 'n', 'N', Qt::Key_N, nullptr},
    KeyEntry{58, 'm', 'M', Qt::Key_M, nullptr},
    KeyEntry{59, ',', '<', Qt::Key_Comma, nullptr},
    KeyEntry{60, '.', '>', Qt::Key_Period, nullptr},
    KeyEntry{61, '/', '?', Qt::Key_Slash, nullptr},
    KeyEntry{65, ' ', ' ', Qt::Key_Space, nullptr},
    KeyEntry{67, 0, 0, Qt::Key_F1, "F1"},
    KeyEntry{68, 0, 0, Qt::Key_F2, "F2"},
    KeyEntry{69, 0, 0, Qt::Key_F3, "F3"},
    KeyEntry{70, 0, 0, Qt::Key_F4, "F4"},
    KeyEntry{71, 0, 0, Qt::Key_F5, "F5"},
    KeyEntry{72, 0, 0, Qt::Key_F6, "F6"},
    KeyEntry{73, 0, 0, Qt::Key_F7, "F7"},
    KeyEntry{74, 0, 0, Qt::Key_F8, "F8"},
    KeyEntry{75, 0, 0, Qt::Key_F9, "F9"},
    KeyEntry{76, 0, 0, Qt::Key_F10, "F10"},
    KeyEntry{95, 0, 0, Qt::Key_F11, "F11"},
    KeyEntry{96, 0, 0, Qt::Key_F12, "F12"},
    KeyEntry{104, 0x03, 0x03, Qt::Key_Enter, nullptr},
    KeyEntry{110, 0x01, 0x01, Qt::Key_Home, nullptr},
    KeyEntry{111, 0x1E, 0x1E, Qt::Key_Up, nullptr},
    KeyEntry{112, 0x0B, 0x0B, Qt::Key_PageUp, nullptr},
    KeyEntry{113, 0x1C, 0x1C, Qt::Key_Left, nullptr},
    KeyEntry{114, 0x1D, 0x1D, Qt::Key_Right, nullptr},
    KeyEntry{115, 0x04, 0x04, Qt::Key_End, nullptr},
    KeyEntry{116, 0x1F, 0x1F, Qt::Key_Down, nullptr},
    KeyEntry{117, 0x0C, 0x0C, Qt::Key_PageDown, nullptr},
    KeyEntry{118, 0, 0, Qt::Key_Insert, "Insert"},
    KeyEntry{119, 0x7F, 0x7F, Qt::Key_Delete, nullptr},
};

const KeyEntry* entryForKeyCode(int keycode) {
    for (const KeyEntry& entry : keyTable) {
        if (entry.keycode == keycode)
            return &entry;
    }
    return nullptr;
}

QString keyText(const QString& text) {
    return text.size() == 1 ? text.toUpper() : text;
}

QVariantList readWatchList() {
    const std::optional<QVariantMap> file =
        PlistFile::readDictionary(BMShortcutKeyTableDelegate::watchListPath());
    return file ? file->value(QStringLiteral("watchlist")).toList() : QVariantList();
}

bool isOurs(const QVariantMap& entry, const QString& commandId) {
    return entry.value(QStringLiteral("bundleid")).toString() ==
               BMShortcutKeyTableDelegate::bundleIdentifier() &&
           entry.value(QStringLiteral("commandid")).toString() == commandId;
}

} // namespace

CapturedKey CapturedKey::fromPress(int keycode, bool shift, bool ctrl, bool opt, bool cmd) {
    CapturedKey key{keycode & 0xFFFF, shift, ctrl, opt, cmd};
    if (!shift && !ctrl && !opt && !cmd) {
        key.shift = true;
        key.cmd = true;
    }
    return key;
}

int CapturedKey::modifiers() const {
    return (shift ? ShortcutModifier::shift : 0) + (ctrl ? ShortcutModifier::control : 0) +
           (cmd ? ShortcutModifier::command : 0) + (opt ? ShortcutModifier::option : 0);
}

QString BMShortcutKeyNames::glyphName(char16_t character) {
    switch (character) {
    case 0xF700:
    case 0x1E:
        return QStringLiteral("Up Arrow");
    case 0xF701:
    case 0x1F:
        return QStringLiteral("Down Arrow");
    case 0xF702:
    case 0x1C:
        return QStringLiteral("Left Arrow");
    case 0xF703:
    case 0x1D:
        return QStringLiteral("Right Arrow");
    case 0xF729:
    case 0x01:
        return QStringLiteral("Home");
    case 0xF72B:
    case 0x04:
        return QStringLiteral("End");
    case 0xF72C:
    case 0x0B:
        return QStringLiteral("Page Up");
    case 0xF72D:
    case 0x0C:
        return QStringLiteral("Page Down");
    case 0x03:
        return QStringLiteral("Return");
    case 0x09:
        return QStringLiteral("Tab");
    case 0x19:
        return QStringLiteral("Backtab");
    case 0x0D:
        return QStringLiteral("Enter");
    case 0x08:
        return QStringLiteral("Backspace");
    case 0x7F:
        return QStringLiteral("Delete");
    case 0x1B:
        return QStringLiteral("Escape");
    case 0x20:
        return QStringLiteral("Space");
    default:
        return QString();
    }
}

QString BMShortcutKeyNames::stringForKeyCode(int keycode, int modifierFlags) {
    const KeyEntry* entry = entryForKeyCode(keycode);
    if (!entry) {
        BMLog::appendLog(QStringLiteral("Couldn't find a translation for the '%1' key code").arg(keycode));
        return QString();
    }
    if (entry->text)
        return QString::fromLatin1(entry->text);
    const char16_t character = (modifierFlags & ShortcutModifier::shift) ? entry->shifted : entry->plain;
    const QString name = glyphName(character);
    return name.isNull() ? QString(QChar(character)) : name;
}

QString BMShortcutKeyNames::nameForKeyCode(int keycode, int modifiers) {
    const QString text = stringForKeyCode(keycode, 0);
    if (text.isEmpty())
        return QString();
    QString name;
    if (modifiers & ShortcutModifier::control)
        name += QStringLiteral("Ctrl+");
    if (modifiers & ShortcutModifier::shift)
        name += QStringLiteral("Shift+");
    if (modifiers & ShortcutModifier::option)
        name += QStringLiteral("Alt+");
    if (modifiers & ShortcutModifier::command)
        name += QStringLiteral("Cmd+");
    return name + keyText(text);
}

int BMShortcutKeyNames::qtKeyForKeyCode(int keycode) {
    const KeyEntry* entry = entryForKeyCode(keycode);
    return entry ? entry->qtKey : 0;
}

int BMShortcutKeyNames::keyCodeForQtKey(int qtKey) {
    for (const KeyEntry& entry : keyTable) {
        if (entry.qtKey == qtKey)
            return entry.keycode;
    }
    return -1;
}

int BMShortcutKeyNames::qtModifiersForMask(int modifiers) {
    int flags = 0;
    if (modifiers & ShortcutModifier::command)
        flags |= Qt::ControlModifier;
    if (modifiers & ShortcutModifier::control)
        flags |= Qt::MetaModifier;
    if (modifiers & ShortcutModifier::shift)
        flags |= Qt::ShiftModifier;
    if (modifiers & ShortcutModifier::option)
        flags |= Qt::AltModifier;
    return flags;
}

int BMShortcutKeyNames::maskForQtModifiers(int qtModifiers) {
    return ((qtModifiers & Qt::ControlModifier) ? ShortcutModifier::command : 0) +
           ((qtModifiers & Qt::MetaModifier) ? ShortcutModifier::control : 0) +
           ((qtModifiers & Qt::ShiftModifier) ? ShortcutModifier::shift : 0) +
           ((qtModifiers & Qt::AltModifier) ? ShortcutModifier::option : 0);
}

BMShortcutKeyTableDelegate& BMShortcutKeyTableDelegate::sharedController() {
    static BMShortcutKeyTableDelegate* shared = new BMShortcutKeyTableDelegate;
    return *shared;
}

QString BMShortcutKeyTableDelegate::watchListPath() {
    return PathText::appendingComponent(BMLocalPaths::prefsDirectory(true), watchListFileName());
}

QString BMShortcutKeyTableDelegate::keyManagerPath() {
    const QString support = BMLocalPaths::appSupportDirectory(false);
    if (support.isEmpty())
        return QString();
    return PathText::appendingComponent(support,
                                        QStringLiteral("Brightmoor/Shared Resources/BMShortcutKeyManager"));
}

bool BMShortcutKeyTableDelegate::keyManagerExists() {
    const QString path = keyManagerPath();
    return !path.isEmpty() && QFileInfo::exists(path);
}

void BMShortcutKeyTableDelegate::setCommandListPath(const QString& path) {
    m_commandListPath = path;
}

QString BMShortcutKeyTableDelegate::commandListPath() const {
    return m_commandListPath;
}

QMap<QString, QPair<int, int>> BMShortcutKeyTableDelegate::storedShortcuts() {
    QMap<QString, QPair<int, int>> shortcuts;
    for (const QVariant& item : readWatchList()) {
        const QVariantMap entry = item.toMap();
        if (entry.value(QStringLiteral("bundleid")).toString() != bundleIdentifier())
            continue;
        shortcuts.insert(entry.value(QStringLiteral("commandid")).toString(),
                         {entry.value(QStringLiteral("keycode")).toInt(),
                          entry.value(QStringLiteral("modifiers")).toInt()});
    }
    return shortcuts;
}

void BMShortcutKeyTableDelegate::populateKeyData() {
    m_commands.clear();
    const std::optional<QVariantMap> list = PlistFile::readDictionary(m_commandListPath);
    if (!list) {
        BMLog::appendLog(QStringLiteral("Unable to read the command list %1").arg(m_commandListPath));
        return;
    }
    const QMap<QString, QPair<int, int>> stored = storedShortcuts();
    for (const QVariant& item : list->value(QStringLiteral("BMKeys")).toList()) {
        QVariantMap command = item.toMap();
        const auto found = stored.constFind(command.value(QStringLiteral("id")).toString());
        if (found != stored.cend()) {
            command.insert(QStringLiteral("keycode"), found->first);
            command.insert(QStringLiteral("modifiers"), found->second);
            const QString name = BMShortcutKeyNames::nameForKeyCode(found->first, found->second);
            command.insert(QStringLiteral("keyname"), name.isEmpty() ? QStringLiteral("Unknown") : name);
        }
        m_commands << command;
    }
}

void BMShortcutKeyTableDelegate::postReload() {
    // The key manager listens on the session bus; without a bus there is nobody to tell. The
    // bus is the one the environment names now (the process-wide session connection keeps
    // the first address it was given).
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    QDBusConnection bus = address.isEmpty()
                              ? QDBusConnection::sessionBus()
                              : QDBusConnection::connectToBus(
                                    address, QStringLiteral("vestry-shortcut-keys-%1").arg(qHash(address)));
    if (bus.isConnected())
        bus.send(QDBusMessage::createSignal(reloadPath(), reloadInterface(), reloadSignal()));
}

bool BMShortcutKeyTableDelegate::writeAndReload(const QVariantList& entries, QString* error) {
    const std::optional<QVariantMap> existing = PlistFile::readDictionary(watchListPath());
    QVariantMap file = existing.value_or(QVariantMap());
    file.insert(QStringLiteral("watchlist"), entries);
    QString cause;
    if (!PlistFile::writeXml(watchListPath(), file, &cause)) {
        const QString text =
            QStringLiteral("Unable to write the shortcut keys to %1: %2").arg(watchListPath(), cause);
        BMLog::appendLogAndPrint(text);
        if (error)
            *error = text;
        return false;
    }

    postReload();

    if (keyManagerExists())
        BMTaskEx::runTaskWithTimeout(keyManagerPath(), {QStringLiteral("-setup")}, 10.0);
    else
        BMLog::appendLogAndPrint(keyManagerMissingMessage());
    return true;
}

bool BMShortcutKeyTableDelegate::setKeyboardShortcut(const QString& commandId, const QVariant& params,
                                                     int keycode, bool shift, bool cmd, bool opt, bool ctrl,
                                                     QString* error) {
    QVariantList entries;
    for (const QVariant& item : readWatchList()) {
        const QVariantMap entry = item.toMap();
        if (isOurs(entry, commandId) && entry.value(QStringLiteral("commandparams")) == params)
            continue;
        entries << item;
    }
    QVariantMap entry{
        {QStringLiteral("bundleid"), bundleIdentifier()},
        {QStringLiteral("keycode"), keycode},
        {QStringLiteral("modifiers"), CapturedKey{keycode, shift, ctrl, opt, cmd}.modifiers()},
        {QStringLiteral("commandid"), commandId},
    };
    if (params.isValid())
        entry.insert(QStringLiteral("commandparams"), params);
    entries << entry;
    return writeAndReload(entries, error);
}

bool BMShortcutKeyTableDelegate::clearKeyboardShortcut(const QString& commandId, QString* error) {
    QVariantList entries;
    for (const QVariant& item : readWatchList()) {
        if (!isOurs(item.toMap(), commandId))
            entries << item;
    }
    return writeAndReload(entries, error);
}

void BMShortcutKeyTableDelegate::keyChanged(const CapturedKey& key) {
    if (m_selectedRow < 0 || m_selectedRow >= m_commands.size())
        return;
    QVariantMap& command = m_commands[m_selectedRow];
    QString error;
    // The row shows only what the watch list holds.
    if (!setKeyboardShortcut(command.value(QStringLiteral("id")).toString(), QVariant(), key.keycode,
                             key.shift, key.cmd, key.opt, key.ctrl, &error)) {
        Q_EMIT problem(error);
        return;
    }
    const QString name = BMShortcutKeyNames::nameForKeyCode(key.keycode, key.modifiers());
    command.insert(QStringLiteral("keyname"), name.isEmpty() ? QStringLiteral("Unknown") : name);
    command.insert(QStringLiteral("keycode"), key.keycode);
    command.insert(QStringLiteral("modifiers"), key.modifiers());
    Q_EMIT shortcutsChanged();
}

void BMShortcutKeyTableDelegate::keyCleared() {
    if (m_selectedRow < 0 || m_selectedRow >= m_commands.size())
        return;
    QVariantMap& command = m_commands[m_selectedRow];
    QString error;
    if (!clearKeyboardShortcut(command.value(QStringLiteral("id")).toString(), &error)) {
        Q_EMIT problem(error);
        return;
    }
    command.remove(QStringLiteral("keyname"));
    command.remove(QStringLiteral("keycode"));
    command.remove(QStringLiteral("modifiers"));
    Q_EMIT shortcutsChanged();
}
