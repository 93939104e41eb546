// Location discovery over real preference files, real folders and a real (or stand-in) index
// of file names.
#include "catalogue/LocationDiscovery.h"

#include "CatalogueTestSupport.h"
#include "editorprefs/BMFCPPrefParser.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/MainThread.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <plist/plist.h>
#include <thread>

using CatalogueTest::logText;

namespace {

QByteArray binaryPlist(const QVariant& value) {
    const QByteArray xml = PlistFile::toXml(value);
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    QByteArray binary(bytes, qsizetype(length));
    plist_to_bin_free(bytes);
    plist_free(root);
    return binary;
}

// A Final Cut preference file naming the vault, as a path of the boot volume "Macintosh HD".
QByteArray fcsetNamingVault(const QString& vault) {
    const QByteArray noise("\x01\x9c\x02\xff", 4);
    return char(13) + QByteArray("autoSaveVault") + noise + "Macintosh HD" +
           vault.toLatin1().replace('/', ':') + noise + QByteArray(32, '\x01');
}

QByteArray premierePrefs(const QString& recentProject) {
    return "<?xml version=\"1.0\"?>\n<PremiereData><Preferences><Properties><BE.Prefs.MRU.Document.0>" +
           recentProject.toUtf8() + "</BE.Prefs.MRU.Document.0></Properties></Preferences></PremiereData>\n";
}

QByteArray premiereProject(const QString& previews) {
    return "<?xml version=\"1.0\"?>\n<PremiereData><ScratchDiskSettings><VideoPreviewLocation>" +
           previews.toUtf8() + "</VideoPreviewLocation></ScratchDiskSettings></PremiereData>\n";
}

} // namespace

class Discovery : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog();
        // Never the machine's own index: only what a test points at.
        home().platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
        home().platform().setToolPath(Tool::Locate, home().root() + "/missing/locate");
        discovery = std::make_unique<LocationDiscovery>(settings());
        discovery->setWindowHooks(recordingHooks());
    }

    static BMSettings& settings() { return BMSettings::standard(); }
    static QStringList stored() { return settings().stringListValue(SettingsKey::autosavePaths); }
    QString disk(const QString& relative) const { return home().root() + "/disk/" + relative; }
    QString write(const QString& path, const QByteArray& contents = "x") const {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size())
            << path.toStdString();
        return path;
    }
    // Autosave folders holding one project each, as the editors leave them.
    QString vault(const QString& path) const {
        write(path + "/Titles/Titles_2026-11-20_1030.motn");
        return path;
    }
    QString premiereFolder(const QString& path) const {
        write(path + "/Cut-1.prproj");
        return path;
    }
    QString library(const QString& path) const {
        write(path + "/Day One/Backups/Day One 2026-11-20.fcpevent");
        return path;
    }
    void installFinalCut(const char* identifier, const QString& name, const QString& version) {
        const QString app = home().root() + "/Apps/" + name + ".app";
        write(app + "/Contents/Info.plist",
              PlistFile::toXml(QVariantMap{{"CFBundleShortVersionString", version}}));
        home().platform().applications.insert(identifier, app);
    }
    QString preferences() const { return BMLocalPaths::prefsDirectory(true); }
    void writeMotionPrefs(const QVariant& vaultPath, bool binary) const {
        const QVariantMap prefs{{"OZPreferenceManager::AutosaveVaultPath", vaultPath}, {"OZRecentFiles", 3}};
        write(preferences() + "/com.apple.motion.plist",
              binary ? binaryPlist(prefs) : PlistFile::toXml(prefs));
    }
    // A search tool that prints these paths for every query and notes each query's pattern.
    void standInTool(const QStringList& paths) {
        QByteArray script =
            "#!/bin/sh\nfor a; do last=$a; done\necho \"$last\" >> \"$0.queries\"\nprintf '%s\\0'";
        for (const QString& path : paths)
            script += " '" + path.toUtf8() + "'";
        const QString tool = write(home().root() + "/tools/locate", script + "\n");
        QFile::setPermissions(tool, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        home().platform().setToolPath(Tool::Locate, tool);
    }
    QStringList toolQueries() const {
        QFile file(home().root() + "/tools/locate.queries");
        return file.open(QIODevice::ReadOnly)
                   ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts)
                   : QStringList();
    }
    LocationDiscovery::WindowHooks recordingHooks() {
        LocationDiscovery::WindowHooks hooks;
        hooks.isMainWindowKey = [this] { return record("key?"), windowIsKey; };
        hooks.showProgress = [this] { record("show"); };
        hooks.endProgress = [this] { record("end"); };
        hooks.populateDataNoSave = [this] { record("rebuild"); };
        hooks.autosaveFolderStored = [this](const QString& folder) { record("folder " + folder); };
        return hooks;
    }
    void record(const QString& call) {
        std::lock_guard lock(callsMutex);
        calls << call;
    }
    static void expectLogInOrder(const QStringList& lines) {
        const QString log = logText();
        qsizetype at = 0;
        for (const QString& line : lines) {
            const qsizetype found = log.indexOf(line, at);
            ASSERT_GE(found, 0) << "missing or out of order: " << line.toStdString() << "\n"
                                << log.toStdString();
            at = found + line.size();
        }
    }

    std::unique_ptr<LocationDiscovery> discovery;
    bool windowIsKey = false;
    std::mutex callsMutex;
    QStringList calls;
};

TEST_F(Discovery, StoresWhatEachSourceFindsInTheOrderOfTheSources) {
    const QString old = vault(disk("old/Autosave Vault"));
    settings().setValue(SettingsKey::autosavePaths, QStringList{old});
    installFinalCut("com.apple.FinalCutPro", "Final Cut Pro", "7.0.3");
    installFinalCut("com.apple.FinalCutExpress", "Final Cut Express", "4.0.1");
    const QString fcp = vault(disk("fcp/Autosave Vault"));
    write(preferences() + "/Final Cut Pro User Data/Final Cut Pro 7.0 Prefs.fcset", fcsetNamingVault(fcp));
    const QString fce = vault(disk("fce/Autosave Vault"));
    write(preferences() + "/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset",
          fcsetNamingVault(fce));
    discovery->fcePrefs().loadDataForTypes(QStringList{"autoSaveVault"});
    const QString motion = vault(disk("motion/Autosave Vault"));
    writeMotionPrefs(motion, false);
    const QString project = write(disk("projects/Cut.prproj"), premiereProject(disk("premiere")));
    write(BMLocalPaths::appSupportDirectory(true) + "/Adobe/Premiere Pro/7.0/Adobe Premiere Pro Prefs",
          premierePrefs(project));
    const QString premiere = premiereFolder(disk("premiere/Adobe Premiere Pro Auto-Save"));
    // The tool's order is not the steps' order; duplicates of every source come along.
    const QString spotLibrary = library(disk("spot/Cut.fcpbundle"));
    const QString spotPremiere = premiereFolder(disk("spot/Adobe Premiere Pro Auto-Save"));
    const QString spotVault = vault(disk("spot/Autosave Vault"));
    standInTool({spotLibrary, spotPremiere, old, spotVault, fcp, motion, premiere});

    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    const QStringList added{fcp, fce, motion, premiere, spotVault, spotPremiere, spotLibrary};
    EXPECT_EQ(outcome.found, added);
    EXPECT_EQ(stored(), QStringList{old} + added);
    EXPECT_TRUE(outcome.stored && outcome.nameSearchAvailable && !outcome.failed);
    EXPECT_EQ(calls, (QStringList{"folder " + fcp, "rebuild", "end"})) << "not the first search: no sheet";
    EXPECT_EQ(toolQueries(),
              (QStringList{"*Autosave Vault*", "*Adobe Premiere Pro Auto-Save*", "*.fcpbundle"}));
    expectLogInOrder({"Searching for new autosave paths...",
                      "Loading autosave path from FCP preference file...", "Checking " + fcp,
                      "Loading autosave path from FCE preference file...", "Checking " + fce,
                      "Loading autosave path from Motion preference file...", "Checking " + motion,
                      "Found: " + premiere, "Running a Spotlight search for autosave folders...",
                      "Found: " + spotVault, "Found: " + spotPremiere, "Found: " + spotLibrary});
    for (const QString& quiet : {old, fcp, fce, motion})
        EXPECT_FALSE(logText().contains("Found: " + quiet)) << quiet.toStdString();
    EXPECT_EQ(logText().count("Checking " + premiere), 1) << "a duplicate is not scanned again";
}

TEST_F(Discovery, ExpressTakesWhatItsOwnReaderLastLoadedWhileTheProReaderLoads) {
    installFinalCut("com.apple.FinalCutPro", "Final Cut Pro", "7.0");
    installFinalCut("com.apple.FinalCutExpress", "Final Cut Express", "4.0");
    const QString expressPrefs =
        preferences() + "/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset";
    write(preferences() + "/Final Cut Pro User Data/Final Cut Pro 7.0 Prefs.fcset",
          fcsetNamingVault(vault(disk("fcp/Autosave Vault"))));
    write(expressPrefs, fcsetNamingVault(vault(disk("fce/Autosave Vault"))));
    standInTool({});

    EXPECT_EQ(discovery->searchForNewPaths().found, QStringList{disk("fcp/Autosave Vault")});
    EXPECT_TRUE(discovery->fcpPrefs().dataIsLoaded());
    EXPECT_FALSE(discovery->fcePrefs().dataIsLoaded()) << "the search never loads the Express reader";

    discovery->fcePrefs().loadDataForTypes(QStringList{"autoSaveVault"});
    write(expressPrefs, fcsetNamingVault(vault(disk("later/Autosave Vault"))));
    discovery->searchForNewPaths();
    EXPECT_EQ(stored(), (QStringList{disk("fcp/Autosave Vault"), disk("fce/Autosave Vault")}));
}

struct CandidateRow {
    const char* rowName;
    QStringList before; // "@" stands for the test's disk folder
    QString candidate;
    bool accepted;
    bool scanned;
};

class DiscoveryCandidate : public Discovery, public ::testing::WithParamInterface<CandidateRow> {
protected:
    QString onDisk(QString text) const { return text.replace("@", disk("")); }
};

// Motion's preference file names one candidate; the name search is there but finds nothing.
TEST_P(DiscoveryCandidate, IsTestedInOrderAndAppendedWhenAccepted) {
    vault(disk("v/Autosave Vault"));
    write(disk("e/Autosave Vault/Titles/notes.txt"));
    vault(disk("l/autosave vault"));
    write(disk("f/Autosave Vault"));
    QDir().mkpath(disk("k"));
    QFile::link(disk("v/Autosave Vault"), disk("k/Autosave Vault"));
    QStringList before;
    for (const QString& entry : GetParam().before)
        before << onDisk(entry);
    if (!before.isEmpty())
        settings().setValue(SettingsKey::autosavePaths, before);
    const QString candidate = onDisk(GetParam().candidate);
    writeMotionPrefs(candidate, true);
    standInTool({});

    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    EXPECT_EQ(stored(), GetParam().accepted ? before + QStringList{candidate} : before);
    EXPECT_EQ(outcome.stored, GetParam().accepted);
    EXPECT_EQ(calls.contains("rebuild"), GetParam().accepted);
    EXPECT_EQ(logText().contains("Checking " + candidate + " for autosaves..."), GetParam().scanned);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DiscoveryCandidate,
    ::testing::Values(
        CandidateRow{"EmptyText", {}, "", false, false},
        CandidateRow{"Missing", {}, "@gone/Autosave Vault", false, false},
        CandidateRow{"AFileNotAFolder", {}, "@f/Autosave Vault", false, false},
        CandidateRow{"AlreadyStored", {"@v/Autosave Vault"}, "@v/Autosave Vault", false, false},
        CandidateRow{"VaultWithoutProjects", {}, "@e/Autosave Vault", false, true},
        CandidateRow{"LowerCaseNameIsNoVault", {}, "@l/autosave vault", false, true},
        CandidateRow{"TrailingSlashIsNoVault", {"@v/Autosave Vault"}, "@v/Autosave Vault/", false, true},
        CandidateRow{
            "StoredWithSlashComesAgainWithout", {"@v/Autosave Vault/"}, "@v/Autosave Vault", true, true},
        CandidateRow{"LinkToAStoredVault", {"@v/Autosave Vault"}, "@k/Autosave Vault", true, true},
        CandidateRow{"NewVault", {}, "@v/Autosave Vault", true, true}),
    [](const auto& info) { return std::string(info.param.rowName); });

TEST_F(Discovery, WithoutTheNameSearchScansButStoresNothing) {
    writeMotionPrefs(vault(disk("motion/Autosave Vault")), false);
    const QString premiere = premiereFolder(BMLocalPaths::documentDirectory(true) +
                                            "/Adobe/Premiere Pro/7.0/Adobe Premiere Pro Auto-Save");
    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    EXPECT_EQ(outcome.found, (QStringList{disk("motion/Autosave Vault"), premiere}));
    EXPECT_FALSE(outcome.stored || outcome.nameSearchAvailable);
    EXPECT_FALSE(settings().hasValue(SettingsKey::autosavePaths));
    EXPECT_EQ(calls, QStringList({"key?", "folder " + disk("motion/Autosave Vault"), "end"}));
    EXPECT_TRUE(logText().contains("Found: " + premiere));
    EXPECT_FALSE(logText().contains("Running a Spotlight search"));
}

TEST_F(Discovery, AFolderWithoutProjectsIsTestedAgainOnTheNextSearch) {
    const QString premiere =
        BMLocalPaths::documentDirectory(true) + "/Adobe/Premiere Pro/7.0/Adobe Premiere Pro Auto-Save";
    QDir().mkpath(premiere);
    standInTool({});
    EXPECT_TRUE(discovery->searchForNewPaths().found.isEmpty());
    EXPECT_TRUE(stored().isEmpty());
    premiereFolder(premiere);
    EXPECT_EQ(discovery->searchForNewPaths().found, QStringList{premiere});
    EXPECT_EQ(stored(), QStringList{premiere});
    EXPECT_EQ(logText().count("Found: " + premiere), 2);
}

TEST_F(Discovery, FindsLocationsInARealIndex) {
    if (!QFileInfo(QStringLiteral("/usr/bin/updatedb")).isExecutable() ||
        !QFileInfo(QStringLiteral("/usr/bin/plocate")).isExecutable())
        GTEST_SKIP() << "plocate is not installed";
    vault(disk("a/Autosave Vault"));
    vault(disk("b/autosave vault"));
    premiereFolder(disk("c/Adobe Premiere Pro Auto-Save"));
    library(disk("d/Cut.fcpbundle"));
    QDir().mkpath(disk("e/Empty.fcpbundle"));
    write(disk("g/Autosave Vault")); // a file
    const QString index = home().root() + "/index.db";
    QProcess updatedb;
    updatedb.start("/usr/bin/updatedb", {"-U", disk(""), "-o", index, "--prunepaths", "", "--prunefs", "",
                                         "--prunenames", "", "-l", "0"});
    ASSERT_TRUE(updatedb.waitForFinished(60000));
    ASSERT_EQ(updatedb.exitCode(), 0) << updatedb.readAllStandardError().toStdString();
    home().platform().locateDatabasePath = index;
    home().platform().setToolPath(Tool::Plocate, "/usr/bin/plocate");

    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    EXPECT_EQ(outcome.found, (QStringList{disk("a/Autosave Vault"), disk("c/Adobe Premiere Pro Auto-Save"),
                                          disk("d/Cut.fcpbundle")}));
    EXPECT_EQ(stored(), outcome.found);
    EXPECT_EQ(calls.count("rebuild"), 1);
    // Passes the case-blind filter, then the scan wants the exact name.
    expectLogInOrder({"Found: " + disk("b/autosave vault"), "Checking " + disk("b/autosave vault")});
    EXPECT_TRUE(logText().contains("Found: " + disk("e/Empty.fcpbundle")));
    EXPECT_FALSE(logText().contains("Found: " + disk("g/")));
}

struct SheetRow {
    const char* rowName;
    bool stored;
    int key; // 0 not key, 1 key, 2 the question fails
    QStringList calls;
};

class DiscoverySheet : public Discovery, public ::testing::WithParamInterface<SheetRow> {};

TEST_P(DiscoverySheet, ShowsOnlyForAFirstSearchWhileKeyAndAlwaysEnds) {
    const QString motion = vault(disk("motion/Autosave Vault"));
    writeMotionPrefs(motion, false);
    if (GetParam().stored)
        settings().setValue(SettingsKey::autosavePaths, QStringList{vault(disk("old/Autosave Vault"))});
    windowIsKey = GetParam().key == 1;
    LocationDiscovery::WindowHooks hooks = recordingHooks();
    hooks.autosaveFolderStored = nullptr;
    hooks.populateDataNoSave = nullptr;
    if (GetParam().key == 2)
        hooks.isMainWindowKey = [this]() -> bool {
            record("key?");
            throw std::runtime_error("the window is gone");
        };
    discovery->setWindowHooks(hooks);
    standInTool({});

    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    EXPECT_EQ(calls, GetParam().calls);
    EXPECT_EQ(outcome.failed, GetParam().key == 2);
    EXPECT_EQ(stored().contains(motion), GetParam().key != 2);
    EXPECT_EQ(logText().contains("Exception in -[AppController searchForNewPaths]. std::runtime_error - the "
                                 "window is gone."),
              GetParam().key == 2)
        << logText().toStdString();
}

INSTANTIATE_TEST_SUITE_P(Rows, DiscoverySheet,
                         ::testing::Values(SheetRow{"FirstSearchWhileKey", false, 1, {"key?", "show", "end"}},
                                           SheetRow{"FirstSearchInTheBackground", false, 0, {"key?", "end"}},
                                           SheetRow{"LaterSearchWhileKey", true, 1, {"end"}},
                                           SheetRow{"QuestionFails", false, 2, {"key?", "end"}}),
                         [](const auto& info) { return std::string(info.param.rowName); });

TEST_F(Discovery, AsksTheWindowOnTheMainThreadAndStartsTheRebuildFromTheSearch) {
    writeMotionPrefs(vault(disk("motion/Autosave Vault")), false);
    standInTool({});
    windowIsKey = true;
    auto where = [] {
        return MainThread::isCurrent() ? QStringLiteral(" on main") : QStringLiteral(" on worker");
    };
    LocationDiscovery::WindowHooks hooks;
    hooks.isMainWindowKey = [&] { return record("key?" + where()), true; };
    hooks.showProgress = [&] { record("show" + where()); };
    hooks.endProgress = [&] { record("end" + where()); };
    hooks.populateDataNoSave = [&] { record("rebuild" + where()); };
    discovery->setWindowHooks(hooks);
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    auto search = std::async(std::launch::async, [this] { return discovery->searchForNewPaths(); });
    while (search.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    MainThread::setDispatch(MainThread::Dispatch::Inline);
    EXPECT_TRUE(search.get().stored);
    EXPECT_EQ(calls, (QStringList{"key? on main", "show on main", "rebuild on worker", "end on main"}));
}

// Each search writes the list it read plus what it found, so the later write wins.
TEST_F(Discovery, OverlappingSearchesWriteTheirOwnListsAndTheLaterWins) {
    const QString first = vault(disk("first/Autosave Vault"));
    standInTool({first, disk("second/Autosave Vault")});
    std::promise<void> release;
    std::atomic<int> questions{0};
    LocationDiscovery::WindowHooks hooks;
    hooks.isMainWindowKey = [&, wait = release.get_future().share()] {
        if (questions++ == 0)
            wait.wait();
        return false;
    };
    discovery->setWindowHooks(hooks);
    auto early = std::async(std::launch::async, [this] { return discovery->searchForNewPaths(); });
    while (questions.load() == 0)
        std::this_thread::yield();
    EXPECT_EQ(discovery->searchForNewPaths().found, QStringList{first});
    EXPECT_EQ(stored(), QStringList{first});
    ASSERT_TRUE(QDir(disk("first")).removeRecursively());
    vault(disk("second/Autosave Vault"));
    release.set_value();
    EXPECT_EQ(early.get().found, QStringList{disk("second/Autosave Vault")});
    EXPECT_EQ(stored(), QStringList{disk("second/Autosave Vault")}) << "the first search's entry is lost";
}
