#include "HelperJobs.h"

#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/BMTaskEx.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString helperName = QStringLiteral("vestry-helper");

// Runs an operation with its exceptions logged under the name the window's controller has
// always used for it.
template <typename Result, typename Operation>
Result logging(const char* method, Result failed, Operation operation) {
    try {
        return operation();
    } catch (const std::exception& e) {
        BMException::logException(e, method);
    } catch (...) {
        BMException::logUnknownException(method);
    }
    return failed;
}

QStringList folderEntries(const QString& folder) {
    QStringList folders;
    for (const QString& name : BMFileManager::contentsOfDirectory(folder)) {
        const QString path = PathText::appendingComponent(folder, name);
        if (BMFileManager::isDirectoryAtPath(path))
            folders << path;
    }
    return folders;
}

// Each missing folder of the path, outermost first, with mode 0700.
void makePrivateFolders(const QString& path) {
    QStringList missing;
    for (QString folder = path;
         !folder.isEmpty() && folder != QLatin1String("/") && !FileTree::exists(folder);
         folder = PathText::deletingLastComponent(folder))
        missing.prepend(folder);
    for (const QString& folder : missing) {
        if (::mkdir(FileName::encode(folder).constData(), 0700) != 0 && errno != EEXIST) {
            BMLog::appendLog(QStringLiteral("Unable to create directory %1")
                                 .arg(FileTree::errorDescription(folder, errno)));
            return;
        }
    }
}

// A computer-wide job is removed from the computer's folder; the user's through
// removeLaunchAgent, as the window has always done.
void removeHelperJob(const char* label, bool user) {
    if (user)
        BMLaunchd::removeLaunchAgent(QString::fromLatin1(label), true);
    else
        BMLaunchd::removeJob(QString::fromLatin1(label), false, true, true);
}

HelperJobs::JobState stateOf(const char* label, const char* setting, bool user) {
    HelperJobs::JobState state;
    state.label = QString::fromLatin1(label);
    state.switchedOn = BMSettings::standard().boolValue(QString::fromLatin1(setting));
    const QStringList files = BMLaunchd::jobFiles(state.label, user, true);
    state.installed = !files.isEmpty() && std::all_of(files.begin(), files.end(), [](const QString& file) {
        return BMFileManager::fileExistsAtPath(file);
    });
    state.watchedPaths =
        Platform::current().launchJobWatchedPaths(state.label, BMLaunchd::jobsFolder(user, true));
    return state;
}

} // namespace

HelperJobs::HelperJobs(bool computerWide) : m_user(!computerWide) {
}

QString HelperJobs::helperProgram() {
    const QString programFolder = QCoreApplication::applicationDirPath();
    const QString beside = programFolder + QLatin1Char('/') + helperName;
    if (BMTaskEx::isExecutable(beside))
        return beside;
    const QString sameTree =
        QDir::cleanPath(programFolder + QStringLiteral("/" VESTRY_HELPER_FROM_BIN "/") + helperName);
    if (BMTaskEx::isExecutable(sameTree))
        return sameTree;
    const QString installed = QStringLiteral(VESTRY_HELPER_DIR "/") + helperName;
    return BMTaskEx::isExecutable(installed) ? installed : beside;
}

LaunchJobSettings HelperJobs::trashJob(const QString& program, const QString& trashItemsFolder) {
    return {{QStringLiteral("Label"), QString::fromLatin1(trashLabel)},
            {QStringLiteral("Program"), program},
            {QStringLiteral("ProgramArguments"), QStringList{helperName, QStringLiteral("-trash")}},
            {QStringLiteral("WatchPaths"), QStringList{trashItemsFolder}},
            {QStringLiteral("RunAtLoad"), true},
            {QStringLiteral("LowPriorityIO"), true},
            {QStringLiteral("Nice"), 15}};
}

LaunchJobSettings HelperJobs::cleanJob(const QString& program, const QString& folder,
                                       const QStringList& watchPaths) {
    return {{QStringLiteral("Label"), QString::fromLatin1(cleanLabel)},
            {QStringLiteral("Program"), program},
            {QStringLiteral("ProgramArguments"), QStringList{helperName, QStringLiteral("-clean"), folder}},
            {QStringLiteral("WorkingDirectory"), PathText::deletingLastComponent(program)},
            {QStringLiteral("WatchPaths"), watchPaths},
            {QStringLiteral("RunAtLoad"), true},
            {QStringLiteral("LowPriorityIO"), true},
            {QStringLiteral("Nice"), 15}};
}

QStringList HelperJobs::cleanWatchList(const QString& folder) {
    QStringList paths{folder};
    for (const QString& entry : folderEntries(folder)) {
        if (entry.endsWith(QLatin1String("Avid Attic")))
            paths << folderEntries(PathText::appendingComponent(entry, QStringLiteral("Bins")));
        else
            paths << entry;
    }
    return paths;
}

QString HelperJobs::cleanFolder() {
    return PathText::expandingTilde(BMSettings::standard().stringValue(SettingsKey::autosaveFolder),
                                    BMLocalPaths::userDirectory());
}

bool HelperJobs::setupTrashHelper() {
    return logging("-[AppController setupTrashHelper]", false, [this] {
        BMLog::appendLog(QStringLiteral("Setting up trash helper..."));
        BMSettings::standard().synchronize();
        const QString items = Platform::current().trashItemsFolder(BMLocalPaths::trashDirectory());
        // The path unit watches the folder only if it is there. Made as the Trash's own code
        // makes it, for this user only: other users of a shared machine must not see what is
        // thrown away, and the Trash keeps the mode it is first given.
        if (!BMFileManager::isDirectoryAtPath(items))
            makePrivateFolders(items);
        return BMLaunchd::startLaunchAgent(trashLabel, trashJob(helperProgram(), items), m_user);
    });
}

bool HelperJobs::setupCleanHelper(bool quiet) {
    return logging("-[AppController setupCleanHelper:]", false, [this, quiet] {
        BMLog::appendLog(QStringLiteral("Setting up clean helper..."));
        BMSettings::standard().synchronize();
        const QString folder = cleanFolder();
        if (folder.isEmpty() || !BMFileManager::isDirectoryAtPath(folder)) {
            const QString text = QStringLiteral("Error: The autosave path %1 does not exist.").arg(folder);
            BMLog::appendLog(text);
            if (!quiet)
                BMLaunchd::showAlert({text, QString()});
            return false;
        }
        return BMLaunchd::startLaunchAgent(cleanLabel,
                                           cleanJob(helperProgram(), folder, cleanWatchList(folder)), m_user);
    });
}

void HelperJobs::stopTrashHelper() {
    logging("-[AppController stopTrashHelper]", 0, [this] {
        BMLog::appendLog(QStringLiteral("Stopping trash helper..."));
        removeHelperJob(trashLabel, m_user);
        return 0;
    });
}

void HelperJobs::stopCleanHelper() {
    logging("-[AppController stopCleanHelper]", 0, [this] {
        BMLog::appendLog(QStringLiteral("Stopping clean helper..."));
        removeHelperJob(cleanLabel, m_user);
        return 0;
    });
}

bool HelperJobs::toggleTrashHelper() {
    stopTrashHelper();
    return setupTrashHelper();
}

bool HelperJobs::toggleCleanHelper(bool quiet) {
    stopCleanHelper();
    return setupCleanHelper(quiet);
}

bool HelperJobs::jobsFolderWritable() const {
    QString folder = BMLaunchd::jobsFolder(m_user, true);
    while (!folder.isEmpty() && !BMFileManager::fileExistsAtPath(folder) && folder != QLatin1String("/"))
        folder = PathText::deletingLastComponent(folder);
    return !folder.isEmpty() && ::access(FileName::encode(folder).constData(), W_OK) == 0;
}

HelperJobs::JobState HelperJobs::trashState() const {
    return stateOf(trashLabel, SettingsKey::autoRemove, m_user);
}

HelperJobs::JobState HelperJobs::cleanState() const {
    return stateOf(cleanLabel, SettingsKey::autoClean, m_user);
}
