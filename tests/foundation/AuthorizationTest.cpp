#include "FileOpsFixture.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <functional>
#include <unistd.h>

namespace {

BMAuthorization& auth() {
    return BMAuthorization::sharedController();
}

const QStringList kRight{"/bin/true"}; // the run that obtains the right

struct GuardRow {
    const char* name;
    const char* path; // the protected path; "~" stands for the test's home
};

struct RefusalRow {
    const char* name;
    const char* what; // "Unable to <what> path <path> because it is a system directory."
    std::function<bool(const QString& path, const QString& elsewhere)> call;
};

const GuardRow kSystemWide[] = {{"FileSystemRoot", "/"}, {"Volumes", "/Volumes"}};

// Inside the test's temporary folder: even a guard that failed could only harm that.
const GuardRow kInHome[] = {
    {"Home", "~"}, {"HomeSpelledWithDotDot", "~/Desktop/.."}, {"HomeWithDoubleSlash", "~//."}};

const RefusalRow kPrivileged[] = {
    {"Remove", "delete", [](auto& p, auto&) { return auth().authRemoveFile(p); }},
    {"Move", "move", [](auto& p, auto& e) { return auth().authMoveFile(p, e); }},
    {"Trash", "trash", [](auto& p, auto&) { return auth().authTrashFile(p); }},
    {"TrashFolderContents", "trash folder contents of",
     [](auto& p, auto&) { return auth().authTrashFolderContents(p, true); }},
    {"MoveFolderContents", "move contents of",
     [](auto& p, auto& e) { return auth().authMoveFolderContents(p, e); }},
};

// The file operations try in this process first: only protected folders inside the test's own.
const RefusalRow kFileManager[] = {
    {"FileManagerTrash", "trash", [](auto& p, auto&) { return BMFileManager::trashFile(p); }},
    {"FileManagerRemove", "delete", [](auto& p, auto&) { return BMFileManager::removeFile(p); }},
    {"FileManagerMove", "move", [](auto& p, auto& e) { return BMFileManager::moveFile(p, e); }},
};

class GuardRefusal : public FileOpsTest,
                     public ::testing::WithParamInterface<std::tuple<GuardRow, RefusalRow>> {};

TEST_P(GuardRefusal, RefusesWithTheMessageAndTouchesNothing) {
    const auto& [where, operation] = GetParam();
    grantingPkexec(); // a right that would be granted: only the guard stands in the way
    const RecordingTool rm = fakeTool(Tool::Rm), mv = fakeTool(Tool::Mv);
    const QString path = QString(where.path).replace('~', home().home());
    const QString marker = QDir::cleanPath(path) + "/keep.txt";
    const bool real = path.startsWith(home().root());
    if (real)
        home().writeFile(marker, "keep");

    ConsoleCapture console;
    EXPECT_FALSE(operation.call(path, work("elsewhere")));
    EXPECT_TRUE(console.lines().contains(
        QString("Unable to %1 path %2 because it is a system directory.").arg(operation.what, path)))
        << console.text().toStdString();
    EXPECT_TRUE(m_pkexec.calls().isEmpty() && rm.calls().isEmpty() && mv.calls().isEmpty());
    if (real) {
        EXPECT_EQ(readFile(marker), "keep");
        EXPECT_FALSE(QFileInfo::exists(work("elsewhere")));
    }
}

std::string rowName(const ::testing::TestParamInfo<std::tuple<GuardRow, RefusalRow>>& info) {
    return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(SystemWide, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kSystemWide),
                                            ::testing::ValuesIn(kPrivileged)),
                         rowName);
INSTANTIATE_TEST_SUITE_P(InHome, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kInHome), ::testing::ValuesIn(kPrivileged)),
                         rowName);
INSTANTIATE_TEST_SUITE_P(FileOperations, GuardRefusal,
                         ::testing::Combine(::testing::ValuesIn(kInHome), ::testing::ValuesIn(kFileManager)),
                         rowName);

TEST_F(FileOpsTest, PrivilegedOperationsRefuseRelativeAndMissingPathsAndAFailingToolGivesItsStatus) {
    grantingPkexec();
    const RecordingTool rm = fakeTool(Tool::Rm);
    const QString a = writeWork("a", "x"), missing = work("missing");
    ConsoleCapture console;
    EXPECT_FALSE(auth().authRemoveFile("Documents") || auth().authTrashFile("a.mov"));
    EXPECT_FALSE(auth().authMoveFile(QString(), a) || auth().authMoveFile(a, QString()) ||
                 auth().authCopyFile(QString(), a) || auth().authCopyFile(a, QString()));
    EXPECT_FALSE(auth().authMoveFile(missing, a) || auth().authCopyFile(missing, a));
    EXPECT_EQ(
        console.lines(),
        (QStringList{"Refusing path \"Documents\": not a full path.",
                     "Refusing path \"a.mov\": not a full path.", "Error in authMoveFile: old path is null",
                     "Error in authMoveFile: new path is null", "Error in authCopyFile: old path is null",
                     "Error in authCopyFile: new path is null"}));
    EXPECT_TRUE(m_pkexec.calls().isEmpty() && rm.calls().isEmpty());
    // A failing tool gives its status, a missing one -2.
    EXPECT_EQ(auth().authExecTask("/bin/sh", {"-c", "exit 3"}), 3);
    EXPECT_FALSE(auth().authMoveFile(a, work("missing-folder/a")));
    EXPECT_EQ(readFile(a), "x");
    ConsoleCapture again;
    EXPECT_EQ(auth().authExecTask(work("no-such-tool"), {}), -2);
    EXPECT_EQ(again.lines(),
              QStringList{"Unable to execute task: path " + work("no-such-tool") + " doesn't exist"});
}

TEST_F(FileOpsTest, TheRightIsObtainedOnceAndTheStandardToolsRunWithExactArguments) {
    grantingPkexec();
    // Items inside a protected folder are no protected folders themselves.
    const QString documents = BMLocalPaths::documentDirectory(true);
    const QString a = home().writeFile(documents + "/Old Cuts/jö a.mov", "cut"), b = work("dest b.mov");
    EXPECT_FALSE(auth().isAuthorized());
    EXPECT_TRUE(auth().authCopyFile(a, b));
    EXPECT_TRUE(auth().isAuthorized() && auth().authRemoveFile(b) && auth().authMoveFile(a, b) &&
                auth().authCreateDir(b + "-folder/x/y"));
    EXPECT_EQ(auth().authExecTask("/usr/bin/touch", {"-c", b}), 0);
    EXPECT_EQ(m_pkexec.calls(), (QList<QStringList>{kRight,
                                                    {"/bin/cp", "-f", "-p", "-R", a, b},
                                                    {"/bin/rm", "-df", b},
                                                    {"/bin/mv", "-f", a, b},
                                                    {"/bin/mkdir", "-p", b + "-folder/x/y"},
                                                    {"/usr/bin/touch", "-c", b}}));
    EXPECT_TRUE(!QFileInfo::exists(a) && readFile(b) == "cut" && QFileInfo(b + "-folder/x/y").isDir());
    auth().authEnd();
    EXPECT_FALSE(auth().isAuthorized());
}

TEST_F(FileOpsTest, WithoutInterfaceOrWhenDismissedEveryOperationFailsWithMinusOne) {
    const QString a = writeWork("a.mov", "x");
    {
        grantingPkexec();
        BMAuthorization quiet(BMAuthorization::Interface::WithoutGUI);
        ConsoleCapture console;
        EXPECT_EQ(quiet.authExecTask("/bin/rm", {a}), -1);
        EXPECT_FALSE(quiet.authRemoveFile(a) || quiet.authMoveFile(a, a + "2") ||
                     quiet.authCopyFile(a, a + "2") || quiet.authCreateDir(work("n")) ||
                     quiet.isAuthorized() || quiet.canAuthorize());
        EXPECT_EQ(console.lines(), QStringList(5, "Unable to authorize"));
        EXPECT_TRUE(m_pkexec.calls().isEmpty());
    }
    m_pkexec = fakeTool(Tool::Pkexec, "exit 126"); // the user dismissed the dialog
    EXPECT_FALSE(auth().authStart());
    EXPECT_EQ(auth().authExecTask("/bin/rm", {a}), -1);
    EXPECT_FALSE(auth().authRemoveFile(a));
    EXPECT_EQ(m_pkexec.calls(), QList<QStringList>(3, kRight));
    EXPECT_TRUE(QFileInfo::exists(a));
}

TEST_F(FileOpsTest, CredentialsAreRefusedClearlyWhereThePlatformCannotTakeThem) {
    EXPECT_FALSE(auth().authStartWithUser(QString(), "pw") || auth().authStartWithUser("jo", QString()));
    ConsoleCapture console;
    EXPECT_FALSE(auth().authStartWithUser("jo", "secret"));
    EXPECT_TRUE(console.text().contains("Unable to authorize as jo"));
    EXPECT_FALSE(console.text().contains("secret") || logText().contains("secret") || auth().isAuthorized());
    home().platform().uid = 0;
    EXPECT_TRUE(auth().authStartWithUser("jo", "secret"));
}

TEST_F(FileOpsTest, PrivilegedTrashRenamesWithATimestampWhenTheNameIsTakenAndLeavesARestoreRecord) {
    grantingPkexec();
    const QString items = home().platform().trashItemsFolder(trash());
    home().writeFile(items + "/a.mov", "older");
    const QString a = writeWork("cuts/a.mov", "newer");
    EXPECT_TRUE(auth().authTrashFile(a));
    EXPECT_FALSE(QFileInfo::exists(a));
    QStringList names = QDir(items).entryList(QDir::Files);
    EXPECT_TRUE(names.removeOne("a.mov"));
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(QRegularExpression("^a_\\d{14}\\.mov$").match(names[0]).hasMatch()) << names[0].toStdString();
    EXPECT_EQ(readFile(items + "/a.mov"), "older");
    EXPECT_EQ(readFile(items + '/' + names[0]), "newer");
    EXPECT_EQ(trashedFrom(trash(), names[0]), a);
    EXPECT_EQ(m_pkexec.calls().last(), (QStringList{"/bin/mv", "-n", a, items + '/' + names[0]}));
    const QDateTime when(QDate(2015, 1, 1), QTime(12, 0, 0));
    EXPECT_EQ(BMAuthorization::timestampedTrashName("Project", when), "Project_20150101120000.");
    EXPECT_EQ(BMAuthorization::timestampedTrashName("My Cut.v2.prproj", when),
              "My Cut.v2_20150101120000.prproj");
}

TEST_F(FileOpsTest, FolderContentsGoOneByOneAndStopAtTheFirstFailure) {
    grantingPkexec("/b.mov"); // the move of "b" is refused; "c" must not be tried
    for (const char* name : {"vault/a.mov", "vault/b.mov", "vault/c.mov", "box/d.mov", "box/e.mov"})
        writeWork(name, "x");
    const QString vault = work("vault"), moved = home().makeFolder("work/moved");
    EXPECT_FALSE(auth().authMoveFolderContents(vault, moved));
    EXPECT_EQ(m_pkexec.calls().size(), 3); // the right, "a", "b"
    EXPECT_EQ(QDir(moved).entryList(QDir::Files), QStringList{"a.mov"});
    EXPECT_EQ(QDir(vault).entryList(QDir::Files), (QStringList{"b.mov", "c.mov"}));
    EXPECT_TRUE(auth().authTrashFolderContents(work("box")));
    EXPECT_TRUE(QDir(work("box")).isEmpty());
    EXPECT_EQ(trashedFrom(trash(), "d.mov"), work("box/d.mov"));
    EXPECT_EQ(readFile(trash() + "/files/e.mov"), "x");
}

TEST_F(FileOpsTest, AsRootWithNobodyAtTheConsoleNothingIsDeletedInsteadOfTrashedAndToolsRunDirectly) {
    if (::getuid() != 0)
        GTEST_SKIP() << "runs the tools directly only when the process really is root";
    home().platform().uid = 0;
    home().platform().user = "root";
    home().platform().console = QString();
    BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    EXPECT_TRUE(auth().userDirectory().isNull());
    const QString a = writeWork("a.mov", "x");
    writeWork("vault/x", "x");
    ConsoleCapture console;
    // Even when the caller would allow deleting: without a Trash the files stay.
    EXPECT_FALSE(auth().authTrashFile(a) || auth().authTrashFile(a, true) ||
                 auth().authTrashFolderContents(work("vault"), true));
    EXPECT_EQ(readFile(a), "x");
    EXPECT_EQ(readFile(work("vault/x")), "x");
    EXPECT_EQ(
        console.lines().last(),
        "Unable to trash path " + work("vault/x") +
            ": nobody is logged in whose Trash could take it; it is left where it is rather than deleted.");
    // The tools run directly, without asking for the right; removal takes one item only.
    writeWork("a/b.txt", "x");
    EXPECT_TRUE(auth().authCopyFile(work("a"), work("copy")));
    EXPECT_EQ(readFile(work("copy/b.txt")), "x");
    auth().authRemoveFile(work("copy"));
    EXPECT_EQ(readFile(work("copy/b.txt")), "x");
    EXPECT_TRUE(auth().authRemoveFile(work("copy/b.txt")) && auth().authRemoveFile(work("copy")));
    EXPECT_FALSE(QFileInfo::exists(work("copy")));
    EXPECT_EQ(auth().authExecTask("/bin/sh", {"-c", "exit 3"}), 0);
    EXPECT_TRUE(m_pkexec.calls().isEmpty());
}

} // namespace
