#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>
#include <optional>
#include <sys/types.h>

// One child process started from an argument list (never through a shell). Every pipe is
// close-on-exec, so children started from other threads at the same moment inherit none
// of them; a child is always reaped, by its waiter or, when nobody waits, in the
// background, so no zombie is left behind.
class ChildProcess {
public:
    enum class Channel { Null, Pipe, Inherit };
    struct Options {
        QString path;
        QStringList arguments;
        // Replaces the inherited environment when present ("NAME=value" entries).
        std::optional<QStringList> environment;
        Channel standardOutput = Channel::Null;
        Channel standardError = Channel::Null;
    };

    explicit ChildProcess(Options options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    const Options& options() const { return m_options; }
    // False with a reason when the child could not be started.
    bool launch(QString* error = nullptr);
    bool isLaunched() const;
    pid_t pid() const;
    // Still running (not yet exited).
    bool isRunning();
    // Blocks until the child exits; its exit code, or the signal that ended it.
    int waitForExit();
    // Asks the child to stop (SIGTERM). Safe from any thread; does nothing once reaped.
    void terminate();

    // The reading ends of the piped channels; -1 when not piped or already closed.
    int standardOutputFd() const { return m_stdoutFd; }
    int standardErrorFd() const { return m_stderrFd; }
    void closeStandardOutput();
    void closeStandardError();

    // Reads both piped channels to their ends without either pipe filling up.
    void readToEnd(QByteArray* standardOutput, QByteArray* standardError);

private:
    Options m_options;
    mutable std::mutex m_mutex;
    pid_t m_pid = -1;
    bool m_reaped = false;
    int m_status = -1;
    int m_stdoutFd = -1;
    int m_stderrFd = -1;
};
