#include "HelperCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "StandardOutput.h"
#include "actions/HelperRules.h"
#include "automation/BMLaunchd.h"
#include "automation/HelperJobs.h"
#include "automation/HelperRunLog.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

constexpr char kCommand[] = "helper";

BMSettings& settings() {
    return BMSettings::standard();
}

void warn(const QString& text) {
    CatalogueArguments::warn(kCommand, text);
}

// A JSON string literal, quotes included.
QString jsonString(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString jsonStrings(const QStringList& texts) {
    QStringList quoted;
    for (const QString& text : texts)
        quoted << jsonString(text);
    return QLatin1Char('[') + quoted.join(QLatin1Char(',')) + QLatin1Char(']');
}

QString jsonBool(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

// What status reports about one job.
struct JobReport {
    QString name; // "trash" or "clean", as on the command line
    HelperJobs::JobState state;
    QStringList unitFiles;
    QString folder; // the clean-up job's; null for the trash job or when none is stored
    bool clean = false;
    std::optional<HelperRunLog::Run> lastRun;
};

JobReport report(const HelperJobs& jobs, bool computerWide, bool clean) {
    JobReport job;
    job.name = clean ? QStringLiteral("clean") : QStringLiteral("trash");
    job.clean = clean;
    job.state = clean ? jobs.cleanState() : jobs.trashState();
    job.unitFiles = BMLaunchd::jobFiles(job.state.label, !computerWide, true);
    if (clean && !settings().stringValue(SettingsKey::autosaveFolder).isEmpty())
        job.folder = HelperJobs::cleanFolder();
    job.lastRun = HelperRunLog::lastRun(BMLog::logFolder(), job.name);
    return job;
}

// The clean-up limits: a switched-off one is missing.
struct Limit {
    const char* use;
    const char* value;
    const char* jsonKey;
    const char* text; // %1: the value
};
const Limit kLimits[] = {
    {SettingsKey::autoCleanUseCriteriaAge, SettingsKey::autoCleanCriteriaAge, "olderThanDays",
     "older than %1 days"},
    {SettingsKey::autoCleanUseCriteriaSize, SettingsKey::autoCleanCriteriaSize, "projectSizeMB",
     "beyond %1 MB per project"},
    {SettingsKey::autoCleanUseCriteriaTotalSize, SettingsKey::autoCleanCriteriaTotalSize, "folderSizeGB",
     "beyond %1 GB for the folder"},
};

// As the helper reads them: one whose setting holds no number is off.
std::optional<qint64> limitValue(const Limit& limit) {
    const CleanupLimits limits = CleanupLimits::fromSettings(settings());
    const auto in = [](const std::optional<qint64>& bytes, qint64 unit) {
        return bytes ? std::optional<qint64>(*bytes / unit) : std::nullopt;
    };
    if (limit.value == kLimits[0].value)
        return limits.ageDays;
    if (limit.value == kLimits[1].value)
        return in(limits.projectBytes, HelperRules::megabyte);
    return in(limits.folderBytes, HelperRules::gigabyte);
}

bool archives() {
    return settings().integerValue(SettingsKey::autoCleanAction) == 1;
}

QString limitsJson() {
    QString json = QStringLiteral("{");
    for (const Limit& limit : kLimits) {
        const std::optional<qint64> value = limitValue(limit);
        json +=
            QStringLiteral("\"%1\":%2,")
                .arg(QLatin1String(limit.jsonKey), value ? QString::number(*value) : QStringLiteral("null"));
    }
    return json + QStringLiteral("\"action\":\"%1\"}").arg(archives() ? "archive" : "trash");
}

QString limitsText() {
    QStringList limits;
    for (const Limit& limit : kLimits) {
        if (const std::optional<qint64> value = limitValue(limit))
            limits << QString::fromLatin1(limit.text).arg(*value);
    }
    if (limits.isEmpty())
        return QStringLiteral("none, so nothing is cleaned");
    return limits.join(QStringLiteral(", ")) +
           (archives()
                ? QStringLiteral("; archived into \"Vestry Archives\" beside the folder, then to the Trash")
                : QStringLiteral("; to the Trash"));
}

QString jobJson(const JobReport& job) {
    QString lastRun = QStringLiteral("null");
    if (job.lastRun) {
        lastRun = QStringLiteral("{\"finished\":%1,\"ok\":%2,\"result\":%3}")
                      .arg(jsonString(job.lastRun->finished.toUTC().toString(Qt::ISODate)),
                           jsonBool(job.lastRun->ok), jsonString(job.lastRun->result));
    }
    return QStringLiteral("{\"job\":%1,\"label\":%2,\"switchedOn\":%3,\"installed\":%4,\"unitFiles\":%5,"
                          "\"watchedPaths\":%6,\"folder\":%7,\"limits\":%8,\"lastRun\":%9}")
        .arg(jsonString(job.name), jsonString(job.state.label), jsonBool(job.state.switchedOn),
             jsonBool(job.state.installed), jsonStrings(job.unitFiles), jsonStrings(job.state.watchedPaths),
             job.folder.isNull() ? QStringLiteral("null") : jsonString(job.folder),
             job.clean ? limitsJson() : QStringLiteral("null"), lastRun);
}

QString jobText(const JobReport& job) {
    QString out =
        QStringLiteral("%1 job (%2): %3, %4")
            .arg(job.name, job.state.label,
                 job.state.switchedOn ? QStringLiteral("on") : QStringLiteral("off"),
                 job.state.installed ? QStringLiteral("installed") : QStringLiteral("not installed"));
    if (job.state.switchedOn != job.state.installed) {
        out +=
            QStringLiteral(" (run vestry helper %1 %2 to match)")
                .arg(job.state.switchedOn ? QStringLiteral("enable") : QStringLiteral("disable"), job.name);
    }
    out += QLatin1Char('\n');
    auto line = [&out](const QString& title, const QString& value) {
        const QString heading = title.isEmpty() ? QString() : title + QLatin1Char(':');
        out += QStringLiteral("  %1 %2\n").arg(heading.leftJustified(9), value);
    };
    auto lines = [&line](const QString& title, const QStringList& values) {
        for (qsizetype i = 0; i < values.size(); ++i)
            line(i == 0 ? title : QString(), FileName::displayText(values[i]));
    };
    if (job.clean) {
        line(QStringLiteral("folder"),
             job.folder.isNull() ? QStringLiteral("none chosen") : FileName::displayText(job.folder));
        line(QStringLiteral("limits"), limitsText());
    }
    if (job.state.installed) {
        lines(QStringLiteral("units"), job.unitFiles);
        lines(QStringLiteral("watches"), job.state.watchedPaths);
    }
    if (!job.lastRun) {
        line(QStringLiteral("last run"), QStringLiteral("never"));
    } else {
        const QString result =
            job.lastRun->result.isEmpty() ? QString() : QStringLiteral(": ") + job.lastRun->result;
        line(QStringLiteral("last run"),
             QStringLiteral("%1, %2%3")
                 .arg(BMLog::dateDescription(job.lastRun->finished),
                      job.lastRun->ok ? QStringLiteral("ok") : QStringLiteral("failed"), result));
    }
    return out;
}

// The job's files that are there.
QStringList existing(const QStringList& files) {
    QStringList there;
    for (const QString& file : files) {
        if (BMFileManager::fileExistsAtPath(file))
            there << file;
    }
    return there;
}

void warnAboutServiceManager() {
    if (const QString problem = BMLaunchd::loadProblem(); !problem.isEmpty())
        warn(QStringLiteral("warning: %1").arg(problem));
}

// The settings are written out before a job changes: the helper reads them from the file.
bool storeSettings() {
    if (settings().synchronize())
        return true;
    const QString problem = settings().userFileProblem();
    warn(QStringLiteral("the settings could not be written to %1%2; nothing was changed")
             .arg(settings().userFilePath(), problem.isEmpty() ? QStringLiteral(" (the log has the details)")
                                                               : QStringLiteral(": ") + problem));
    return false;
}

} // namespace

CLI::App* HelperCommand::define(CLI::App& parent) {
    CLI::App* helper = parent.add_subcommand(
        "helper",
        "Shows, switches on and switches off the background jobs that run vestry-helper: the trash job "
        "(clears the autosaves of projects moved to the Trash) and the clean job (keeps an autosave "
        "folder within the clean-up limits of the preferences).");
    helper->require_subcommand(1);
    auto addSystem = [this](CLI::App* command) {
        command->add_flag("--system", m_system,
                          "The computer's job (in /etc/systemd/system, run by the system's service manager "
                          "with nobody logged in) instead of yours; root only");
    };

    m_status =
        helper->add_subcommand("status", "Says for each job whether it is switched on and installed, what "
                                         "it watches, and how its last run ended");
    m_status->add_flag(
        "--json", m_json,
        "Print one JSON document: {\"system\":bool,\"jobs\":[{\"job\",\"label\",\"switchedOn\","
        "\"installed\",\"unitFiles\",\"watchedPaths\",\"folder\",\"lastRun\":{\"finished\","
        "\"ok\",\"result\"}|null}]}");
    addSystem(m_status);

    CLI::App* enable = helper->add_subcommand("enable", "Switches a job on and installs it");
    enable->require_subcommand(1);
    m_enableTrash = enable->add_subcommand("trash", "Clear the autosaves of projects moved to the Trash");
    addSystem(m_enableTrash);
    m_enableClean = enable->add_subcommand("clean", "Keep an autosave folder clean");
    m_enableClean
        ->add_option("FOLDER", m_folder, "The autosave folder to keep clean (default: the one chosen before)")
        ->check(ArgumentChecks::nonEmptyPath());
    m_enableClean
        ->add_option("--older-than", m_olderThan,
                     "Clean autosaves created more than DAYS days ago (0: no age limit)")
        ->type_name("DAYS")
        ->transform(ArgumentChecks::wholeNumber(0, 36500));
    m_enableClean
        ->add_option("--project-size", m_projectSize,
                     "Keep each project's autosaves within MB, the oldest going first (0: no limit)")
        ->type_name("MB")
        ->transform(ArgumentChecks::wholeNumber(0, 100000));
    m_enableClean
        ->add_option("--folder-size", m_folderSize,
                     "Keep the folder's autosaves within GB, the oldest going first (0: no limit)")
        ->type_name("GB")
        ->transform(ArgumentChecks::wholeNumber(0, 100000));
    m_enableClean
        ->add_option("--action", m_action,
                     "trash: move what is cleaned to the Trash; archive: first pack each project's into "
                     "\"Vestry Archives\" beside the folder")
        ->check(CLI::IsMember({"trash", "archive"}));
    addSystem(m_enableClean);

    CLI::App* disable = helper->add_subcommand("disable", "Switches a job off and removes it");
    disable->require_subcommand(1);
    m_disableTrash = disable->add_subcommand("trash", "The trash job");
    addSystem(m_disableTrash);
    m_disableClean = disable->add_subcommand("clean", "The clean job");
    addSystem(m_disableClean);
    return helper;
}

int HelperCommand::run() {
    if (m_system && Platform::current().userId() != 0) {
        warn(QStringLiteral("--system changes the computer's jobs, which only root may do (try sudo)"));
        return 1;
    }
    settings().registerDefaults(BMSettings::applicationDefaults());
    BMLaunchd::setAlertSink([](const JobAlert& alert) {
        warn(alert.message);
        if (!alert.informative.isEmpty())
            warn(alert.informative);
    });
    int result = 0;
    if (m_status->parsed())
        result = status();
    else if (m_enableTrash->parsed() || m_enableClean->parsed())
        result = enable();
    else
        result = disable();
    BMLaunchd::setAlertSink(nullptr);
    return result;
}

int HelperCommand::status() const {
    const HelperJobs jobs(m_system);
    const QList<JobReport> reports{report(jobs, m_system, false), report(jobs, m_system, true)};
    if (m_json) {
        QStringList entries;
        for (const JobReport& job : reports)
            entries << jobJson(job);
        writeStandardOutput(QStringLiteral("{\"system\":%1,\"jobs\":[%2]}\n")
                                .arg(jsonBool(m_system), entries.join(QLatin1Char(','))));
    } else {
        QString out;
        for (const JobReport& job : reports)
            out += jobText(job);
        writeStandardOutput(out);
    }
    return 0;
}

int HelperCommand::enable() {
    const bool clean = m_enableClean->parsed();
    const QString home = BMLocalPaths::userDirectory();
    if (clean) {
        QString folder;
        if (!m_folder.empty()) {
            folder = QDir::cleanPath(CatalogueArguments::absolutePath(m_folder));
        } else {
            const QString stored = settings().stringValue(SettingsKey::autosaveFolder);
            if (stored.isEmpty()) {
                warn(
                    QStringLiteral("no autosave folder has been chosen: name one (vestry helper enable clean "
                                   "FOLDER)"));
                return 1;
            }
            folder = PathText::expandingTilde(stored, home);
        }
        // The helper cleans only a folder it can catalogue: one it would refuse is refused now,
        // with the reason `vestry list` gives, before anything changes.
        BMProjectList projects;
        if (!CatalogueArguments::scanNamedFolder(kCommand, AutosaveFolderScanner(), folder, projects))
            return 1;
        // Refused before the settings or the installed job change: the settings would keep the
        // path with "?" for its bytes, and the job that works now would be stopped for nothing.
        QString refusal = FileName::notStorableInSettings(folder);
        if (refusal.isEmpty() &&
            !Platform::current().launchJobFiles(
                QLatin1String(HelperJobs::cleanLabel),
                HelperJobs::cleanJob(HelperJobs::helperProgram(), folder, {folder}), m_system, &refusal))
            refusal = QStringLiteral("the clean job cannot watch it: %1").arg(refusal);
        if (!refusal.isEmpty()) {
            warn(refusal + QStringLiteral("; nothing was changed"));
            return 1;
        }
        if (!m_folder.empty())
            settings().setValue(SettingsKey::autosaveFolder, PathText::abbreviatingHome(folder, home));
        settings().setValue(SettingsKey::autoClean, true);
        for (const auto& [given, limit] :
             {std::pair{m_olderThan, kLimits[0]}, std::pair{m_projectSize, kLimits[1]},
              std::pair{m_folderSize, kLimits[2]}}) {
            if (given < 0)
                continue;
            settings().setValue(QLatin1String(limit.use), given > 0);
            if (given > 0)
                settings().setValue(QLatin1String(limit.value), qint64(given));
        }
        if (!m_action.empty())
            settings().setValue(SettingsKey::autoCleanAction, qint64(m_action == "archive" ? 1 : 0));
    } else {
        settings().setValue(SettingsKey::autoRemove, 1);
    }
    if (!storeSettings())
        return 1;

    HelperJobs jobs(m_system);
    const bool placed = clean ? jobs.toggleCleanHelper() : jobs.toggleTrashHelper();
    warnAboutServiceManager();
    const QString name = clean ? QStringLiteral("clean") : QStringLiteral("trash");
    if (!placed) {
        warn(QStringLiteral("the %1 job could not be installed; the messages above and the log say why")
                 .arg(name));
        return 1;
    }
    const QString label = QLatin1String(clean ? HelperJobs::cleanLabel : HelperJobs::trashLabel);
    QString out = QStringLiteral("Installed the %1 job:\n").arg(name);
    for (const QString& file : BMLaunchd::jobFiles(label, !m_system, true))
        out += QStringLiteral("  %1\n").arg(FileName::displayText(file));
    if (clean)
        out += QStringLiteral("Limits: %1\n").arg(limitsText());
    writeStandardOutput(out);
    return 0;
}

int HelperCommand::disable() {
    const bool clean = m_disableClean->parsed();
    if (clean)
        settings().setValue(SettingsKey::autoClean, false);
    else
        settings().setValue(SettingsKey::autoRemove, 0);
    if (!storeSettings())
        return 1;

    const QString label = QLatin1String(clean ? HelperJobs::cleanLabel : HelperJobs::trashLabel);
    const QStringList files = BMLaunchd::jobFiles(label, !m_system, true);
    const QStringList before = existing(files);
    HelperJobs jobs(m_system);
    if (clean)
        jobs.stopCleanHelper();
    else
        jobs.stopTrashHelper();
    // The service manager's problem speaks of files left in place, which these are not.
    if (!BMLaunchd::loadProblem().isEmpty())
        warn(QStringLiteral("warning: the service manager could not be told; the log says why"));

    const QString name = clean ? QStringLiteral("clean") : QStringLiteral("trash");
    if (const QStringList left = existing(files); !left.isEmpty()) {
        for (const QString& file : left)
            warn(QStringLiteral("%1: could not be removed; the log says why")
                     .arg(FileName::displayText(file)));
        return 1;
    }
    if (before.isEmpty()) {
        writeStandardOutput(QStringLiteral("The %1 job was not installed.\n").arg(name));
        return 0;
    }
    QString out = QStringLiteral("Removed the %1 job:\n").arg(name);
    for (const QString& file : before)
        out += QStringLiteral("  %1\n").arg(FileName::displayText(file));
    writeStandardOutput(out);
    return 0;
}
