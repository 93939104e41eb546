// Starting the window as a user meets it: the built program under the offscreen platform,
// with its home and runtime folder inside the test's temporary folder.
#include "support/TempHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QThread>

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
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
        m_started.push_back(std::make_unique<QProcess>());
        QProcess* process = m_started.back().get();
        process->setProcessEnvironment(env);
        process->start(VESTRY_PROGRAM, {});
        EXPECT_TRUE(process->waitForStarted(10000));
        return process;
    }
    // Runs to the end, or is killed after twenty seconds (a hang fails the test).
    bool finishes(QProcess* process) {
        if (process->waitForFinished(20000))
            return true;
        process->kill();
        process->waitForFinished(5000);
        return false;
    }

private:
    std::vector<std::unique_ptr<QProcess>> m_started;
};

} // namespace

TEST_F(Startup, WithoutADisplayTheWindowSaysSoInsteadOfAborting) {
    const QByteArray expected =
        "vestry: no display; the window needs a graphical session. Run 'vestry --help' "
        "for the commands that work without one.\n";
    for (const char* platform : {"", "xcb", "wayland;xcb"}) {
        QProcessEnvironment env = environment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        if (*platform)
            env.insert("QT_QPA_PLATFORM", platform);
        else
            env.remove("QT_QPA_PLATFORM");
        QProcess* process = start(env);
        ASSERT_TRUE(finishes(process)) << platform;
        EXPECT_EQ(process->exitStatus(), QProcess::NormalExit) << platform;
        EXPECT_EQ(process->exitCode(), 1) << platform;
        EXPECT_EQ(process->readAllStandardError(), expected) << platform;
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

    QProcess* second = start(environment());
    ASSERT_TRUE(finishes(second));
    EXPECT_EQ(second->exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second->exitCode(), 0) << second->readAllStandardError().toStdString();

    QByteArray said;
    clock.restart();
    while (!said.contains("brought this window forward") && clock.elapsed() < 10000) {
        first->waitForReadyRead(200);
        said += first->readAllStandardOutput();
    }
    EXPECT_TRUE(said.contains("Another start of Vestry brought this window forward.")) << said.toStdString();
    EXPECT_EQ(first->state(), QProcess::Running);
}
