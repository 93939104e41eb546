#include "CommandLineFixture.h"
#include "foundation/LocationLock.h"

#include <QElapsedTimer>

#include <csignal>

using Interrupt = CommandLine;

// Ctrl+C comes while the prune waits for the location this test holds, so it lands before the
// first file whatever the machine's speed.
TEST_F(Interrupt, CtrlCStopsAPruneBetweenFilesSaysSoAndExitsAsInterrupted) {
    QString error;
    std::optional<LocationLock> held = LocationLock::acquire(premiere, "testing", {}, &error);
    ASSERT_TRUE(held) << error.toStdString();
    QProcess prune;
    QProcessEnvironment env = environment();
    env.insert("VESTRY_LOCK_WAIT_MS", "30000");
    prune.setProcessEnvironment(env);
    prune.start(VESTRY_PROGRAM, {"prune", "--keep", "1", premiere});
    QElapsedTimer clock;
    clock.start();
    while (!hasOpen(prune.processId(), LocationLock::lockFilePath(premiere)) && clock.elapsed() < 20000)
        QThread::msleep(10);
    ASSERT_EQ(::kill(pid_t(prune.processId()), SIGINT), 0);
    QThread::msleep(100);
    held.reset();
    if (!prune.waitForFinished(20000)) {
        prune.kill();
        prune.waitForFinished();
        FAIL() << "vestry prune did not finish";
    }
    EXPECT_EQ(prune.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(prune.exitCode(), 130);
    EXPECT_EQ(
        prune.readAllStandardError(),
        "vestry prune: Cancelled: 0 of 2 autosaves were moved to the Trash; the other 2 are untouched.\n");
    EXPECT_EQ(autosavesLeft(), kAll);
}
