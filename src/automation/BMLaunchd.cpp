#include "BMLaunchd.h"

#include "foundation/AtomicFile.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMTaskEx.h"
#include "foundation/Console.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"
#include "foundation/UniqueFd.h"

#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr double commandTimeout = 10.0;

Platform& platform() {
    return Platform::current();
}

std::mutex g_sinkMutex;
JobAlertSink g_sink;

// The problem of the outermost operation running on this thread: a start removes the old job
// first, and what that removal met belongs to the start.
thread_local QString t_loadProblem;
thread_local int t_depth = 0;

class OperationScope {
public:
    OperationScope() {
        if (t_depth++ == 0)
            t_loadProblem.clear();
    }
    ~OperationScope() { --t_depth; }
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;
};

void noteProblem(const QString& problem) {
    if (t_loadProblem.isEmpty())
        t_loadProblem = problem;
}

QString toolName(Tool tool, const QString& path) {
    switch (tool) {
    case Tool::Systemctl:
        return QStringLiteral("systemctl");
    case Tool::Launchctl:
        return QStringLiteral("launchctl");
    default:
        return path.section(QLatin1Char('/'), -1);
    }
}

// The words that say the service manager itself could not be asked, rather than that it
// refused one request (a unit it does not have loaded cannot be stopped, which is normal).
bool managerUnreachable(const QString& output) {
    return output.contains(QLatin1String("Failed to connect to bus")) ||
           output.contains(QLatin1String("Failed to connect to user scope bus")) ||
           output.contains(QLatin1String("has not been booted with systemd")) ||
           output.contains(QLatin1String("Could not find the requested service"));
}

QString manager(bool computerWide) {
    return computerWide ? QStringLiteral("the system's service manager")
                        : QStringLiteral("a user service manager");
}

QString whenStarted(bool computerWide) {
    return computerWide ? QStringLiteral("start when the computer next starts")
                        : QStringLiteral("start with the next login session");
}

// Runs one command of the service manager. Its result never decides the operation's; a
// manager that cannot be reached (or, when loading, any refusal) is kept for loadProblem().
void runCommand(const LaunchJobCommand& command, bool loading, bool computerWide) {
    const QString path = platform().toolPath(command.tool);
    QString shown = toolName(command.tool, path);
    if (command.arguments.value(0) == QLatin1String("--user"))
        shown += QStringLiteral(" --user");
    const QString commandLine = toolName(command.tool, path) + QLatin1Char(' ') + command.arguments.join(' ');
    if (!BMTaskEx::isExecutable(path)) {
        const QString problem =
            QStringLiteral("%1 is not installed (%2 is missing); the job's files are in place "
                           "and nothing starts them until it is")
                .arg(toolName(command.tool, path), path);
        // Said once per operation, not for each of its commands.
        if (t_loadProblem != problem) {
            BMLog::appendLog(problem);
            noteProblem(problem);
        }
        return;
    }
    const auto outcome = BMTaskEx::outcomeFromTaskWithTimeout(path, command.arguments, commandTimeout);
    if (outcome && outcome->status == 0)
        return;
    const QString output = outcome ? QString::fromUtf8(outcome->output).trimmed() : QString();
    BMLog::appendLog(QStringLiteral("%1 failed (exit status %2): %3")
                         .arg(commandLine)
                         .arg(outcome ? outcome->status : -1)
                         .arg(output.isEmpty() ? QStringLiteral("no output") : output));
    const QString cause = output.section(QLatin1Char('\n'), 0, 0).trimmed();
    if (!outcome)
        noteProblem(QStringLiteral("%1 could not be run; the job's files are in place").arg(commandLine));
    else if (managerUnreachable(output))
        noteProblem(QStringLiteral("%1 could not reach %2 (%3); the job's files are in place and %4")
                        .arg(shown, manager(computerWide), cause, whenStarted(computerWide)));
    else if (loading)
        noteProblem(QStringLiteral("%1 failed (%2); the job's files are in place")
                        .arg(commandLine, cause.isEmpty()
                                              ? QStringLiteral("exit status %1").arg(outcome->status)
                                              : cause));
}

void runStep(LaunchJobStep step, const QString& label, const QString& folder, bool runAtLoad,
             bool computerWide) {
    for (const LaunchJobCommand& command :
         platform().launchJobCommands(step, label, folder, runAtLoad, computerWide))
        runCommand(command, step == LaunchJobStep::Load, computerWide);
}

void runTool(Tool tool, const QStringList& arguments, bool privileged) {
    const QString path = platform().toolPath(tool);
    if (privileged)
        BMAuthorization::sharedController().authExecTask(path, arguments);
    else
        BMTaskEx::runTaskWithTimeout(path, arguments, commandTimeout);
}

// Whether the folder refuses this user, so that rights could help; a full or read-only disk
// refuses everyone.
bool refusesUser(const QString& folder) {
    return ::access(FileName::encode(folder).constData(), W_OK) != 0 && (errno == EACCES || errno == EPERM);
}

bool settingIsTrue(const LaunchJobSettings& settings, const char* key) {
    for (const auto& [name, value] : settings) {
        if (name == QLatin1String(key))
            return value.toBool();
    }
    return false;
}

// A computer-wide job's files lie in a folder that the system-folder guard keeps whole
// (/etc/systemd/system), so the general removal refuses them. The job's own files are removed
// here by name instead: only the entry of that name in the real jobs folder, only when it is
// a file or a link (never a folder, and a link goes itself, never what it points to).
bool removeJobFile(const QString& path, bool shouldAuth) {
    const QString realFolder = QFileInfo(PathText::deletingLastComponent(path)).canonicalFilePath();
    const QString name = PathText::lastComponent(path);
    if (realFolder.isEmpty())
        return !FileTree::exists(path);
    const UniqueFd folder(
        ::open(FileName::encode(realFolder).constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const QByteArray entry = FileName::encode(name);
    struct stat info {};
    if (folder.fd < 0 || ::fstatat(folder.fd, entry.constData(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    if (!S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode)) {
        BMLog::appendLogAndPrint(QStringLiteral("Unable to delete %1: it is not a job file").arg(path));
        return false;
    }
    if (::unlinkat(folder.fd, entry.constData(), 0) == 0)
        return true;
    const int failure = errno;
    const QString real = realFolder + QLatin1Char('/') + name;
    BMLog::appendLog(QStringLiteral("Error removing file: %1. Authorizing...")
                         .arg(FileTree::errorDescription(real, failure)));
    if (!shouldAuth)
        return false;
    const QString rm = platform().toolPath(Tool::Rm);
    return BMAuthorization::sharedController().authExecTask(
               rm, {QStringLiteral("-f"), QStringLiteral("--"), real}) == 0 &&
           !FileTree::exists(real);
}

QString permissionsText(const QString& folder) {
    return QStringLiteral("Please check you have correct permissions for the directory %1.").arg(folder);
}

// The privileged way for one file that could not be written in place: through the temporary
// folder and a privileged move. False, with the messages given, when the file is not there.
bool placeWithPrivileges(const LaunchJobFile& file, const QString& path, const QString& folder) {
    const QString temporary = BMLocalPaths::tempDirectory() + QLatin1Char('/') + file.name;
    if (!AtomicFile::write(temporary, file.contents)) {
        BMLog::appendLog(
            QStringLiteral(
                "Error: Unable to create LaunchAgent. Please check you have correct permissions for "
                "the directory %1")
                .arg(folder));
        Console::print(
            QStringLiteral("Error: Unable to write LaunchAgent data. Please check you have correct "
                           "permissions for the directory %1")
                .arg(folder));
        BMLaunchd::showAlert(
            {QStringLiteral("Error: Unable to write LaunchAgent data"), permissionsText(folder)});
        return false;
    }
    if (FileTree::exists(path) && removeJobFile(path, true))
        BMFileManager::waitForCondition([&] { return !FileTree::exists(path); }, 5);
    BMLog::appendLog(QStringLiteral("Unable to write launchd plist - trying to authorize..."));
    if (!BMFileManager::moveFileWithTimeout(temporary, path, 10)) {
        const QString text =
            QStringLiteral(
                "Error: Unable to create LaunchAgent. Please check you have correct permissions for the "
                "directory %1")
                .arg(folder);
        BMLog::appendLog(text);
        Console::print(text);
        BMLaunchd::showAlert(
            {QStringLiteral("Error: Unable to create LaunchAgent"), permissionsText(folder)});
        BMFileManager::removeFile(temporary, false);
        return false;
    }
    BMFileManager::removeFileWithTimeout(temporary, 10);
    return true;
}

} // namespace

bool BMLaunchd::startLaunchAgent(const QString& label, const LaunchJobSettings& settings, bool user) {
    return startJob(label, settings, user, true, false);
}

bool BMLaunchd::startJob(const QString& label, const LaunchJobSettings& settings, bool user, bool launchAgent,
                         bool shouldAuth, const QString& killProcessName) {
    const OperationScope scope;
    const QString folder = jobsFolder(user, launchAgent);
    if (!FileTree::exists(folder))
        BMFileManager::createDirectory(folder, shouldAuth);

    QString refusal;
    const auto files = platform().launchJobFiles(label, settings, !user, &refusal);
    if (!files) {
        const QString text = QStringLiteral("Error: Unable to create LaunchAgent %1: %2").arg(label, refusal);
        BMLog::appendLog(text);
        Console::print(text);
        showAlert({QStringLiteral("Error: Unable to create LaunchAgent"), refusal});
        return false;
    }
    const QStringList paths = jobFiles(label, user, launchAgent);
    for (const QString& path : paths) {
        if (FileTree::exists(path)) {
            removeJob(label, user, launchAgent, shouldAuth);
            break;
        }
    }

    bool privileged = shouldAuth;
    for (qsizetype i = 0; i < files->size(); ++i) {
        const QString& path = paths.at(i);
        QString cause;
        if (AtomicFile::write(path, files->at(i).contents, &cause))
            continue;
        const bool rightsHelp = refusesUser(folder);
        if (rightsHelp && placeWithPrivileges(files->at(i), path, folder)) {
            privileged = true;
            continue;
        }
        if (!rightsHelp) {
            const QString text =
                QStringLiteral("Error: Unable to create LaunchAgent %1: %2").arg(path, cause);
            BMLog::appendLog(text);
            Console::print(text);
            showAlert({QStringLiteral("Error: Unable to create LaunchAgent"),
                       QStringLiteral("%1: %2").arg(path, cause)});
        }
        // Half a job would only mislead: the files placed before this one go again.
        for (qsizetype placed = 0; placed < i; ++placed)
            removeJobFile(paths.at(placed), privileged);
        return false;
    }

    if (!killProcessName.isEmpty())
        runTool(Tool::Killall, {killProcessName}, false);

    const QString owner = platform().computerWideJobOwner();
    for (const QString& path : paths) {
        if (!user)
            runTool(Tool::Chown, {owner, path}, privileged);
        if (privileged)
            ::usleep(500);
        runTool(Tool::Chmod, {QStringLiteral("644"), path}, privileged);
    }
    if (privileged)
        std::this_thread::sleep_for(std::chrono::seconds(1));

    const bool runAtLoad = settingIsTrue(settings, "RunAtLoad");
    runStep(LaunchJobStep::Unload, label, folder, runAtLoad, !user);
    runStep(LaunchJobStep::Load, label, folder, runAtLoad, !user);
    return true;
}

void BMLaunchd::removeLaunchAgent(const QString& label, bool /*user*/) {
    removeJob(label, true, true, true);
}

void BMLaunchd::removeJob(const QString& label, bool user, bool launchAgent, bool shouldAuth) {
    const OperationScope scope;
    stopJob(label, user, launchAgent, shouldAuth);
    if (label.isEmpty())
        return;
    const QString folder = jobsFolder(user, launchAgent);
    bool removedAny = false;
    bool failed = false;
    for (const QString& path : jobFiles(label, user, launchAgent)) {
        if (!FileTree::exists(path))
            continue;
        if (removeJobFile(path, shouldAuth)) {
            ::usleep(500);
            removedAny = true;
        } else {
            failed = true;
        }
    }
    // One alert for the job, however many of its files stayed.
    if (failed && shouldAuth)
        showAlert({QStringLiteral("Error: Unable to remove LaunchAgent"), permissionsText(folder)});
    if (removedAny)
        runStep(LaunchJobStep::FilesRemoved, label, folder, false, !user);
}

void BMLaunchd::stopJob(const QString& label, bool user, bool launchAgent, bool /*shouldAuth*/) {
    const OperationScope scope;
    if (label.isEmpty())
        return;
    const QString folder = jobsFolder(user, launchAgent);
    runStep(LaunchJobStep::Unload, label, folder, false, !user);
    runStep(LaunchJobStep::Forget, label, folder, false, !user);
}

QString BMLaunchd::jobsFolder(bool user, bool launchAgent) {
    const QString daemons = platform().launchDaemonsFolderName();
    if (launchAgent || daemons.isEmpty())
        return BMLocalPaths::launchAgentsDirectory(user);
    return BMLocalPaths::libraryDirectory(user) + QLatin1Char('/') + daemons;
}

QStringList BMLaunchd::jobFiles(const QString& label, bool user, bool launchAgent) {
    const QString folder = jobsFolder(user, launchAgent);
    QStringList paths;
    for (const QString& name : platform().launchJobFileNames(label))
        paths << folder + QLatin1Char('/') + name;
    return paths;
}

QString BMLaunchd::loadProblem() {
    return t_loadProblem;
}

void BMLaunchd::setAlertSink(JobAlertSink sink) {
    const std::lock_guard lock(g_sinkMutex);
    g_sink = std::move(sink);
}

void BMLaunchd::showAlert(const JobAlert& alert) {
    JobAlertSink sink;
    {
        const std::lock_guard lock(g_sinkMutex);
        sink = g_sink;
    }
    if (sink)
        sink(alert);
    else
        BMLog::appendLog(alert.informative.isEmpty() ? alert.message
                                                     : alert.message + QLatin1Char(' ') + alert.informative);
}
