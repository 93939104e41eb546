// Location discovery over real preference files, real folders and a stand-in name search (the
// real index is used by the command line's tests).
#include "catalogue/LocationDiscovery.h"

#include "CatalogueTestSupport.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "catalogue/CatalogueLocations.h"
#include "editorprefs/BMFCPPrefParser.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/MainThread.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"
#include "support/BinaryPlist.h"
#include "support/Gzip.h"
#include "support/LogLines.h"
#include "support/Tmpfs.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

class Discovery : public CatalogueTest::DiscoveryHomeTest {
protected:
    void SetUp() override {
        DiscoveryHomeTest::SetUp();
        discovery = std::make_unique<LocationDiscovery>(settings());
        discovery->setWindowHooks(recordingHooks());
    }

    static BMSettings& settings() { return BMSettings::standard(); }
    static QStringList stored() { return settings().stringListValue(SettingsKey::autosavePaths); }
    QString disk(const QString& relative) const { return home().root() + "/disk/" + relative; }
    // Every file of a test is in its temporary folder.
    QString write(const QString& path, const QByteArray& contents = "x") const {
        return home().writeFile(path, contents);
    }
    // Autosave folders holding one project each, as the editors leave them.
    QString vault(const QString& path) const {
        return write(path + "/Titles/Titles_2026-11-20_1030.motn"), path;
    }
    QString premiereFolder(const QString& path) const { return write(path + "/Cut-1.prproj"), path; }
    void installFinalCut(const char* identifier, const QString& name, const QString& version) {
        const QString app = home().root() + "/Apps/" + name + ".app";
        write(app + "/Contents/Info.plist",
              PlistFile::toXml(QVariantMap{{"CFBundleShortVersionString", version}}));
        home().platform().applications.insert(identifier, app);
    }
    void writeMotionPrefs(const QVariant& vaultPath, bool binary) const {
        const QVariantMap prefs{{"OZPreferenceManager::AutosaveVaultPath", vaultPath}, {"OZRecentFiles", 3}};
        write(BMLocalPaths::prefsDirectory(true) + "/com.apple.motion.plist",
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
        return QString::fromUtf8(readFile(home().root() + "/tools/locate.queries"))
            .split('\n', Qt::SkipEmptyParts);
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
    // Calls off the main thread are marked.
    void record(const QString& call) {
        std::lock_guard lock(callsMutex);
        calls << (MainThread::isCurrent() ? call : call + " on worker");
    }
    std::unique_ptr<LocationDiscovery> discovery;
    bool windowIsKey = false;
    std::mutex callsMutex;
    QStringList calls;
};

TEST_F(Discovery, StoresWhatEachSourceFindsInTheOrderOfTheSources) {
    const QString prefs = BMLocalPaths::prefsDirectory(true);
    auto fcset = [](const QString& vault) { // a path on the boot volume "Macintosh HD"
        const QByteArray noise("\x01\x9c\x02\xff", 4);
        return "\rautoSaveVault" + noise + "Macintosh HD" + vault.toLatin1().replace('/', ':') + noise +
               QByteArray(32, '\x01');
    };
    const QString old = vault(disk("old/Autosave Vault"));
    settings().setValue(SettingsKey::autosavePaths, QStringList{old});
    installFinalCut("com.apple.FinalCutPro", "Final Cut Pro", "7.0.3");
    installFinalCut("com.apple.FinalCutExpress", "Final Cut Express", "4.0.1");
    const QString fcp = vault(disk("fcp/Autosave Vault"));
    write(prefs + "/Final Cut Pro User Data/Final Cut Pro 7.0 Prefs.fcset", fcset(fcp));
    const QString fce = vault(disk("fce/Autosave Vault"));
    write(prefs + "/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset", fcset(fce));
    // The search takes what the Express reader last loaded.
    discovery->fcePrefs().loadDataForTypes(QStringList{"autoSaveVault"});
    const QString motion = vault(disk("motion/Autosave Vault"));
    writeMotionPrefs(motion, false);
    // Projects saved since Premiere Pro 2019 are compressed and keep their auto-saves where
    // their own setting says, here beside the project.
    const QString project = write(disk("projects/Cut.prproj"),
                                  gzipCompressed("<PremiereData><ScratchDiskSettings><VideoPreviewLocation>" +
                                                 disk("premiere").toUtf8() +
                                                 "</VideoPreviewLocation><AutoSaveLocation0>SameAsProject</"
                                                 "AutoSaveLocation0></ScratchDiskSettings></PremiereData>"));
    write(BMLocalPaths::appSupportDirectory(true) + "/Adobe/Premiere Pro/7.0/Adobe Premiere Pro Prefs",
          "<PremiereData><Preferences><Properties><BE.Prefs.MRU.Document.0>" + project.toUtf8() +
              "</BE.Prefs.MRU.Document.0></Properties></Preferences></PremiereData>");
    const QString premiere = premiereFolder(disk("premiere/Adobe Premiere Pro Auto-Save"));
    const QString beside = premiereFolder(disk("projects/Adobe Premiere Pro Auto-Save"));
    // The tool's order is not the steps' order; duplicates of every source come along.
    const QString spotLibrary = disk("spot/Cut.fcpbundle");
    write(spotLibrary + "/Day One/Backups/Day One 2026-11-20.fcpevent");
    const QString spotPremiere = premiereFolder(disk("spot/Adobe Premiere Pro Auto-Save"));
    const QString spotVault = vault(disk("spot/Autosave Vault"));
    // The Unity Attics of Avid's shared storage, by their exact name.
    const QString unity = disk("Workspace/Unity Attic"), notes = disk("Workspace/Unity Attic notes");
    write(unity + "/jo/Bins/Reel 1/Reel 1.1.avb");
    write(notes + "/jo/Bins/Reel 1/Reel 1.1.avb");
    standInTool({spotLibrary, spotPremiere, old, notes, spotVault, fcp, motion, premiere, unity});

    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    const QStringList added{fcp, fce, motion, premiere, beside, spotVault, spotPremiere, spotLibrary, unity};
    EXPECT_EQ(outcome.found, added);
    EXPECT_EQ(stored(), QStringList{old} + added);
    EXPECT_TRUE(outcome.stored && outcome.nameSearchAvailable && !outcome.failed);
    EXPECT_EQ(calls, (QStringList{"folder " + fcp, "rebuild", "end"})) << "not the first search: no sheet";
    EXPECT_EQ(toolQueries(), (QStringList{"*Autosave Vault*", "*Adobe Premiere Pro Auto-Save*", "*.fcpbundle",
                                          "*Unity Attic*"}));
    // Each source says so in the log, and each folder found is checked once (duplicates are not).
    const auto checking = [](const QString& path) { return "Checking " + path + " for autosaves..."; };
    QStringList lines{"Searching for new autosave paths..."};
    for (const auto& [source, path] : {std::pair{"FCP", fcp}, {"FCE", fce}, {"Motion", motion}})
        lines << QString("Loading autosave path from %1 preference file...").arg(source) << checking(path);
    for (const QString& path : added.mid(3)) {
        if (path == spotVault)
            lines << "Running a Spotlight search for autosave folders...";
        lines << "Found: " + path << checking(path);
    }
    EXPECT_EQ(loggedOf(lines), lines);
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
}

TEST_F(Discovery, AsksTheWindowOnTheMainThreadAndStartsTheRebuildFromTheSearch) {
    const QString motion = vault(disk("motion/Autosave Vault"));
    writeMotionPrefs(motion, false);
    standInTool({});
    windowIsKey = true;
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    auto search = std::async(std::launch::async, [this] { return discovery->searchForNewPaths(); });
    while (search.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    MainThread::setDispatch(MainThread::Dispatch::Inline);
    EXPECT_TRUE(search.get().stored);
    EXPECT_EQ(calls,
              (QStringList{"key?", "show", "folder " + motion + " on worker", "rebuild on worker", "end"}));
}

// A named pipe in place of Motion's preference file blocked the search for good.
TEST_F(Discovery, AMotionPreferenceFileThatIsAPipeIsNotWaitedFor) {
    const QByteArray pipe = QFile::encodeName(BMLocalPaths::prefsDirectory(true) + "/com.apple.motion.plist");
    ASSERT_TRUE(QDir().mkpath(BMLocalPaths::prefsDirectory(true)));
    ASSERT_EQ(::mkfifo(pipe.constData(), 0600), 0);
    auto read = std::async(std::launch::async, [] { return LocationDiscovery::motionAutosavePath(); });
    const bool answered = read.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    if (!answered) // lets the blocked reader go, so that the test can end
        ::close(::open(pipe.constData(), O_WRONLY | O_NONBLOCK));
    EXPECT_TRUE(answered);
    EXPECT_EQ(read.get(), QString());
}

// A tmpfs standing for an editing drive that the file name index leaves out.
class DiscoveryOnAVolume : public Discovery {
protected:
    void SetUp() override {
        Discovery::SetUp();
        volume = home().root() + "/volume";
        mounted = std::make_unique<Tmpfs>(volume, "size=16m,nr_inodes=20000");
        if (!mounted->mounted())
            GTEST_SKIP() << mounted->why().toStdString();
        home().platform().volumes = {volume};
    }
    void TearDown() override {
        mounted.reset();
        Discovery::TearDown();
    }
    QString volume;
    std::unique_ptr<Tmpfs> mounted;
};

TEST_F(DiscoveryOnAVolume, FindsFoldersWithinTheDepthOutsideTheSystemsFoldersAndStoresThem) {
    discovery->setVolumeSearchBounds({3, 10.0});
    const QString known = vault(disk("known/Autosave Vault"));
    settings().setValue(SettingsKey::autosavePaths, QStringList{known});
    const QString shallow = premiereFolder(volume + "/Adobe Premiere Pro Auto-Save");
    const QString atTheBound = premiereFolder(volume + "/Jobs/Client/Adobe Premiere Pro Auto-Save");
    const QString library = volume + "/Jobs/Promo.fcpbundle";
    write(library + "/Day One/Backups/Day One 2026-11-20.fcpevent");
    premiereFolder(volume + "/Jobs/Client/2026/Adobe Premiere Pro Auto-Save"); // one deeper
    // Trashed, lost or a system's own: never taken for a location.
    premiereFolder(volume + "/.Trash-0/files/Adobe Premiere Pro Auto-Save");
    premiereFolder(volume + "/lost+found/Adobe Premiere Pro Auto-Save");
    premiereFolder(volume + "/$RECYCLE.BIN/Adobe Premiere Pro Auto-Save");
    // Nor another file system mounted inside the volume.
    const Tmpfs nested(volume + "/Jobs/Nested", "size=1m");
    ASSERT_TRUE(nested.mounted()) << nested.why().toStdString();
    premiereFolder(volume + "/Jobs/Nested/Adobe Premiere Pro Auto-Save");
    // The system's root given as a volume is not walked.
    home().platform().volumes = {"/", volume};

    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    EXPECT_TRUE(outcome.nameSearchAvailable) << "the walk needs no index tool";
    EXPECT_EQ(QSet<QString>(outcome.found.cbegin(), outcome.found.cend()),
              (QSet<QString>{shallow, atTheBound, library}));
    EXPECT_EQ(stored(), QStringList{known} + outcome.found);
    ASSERT_EQ(outcome.volumes.size(), 2);
    EXPECT_EQ(outcome.volumes[0].path, "/");
    EXPECT_EQ(outcome.volumes[0].problem, "a system folder is not searched");
    EXPECT_EQ(outcome.volumes[1].path, volume);
    EXPECT_TRUE(outcome.volumes[1].problem.isEmpty() && !outcome.volumes[1].cutOff);

    // The window's search every minute does not walk the drive again within the hour; a new
    // discovery (the command line's) does.
    const QString later = premiereFolder(volume + "/Later/Adobe Premiere Pro Auto-Save");
    EXPECT_TRUE(discovery->searchForNewPaths().found.isEmpty());
    LocationDiscovery fresh(settings());
    fresh.setVolumeSearchBounds({3, 10.0});
    EXPECT_EQ(fresh.searchForNewPaths().found, QStringList{later});
}

// The settings file holds text: a path that is not UTF-8 came back with "?" for its bytes,
// naming no folder, and every search added it again.
TEST_F(DiscoveryOnAVolume, AFolderWhosePathIsNotUTF8IsFoundButNeverStored) {
    const QString plain = premiereFolder(volume + "/Jobs/Adobe Premiere Pro Auto-Save");
    const QByteArray folder = QFile::encodeName(volume) + "/Caf\xe9";
    const QByteArray cafe = folder + "/Adobe Premiere Pro Auto-Save";
    ASSERT_TRUE(::mkdir(folder.constData(), 0755) == 0 && ::mkdir(cafe.constData(), 0755) == 0);
    const int fd = ::open(cafe + "/Cut-1.prproj", O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);

    for (int search = 0; search < 2; ++search) {
        const LocationDiscovery::Outcome outcome = LocationDiscovery(settings()).searchForNewPaths();
        EXPECT_EQ(outcome.found, search == 0 ? QStringList{plain} : QStringList());
        ASSERT_EQ(outcome.unstorable.size(), 1);
        EXPECT_EQ(FileName::encode(outcome.unstorable[0]), cafe);
    }
    EXPECT_EQ(stored(), QStringList{plain});
    EXPECT_EQ(settings().stringValue(SettingsKey::autosaveFolder), plain);
    EXPECT_TRUE(logText().contains(volume +
                                   "/Caf\\xe9/Adobe Premiere Pro Auto-Save is not stored: its path is "
                                   "not valid UTF-8, which the settings file cannot hold"));
}

TEST_F(DiscoveryOnAVolume, AWalkThatRunsOutOfTimeIsCutOffAndSaysSo) {
    // Two thousand folders to open before the autosave folder's turn comes.
    for (int i = 0; i < 2000; ++i)
        QDir().mkpath(volume + QString("/Shoot %1/Cards").arg(i));
    premiereFolder(volume + "/Shoot 1999/Cards/Adobe Premiere Pro Auto-Save");
    discovery->setVolumeSearchBounds({6, 0.001});
    QElapsedTimer timer;
    timer.start();
    const LocationDiscovery::Outcome outcome = discovery->searchForNewPaths();
    EXPECT_LT(timer.elapsed(), 2000);
    EXPECT_TRUE(outcome.found.isEmpty());
    ASSERT_EQ(outcome.volumes.size(), 1);
    EXPECT_TRUE(outcome.volumes[0].cutOff);
    EXPECT_TRUE(logText().contains("The search of the volume " + volume + " was cut off"));
    // Nothing was remembered of a walk cut off: the next search walks the drive again.
    discovery->setVolumeSearchBounds({6, 10.0});
    EXPECT_EQ(discovery->searchForNewPaths().found,
              QStringList{volume + "/Shoot 1999/Cards/Adobe Premiere Pro Auto-Save"});
}

// An entry of the wrong type does not make the search forget the others either.
TEST_F(Discovery, AStoredLocationThatIsNotThereNowStaysStoredAndIsOffline) {
    const QString gone = home().root() + "/media/EDIT/Adobe Premiere Pro Auto-Save";
    const QString here = vault(disk("here/Autosave Vault"));
    settings().setValue(SettingsKey::autosavePaths, QVariantList{gone, 7, here});
    standInTool({vault(disk("new/Autosave Vault"))});
    EXPECT_TRUE(discovery->searchForNewPaths().stored);
    EXPECT_EQ(stored(), (QStringList{gone, here, disk("new/Autosave Vault")}));
    EXPECT_EQ(CatalogueLocations::offlineLocations(CatalogueLocations::storedLocations(settings())),
              QStringList{gone});
}

namespace {

class CatalogueLogLines;
using LogRow = LogLinesRow<CatalogueLogLines>;

// What discovery and the folder scan write to the log, line by line, and the method names
// under which their failures are logged.
class CatalogueLogLines : public Discovery, public ::testing::WithParamInterface<LogRow> {
public:
    using Discovery::home;
    using Discovery::settings;
    // A location holding one project, at a path in the home or at an absolute one.
    QString location(const QString& path) {
        const QString absolute = path.startsWith('/') ? path : home().home() + '/' + path;
        return write(absolute + "/Titles/Titles-1.prproj"), absolute;
    }
    LocationDiscovery::Outcome search(LocationDiscovery::WindowHooks hooks = {}) {
        LocationDiscovery fresh(settings());
        fresh.setWindowHooks(std::move(hooks));
        return fresh.searchForNewPaths();
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
                         ::testing::Values(LogRow{"SearchFails", failedSearch},
                                           LogRow{"ScanOfAnUnreadableLocation", unreadableLocation},
                                           LogRow{"ScanOfAnUnreadableAutosave", unreadableAutosave},
                                           LogRow{"ScanFails", failedScan}),
                         byRowName);

using CatalogueLocationsTest = CatalogueTest::LoggedHomeTest;

TEST_F(CatalogueLocationsTest,
       DiscoveredThenManualOnesNotListedYetThenSharedAtticsThatExistAndBadEntriesAreIgnored) {
    const QString composer = home().root() + "/Users/Shared/AvidMediaComposer/Avid Attic";
    const QString symphony = home().root() + "/Users/Shared/AvidSymphony/Avid Attic";
    BMSettings& settings = BMSettings::standard();
    auto locations = [&] { return CatalogueLocations({composer, symphony}).locations(settings); };
    settings.setValue("manualPaths", "/m/Avid Attic");
    EXPECT_TRUE(locations().isEmpty());
    // Repeats among the discovered ones stay; manual ones are compared as exact text. Entries not
    // text or not absolute are ignored with a warning, given once however often read.
    settings.setValue("autosavePaths",
                      QVariantList{"/v/Autosave Vault", 12, "/p/Adobe Premiere Pro Auto-Save",
                                   QVariantMap{{"path", "/x"}}, "Documents/Avid Attic", "",
                                   "/v/Autosave Vault"});
    settings.setValue("manualPaths", QStringList{"/m/Avid Attic", "/v/Autosave Vault", "/m/Avid Attic",
                                                 "/v/Autosave Vault/", symphony});
    const QStringList listed{"/v/Autosave Vault",  "/p/Adobe Premiere Pro Auto-Save",
                             "/v/Autosave Vault",  "/m/Avid Attic",
                             "/v/Autosave Vault/", symphony};
    EXPECT_EQ(locations(), listed);
    // A shared attic comes last when it exists, even when listed already.
    QDir().mkpath(symphony);
    EXPECT_EQ(locations(), listed + QStringList{symphony});
    QDir().mkpath(composer);
    EXPECT_EQ(locations(), listed + QStringList({composer, symphony}));
    const QString log = logText();
    for (const char* entry : {"the number 12", "a dictionary", "\"Documents/Avid Attic\"", "\"\""}) {
        const QString warning = QString("the entry %1 of \"autosavePaths\" is ignored").arg(entry);
        EXPECT_EQ(log.count(warning), 1) << warning.toStdString() << "\n" << log.toStdString();
    }
    EXPECT_EQ(log.count("\"manualPaths\" is \"/m/Avid Attic\", not a list of folders"), 1)
        << log.toStdString();
}
