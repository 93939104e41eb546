#include "TempHome.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/PlistFile.h"
#include "support/BMShortcutKeys.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

namespace {

constexpr int keyA = 38, keyF5 = 71, keyUp = 111;

TEST(ShortcutKeyCapture, ABareKeyBecomesShiftCommand) {
    const CapturedKey bare = CapturedKey::fromPress(0x10000 + keyF5, false, false, false, false);
    EXPECT_EQ(bare.modifiers(), 768); // 16 bits of the code, Shift+Command
    EXPECT_EQ(BMShortcutKeyNames::nameForKeyCode(bare.keycode, bare.modifiers()), "Shift+Cmd+F5");

    // Any one modifier held is taken as it is.
    const CapturedKey control = CapturedKey::fromPress(keyA, false, true, false, false);
    EXPECT_EQ(control.modifiers(), 4096);
    EXPECT_EQ(CapturedKey::fromPress(keyA, false, false, true, false).modifiers(), 2048);
    EXPECT_EQ(CapturedKey::fromPress(keyA, true, true, true, true).modifiers(), 256 + 512 + 2048 + 4096);
}

TEST(ShortcutKeyNames, PrefixesInTheirOrderAndTheGlyphTable) {
    EXPECT_EQ(BMShortcutKeyNames::nameForKeyCode(keyA, 4096 + 512), "Ctrl+Shift+A");
    EXPECT_EQ(BMShortcutKeyNames::nameForKeyCode(keyA, 256 + 512 + 2048 + 4096), "Ctrl+Shift+Alt+Cmd+A");
    EXPECT_EQ(BMShortcutKeyNames::nameForKeyCode(keyUp, 256), "Cmd+Up Arrow");
    EXPECT_EQ(BMShortcutKeyNames::stringForKeyCode(keyA, 0), "a");
    EXPECT_EQ(BMShortcutKeyNames::stringForKeyCode(10, 512), "!");

    const QList<std::pair<int, const char*>> keys{
        {111, "Up Arrow"}, {116, "Down Arrow"}, {113, "Left Arrow"}, {114, "Right Arrow"}, {110, "Home"},
        {115, "End"},      {112, "Page Up"},    {117, "Page Down"},  {104, "Return"},      {36, "Enter"},
        {23, "Tab"},       {22, "Backspace"},   {119, "Delete"},     {9, "Escape"},        {65, "Space"},
    };
    for (const auto& [keycode, name] : keys)
        EXPECT_EQ(BMShortcutKeyNames::stringForKeyCode(keycode, 0), name) << keycode;
    EXPECT_EQ(BMShortcutKeyNames::stringForKeyCode(23, 512), "Backtab");
    // The function-key characters of the table name the same keys.
    const QList<std::pair<char16_t, const char*>> glyphs{
        {0xF700, "Up Arrow"}, {0xF701, "Down Arrow"}, {0xF702, "Left Arrow"}, {0xF703, "Right Arrow"},
        {0xF729, "Home"},     {0xF72B, "End"},        {0xF72C, "Page Up"},    {0xF72D, "Page Down"},
    };
    for (const auto& [glyph, name] : glyphs)
        EXPECT_EQ(BMShortcutKeyNames::glyphName(glyph), name) << int(glyph);
    EXPECT_TRUE(BMShortcutKeyNames::glyphName(u'a').isNull());
}

class ShortcutWatchList : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog(QStringLiteral("Vestry"));
        // No bus unless a test starts one.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + QFile::encodeName(home().root()) + "/no-bus");
        BMShortcutKeyTableDelegate& delegate = BMShortcutKeyTableDelegate::sharedController();
        PlistFile::writeXml(
            home().root() + "/BMKeys.plist",
            QVariantMap{
                {"BMKeys", QVariantList{QVariantMap{{"id", "open"}, {"description", "Open"}},
                                        QVariantMap{{"id", "refresh"}, {"description", "Refresh"}}}}});
        delegate.setCommandListPath(home().root() + "/BMKeys.plist");
        delegate.setSelectedRow(-1);
    }
    void TearDown() override {
        if (m_bus.state() != QProcess::NotRunning) {
            m_bus.kill();
            m_bus.waitForFinished(5000);
        }
        TempHomeTest::TearDown();
    }

    static QVariantList watchList() {
        return PlistFile::readDictionary(BMShortcutKeyTableDelegate::watchListPath())
            .value_or(QVariantMap())
            .value("watchlist")
            .toList();
    }

    QProcess m_bus;
};

TEST_F(ShortcutWatchList, AnotherKeyReplacesTheEntryOtherApplicationsStayAsTheyWereAndTheKeyManagerIsRun) {
    const QString path = BMShortcutKeyTableDelegate::watchListPath();
    EXPECT_EQ(path, BMLocalPaths::prefsDirectory(true) + "/com.brightmoor.shortcutkeys.plist");
    const QVariantMap other{
        {"bundleid", "com.brightmoor.Other"}, {"commandid", "open"}, {"keycode", 5}, {"modifiers", 256}};
    PlistFile::writeXml(path, QVariantMap{{"watchlist", QVariantList{other}}});

    ASSERT_TRUE(BMShortcutKeyTableDelegate::setKeyboardShortcut("open", {}, keyA, true, true, false, false));
    ASSERT_TRUE(BMShortcutKeyTableDelegate::setKeyboardShortcut("open", {}, keyF5, false, true, true, true));
    ASSERT_TRUE(
        BMShortcutKeyTableDelegate::setKeyboardShortcut("open", "x", keyUp, false, true, false, false));
    const QVariantMap ours{{"bundleid", "com.brightmoor.Vestry"},
                           {"commandid", "open"},
                           {"keycode", keyF5},
                           {"modifiers", 256 + 2048 + 4096}};
    QVariantMap withParams = ours;
    withParams.insert({{"keycode", keyUp}, {"modifiers", 256}, {"commandparams", "x"}});
    EXPECT_EQ(watchList(), (QVariantList{other, ours, withParams}));

    ASSERT_TRUE(BMShortcutKeyTableDelegate::clearKeyboardShortcut("open"));
    EXPECT_EQ(watchList(), QVariantList{other});
    // Without the key manager the list is written all the same, and the log says why.
    EXPECT_TRUE(logText().contains("Unable to setup shortcut keys - shortcut key manager doesn't exist. "
                                   "Please reinstall this software."));
    // Where it is, the key manager is run with "-setup".
    const QString manager = BMShortcutKeyTableDelegate::keyManagerPath();
    ASSERT_TRUE(manager.startsWith(home().machineRoot()));
    home().writeFile(manager, "#!/bin/sh\nprintf '%s\\n' \"$@\" >> \"$0.ran\"\n");
    QFile::setPermissions(manager, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_TRUE(BMShortcutKeyTableDelegate::keyManagerExists());
    ASSERT_TRUE(BMShortcutKeyTableDelegate::setKeyboardShortcut("open", {}, keyA, true, true, false, false));
    EXPECT_EQ(readFile(manager + ".ran"), "-setup\n");
}

TEST_F(ShortcutWatchList, TheSelectedRowTakesTheKeyAndClearingRemovesIt) {
    BMShortcutKeyTableDelegate& delegate = BMShortcutKeyTableDelegate::sharedController();
    BMShortcutKeyTableDelegate::setKeyboardShortcut("refresh", {}, 250, true, false, false, false);
    delegate.populateKeyData();
    ASSERT_EQ(delegate.commands().size(), 2);
    EXPECT_EQ(delegate.commands()[1].value("keyname"), "Unknown") << "a code no layout knows";
    EXPECT_FALSE(delegate.commands()[0].contains("keyname"));

    delegate.keyChanged(CapturedKey::fromPress(keyF5, false, false, false, false));
    EXPECT_EQ(watchList().size(), 1) << "no row selected: nothing changes";

    delegate.setSelectedRow(0);
    delegate.keyChanged(CapturedKey::fromPress(keyF5, false, false, false, false));
    EXPECT_EQ(delegate.commands()[0].value("keyname"), "Shift+Cmd+F5");
    EXPECT_EQ(BMShortcutKeyTableDelegate::storedShortcuts().value("open"), qMakePair(keyF5, 768));

    delegate.keyCleared();
    EXPECT_FALSE(delegate.commands()[0].contains("keyname"));
    EXPECT_FALSE(BMShortcutKeyTableDelegate::storedShortcuts().contains("open"));
    EXPECT_TRUE(BMShortcutKeyTableDelegate::storedShortcuts().contains("refresh"));
}

TEST_F(ShortcutWatchList, AListThatCannotBeWrittenLeavesTheRowAsItWasAndSaysWhy) {
    BMShortcutKeyTableDelegate& delegate = BMShortcutKeyTableDelegate::sharedController();
    delegate.populateKeyData();
    QDir().mkpath(BMShortcutKeyTableDelegate::watchListPath());
    QString told;
    const QMetaObject::Connection connection =
        QObject::connect(&delegate, &BMShortcutKeyTableDelegate::problem, &delegate,
                         [&told](const QString& text) { told = text; });
    delegate.setSelectedRow(0);
    delegate.keyChanged(CapturedKey::fromPress(keyF5, false, false, false, false));
    QObject::disconnect(connection);
    EXPECT_FALSE(delegate.commands()[0].contains("keyname"));
    EXPECT_TRUE(told.contains(BMShortcutKeyTableDelegate::watchListPath())) << told.toStdString();
}

TEST_F(ShortcutWatchList, TheReloadSignalReachesTheSessionBus) {
    const QString daemon = QStandardPaths::findExecutable("dbus-daemon");
    const QString monitor = QStandardPaths::findExecutable("dbus-monitor");
    if (daemon.isEmpty() || monitor.isEmpty())
        GTEST_SKIP() << "dbus-daemon or dbus-monitor is not installed";
    m_bus.start(daemon, {"--session", "--nofork", "--print-address=1"});
    ASSERT_TRUE(m_bus.waitForReadyRead(10000));
    const QByteArray address = m_bus.readLine().trimmed();
    ASSERT_FALSE(address.isEmpty());
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);

    QProcess listener;
    listener.start(monitor, {"--address", QString::fromUtf8(address),
                             "type='signal',interface='com.brightmoor.ShortcutKeys'"});
    ASSERT_TRUE(listener.waitForStarted(5000));
    QByteArray heard;
    const auto hear = [&](const char* what) {
        for (QDeadlineTimer deadline(10000); !heard.contains(what) && !deadline.hasExpired();) {
            listener.waitForReadyRead(200);
            heard += listener.readAll();
        }
    };
    hear("NameAcquired"); // the monitor announces itself on the bus before it hears anything
    ASSERT_TRUE(BMShortcutKeyTableDelegate::setKeyboardShortcut("open", {}, keyA, true, true, false, false));
    hear("member=BMShortcutKeysReload");
    listener.kill();
    listener.waitForFinished(5000);
    EXPECT_TRUE(heard.contains("path=/com/brightmoor/ShortcutKeys; interface=com.brightmoor.ShortcutKeys; "
                               "member=BMShortcutKeysReload"))
        << heard.constData();
}

} // namespace
