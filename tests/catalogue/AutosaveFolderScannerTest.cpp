#include "catalogue/AutosaveFolderScanner.h"

#include "CatalogueTestSupport.h"
#include "catalogue/AutosaveType.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace CatalogueTest;

namespace {

struct ItemSummary {
    QString name;
    int type;
    bool operator==(const ItemSummary&) const = default;
};

std::ostream& operator<<(std::ostream& out, const ItemSummary& item) {
    return out << item.name.toStdString() << " (type " << item.type << ")";
}

QList<ItemSummary> summaryOf(const BMProjectPtr& project) {
    QList<ItemSummary> summary;
    for (const BMAutoItemPtr& each : project->children())
        summary.append({each->name(), each->type()});
    return summary;
}

BMProjectPtr projectNamed(const BMProjectList& projects, const QString& name) {
    for (const BMProjectPtr& project : projects) {
        if (project->name() == name)
            return project;
    }
    return nullptr;
}

} // namespace

class ScannerTest : public CatalogueHomeTest {
protected:
    void SetUp() override {
        CatalogueHomeTest::SetUp();
        m_scanner = std::make_unique<AutosaveFolderScanner>(BMSettings::standard());
    }

    QString homePath(const QString& relative) { return home().home() + QLatin1Char('/') + relative; }

    BMProjectList scan(const QString& folder, ScanStatus expected = ScanStatus::Scanned) {
        ScanStatus status = ScanStatus::Failed;
        std::optional<BMProjectList> projects = m_scanner->projectsFromFolder(folder, &status);
        EXPECT_TRUE(projects.has_value());
        EXPECT_EQ(status, expected);
        return projects.value_or(BMProjectList());
    }

    void requireUserAttributes() {
        if (!userAttributesSupported(homePath(QString())))
            GTEST_SKIP() << "this file system refuses user extended attributes";
    }

    std::unique_ptr<AutosaveFolderScanner> m_scanner;
};

// ---- Choosing the layout ---------------------------------------------------------------

struct LayoutRow {
    const char* rowName;
    const char* path;
    AutosaveFolderScanner::Layout layout;
};

class ScannerLayout : public ::testing::TestWithParam<LayoutRow> {};

TEST_P(ScannerLayout, IsChosenByTheEndOfThePathAlone) {
    EXPECT_EQ(AutosaveFolderScanner::layoutForFolder(QString::fromUtf8(GetParam().path)), GetParam().layout);
}

using Layout = AutosaveFolderScanner::Layout;
INSTANTIATE_TEST_SUITE_P(
    Rows, ScannerLayout,
    ::testing::Values(LayoutRow{"FinalCutVault", "/Users/jo/Documents/Final Cut Pro Documents/Autosave Vault",
                                Layout::Folder},
                      LayoutRow{"PremiereFolder",
                                "/Users/jo/Documents/Adobe/Premiere Pro/Adobe Premiere Pro Auto-Save",
                                Layout::Folder},
                      LayoutRow{"AvidAttic", "/Users/Shared/AvidMediaComposer/Avid Attic", Layout::Avid},
                      LayoutRow{"SuffixNeedNotBeAWholeName", "/Volumes/Edit/Old Avid Attic", Layout::Avid},
                      LayoutRow{"Library", "/Users/jo/Movies/My Library.fcpbundle", Layout::Library},
                      LayoutRow{"TrailingSlashMatchesNothing", "/Users/jo/Autosave Vault/", Layout::None},
                      LayoutRow{"CaseMatters", "/Volumes/X/autosave vault", Layout::None},
                      LayoutRow{"OtherFolder", "/Users/jo/Movies", Layout::None}),
    [](const ::testing::TestParamInfo<LayoutRow>& info) { return std::string(info.param.rowName); });

// ---- Folders that are not scanned ------------------------------------------------------

TEST_F(ScannerTest, TrailingSlashYieldsNothingAndStoresNothing) {
    const QString vault = homePath("Autosave Vault");
    writeFile(vault + "/Edit/Edit-1.prproj", 10);
    EXPECT_EQ(scan(vault + "/", ScanStatus::UnknownSuffix).size(), 0);
    EXPECT_FALSE(BMSettings::standard().hasValue(SettingsKey::autosaveFolder));
    EXPECT_TRUE(logText().contains(QStringLiteral("Checking %1/ for autosaves...").arg(vault)));
    EXPECT_EQ(scan(vault).size(), 1);
}

TEST_F(ScannerTest, MissingFolderOrFileYieldsNothing) {
    EXPECT_TRUE(scan(homePath("Gone/Autosave Vault"), ScanStatus::Missing).isEmpty());
    writeFile(homePath("Avid Attic"), 3);
    EXPECT_TRUE(scan(homePath("Avid Attic"), ScanStatus::NotAFolder).isEmpty());
    EXPECT_FALSE(BMSettings::standard().hasValue(SettingsKey::autosaveFolder));
}

TEST_F(ScannerTest, FolderThatCannotBeListedIsReportedToLogAndConsole) {
    const QString attic = makeFolder(homePath("Avid Attic"));
    writeFile(attic + "/jo/Bins/Bin/a.avb", 1);
    // Leave no file descriptor free, so that the listing fails whoever runs the test.
    const int lowestFree = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit tight = saved;
    tight.rlim_cur = rlim_t(lowestFree);
    testing::internal::CaptureStdout();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    ScanStatus status = ScanStatus::Scanned;
    const std::optional<BMProjectList> projects = m_scanner->projectsFromFolder(attic, &status);
    ::setrlimit(RLIMIT_NOFILE, &saved);
    const std::string console = testing::internal::GetCapturedStdout();

    ASSERT_TRUE(projects.has_value());
    EXPECT_TRUE(projects->isEmpty());
    EXPECT_EQ(status, ScanStatus::ListingFailed);
    const QString expected = QStringLiteral("Error getting contents of folder %1 - ").arg(attic);
    EXPECT_NE(console.find(expected.toStdString()), std::string::npos) << console;
    EXPECT_TRUE(logText().contains(expected));
    EXPECT_FALSE(BMSettings::standard().hasValue(SettingsKey::autosaveFolder));
}

// ---- The autosave folder setting -------------------------------------------------------

TEST_F(ScannerTest, FirstListedFolderBecomesTheAutosaveFolderOnce) {
    QStringList shown;
    m_scanner->setAutosaveFolderHook([&](const QString& folder) { shown << folder; });
    const QString premiere = makeFolder(homePath("Documents/Adobe/Adobe Premiere Pro Auto-Save"));
    const QString attic = makeFolder(home().root() + "/Shared/Avid Attic");

    scan(homePath("Missing/Avid Attic"), ScanStatus::Missing);
    EXPECT_TRUE(shown.isEmpty());
    // An empty folder still lists successfully.
    scan(premiere);
    scan(attic);
    EXPECT_EQ(BMSettings::standard().stringValue(SettingsKey::autosaveFolder),
              "~/Documents/Adobe/Adobe Premiere Pro Auto-Save");
    EXPECT_EQ(shown, QStringList{"~/Documents/Adobe/Adobe Premiere Pro Auto-Save"});
}

TEST_F(ScannerTest, AutosaveFolderOutsideTheHomeIsStoredAsItIs) {
    const QString attic = makeFolder(home().root() + "/Shared/Avid Attic");
    scan(attic);
    EXPECT_EQ(BMSettings::standard().stringValue(SettingsKey::autosaveFolder), attic);
}

// ---- Final Cut Pro and Motion vaults ---------------------------------------------------

TEST_F(ScannerTest, VaultCopiesAreFinalCutFilesWithTheDatePattern) {
    requireUserAttributes();
    const QString project = homePath("Documents/Final Cut Pro Documents/Autosave Vault/Wedding");
    const QString first = writeFile(project + "/Wedding_11-20-26_1030", 100);
    const QString second = writeFile(project + "/Wedding_11-21-26_0915", 250);
    const QString draft = writeFile(project + "/Wedding draft", 50);
    const QString hidden = writeFile(project + "/.Wedding_11-22-26_0915", 50);
    writeFile(project + "/notes.txt", 7);
    ASSERT_TRUE(setFileType(first, "FCPF"));
    ASSERT_TRUE(setFileType(second, "FCPF", FinderInfoForm::NetatalkRecord));
    ASSERT_TRUE(setFileType(draft, "FCPF"));
    ASSERT_TRUE(setFileType(hidden, "FCPF"));

    const BMProjectList projects = scan(QFileInfo(project).path());
    ASSERT_EQ(projects.size(), 1);
    const BMProjectPtr wedding = projects.first();
    EXPECT_EQ(wedding->name(), "Wedding");
    EXPECT_EQ(wedding->path(), project);
    EXPECT_EQ(wedding->type(), AutosaveType::FinalCut);
    EXPECT_EQ(summaryOf(wedding),
              (QList<ItemSummary>{{"Wedding_11-20-26_1030", 0}, {"Wedding_11-21-26_0915", 0}}));
    EXPECT_EQ(wedding->children()[1]->path(), second);
    EXPECT_EQ(wedding->fileSize(), 350.0);
}

TEST_F(ScannerTest, OtherFinderTypesAreNotFinalCutFiles) {
    requireUserAttributes();
    const QString project = homePath("Autosave Vault/Trailer");
    ASSERT_TRUE(setFileType(writeFile(project + "/Trailer_11-20-26_1030", 1), "TEXT"));
    EXPECT_TRUE(scan(homePath("Autosave Vault")).isEmpty());
}

TEST_F(ScannerTest, DatesAndSizesComeFromTheFileSystemNotTheName) {
    requireUserAttributes();
    const QString file = writeFile(homePath("Autosave Vault/Old/Old_01-05-12_0915"), 4096 + 17);
    ASSERT_TRUE(setFileType(file, "FCPF"));
    const std::optional<FileFacts> facts = Platform::current().fileFacts(file);
    ASSERT_TRUE(facts);

    const BMProjectList projects = scan(homePath("Autosave Vault"));
    ASSERT_EQ(projects.size(), 1);
    const BMAutoItemPtr copy = projects.first()->children().first();
    EXPECT_EQ(copy->createdDate(), facts->created);
    EXPECT_NE(copy->createdDate().date().year(), 2012);
    EXPECT_EQ(copy->fileSize(), 4113.0);
}

struct VaultFile {
    const char* name;
    bool finalCutType;
};

struct ProjectTypeRow {
    const char* rowName;
    QList<VaultFile> files; // in listing order
    int projectType;        // -1: no project
    QList<ItemSummary> items;
};

class ScannerProjectType : public ScannerTest, public ::testing::WithParamInterface<ProjectTypeRow> {};

TEST_P(ScannerProjectType, IsTheKindOfTheLastRecognisedFile) {
    requireUserAttributes();
    const ProjectTypeRow& row = GetParam();
    const QString project = homePath("Autosave Vault/Mixed");
    for (const VaultFile& file : row.files) {
        const QString path = writeFile(project + "/" + QString::fromUtf8(file.name), 10);
        if (file.finalCutType) {
            ASSERT_TRUE(setFileType(path, "FCPF"));
        }
    }
    const BMProjectList projects = scan(homePath("Autosave Vault"));
    if (row.projectType < 0) {
        EXPECT_TRUE(projects.isEmpty());
        return;
    }
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first()->type(), row.projectType);
    EXPECT_EQ(summaryOf(projects.first()), row.items);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScannerProjectType,
    ::testing::Values(
        ProjectTypeRow{
            "MotionThenFinalCut",
            {{"A_2012-01-05_1030.motn", false}, {"B_11-22-26_1030", true}},
            AutosaveType::FinalCut,
            {{"A_2012-01-05_1030.motn", AutosaveType::Motion}, {"B_11-22-26_1030", AutosaveType::FinalCut}}},
        ProjectTypeRow{"UnlistedFinalCutFileStillSetsTheType",
                       {{"A_2012-01-05_1030.motn", false}, {"Z draft", true}},
                       AutosaveType::FinalCut,
                       {{"A_2012-01-05_1030.motn", AutosaveType::Motion}}},
        ProjectTypeRow{"UnlistedMotionFileStillSetsTheType",
                       {{"A-1.prproj", false}, {"B.motn", false}},
                       AutosaveType::Motion,
                       {{"A-1.prproj", AutosaveType::Premiere}}},
        ProjectTypeRow{
            "PremiereLast",
            {{"A_2012-01-05_1030.motn", false}, {"B-1.PRPROJ", false}},
            AutosaveType::Premiere,
            {{"A_2012-01-05_1030.motn", AutosaveType::Motion}, {"B-1.PRPROJ", AutosaveType::Premiere}}},
        ProjectTypeRow{"FinderTypeComesBeforeTheExtension",
                       {{"A-1.prproj", true}, {"B-2.prproj", false}},
                       AutosaveType::Premiere,
                       {{"B-2.prproj", AutosaveType::Premiere}}},
        ProjectTypeRow{"OnlyUnlistedFiles", {{"Z draft", true}, {"B.motn", false}}, -1, {}},
        ProjectTypeRow{"NothingRecognised", {{"notes.txt", false}, {"A_2012-01-05_1030.mov", false}}, -1, {}},
        ProjectTypeRow{
            "OnlyHiddenFiles", {{".A_2012-01-05_1030.motn", false}, {".DS_Store", false}}, -1, {}}),
    [](const ::testing::TestParamInfo<ProjectTypeRow>& info) { return std::string(info.param.rowName); });

// ---- Premiere ---------------------------------------------------------------------------

TEST_F(ScannerTest, PremiereFolderHoldsEveryProjectFile) {
    const QString folder = homePath("Documents/Adobe/Premiere Pro/Adobe Premiere Pro Auto-Save");
    writeFile(folder + "/Documentary/Documentary-2.prproj", 2000);
    writeFile(folder + "/Documentary/Documentary-1.prproj", 1000);
    writeFile(folder + "/Documentary/.Documentary-3.prproj", 1);
    writeFile(folder + "/Documentary/Documentary.prproj.lock", 1);
    writeFile(folder + "/Empty/.DS_Store", 1);
    writeFile(folder + "/readme.txt", 1);

    const BMProjectList projects = scan(folder);
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first()->name(), "Documentary");
    EXPECT_EQ(projects.first()->path(), folder + "/Documentary");
    EXPECT_EQ(projects.first()->type(), AutosaveType::Premiere);
    EXPECT_EQ(summaryOf(projects.first()),
              (QList<ItemSummary>{{"Documentary-1.prproj", 2}, {"Documentary-2.prproj", 2}}));
    EXPECT_EQ(projects.first()->fileSize(), 3000.0);
}

TEST_F(ScannerTest, TopLevelEntriesAreNotFilteredForHiddenNames) {
    const QString folder = homePath("Adobe Premiere Pro Auto-Save");
    writeFile(folder + "/.Hidden Edit/Hidden-1.prproj", 1);
    const BMProjectList projects = scan(folder);
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first()->name(), ".Hidden Edit");
}

TEST_F(ScannerTest, LooseFilesGroupByTheNameBeforeTheLastDash) {
    const QString folder = homePath("Adobe Premiere Pro Auto-Save");
    writeFile(folder + "/Project-2.prproj", 2);
    writeFile(folder + "/Project-10.prproj", 10);
    writeFile(folder + "/Project-1.prproj", 1);
    writeFile(folder + "/My-Cut-12.prproj", 12);
    writeFile(folder + "/Untitled.prproj", 5);

    const BMProjectList projects = scan(folder);
    EXPECT_EQ(namesOf(projects), (QStringList{"My-Cut", "Project", ""}));
    const BMProjectPtr project = projectNamed(projects, "Project");
    ASSERT_TRUE(project);
    // The project stands for whichever file the listing gave first.
    EXPECT_EQ(project->path(), folder + "/Project-1.prproj");
    EXPECT_EQ(namesOf(project->children()),
              (QStringList{"Project-1.prproj", "Project-10.prproj", "Project-2.prproj"}));
    EXPECT_EQ(project->fileSize(), 13.0);
    const BMProjectPtr untitled = projectNamed(projects, "");
    ASSERT_TRUE(untitled);
    EXPECT_EQ(untitled->path(), folder + "/Untitled.prproj");
    EXPECT_EQ(summaryOf(untitled), (QList<ItemSummary>{{"Untitled.prproj", AutosaveType::Premiere}}));
}

TEST_F(ScannerTest, LooseFileJoinsAnEarlierPremiereProjectOfTheSameName) {
    const QString folder = homePath("Adobe Premiere Pro Auto-Save");
    writeFile(folder + "/Edit/Edit-1.prproj", 1);
    writeFile(folder + "/Edit-3.prproj", 3);
    // A Motion project of the same name is not a Premiere project: the loose file gets its own.
    writeFile(folder + "/Titles/Titles_2012-01-05_1030.motn", 1);
    writeFile(folder + "/Titles-2.prproj", 2);

    const BMProjectList projects = scan(folder);
    ASSERT_EQ(projects.size(), 3);
    EXPECT_EQ(projects[0]->path(), folder + "/Edit");
    EXPECT_EQ(namesOf(projects[0]->children()), (QStringList{"Edit-1.prproj", "Edit-3.prproj"}));
    EXPECT_EQ(projects[0]->children()[1]->parent(), projects[0]);
    EXPECT_EQ(projects[1]->type(), AutosaveType::Motion);
    EXPECT_EQ(projects[2]->name(), "Titles");
    EXPECT_EQ(projects[2]->type(), AutosaveType::Premiere);
    EXPECT_EQ(projects[2]->path(), folder + "/Titles-2.prproj");
}

TEST_F(ScannerTest, UnreadablePremiereFilesAreLoggedAndSkipped) {
    const QString folder = homePath("Adobe Premiere Pro Auto-Save");
    ASSERT_TRUE(QDir().mkpath(folder + "/Edit"));
    writeFile(folder + "/Edit/Edit-1.prproj", 1);
    // Dangling links: listed, but their attributes cannot be read.
    ASSERT_TRUE(QFile::link(folder + "/nowhere", folder + "/Edit/Edit-2.prproj"));
    ASSERT_TRUE(QFile::link(folder + "/nowhere", folder + "/Edit-9.prproj"));
    ASSERT_TRUE(QFile::link(folder + "/nowhere", folder + "/Broken-1.prproj"));
    writeFile(folder + "/Broken-2.prproj", 2);

    testing::internal::CaptureStdout();
    const BMProjectList projects = scan(folder);
    const std::string console = testing::internal::GetCapturedStdout();

    ASSERT_EQ(namesOf(projects), (QStringList{"Broken", "Edit"}));
    // The failed first file made no project, so the second one stands for it.
    EXPECT_EQ(projects[0]->path(), folder + "/Broken-2.prproj");
    EXPECT_EQ(namesOf(projects[0]->children()), QStringList{"Broken-2.prproj"});
    EXPECT_EQ(namesOf(projects[1]->children()), QStringList{"Edit-1.prproj"});
    const QString log = logText();
    for (const char* name : {"Edit/Edit-2.prproj", "Edit-9.prproj", "Broken-1.prproj"}) {
        const QString line =
            QStringLiteral("Error getting attributes of file %1/%2 - No such file or directory")
                .arg(folder, name);
        EXPECT_TRUE(log.contains(line)) << line.toStdString();
        EXPECT_NE(console.find(line.toStdString()), std::string::npos) << line.toStdString();
    }
}

// ---- Avid ---------------------------------------------------------------------------------

TEST_F(ScannerTest, AvidAtticHasAProjectPerEntryWithTheFilesOfEveryBin) {
    const QString attic = homePath("Shared/AvidMediaComposer/Avid Attic");
    writeFile(attic + "/jo/Bins/Rough Cut/Rough Cut.2026-11-20.avb", 300);
    writeFile(attic + "/jo/Bins/Rough Cut/Rough Cut.2026-11-21.avb", 400);
    writeFile(attic + "/jo/Bins/Rough Cut/.DS_Store", 6);
    writeFile(attic + "/jo/Bins/Selects/Selects.1.avb", 50);
    writeFile(attic + "/jo/Bins/.Trash/Old.avb", 1);
    writeFile(attic + "/jo/Bins/not-a-bin.avb", 1);
    writeFile(attic + "/No Bins/readme.txt", 1);
    writeFile(attic + "/.DS_Store", 1);
    writeFile(attic + "/Äpfel Projekt/Bins/Schnitt/Schnitt.avb", 20);

    const BMProjectList projects = scan(attic);
    ASSERT_EQ(namesOf(projects), (QStringList{"jo", "Äpfel Projekt"}));
    const BMProjectPtr jo = projects.first();
    EXPECT_EQ(jo->path(), attic + "/jo");
    EXPECT_EQ(jo->type(), AutosaveType::Avid);
    EXPECT_EQ(summaryOf(jo),
              (QList<ItemSummary>{
                  {"Rough Cut.2026-11-20.avb", 3}, {"Rough Cut.2026-11-21.avb", 3}, {"Selects.1.avb", 3}}));
    EXPECT_EQ(jo->children().last()->path(), attic + "/jo/Bins/Selects/Selects.1.avb");
    EXPECT_EQ(jo->fileSize(), 750.0);
}

TEST_F(ScannerTest, AvidFileWithoutAttributesIsListedWithoutDateAndSize) {
    const QString attic = homePath("Avid Attic");
    writeFile(attic + "/jo/Bins/Bin/a.avb", 10);
    ASSERT_TRUE(QFile::link(attic + "/nowhere", attic + "/jo/Bins/Bin/b.avb"));
    const BMProjectList projects = scan(attic);
    ASSERT_EQ(projects.size(), 1);
    ASSERT_EQ(projects.first()->childCount(), 2);
    const BMAutoItemPtr broken = projects.first()->children()[1];
    EXPECT_EQ(broken->name(), "b.avb");
    EXPECT_FALSE(broken->createdDate().isValid());
    EXPECT_EQ(broken->fileSize(), 0.0);
    EXPECT_FALSE(logText().contains("Error getting attributes"));
}

// ---- Final Cut Pro X ------------------------------------------------------------------------

TEST_F(ScannerTest, LiveLibraryListsTheBackupsOfEachEvent) {
    const QString library = homePath("Movies/My Library.fcpbundle");
    writeFile(library + "/Wedding Day/CurrentVersion.fcpevent", 900);
    writeFile(library + "/Wedding Day/Backups/Wedding Day 2026-11-21.fcpevent", 210);
    writeFile(library + "/Wedding Day/Backups/Wedding Day 2026-11-20.fcpevent", 200);
    writeFile(library + "/Wedding Day/Backups/notes.txt", 1);
    writeFile(library + "/No Backups/CurrentVersion.fcpevent", 900);
    writeFile(library + "/Settings.plist", 10);

    const BMProjectList projects = scan(library);
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first()->name(), "Wedding Day");
    EXPECT_EQ(projects.first()->path(), library + "/Wedding Day/CurrentVersion.fcpevent");
    EXPECT_EQ(projects.first()->type(), AutosaveType::FinalCutX);
    EXPECT_EQ(summaryOf(projects.first()), (QList<ItemSummary>{{"Wedding Day 2026-11-20.fcpevent", 4},
                                                               {"Wedding Day 2026-11-21.fcpevent", 4}}));
    EXPECT_EQ(projects.first()->children().first()->path(),
              library + "/Wedding Day/Backups/Wedding Day 2026-11-20.fcpevent");
}

TEST_F(ScannerTest, BackupLibraryHoldsTheEventBackupsThemselves) {
    const QString library =
        homePath("Movies/Final Cut Backups.localized/My Library/My Library 2026-11-21 0930.fcpbundle");
    writeFile(library + "/Wedding Day/Wedding Day.fcpevent", 300);
    writeFile(library + "/Wedding Day/Backups/Not This.fcpevent", 1);
    writeFile(library + "/Empty Event/notes.txt", 1);

    const BMProjectList projects = scan(library);
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first()->path(), library + "/Wedding Day/CurrentVersion.fcpevent");
    EXPECT_EQ(summaryOf(projects.first()), (QList<ItemSummary>{{"Wedding Day.fcpevent", 4}}));
}

TEST_F(ScannerTest, ScansAreLogged) {
    const QString attic = makeFolder(homePath("Avid Attic"));
    scan(attic);
    EXPECT_TRUE(logText().contains(QStringLiteral(" - Checking %1 for autosaves...\n").arg(attic)));
}
