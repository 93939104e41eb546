// Starting the window as a user meets it: the built program under the offscreen platform,
// with its home and runtime folder inside the test's temporary folder.
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QThread>

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

class Startup : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(runtime()));
        QFile::setPermissions(runtime(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    void TearDown() override {
        for (const auto& process : m_started) {
            process->terminate();
            if (!process->waitForFinished(5000)) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
        TempHomeTest::TearDown();
    }
    QString runtime() const { return home().root() + "/run"; }
    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("XDG_RUNTIME_DIR", runtime());
        env.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + home().root() + "/no-bus");
        return env;
    }
    QProcess* start(const QProcessEnvironment& env) {
        m_started.push_back(startProgram(VESTRY_PROGRAM, {}, RunOptions(env)));
        return m_started.back().get();
    }

private:
    std::vector<std::unique_ptr<QProcess>> m_started;
};

} // namespace

TEST_F(Startup, WithoutADisplayTheWindowSaysSoInsteadOfAborting) {
    const QString expected = "vestry: no display; the window needs a graphical session. Run 'vestry --help' "
                             "for the commands that work without one.\n";
    for (const char* platform : {"", "xcb", "wayland;xcb"}) {
        QProcessEnvironment env = environment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        if (*platform)
            env.insert("QT_QPA_PLATFORM", platform);
        else
            env.remove("QT_QPA_PLATFORM");
        const ProgramRun run = finishProgram(*start(env), 20000);
        EXPECT_EQ(run.exitCode, 1) << platform;
        EXPECT_EQ(run.err, expected) << platform;
    }
}

// A socket file left by a run that crashed is in the way at first; the second start then
// finds the first, tells it, and ends.
TEST_F(Startup, ASecondStartBringsTheFirstWindowForwardAndEnds) {
    const QString socketPath = runtime() + "/vestry.socket";
    {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_GE(fd, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(socketPath);
        ASSERT_LT(size_t(path.size()), sizeof(address.sun_path));
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        ::close(fd); // never listened: a connection is refused, as after a crash
    }
    ASSERT_TRUE(QFile::exists(socketPath));

    QProcess* first = start(environment());
    QElapsedTimer clock;
    clock.start();
    bool listening = false;
    while (!listening && clock.elapsed() < 20000 && first->state() == QProcess::Running) {
        QLocalSocket probe;
        probe.connectToServer(socketPath);
        listening = probe.waitForConnected(200);
        if (!listening)
            QThread::msleep(100);
    }
    ASSERT_TRUE(listening) << first->readAllStandardError().toStdString();

    const ProgramRun second = finishProgram(*start(environment()), 20000);
    EXPECT_EQ(second.exitCode, 0) << second.err.toStdString();

    QByteArray said;
    clock.restart();
    while (!said.contains("brought this window forward") && clock.elapsed() < 10000) {
        first->waitForReadyRead(200);
        said += first->readAllStandardOutput();
    }
    EXPECT_TRUE(said.contains("Another start of Vestry brought this window forward.")) << said.toStdString();
    EXPECT_EQ(first->state(), QProcess::Running);
}
