// The command line's fixture: the built program run as a subprocess, with its home, settings and
// Trash inside the test's temporary folder, on one Premiere location.
#pragma once

#include "foundation/LocationLock.h"
#include "foundation/platform/Platform.h"
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using Outcome = ProgramRun;

inline const QStringList kAll{"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj",
                              "Beta/Beta-3.prproj"};

// Whether the process has the file open (a waiting run has its lock file open).
inline bool hasOpen(qint64 pid, const QString& file) {
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString& fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        if (QFileInfo(fds.filePath(fd)).symLinkTarget() == file)
            return true;
    return false;
}

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
    // QTemporaryDir cannot remove what it cannot name (a name that is not UTF-8).
    void TearDown() override {
        runProgram("rm", {"-rf", home().home()});
        TempHomeTest::TearDown();
    }
    // The project "Caf\xe9" (not UTF-8) of the location with Caf\xe9-1 and -2, in that order, each
    // holding the last 8 bytes of its name; its path.
    QByteArray cafeProject() const {
        const QByteArray cafe = QFile::encodeName(premiere) + "/Caf\xe9";
        EXPECT_EQ(::mkdir(cafe.constData(), 0755), 0);
        for (const QByteArray& file : {cafe + "/Caf\xe9-1.prproj", cafe + "/Caf\xe9-2.prproj"}) {
            const int fd = ::open(file.constData(), O_CREAT | O_WRONLY, 0644);
            EXPECT_TRUE(fd >= 0 && ::write(fd, file.right(8).constData(), 8) == 8 && ::close(fd) == 0);
            QThread::msleep(5);
        }
        return cafe;
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

    // The location's lock held as another Vestry run holds it, with what that run is doing.
    std::optional<LocationLock> holdLocation(const QString& doing = "vestry archive: archiving autosaves") {
        QString error;
        std::optional<LocationLock> held = LocationLock::acquire(premiere, doing, {}, &error);
        EXPECT_TRUE(held) << error.toStdString();
        return held;
    }

    // Runs the program while this test holds the location: `meanwhile` runs once it waits.
    Outcome runWhileHeld(const QStringList& arguments, const std::function<void(QProcess&)>& meanwhile = {},
                         const QString& doing = "vestry archive: archiving autosaves") {
        std::optional<LocationLock> held = holdLocation(doing);
        QProcessEnvironment env = environment();
        env.insert("VESTRY_LOCK_WAIT_MS", "30000");
        QProcess process;
        process.setProcessEnvironment(env);
        process.start(VESTRY_PROGRAM, arguments);
        QElapsedTimer clock;
        clock.start();
        while (!hasOpen(process.processId(), LocationLock::lockFilePath(premiere)) && clock.elapsed() < 20000)
            QThread::msleep(10);
        if (meanwhile)
            meanwhile(process);
        held.reset();
        return finishProgram(process, 30000);
    }
    QString settingsFile() const { return home().home() + "/.config/com.brightmoor.Vestry.plist"; }

    QString premiere;
};
