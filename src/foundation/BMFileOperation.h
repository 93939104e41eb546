#pragma once

#include <QString>
#include <QVariantMap>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

struct BMFileCopyDelegate;

// One copy on the background copy service: a worker thread copies the item and reports
// its stage with a status dictionary to the delegate, on the main thread. The service and
// the caller share the operation; the delegate is kept alive until the last report.
class BMFileOperation : public std::enable_shared_from_this<BMFileOperation> {
public:
    enum Stage { Undefined = 0, Idle = 1, Running = 2, Complete = 3 };

    // Status keys, besides "stage" and the settings.
    static constexpr char bytesCompletedKey[] = "bytesCompleted";
    static constexpr char totalBytesKey[] = "totalBytes";
    static constexpr char throughputKey[] = "throughput";
    // 0 when the copy succeeded, else the system's error number (ECANCELED when cancelled).
    static constexpr char errorKey[] = "error";
    static constexpr char errorDescriptionKey[] = "errorDescription";
    // Seconds between two running reports.
    static constexpr int statusInterval = 1;

    BMFileOperation(QString source, QString destination, std::shared_ptr<BMFileCopyDelegate> delegate,
                    QVariantMap settings);
    ~BMFileOperation();
    BMFileOperation(const BMFileOperation&) = delete;
    BMFileOperation& operator=(const BMFileOperation&) = delete;

    // Starts the worker; false when no thread could be made.
    bool start(QString* error);
    // The copy stops at the next chunk and what it wrote is removed.
    void cancel() { m_cancelled.store(true); }
    bool isCancelled() const { return m_cancelled.load(); }
    Stage stage() const { return m_stage.load(); }
    const QString& source() const { return m_source; }
    const QString& destination() const { return m_destination; }
    // Blocks until the copy (not the delivery of its reports) is over.
    void waitUntilCopied();

private:
    void run();
    void report(Stage stage, const QVariantMap& status);

    const QString m_source;
    const QString m_destination;
    const std::shared_ptr<BMFileCopyDelegate> m_delegate;
    const QVariantMap m_settings;
    std::atomic<bool> m_cancelled{false};
    std::atomic<Stage> m_stage{Idle};
    std::mutex m_threadMutex;
    std::thread m_thread;
};
