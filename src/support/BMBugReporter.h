#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>

// Notices at start-up that the previous run ended in a crash, finds its crash report and
// hands it to the maker's bug-reporting application (or to a delegate). The run markers
// "launch" and "exit" live in the application's settings, or in the given property list.
class BMBugReporter {
public:
    // Told the crash report's path, on the main thread, without the caller waiting.
    using Delegate = std::function<void(const QString& crashLog)>;

    static QString bugReporterIdentifier() { return QStringLiteral("com.brightmoor.BugReporter"); }
    // The bundled reporter, looked for beside the executable.
    static QString bundledReporterName() { return QStringLiteral("Bug Reporter"); }

    // Checks for a crash of the previous run and reports it, records "launch", and from now
    // on writes a crash report when the process dies of a fatal signal. A null name is the
    // application's own; a null path keeps the markers in the application's settings.
    static void startBugReporter(const QString& name = QString(), const QString& plistPath = QString(),
                                 const Delegate& delegate = {});
    static void startBugReporterWithDelegate(const Delegate& delegate) {
        startBugReporter(QString(), QString(), delegate);
    }
    // Records "exit" where start recorded "launch".
    static void stopBugReporter(const QString& plistPath = QString());

    // The previous run's crash report, or null.
    static QString checkForCrashes(const QString& name = QString(), const QString& plistPath = QString());

    // The folders searched for crash reports, in order.
    static QStringList crashFolders();

    // Gives a marker file under a home folder back to that user, so that a run as root does
    // not leave the user a file they cannot write.
    static void chownPlist(const QString& path);
    // The owner the marker file is given to: null when it is left alone.
    static QString markerFileOwner(const QString& path);
    // The rule on the Mac: the path component after "Users".
    static QString ownerByUsersFolder(const QString& path);

    // The marker dates as stored; invalid when absent.
    static QDateTime marker(const QString& key, const QString& plistPath = QString());
};
