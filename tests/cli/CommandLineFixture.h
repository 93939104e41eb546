// The command line's fixture: the built program run as a subprocess, with its home, settings and
// Trash inside the test's temporary folder, on one Premiere location.
#pragma once

#include "foundation/platform/Platform.h"
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>
#include <unistd.h>

using Outcome = ProgramRun;

inline const QStringList kAll{"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj",
                              "Beta/Beta-3.prproj"};

// A Premiere location with Alpha (one autosave of 200 bytes) and Beta (three of 180, created in
// this order a few milliseconds apart, so that the newest is known).
class CommandLine : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
        premiere = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
        for (const QString& name : kAll) {
            write(autosave(name), name.toUtf8().repeated(10));
            QThread::msleep(5);
        }
    }

    // Every file of a test is in its temporary folder.
    void write(const QString& path, const QByteArray& contents = "x") { home().writeFile(path, contents); }
    static QProcessEnvironment environment() {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        environment.insert("TZ", "UTC");
        return environment;
    }
    Outcome run(const QStringList& arguments, const QProcessEnvironment& env = environment(),
                const QString& program = VESTRY_PROGRAM) {
        return runProgram(program, arguments, {env, home().home()});
    }

    // Opens the temporary folder to everyone, so that the program can run as the user nobody
    // for the faults root never meets. False where that cannot be done.
    bool openToNobody() {
        if (::getuid() != 0 || !QFileInfo("/usr/bin/setpriv").isExecutable())
            return false;
        return runProgram("chmod", {"-R", "a+rwX", home().root()}).exitCode == 0;
    }
    Outcome runAsNobody(const QStringList& arguments, const QProcessEnvironment& env) {
        return run(setprivAsNobody() + QStringList{VESTRY_PROGRAM} + arguments, env, "/usr/bin/setpriv");
    }
    // An index of the folder made by the real updatedb; null when plocate is not installed.
    QString locateIndex(const QString& folder) { return locateIndexOf(folder, home().root() + "/index.db"); }

    QString autosave(const QString& name) const { return premiere + "/" + name; }
    QStringList autosavesLeft() const {
        QStringList left;
        for (const QString& name : kAll) {
            if (QFileInfo::exists(autosave(name)))
                left << name;
        }
        return left;
    }
    QMap<QString, QString> trashRecords() const {
        return ::trashRecords(home().home() + "/.local/share/Trash");
    }
    static QDateTime created(const QString& path) { return Platform::current().fileFacts(path)->created; }
    static QString iso(const QString& path) { return created(path).toUTC().toString(Qt::ISODate); }

    QString premiere;
};

// Another process holding a location's lock as a Vestry run does, its process id and what it
// is doing in the file (perl-base is part of every Debian system). Killed when it goes.
class LockHolder {
public:
    explicit LockHolder(const QString& lockFile) {
        QDir().mkpath(QFileInfo(lockFile).path());
        m_process.start("perl", {"-MFcntl=:flock", "-e",
                                 "open(F, '+>>', $ARGV[0]) or die; flock(F, LOCK_EX) or die; truncate(F, 0); "
                                 "syswrite(F, \"$$\\nvestry archive: archiving autosaves\\n\"); "
                                 "syswrite(STDOUT, \"held\\n\"); <STDIN>",
                                 lockFile});
        m_process.waitForReadyRead(20000);
    }
    ~LockHolder() { release(); }
    bool holds() const { return m_process.state() == QProcess::Running; }
    qint64 pid() const { return m_process.processId(); }
    void release() {
        m_process.kill();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
};

// Whether the process has the file open (a waiting run has its lock file open).
inline bool hasOpen(qint64 pid, const QString& file) {
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString& fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        if (QFileInfo(fds.filePath(fd)).symLinkTarget() == file)
            return true;
    return false;
}
