#include "catalogue/AutosaveFolderScanner.h"

#include "CatalogueTestSupport.h"
#include "catalogue/NamePattern.h"
#include "catalogue/PremiereCopyNames.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"
#include "support/MacMetadata.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace CatalogueTest;

class ScannerTest : public LoggedHomeTest {
protected:
    QString path(const QString& relative) { return home().home() + '/' + relative; }
    BMProjectList scan(const QString& folder, ScanStatus* status = nullptr) {
        std::optional<BMProjectList> projects = scanner.projectsFromFolder(folder, status);
        EXPECT_TRUE(projects.has_value());
        return projects.value_or(BMProjectList());
    }
    AutosaveFolderScanner scanner{BMSettings::standard()};
};

struct LayoutRow {
    const char* rowName;
    const char* location; // in the home
    QStringList tree;     // in the location
    const char* expected; // describe(), paths relative to the location
    ScanStatus status = ScanStatus::Scanned;
    QStringList logged = {}; // "@" stands for the location
};

class ScannerLayouts : public ScannerTest, public ::testing::WithParamInterface<LayoutRow> {};

TEST_P(ScannerLayouts, BuildProjects) {
    const LayoutRow& row = GetParam();
    QString location = path(row.location);
    while (location.endsWith('/'))
        location.chop(1);
    if (!makeTree(location, row.tree))
        GTEST_SKIP() << "this file system refuses user extended attributes";
    ScanStatus status = ScanStatus::Failed;
    testing::internal::CaptureStdout();
    const BMProjectList projects = scan(path(row.location), &status);
    const QString console = QString::fromStdString(testing::internal::GetCapturedStdout());
    EXPECT_EQ(describe(projects, location), row.expected);
    EXPECT_EQ(status, row.status);
    // Handed over one by one, each project whole when it goes, in the same order.
    QStringList handed;
    scanner.scanFolder(path(row.location),
                       [&](const BMProjectPtr& project) { handed << describe({project}, location); });
    EXPECT_EQ(handed.join("; "), row.expected);
    for (QString line : row.logged) {
        line.replace("@", location);
        EXPECT_TRUE(logText().contains(line)) << line.toStdString();
        EXPECT_TRUE(console.contains(line)) << line.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScannerLayouts,
    ::testing::Values(
        LayoutRow{
            "VaultCopiesHaveTheTypeAndTheDateNameOthersNoProject",
            "Final Cut Pro Documents/Autosave Vault",
            {"Wedding/Wedding_11-20-26_1030|100|FCPF", "Wedding/Wedding_11-21-26_0915|250|AFP",
             "Wedding/Wedding_11-22-26_0915|250|SMB", "Wedding/Wedding draft|5|FCPF",
             "Wedding/.Wedding_11-22-26_0915|5|FCPF", "Wedding/notes.txt",
             "Trailer/Trailer_11-20-26_1030|1|TEXT", "A/Z draft||FCPF", "B/notes.txt",
             "C/.A_2012-01-05_1030.motn", "C/.DS_Store", "readme.txt"},
            "Wedding(0)@Wedding: Wedding_11-20-26_1030:0 Wedding_11-21-26_0915:0 Wedding_11-22-26_0915:0"},
        LayoutRow{"VaultOnADriveWithoutAttributesTypedByTheAppleDoubleFiles",
                  "Drive/Autosave Vault",
                  {"Wedding/Wedding_11-20-26_1030|100|._FCPF", "Wedding/Wedding_11-21-26_0915|100",
                   "Wedding/Wedding draft|5|._FCPF", "Edit/Edit-1.prproj|5|._TEXT"},
                  "Edit(2)@Edit: Edit-1.prproj:2; Wedding(0)@Wedding: Wedding_11-20-26_1030:0"},
        LayoutRow{"AppleDoubleFilesAreNeverAutosavesNorProjects",
                  "Share/Adobe Premiere Pro Auto-Save",
                  {"video-12.prproj|10|._TEXT", "Doc/Doc-1.prproj|1|._TEXT", "._Doc|4096"},
                  "Doc(2)@Doc: Doc-1.prproj:2; video(2)@video-12.prproj: video-12.prproj:2"},
        LayoutRow{"TypeOfTheLastRecognisedFileWins",
                  "Autosave Vault",
                  {"M/A_2012-01-05_1030.motn", "M/B_11-22-26_1030||FCPF", "N/A-1.prproj", "N/B.motn",
                   "O/A_2012-01-05_1030.motn", "O/Z draft||FCPF", "P/A-1.prproj||FCPF", "P/B-2.PRPROJ"},
                  "M(0)@M: A_2012-01-05_1030.motn:1 B_11-22-26_1030:0; N(1)@N: A-1.prproj:2; "
                  "O(0)@O: A_2012-01-05_1030.motn:1; P(2)@P: B-2.PRPROJ:2"},
        LayoutRow{
            "PremiereFolderAndHiddenTopLevelEntries",
            "Adobe Premiere Pro Auto-Save",
            {"Doc/Doc-2.prproj", "Doc/Doc-1.prproj", "Doc/.Doc-3.prproj", "Doc/Doc.prproj.lock",
             ".Hidden Edit/Hidden-1.prproj"},
            ".Hidden Edit(2)@.Hidden Edit: Hidden-1.prproj:2; Doc(2)@Doc: Doc-1.prproj:2 Doc-2.prproj:2"},
        LayoutRow{
            "LooseFileJoinsAnEarlierPremiereProjectOnly",
            "Adobe Premiere Pro Auto-Save",
            {"Edit/Edit-1.prproj", "Edit-3.prproj", "Titles/T_2012-01-05_1030.motn", "Titles-2.prproj"},
            "Edit(2)@Edit: Edit-1.prproj:2 Edit-3.prproj:2; Titles(1)@Titles: T_2012-01-05_1030.motn:1; "
            "Titles(2)@Titles-2.prproj: Titles-2.prproj:2"},
        // Only the vault's files are told by their Finder type.
        LayoutRow{"PremiereFilesAreTypedByTheirNameAlone",
                  "Adobe Premiere Pro Auto-Save",
                  {"Edit/Edit-1.prproj|5|FCPF", "Edit/Edit_01-05-12_1030|5|FCPF"},
                  "Edit(2)@Edit: Edit-1.prproj:2"},
        LayoutRow{"DanglingLinksAreNeitherProjectsNorAutosaves",
                  "Adobe Premiere Pro Auto-Save",
                  {"Edit/Edit-1.prproj", "Edit/Edit-2.prproj||LINK", "Edit-9.prproj||LINK",
                   "Broken-1.prproj||LINK", "Broken-2.prproj"},
                  "Broken(2)@Broken-2.prproj: Broken-2.prproj:2; Edit(2)@Edit: Edit-1.prproj:2"},
        LayoutRow{"AvidAtticTakesEveryFileOfEveryBin",
                  "Shared/Avid Attic",
                  {"jo/Bins/Rough Cut/Rough Cut.1.avb", "jo/Bins/Rough Cut/.DS_Store",
                   "jo/Bins/Selects/Selects.1.avb", "jo/Bins/Selects/Selects.2.avb||LINK",
                   "jo/Bins/.Trash/Old.avb", "jo/Bins/not-a-bin.avb", "No Bins/readme.txt", ".DS_Store",
                   "Äpfel/Bins/Schnitt/Schnitt.avb"},
                  "jo(3)@jo: jo/Bins/Rough Cut/Rough Cut.1.avb:3 jo/Bins/Selects/Selects.1.avb:3; "
                  "Äpfel(3)@Äpfel: Äpfel/Bins/Schnitt/Schnitt.avb:3"},
        LayoutRow{"AFolderInABinIsNoAutosave",
                  "Avid Attic",
                  {"jo/Bins/Reel/Reel.1.avb", "jo/Bins/Reel/Older/Reel.0.avb", "jo/Bins/Reel/Reel.2.avb/x"},
                  "jo(3)@jo: jo/Bins/Reel/Reel.1.avb:3"},
        LayoutRow{"AFolderNamedLikeAPremiereCopyIsNoAutosave",
                  "Adobe Premiere Pro Auto-Save",
                  {"Doc/Doc-1.prproj", "Doc/Doc-2.prproj/x", "Doc-3.prproj/x", "Dir-1.prproj/x"},
                  "Doc(2)@Doc: Doc-1.prproj:2"},
        LayoutRow{"AFolderNamedLikeAnEventBackupIsNoAutosave",
                  "Movies/My Library.fcpbundle",
                  {"Day/Backups/Day 1.fcpevent/x", "Day/Backups/Day 2.fcpevent"},
                  "Day(4)@Day/CurrentVersion.fcpevent: Day/Backups/Day 2.fcpevent:4"},
        LayoutRow{"UnityAtticOfAvidSharedStorageIsAnAttic",
                  "Workspace/Unity Attic",
                  {"jo/Bins/Reel 1/Reel 1.1.avb|10|._TEXT"},
                  "jo(3)@jo: jo/Bins/Reel 1/Reel 1.1.avb:3"},
        LayoutRow{
            "LibraryListsTheBackupsOfEachEvent",
            "Movies/My Library.fcpbundle",
            {"Day/CurrentVersion.fcpevent", "Day/Backups/Day 2.fcpevent", "Day/Backups/Day 1.fcpevent",
             "Day/Backups/notes.txt", "No Backups/CurrentVersion.fcpevent", "Settings.plist"},
            "Day(4)@Day/CurrentVersion.fcpevent: Day/Backups/Day 1.fcpevent:4 Day/Backups/Day 2.fcpevent:4"},
        LayoutRow{"BackupLibraryHoldsTheEventsThemselves",
                  "Movies/Final Cut Backups.localized/Lib/Lib 2026-11-21.fcpbundle",
                  {"Day/Day.fcpevent", "Day/Backups/Not This.fcpevent", "Empty/notes.txt"},
                  "Day(4)@Day/CurrentVersion.fcpevent: Day/Day.fcpevent:4"},
        LayoutRow{"TrailingSlashMatchesNoLayout",
                  "Autosave Vault/",
                  {"Edit/Edit-1.prproj"},
                  "",
                  ScanStatus::UnknownSuffix},
        LayoutRow{
            "SuffixIsMatchedAsText", "autosave vault", {"Edit/Edit-1.prproj"}, "", ScanStatus::UnknownSuffix},
        LayoutRow{"MissingFolder", "Avid Attic", {}, "", ScanStatus::Missing}),
    [](const auto& info) { return std::string(info.param.rowName); });

// Premiere's copies lying loose in its folder, named by the editor's versions up to 2018
// ("<Project>-N", N a ring) and since 2019 ("<Project>-YYYY-MM-DD_HH-MM-SS" and the emergency
// copy "<Project>"). The listing is in name order, so an emergency copy comes after its
// timestamped copies; PremiereCopyNames covers the other orders.
struct LooseRow {
    const char* rowName;
    int grouping; // premiereGroupTimestampedCopies; -1: no setting and no defaults registered
    QStringList tree;
    const char* expected;
};

class PremiereLooseFiles : public ScannerTest, public ::testing::WithParamInterface<LooseRow> {};

TEST_P(PremiereLooseFiles, GroupByProject) {
    const LooseRow& row = GetParam();
    if (row.grouping >= 0)
        BMSettings::standard().setValue(SettingsKey::premiereGroupTimestampedCopies, row.grouping == 1);
    const QString location = path("Adobe Premiere Pro Auto-Save");
    ASSERT_TRUE(makeTree(location, row.tree));
    EXPECT_EQ(describe(scan(location), location), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PremiereLooseFiles,
    ::testing::Values(
        LooseRow{"OffGroupsByTheNameBeforeTheLastDash",
                 0,
                 {"Project-2.prproj", "Project-10.prproj", "Project-1.prproj", "My-Cut-12.prproj",
                  "Untitled.prproj"},
                 "My-Cut(2)@My-Cut-12.prproj: My-Cut-12.prproj:2; "
                 "Project(2)@Project-1.prproj: Project-1.prproj:2 Project-10.prproj:2 Project-2.prproj:2; "
                 "(2)@Untitled.prproj: Untitled.prproj:2"},
        LooseRow{
            "OffMakesEachTimestampedCopyAProjectAndGathersEmergencyCopies",
            0,
            {"video-2019-11-04_15-04-08.prproj", "video-2019-11-04_15-19-08.prproj", "video.prproj",
             "Intro.prproj"},
            "(2)@Intro.prproj: Intro.prproj:2 video.prproj:2; "
            "video-2019-11-04_15-04(2)@video-2019-11-04_15-04-08.prproj: video-2019-11-04_15-04-08.prproj:2; "
            "video-2019-11-04_15-19(2)@video-2019-11-04_15-19-08.prproj: video-2019-11-04_15-19-08.prproj:2"},
        LooseRow{"TimestampedCopiesAndTheirEmergencyCopyAreOneProject",
                 1,
                 {"video-2019-11-04_15-19-08.prproj", "video.prproj", "video-2019-11-04_15-04-08.prproj"},
                 "video(2)@video-2019-11-04_15-04-08.prproj: video-2019-11-04_15-04-08.prproj:2 "
                 "video-2019-11-04_15-19-08.prproj:2 video.prproj:2"},
        LooseRow{
            "EmergencyCopiesOfTwoProjectsStayApart",
            1,
            {"B.prproj", "A.prproj", "B-2020-01-02_03-04-05.prproj", "Solo.prproj"},
            "A(2)@A.prproj: A.prproj:2; B(2)@B-2020-01-02_03-04-05.prproj: B-2020-01-02_03-04-05.prproj:2 "
            "B.prproj:2; Solo(2)@Solo.prproj: Solo.prproj:2"},
        LooseRow{"DashesInTheProjectNameStay",
                 1,
                 {"my-film-2020-01-02_03-04-05.prproj", "my-film.prproj",
                  "my-film-2020-01-02_03-14-05.prproj", "-2020-01-02_03-04-05.prproj"},
                 "(2)@-2020-01-02_03-04-05.prproj: -2020-01-02_03-04-05.prproj:2; "
                 "my-film(2)@my-film-2020-01-02_03-04-05.prproj: my-film-2020-01-02_03-04-05.prproj:2 "
                 "my-film-2020-01-02_03-14-05.prproj:2 my-film.prproj:2"},
        LooseRow{"SameNamedProjectsAreOne",
                 1,
                 {"Untitled-2.prproj", "Untitled-1.prproj", "Untitled.prproj", "Untitled/Untitled-3.prproj",
                  "Untitled-2019-11-04_15-04-08.PRPROJ"},
                 "Untitled(2)@Untitled: Untitled-3.prproj:2 Untitled-1.prproj:2 Untitled-2.prproj:2 "
                 "Untitled-2019-11-04_15-04-08.PRPROJ:2 Untitled.prproj:2"},
        LooseRow{
            "GroupingIsOnWhereNoDefaultsWereRegistered",
            -1,
            {"video-2019-11-04_15-04-08.prproj", "video.prproj"},
            "video(2)@video-2019-11-04_15-04-08.prproj: video-2019-11-04_15-04-08.prproj:2 video.prproj:2"}),
    [](const auto& info) { return std::string(info.param.rowName); });

// Each file gets the same project whichever order the listing gives.
TEST(PremiereCopyNames, AnyOrderGivesTheSameProjects) {
    const struct {
        const char* rowName;
        bool grouping;
        QStringList fileNames, projects; // one project per file name
    } rows[] = {{"EmergencyCopyBeforeItsCopies",
                 true,
                 {"video.prproj", "video-2019-11-04_15-04-08.prproj", "video-2019-11-04_15-19-08.prproj"},
                 {"video", "video", "video"}},
                {"EmergencyCopyWithADashBetweenItsCopies",
                 true,
                 {"my-film-2020-01-02_03-04-05.prproj", "my-film.prproj", "my-cut-2.prproj"},
                 {"my-film", "my-film", "my-cut"}},
                // Composed and decomposed "é" (a Mac drive's form), with and without grouping.
                {"BothFormsOfANameAreOneProject",
                 true,
                 {"Cafe\u0301-2024-03-10_03-30-00.prproj", "Caf\u00e9.prproj",
                  "my-caf\u00e9-2020-01-02_03-04-05.prproj", "my-cafe\u0301.prproj"},
                 {"Cafe\u0301", "Cafe\u0301", "my-cafe\u0301", "my-cafe\u0301"}},
                {"BothFormsOfARingNameAreOneProject",
                 false,
                 {"Caf\u00e9-2.prproj", "Cafe\u0301-3.prproj"},
                 {"Cafe\u0301", "Cafe\u0301"}},
                {"AnEmergencyCopyWithADashAloneKeepsTheRingRule", true, {"my-film.prproj"}, {"my"}},
                {"NearMissSuffixesKeepTheRingRule",
                 true,
                 {"a-2019-11-04_15-04.prproj", "b-2019-11-04-15-04-08.prproj", "c-2019-21-04_15-04-08.prproj",
                  "d_2019-11-04_15-04-08.prproj", "e-2019-11-04_15-04-08x.prproj"},
                 {"a-2019-11-04_15", "b-2019-11-04-15-04", "c-2019-21-04_15-04", "d_2019-11-04_15-04",
                  "e-2019-11-04_15-04"}}};
    for (const auto& row : rows) {
        EXPECT_EQ(PremiereCopyNames::projectNames(row.fileNames, row.grouping), row.projects) << row.rowName;
        QStringList reversedFiles = row.fileNames, reversedProjects = row.projects;
        std::reverse(reversedFiles.begin(), reversedFiles.end());
        std::reverse(reversedProjects.begin(), reversedProjects.end());
        EXPECT_EQ(PremiereCopyNames::projectNames(reversedFiles, row.grouping), reversedProjects)
            << row.rowName;
    }
}

TEST_F(ScannerTest, DatesAndSizesComeFromTheFileSystemNotTheName) {
    ASSERT_TRUE(makeTree(path("Avid Attic"), {"jo/Bins/Bin/Bin.01-05-12_0915.avb|4113"}));
    ASSERT_TRUE(makeTree(path("Adobe Premiere Pro Auto-Save"), {"video-2019-11-04_15-04-08.prproj"}));
    for (const char* location : {"Adobe Premiere Pro Auto-Save", "Avid Attic"}) {
        const BMAutoItemPtr copy = scan(path(location)).first()->children().first();
        EXPECT_EQ(copy->createdDate(), Platform::current().fileFacts(copy->path())->created);
        EXPECT_GT(copy->createdDate().date().year(), 2019) << location;
        EXPECT_EQ(copy->fileSize(), QByteArray(location) == "Avid Attic" ? 4113.0 : 0.0);
    }
    // cp -p, rsync -t, unzip and a move from another volume keep the time of the last write but
    // give the copy a new birth time, in the order of the copying: such a copy is dated by the write.
    const QString kept = path("Kept/Adobe Premiere Pro Auto-Save");
    ASSERT_TRUE(makeTree(kept, {"Edit/Edit-2.prproj", "Edit/Edit-1.prproj"}));
    const QDateTime written(QDate(2012, 1, 5), QTime(9, 15), Qt::UTC);
    ASSERT_TRUE(keepOriginalModificationTime(kept + "/Edit/Edit-1.prproj", written));
    ASSERT_TRUE(keepOriginalModificationTime(kept + "/Edit/Edit-2.prproj", written.addSecs(900)));
    const BMProjectPtr project = scan(kept).first();
    EXPECT_EQ(project->startDate(), written);
    EXPECT_EQ(project->endDate(), written.addSecs(900));
    project->sortChildrenByDate(true);
    EXPECT_EQ(project->children().first()->name(), "Edit-2.prproj") << "the newest first";

    // A copy on a Samba share keeps the date the Mac gave it.
    const QString bin = path("Share/Avid Attic/jo/Bins/Bin");
    ASSERT_TRUE(makeTree(bin, {"Bin.1.avb", "Bin.2.avb"}));
    if (!setDosAttrib(bin + "/Bin.1.avb", dosAttribRecord(4, written)))
        GTEST_SKIP() << "this file system refuses user extended attributes";
    ASSERT_TRUE(keepOriginalModificationTime(bin + "/Bin.1.avb", written.addDays(1)));
    const BMAutoItemList items = scan(path("Share/Avid Attic")).first()->children();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[0]->createdDate(), written);
    EXPECT_GT(items[1]->createdDate().date().year(), 2012) << "no record: the birth time";
}

TEST_F(ScannerTest, LinksAreNeverFollowedAtAnyLevelAndEachIsNamedInAWarning) {
    // What a followed link would bring in from outside: a project, a loose file, bins, backups.
    const QString far = home().root() + "/Far";
    ASSERT_TRUE(
        makeTree(far, {"P/P-1.prproj", "L-1.prproj", "B/B.avb", "Backups/F.fcpevent", "Bins/X/X.avb"}));
    const QString premiere = path("Adobe Premiere Pro Auto-Save"), attic = path("Avid Attic"),
                  library = path("Lib.fcpbundle");
    ASSERT_TRUE(makeTree(premiere, {"Edit/Edit-1.prproj", "Gone-1.prproj||LINK"}));
    ASSERT_TRUE(makeTree(attic, {"ann/Bins/Real/Real.avb", "bob/readme"}));
    ASSERT_TRUE(makeTree(library, {"Day/Backups/Day 1.fcpevent", "Night/x"}));
    const QStringList links[] = {{far + "/P", premiere + "/Linked"},
                                 {far + "/L-1.prproj", premiere + "/L-1.prproj"},
                                 {far + "/L-1.prproj", premiere + "/Edit/Edit-2.prproj"},
                                 {far + "/B", attic + "/ann/Bins/Linked"},
                                 {far + "/B/B.avb", attic + "/ann/Bins/Real/B.avb"},
                                 {far, attic + "/bob/Bins"},
                                 {far + "/Backups/F.fcpevent", library + "/Day/Backups/F.fcpevent"},
                                 {far + "/Backups", library + "/Night/Backups"}};
    QStringList expected{premiere + "/Gone-1.prproj"};
    for (const QStringList& link : links) {
        ASSERT_TRUE(QFile::link(link[0], link[1])) << link[1].toStdString();
        expected << link[1];
    }
    QStringList warnings;
    scanner.setWarningHook([&](const QString& warning) { warnings << warning; });
    EXPECT_EQ(describe(scan(premiere), premiere), "Edit(2)@Edit: Edit-1.prproj:2");
    EXPECT_EQ(describe(scan(attic), attic), "ann(3)@ann: ann/Bins/Real/Real.avb:3");
    EXPECT_EQ(describe(scan(library), library),
              "Day(4)@Day/CurrentVersion.fcpevent: Day/Backups/Day 1.fcpevent:4");
    for (QString& link : expected)
        link += ": a symbolic link, skipped (links are not followed)";
    warnings.sort();
    expected.sort();
    EXPECT_EQ(warnings, expected);
    EXPECT_TRUE(logText().contains(expected.first()));
}

// Big locations are looked at by several threads ahead of the hand-over: nothing that comes
// out may show it, neither the order of the projects nor that of the warnings.
TEST_F(ScannerTest, ManyEntriesComeOutInListingOrderAndSoDoTheirWarnings) {
    const QString premiere = path("Adobe Premiere Pro Auto-Save"), attic = path("Avid Attic");
    QStringList premiereTree, atticTree, names, counts, warnings;
    const QString skipped = ": a symbolic link, skipped (links are not followed)";
    for (int i = 0; i < 40; ++i) {
        const QString p = QString("P%1").arg(i, 2, 10, QChar('0'));
        premiereTree << p + "/" + p + "-1.prproj";
        if (i % 7 == 3)
            premiereTree << p + "-9.prproj"; // loose, joins the folder's project
        if (i % 5 == 0) {
            premiereTree << p + "/Gone-1.prproj||LINK";
            warnings << premiere + "/" + p + "/Gone-1.prproj" + skipped;
        }
        names << p;
        counts << QString::number(i % 7 == 3 ? 2 : 1);
        atticTree << p + (i % 6 == 1 ? "/Bins||LINK" : "/Bins/B/" + p + ".avb");
        if (i % 6 == 1)
            warnings << attic + "/" + p + "/Bins" + skipped;
    }
    ASSERT_TRUE(makeTree(premiere, premiereTree));
    ASSERT_TRUE(makeTree(attic, atticTree));
    QStringList said;
    scanner.setWarningHook([&](const QString& warning) { said << warning; });
    for (int round = 0; round < 3; ++round) {
        said.clear();
        QStringList handed, handedCounts;
        const BMProjectList found = scan(premiere);
        scanner.scanFolder(premiere, [&](const BMProjectPtr& project) {
            handed << project->name();
            handedCounts << QString::number(project->childCount());
        });
        const BMProjectList avid = scan(attic);
        EXPECT_EQ(namesOf(found), names);
        EXPECT_EQ(handed, names);
        EXPECT_EQ(handedCounts, counts);
        EXPECT_EQ(avid.size(), 40 - 7);
        // Each scan of the Premiere folder says its warnings again, in listing order.
        const QStringList premiereWarnings = warnings.filter(premiere);
        EXPECT_EQ(said, premiereWarnings + premiereWarnings + warnings.filter(attic));
    }
}

TEST_F(ScannerTest, FirstListedFolderBecomesTheAutosaveFolderOnce) {
    QStringList shown;
    scanner.setAutosaveFolderHook([&](const QString& folder) { shown << folder; });
    makeTree(home().root() + "/Shared/Avid Attic", {"file"});
    makeTree(path("Documents/Adobe Premiere Pro Auto-Save"), {"file"});
    scan(path("Gone/Avid Attic"));
    scan(path("Autosave Vault/"));
    EXPECT_TRUE(shown.isEmpty());
    scan(path("Documents/Adobe Premiere Pro Auto-Save"));
    scan(home().root() + "/Shared/Avid Attic");
    EXPECT_EQ(BMSettings::standard().stringValue(SettingsKey::autosaveFolder),
              "~/Documents/Adobe Premiere Pro Auto-Save");
    EXPECT_EQ(shown, QStringList{"~/Documents/Adobe Premiere Pro Auto-Save"});
    EXPECT_TRUE(logText().contains("Checking " + path("Gone/Avid Attic") + " for autosaves...\n"));
}

TEST(NamePattern, MatchesAsAShellPatternAndTheVaultAndMotionPatternsTakeOnlyTheirCopies) {
    // A star backtracks; "?" takes exactly one character, any letter; sets of ranges, negated
    // sets, "]" first in a set; an unclosed "[" is literal; an escaped star is a star.
    EXPECT_TRUE(NamePattern("*_[0-9]").matches(u"a_b_c_7"));
    EXPECT_FALSE(NamePattern("a?c").matches(u"ac"));
    EXPECT_TRUE(NamePattern("a?c").matches(u"aöc"));
    EXPECT_TRUE(NamePattern("[a-cx-z][0-3]").matches(u"y3"));
    EXPECT_TRUE(NamePattern("[!0-9][^a]").matches(u"ab"));
    EXPECT_TRUE(NamePattern("[]a]").matches(u"]"));
    EXPECT_TRUE(NamePattern("a[0-9").matches(u"a[0-9"));
    EXPECT_FALSE(NamePattern("a\\*").matches(u"ab"));
    // Final Cut's vault copies: no four-digit year, no month above 39, no extension.
    const NamePattern& vault = AutosaveFolderScanner::vaultNamePattern();
    EXPECT_TRUE(vault.matches(u"My_Big_Edit_01-05-12_0915"));
    EXPECT_FALSE(vault.matches(u"Wedding_11-22-2026_1030"));
    EXPECT_FALSE(vault.matches(u"Wedding_41-22-26_1030"));
    EXPECT_FALSE(vault.matches(u"Wedding_11-22-26_1030.fcp"));
    // Motion's: no month above 19, and the case of the extension matters.
    const NamePattern& motion = AutosaveFolderScanner::motionNamePattern();
    EXPECT_TRUE(motion.matches(u"Titles_2012-01-05_1030.motn"));
    EXPECT_FALSE(motion.matches(u"Titles_2012-21-05_1030.motn"));
    EXPECT_FALSE(motion.matches(u"Titles_2012-01-05_1030.MOTN"));
}
