#include "BMTroubleshootingUtils.h"

#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/Console.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/ScratchFolder.h"
#include "foundation/platform/Platform.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <mutex>

namespace {

std::mutex g_hookMutex;
BMTroubleshootingUtils::AlertHook g_alertHook;

void showAlert(const QString& message, const QString& informative) {
    BMTroubleshootingUtils::AlertHook hook;
    {
        std::lock_guard lock(g_hookMutex);
        hook = g_alertHook;
    }
    if (hook)
        hook(message, informative);
    else
        Console::print(QStringLiteral("%1\n%2").arg(message, informative));
}

// Copies an item into the work folder under a copy of its folder's absolute path. A link
// whose destination exists gives that destination. False, with the console told, when the
// copy failed; *copied counts what was copied.
bool copyMirrored(const QString& work, const QString& item, const char* failureText, int* copied) {
    const QFileInfo entry(item);
    QString source = entry.absoluteFilePath();
    if (entry.isSymLink()) {
        const QString target = QDir::cleanPath(entry.symLinkTarget());
        if (QFileInfo::exists(target))
            source = target;
    }
    const QString folder = work + entry.absolutePath();
    const QString destination = PathText::appendingComponent(folder, entry.fileName());
    if (QFileInfo::exists(destination) || QFileInfo(destination).isSymLink())
        return true;
    QString problem;
    if (!QDir().mkpath(folder)) {
        problem = QStringLiteral("%1: could not be created").arg(folder);
    } else {
        QFile file(source);
        if (file.copy(destination)) {
            ++*copied;
            return true;
        }
        problem = QStringLiteral("%1: %2").arg(source, file.errorString());
    }
    Console::print(QString::fromLatin1(failureText).arg(problem));
    return false;
}

QStringList entriesOf(const QString& folder) {
    if (folder.isEmpty())
        return {};
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

// The logs, crash reports and preference files of one domain.
QStringList itemsOfDomain(const QStringList& names, bool userDomain) {
    QStringList items;
    const QString logs = BMLocalPaths::logDirectory(userDomain);
    const QString appLogs =
        userDomain ? BMLog::logFolder() : PathText::appendingComponent(logs, QStringLiteral("Brightmoor"));
    for (const QString& entry : entriesOf(appLogs)) {
        for (const QString& name : names) {
            if (entry.startsWith(name) && entry.endsWith(QLatin1String(".log"))) {
                items << PathText::appendingComponent(appLogs, entry);
                break;
            }
        }
    }
    if (!logs.isEmpty()) {
        for (const QString& kind : {QStringLiteral("CrashReporter"), QStringLiteral("DiagnosticReports")}) {
            const QString folder = PathText::appendingComponent(logs, kind);
            for (const QString& entry : entriesOf(folder)) {
                for (const QString& name : names) {
                    if (entry.startsWith(name + QLatin1Char('_')) &&
                        entry.endsWith(QLatin1String(".crash"))) {
                        items << PathText::appendingComponent(folder, entry);
                        break;
                    }
                }
            }
        }
    }
    const QString prefs = BMLocalPaths::prefsDirectory(userDomain);
    if (!prefs.isEmpty()) {
        for (const QString& name : names) {
            QString compact = name;
            compact.remove(QLatin1Char(' '));
            QString path =
                PathText::appendingComponent(prefs, QStringLiteral("com.brightmoor.%1.plist").arg(compact));
            if (!QFileInfo::exists(path))
                path = PathText::appendingComponent(
                    prefs, QStringLiteral("com.brightmoor.%1.plist").arg(compact.toLower()));
            if (QFileInfo::exists(path))
                items << path;
        }
    }
    return items;
}

bool view(const QString& path, const BMTroubleshootingUtils::Opener& open, const QString& missingText) {
    if (!QFileInfo::exists(path)) {
        showAlert(QStringLiteral("No log found"), missingText);
        return false;
    }
    const bool opened =
        open ? open(QUrl::fromLocalFile(path)) : Platform::current().openFiles({path}, QString());
    if (!opened)
        showAlert(QStringLiteral("The log could not be opened."),
                  QStringLiteral("No application that shows text files could be started. The log is %1.")
                      .arg(FileName::displayText(path)));
    return opened;
}

} // namespace

void BMTroubleshootingUtils::setAlertHook(AlertHook hook) {
    std::lock_guard lock(g_hookMutex);
    g_alertHook = std::move(hook);
}

std::optional<QString> BMTroubleshootingUtils::gatherLogs(const QStringList& names, bool silent,
                                                          const QStringList& additionalFiles) {
    if (names.isEmpty())
        return std::nullopt;
    // A folder of this run's own, so that nothing already in the temporary folder (another
    // run's, or anybody's "BM_App_Logs") is ever removed; the archive still unpacks to
    // "BM_App_Logs".
    QString problem;
    std::optional<ScratchFolder> scratch =
        ScratchFolder::create(BMLocalPaths::tempDirectory(), QStringLiteral("BM_App_Logs."), &problem);
    const QString work =
        scratch ? PathText::appendingComponent(scratch->path(), QStringLiteral("BM_App_Logs")) : QString();
    if (!scratch || !QDir().mkdir(work)) {
        Console::print(QStringLiteral("Error creating temp folder: %1").arg(scratch ? work : problem));
        return std::nullopt;
    }

    int copied = 0;
    for (const bool userDomain : {true, false}) {
        for (const QString& item : itemsOfDomain(names, userDomain)) {
            if (!copyMirrored(work, item, "Unable to copy log: %1", &copied))
                return std::nullopt;
        }
    }
    for (const QString& file : additionalFiles) {
        if (!copyMirrored(work, file, "Unable to copy file: %1", &copied))
            return std::nullopt;
    }
    if (copied == 0) {
        if (!silent)
            showAlert(QStringLiteral("No logs found"),
                      QStringLiteral("There were no logs available to gather."));
        return std::nullopt;
    }

    const QString desktop = BMLocalPaths::desktopDirectory();
    QDir().mkpath(desktop);
    QString archive = PathText::appendingComponent(desktop, QStringLiteral("%1 Logs.zip").arg(names.first()));
    if (QFileInfo::exists(archive) || QFileInfo(archive).isSymLink())
        archive = QStringLiteral("%1_%2.zip")
                      .arg(PathText::deletingExtension(archive),
                           QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmss")));
    QString failure;
    // Never in place of a file of the user's: the archiver would trash it.
    bool ok = !QFileInfo::exists(archive) && !QFileInfo(archive).isSymLink();
    if (!ok)
        failure = QStringLiteral("%1: File exists").arg(archive);
    else
        ok = BMFileManager::compressFile(work, archive, true, &failure);
    scratch->remove();
    if (!ok) {
        BMLog::appendLog(failure);
        if (!silent)
            showAlert(QStringLiteral("Logs could not be gathered"),
                      QStringLiteral("Please check your file permissions."));
        return std::nullopt;
    }
    if (!silent)
        showAlert(QStringLiteral("Logs gathered successfully"),
                  QStringLiteral("The gathered logs were placed on your desktop."));
    return archive;
}

QString BMTroubleshootingUtils::logPath(const QString& name) {
    return PathText::appendingComponent(BMLog::logFolder(), name + QStringLiteral(".1.log"));
}

QString BMTroubleshootingUtils::taskLogPath(const QString& name) {
    return PathText::appendingComponent(BMLog::logFolder(), name + QStringLiteral(".task.1.log"));
}

bool BMTroubleshootingUtils::viewLogForApp(const QString& name, const Opener& open) {
    return view(logPath(name), open, QStringLiteral("You must perform a task before viewing the log."));
}

bool BMTroubleshootingUtils::viewTaskLogForApp(const QString& name, const Opener& open) {
    return view(
        taskLogPath(name), open,
        QStringLiteral("You must run the application as a task (e.g. through Orrery) before viewing a log."));
}
