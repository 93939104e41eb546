#include "TempHome.h"
#include "foundation/BMLog.h"
#include "foundation/BMTaskEx.h"
#include "foundation/MainThread.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QThread>

#include <atomic>
#include <future>
#include <thread>
#include <unistd.h>

namespace {

class Task : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::setAppName("Vestry");
        BMLog::createNewLog();
    }

    // A shell script written by the test, made executable.
    QString script(const QString& name, const QByteArray& body) {
        const QString path = home().writeFile("tools/" + name, "#!/bin/sh\n" + body + "\n");
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }

    QString logText() {
        BMLog::finishWriting();
        QFile file(home().home() + "/.local/state/Brightmoor/Vestry.1.log");
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
};

int openDescriptorCount() {
    return int(QDir("/proc/self/fd").entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot).size());
}

// Children of this process that have exited and not been reaped.
int zombieChildren() {
    int zombies = 0;
    const QString self = QString::number(::getpid());
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile stat("/proc/" + pid + "/stat");
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QString text = QString::fromLatin1(stat.readAll());
        const QStringList fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields[1] == self && fields[0] == "Z")
            ++zombies;
    }
    return zombies;
}

} // namespace

TEST_F(Task, RunsAndReportsExitStatus) {
    EXPECT_TRUE(BMTaskEx::runTask("/bin/true", {}));
    EXPECT_TRUE(BMTaskEx::runTask("/bin/false", {})); // ran, whatever its status
    EXPECT_EQ(BMTaskEx::terminationCodeFromTask("/bin/sh", {"-c", "exit 3"}), 3);
    EXPECT_EQ(BMTaskEx::terminationCodeFromTask(home().root() + "/missing", {}), -1);
}

TEST_F(Task, RefusesFoldersAndNonExecutables) {
    const QString inner = script("Editor.app/Contents/MacOS/Editor", "exit 0");
    const QString bundle = home().root() + "/tools/Editor.app";
    const QString plain = home().writeFile("tools/readme.txt", "not a program");
    EXPECT_FALSE(BMTaskEx::runTask(bundle, {}));
    EXPECT_FALSE(BMTaskEx::dataFromTask(plain, {}).has_value());
    EXPECT_TRUE(BMTaskEx::runTask(inner, {}));
    const QString log = logText();
    EXPECT_TRUE(log.contains("Error: " + bundle + " is not executable"));
    EXPECT_TRUE(log.contains("Error: " + plain + " is not executable"));
}

TEST_F(Task, CapturesStandardOutputElseStandardError) {
    const QString both = script("both", "echo out; echo err >&2");
    const QString errOnly = script("erronly", "echo only-err >&2");
    const QString silent = script("silent", "exit 0");
    EXPECT_EQ(BMTaskEx::dataFromTask(both, {}), QByteArray("out\n"));
    EXPECT_EQ(BMTaskEx::dataFromTask(errOnly, {}), QByteArray("only-err\n"));
    EXPECT_EQ(BMTaskEx::dataFromTask(silent, {}), QByteArray());
    EXPECT_EQ(BMTaskEx::stringFromTask(silent, {}), "");
    // Without capture of standard output only standard error comes back.
    EXPECT_EQ(BMTaskEx::dataFromTask(script("both2", "echo err2 >&2"), {}, nullptr, {}, false),
              QByteArray("err2\n"));
}

TEST_F(Task, ArgumentsArePassedWithoutAShell) {
    const QString echo = script("args", R"(for a in "$@"; do printf '[%s]' "$a"; done)");
    EXPECT_EQ(BMTaskEx::stringFromTask(echo, {"a b", "$HOME", "*", ""}), "[a b][$HOME][*][]");
}

TEST_F(Task, GivenEnvironmentReplacesTheInheritedOne) {
    const QString env = script("env", "echo \"${ONLY:-unset}/${HOME:-nohome}\"");
    EXPECT_EQ(BMTaskEx::dataFromTask(env, {}, nullptr, QStringList{"ONLY=here"}),
              QByteArray("here/nohome\n"));
}

TEST_F(Task, LargeOutputOnBothStreamsDoesNotDeadlock) {
    const QString noisy = script("noisy", "head -c 3000000 /dev/zero; head -c 3000000 /dev/zero >&2");
    const auto data = BMTaskEx::dataFromTask(noisy, {});
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(data->size(), 3000000);
}

TEST_F(Task, ChildSeesNoTerminalOnStandardInput) {
    // cat would wait for a terminal; its input ends at once instead.
    EXPECT_EQ(BMTaskEx::dataFromTask("/bin/cat", {}), QByteArray());
}

TEST_F(Task, AsciiIsTheDefaultEncoding) {
    const QString utf8 = script("utf8", "printf 'caf\\303\\251'");
    EXPECT_EQ(BMTaskEx::stringFromTask(utf8, {}, BMTaskEx::Encoding::Utf8), QString::fromUtf8("café"));
    EXPECT_EQ(BMTaskEx::stringFromTask(utf8, {}).size(), 5);
}

TEST_F(Task, TimeoutCountsWholeSeconds) {
    QElapsedTimer clock;
    std::optional<QByteArray> data;
    std::thread worker([&] {
        clock.start();
        data = BMTaskEx::dataFromTaskWithTimeout("/bin/sleep", {"30"}, 2.9);
    });
    worker.join();
    const qint64 elapsed = clock.elapsed();
    EXPECT_GE(elapsed, 1950);
    EXPECT_LT(elapsed, 2800); // 2.9 s would mean the fraction counted
    EXPECT_TRUE(logText().contains("Task /bin/sleep timed out. Terminating..."));
}

TEST_F(Task, RunsEndingInTimeAreNotTerminated) {
    EXPECT_EQ(BMTaskEx::terminationCodeFromTaskWithTimeout("/bin/sh", {"-c", "exit 4"}, 5), 4);
    EXPECT_TRUE(BMTaskEx::runTaskWithTimeout("/bin/true", {}, 1));
    EXPECT_EQ(BMTaskEx::stringFromTaskWithTimeout("/bin/echo", {"hi"}, 3), "hi\n");
    EXPECT_FALSE(logText().contains("timed out"));
}

TEST_F(Task, TimeoutIsCarriedOutOnTheMainThreadWhenItRunsALoop) {
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    QEventLoop loop;
    std::atomic<bool> done{false};
    int code = 0;
    std::thread worker([&] {
        code = BMTaskEx::terminationCodeFromTaskWithTimeout("/bin/sleep", {"30"}, 1);
        done = true;
    });
    QElapsedTimer clock;
    clock.start();
    while (!done && clock.elapsed() < 10000)
        loop.processEvents(QEventLoop::AllEvents, 20);
    worker.join();
    MainThread::setDispatch(MainThread::Dispatch::Inline);
    EXPECT_TRUE(done);
    EXPECT_EQ(code, 15); // ended by SIGTERM
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
    EXPECT_EQ(zombieChildren(), 0);
}

TEST_F(Task, ACallerCanStopTheChildThroughTheSlot) {
    TaskSlot slot;
    auto run = std::async(std::launch::async,
                          [&] { return BMTaskEx::terminationCodeFromTask("/bin/sleep", {"30"}, &slot); });
    while (!slot.get() || !slot.get()->isRunning())
        QThread::msleep(10);
    slot.get()->terminate();
    EXPECT_EQ(run.get(), 15);
}

TEST_F(Task, StreamingDeliversEveryChunkThenOneEmptyChunk) {
    const QString counter = script("count", "i=0; while [ $i -lt 2000 ]; do echo line $i; i=$((i+1)); done");
    BMTaskEx runner;
    std::promise<void> finished;
    QByteArray received;
    int emptyChunks = 0;
    QVariant seenObject;
    runner.asyncDataFromTask(
        counter, {},
        [&](const QByteArray& chunk, BMTaskEx&, const QVariant& object) {
            seenObject = object;
            if (chunk.isEmpty()) {
                ++emptyChunks;
                finished.set_value();
            }
            received += chunk;
        },
        QVariant(42));
    finished.get_future().wait();
    EXPECT_EQ(emptyChunks, 1);
    EXPECT_EQ(received.count('\n'), 2000);
    EXPECT_TRUE(received.endsWith("line 1999\n"));
    EXPECT_EQ(seenObject.toInt(), 42);
}

TEST_F(Task, StreamingANonExecutableDeliversNothing) {
    std::atomic<int> calls{0};
    {
        BMTaskEx runner; // its end joins the streaming thread
        runner.asyncDataFromTask(home().root() + "/nothing", {},
                                 [&](const QByteArray&, BMTaskEx&, const QVariant&) { ++calls; });
    }
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(logText().contains("Unable to launch async task - task does not exist or is not executable"));
}
