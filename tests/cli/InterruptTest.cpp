// Ctrl+C during a prune stops it between files instead of killing it in the middle of one.
#include "foundation/LocationLock.h"
#include "support/TempHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <csignal>
#include <gtest/gtest.h>

namespace {

bool hasOpen(qint64 pid, const QString& file) {
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString& fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        if (QFileInfo(fds.filePath(fd)).symLinkTarget() == file)
            return true;
    return false;
}

class Interrupt : public TempHomeTest {};

} // namespace

// The prune waits for the location this test holds; the interrupt comes then, so it lands
// before the first file without depending on timing.
TEST_F(Interrupt, PruneStopsBeforeTheNextFileSaysSoAndExitsAsInterrupted) {
    if (actingForAnotherConsoleUser())
        GTEST_SKIP() << "running as root for another console user";
    const QString premiere = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
    for (int i = 1; i <= 4; ++i) {
        home().writeHomeFile(
            QStringLiteral("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-%1.prproj").arg(i), "x");
        QThread::msleep(5);
    }
    QString error;
    std::optional<LocationLock> held =
        LocationLock::acquire(premiere, "testing", std::chrono::milliseconds(0), &error);
    ASSERT_TRUE(held) << error.toStdString();

    QProcess prune;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LC_ALL", "en_US.UTF-8");
    env.insert("VESTRY_LOCK_WAIT_MS", "30000");
    prune.setProcessEnvironment(env);
    prune.start(VESTRY_PROGRAM, {"prune", "--keep", "1", premiere});
    const QString lockFile = LocationLock::lockFilePath(premiere);
    QElapsedTimer timer;
    timer.start();
    while (!hasOpen(prune.processId(), lockFile) && timer.elapsed() < 20000)
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
        QString::fromUtf8(prune.readAllStandardError()),
        "vestry prune: Cancelled: 0 of 3 autosaves were moved to the Trash; the other 3 are untouched.\n");
    EXPECT_EQ(QDir(premiere + "/Beta").entryList(QDir::Files).size(), 4);
    EXPECT_TRUE(QDir(home().home() + "/.local/share/Trash/files").entryList(QDir::Files).isEmpty());
}
