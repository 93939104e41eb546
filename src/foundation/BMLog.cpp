#include "BMLog.h"

#include "BMLocalPaths.h"
#include "BMSettings.h"
#include "Console.h"
#include "MainThread.h"
#include "PathText.h"
#include "SerialQueue.h"
#include "SettingsKeys.h"
#include "foundation/FileName.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QScopeGuard>
#include <QTimeZone>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

std::terminate_handler g_previousTerminate = nullptr;

[[noreturn]] void logUncaughtException() {
    if (std::exception_ptr pending = std::current_exception()) {
        try {
            std::rethrow_exception(pending);
        } catch (const std::exception& e) {
            BMLog::appendLogAndPrint(QString::fromUtf8(e.what()));
        } catch (...) {
            BMLog::appendLogAndPrint(QStringLiteral("Unknown exception"));
        }
        BMLog::finishWriting();
    }
    if (g_previousTerminate)
        g_previousTerminate();
    std::abort();
}

QString executablePath() {
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
    return QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
}

QString generationPath(const QString& folder, const QString& name, int generation) {
    return QStringLiteral("%1/%2.%3.log").arg(folder, name).arg(generation);
}

} // namespace

BMLog::BMLog() : m_queue(std::make_unique<SerialQueue>()) {
    g_previousTerminate = std::set_terminate(logUncaughtException);
    // At the end of the process the writer finishes (or drops) what is pending and stops,
    // before the statics it writes with are destroyed.
    std::atexit([] {
        BMLog& log = sharedController();
        log.terminate();
        log.m_queue->stop();
    });
    if (QCoreApplication* app = QCoreApplication::instance())
        QObject::connect(app, &QCoreApplication::aboutToQuit, app, [] { BMLog::willTerminate(); });
}

BMLog::~BMLog() = default;

BMLog& BMLog::sharedController() {
    // Never destroyed: threads may still log while the process exits.
    static BMLog* instance = new BMLog;
    return *instance;
}

QString BMLog::dateDescription(const QDateTime& date) {
    const QDateTime local = date.toLocalTime();
    const int offset = local.offsetFromUtc();
    const int minutes = std::abs(offset) / 60;
    return local.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss ")) +
           (offset < 0 ? QLatin1Char('-') : QLatin1Char('+')) +
           QStringLiteral("%1%2")
               .arg(minutes / 60, 2, 10, QLatin1Char('0'))
               .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QString BMLog::storedOrDefaultAppName() const {
    if (!m_appName.isEmpty())
        return m_appName;
    if (QCoreApplication::instance() && !QCoreApplication::applicationName().isEmpty())
        return QCoreApplication::applicationName();
    return PathText::deletingExtension(PathText::lastComponent(executablePath()));
}

QString BMLog::appName() {
    BMLog& log = sharedController();
    std::lock_guard lock(log.m_fileMutex);
    return log.storedOrDefaultAppName();
}

void BMLog::setAppName(const QString& name) {
    BMLog& log = sharedController();
    std::lock_guard lock(log.m_fileMutex);
    log.m_appName = name;
}

QString BMLog::logFolder() {
    return PathText::appendingComponent(BMLocalPaths::logDirectory(true), QStringLiteral("Brightmoor"));
}

// Root working for the console user writes into the machine-wide folder, while the folder
// that is created and rotated stays the user's. The split is long-standing and kept.
static QString writtenLogPath(const QString& name) {
    if (BMLocalPaths::isActingForConsoleUser())
        return generationPath(
            PathText::appendingComponent(BMLocalPaths::logDirectory(false), QStringLiteral("Brightmoor")),
            name, 1);
    return generationPath(BMLog::logFolder(), name, 1);
}

QString BMLog::currentLogPath() {
    return writtenLogPath(appName());
}

bool BMLog::loggingDisabledBySettings() {
    const QVariant value =
        BMSettings::globalSettings().value(QString::fromLatin1(SettingsKey::disableLogging));
    switch (value.typeId()) {
    case QMetaType::QString:
        return value.toString() == QLatin1String("1");
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::LongLong:
    case QMetaType::Double:
        return value.toDouble() == 1.0;
    default:
        return false;
    }
}

void BMLog::closeFile() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

bool BMLog::writeEntry(const QString& text) {
    const QByteArray line =
        (dateDescription(QDateTime::currentDateTime()) + QStringLiteral(" - ") + text + QLatin1Char('\n'))
            .toUtf8();
    qsizetype done = 0;
    while (done < line.size()) {
        const ssize_t n = ::write(m_fd, line.constData() + done, size_t(line.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    m_bytesWritten += quint64(done);
    return true;
}

void BMLog::createNewLog(const QString& name) {
    sharedController().createLog(name);
}

void BMLog::createLog(const QString& name) {
    std::lock_guard lock(m_fileMutex);
    closeFile();
    if (loggingDisabledBySettings()) {
        Console::print(QStringLiteral("Logging is disabled"));
        m_loggingDisabled = true;
        return;
    }
    m_loggingDisabled = false;
    if (storedOrDefaultAppName().isEmpty())
        m_appName = name;
    if (storedOrDefaultAppName().isEmpty())
        m_appName = QStringLiteral("Unknown");
    const QString app = storedOrDefaultAppName();
    m_bytesWritten = 0;

    const QString folder = logFolder();
    if (!QFileInfo(folder).isDir() && !QDir().mkpath(folder)) {
        Console::write(QStringLiteral("Unable to create folder %1.\n").arg(folder));
        return;
    }
    // Two runs starting at once would both shift the generations, and the later one would find
    // the files it was about to move already gone: the folder's lock makes them take turns.
    const int turn = ::open(FileName::encode(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    while (turn >= 0 && ::flock(turn, LOCK_EX) != 0 && errno == EINTR) {
    }
    const auto endTurn = qScopeGuard([turn] {
        if (turn >= 0)
            ::close(turn);
    });
    if (QFileInfo::exists(generationPath(folder, app, 1))) {
        QFile::remove(generationPath(folder, app, 5));
        for (int n = 4; n >= 1; --n) {
            const QString from = generationPath(folder, app, n);
            const QString to = generationPath(folder, app, n + 1);
            if (QFileInfo::exists(from) && !QFile::rename(from, to)) {
                Console::write(QStringLiteral("Unable to move file %1 to %2.\n").arg(from, to));
                return;
            }
        }
    }

    const QString current = writtenLogPath(app);
    QSaveFile empty(current);
    if (!empty.open(QIODevice::WriteOnly) || !empty.commit()) {
        Console::write(
            QStringLiteral("Unable to create log file %1 - %2\n").arg(current, empty.errorString()));
        return;
    }
    m_fd = ::open(FileName::encode(current).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (m_fd < 0) {
        Console::write(QStringLiteral("Unable to create log file %1 - %2\n")
                           .arg(current, QString::fromLocal8Bit(std::strerror(errno))));
        return;
    }

    // The header goes straight into the new file so that it comes first even when other
    // threads have entries queued.
    writeEntry(QStringLiteral("Log started: %1").arg(dateDescription(QDateTime::currentDateTime())));
    if (QCoreApplication::instance() && !QCoreApplication::applicationVersion().isEmpty())
        writeEntry(QStringLiteral("Version: %1").arg(QCoreApplication::applicationVersion()));
    const QString exe = executablePath();
    if (!exe.isEmpty())
        writeEntry(QStringLiteral("Path: %1").arg(exe));
    const double gigabytes =
        double(::sysconf(_SC_PHYS_PAGES)) * double(::sysconf(_SC_PAGESIZE)) / 1024.0 / 1024.0 / 1024.0;
    writeEntry(QStringLiteral("System: OS X %1, %2 CPU(s), %3 GB RAM")
                   .arg(Platform::current().osVersionText())
                   .arg(long(::sysconf(_SC_NPROCESSORS_ONLN)))
                   .arg(gigabytes, 0, 'f', 2));
    writeEntry(sizeof(void*) == 8 ? QStringLiteral("Running in 64-bit mode")
                                  : QStringLiteral("Running in 32-bit mode"));
}

void BMLog::appendTextToLog(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return;
    m_bytesInQueue += trimmed.size();
    m_queue->add([this, trimmed] { appendLogOnThread(trimmed); });
}

void BMLog::appendLogOnThread(const QString& text) {
    if (m_loggingDisabled)
        return;
    bool rotate = false;
    {
        std::lock_guard lock(m_fileMutex);
        if (m_fd < 0) {
            const QString path = writtenLogPath(storedOrDefaultAppName());
            m_fd = ::open(FileName::encode(path).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
        }
        if (m_fd < 0) {
            Console::write(QStringLiteral("Unable to log the following information: %1\n").arg(text));
            Console::print(QStringLiteral("Unable to open log for output"));
        } else {
            writeEntry(text);
            rotate = m_bytesWritten >= rotationLimit;
        }
    }
    if (rotate) {
        finishWriting();
        createLog(appName());
        appendLog(QStringLiteral("Log truncated at 500KB"));
    }
    m_bytesInQueue -= text.size();
}

void BMLog::appendLog(const QString& text) {
    if (text.isNull())
        return;
    BMLog& log = sharedController();
    log.appendTextToLog(text);
    if (!MainThread::isCurrent() && text.size() >= 1 && text.size() <= 99 && log.m_bytesInQueue <= 99)
        finishWriting();
}

void BMLog::fastAppendLog(const QString& text) {
    if (text.isNull())
        return;
    sharedController().appendTextToLog(text);
}

void BMLog::appendLogAndPrint(const QString& text) {
    const QString trimmed = text.trimmed();
    appendLog(trimmed);
    QString printable = trimmed;
    printable.remove(QStringLiteral("%@"));
    printable.remove(QChar(0));
    Console::print(printable);
}

void BMLog::finishWriting() {
    sharedController().m_queue->waitUntilAllDone();
}

QStringList BMLog::availableLogs() {
    const QString folder = logFolder();
    const QString name = appName();
    QStringList logs;
    for (int n = 1; n <= 5; ++n) {
        const QString path = generationPath(folder, name, n);
        if (QFileInfo::exists(path))
            logs << path;
    }
    return logs;
}

void BMLog::willTerminate() {
    sharedController().terminate();
}

void BMLog::terminate() {
    if (m_queue->count() < 11) {
        m_queue->setSuspended(false);
        m_queue->waitUntilAllDone();
    } else {
        m_queue->cancelAll();
        m_queue->setSuspended(false);
        m_queue->waitUntilAllDone();
        m_bytesInQueue = 0;
    }
    std::lock_guard lock(m_fileMutex);
    m_appName.clear();
    closeFile();
}

void BMLog::setWriterSuspended(bool suspended) {
    sharedController().m_queue->setSuspended(suspended);
}

int BMLog::pendingEntries() {
    return sharedController().m_queue->count();
}
