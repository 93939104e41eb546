#pragma once

#include "actions/ActionProgress.h"

#include <QElapsedTimer>
#include <QString>

// A progress line on standard error for long work, rewritten in place, and only when
// standard error is a terminal: a pipe or a file gets no such noise.
class TerminalProgress {
public:
    TerminalProgress();
    explicit TerminalProgress(bool enabled);
    ~TerminalProgress();
    TerminalProgress(const TerminalProgress&) = delete;
    TerminalProgress& operator=(const TerminalProgress&) = delete;

    bool isEnabled() const { return m_enabled; }
    // For the action; call it on one thread.
    ProgressCallback callback();
    // Erases the line, so that a message can follow on a clean one.
    void clear();

private:
    void show(const ActionProgress& progress);

    bool m_enabled;
    bool m_shown = false;
    QElapsedTimer m_clock;
    qint64 m_lastMs = -1;
    ActionProgress m_last;
};
