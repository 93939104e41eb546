#include "FileOpsFixture.h"
#include "foundation/BMTaskEx.h"
#include "foundation/MainThread.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <future>
#include <sys/wait.h>
#include <thread>

namespace {

using Task = FileOpsTest;

int openDescriptorCount() {
    return int(QDir("/proc/self/fd").entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot).size());
}

} // namespace

TEST_F(Task, RunsOnlyExecutableFilesAndReportsExitStatus) {
    EXPECT_TRUE(BMTaskEx::runTask("/bin/true", {}));
    EXPECT_TRUE(BMTaskEx::runTask("/bin/false", {})); // ran, whatever its status
    EXPECT_EQ(BMTaskEx::terminationCodeFromTask("/bin/sh", {"-c", "exit 3"}), 3);
    EXPECT_EQ(BMTaskEx::terminationCodeFromTask(home().root() + "/missing", {}), -1);
    const QString inner = script("Editor.app/Contents/MacOS/Editor", "exit 0");
    const QString bundle = home().root() + "/tools/Editor.app";
    const QString plain = home().writeFile("tools/readme.txt", "not a program");
    EXPECT_FALSE(BMTaskEx::runTask(bundle, {}));
    EXPECT_FALSE(BMTaskEx::dataFromTask(plain, {}).has_value());
    EXPECT_TRUE(BMTaskEx::runTask(inner, {}));
    EXPECT_TRUE(logText().contains("Error: " + bundle + " is not executable"));
    EXPECT_TRUE(logText().contains("Error: " + plain + " is not executable"));
}

TEST_F(Task, CapturesStandardOutputElseStandardErrorAndPassesArgumentsAndEnvironmentWithoutAShell) {
    EXPECT_EQ(BMTaskEx::dataFromTask(script("both", "echo out; echo err >&2"), {}), QByteArray("out\n"));
    EXPECT_EQ(BMTaskEx::dataFromTask(script("erronly", "echo only-err >&2"), {}), QByteArray("only-err\n"));
    EXPECT_EQ(BMTaskEx::dataFromTask(script("silent", "exit 0"), {}), QByteArray());
    // Without capture of standard output only standard error comes back.
    EXPECT_EQ(BMTaskEx::dataFromTask(home().root() + "/tools/both", {}, nullptr, {}, false),
              QByteArray("err\n"));
    // cat would wait for a terminal; its input ends at once instead.
    EXPECT_EQ(BMTaskEx::dataFromTask("/bin/cat", {}), QByteArray());
    // Both pipes are drained together: a child filling both does not deadlock.
    const QString noisy = script("noisy", "head -c 3000000 /dev/zero; head -c 3000000 /dev/zero >&2");
    EXPECT_EQ(BMTaskEx::dataFromTask(noisy, {}).value_or(QByteArray()).size(), 3000000);
    const QString echo = script("args", R"(for a in "$@"; do printf '[%s]' "$a"; done)");
    EXPECT_EQ(BMTaskEx::stringFromTask(echo, {"a b", "$HOME", "*", ""}), "[a b][$HOME][*][]");
    const QString env = script("env", "echo \"${ONLY:-unset}/${HOME:-nohome}\"");
    EXPECT_EQ(BMTaskEx::dataFromTask(env, {}, nullptr, QStringList{"ONLY=here"}),
              QByteArray("here/nohome\n"));
    const QString utf8 = script("utf8", "printf 'caf\\303\\251'");
    EXPECT_EQ(BMTaskEx::stringFromTask(utf8, {}, BMTaskEx::Encoding::Utf8), QString::fromUtf8("café"));
    EXPECT_EQ(BMTaskEx::stringFromTask(utf8, {}).size(), 5); // ASCII by default
}

TEST_F(Task, TimeoutCountsWholeSecondsRunsOnTheMainThreadsLoopAndSparesRunsEndingInTime) {
    EXPECT_EQ(BMTaskEx::terminationCodeFromTaskWithTimeout("/bin/sh", {"-c", "exit 4"}, 5), 4);
    EXPECT_EQ(BMTaskEx::stringFromTaskWithTimeout("/bin/echo", {"hi"}, 3), "hi\n");
    QElapsedTimer clock;
    std::thread worker([&] {
        clock.start();
        BMTaskEx::dataFromTaskWithTimeout("/bin/sleep", {"30"}, 2.9);
    });
    worker.join();
    EXPECT_GE(clock.elapsed(), 1950);
    EXPECT_LT(clock.elapsed(), 2800); // 2.9 s would mean the fraction counted
    EXPECT_EQ(logText().count("timed out"), 1);
    EXPECT_TRUE(logText().contains("Task /bin/sleep timed out. Terminating..."));

    // Carried out on the main thread when it runs a loop; a caller can stop the child too.
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    std::atomic<bool> done{false};
    int code = 0;
    std::thread looping([&] {
        code = BMTaskEx::terminationCodeFromTaskWithTimeout("/bin/sleep", {"30"}, 1);
        done = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return done.load(); }, 10000));
    looping.join();
    MainThread::setDispatch(MainThread::Dispatch::Inline);
    EXPECT_EQ(code, 15); // ended by SIGTERM
    TaskSlot slot;
    auto run = std::async(std::launch::async,
                          [&] { return BMTaskEx::terminationCodeFromTask("/bin/sleep", {"30"}, &slot); });
    while (!slot.get() || !slot.get()->isRunning())
        QThread::msleep(10);
    slot.get()->terminate();
    EXPECT_EQ(run.get(), 15);
}

TEST_F(Task, NoZombiesAndNoLeakedDescriptors) {
    BMTaskEx::runTask("/bin/true", {}); // let one-time set-up open what it needs
    const int before = openDescriptorCount();
    for (int i = 0; i < 30; ++i) {
        BMTaskEx::dataFromTask("/bin/echo", {"x"});
        BMTaskEx::terminationCodeFromTask("/bin/true", {});
        BMTaskEx::stringFromTaskWithTimeout("/bin/echo", {"y"}, 2);
    }
    auto detached = BMTaskEx::runTaskAndReturn("/bin/true", {});
    ASSERT_TRUE(detached);
    detached.reset(); // dropped unwaited: reaped in the background
    QThread::msleep(300);
    EXPECT_EQ(openDescriptorCount(), before);
    // No child is left, exited or not: each was reaped.
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(Task, StreamingDeliversEveryChunkThenOneEmptyChunk) {
    const QString counter = script("count", "i=0; while [ $i -lt 2000 ]; do echo line $i; i=$((i+1)); done");
    std::promise<void> finished;
    QByteArray received;
    int emptyChunks = 0;
    QVariant seenObject;
    {
        BMTaskEx runner;
        runner.asyncDataFromTask(
            counter, {},
            [&](const QByteArray& chunk, BMTaskEx&, const QVariant& object) {
                seenObject = object;
                received += chunk;
                if (chunk.isEmpty() && ++emptyChunks == 1)
                    finished.set_value();
            },
            QVariant(42));
        finished.get_future().wait();
    } // joins the streaming thread: nothing can arrive after this
    EXPECT_EQ(emptyChunks, 1);
    EXPECT_EQ(received.count('\n'), 2000);
    EXPECT_TRUE(received.endsWith("line 1999\n"));
    EXPECT_EQ(seenObject.toInt(), 42);
    {
        BMTaskEx runner; // nothing runs, so nothing may arrive
        runner.asyncDataFromTask(home().root() + "/nothing", {},
                                 [&](const QByteArray&, BMTaskEx&, const QVariant&) { ++emptyChunks; });
    }
    EXPECT_EQ(emptyChunks, 1);
    EXPECT_TRUE(logText().contains("Unable to launch async task - task does not exist or is not executable"));
}
