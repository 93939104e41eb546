// What discovery and the folder scan write to the log, line by line, and the method names
// under which their failures are logged.
#include "CatalogueTestSupport.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "catalogue/LocationDiscovery.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"
#include "support/LogLines.h"

#include <QFile>

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

class CatalogueLogLines;
using LogRow = LogLinesRow<CatalogueLogLines>;

class CatalogueLogLines : public CatalogueTest::LoggedHomeTest, public ::testing::WithParamInterface<LogRow> {
public:
    using LoggedHomeTest::home;
    void SetUp() override {
        LoggedHomeTest::SetUp();
        // Never the machine's own index: only the stand-in a row sets up.
        home().platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
        home().platform().setToolPath(Tool::Locate, home().root() + "/missing/locate");
    }
    static BMSettings& settings() { return BMSettings::standard(); }
    // A location holding one project, at a path in the home or at an absolute one.
    QString location(const QString& path) {
        const QString absolute = path.startsWith('/') ? path : home().home() + '/' + path;
        home().writeFile(absolute + "/Titles/Titles-1.prproj", "x");
        return absolute;
    }
    // A name search that prints this path for every query.
    void nameSearchFinds(const QString& path) {
        const QString tool =
            home().writeFile("tools/locate", "#!/bin/sh\nprintf '%s\\0' '" + path.toUtf8() + "'\n");
        QFile::setPermissions(tool, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        home().platform().setToolPath(Tool::Locate, tool);
    }
    LocationDiscovery::Outcome search(LocationDiscovery::WindowHooks hooks = {}) {
        LocationDiscovery discovery(settings());
        discovery.setWindowHooks(std::move(hooks));
        return discovery.searchForNewPaths();
    }
    std::optional<BMProjectList> scan(const QString& folder) {
        return AutosaveFolderScanner(settings()).projectsFromFolder(folder);
    }
    // Scans as nobody, who may pass through the test's folders, with the folder at `relative`
    // in the location given these permissions.
    void scanAsNobody(const QString& folder, const QString& relative, QFile::Permissions permissions) {
        // Already set: the scan would otherwise try to save it as nobody.
        settings().setValue(SettingsKey::autosaveFolder, folder);
        QFile::setPermissions(home().root(), QFile::permissions(home().root()) | QFile::ExeOther);
        QFile::setPermissions(folder + '/' + relative, permissions);
        if (!runAsNobody([&] { scan(folder); }))
            GTEST_SKIP() << "this thread may not become nobody";
    }
};

const QString kException = QStringLiteral("Exception in %1. std::runtime_error - %2.");

QStringList searching(CatalogueLogLines& test) {
    test.home().platform().applications.insert("com.apple.FinalCutPro", test.home().root() + "/FCP.app");
    test.home().platform().applications.insert("com.apple.FinalCutExpress", test.home().root() + "/FCE.app");
    const QString motion = test.location("Motion/Autosave Vault");
    test.home().writeFile(BMLocalPaths::prefsDirectory(true) + "/com.apple.motion.plist",
                          PlistFile::toXml(QVariantMap{{"OZPreferenceManager::AutosaveVaultPath", motion}}));
    const QString premiere = test.location(BMLocalPaths::documentDirectory(true) +
                                           "/Adobe/Premiere Pro/7.0/Adobe Premiere Pro Auto-Save");
    const QString vault = test.location("Volumes/Edit/Autosave Vault");
    test.nameSearchFinds(vault);
    EXPECT_EQ(test.search().found, (QStringList{motion, premiere, vault}));
    return {"Searching for new autosave paths...",
            "Loading autosave path from FCP preference file...",
            "Loading autosave path from FCE preference file...",
            "Loading autosave path from Motion preference file...",
            "Checking " + motion + " for autosaves...",
            "Found: " + premiere,
            "Checking " + premiere + " for autosaves...",
            "Running a Spotlight search for autosave folders...",
            "Found: " + vault,
            "Checking " + vault + " for autosaves..."};
}

QStringList failedSearch(CatalogueLogLines& test) {
    LocationDiscovery::WindowHooks hooks;
    hooks.isMainWindowKey = []() -> bool { throw std::runtime_error("the window is gone"); };
    EXPECT_TRUE(test.search(hooks).failed);
    return {"Searching for new autosave paths...",
            kException.arg("-[AppController searchForNewPaths]", "the window is gone")};
}

QStringList unreadableLocation(CatalogueLogLines& test) {
    const QString folder = test.location("Adobe Premiere Pro Auto-Save");
    test.scanAsNobody(folder, "", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return {"Checking " + folder + " for autosaves...",
            "Error getting contents of folder " + folder + " - Permission denied"};
}

QStringList unreadableAutosave(CatalogueLogLines& test) {
    const QString folder = test.location("Adobe Premiere Pro Auto-Save");
    // Listed, but nobody may look at what it holds.
    test.scanAsNobody(folder, "Titles", QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther);
    return {"Checking " + folder + " for autosaves...",
            "Error getting attributes of file " + folder + "/Titles/Titles-1.prproj - Permission denied"};
}

QStringList failedScan(CatalogueLogLines& test) {
    const QString folder = test.location("Adobe Premiere Pro Auto-Save");
    QFile::link(folder + "/Titles", folder + "/Link");
    AutosaveFolderScanner scanner(CatalogueLogLines::settings());
    scanner.setWarningHook([](const QString&) { throw std::runtime_error("no one to warn"); });
    EXPECT_FALSE(scanner.projectsFromFolder(folder).has_value());
    return {"Checking " + folder + " for autosaves...",
            kException.arg("-[AppController projectsFromFolder:]", "no one to warn")};
}

} // namespace

TEST_P(CatalogueLogLines, AreWrittenAsTheyRead) {
    const QStringList expected = GetParam().run(*this);
    if (IsSkipped())
        return;
    EXPECT_EQ(loggedOf(expected), expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, CatalogueLogLines,
                         ::testing::Values(LogRow{"Search", searching}, LogRow{"SearchFails", failedSearch},
                                           LogRow{"ScanOfAnUnreadableLocation", unreadableLocation},
                                           LogRow{"ScanOfAnUnreadableAutosave", unreadableAutosave},
                                           LogRow{"ScanFails", failedScan}),
                         byRowName);
