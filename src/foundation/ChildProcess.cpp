#include "ChildProcess.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include "foundation/FileName.h"

extern char** environ;

namespace {

int decodeStatus(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return WTERMSIG(status);
    return -1;
}

void closeFd(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

// Owned C strings for argv and envp.
struct CStringList {
    explicit CStringList(const QStringList& list) {
        storage.reserve(size_t(list.size()));
        for (const QString& item : list)
            storage.push_back(item.toUtf8());
        for (QByteArray& item : storage)
            pointers.push_back(item.data());
        pointers.push_back(nullptr);
    }
    std::vector<QByteArray> storage;
    std::vector<char*> pointers;
};

} // namespace

ChildProcess::ChildProcess(Options options) : m_options(std::move(options)) {
}

ChildProcess::~ChildProcess() {
    closeFd(m_stdoutFd);
    closeFd(m_stderrFd);
    std::lock_guard lock(m_mutex);
    if (m_pid > 0 && !m_reaped) {
        // Nobody waits for this child any more; reap it when it ends.
        std::thread([pid = m_pid] {
            int status = 0;
            while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
        }).detach();
    }
}

bool ChildProcess::launch(QString* error) {
    std::lock_guard lock(m_mutex);
    if (m_pid > 0) {
        if (error)
            *error = QStringLiteral("already launched");
        return false;
    }
    int outPipe[2] = {-1, -1};
    int errPipe[2] = {-1, -1};
    int inPipe[2] = {-1, -1};
    auto fail = [&](const QString& reason) {
        for (int* fds : {outPipe, errPipe, inPipe}) {
            closeFd(fds[0]);
            closeFd(fds[1]);
        }
        if (error)
            *error = reason;
        return false;
    };
    if (::pipe2(inPipe, O_CLOEXEC) != 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    if (m_options.standardOutput == Channel::Pipe && ::pipe2(outPipe, O_CLOEXEC) != 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    if (m_options.standardError == Channel::Pipe && ::pipe2(errPipe, O_CLOEXEC) != 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // The child's standard input is a pipe nobody writes: it never sees a terminal.
    posix_spawn_file_actions_adddup2(&actions, inPipe[0], STDIN_FILENO);
    auto route = [&](Channel channel, int pipeWrite, int target) {
        switch (channel) {
        case Channel::Null:
            posix_spawn_file_actions_addopen(&actions, target, "/dev/null", O_WRONLY, 0);
            break;
        case Channel::Pipe:
            posix_spawn_file_actions_adddup2(&actions, pipeWrite, target);
            break;
        case Channel::Inherit:
            break;
        }
    };
    route(m_options.standardOutput, outPipe[1], STDOUT_FILENO);
    route(m_options.standardError, errPipe[1], STDERR_FILENO);

    const QByteArray path = FileName::encode(m_options.path);
    CStringList argv(QStringList{m_options.path} + m_options.arguments);
    std::optional<CStringList> envp;
    if (m_options.environment)
        envp.emplace(*m_options.environment);
    pid_t pid = -1;
    const int rc = ::posix_spawn(&pid, path.constData(), &actions, nullptr, argv.pointers.data(),
                                 envp ? envp->pointers.data() : environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0)
        return fail(QString::fromLocal8Bit(std::strerror(rc)));

    m_pid = pid;
    closeFd(inPipe[0]);
    closeFd(inPipe[1]);
    closeFd(outPipe[1]);
    closeFd(errPipe[1]);
    m_stdoutFd = outPipe[0];
    m_stderrFd = errPipe[0];
    return true;
}

bool ChildProcess::isLaunched() const {
    std::lock_guard lock(m_mutex);
    return m_pid > 0;
}

pid_t ChildProcess::pid() const {
    std::lock_guard lock(m_mutex);
    return m_pid;
}

bool ChildProcess::isRunning() {
    std::lock_guard lock(m_mutex);
    if (m_pid <= 0 || m_reaped)
        return false;
    siginfo_t info{};
    // WNOWAIT leaves an exited child to its waiter; only the waiter reaps.
    if (::waitid(P_PID, id_t(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
        return false;
    return info.si_pid == 0;
}

int ChildProcess::waitForExit() {
    {
        std::lock_guard lock(m_mutex);
        if (m_pid <= 0)
            return -1;
        if (m_reaped)
            return m_status;
    }
    // Wait without reaping so terminate() can never signal a recycled process id.
    siginfo_t info{};
    while (::waitid(P_PID, id_t(m_pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    std::lock_guard lock(m_mutex);
    if (!m_reaped) {
        int status = 0;
        while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
        m_status = decodeStatus(status);
        m_reaped = true;
    }
    return m_status;
}

void ChildProcess::terminate() {
    std::lock_guard lock(m_mutex);
    if (m_pid > 0 && !m_reaped)
        ::kill(m_pid, SIGTERM);
}

void ChildProcess::closeStandardOutput() {
    closeFd(m_stdoutFd);
}

void ChildProcess::closeStandardError() {
    closeFd(m_stderrFd);
}

void ChildProcess::readToEnd(QByteArray* standardOutput, QByteArray* standardError) {
    pollfd fds[2];
    QByteArray* sinks[2] = {standardOutput, standardError};
    int* owners[2] = {&m_stdoutFd, &m_stderrFd};
    char buffer[65536];
    for (;;) {
        nfds_t count = 0;
        int map[2];
        for (int i = 0; i < 2; ++i) {
            if (*owners[i] >= 0) {
                fds[count] = {*owners[i], POLLIN, 0};
                map[count++] = i;
            }
        }
        if (count == 0)
            return;
        if (::poll(fds, count, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        for (nfds_t k = 0; k < count; ++k) {
            if (!(fds[k].revents & (POLLIN | POLLHUP | POLLERR)))
                continue;
            const int i = map[k];
            const ssize_t n = ::read(*owners[i], buffer, sizeof buffer);
            if (n > 0) {
                if (sinks[i])
                    sinks[i]->append(buffer, n);
            } else if (n == 0 || errno != EINTR) {
                closeFd(*owners[i]);
            }
        }
    }
}
