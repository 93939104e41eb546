#pragma once

#include "foundation/BMAuthorization.h"
#include "foundation/platform/Platform.h"
#include "support/TempHome.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

QByteArray readFile(const QString& path);

// A command-line tool stand-in written by the test: a shell script that appends its
// arguments to a record file and prints `output`; then it fails (exit 1) when an argument
// contains `failOn`, and otherwise runs its arguments as a command (exitCode RunsArguments:
// a pkexec that grants everything) or exits with exitCode.
class RecordingTool {
public:
    static constexpr int RunsArguments = -1;
    RecordingTool() = default;
    RecordingTool(const QString& path, int exitCode, const QByteArray& output, const QString& failOn);
    const QString& path() const { return m_path; }
    QList<QStringList> calls() const; // the arguments of every run, in order

private:
    QString m_path;
};

// A temporary home (see TempHome) with a log of its own, a fresh privileged-operations
// object, and a pkexec stand-in that refuses and records, so that no test ever reaches the
// real one. Locked items are unlocked afterwards so the temporary folder can go.
class FileOpsTest : public TempHomeTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // A path in the test's work folder (which exists).
    QString work(const QString& relative = QString());
    QString writeWork(const QString& relative, const QByteArray& contents = QByteArray());
    QString logText() const;
    // Points a tool of the platform's table at a recording stand-in.
    RecordingTool fakeTool(Tool tool, int exitCode = 0, const QByteArray& output = QByteArray());
    void grantingPkexec(const QString& failOn = QString());
    // Whether this file system and user can set the immutable flag (tmpfs cannot, nor can
    // an ordinary user).
    bool lockingWorks();
    QString trash() const;
    // The original path the Trash's restore record for that item names.
    static QString trashedFrom(const QString& trashFolder, const QString& name);

    RecordingTool m_pkexec;

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};

// Everything written to the console while it lives.
class ConsoleCapture {
public:
    ConsoleCapture();
    ~ConsoleCapture() { text(); }
    QString text();
    QStringList lines() { return text().split(QLatin1Char('\n'), Qt::SkipEmptyParts); }

private:
    bool m_capturing = true;
    QString m_text;
};
