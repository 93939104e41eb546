#include "foundation/LocationLock.h"
#include "support/TempHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <csignal>
#include <gtest/gtest.h>

class Interrupt : public TempHomeTest {};

// Ctrl+C comes while the prune waits for the location this test holds, so it lands before the
// first file whatever the machine's speed.
TEST_F(Interrupt, CtrlCStopsAPruneBetweenFilesSaysSoAndExitsAsInterrupted) {
    if (actingForAnotherConsoleUser())
        GTEST_SKIP() << "running as root for another console user";
    const QString premiere = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
    for (int i = 1; i <= 4; ++i)
        home().writeHomeFile(QString("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-%1.prproj").arg(i),
                             "x");
    QString error;
    std::optional<LocationLock> held = LocationLock::acquire(premiere, "testing", {}, &error);
    ASSERT_TRUE(held) << error.toStdString();
    QProcess prune;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("VESTRY_LOCK_WAIT_MS", "30000");
    prune.setProcessEnvironment(env);
    prune.start(VESTRY_PROGRAM, {"prune", "--keep", "1", premiere});
    const QString fd = QString("/proc/%1/fd").arg(prune.processId());
    const auto waiting = [&] {
        for (const QFileInfo& each :
             QDir(fd).entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
            if (each.symLinkTarget() == LocationLock::lockFilePath(premiere))
                return true;
        return false;
    };
    QElapsedTimer clock;
    clock.start();
    while (!waiting() && clock.elapsed() < 20000)
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
        "vestry prune: Cancelled: 0 of 3 autosaves were moved to the Trash; the other 3 are untouched.\n");
    EXPECT_EQ(QDir(premiere + "/Beta").entryList(QDir::Files).size(), 4);
}
