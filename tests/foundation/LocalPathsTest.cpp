#include "TempHome.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMOSDetect.h"

#include <QRegularExpression>

using LocalPaths = TempHomeTest;

// "~/" escapes the exact list (two characters go with a trailing slash); prefixes are text.
TEST_F(LocalPaths, SystemDirectoryGuardRefusesOnlyWhatTheRulesSayAndCoversTheMachineWideFolders) {
    auto refused = [&](const QStringList& paths, bool exact) { // "~": the test's home
        QStringList out;
        for (const QString& path : paths) {
            if (BMLocalPaths::isPathSystemDirectory(QString(path).replace('~', home().home()), exact))
                out << path;
        }
        return out;
    };
    const QStringList exact{"/",     "/Volumes",     "~",          "~/Desktop", "~/.local/share", "/home",
                            "/root", "/usr/local/x", "/etc/passwd"};
    EXPECT_EQ(refused(exact, true), exact.mid(0, 7));
    EXPECT_EQ(refused({"", "/a", "/Volumes/Disk", "~/", "~/Desktop/", "~/Desktop/cut.prproj", "/usr/local/x",
                       "/usrlocal", "/private/var/db", "/Library/", "/usr/local/", "/usr/", "/home/jo",
                       "/opt/app", "/etc/passwd", "/proc/1"},
                      false),
              (QStringList{"/usr/local/x", "/usrlocal", "/private/var/db", "/usr/local/", "/etc/passwd",
                           "/proc/1"}));
    const QStringList machine{BMLocalPaths::prefsDirectory(false), BMLocalPaths::applicationDirectory(false),
                              BMLocalPaths::cacheDirectory(false),
                              BMLocalPaths::cacheDirectory(false) + "/Vestry"};
    EXPECT_EQ(refused(machine, true), machine.mid(0, 3)) << "the machine-wide folders, not what is in them";
}

TEST_F(LocalPaths, UserFoldersFollowTheXdgMapping) {
    const QString h = home().home();
    qputenv("XDG_CONFIG_HOME", "relative/config"); // ignored: not a full path
    using P = BMLocalPaths;
    EXPECT_EQ((QStringList{P::userDirectory(), P::prefsDirectory(true), P::cacheDirectory(true),
                           P::logDirectory(true), P::trashDirectory(), P::launchAgentsDirectory(true),
                           P::prefsDirectory(false), P::username()}),
              (QStringList{h, h + "/.config", h + "/.cache", h + "/.local/state", h + "/.local/share/Trash",
                           h + "/.config/systemd/user", home().machineRoot() + "/etc/xdg", "jo"}));
    EXPECT_TRUE(BMLocalPaths::adminApplicationDirectory(true).isNull());
}

TEST_F(LocalPaths, AsRootTheConsoleUsersFoldersAreMeant) {
    const QString joHome = home().makeFolder("home/jo");
    home().platform().uid = 0;
    home().platform().user = "root";
    home().platform().homes.insert("jo", joHome);
    // The machine-wide domain is nobody's and stays where it is.
    EXPECT_EQ((QStringList{BMLocalPaths::userDirectory(), BMLocalPaths::username(),
                           BMLocalPaths::trashDirectory(), BMLocalPaths::prefsDirectory(false)}),
              (QStringList{joHome, "jo", joHome + "/.local/share/Trash", home().machineRoot() + "/etc/xdg"}));
    EXPECT_TRUE(BMLocalPaths::isActingForConsoleUser());

    // Root at the console is an ordinary user.
    home().platform().console = "root";
    EXPECT_EQ(BMLocalPaths::libraryDirectory(true), home().home() + "/.local/share");
    EXPECT_FALSE(BMLocalPaths::isActingForConsoleUser());

    // With nobody at the console the user's folders are unknown.
    for (const char* console : {"", "loginwindow"}) {
        home().platform().console = console;
        EXPECT_TRUE(BMLocalPaths::currentConsoleUser().isNull() && BMLocalPaths::username().isNull() &&
                    BMLocalPaths::userDirectory().isNull() && BMLocalPaths::libraryDirectory(true).isNull())
            << console;
    }
}

TEST(RootRule, MacTextRuleKeepsItsOffByOneAndLinuxRebasesOnlyWhatLiesInRootsHome) {
    QStringList mac, onLinux;
    // Sixteen characters of the seventeen-character "/private/var/root": the "t" stays.
    for (const char* path : {"/var/root/Library", "/private/var/root/Library", "/Library/Caches"})
        mac << BMLocalPaths::applyMacRootRule(path, "/Users/jo");
    for (const char* path : {"/root/.config", "/root", "/rootless/x", "/srv/state"})
        onLinux << BMLocalPaths::applyLinuxRootRule(path, "/root", "/home/jo");
    EXPECT_EQ(mac, (QStringList{"/Users/jo/Library", "/Users/jo/t/Library", "/Users/jo/Library/Caches"}));
    EXPECT_EQ(onLinux, (QStringList{"/home/jo/.config", "/home/jo", "/rootless/x", "/srv/state"}));
    EXPECT_TRUE(BMLocalPaths::applyMacRootRule("/var/root/Library", QString()).isNull());
    EXPECT_TRUE(BMLocalPaths::applyLinuxRootRule("/root/.config", "/root", QString()).isNull());
}

TEST_F(LocalPaths, RandomStringsAndTempFileNames) {
    const QString text = BMLocalPaths::randomString(200);
    EXPECT_TRUE(text.contains(QRegularExpression("^[a-z0-9]{200}$"))) << text.toStdString();
    // A UUID and eight characters in the temporary folder.
    const QString a = BMLocalPaths::tempFile();
    EXPECT_NE(a, BMLocalPaths::tempFile());
    const QString pattern =
        "^" + QRegularExpression::escape(home().machineRoot()) + "/tmp/[0-9A-F-]{36}[a-z0-9]{8}$";
    EXPECT_TRUE(a.contains(QRegularExpression(pattern))) << a.toStdString();
}

TEST(TimeMachine, OnlyBackupsUnderVolumesCount) {
    EXPECT_TRUE(BMLocalPaths::isPathOnTimeMachineVolume("/Volumes/TM/Backups.backupdb/mac/2014"));
    EXPECT_FALSE(BMLocalPaths::isPathOnTimeMachineVolume("/Backups.backupdb/x"));
    EXPECT_FALSE(BMLocalPaths::isPathOnTimeMachineVolume("/Volumes/TM/Backups.backupdb2/x"));
}

namespace {
using Answers = std::map<std::string, BMOSDetect::GestaltAnswer>;

std::tuple<int, int, int, int> gestaltVersion(Answers answers) {
    const auto ask = [](const char selector[5], void* context) {
        const auto& known = *static_cast<Answers*>(context);
        const auto it = known.find(selector);
        return it == known.end() ? BMOSDetect::GestaltAnswer{-5551, 0} : it->second;
    };
    const auto result = BMOSDetect::versionFromGestalt(ask, &answers);
    return {result.error, result.version.major, result.version.minor, result.version.bugfix};
}
} // namespace

TEST(Gestalt, DecodesBinaryCodedDecimalBelow1040AsksThePartsAboveAndFallsBackTo1050) {
    EXPECT_EQ(gestaltVersion({{"sysv", {0, 0x1039}}}), std::tuple(0, 10, 3, 9));
    EXPECT_EQ(gestaltVersion({{"sysv", {0, 0x1099}}, {"sys1", {0, 10}}, {"sys2", {0, 11}}, {"sys3", {0, 6}}}),
              std::tuple(0, 10, 11, 6));
    EXPECT_EQ(gestaltVersion({{"sysv", {0, 0x1099}}, {"sys1", {0, 10}}}), std::tuple(-5551, 10, 5, 0));
}

TEST_F(LocalPaths, VersionComesFromThePlatform) {
    home().platform().version = OSVersion{12, 4, 1};
    EXPECT_EQ(BMOSDetect::osxVersion(), "12.4.1");
    EXPECT_TRUE(BMOSDetect::isElCapitanOrHigher());
    home().platform().version = std::nullopt;
    testing::internal::CaptureStdout();
    EXPECT_EQ(BMOSDetect::osxVersion(), "10.5.0");
    EXPECT_TRUE(testing::internal::GetCapturedStdout().starts_with("Unable to obtain system version"));
    EXPECT_FALSE(BMOSDetect::isSnowLeopardOrHigher());

    const auto atLeast = [](int major, int minor, int bugfix) {
        return BMOSDetect::versionAtLeast(OSVersion{10, 6, 8}, major, minor, bugfix);
    };
    EXPECT_TRUE(atLeast(10, 6, 8) && atLeast(10, 5, 9) && atLeast(9, 9, 9));
    EXPECT_FALSE(atLeast(10, 6, 9) || atLeast(10, 7, 0) || atLeast(11, 0, 0));
}
