#pragma once

#include "TempHome.h"
#include "foundation/BMLog.h"

#include <QRegularExpression>
#include <QStringList>

#include <functional>
#include <ostream>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

// The message part of each line of a log (what follows the date and " - "); empty for a line
// that is no entry.
inline QStringList logMessages(const QString& text) {
    static const QRegularExpression entry(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4} - (.*)$)");
    QStringList messages;
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        messages << entry.match(line).captured(1);
    return messages;
}

// The messages of the application log that match one of the expected lines, in the order
// written: equal to `expected` exactly when each of them was written once, whole, in that
// order. A "*" in an expected line stands for any text without "/" (a name the run makes up).
inline QStringList loggedOf(const QStringList& expected) {
    QList<QRegularExpression> patterns;
    for (const QString& line : expected) {
        QStringList parts = line.split(QLatin1Char('*'));
        for (QString& part : parts)
            part = QRegularExpression::escape(part);
        patterns << QRegularExpression(
            QRegularExpression::anchoredPattern(parts.join(QStringLiteral("[^/]*"))));
    }
    QStringList found;
    for (const QString& message : logMessages(logText())) {
        for (qsizetype i = 0; i < patterns.size(); ++i) {
            if (patterns[i].match(message).hasMatch()) {
                found << expected[i];
                break;
            }
        }
    }
    return found;
}

// A row of a table of log-line tests on Fixture: runs the operation and returns the lines it
// must have written; skips with a message where the fault cannot be made here.
template <class Fixture>
struct LogLinesRow {
    const char* rowName;
    QStringList (*run)(Fixture&);
};

template <class Fixture>
void PrintTo(const LogLinesRow<Fixture>& row, std::ostream* out) {
    *out << row.rowName;
}

// Names the instances of a table of rows by their rowName.
inline constexpr auto byRowName = [](const auto& info) { return std::string(info.param.rowName); };

// Runs the work on a thread of its own as the user nobody, so that root meets a folder's
// permissions. The raw system calls change the credentials of that thread only (the C
// library's would change every thread's). False, with nothing run, where that is refused.
inline bool runAsNobody(const std::function<void()>& work) {
    bool switched = false;
    std::thread([&] {
        switched = ::syscall(SYS_setgroups, 0, nullptr) == 0 &&
                   ::syscall(SYS_setresgid, 65534, 65534, 65534) == 0 &&
                   ::syscall(SYS_setresuid, 65534, 65534, 65534) == 0;
        if (switched)
            work();
    }).join();
    return switched;
}
