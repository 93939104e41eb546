#pragma once

#include "foundation/BMAuthorization.h"
#include "foundation/platform/Platform.h"
#include "support/BinaryPlist.h"
#include "support/TempHome.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

// A command-line tool stand-in: a shell script that appends its arguments to a record file,
// then runs `body`.
class RecordingTool {
public:
    RecordingTool() = default;
    RecordingTool(const QString& path, const QByteArray& body);
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
    // An executable shell script in the test's tools folder.
    QString script(const QString& name, const QByteArray& body);
    // Points a tool of the platform's table at a recording stand-in.
    RecordingTool fakeTool(Tool tool, const QByteArray& body = "exit 0");
    // A pkexec that runs what it is given, as a granted request does, but fails a run with an
    // argument containing failOn.
    void grantingPkexec(const QString& failOn = QString());
    // Whether this file system and user can set the immutable flag (tmpfs cannot, nor can
    // an ordinary user).
    bool lockingWorks();
    static QString trash();
    // The original path that the Trash's restore record for that item names.
    static QString trashedFrom(const QString& trashFolder, const QString& name);

    RecordingTool m_pkexec;

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};

// Everything written to the console while it lives.
class ConsoleCapture {
public:
    ConsoleCapture() { ::testing::internal::CaptureStdout(); }
    ~ConsoleCapture() { text(); }
    QString text() {
        if (!m_text)
            m_text = QString::fromStdString(::testing::internal::GetCapturedStdout());
        return *m_text;
    }
    QStringList lines() { return text().split('\n', Qt::SkipEmptyParts); }

private:
    std::optional<QString> m_text;
};
