#pragma once

#include <QByteArray>
#include <QMap>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <memory>

class QProcess;

// How a program ran: a run that did not end in time was killed and has failed the test.
struct ProgramRun {
    bool finished = false;
    int exitCode = -1; // -1 unless it ended normally
    qint64 pid = 0;
    QString out;
    QString err;             // empty where the channels were merged into out
    bool leftBehind = false; // its process still alive after the run
};

struct RunOptions {
    RunOptions(const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
               const QString& workingDirectory = QString(), int timeoutMs = 60000,
               const QByteArray& input = QByteArray(), bool mergeChannels = false)
        : environment(environment), workingDirectory(workingDirectory), timeoutMs(timeoutMs), input(input),
          mergeChannels(mergeChannels) {}

    QProcessEnvironment environment;
    QString workingDirectory;
    int timeoutMs;
    QByteArray input;
    bool mergeChannels;
};

std::unique_ptr<QProcess> startProgram(const QString& program, const QStringList& arguments,
                                       const RunOptions& options = {});
ProgramRun finishProgram(QProcess& process, int timeoutMs = 60000);
ProgramRun runProgram(const QString& program, const QStringList& arguments, const RunOptions& options = {});

// setpriv's arguments that run what follows them as the user nobody.
const QStringList& setprivAsNobody();

// An index of the folder made by the real updatedb at `index`; null where plocate is not
// installed.
QString locateIndexOf(const QString& folder, const QString& index);

// A Trash's items and records: name -> the original path its record holds, empty for an item
// without a record and "(no item)" appended for a record without its item.
QMap<QString, QString> trashRecords(const QString& trashFolder);
