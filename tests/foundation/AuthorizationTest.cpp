#include "FileOpsFixture.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

BMAuthorization& auth() {
    return BMAuthorization::sharedController();
}

const QStringList kRight{QStringLiteral("/bin/true")}; // the run that obtains the right

// ---- The guard --------------------------------------------------------------------------

struct GuardRow {
    const char* name;
    std::function<QString(TempHome&)> path; // the protected path
};

struct RefusalRow {
    const char* name;
    const char* message;
    std::function<bool(const QString& path, const QString& elsewhere)> call;
};

const GuardRow kSystemWide[] = {
    {"FileSystemRoot", [](TempHome&) { return QStringLiteral("/"); }},
    {"Volumes", [](TempHome&) { return QStringLiteral("/Volumes"); }},
};

// Inside the test's temporary folder: even a guard that failed could only harm that.
const GuardRow kInHome[] = {
    {"Home", [](TempHome& h) { return h.home(); }},
    {"Desktop", [](TempHome&) { return BMLocalPaths::desktopDirectory(); }},
    {"Documents", [](TempHome&) { return BMLocalPaths::documentDirectory(true); }},
    {"Library", [](TempHome&) { return BMLocalPaths::libraryDirectory(true); }},
    {"Preferences", [](TempHome&) { return BMLocalPaths::prefsDirectory(true); }},
    {"LocalApplicationSupport", [](TempHome&) { return BMLocalPaths::appSupportDirectory(false); }},
    {"HomeSpelledWithDotDot", [](TempHome& h) { return h.home() + QStringLiteral("/Desktop/.."); }},
    {"HomeWithDoubleSlash", [](TempHome& h) { return h.home() + QStringLiteral("//."); }},
};

const char kTrashMessage[] = "Unable to trash path %1 because it is a system directory.";
const char kDeleteMessage[] = "Unable to delete path %1 because it is a system directory.";
const char kMoveMessage[] = "Unable to move path %1 because it is a system directory.";

const RefusalRow kPrivileged[] = {
    {"Remove", kDeleteMessage, [](const QString& p, const QString&) { return auth().authRemoveFile(p); }},
    {"Move", kMoveMessage, [](const QString& p, const QString& e) { return auth().authMoveFile(p, e); }},
    {"Trash", kTrashMessage, [](const QString& p, const QString&) { return auth().authTrashFile(p); }},
    {"TrashDeletingOnRootAccount", kTrashMessage,
     [](const QString& p, const QString&) { return auth().authTrashFile(p, true); }},
    {"TrashFolderContents", "Unable to trash folder contents of path %1 because it is a system directory.",
     [](const QString& p, const QString&) { return auth().authTrashFolderContents(p, true); }},
    {"MoveFolderContents", "Unable to move contents of path %1 because it is a system directory.",
     [](const QString& p, const QString& e) { return auth().authMoveFolderContents(p, e); }},
};

// The file operations try in this process first, so they only meet protected folders that
// lie inside the test's own.
const RefusalRow kFileManager[] = {
    {"FileManagerTrash", kTrashMessage,
     [](const QString& p, const QString&) { return BMFileManager::trashFile(p); }},
    {"FileManagerRemove", kDeleteMessage,
     [](const QString& p, const QString&) { return BMFileManager::removeFile(p); }},
    {"FileManagerMove", kMoveMessage,
     [](const QString& p, const QString& e) { return BMFileManager::moveFile(p, e); }},
};

class GuardRefusal : public FileOpsTest,
                     public ::testing::WithParamInterface<std::tuple<GuardRow, RefusalRow>> {};

TEST_P(GuardRefusal, RefusesWithTheMessageAndTouchesNothing) {
    const auto& [where, operation] = GetParam();
    grantingPkexec(); // a right that would be granted: only the guard stands in the way
    RecordingTool rm = fakeTool(Tool::Rm);
    RecordingTool mv = fakeTool(Tool::Mv);
    const QString path = where.path(home());
    ASSERT_FALSE(path.isEmpty());
    const bool real = path.startsWith(home().root());
    const QString marker = QDir::cleanPath(path) + QStringLiteral("/keep.txt");
    if (real)
        home().writeFile(marker.mid(home().root().size() + 1), "keep");

    ConsoleCapture console;
    EXPECT_FALSE(operation.call(path, work(QStringLiteral("elsewhere"))));
    EXPECT_TRUE(console.lines().contains(QString::fromLatin1(operation.message).arg(path)))
        << console.text().toStdString();
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(rm.calls().isEmpty());
    EXPECT_TRUE(mv.calls().isEmpty());
    if (real) {
        EXPECT_EQ(readFile(marker), "keep");
        EXPECT_FALSE(QFileInfo::exists(work(QStringLiteral("elsewhere"))));
    }
}

std::string guardRowName(const ::testing::TestParamInfo<std::tuple<GuardRow, RefusalRow>>& info) {
    return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(SystemWide, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kSystemWide),
                                            ::testing::ValuesIn(kPrivileged)),
                         guardRowName);
INSTANTIATE_TEST_SUITE_P(InHome, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kInHome), ::testing::ValuesIn(kPrivileged)),
                         guardRowName);
INSTANTIATE_TEST_SUITE_P(FileOperations, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kInHome), ::testing::ValuesIn(kFileManager)),
                         guardRowName);

TEST_F(FileOpsTest, PrivilegedOperationsRefuseRelativePaths) {
    grantingPkexec();
    RecordingTool rm = fakeTool(Tool::Rm);
    ConsoleCapture console;
    EXPECT_FALSE(auth().authRemoveFile(QStringLiteral("Documents")));
    EXPECT_FALSE(auth().authTrashFile(QStringLiteral("a.mov")));
    EXPECT_TRUE(rm.calls().isEmpty());
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_EQ(console.lines().filter(QStringLiteral("not a full path")).size(), 2);
}

// ---- Tool arguments ---------------------------------------------------------------------

struct ToolRow {
    const char* name;
    // Runs the operation on prepared paths and returns the arguments expected for pkexec.
    std::function<QStringList(const QString& a, const QString& b)> run;
    std::function<void(const QString& a, const QString& b)> check;
};

const ToolRow kToolRows[] = {
    {"Remove",
     [](const QString& a, const QString&) {
         EXPECT_TRUE(auth().authRemoveFile(a));
         return QStringList{QStringLiteral("/bin/rm"), QStringLiteral("-Rdf"), a};
     },
     [](const QString& a, const QString&) { EXPECT_FALSE(QFileInfo::exists(a)); }},
    {"Move",
     [](const QString& a, const QString& b) {
         EXPECT_TRUE(auth().authMoveFile(a, b));
         return QStringList{QStringLiteral("/bin/mv"), QStringLiteral("-f"), a, b};
     },
     [](const QString& a, const QString& b) { EXPECT_TRUE(!QFileInfo::exists(a) && QFileInfo::exists(b)); }},
    {"Copy",
     [](const QString& a, const QString& b) {
         EXPECT_TRUE(auth().authCopyFile(a, b));
         return QStringList{QStringLiteral("/bin/cp"),
                            QStringLiteral("-f"),
                            QStringLiteral("-p"),
                            QStringLiteral("-R"),
                            a,
                            b};
     },
     [](const QString& a, const QString& b) { EXPECT_TRUE(QFileInfo::exists(a) && QFileInfo::exists(b)); }},
    {"CreateDir",
     [](const QString&, const QString& b) {
         EXPECT_TRUE(auth().authCreateDir(b + QStringLiteral("/x/y")));
         return QStringList{QStringLiteral("/bin/mkdir"), QStringLiteral("-p"), b + QStringLiteral("/x/y")};
     },
     [](const QString&, const QString& b) { EXPECT_TRUE(QFileInfo(b + QStringLiteral("/x/y")).isDir()); }},
    {"ExecTask",
     [](const QString& a, const QString&) {
         EXPECT_EQ(auth().authExecTask(QStringLiteral("/usr/bin/touch"), {QStringLiteral("-c"), a}), 0);
         return QStringList{QStringLiteral("/usr/bin/touch"), QStringLiteral("-c"), a};
     },
     [](const QString& a, const QString&) { EXPECT_TRUE(QFileInfo::exists(a)); }},
};

class ToolArguments : public FileOpsTest, public ::testing::WithParamInterface<ToolRow> {};

TEST_P(ToolArguments, RunTheStandardToolWithExactArgumentsInsideAProtectedFolder) {
    grantingPkexec();
    // Items inside a protected folder are no protected folders themselves.
    const QString documents = BMLocalPaths::documentDirectory(true).mid(home().root().size() + 1);
    const QString a = home().writeFile(documents + QStringLiteral("/Old Cuts/jö a.mov"), "cut");
    const QString b = work(QStringLiteral("dest b.mov"));
    const QStringList expected = GetParam().run(a, b);
    EXPECT_EQ(m_pkexec.calls(), (QList<QStringList>{kRight, expected}));
    GetParam().check(a, b);
}

INSTANTIATE_TEST_SUITE_P(Operations, ToolArguments, ::testing::ValuesIn(kToolRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileOpsTest, MoveAndCopyReportMissingPaths) {
    grantingPkexec();
    const QString a = writeWork(QStringLiteral("a"), "x");
    const QString missing = work(QStringLiteral("missing"));
    ConsoleCapture console;
    EXPECT_FALSE(auth().authMoveFile(QString(), a) || auth().authMoveFile(a, QString()) ||
                 auth().authCopyFile(QString(), a) || auth().authCopyFile(a, QString()));
    EXPECT_FALSE(auth().authMoveFile(missing, a) || auth().authCopyFile(missing, a));
    EXPECT_EQ(console.lines(), (QStringList{QStringLiteral("Error in authMoveFile: old path is null"),
                                            QStringLiteral("Error in authMoveFile: new path is null"),
                                            QStringLiteral("Error in authCopyFile: old path is null"),
                                            QStringLiteral("Error in authCopyFile: new path is null")}));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

// ---- Obtaining the right ----------------------------------------------------------------

TEST_F(FileOpsTest, WithoutInterfaceEveryOperationFailsWithMinusOne) {
    grantingPkexec();
    BMAuthorization quiet(BMAuthorization::Interface::WithoutGUI);
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    ConsoleCapture console;
    EXPECT_EQ(quiet.authExecTask(QStringLiteral("/bin/rm"), {a}), -1);
    EXPECT_FALSE(quiet.authRemoveFile(a) || quiet.authMoveFile(a, a + QStringLiteral("2")) ||
                 quiet.authCopyFile(a, a + QStringLiteral("2")) ||
                 quiet.authCreateDir(work(QStringLiteral("n"))));
    EXPECT_FALSE(quiet.isAuthorized() || quiet.canAuthorize());
    EXPECT_EQ(console.lines().count(QStringLiteral("Unable to authorize")), 5);
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(a));
}

TEST_F(FileOpsTest, TheFirstGrantedRunIsTheRightAndIsKeptUntilTheEnd) {
    grantingPkexec();
    EXPECT_FALSE(auth().isAuthorized());
    EXPECT_TRUE(auth().authStart());
    EXPECT_TRUE(auth().authStart());
    EXPECT_TRUE(auth().authRemoveFile(writeWork(QStringLiteral("a"), "x")));
    EXPECT_EQ(m_pkexec.calls().size(), 2); // one right, one removal
    auth().authEnd();
    EXPECT_FALSE(auth().isAuthorized());
}

TEST_F(FileOpsTest, ADismissedRequestLeavesEverythingAlone) {
    m_pkexec = fakeTool(Tool::Pkexec, 126); // the user dismissed the dialog
    const QString a = writeWork(QStringLiteral("a"), "x");
    EXPECT_FALSE(auth().authStart());
    EXPECT_EQ(auth().authExecTask(QStringLiteral("/bin/rm"), {a}), -1);
    EXPECT_FALSE(auth().authRemoveFile(a));
    EXPECT_TRUE(QFileInfo::exists(a));
    EXPECT_EQ(m_pkexec.calls(), QList<QStringList>(3, kRight));
}

TEST_F(FileOpsTest, AFailingToolGivesItsStatusAndAMissingOneMinusTwo) {
    grantingPkexec();
    EXPECT_EQ(
        auth().authExecTask(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("exit 3")}), 3);
    const QString a = writeWork(QStringLiteral("a"), "x");
    EXPECT_FALSE(auth().authMoveFile(a, work(QStringLiteral("missing-folder/a"))));
    EXPECT_EQ(readFile(a), "x");
    const QString missing = work(QStringLiteral("no-such-tool"));
    ConsoleCapture console;
    EXPECT_EQ(auth().authExecTask(missing, {}), -2);
    EXPECT_EQ(console.lines(),
              QStringList{QStringLiteral("Unable to execute task: path %1 doesn't exist").arg(missing)});
}

TEST_F(FileOpsTest, CredentialsAreRefusedClearlyWhereThePlatformCannotTakeThem) {
    EXPECT_FALSE(auth().authStartWithUser(QString(), QStringLiteral("pw")));
    EXPECT_FALSE(auth().authStartWithUser(QStringLiteral("jo"), QString()));
    ConsoleCapture console;
    EXPECT_FALSE(auth().authStartWithUser(QStringLiteral("jo"), QStringLiteral("secret")));
    EXPECT_TRUE(console.text().contains(QStringLiteral("Unable to authorize as jo")));
    EXPECT_FALSE(console.text().contains(QStringLiteral("secret")));
    EXPECT_FALSE(logText().contains(QStringLiteral("secret")));
    EXPECT_FALSE(auth().isAuthorized());
    home().platform().uid = 0;
    EXPECT_TRUE(auth().authStartWithUser(QStringLiteral("jo"), QStringLiteral("secret")));
}

// ---- Trash ------------------------------------------------------------------------------

TEST_F(FileOpsTest, TimestampedNameKeepsTheBareDot) {
    const QDateTime when(QDate(2015, 1, 1), QTime(12, 0, 0));
    EXPECT_EQ(BMAuthorization::timestampedTrashName(QStringLiteral("a.mov"), when), "a_20150101120000.mov");
    EXPECT_EQ(BMAuthorization::timestampedTrashName(QStringLiteral("Project"), when),
              "Project_20150101120000.");
    EXPECT_EQ(BMAuthorization::timestampedTrashName(QStringLiteral("My Cut.v2.prproj"), when),
              "My Cut.v2_20150101120000.prproj");
}

TEST_F(FileOpsTest, PrivilegedTrashRenamesWhenTheNameIsTakenAndLeavesARestoreRecord) {
    grantingPkexec();
    const QString items = home().platform().trashItemsFolder(trash());
    home().writeFile(items.mid(home().root().size() + 1) + QStringLiteral("/a.mov"), "older");
    const QString a = writeWork(QStringLiteral("cuts/a.mov"), "newer");

    EXPECT_TRUE(auth().authTrashFile(a));
    EXPECT_FALSE(QFileInfo::exists(a));
    QStringList names = QDir(items).entryList(QDir::Files);
    ASSERT_EQ(names.size(), 2);
    EXPECT_EQ(readFile(items + QStringLiteral("/a.mov")), "older");
    names.removeOne(QStringLiteral("a.mov"));
    const QString renamed = names.first();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^a_\\d{14}\\.mov$")).match(renamed).hasMatch())
        << renamed.toStdString();
    EXPECT_EQ(readFile(items + QLatin1Char('/') + renamed), "newer");
    EXPECT_EQ(trashedFrom(trash(), renamed), a);
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{QStringLiteral("/bin/mv"), QStringLiteral("-f"), a,
                                                    items + QLatin1Char('/') + renamed}));
}

TEST_F(FileOpsTest, PrivilegedTrashThatFailsLeavesNoRecord) {
    grantingPkexec(QStringLiteral("-f")); // the move is refused
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    EXPECT_FALSE(auth().authTrashFile(a));
    EXPECT_EQ(readFile(a), "x");
    EXPECT_TRUE(QDir(trash() + QStringLiteral("/info")).entryList(QDir::Files).isEmpty());
}

TEST_F(FileOpsTest, FolderContentsStopAtTheFirstFailure) {
    grantingPkexec(QStringLiteral("/b.mov")); // the move of "b" is refused; "c" must not be tried
    for (const char* name : {"a.mov", "b.mov", "c.mov"})
        writeWork(QStringLiteral("vault/") + QLatin1String(name), "x");
    const QString vault = work(QStringLiteral("vault"));
    const QString moved = home().makeFolder(QStringLiteral("work/moved"));
    EXPECT_FALSE(auth().authMoveFolderContents(vault, moved));
    EXPECT_EQ(m_pkexec.calls().size(), 3); // the right, "a", "b"
    EXPECT_EQ(QDir(moved).entryList(QDir::Files), QStringList{QStringLiteral("a.mov")});
    EXPECT_EQ(QDir(vault).entryList(QDir::Files),
              (QStringList{QStringLiteral("b.mov"), QStringLiteral("c.mov")}));
}

TEST_F(FileOpsTest, FolderContentsGoToTheTrashOneByOne) {
    grantingPkexec();
    for (const char* name : {"a.mov", "b.mov"})
        writeWork(QStringLiteral("vault/") + QLatin1String(name), "x");
    EXPECT_TRUE(auth().authTrashFolderContents(work(QStringLiteral("vault"))));
    EXPECT_TRUE(QDir(work(QStringLiteral("vault"))).isEmpty());
    EXPECT_EQ(trashedFrom(trash(), QStringLiteral("a.mov")), work(QStringLiteral("vault/a.mov")));
    EXPECT_EQ(readFile(trash() + QStringLiteral("/files/b.mov")), "x");
}

// ---- As root ----------------------------------------------------------------------------

class AsRoot : public FileOpsTest {
protected:
    void SetUp() override {
        FileOpsTest::SetUp();
        if (::getuid() != 0)
            GTEST_SKIP() << "runs the tools directly only when the process really is root";
        home().platform().uid = 0; // user "jo" at the console: the home stays the test's
        BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    }
};

TEST_F(AsRoot, ToolsRunDirectlyWithoutAskingForTheRight) {
    const QString a = writeWork(QStringLiteral("a/b.txt"), "x");
    const QString copy = work(QStringLiteral("copy"));
    EXPECT_TRUE(auth().authCopyFile(work(QStringLiteral("a")), copy));
    EXPECT_EQ(readFile(copy + QStringLiteral("/b.txt")), "x");
    EXPECT_TRUE(auth().authCreateDir(work(QStringLiteral("n/e/w"))));
    EXPECT_TRUE(QFileInfo(work(QStringLiteral("n/e/w"))).isDir());
    EXPECT_TRUE(auth().authMoveFile(a, work(QStringLiteral("moved.txt"))));
    EXPECT_EQ(readFile(work(QStringLiteral("moved.txt"))), "x");
    EXPECT_TRUE(auth().authRemoveFile(copy));
    EXPECT_FALSE(QFileInfo::exists(copy));
    EXPECT_EQ(
        auth().authExecTask(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("exit 3")}), 0);
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

TEST_F(AsRoot, WithNobodyAtTheConsoleTrashDeletesOnlyWhenAskedTo) {
    home().platform().user = QStringLiteral("root");
    home().platform().console = QString();
    BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    EXPECT_TRUE(auth().userDirectory().isNull());
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    ConsoleCapture console;
    EXPECT_FALSE(auth().authTrashFile(a));
    EXPECT_TRUE(QFileInfo::exists(a));
    EXPECT_TRUE(auth().authTrashFile(a, true));
    EXPECT_FALSE(QFileInfo::exists(a));
    writeWork(QStringLiteral("vault/x"), "x");
    writeWork(QStringLiteral("vault/y"), "y");
    EXPECT_TRUE(auth().authTrashFolderContents(work(QStringLiteral("vault")), true));
    EXPECT_TRUE(QDir(work(QStringLiteral("vault"))).isEmpty());
}

} // namespace
