#pragma once

#include "foundation/BMAuthorization.h"
#include "foundation/platform/Platform.h"
#include "support/TempHome.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

// A command-line tool stand-in written by the test: a small shell script that appends its
// arguments to a record file, then either runs them as a command (a pkexec that grants
// everything) or exits with a chosen status.
class RecordingTool {
public:
    enum class Behaviour { RecordOnly, RecordAndRun };
    struct Options {
        Behaviour behaviour = Behaviour::RecordOnly;
        int exitCode = 0;
        // Exit 1 without running when any argument contains this text.
        QString failWhenArgumentContains;
        // Printed to standard output before anything else.
        QByteArray output;
    };

    static Options exiting(int exitCode) {
        Options options;
        options.exitCode = exitCode;
        return options;
    }
    static Options printing(const QByteArray& output, int exitCode = 0) {
        Options options = exiting(exitCode);
        options.output = output;
        return options;
    }
    static Options running(const QString& failWhenArgumentContains = QString()) {
        Options options;
        options.behaviour = Behaviour::RecordAndRun;
        options.failWhenArgumentContains = failWhenArgumentContains;
        return options;
    }

    RecordingTool() = default;
    RecordingTool(const QString& folder, const QString& name, const Options& options);

    const QString& path() const { return m_path; }
    // The arguments of every run, in order.
    QList<QStringList> calls() const;

private:
    QString m_path;
    QString m_record;
};

// A temporary home (see TempHome) with a log of its own, a fresh privileged-operations
// object, and a pkexec stand-in that refuses and records, so that no test ever reaches the
// real one. Locked items are unlocked afterwards so the temporary folder can go.
class FileOpsTest : public TempHomeTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // A path in the test's work folder (created on first use).
    QString work(const QString& relative = QString());
    QString writeWork(const QString& relative, const QByteArray& contents = QByteArray());
    QByteArray readFile(const QString& path) const;

public:
    QByteArray readFileAt(const QString& path) const { return readFile(path); }

protected:
    // The log's text written so far.
    QString logText() const;
    // Points a tool of the platform's table at a recording stand-in.
    RecordingTool fakeTool(Tool tool, const RecordingTool::Options& options = {});
    // A pkexec that records and runs what it is given, as a granted request does.
    RecordingTool grantingPkexec(const QString& failWhenArgumentContains = QString());
    // Whether this file system and user can set the immutable flag (tmpfs cannot, nor can
    // an ordinary user).
    bool lockingWorks();
    QString trash() const;

    RecordingTool m_pkexec;

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};

// Everything written to the console while it lives.
class ConsoleCapture {
public:
    ConsoleCapture();
    ~ConsoleCapture();
    QString text();
    QStringList lines();

private:
    bool m_capturing = true;
    QString m_text;
};
