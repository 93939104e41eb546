#include "CrashWriter.h"

#include "foundation/FileName.h"

#include <QCoreApplication>
#include <QDir>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr int kSignalCount = sizeof(kSignals) / sizeof(kSignals[0]);

// Everything the handler reads is prepared before it can run.
struct sigaction g_previous[kSignalCount];
char g_prefix[PATH_MAX];
size_t g_prefixLength = 0;
char g_header[1024];
size_t g_headerLength = 0;
std::atomic<int> g_utcOffset{0};
std::atomic<bool> g_installed{false};
volatile sig_atomic_t g_writing = 0;

// Writes value in decimal, at least width digits; returns the end.
char* putNumber(char* out, long long value, int width) {
    char digits[24];
    int count = 0;
    bool negative = value < 0;
    unsigned long long magnitude =
        negative ? 0ULL - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
    do {
        digits[count++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0 && count < 24);
    while (count < width && count < 24)
        digits[count++] = '0';
    if (negative)
        *out++ = '-';
    while (count > 0)
        *out++ = digits[--count];
    return out;
}

char* putText(char* out, const char* text) {
    while (*text)
        *out++ = *text++;
    return out;
}

// "yyyy-MM-dd-HHmmss-<pid>.crash" and a terminating zero, from the proleptic Gregorian
// calendar worked out by hand: the handler may not call localtime.
char* putReportTail(char* out, long long seconds, int utcOffset, long long pid) {
    const long long local = seconds + utcOffset;
    long long days = local / 86400;
    long long secondOfDay = local % 86400;
    if (secondOfDay < 0) {
        secondOfDay += 86400;
        --days;
    }
    // Days since 1970-01-01 to a civil date (H. Hinnant's algorithm).
    const long long z = days + 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const long long dayOfEra = z - era * 146097;
    const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long long mp = (5 * dayOfYear + 2) / 153;
    const long long day = dayOfYear - (153 * mp + 2) / 5 + 1;
    const long long month = mp < 10 ? mp + 3 : mp - 9;
    const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    out = putNumber(out, year, 4);
    *out++ = '-';
    out = putNumber(out, month, 2);
    *out++ = '-';
    out = putNumber(out, day, 2);
    *out++ = '-';
    out = putNumber(out, secondOfDay / 3600, 2);
    out = putNumber(out, secondOfDay / 60 % 60, 2);
    out = putNumber(out, secondOfDay % 60, 2);
    *out++ = '-';
    out = putNumber(out, pid, 0);
    out = putText(out, ".crash");
    *out = '\0';
    return out;
}

const char* signalName(int signal) {
    switch (signal) {
    case SIGSEGV:
        return "SIGSEGV";
    case SIGBUS:
        return "SIGBUS";
    case SIGILL:
        return "SIGILL";
    case SIGFPE:
        return "SIGFPE";
    case SIGABRT:
        return "SIGABRT";
    default:
        return "signal";
    }
}

void writeAll(int fd, const char* bytes, size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(fd, bytes, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        bytes += written;
        length -= static_cast<size_t>(written);
    }
}

void onFatalSignal(int signal) {
    const int savedErrno = errno;
    if (!g_writing) {
        g_writing = 1;
        char path[PATH_MAX + 64];
        std::memcpy(path, g_prefix, g_prefixLength);
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        putReportTail(path + g_prefixLength, now.tv_sec, g_utcOffset.load(), ::getpid());
        const int fd = ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            writeAll(fd, g_header, g_headerLength);
            char line[128];
            char* end = putText(line, "Process ID: ");
            end = putNumber(end, ::getpid(), 0);
            end = putText(end, "\nException: ");
            end = putText(end, signalName(signal));
            end = putText(end, " (");
            end = putNumber(end, signal, 0);
            end = putText(end, ")\n\nBacktrace:\n");
            writeAll(fd, line, static_cast<size_t>(end - line));
            void* frames[128];
            const int count = ::backtrace(frames, 128);
            ::backtrace_symbols_fd(frames, count, fd);
            ::fsync(fd);
            ::close(fd);
        }
    }
    // The default action: the process ends as it would have, with its core where one is
    // made. A fault re-raises itself when the handler returns.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    errno = savedErrno;
    ::raise(signal);
}

} // namespace

QString CrashWriter::reportName(const QString& appName, qint64 secondsSinceEpoch, int utcOffsetSeconds,
                                qint64 pid) {
    char tail[96];
    putReportTail(tail, secondsSinceEpoch, utcOffsetSeconds, pid);
    return appName + QLatin1Char('_') + QString::fromLatin1(tail);
}

bool CrashWriter::install(const QString& folder, const QString& appName) {
    const QByteArray prefix = FileName::encode(folder + QLatin1Char('/') + appName + QLatin1Char('_'));
    if (prefix.size() + 1 >= static_cast<qsizetype>(sizeof(g_prefix)))
        return false;
    uninstall();

    std::memcpy(g_prefix, prefix.constData(), static_cast<size_t>(prefix.size()));
    g_prefixLength = static_cast<size_t>(prefix.size());
    const QString program = QCoreApplication::instance() ? QCoreApplication::applicationFilePath()
                                                         : QStringLiteral("/proc/self/exe");
    const QByteArray header = QStringLiteral("Process: %1\nPath: %2\nVersion: %3\nLaunch Time: %4\n")
                                  .arg(appName, program, QCoreApplication::applicationVersion(),
                                       QDateTime::currentDateTime().toString(Qt::ISODate))
                                  .toUtf8()
                                  .left(sizeof(g_header) - 1);
    std::memcpy(g_header, header.constData(), static_cast<size_t>(header.size()));
    g_headerLength = static_cast<size_t>(header.size());
    g_utcOffset.store(QDateTime::currentDateTime().offsetFromUtc());

    // The first backtrace loads the unwinder, which allocates: never in the handler.
    void* frames[4];
    ::backtrace(frames, 4);
    // A stack overflow leaves no stack to run the handler on.
    static void* alternateStack = nullptr;
    if (!alternateStack) {
        const size_t size = 64 * 1024;
        alternateStack = std::malloc(size);
        stack_t stack{};
        stack.ss_sp = alternateStack;
        stack.ss_size = size;
        ::sigaltstack(&stack, nullptr);
    }

    struct sigaction action {};
    action.sa_handler = onFatalSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_ONSTACK;
    for (int i = 0; i < kSignalCount; ++i)
        ::sigaction(kSignals[i], &action, &g_previous[i]);
    g_installed.store(true);
    // Made last, so that a folder in place means the handler is too (the tests wait for it).
    if (!QDir().mkpath(folder)) {
        uninstall();
        return false;
    }
    return true;
}

void CrashWriter::uninstall() {
    if (!g_installed.exchange(false))
        return;
    for (int i = 0; i < kSignalCount; ++i)
        ::sigaction(kSignals[i], &g_previous[i], nullptr);
}

bool CrashWriter::isInstalled() {
    return g_installed.load();
}
