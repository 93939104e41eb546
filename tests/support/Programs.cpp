#include "Programs.h"

#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <csignal>
#include <gtest/gtest.h>

std::unique_ptr<QProcess> startProgram(const QString& program, const QStringList& arguments,
                                       const RunOptions& options) {
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(options.environment);
    process->setWorkingDirectory(options.workingDirectory);
    if (options.mergeChannels)
        process->setProcessChannelMode(QProcess::MergedChannels);
    process->start(program, arguments);
    if (process->waitForStarted(10000)) {
        process->write(options.input);
        process->closeWriteChannel();
    }
    return process;
}

ProgramRun finishProgram(QProcess& process, int timeoutMs) {
    ProgramRun run;
    if (process.error() == QProcess::FailedToStart)
        return run; // not there to run: the test says what that means
    run.pid = process.processId();
    // Qt's wait says false for a process that had already ended.
    run.finished = process.state() == QProcess::NotRunning || process.waitForFinished(timeoutMs);
    if (!run.finished) {
        process.kill();
        process.waitForFinished(5000);
        ADD_FAILURE() << process.program().toStdString() << " did not finish";
    } else if (process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
    }
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.leftBehind = run.pid > 0 && ::kill(pid_t(run.pid), 0) == 0;
    return run;
}

ProgramRun runProgram(const QString& program, const QStringList& arguments, const RunOptions& options) {
    return finishProgram(*startProgram(program, arguments, options), options.timeoutMs);
}

const QStringList& setprivAsNobody() {
    static const QStringList arguments{"--reuid=nobody", "--regid=nogroup", "--clear-groups"};
    return arguments;
}

QString locateIndexOf(const QString& folder, const QString& index) {
    if (!QFileInfo("/usr/bin/updatedb").isExecutable() || !QFileInfo("/usr/bin/plocate").isExecutable())
        return QString();
    const ProgramRun updatedb =
        runProgram("/usr/bin/updatedb", {"-U", folder, "-o", index, "--prunepaths", "", "--prunefs", "",
                                         "--prunenames", "", "-l", "0"});
    EXPECT_EQ(updatedb.exitCode, 0) << updatedb.err.toStdString();
    return index;
}

QMap<QString, QString> trashRecords(const QString& trashFolder) {
    QMap<QString, QString> records;
    for (const QString& name :
         QDir(trashFolder + "/files").entryList(QDir::AllEntries | QDir::NoDotAndDotDot))
        records[name] = QString();
    for (const QString& record : QDir(trashFolder + "/info").entryList({"*.trashinfo"}, QDir::Files)) {
        const QString name = record.chopped(10);
        QFile file(trashFolder + "/info/" + record);
        const QString path = file.open(QIODevice::ReadOnly)
                                 ? LinuxPlatform::originalPathFromTrashRecord(file.readAll())
                                 : QString();
        records[name] = records.contains(name) ? path : path + " (no item)";
    }
    return records;
}
