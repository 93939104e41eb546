#include "BMTaskEx.h"

#include "BMException.h"
#include "BMLog.h"
#include "MainThread.h"
#include "foundation/FileName.h"

#include <QFileInfo>

#include <chrono>
#include <condition_variable>
#include <unistd.h>

void TaskSlot::set(std::shared_ptr<ChildProcess> task) {
    std::lock_guard lock(m_mutex);
    m_task = std::move(task);
}

std::shared_ptr<ChildProcess> TaskSlot::get() const {
    std::lock_guard lock(m_mutex);
    return m_task;
}

void TaskSlot::clear() {
    set(nullptr);
}

namespace {

std::shared_ptr<ChildProcess> makeChild(const QString& path, const QStringList& arguments,
                                        ChildProcess::Channel out, ChildProcess::Channel err,
                                        const BMTaskEx::Environment& environment = {}) {
    ChildProcess::Options options;
    options.path = path;
    options.arguments = arguments;
    options.environment = environment;
    options.standardOutput = out;
    options.standardError = err;
    return std::make_shared<ChildProcess>(std::move(options));
}

void logNotExecutable(const QString& path) {
    BMLog::appendLogAndPrint(QStringLiteral("Error: %1 is not executable").arg(path));
}

// The time-out of one guarded run. The timer thread is detached and shares this state, so
// a run that ends early never waits for it, and a late wake-up finds nothing to stop.
struct TimeoutState {
    std::mutex mutex;
    std::condition_variable wake;
    bool cancelled = false;
    BMTaskEx* runner = nullptr;
};

void timeoutFired(const std::shared_ptr<TimeoutState>& state) {
    std::lock_guard lock(state->mutex);
    if (state->cancelled || !state->runner)
        return;
    std::shared_ptr<ChildProcess> child = state->runner->task();
    if (child && child->isRunning()) {
        BMLog::appendLogAndPrint(
            QStringLiteral("Task %1 timed out. Terminating...").arg(child->options().path));
        child->terminate();
    }
}

} // namespace

BMTaskEx::BMTaskEx() = default;

BMTaskEx::~BMTaskEx() {
    if (m_streamThread.joinable()) {
        if (m_streamThreadId.load() == std::this_thread::get_id())
            m_streamThread.detach();
        else
            m_streamThread.join();
    }
}

bool BMTaskEx::isExecutable(const QString& path) {
    if (path.isEmpty())
        return false;
    const QFileInfo info(path);
    if (!info.exists() || info.isDir())
        return false;
    return ::access(FileName::encode(path).constData(), X_OK) == 0;
}

QString BMTaskEx::decode(const QByteArray& bytes, Encoding encoding) {
    if (bytes.isEmpty())
        return QStringLiteral("");
    switch (encoding) {
    case Encoding::Utf8:
        return QString::fromUtf8(bytes);
    case Encoding::Ascii:
        // Bytes above 127 are not ASCII; they are kept one character each rather than
        // failing the whole text.
        return QString::fromLatin1(bytes);
    }
    return QString();
}

// The quiet runs: both output channels to the null device. Null when the path is not an
// executable or the launch failed (both logged).
static std::shared_ptr<ChildProcess> launchQuietly(const QString& path, const QStringList& arguments,
                                                   TaskSlot* task) {
    if (!BMTaskEx::isExecutable(path)) {
        logNotExecutable(path);
        return nullptr;
    }
    auto child = makeChild(path, arguments, ChildProcess::Channel::Null, ChildProcess::Channel::Null);
    if (task)
        task->set(child);
    QString error;
    if (!child->launch(&error)) {
        BMLog::appendLog(QStringLiteral("Exception running task %1: %2").arg(path, error));
        return nullptr;
    }
    return child;
}

bool BMTaskEx::runTask(const QString& path, const QStringList& arguments, TaskSlot* task) {
    std::shared_ptr<ChildProcess> child = launchQuietly(path, arguments, task);
    if (!child)
        return false;
    child->waitForExit();
    return true;
}

std::shared_ptr<ChildProcess> BMTaskEx::runTaskAndReturn(const QString& path, const QStringList& arguments) {
    return launchQuietly(path, arguments, nullptr);
}

int BMTaskEx::terminationCodeFromTask(const QString& path, const QStringList& arguments, TaskSlot* task) {
    std::shared_ptr<ChildProcess> child = launchQuietly(path, arguments, task);
    return child ? child->waitForExit() : -1;
}

std::optional<QByteArray> BMTaskEx::dataFromTask(const QString& path, const QStringList& arguments,
                                                 TaskSlot* task, const Environment& environment,
                                                 bool logOutput) {
    if (!isExecutable(path)) {
        logNotExecutable(path);
        return std::nullopt;
    }
    auto child =
        makeChild(path, arguments, logOutput ? ChildProcess::Channel::Pipe : ChildProcess::Channel::Inherit,
                  ChildProcess::Channel::Pipe, environment);
    if (task)
        task->set(child);
    QString error;
    if (!child->launch(&error)) {
        BMLog::appendLogAndPrint(QStringLiteral("Exception running task %1: %2").arg(path, error));
        return std::nullopt;
    }
    QByteArray out;
    QByteArray err;
    child->readToEnd(&out, &err);
    child->waitForExit();
    if (!out.isEmpty())
        return out;
    if (!err.isEmpty())
        return err;
    return out;
}

QString BMTaskEx::stringFromTask(const QString& path, const QStringList& arguments, Encoding encoding,
                                 TaskSlot* task) {
    return decode(dataFromTask(path, arguments, task).value_or(QByteArray()), encoding);
}

template <typename Result, typename Run>
Result BMTaskEx::runGuarded(double seconds, Run run) {
    auto state = std::make_shared<TimeoutState>();
    state->runner = this;
    const auto wholeSeconds = std::chrono::seconds(static_cast<long long>(seconds));
    std::thread([state, wholeSeconds] {
        {
            std::unique_lock lock(state->mutex);
            if (state->wake.wait_for(lock, wholeSeconds, [&] { return state->cancelled; }))
                return;
        }
        MainThread::runAndWait([state] { timeoutFired(state); });
    }).detach();

    Result result = run(&m_task);
    m_task.clear();
    {
        std::lock_guard lock(state->mutex);
        state->cancelled = true;
        state->runner = nullptr;
    }
    state->wake.notify_all();
    return result;
}

bool BMTaskEx::runTaskWithTimeout(const QString& path, const QStringList& arguments, double seconds) {
    BMTaskEx runner;
    return runner.runGuarded<bool>(seconds, [&](TaskSlot* slot) { return runTask(path, arguments, slot); });
}

std::optional<QByteArray> BMTaskEx::dataFromTaskWithTimeout(const QString& path, const QStringList& arguments,
                                                            double seconds) {
    BMTaskEx runner;
    return runner.runGuarded<std::optional<QByteArray>>(
        seconds, [&](TaskSlot* slot) { return dataFromTask(path, arguments, slot); });
}

int BMTaskEx::terminationCodeFromTaskWithTimeout(const QString& path, const QStringList& arguments,
                                                 double seconds) {
    BMTaskEx runner;
    return runner.runGuarded<int>(
        seconds, [&](TaskSlot* slot) { return terminationCodeFromTask(path, arguments, slot); });
}

std::optional<BMTaskEx::Outcome>
BMTaskEx::outcomeFromTaskWithTimeout(const QString& path, const QStringList& arguments, double seconds) {
    BMTaskEx runner;
    return runner.runGuarded<std::optional<Outcome>>(seconds, [&](TaskSlot* slot) -> std::optional<Outcome> {
        if (!isExecutable(path)) {
            logNotExecutable(path);
            return std::nullopt;
        }
        auto child = makeChild(path, arguments, ChildProcess::Channel::Pipe, ChildProcess::Channel::Pipe);
        slot->set(child);
        QString error;
        if (!child->launch(&error)) {
            BMLog::appendLog(QStringLiteral("Exception running task %1: %2").arg(path, error));
            return std::nullopt;
        }
        Outcome outcome;
        QByteArray err;
        child->readToEnd(&outcome.output, &err);
        outcome.status = child->waitForExit();
        outcome.output += err;
        return outcome;
    });
}

QString BMTaskEx::stringFromTaskWithTimeout(const QString& path, const QStringList& arguments, double seconds,
                                            Encoding encoding) {
    return decode(dataFromTaskWithTimeout(path, arguments, seconds).value_or(QByteArray()), encoding);
}

void BMTaskEx::asyncDataFromTask(const QString& path, const QStringList& arguments, DataReceiver receiver,
                                 const QVariant& object, const Environment& environment) {
    if (m_streamThread.joinable())
        m_streamThread.join();
    m_receiver = std::move(receiver);
    m_object = object;
    m_task.set(
        makeChild(path, arguments, ChildProcess::Channel::Pipe, ChildProcess::Channel::Null, environment));
    m_streamThread = std::thread([this] { launchAsyncTask(); });
}

void BMTaskEx::launchAsyncTask() {
    m_streamThreadId = std::this_thread::get_id();
    try {
        std::shared_ptr<ChildProcess> child = m_task.get();
        if (!child) {
            BMLog::appendLogAndPrint(QStringLiteral("Unable to launch async task - no task set"));
            return;
        }
        if (!isExecutable(child->options().path)) {
            BMLog::appendLog(
                QStringLiteral("Unable to launch async task - task does not exist or is not executable"));
            return;
        }
        QString error;
        if (!child->launch(&error))
            throw BMNamedException(QStringLiteral("NSInvalidArgumentException"), error);
        char buffer[65536];
        for (;;) {
            const int fd = child->standardOutputFd();
            if (fd < 0)
                break;
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            asyncTaskReturnData(QByteArray(buffer, n));
        }
        asyncTaskReturnData(QByteArray());
    } catch (const std::exception& e) {
        BMException::logException(e, "-[BMTaskEx launchAsyncTask]");
    }
}

void BMTaskEx::asyncTaskReturnData(const QByteArray& chunk) {
    if (m_receiver)
        m_receiver(chunk, *this, m_object);
    if (chunk.isEmpty())
        terminateAsyncTask();
}

void BMTaskEx::terminateAsyncTask() {
    std::shared_ptr<ChildProcess> child = m_task.get();
    if (!child)
        return;
    // Only the streaming thread reads the pipe, so only it closes it; from elsewhere,
    // stopping the child ends the stream.
    if (std::this_thread::get_id() == m_streamThreadId.load())
        child->closeStandardOutput();
    if (child->isRunning())
        child->terminate();
    m_task.clear();
}
