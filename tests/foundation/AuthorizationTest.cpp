#include "FileOpsFixture.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

BMAuthorization& auth() {
    return BMAuthorization::sharedController();
}

// ---- The guard --------------------------------------------------------------------------

struct GuardRow {
    const char* name;
    // The protected path, worked out inside the test's home.
    std::function<QString(TempHome&)> path;
};

struct RefusalRow {
    const char* name;
    const char* message;
    std::function<bool(const QString& path, const QString& elsewhere)> call;
};

const GuardRow kProtected[] = {
    {"Home", [](TempHome& h) { return h.home(); }},
    {"FileSystemRoot", [](TempHome&) { return QStringLiteral("/"); }},
    {"Volumes", [](TempHome&) { return QStringLiteral("/Volumes"); }},
    {"Desktop", [](TempHome&) { return BMLocalPaths::desktopDirectory(); }},
    {"Documents", [](TempHome&) { return BMLocalPaths::documentDirectory(true); }},
    {"Library", [](TempHome&) { return BMLocalPaths::libraryDirectory(true); }},
    {"Preferences", [](TempHome&) { return BMLocalPaths::prefsDirectory(true); }},
    {"LocalApplicationSupport", [](TempHome&) { return BMLocalPaths::appSupportDirectory(false); }},
    {"HomeSpelledWithDotDot", [](TempHome& h) { return h.home() + QStringLiteral("/Desktop/.."); }},
    {"HomeWithDoubleSlash", [](TempHome& h) { return h.home() + QStringLiteral("//."); }},
};

const RefusalRow kRefusals[] = {
    {"Remove", "Unable to delete path %1 because it is a system directory.",
     [](const QString& p, const QString&) { return auth().authRemoveFile(p); }},
    {"Move", "Unable to move path %1 because it is a system directory.",
     [](const QString& p, const QString& e) { return auth().authMoveFile(p, e); }},
    {"Trash", "Unable to trash path %1 because it is a system directory.",
     [](const QString& p, const QString&) { return auth().authTrashFile(p); }},
    {"TrashDeletingOnRootAccount", "Unable to trash path %1 because it is a system directory.",
     [](const QString& p, const QString&) { return auth().authTrashFile(p, true); }},
    {"TrashFolderContents", "Unable to trash folder contents of path %1 because it is a system directory.",
     [](const QString& p, const QString&) { return auth().authTrashFolderContents(p, true); }},
    {"MoveFolderContents", "Unable to move contents of path %1 because it is a system directory.",
     [](const QString& p, const QString& e) { return auth().authMoveFolderContents(p, e); }},
};

class GuardRefusal : public FileOpsTest,
                     public ::testing::WithParamInterface<std::tuple<GuardRow, RefusalRow>> {};

TEST_P(GuardRefusal, RefusesWithTheMessageAndRunsNothing) {
    const auto& [where, operation] = GetParam();
    // Every tool is a stand-in that only records, so a fault here could touch nothing.
    RecordingTool rm = fakeTool(Tool::Rm);
    RecordingTool mv = fakeTool(Tool::Mv);
    const QString path = where.path(home());
    ASSERT_FALSE(path.isEmpty());
    const bool real = path.startsWith(home().root());
    QString marker;
    if (real) {
        QDir().mkpath(QDir::cleanPath(path));
        marker = home().writeFile(
            QDir::cleanPath(path).mid(home().root().size() + 1) + QStringLiteral("/keep.txt"), "keep");
    }

    ConsoleCapture console;
    EXPECT_FALSE(operation.call(path, work(QStringLiteral("elsewhere"))));
    EXPECT_TRUE(console.lines().contains(QString::fromLatin1(operation.message).arg(path)))
        << console.text().toStdString();
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(rm.calls().isEmpty());
    EXPECT_TRUE(mv.calls().isEmpty());
    if (real) {
        EXPECT_EQ(readFile(marker), "keep");
    }
}

INSTANTIATE_TEST_SUITE_P(EveryProtectedFolder, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kProtected), ::testing::ValuesIn(kRefusals)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_" +
                                    std::get<1>(info.param).name;
                         });

TEST_F(FileOpsTest, GuardIsTextualAndExactMatchSparesPrefixes) {
    EXPECT_TRUE(BMLocalPaths::isPathSystemDirectory(QStringLiteral("/usr/local/x")));
    EXPECT_FALSE(BMLocalPaths::isPathSystemDirectory(QStringLiteral("/usr/local/x"), true));
    EXPECT_TRUE(BMLocalPaths::isPathSystemDirectory(QStringLiteral("/"), true));
    EXPECT_TRUE(BMLocalPaths::isPathSystemDirectory(QStringLiteral("/Volumes"), true));
    EXPECT_FALSE(BMLocalPaths::isPathSystemDirectory(QStringLiteral("/Volumes/Disk"), true));
    EXPECT_TRUE(BMLocalPaths::isPathSystemDirectory(home().home(), true));
}

TEST_F(FileOpsTest, PrivilegedOperationsRefuseRelativePaths) {
    RecordingTool rm = fakeTool(Tool::Rm);
    ConsoleCapture console;
    EXPECT_FALSE(auth().authRemoveFile(QStringLiteral("Documents")));
    EXPECT_FALSE(auth().authTrashFile(QStringLiteral("a.mov")));
    EXPECT_TRUE(rm.calls().isEmpty());
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(console.text().contains(QStringLiteral("not a full path")));
}

TEST_F(FileOpsTest, RemovalInsideDocumentsProceeds) {
    grantingPkexec();
    const QString folder = BMLocalPaths::documentDirectory(true) + QStringLiteral("/Old Cuts");
    home().writeFile(folder.mid(home().root().size() + 1) + QStringLiteral("/a.prproj"), "x");
    EXPECT_TRUE(auth().authRemoveFile(folder));
    EXPECT_FALSE(QFileInfo::exists(folder));
    ASSERT_EQ(m_pkexec.calls().size(), 2); // the right, then the tool
    EXPECT_EQ(m_pkexec.calls()[0], QStringList{QStringLiteral("/bin/true")});
    EXPECT_EQ(m_pkexec.calls()[1], (QStringList{QStringLiteral("/bin/rm"), QStringLiteral("-Rdf"), folder}));
}

// ---- Tool arguments ---------------------------------------------------------------------

struct ToolRow {
    const char* name;
    // Runs the operation on prepared paths and returns the arguments expected for pkexec.
    std::function<QStringList(FileOpsTest&, const QString& a, const QString& b)> run;
    std::function<void(const QString& a, const QString& b)> check;
};

class ToolArguments : public FileOpsTest, public ::testing::WithParamInterface<ToolRow> {
public:
    QString read(const QString& path) { return QString::fromUtf8(readFile(path)); }
};

const ToolRow kToolRows[] = {
    {"Remove",
     [](FileOpsTest&, const QString& a, const QString&) {
         EXPECT_TRUE(auth().authRemoveFile(a));
         return QStringList{QStringLiteral("/bin/rm"), QStringLiteral("-Rdf"), a};
     },
     [](const QString& a, const QString&) { EXPECT_FALSE(QFileInfo::exists(a)); }},
    {"Move",
     [](FileOpsTest&, const QString& a, const QString& b) {
         EXPECT_TRUE(auth().authMoveFile(a, b));
         return QStringList{QStringLiteral("/bin/mv"), QStringLiteral("-f"), a, b};
     },
     [](const QString& a, const QString& b) {
         EXPECT_FALSE(QFileInfo::exists(a));
         EXPECT_TRUE(QFileInfo::exists(b));
     }},
    {"Copy",
     [](FileOpsTest&, const QString& a, const QString& b) {
         EXPECT_TRUE(auth().authCopyFile(a, b));
         return QStringList{QStringLiteral("/bin/cp"),
                            QStringLiteral("-f"),
                            QStringLiteral("-p"),
                            QStringLiteral("-R"),
                            a,
                            b};
     },
     [](const QString& a, const QString& b) {
         EXPECT_TRUE(QFileInfo::exists(a));
         EXPECT_TRUE(QFileInfo::exists(b));
     }},
    {"CreateDir",
     [](FileOpsTest&, const QString&, const QString& b) {
         const QString nested = b + QStringLiteral("/x/y");
         EXPECT_TRUE(auth().authCreateDir(nested));
         return QStringList{QStringLiteral("/bin/mkdir"), QStringLiteral("-p"), nested};
     },
     [](const QString&, const QString& b) { EXPECT_TRUE(QFileInfo(b + QStringLiteral("/x/y")).isDir()); }},
    {"ExecTask",
     [](FileOpsTest&, const QString& a, const QString&) {
         EXPECT_EQ(auth().authExecTask(QStringLiteral("/usr/bin/touch"), {QStringLiteral("-c"), a}), 0);
         return QStringList{QStringLiteral("/usr/bin/touch"), QStringLiteral("-c"), a};
     },
     [](const QString& a, const QString&) { EXPECT_TRUE(QFileInfo::exists(a)); }},
};

TEST_P(ToolArguments, RunsTheStandardToolWithExactArguments) {
    grantingPkexec();
    const QString a = writeWork(QStringLiteral("jö a.mov"), "cut");
    const QString b = work(QStringLiteral("dest b.mov"));
    const QStringList expected = GetParam().run(*this, a, b);
    const QList<QStringList> calls = m_pkexec.calls();
    ASSERT_EQ(calls.size(), 2);
    EXPECT_EQ(calls[0], QStringList{QStringLiteral("/bin/true")});
    EXPECT_EQ(calls[1], expected);
    GetParam().check(a, b);
}

INSTANTIATE_TEST_SUITE_P(Operations, ToolArguments, ::testing::ValuesIn(kToolRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileOpsTest, MoveAndCopyReportMissingPaths) {
    ConsoleCapture console;
    const QString a = writeWork(QStringLiteral("a"), "x");
    EXPECT_FALSE(auth().authMoveFile(QString(), a));
    EXPECT_FALSE(auth().authMoveFile(a, QString()));
    EXPECT_FALSE(auth().authCopyFile(QString(), a));
    EXPECT_FALSE(auth().authCopyFile(a, QString()));
    EXPECT_FALSE(auth().authMoveFile(work(QStringLiteral("missing")), a));
    EXPECT_FALSE(auth().authCopyFile(work(QStringLiteral("missing")), a));
    EXPECT_EQ(console.lines(), (QStringList{QStringLiteral("Error in authMoveFile: old path is null"),
                                            QStringLiteral("Error in authMoveFile: new path is null"),
                                            QStringLiteral("Error in authCopyFile: old path is null"),
                                            QStringLiteral("Error in authCopyFile: new path is null")}));
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

// ---- Obtaining the right ----------------------------------------------------------------

TEST_F(FileOpsTest, WithoutInterfaceEveryOperationFailsWithMinusOne) {
    BMAuthorization quiet(BMAuthorization::Interface::WithoutGUI);
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    ConsoleCapture console;
    EXPECT_EQ(quiet.authExecTask(QStringLiteral("/bin/rm"), {a}), -1);
    EXPECT_FALSE(quiet.authRemoveFile(a));
    EXPECT_FALSE(quiet.authMoveFile(a, a + QStringLiteral("2")));
    EXPECT_FALSE(quiet.authCopyFile(a, a + QStringLiteral("2")));
    EXPECT_FALSE(quiet.authCreateDir(work(QStringLiteral("new"))));
    EXPECT_FALSE(quiet.isAuthorized());
    EXPECT_FALSE(quiet.canAuthorize());
    EXPECT_EQ(console.lines().count(QStringLiteral("Unable to authorize")), 5);
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(a));
}

TEST_F(FileOpsTest, TheFirstGrantedRunIsTheRightAndIsKept) {
    grantingPkexec();
    EXPECT_FALSE(auth().isAuthorized());
    EXPECT_TRUE(auth().authStart());
    EXPECT_TRUE(auth().isAuthorized());
    EXPECT_TRUE(auth().authStart());
    const QString a = writeWork(QStringLiteral("a"), "x");
    EXPECT_TRUE(auth().authRemoveFile(a));
    const QList<QStringList> calls = m_pkexec.calls();
    ASSERT_EQ(calls.size(), 2);
    EXPECT_EQ(calls[0], QStringList{QStringLiteral("/bin/true")});
    EXPECT_EQ(calls[1].first(), QStringLiteral("/bin/rm"));
    auth().authEnd();
    EXPECT_FALSE(auth().isAuthorized());
}

TEST_F(FileOpsTest, ADismissedRequestLeavesEverythingAlone) {
    // pkexec exits 126 when the user dismisses the dialog.
    m_pkexec = fakeTool(Tool::Pkexec, RecordingTool::exiting(126));
    const QString a = writeWork(QStringLiteral("a"), "x");
    EXPECT_FALSE(auth().authStart());
    EXPECT_EQ(auth().authExecTask(QStringLiteral("/bin/rm"), {a}), -1);
    EXPECT_FALSE(auth().authRemoveFile(a));
    EXPECT_TRUE(QFileInfo::exists(a));
    for (const QStringList& call : m_pkexec.calls())
        EXPECT_EQ(call, QStringList{QStringLiteral("/bin/true")});
}

TEST_F(FileOpsTest, AToolThatFailsGivesItsStatus) {
    grantingPkexec();
    EXPECT_EQ(
        auth().authExecTask(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("exit 3")}), 3);
    const QString a = writeWork(QStringLiteral("a"), "x");
    EXPECT_FALSE(auth().authMoveFile(a, work(QStringLiteral("missing-folder/a"))));
    EXPECT_EQ(readFile(a), "x");
}

TEST_F(FileOpsTest, AMissingToolIsMinusTwo) {
    ConsoleCapture console;
    const QString missing = work(QStringLiteral("no-such-tool"));
    EXPECT_EQ(auth().authExecTask(missing, {}), -2);
    EXPECT_EQ(console.lines(),
              QStringList{QStringLiteral("Unable to execute task: path %1 doesn't exist").arg(missing)});
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
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
    const QStringList names = QDir(items).entryList(QDir::Files);
    ASSERT_EQ(names.size(), 2);
    EXPECT_EQ(readFile(items + QStringLiteral("/a.mov")), "older");
    const QString renamed = names.first() == QLatin1String("a.mov") ? names.last() : names.first();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^a_\\d{14}\\.mov$")).match(renamed).hasMatch())
        << renamed.toStdString();
    EXPECT_EQ(readFile(items + QLatin1Char('/') + renamed), "newer");
    const QByteArray record =
        readFile(trash() + QStringLiteral("/info/") + renamed + QStringLiteral(".trashinfo"));
    EXPECT_EQ(LinuxPlatform::originalPathFromTrashRecord(record), a);
    EXPECT_TRUE(record.contains("\nDeletionDate="));
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{QStringLiteral("/bin/mv"), QStringLiteral("-f"), a,
                                                    items + QLatin1Char('/') + renamed}));
}

TEST_F(FileOpsTest, PrivilegedTrashThatFailsLeavesNoRecord) {
    m_pkexec = fakeTool(Tool::Pkexec, RecordingTool::running(QStringLiteral("-f")));
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    EXPECT_FALSE(auth().authTrashFile(a));
    EXPECT_EQ(readFile(a), "x");
    EXPECT_TRUE(QDir(trash() + QStringLiteral("/info")).entryList(QDir::Files).isEmpty());
}

TEST_F(FileOpsTest, FolderContentsStopAtTheFirstFailure) {
    // The stand-in refuses the move of "b"; "c" must then not be tried.
    grantingPkexec(QStringLiteral("/b.mov"));
    for (const char* name : {"a.mov", "b.mov", "c.mov"})
        writeWork(QStringLiteral("vault/") + QLatin1String(name), "x");
    const QString vault = work(QStringLiteral("vault"));
    EXPECT_FALSE(auth().authMoveFolderContents(vault, work(QStringLiteral("moved"))));
    // Nothing of the move reached "c", whose name appears in no call.
    for (const QStringList& call : m_pkexec.calls())
        EXPECT_FALSE(call.join(QLatin1Char(' ')).contains(QStringLiteral("c.mov")));
    EXPECT_TRUE(QFileInfo::exists(vault + QStringLiteral("/b.mov")));
    EXPECT_TRUE(QFileInfo::exists(vault + QStringLiteral("/c.mov")));
}

TEST_F(FileOpsTest, FolderContentsGoToTheTrashOneByOne) {
    grantingPkexec();
    for (const char* name : {"a.mov", "b.mov"})
        writeWork(QStringLiteral("vault/") + QLatin1String(name), "x");
    const QString vault = work(QStringLiteral("vault"));
    EXPECT_TRUE(auth().authTrashFolderContents(vault));
    EXPECT_TRUE(QDir(vault).isEmpty());
    EXPECT_TRUE(QFileInfo::exists(trash() + QStringLiteral("/files/a.mov")));
    EXPECT_TRUE(QFileInfo::exists(trash() + QStringLiteral("/info/b.mov.trashinfo")));
    EXPECT_TRUE(auth().authTrashFolderContents(work(QStringLiteral("empty-none"))));
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

TEST_F(AsRoot, TrashGoesToTheConsoleUsersTrashWithARecord) {
    home().platform().user = QStringLiteral("root");
    home().platform().console = QStringLiteral("jo");
    const QString joHome = home().makeFolder(QStringLiteral("jo-home"));
    home().platform().homes.insert(QStringLiteral("jo"), joHome);
    BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    EXPECT_EQ(auth().userDirectory(), joHome);
    const QString a = writeWork(QStringLiteral("a.mov"), "x");
    EXPECT_TRUE(auth().authTrashFile(a));
    const QString joTrash = BMLocalPaths::trashDirectory();
    EXPECT_TRUE(joTrash.startsWith(joHome)) << joTrash.toStdString();
    EXPECT_EQ(readFile(joTrash + QStringLiteral("/files/a.mov")), "x");
    EXPECT_EQ(LinuxPlatform::originalPathFromTrashRecord(
                  readFile(joTrash + QStringLiteral("/info/a.mov.trashinfo"))),
              a);
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
