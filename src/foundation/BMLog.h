#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>

class SerialQueue;

// The process-wide log: "<app>.1.log" (newest) to "<app>.5.log" in the Logs folder's
// "Brightmoor" sub-folder, written by one background writer so that callers never wait on
// the disk (except for the flush rule of appendLog).
class BMLog {
public:
    static BMLog& sharedController();

    static void createNewLog(const QString& name = QString());
    // Queues an entry. A short entry (1 to 99 characters) from a thread other than the main
    // thread, with little else queued, is on disk when the call returns.
    static void appendLog(const QString& text);
    // Queues an entry and never waits.
    static void fastAppendLog(const QString& text);
    // Logs the trimmed text and prints it to the console.
    static void appendLogAndPrint(const QString& text);
    static void finishWriting();
    // The generations 1 to 5 that exist, newest first.
    static QStringList availableLogs();
    // Called when the application quits: up to 10 pending entries are written; with 11 or
    // more all pending entries are dropped so the application can quit at once.
    static void willTerminate();

    // The stored name or, when none, the program's own name.
    static QString appName();
    static void setAppName(const QString& name);
    // The folder whose generations are rotated (always the user's).
    static QString logFolder();
    // The file that is written: the user's, or the machine-wide folder's when running as
    // root for the console user.
    static QString currentLogPath();
    // The platform's standard description of a date: "2026-11-22 10:25:41 +0100".
    static QString dateDescription(const QDateTime& date);

    static constexpr quint64 rotationLimit = 500000;

    // For tests: hold the writer back so that entries stay pending.
    static void setWriterSuspended(bool suspended);
    static int pendingEntries();

private:
    BMLog();
    ~BMLog();

    void appendTextToLog(const QString& text);
    void appendLogOnThread(const QString& text);
    void createLog(const QString& name);
    bool writeEntry(const QString& text); // with m_fileMutex held
    void closeFile();                     // with m_fileMutex held
    void terminate();
    QString storedOrDefaultAppName() const;
    static bool loggingDisabledBySettings();

    std::unique_ptr<SerialQueue> m_queue;
    mutable std::mutex m_fileMutex;
    int m_fd = -1;
    QString m_appName;
    std::atomic<quint64> m_bytesWritten{0};
    std::atomic<qint64> m_bytesInQueue{0};
    std::atomic<bool> m_loggingDisabled{false};
};
