#include "FileOpsFixture.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/CopyStream.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {
QString shellQuoted(const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}
} // namespace

RecordingTool::RecordingTool(const QString& folder, const QString& name, const Options& options)
    : m_path(folder + QLatin1Char('/') + name),
      m_record(folder + QLatin1Char('/') + name + QStringLiteral(".record")) {
    QDir().mkpath(folder);
    QString script =
        QStringLiteral(
            "#!/bin/sh\n{ for a in \"$@\"; do printf '%s\\037' \"$a\"; done; printf '\\n'; } >> %1\n")
            .arg(shellQuoted(m_record));
    if (!options.output.isEmpty())
        script += QStringLiteral("printf '%s' %1\n").arg(shellQuoted(QString::fromUtf8(options.output)));
    if (!options.failWhenArgumentContains.isEmpty())
        script += QStringLiteral("for a in \"$@\"; do case \"$a\" in *%1*) exit 1;; esac; done\n")
                      .arg(shellQuoted(options.failWhenArgumentContains));
    if (options.behaviour == Behaviour::RecordAndRun)
        script += QStringLiteral("exec \"$@\"\n");
    else
        script += QStringLiteral("exit %1\n").arg(options.exitCode);
    QFile file(m_path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(script.toUtf8());
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QList<QStringList> RecordingTool::calls() const {
    QList<QStringList> calls;
    QFile file(m_record);
    if (!file.open(QIODevice::ReadOnly))
        return calls;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        QStringList arguments = QString::fromUtf8(line).split(QChar(0x1f));
        arguments.removeLast(); // every argument ends with the separator
        calls << arguments;
    }
    return calls;
}

void FileOpsTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog(QStringLiteral("VestryTests"));
    m_pkexec = fakeTool(Tool::Pkexec, RecordingTool::exiting(127));
    m_previousAuthorization = BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    CopyStream::installFaults(nullptr);
}

void FileOpsTest::TearDown() {
    CopyStream::installFaults(nullptr);
    BMAuthorization::installShared(std::move(m_previousAuthorization));
    // Locked items would outlive the temporary folder.
    QDirIterator it(home().root(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (!QFileInfo(path).isSymLink())
            home().platform().setImmutableFlag(path, false, nullptr);
    }
    home().platform().setImmutableFlag(home().root(), false, nullptr);
    TempHomeTest::TearDown();
}

QString FileOpsTest::work(const QString& relative) {
    const QString folder = home().root() + QStringLiteral("/work");
    QDir().mkpath(folder);
    return relative.isEmpty() ? folder : folder + QLatin1Char('/') + relative;
}

QString FileOpsTest::writeWork(const QString& relative, const QByteArray& contents) {
    return home().writeFile(QStringLiteral("work/") + relative, contents);
}

QByteArray FileOpsTest::readFile(const QString& path) const {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

QString FileOpsTest::logText() const {
    BMLog::finishWriting();
    return QString::fromUtf8(readFile(BMLog::currentLogPath()));
}

RecordingTool FileOpsTest::fakeTool(Tool tool, const RecordingTool::Options& options) {
    static int counter = 0;
    RecordingTool fake(home().root() + QStringLiteral("/tools"), QStringLiteral("tool%1").arg(++counter),
                       options);
    home().platform().setToolPath(tool, fake.path());
    return fake;
}

RecordingTool FileOpsTest::grantingPkexec(const QString& failWhenArgumentContains) {
    m_pkexec = fakeTool(Tool::Pkexec, RecordingTool::running(failWhenArgumentContains));
    return m_pkexec;
}

bool FileOpsTest::lockingWorks() {
    const QString probe = home().writeFile(QStringLiteral("lock-probe"), "x");
    const bool locked = home().platform().setImmutableFlag(probe, true, nullptr);
    home().platform().setImmutableFlag(probe, false, nullptr);
    QFile::remove(probe);
    return locked;
}

QString FileOpsTest::trash() const {
    return BMLocalPaths::trashDirectory();
}

ConsoleCapture::ConsoleCapture() {
    ::testing::internal::CaptureStdout();
}

ConsoleCapture::~ConsoleCapture() {
    text();
}

QString ConsoleCapture::text() {
    if (m_capturing) {
        m_text = QString::fromStdString(::testing::internal::GetCapturedStdout());
        m_capturing = false;
    }
    return m_text;
}

QStringList ConsoleCapture::lines() {
    return text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
