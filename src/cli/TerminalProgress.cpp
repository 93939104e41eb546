#include "TerminalProgress.h"

#include <cstdio>
#include <unistd.h>

namespace {
constexpr qint64 kIntervalMs = 100;
}

TerminalProgress::TerminalProgress() : TerminalProgress(::isatty(STDERR_FILENO) == 1) {
}

TerminalProgress::TerminalProgress(bool enabled) : m_enabled(enabled) {
    m_clock.start();
}

TerminalProgress::~TerminalProgress() {
    clear();
}

ProgressCallback TerminalProgress::callback() {
    if (!m_enabled)
        return {};
    return [this](const ActionProgress& progress) { show(progress); };
}

void TerminalProgress::show(const ActionProgress& progress) {
    const qint64 now = m_clock.elapsed();
    const bool ended = progress.total > 0 && progress.done >= progress.total;
    if (progress.stage == m_last.stage && !ended && m_lastMs >= 0 && now - m_lastMs < kIntervalMs)
        return;
    m_lastMs = now;
    m_last = progress;
    // Back to the start of the line, the text, then the rest of the old line erased.
    const QByteArray line = "\r" + (progress.text() + QStringLiteral("…")).toUtf8() + "\033[K";
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    std::fflush(stderr);
    m_shown = true;
}

void TerminalProgress::clear() {
    if (!m_shown)
        return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    m_shown = false;
}
