#include "foundation/LocationLock.h"

#include "TempHome.h"

#include <QDir>
#include <QProcess>

#include <atomic>
#include <chrono>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

class LocationLockTest : public TempHomeTest {
protected:
    QString location() { return home().makeFolder("Adobe Premiere Pro Auto-Save"); }
};

TEST_F(LocationLockTest, ASecondRunWaitsThenNamesTheHolder) {
    const QString folder = location();
    QString error;
    auto first = LocationLock::acquire(folder, "vestry prune", 0ms, &error);
    ASSERT_TRUE(first) << error.toStdString();
    // Another spelling of the same folder meets the same lock.
    const QString spelled = folder + "/../" + QDir(folder).dirName() + "/";
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(LocationLock::acquire(spelled, "vestry archive", 200ms, &error));
    EXPECT_GE(std::chrono::steady_clock::now() - started, 200ms);
    EXPECT_TRUE(error.contains(folder)) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("process %1, vestry prune").arg(::getpid())))
        << error.toStdString();
    const auto holder = LocationLock::currentHolder(folder);
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->pid, ::getpid());

    // Another location is free, and a waiter gets the lock as soon as its holder lets go.
    EXPECT_TRUE(LocationLock::acquire(home().makeFolder("Avid Attic"), "x", 0ms, &error));
    std::atomic<bool> got = false;
    std::thread waiter([&] { got = LocationLock::acquire(folder, "helper", 5s, nullptr).has_value(); });
    std::this_thread::sleep_for(100ms);
    EXPECT_FALSE(got);
    first.reset();
    waiter.join();
    EXPECT_TRUE(got);
    EXPECT_FALSE(LocationLock::currentHolder(folder));
}

TEST_F(LocationLockTest, ALockDiesWithItsProcess) {
    const QString folder = location();
    ASSERT_TRUE(LocationLock::acquire(folder, "make the file", 0ms, nullptr));
    // Another process holds the same kind of lock, as another run would (perl-base is everywhere).
    QProcess holder;
    holder.start("perl",
                 {"-MFcntl=:flock", "-e", "open(F, '<', $ARGV[0]) or die; flock(F, LOCK_EX) or die; <STDIN>",
                  LocationLock::lockFilePath(folder)});
    ASSERT_TRUE(holder.waitForStarted());
    for (int i = 0; i < 100 && !LocationLock::currentHolder(folder); ++i)
        std::this_thread::sleep_for(20ms);
    QString error;
    EXPECT_FALSE(LocationLock::acquire(folder, "x", 0ms, &error));
    EXPECT_TRUE(error.contains("another process")) << error.toStdString();
    holder.kill();
    holder.waitForFinished();
    EXPECT_TRUE(LocationLock::acquire(folder, "x", 0ms, nullptr));
}

} // namespace
