#pragma once

#include "ChildProcess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

// Holds the child of a run so that another thread can stop it. Filled before the child is
// launched.
class TaskSlot {
public:
    void set(std::shared_ptr<ChildProcess> task);
    std::shared_ptr<ChildProcess> get() const;
    void clear();

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<ChildProcess> m_task;
};

// Runs command-line tools: waits for them, returns their status or output, or streams the
// output to a receiver. Nothing throws; every failure is logged and reported as false, an
// empty result or -1.
class BMTaskEx {
public:
    enum class Encoding { Ascii, Utf8 };
    using Environment = std::optional<QStringList>;
    // Called on the streaming thread with each chunk, the runner and the caller's value;
    // an empty chunk ends the stream.
    using DataReceiver =
        std::function<void(const QByteArray& chunk, BMTaskEx& runner, const QVariant& object)>;

    BMTaskEx();
    ~BMTaskEx();
    BMTaskEx(const BMTaskEx&) = delete;
    BMTaskEx& operator=(const BMTaskEx&) = delete;

    // An existing plain file that the system reports executable. A folder (an application
    // bundle among them) is refused: its executable inside must be given instead.
    static bool isExecutable(const QString& path);

    static bool runTask(const QString& path, const QStringList& arguments, TaskSlot* task = nullptr);
    // Launches and returns at once; null when the path is not executable.
    static std::shared_ptr<ChildProcess> runTaskAndReturn(const QString& path, const QStringList& arguments);
    // The exit status, or -1 when the path is not executable.
    static int terminationCodeFromTask(const QString& path, const QStringList& arguments,
                                       TaskSlot* task = nullptr);
    // Standard output when the tool wrote any, else its standard error, else the empty
    // standard output; nothing when it could not run. With logOutput false standard output
    // is inherited rather than captured.
    static std::optional<QByteArray> dataFromTask(const QString& path, const QStringList& arguments,
                                                  TaskSlot* task = nullptr,
                                                  const Environment& environment = {}, bool logOutput = true);
    static QString stringFromTask(const QString& path, const QStringList& arguments,
                                  Encoding encoding = Encoding::Ascii, TaskSlot* task = nullptr);

    // The same runs stopped after the whole seconds of the time-out (the fraction does not
    // count). The stop is carried out on the main thread, so guarded runs belong on
    // background threads.
    static bool runTaskWithTimeout(const QString& path, const QStringList& arguments, double seconds);
    static std::optional<QByteArray> dataFromTaskWithTimeout(const QString& path,
                                                             const QStringList& arguments, double seconds);
    static int terminationCodeFromTaskWithTimeout(const QString& path, const QStringList& arguments,
                                                  double seconds);
    static QString stringFromTaskWithTimeout(const QString& path, const QStringList& arguments,
                                             double seconds, Encoding encoding = Encoding::Ascii);

    // A run's exit status (or the signal that ended it) and all it wrote, standard output
    // then standard error.
    struct Outcome {
        int status = -1;
        QByteArray output;
    };
    // Nothing when the tool could not run (logged).
    static std::optional<Outcome> outcomeFromTaskWithTimeout(const QString& path,
                                                             const QStringList& arguments, double seconds);

    static QString decode(const QByteArray& bytes, Encoding encoding);

    // Streaming: starts the tool on a thread of its own and returns at once.
    void asyncDataFromTask(const QString& path, const QStringList& arguments, DataReceiver receiver,
                           const QVariant& object = QVariant(), const Environment& environment = {});
    void terminateAsyncTask();
    // The child of a guarded or streaming run in progress.
    std::shared_ptr<ChildProcess> task() const { return m_task.get(); }

private:
    template <typename Result, typename Run>
    Result runGuarded(double seconds, Run run);
    void launchAsyncTask();
    void asyncTaskReturnData(const QByteArray& chunk);

    TaskSlot m_task;
    DataReceiver m_receiver;
    QVariant m_object;
    std::thread m_streamThread;
    // Set by the streaming thread itself, which may run before m_streamThread is assigned.
    std::atomic<std::thread::id> m_streamThreadId{};
};
