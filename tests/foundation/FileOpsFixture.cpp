#include "FileOpsFixture.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/CopyStream.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {
QString shellQuoted(QString text) {
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}
} // namespace

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

RecordingTool::RecordingTool(const QString& path, int exitCode, const QByteArray& output,
                             const QString& failOn)
    : m_path(path) {
    QString script = QStringLiteral("#!/bin/sh\n{ for a in \"$@\"; do printf '%s\\037' \"$a\"; done; "
                                    "printf '\\n'; } >> %1.record\nprintf '%s' %2\n")
                         .arg(shellQuoted(path), shellQuoted(QString::fromUtf8(output)));
    if (!failOn.isEmpty())
        script += QStringLiteral("for a in \"$@\"; do case \"$a\" in *%1*) exit 1;; esac; done\n")
                      .arg(shellQuoted(failOn));
    script += exitCode == RunsArguments ? QStringLiteral("exec \"$@\"\n")
                                        : QStringLiteral("exit %1\n").arg(exitCode);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(script.toUtf8());
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QList<QStringList> RecordingTool::calls() const {
    QList<QStringList> calls;
    for (const QByteArray& line : readFile(m_path + QStringLiteral(".record")).split('\n')) {
        QStringList arguments = QString::fromUtf8(line).split(QChar(0x1f));
        arguments.removeLast(); // every argument ends with the separator
        if (!line.isEmpty())
            calls << arguments;
    }
    return calls;
}

void FileOpsTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog(QStringLiteral("VestryTests"));
    m_pkexec = fakeTool(Tool::Pkexec, 127);
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
    TempHomeTest::TearDown();
}

QString FileOpsTest::work(const QString& relative) {
    const QString folder = home().makeFolder(QStringLiteral("work"));
    return relative.isEmpty() ? folder : folder + QLatin1Char('/') + relative;
}

QString FileOpsTest::writeWork(const QString& relative, const QByteArray& contents) {
    return home().writeFile(QStringLiteral("work/") + relative, contents);
}

QString FileOpsTest::logText() const {
    BMLog::finishWriting();
    return QString::fromUtf8(readFile(BMLog::currentLogPath()));
}

RecordingTool FileOpsTest::fakeTool(Tool tool, int exitCode, const QByteArray& output) {
    static int counter = 0;
    RecordingTool fake(home().makeFolder(QStringLiteral("tools")) + QStringLiteral("/tool%1").arg(++counter),
                       exitCode, output, QString());
    home().platform().setToolPath(tool, fake.path());
    return fake;
}

void FileOpsTest::grantingPkexec(const QString& failOn) {
    m_pkexec = RecordingTool(home().makeFolder(QStringLiteral("tools")) + QStringLiteral("/granting-pkexec"),
                             RecordingTool::RunsArguments, QByteArray(), failOn);
    home().platform().setToolPath(Tool::Pkexec, m_pkexec.path());
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

QString FileOpsTest::trashedFrom(const QString& trashFolder, const QString& name) {
    return LinuxPlatform::originalPathFromTrashRecord(
        readFile(trashFolder + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo")));
}

ConsoleCapture::ConsoleCapture() {
    ::testing::internal::CaptureStdout();
}

QString ConsoleCapture::text() {
    if (m_capturing) {
        m_text = QString::fromStdString(::testing::internal::GetCapturedStdout());
        m_capturing = false;
    }
    return m_text;
}
