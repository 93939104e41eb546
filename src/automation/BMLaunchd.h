#pragma once

#include "foundation/platform/Platform.h" // LaunchJobSettings: the platform writes the job's files

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <utility>

// What a person must be told when a job could not be put in place: the window shows it as a
// sheet, the command line prints it, the background helper only logs it.
struct JobAlert {
    QString message;
    QString informative;
};
using JobAlertSink = std::function<void(const JobAlert&)>;

// Installs, starts, stops and removes the program's launch jobs. On macOS a job is a property
// list in a LaunchAgents or LaunchDaemons folder, loaded by launchctl; on Linux it is a
// systemd unit pair ("<label>.service" and "<label>.path") in the user's or the computer's
// unit folder, loaded by systemctl. The platform seam writes the files and names the
// commands; the steps around them (the privileged fallback through the temporary folder,
// owner and mode, the messages) are the same for both.
//
// Every operation blocks while its commands run (each up to 10 seconds): call from a worker.
class BMLaunchd {
public:
    // startJob with launchAgent true, shouldAuth false and no process to stop.
    static bool startLaunchAgent(const QString& label, const LaunchJobSettings& settings, bool user);
    // True when the job's files were put in place; the load commands' results do not count
    // (a failing load is logged and kept for loadProblem()).
    static bool startJob(const QString& label, const LaunchJobSettings& settings, bool user, bool launchAgent,
                         bool shouldAuth, const QString& killProcessName = QString());
    // Always the user's agent: the user argument is ignored, as it always has been.
    static void removeLaunchAgent(const QString& label, bool user);
    static void removeJob(const QString& label, bool user, bool launchAgent, bool shouldAuth);
    // Nothing for an empty label.
    static void stopJob(const QString& label, bool user, bool launchAgent, bool shouldAuth);

    // The folder that holds the jobs of a domain.
    static QString jobsFolder(bool user, bool launchAgent);
    // The job's files in that folder: the property list, or the service and path units.
    static QStringList jobFiles(const QString& label, bool user, bool launchAgent);
    // Why the last start, stop or removal on this thread could not load or unload the job
    // (the service manager is missing or refused: no user session, a container); empty when
    // it could. The job's files stay in place either way.
    static QString loadProblem();

    // Where the alerts go; by default only to the log.
    static void setAlertSink(JobAlertSink sink);
    static void showAlert(const JobAlert& alert);
};
