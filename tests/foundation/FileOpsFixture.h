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

// A tool stand-in: a shell script that records its arguments, then runs `body`.
class RecordingTool {
public:
    RecordingTool() = default;
    RecordingTool(const QString& path, const QByteArray& body);
    const QString& path() const { return m_path; }
    QList<QStringList> calls() const; // the arguments of every run, in order

private:
    QString m_path;
};

// A temporary home with its own log, fresh authorization and a refusing, recording pkexec (never
// the real one). Locked items are unlocked afterwards so the temporary folder can go.
class FileOpsTest : public TempHomeTest {
protected:
    void SetUp() override;
    void TearDown() override;

    QString work(const QString& relative = QString());
    QString writeWork(const QString& relative, const QByteArray& contents = QByteArray());
    QString script(const QString& name, const QByteArray& body);
    RecordingTool fakeTool(Tool tool, const QByteArray& body = "exit 0");
    // A pkexec that runs what it is given, but fails a run with an argument containing failOn.
    void grantingPkexec(const QString& failOn = QString());
    bool lockingWorks();
    static QString trash();
    static QString trashedFrom(const QString& trashFolder, const QString& name);

    RecordingTool m_pkexec;

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};

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
