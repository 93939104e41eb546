// vestry restore as a user meets it: the built program after real removals by vestry prune.
#include "CommandLineFixture.h"
#include "foundation/PlistFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>

namespace {

// The locations as the settings know them: restore looks in no other.
class RestoreCommand : public CommandLine {
protected:
    void SetUp() override {
        CommandLine::SetUp();
        PlistFile::writeXml(settingsFile(), QVariantMap{{"autosavePaths", QStringList{premiere}}});
    }
    ProgramRun run(const QStringList& arguments, const QString& lockWaitMs = QString()) {
        QProcessEnvironment env = environment();
        if (!lockWaitMs.isNull())
            env.insert("VESTRY_LOCK_WAIT_MS", lockWaitMs);
        return CommandLine::run(arguments, env);
    }
};

// A named pipe among the restore records blocked the reader for good; it is no record.
TEST_F(RestoreCommand, ListsPutsBackTheLastRemovalAndRefusesWhereAFileStandsSkippingAPipe) {
    ASSERT_EQ(run({"prune", "--keep", "2"}).exitCode, 0);
    ASSERT_EQ(run({"prune", "--keep", "1"}).exitCode, 0);
    const QByteArray pipe =
        QFile::encodeName(home().home()) + "/.local/share/Trash/info/Pipe.prproj.trashinfo";
    ASSERT_EQ(::mkfifo(pipe.constData(), 0600), 0);
    const QString beta1 = premiere + "/Beta/Beta-1.prproj";
    const QString beta2 = premiere + "/Beta/Beta-2.prproj";

    const ProgramRun listed = run({"restore", "--list", "--json"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err.toStdString();
    const QJsonArray trashed =
        QJsonDocument::fromJson(listed.out.toUtf8()).object().value("trashed").toArray();
    ASSERT_EQ(trashed.size(), 2) << listed.out.toStdString();
    QStringList paths;
    for (const QJsonValue& entry : trashed) {
        const QJsonObject item = entry.toObject();
        paths << item.value("originalPath").toString();
        EXPECT_EQ(item.value("size").toInteger(), 180);
        EXPECT_TRUE(item.value("deletionDate").toString().endsWith('Z'));
        EXPECT_TRUE(QFileInfo::exists(item.value("pathInTrash").toString()));
    }
    paths.sort();
    EXPECT_EQ(paths, (QStringList{beta1, beta2}));

    // The second prune took Beta-2 only.
    const ProgramRun last = run({"restore", "--last"});
    EXPECT_EQ(last.exitCode, 0) << last.err.toStdString();
    EXPECT_EQ(last.out, "Put back " + beta2 + "\n");
    EXPECT_EQ(readFile(beta2), QByteArray("Beta/Beta-2.prproj").repeated(10));
    EXPECT_FALSE(QFileInfo::exists(beta1));

    home().writeFile(beta1, "written since");
    const ProgramRun refused = run({"restore", beta1, premiere + "/Beta/Beta-9.prproj"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("vestry restore: " + beta1 + ": something already stands there"))
        << refused.err.toStdString();
    EXPECT_TRUE(refused.err.contains("Beta-9.prproj: nothing in the Trash")) << refused.err.toStdString();
    EXPECT_EQ(readFile(beta1), "written since");
    EXPECT_TRUE(run({"restore", "--list"})
                    .out.endsWith(beta1 + "\n1 item in the Trash from the autosave locations\n"));

    EXPECT_EQ(run({"restore"}).exitCode, 2);
}

TEST_F(RestoreCommand, WaitsForTheLocationsLockAsARemovalDoesThenPutsBackNothing) {
    ASSERT_EQ(run({"prune", "--keep", "1"}).exitCode, 0);
    std::optional<LocationLock> held = holdLocation("vestry-helper -clean");
    ASSERT_TRUE(held);
    QElapsedTimer timer;
    timer.start();
    const ProgramRun busy = run({"restore", "--last"}, "1000");
    EXPECT_GE(timer.elapsed(), 1000);
    EXPECT_EQ(busy.exitCode, 1);
    EXPECT_EQ(busy.out, "");
    EXPECT_EQ(busy.err,
              QString("vestry restore: %1 is busy: another Vestry run (process %2, vestry-helper -clean) "
                      "is working on it. Try again when it has finished. Nothing was put back.\n")
                  .arg(premiere)
                  .arg(::getpid()));
    EXPECT_FALSE(QFileInfo::exists(premiere + "/Beta/Beta-1.prproj"));
    EXPECT_TRUE(
        run({"restore", "--list"}).out.endsWith("\n2 items in the Trash from the autosave locations\n"));

    held.reset();
    const ProgramRun free = run({"restore", "--last"}, "1000");
    EXPECT_EQ(free.exitCode, 0) << free.err.toStdString();
    EXPECT_EQ(readFile(premiere + "/Beta/Beta-1.prproj"), QByteArray("Beta/Beta-1.prproj").repeated(10));
}

// A prune trashes a newer Beta-1 while the restore waits for it: the newer one comes back.
TEST_F(RestoreCommand, ReadsTheTrashOnlyOnceTheRemovalItWaitedForHasFinished) {
    const QString beta1 = premiere + "/Beta/Beta-1.prproj";
    ASSERT_EQ(run({"prune", "--keep", "2"}).exitCode, 0);
    QThread::msleep(1100); // deletion dates are whole seconds
    const ProgramRun restored = runWhileHeld(
        {"restore", beta1},
        [&](QProcess&) {
            write(beta1, "newer");
            const ProgramRun trashed = runProgram("trash-put", {beta1}, {environment()});
            ASSERT_EQ(trashed.exitCode, 0) << trashed.err.toStdString();
        },
        "vestry prune: moving autosaves to the Trash");
    EXPECT_EQ(restored.exitCode, 0) << restored.err.toStdString();
    EXPECT_EQ(readFile(beta1), "newer");
    EXPECT_EQ(trashRecords().size(), 1);
}

TEST_F(RestoreCommand, PutsBackANameThatIsNotUtf8ByItsBytes) {
    const QByteArray older = cafeProject() + "/Caf\xe9-1.prproj";
    EXPECT_EQ(run({"prune", "--keep", "1"}).exitCode, 0);
    EXPECT_TRUE(run({"restore", "--list"}).out.contains(premiere + "/Caf\\xe9/Caf\\xe9-1.prproj\n"));
    const ProgramRun last = run({"restore", "--last"});
    EXPECT_EQ(last.exitCode, 0) << last.err.toStdString();
    struct stat back {};
    EXPECT_TRUE(::lstat(older.constData(), &back) == 0 && back.st_size == 8);
    EXPECT_TRUE(trashRecords().isEmpty());
}

// Ctrl+C comes while the restore waits for the location this test holds: it lands before the
// first item, however fast the machine.
TEST_F(RestoreCommand, CtrlCStopsBetweenItemsSaysSoAndExitsAsInterrupted) {
    ASSERT_EQ(run({"prune", "--keep", "1"}).exitCode, 0);
    const ProgramRun stopped = runWhileHeld({"restore", "--last"}, [](QProcess& restore) {
        ASSERT_EQ(::kill(pid_t(restore.processId()), SIGINT), 0);
        QThread::msleep(100);
    });
    EXPECT_EQ(stopped.exitCode, 130);
    EXPECT_EQ(stopped.err,
              "vestry restore: Cancelled: 0 of 2 autosaves were put back; the other 2 are untouched.\n");
    EXPECT_EQ(trashRecords().size(), 2);
}

} // namespace
