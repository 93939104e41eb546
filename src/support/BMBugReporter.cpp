#include "BMBugReporter.h"

#include "CrashWriter.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/BMTaskEx.h"
#include "foundation/Console.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"
#include "foundation/platform/Platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace {

const QString kLaunch = QStringLiteral("launch");
const QString kExit = QStringLiteral("exit");

// The application's own settings file goes through the settings store even when named as
// a file: writing it behind the store's back would let the store's older copy win later.
bool keptInSettings(const QString& plistPath) {
    if (plistPath.isEmpty())
        return true;
    return QFileInfo(plistPath).absoluteFilePath() ==
           QFileInfo(BMSettings::standard().userFilePath()).absoluteFilePath();
}

QString applicationName(const QString& given) {
    if (!given.isEmpty())
        return given;
    return QCoreApplication::applicationName();
}

void recordMarker(const QString& key, const QString& plistPath) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (keptInSettings(plistPath)) {
        BMSettings& settings = BMSettings::standard();
        settings.setValue(key, now);
        settings.synchronize();
    } else {
        QVariantMap markers = PlistFile::readDictionary(plistPath).value_or(QVariantMap());
        markers.insert(key, now);
        QString error;
        if (!PlistFile::writeXml(plistPath, markers, &error))
            BMLog::appendLog(error);
    }
    if (!plistPath.isEmpty())
        BMBugReporter::chownPlist(plistPath);
}

bool crashReporterDisabled() {
    const QVariant value = BMSettings::globalSettings().value(QStringLiteral("disable-crash-reporter"));
    switch (value.typeId()) {
    case QMetaType::QString:
        return value.toString() == QLatin1String("1");
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return value.toDouble() == 1.0;
    default:
        return false;
    }
}

QString executableFolder() {
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    return QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absolutePath();
}

void handOver(const QString& report) {
    const QString bundled =
        PathText::appendingComponent(executableFolder(), BMBugReporter::bundledReporterName());
    if (BMTaskEx::isExecutable(bundled)) {
        QProcess::startDetached(bundled, {report});
        return;
    }
    const Platform& platform = Platform::current();
    if (!platform.applicationPathForBundleIdentifier(BMBugReporter::bugReporterIdentifier()).isEmpty())
        platform.openFiles({report}, BMBugReporter::bugReporterIdentifier());
}

} // namespace

QDateTime BMBugReporter::marker(const QString& key, const QString& plistPath) {
    if (keptInSettings(plistPath)) {
        BMSettings& settings = BMSettings::standard();
        settings.synchronize();
        return settings.value(key).toDateTime();
    }
    return PlistFile::readDictionary(plistPath).value_or(QVariantMap()).value(key).toDateTime();
}

QStringList BMBugReporter::crashFolders() {
    QStringList folders;
    for (const bool userDomain : {true, false}) {
        const QString logs = BMLocalPaths::logDirectory(userDomain);
        if (logs.isEmpty())
            continue;
        folders << PathText::appendingComponent(logs, QStringLiteral("CrashReporter"))
                << PathText::appendingComponent(logs, QStringLiteral("DiagnosticReports"));
    }
    return folders;
}

QString BMBugReporter::checkForCrashes(const QString& name, const QString& plistPath) {
    const QDateTime launch = marker(kLaunch, plistPath);
    if (!launch.isValid())
        return QString();
    const QString appName = applicationName(name);
    const QDateTime exit = marker(kExit, plistPath);
    if (exit.isValid() && exit >= launch)
        return QString();

    QString report;
    const QString prefix = appName + QLatin1Char('_');
    for (const QString& folder : crashFolders()) {
        QStringList matches;
        for (const QString& entry :
             QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name)) {
            if (entry.startsWith(prefix, Qt::CaseInsensitive))
                matches << entry;
        }
        if (matches.isEmpty())
            continue;
        const QString candidate = PathText::appendingComponent(folder, matches.last());
        if (QFileInfo(candidate).lastModified() > launch) {
            report = candidate;
            break;
        }
    }
    if (report.isEmpty())
        return QString();

    BMLog::appendLog(QStringLiteral("Application crashed on last launch"));
    if (crashReporterDisabled()) {
        Console::print(QStringLiteral("Crash reporter disabled"));
        BMLog::appendLog(QStringLiteral("Crash reporter disabled"));
        return report;
    }
    handOver(report);
    return report;
}

void BMBugReporter::startBugReporter(const QString& name, const QString& plistPath,
                                     const Delegate& delegate) {
    const QString report = checkForCrashes(name, plistPath);
    if (!report.isEmpty() && delegate) {
        if (QCoreApplication* app = QCoreApplication::instance())
            QMetaObject::invokeMethod(
                app, [delegate, report] { delegate(report); }, Qt::QueuedConnection);
        else
            delegate(report);
    }
    recordMarker(kLaunch, plistPath);
    const QString logs = BMLocalPaths::logDirectory(true);
    if (!logs.isEmpty() &&
        !CrashWriter::install(PathText::appendingComponent(logs, QStringLiteral("DiagnosticReports")),
                              applicationName(name)))
        BMLog::appendLog(QStringLiteral("Unable to prepare crash reports in %1")
                             .arg(PathText::appendingComponent(logs, QStringLiteral("DiagnosticReports"))));
}

void BMBugReporter::stopBugReporter(const QString& plistPath) {
    recordMarker(kExit, plistPath);
    CrashWriter::uninstall();
}

QString BMBugReporter::ownerByUsersFolder(const QString& path) {
    const QStringList components = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    const qsizetype users = components.indexOf(QStringLiteral("Users"));
    if (users < 0 || users + 1 >= components.size())
        return QString();
    return components.at(users + 1);
}

QString BMBugReporter::markerFileOwner(const QString& path) {
#ifdef Q_OS_MACOS
    return ownerByUsersFolder(path);
#else
    // Only root writes files that someone else should own.
    const Platform& platform = Platform::current();
    if (platform.userId() != 0)
        return QString();
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QString console = platform.consoleUser();
    if (!console.isEmpty() && console != QLatin1String("root")) {
        const QString home = QDir::cleanPath(platform.homeDirectoryOfUser(console));
        if (!home.isEmpty() && home != QLatin1String("/") && absolute.startsWith(home + QLatin1Char('/')))
            return console;
    }
    const QStringList components = absolute.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (components.size() >= 3 && components.first() == QLatin1String("home"))
        return components.at(1);
    return QString();
#endif
}

void BMBugReporter::chownPlist(const QString& path) {
    const QString owner = markerFileOwner(path);
    if (owner.isEmpty())
        return;
    BMTaskEx::runTaskWithTimeout(Platform::current().toolPath(Tool::Chown), {owner, path}, 5);
}
