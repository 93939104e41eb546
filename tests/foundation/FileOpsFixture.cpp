#include "FileOpsFixture.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/CopyStream.h"
#include "foundation/PlistFile.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

RecordingTool::RecordingTool(const QString& path, const QByteArray& body) : m_path(path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n{ for a; do printf '%s\\037' \"$a\"; done; echo; } >> \"$0.record\"\n" + body +
               "\n");
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QList<QStringList> RecordingTool::calls() const {
    QList<QStringList> calls;
    for (const QByteArray& line : readFile(m_path + ".record").split('\n')) {
        if (!line.isEmpty())
            calls << QString::fromUtf8(line.chopped(1)).split(QChar(0x1f)); // each argument ends with it
    }
    return calls;
}

void FileOpsTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog("VestryTests");
    m_pkexec = fakeTool(Tool::Pkexec, "exit 127");
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
        if (const QString path = it.next(); !QFileInfo(path).isSymLink())
            home().platform().setImmutableFlag(path, false, nullptr);
    }
    TempHomeTest::TearDown();
}

QString FileOpsTest::work(const QString& relative) {
    return home().makeFolder("work") + (relative.isEmpty() ? QString() : '/' + relative);
}

QString FileOpsTest::writeWork(const QString& relative, const QByteArray& contents) {
    return home().writeFile("work/" + relative, contents);
}

QString FileOpsTest::script(const QString& name, const QByteArray& body) {
    return RecordingTool(home().writeFile("tools/" + name), body).path();
}

RecordingTool FileOpsTest::fakeTool(Tool tool, const QByteArray& body) {
    static int counter = 0;
    RecordingTool fake(home().makeFolder("tools") + QString("/tool%1").arg(++counter), body);
    home().platform().setToolPath(tool, fake.path());
    return fake;
}

void FileOpsTest::grantingPkexec(const QString& failOn) {
    const QByteArray refuse = "for a; do case \"$a\" in *'" + failOn.toUtf8() + "'*) exit 1;; esac; done\n";
    m_pkexec = fakeTool(Tool::Pkexec, (failOn.isEmpty() ? QByteArray() : refuse) + "exec \"$@\"");
}

bool FileOpsTest::lockingWorks() {
    const QString probe = home().writeFile("lock-probe", "x");
    const bool locked = home().platform().setImmutableFlag(probe, true, nullptr);
    home().platform().setImmutableFlag(probe, false, nullptr);
    QFile::remove(probe);
    return locked;
}

QString FileOpsTest::trash() {
    return BMLocalPaths::trashDirectory();
}

QString FileOpsTest::trashedFrom(const QString& trashFolder, const QString& name) {
    return LinuxPlatform::originalPathFromTrashRecord(readFile(trashFolder + "/info/" + name + ".trashinfo"));
}
