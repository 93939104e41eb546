#include "FileOpsFixture.h"
#include "Programs.h"
#include "Tmpfs.h"
#include "automation/BMLaunchd.h"
#include "automation/HelperJobs.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <thread>

namespace {

const QString label = QString::fromLatin1(HelperJobs::trashLabel);
const QString service = label + ".service";
const QString pathUnit = label + ".path";

// The jobs written through stand-ins for systemctl, chown, chmod and killall that record
// their arguments; chmod also does its work, so that the files' mode can be checked.
class LaunchJobsTest : public FileOpsTest {
protected:
    void SetUp() override {
        FileOpsTest::SetUp();
        m_systemctl = fakeTool(Tool::Systemctl);
        m_chown = fakeTool(Tool::Chown);
        m_chmod = fakeTool(Tool::Chmod, "exec /bin/chmod \"$@\"");
        m_killall = fakeTool(Tool::Killall);
        BMLaunchd::setAlertSink(
            [this](const JobAlert& alert) { m_alerts << alert.message + " / " + alert.informative; });
    }
    void TearDown() override {
        BMLaunchd::setAlertSink(nullptr);
        FileOpsTest::TearDown();
    }

    static QString userJobs() { return BMLaunchd::jobsFolder(true, true); }
    static QList<QStringList> user(const QList<QStringList>& calls) {
        QList<QStringList> withFlag;
        for (const QStringList& call : calls)
            withFlag << QStringList{"--user"} + call;
        return withFlag;
    }
    static LaunchJobSettings job() { return HelperJobs::trashJob("/bin/true", "/srv/Trash/files"); }

    RecordingTool m_systemctl, m_chown, m_chmod, m_killall;
    QStringList m_alerts; // "message / informative"
};

const QList<QStringList> unload{{"stop", pathUnit}, {"disable", pathUnit}};
const QList<QStringList> load{
    {"daemon-reload"}, {"enable", pathUnit}, {"start", pathUnit}, {"start", "--no-block", service}};
const QList<QStringList> removal{
    {"stop", pathUnit}, {"disable", pathUnit}, {"stop", service}, {"daemon-reload"}};

TEST_F(LaunchJobsTest, StartWritesBothUnitsAndLoadsThemAfterRemovingTheOldJobAndAComputerWideOneIsRoots) {
    ASSERT_FALSE(QFileInfo::exists(userJobs())); // made when missing
    EXPECT_TRUE(BMLaunchd::startLaunchAgent(label, job(), true));
    EXPECT_EQ(m_systemctl.calls(), user(unload + load));
    EXPECT_EQ(m_chmod.calls(), (QList<QStringList>{{"644", userJobs() + '/' + service},
                                                   {"644", userJobs() + '/' + pathUnit}}));
    EXPECT_TRUE(m_chown.calls().isEmpty() && m_killall.calls().isEmpty());
    EXPECT_TRUE(BMLaunchd::loadProblem().isEmpty());

    // Again, with a process to stop: the installed job goes first.
    QFile::remove(m_systemctl.path() + ".record");
    EXPECT_TRUE(BMLaunchd::startJob(label, job(), true, true, false, "vestry-helper"));
    EXPECT_EQ(m_systemctl.calls(), user(removal + unload + load));
    EXPECT_EQ(m_killall.calls(), QList<QStringList>{{"vestry-helper"}});

    // Removal ignores its user flag; stopping an unnamed job does nothing.
    QFile::remove(m_systemctl.path() + ".record");
    BMLaunchd::removeLaunchAgent(label, false);
    BMLaunchd::stopJob(QString(), true, true, true);
    EXPECT_EQ(m_systemctl.calls(), user(removal));
    EXPECT_EQ(QDir(userJobs()).entryList(QDir::Files), QStringList());
    EXPECT_TRUE(m_alerts.isEmpty());

    // A computer-wide job is root's and loaded without --user.
    QFile::remove(m_systemctl.path() + ".record");
    EXPECT_TRUE(BMLaunchd::startJob(label, job(), false, true, false));
    const QString folder = BMLaunchd::jobsFolder(false, true);
    EXPECT_TRUE(folder.startsWith(home().machineRoot())) << qPrintable(folder);
    EXPECT_EQ(BMLaunchd::jobFiles(label, false, true),
              (QStringList{folder + '/' + service, folder + '/' + pathUnit}));
    EXPECT_EQ(m_chown.calls(), (QList<QStringList>{{"root:root", folder + '/' + service},
                                                   {"root:root", folder + '/' + pathUnit}}));
    EXPECT_EQ(m_systemctl.calls(), unload + load);
}

TEST_F(LaunchJobsTest, AnUnwritableJobsFolderTakesThePrivilegedWayWithItsMessages) {
    if (!lockingWorks())
        GTEST_SKIP() << "this file system or user cannot set the immutable flag";
    const QString folder = userJobs();
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString temporary = home().makeFolder("machine/tmp");
    ASSERT_TRUE(BMFileManager::lockFile(folder));
    EXPECT_FALSE(HelperJobs().jobsFolderWritable()); // so nothing is reinstalled at start
    const QString permissions = "Please check you have correct permissions for the directory " + folder + '.';
    // A start that fails says why on the console and in one alert.
    const auto startRefused = [&](const QString& message) {
        m_alerts.clear();
        ConsoleCapture console;
        EXPECT_FALSE(BMLaunchd::startLaunchAgent(label, job(), true));
        EXPECT_TRUE(console.text().contains(message + ". " + permissions.chopped(1)))
            << console.text().toStdString();
        EXPECT_EQ(m_alerts, QStringList{message + " / " + permissions});
    };
    grantingPkexec(); // the right is granted, and the folder still refuses the move
    startRefused("Error: Unable to create LaunchAgent");
    EXPECT_TRUE(logText().contains("Unable to write launchd plist - trying to authorize..."));
    EXPECT_EQ(QDir(BMLocalPaths::tempDirectory()).entryList(QDir::Files), QStringList());
    EXPECT_TRUE(m_systemctl.calls().isEmpty());

    // Rights that can write there: both units arrive through the temporary folder and are
    // made readable with rights.
    m_pkexec = fakeTool(Tool::Pkexec, "chattr -i '" + folder.toUtf8() + "'\nexec \"$@\"");
    EXPECT_TRUE(BMLaunchd::startLaunchAgent(label, job(), true));
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), (QStringList{pathUnit, service}));
    EXPECT_EQ(QDir(BMLocalPaths::tempDirectory()).entryList(QDir::Files), QStringList());
    EXPECT_TRUE(m_pkexec.calls().contains(
        QStringList{"/bin/mv", "-f", BMLocalPaths::tempDirectory() + '/' + service, folder + '/' + service}));
    EXPECT_TRUE(m_pkexec.calls().contains(QStringList{m_chmod.path(), "644", folder + '/' + pathUnit}));
    EXPECT_EQ(m_systemctl.calls(), user(unload + load));

    // Removal refused: one alert for the job, and its files stay.
    ASSERT_TRUE(BMFileManager::lockFile(folder));
    m_pkexec = fakeTool(Tool::Pkexec, "exit 127");
    m_alerts.clear();
    BMLaunchd::removeLaunchAgent(label, true);
    EXPECT_EQ(m_alerts, QStringList{"Error: Unable to remove LaunchAgent / " + permissions});
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 2);

    // Neither the folder nor the temporary folder can be written: the other wording.
    home().platform().setImmutableFlag(folder, false, nullptr);
    BMLaunchd::removeLaunchAgent(label, true);
    ASSERT_TRUE(BMFileManager::lockFile(folder) && BMFileManager::lockFile(temporary));
    startRefused("Error: Unable to write LaunchAgent data");
}

// Checked by systemd's own reader: "%Z" is no specifier, so a "%" not doubled fails, as do
// a quote or a backslash not escaped.
TEST_F(LaunchJobsTest, TheUnitsOfBothJobsPassSystemdsVerification) {
    if (!QFileInfo::exists("/usr/bin/systemd-analyze"))
        GTEST_SKIP() << "systemd-analyze is not installed (package systemd)";
    // systemd runs no program whose path holds a quote or a backslash; arguments may.
    const QString program = home().makeFolder("Vestry 100%Z $HOME caf\u00e9") + "/vestry-helper";
    ASSERT_TRUE(QFile::link("/bin/true", program));
    const QString odd = home().makeFolder("Edit's 100%Z \"odd\" $HOME\\ caf\u00e9");
    home().makeFolder("Edit's 100%Z \"odd\" $HOME\\ caf\u00e9/Project 1");
    const QString units = home().makeFolder("units");
    const auto verify = [&](const LaunchJobSettings& settings) {
        QString error;
        const auto files = Platform::current().launchJobFiles(label, settings, false, &error);
        if (!files)
            return "refused: " + error;
        QStringList arguments{"verify"};
        for (const LaunchJobFile& file : *files)
            arguments << home().writeFile(units + '/' + file.name, file.contents);
        const ProgramRun analyze = runProgram("/usr/bin/systemd-analyze", arguments,
                                              {QProcessEnvironment::systemEnvironment(), QString(), 20000});
        return analyze.err + QString::number(analyze.exitCode);
    };
    EXPECT_EQ(verify(HelperJobs::trashJob(program, odd)), "0");
    const QStringList watched = HelperJobs::cleanWatchList(odd);
    ASSERT_EQ(watched.size(), 2);
    EXPECT_EQ(verify(HelperJobs::cleanJob(program, odd, watched)), "0");
    EXPECT_EQ(Platform::current().launchJobWatchedPaths(label, units), watched);

    // What a unit cannot carry is refused in words, and nothing is written.
    EXPECT_EQ(verify(HelperJobs::cleanJob("/bin/true", "/srv", {"Autosaves"})),
              "refused: Autosaves is not an absolute path, which systemd needs");
    EXPECT_EQ(verify(HelperJobs::cleanJob(odd + "/vestry-helper", "/srv", {"/srv"})),
              "refused: the program " + odd +
                  "/vestry-helper holds a quote or a backslash, which systemd does "
                  "not run");
    EXPECT_FALSE(
        BMLaunchd::startLaunchAgent(label, HelperJobs::trashJob("/bin/true", odd + "/new\nline"), true));
    ASSERT_EQ(m_alerts.size(), 1);
    EXPECT_TRUE(m_alerts[0].contains("holds a line break")) << qPrintable(m_alerts[0]);
    EXPECT_FALSE(QFileInfo::exists(userJobs() + '/' + service));
}

TEST_F(LaunchJobsTest, TheTrashJobWatchesWhereTrashedFilesLandTheCleanJobTheFolderItsProjectsAndBins) {
    HelperJobs jobs;
    ASSERT_FALSE(QFileInfo::exists(userJobs()));
    EXPECT_TRUE(jobs.jobsFolderWritable()); // its nearest parent is
    EXPECT_TRUE(jobs.setupTrashHelper());
    const QString files = BMLocalPaths::trashDirectory() + "/files";
    EXPECT_TRUE(QFileInfo(files).isDir());
    // For this user only, as the Trash's own code makes it: it will hold what is thrown away.
    for (const QString& folder : {BMLocalPaths::trashDirectory(), files}) {
        struct stat info {};
        EXPECT_EQ(::stat(QFile::encodeName(folder).constData(), &info) == 0 ? info.st_mode & 07777 : 0, 0700u)
            << qPrintable(folder);
    }
    EXPECT_EQ(jobs.trashState().watchedPaths, QStringList{files});
    EXPECT_TRUE(readFile(userJobs() + '/' + service).contains("\"-trash\"\n"));
    jobs.stopTrashHelper();
    EXPECT_FALSE(jobs.trashState().installed);

    // Listed in this order: a project folder, a plain file, the attic.
    const QString folder = QDir(home().home()).filePath("Autosaves");
    const QString attic = folder + "/Media Composer Avid Attic";
    ASSERT_TRUE(QDir().mkpath(folder + "/Documentary") && QDir().mkpath(attic + "/Bins/B1") &&
                QDir().mkpath(attic + "/Bins/B2"));
    home().writeHomeFile("Autosaves/Edit notes.txt");
    home().writeHomeFile("Autosaves/Media Composer Avid Attic/Bins/loose.avb");
    const QStringList expected{folder, folder + "/Documentary", attic + "/Bins/B1", attic + "/Bins/B2"};
    EXPECT_EQ(HelperJobs::cleanWatchList(folder), expected);

    BMSettings::standard().setValue(SettingsKey::autosaveFolder, "~/Autosaves");
    BMSettings::standard().setValue(SettingsKey::autoClean, true);
    EXPECT_TRUE(jobs.setupCleanHelper());
    const HelperJobs::JobState state = jobs.cleanState();
    EXPECT_TRUE(state.switchedOn && state.installed);
    EXPECT_EQ(state.watchedPaths, expected);
    EXPECT_FALSE(jobs.trashState().installed);
    EXPECT_TRUE(logText().contains("Setting up clean helper..."));

    // A folder that is gone: quietly only the log line, otherwise also the alert.
    BMSettings::standard().setValue(SettingsKey::autosaveFolder, "~/Gone");
    const QString error = "Error: The autosave path " + home().home() + "/Gone does not exist.";
    EXPECT_FALSE(jobs.toggleCleanHelper(true));
    EXPECT_TRUE(logText().contains("Stopping clean helper...") && logText().contains(error));
    EXPECT_TRUE(m_alerts.isEmpty());
    EXPECT_FALSE(jobs.cleanState().installed);
    EXPECT_FALSE(jobs.setupCleanHelper(false));
    EXPECT_EQ(m_alerts, QStringList{error + " / "});
}

// Rights make no room: a full jobs folder is reported with its cause, and no unit is left
// behind, neither an empty one (which systemd reads as a masked unit) nor half a job.
TEST_F(LaunchJobsTest, AFullJobsFolderFailsWithTheCauseAndLeavesNoUnit) {
    Tmpfs volume(userJobs(), "size=64k");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    volume.fill();
    ConsoleCapture console;
    EXPECT_FALSE(BMLaunchd::startLaunchAgent(label, job(), true));
    const QString cause = userJobs() + '/' + service + ": No space left on device";
    EXPECT_EQ(m_alerts, QStringList{"Error: Unable to create LaunchAgent / " + cause});
    EXPECT_TRUE(console.text().contains("Error: Unable to create LaunchAgent " + cause))
        << qPrintable(console.text());
    EXPECT_EQ(QDir(userJobs()).entryList(QDir::Files), QStringList{"filler"});
    EXPECT_TRUE(m_systemctl.calls().isEmpty());
}

// A unit file cannot name a folder whose name is not UTF-8, holds a line break or ends in a
// space; one such project folder must not leave the whole autosave folder unwatched.
TEST_F(LaunchJobsTest, AProjectFolderAUnitCannotNameIsLeftOutAndTheOthersAreWatched) {
    const QString folder = QDir(home().home()).filePath("Autosaves");
    const QByteArray bytes = QFile::encodeName(folder);
    ASSERT_TRUE(QDir().mkpath(folder));
    for (const QByteArray name : {"Edit", "100% done", "Caf\xe9", "Rough cut ", "Line\nbreak"})
        ASSERT_EQ(::mkdir(bytes + "/" + name, 0755), 0) << name.constData();
    BMSettings::standard().setValue(SettingsKey::autosaveFolder, "~/Autosaves");
    ConsoleCapture console;
    HelperJobs jobs;
    EXPECT_TRUE(jobs.setupCleanHelper());
    QStringList watched = jobs.cleanState().watchedPaths;
    watched.sort();
    EXPECT_EQ(watched, (QStringList{folder, folder + "/100% done", folder + "/Edit"}));
    QStringList leftOut = console.lines().filter("Not watched by " + QString(HelperJobs::cleanLabel) + ": ");
    leftOut.sort();
    EXPECT_EQ(leftOut.size(), 3) << qPrintable(console.text());
    EXPECT_TRUE(
        leftOut.value(0).endsWith(folder + "/Caf\\xe9 is not valid UTF-8, which a systemd unit cannot hold"))
        << qPrintable(leftOut.value(0));
    EXPECT_TRUE(logText().contains(folder + "/Rough cut  ends in a space"));
    EXPECT_TRUE(m_alerts.isEmpty());
}

TEST_F(LaunchJobsTest, AnUnreachableServiceManagerLeavesTheFilesAndSaysWhy) {
    if (!QFileInfo::exists("/usr/bin/systemctl"))
        GTEST_SKIP() << "systemctl is not installed (package systemd)";
    home().platform().setToolPath(Tool::Systemctl, "/usr/bin/systemctl");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS"); // the home's fixture puts both back
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(home().makeFolder("run")));
    const bool started = BMLaunchd::startLaunchAgent(label, job(), true);
    const QString problem = BMLaunchd::loadProblem();
    QString otherThread = "unset";
    std::thread([&] { otherThread = BMLaunchd::loadProblem(); }).join();
    EXPECT_TRUE(started);
    EXPECT_TRUE(
        problem.startsWith("systemctl --user could not reach a user service manager (Failed to connect "
                           "to bus: No such file or directory); the job's files are in place"))
        << qPrintable(problem);
    EXPECT_EQ(otherThread, "");
    EXPECT_TRUE(logText().contains(
        "systemctl --user daemon-reload failed (exit status 1): Failed to connect to bus"));
    for (const QString& file : BMLaunchd::jobFiles(label, true, true))
        EXPECT_TRUE(QFileInfo::exists(file)) << qPrintable(file);
    // Enabling works without the manager: the path unit starts with the next session.
    EXPECT_TRUE(QFileInfo(userJobs() + "/default.target.wants/" + pathUnit).isSymLink());

    home().platform().setToolPath(Tool::Systemctl, home().root() + "/no/systemctl");
    EXPECT_TRUE(BMLaunchd::startLaunchAgent(label, job(), true));
    EXPECT_TRUE(
        BMLaunchd::loadProblem().startsWith("systemctl is not installed (" + home().root() +
                                            "/no/systemctl is missing); the job's files are in place"));
}

} // namespace
