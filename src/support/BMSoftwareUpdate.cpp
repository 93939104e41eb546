#include "BMSoftwareUpdate.h"

#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/BMTaskEx.h"
#include "foundation/ChildProcess.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>

#include <thread>

namespace {

QMutex bundlePathMutex;
QString bundlePathOverride;

QString bundleFile(const QString& bundle, const QString& relative) {
    return PathText::appendingComponent(bundle, relative);
}

std::optional<QVariantMap> bundleInfo(const QString& bundlePath) {
    if (bundlePath.isEmpty())
        return std::nullopt;
    return PlistFile::readDictionary(bundleFile(bundlePath, QStringLiteral("Contents/Info.plist")));
}

} // namespace

QString BMSoftwareUpdate::applicationBundlePath() {
    {
        QMutexLocker lock(&bundlePathMutex);
        if (!bundlePathOverride.isNull())
            return bundlePathOverride;
    }
    const QString programFolder = QCoreApplication::applicationDirPath();
#ifdef Q_OS_MACOS
    return QDir::cleanPath(programFolder + QStringLiteral("/../.."));
#else
    return QDir::cleanPath(programFolder + QStringLiteral("/../share/vestry"));
#endif
}

void BMSoftwareUpdate::setApplicationBundlePath(const QString& path) {
    QMutexLocker lock(&bundlePathMutex);
    bundlePathOverride = path;
}

QString BMSoftwareUpdate::installedUpdaterPath() {
    const QString applications = BMLocalPaths::applicationDirectory(false);
    if (applications.isEmpty())
        return QString();
    return PathText::appendingComponent(applications, QStringLiteral("Brightmoor/") + updaterName());
}

QString BMSoftwareUpdate::innerUpdaterPath() {
    return bundleFile(applicationBundlePath(), QStringLiteral("Contents/Resources/") + updaterName());
}

QString BMSoftwareUpdate::workingCopyPath() {
    return PathText::appendingComponent(BMLocalPaths::tempDirectory(), updaterName());
}

int BMSoftwareUpdate::bundleVersion(const QString& bundlePath) {
    const std::optional<QVariantMap> info = bundleInfo(bundlePath);
    if (!info)
        return 0;
    // Read as the integer value of the text: "12", "12.1" and "12abc" all read 12.
    const QString text = info->value(QStringLiteral("CFBundleVersion")).toString().trimmed();
    qsizetype digits = 0;
    while (digits < text.size() && text.at(digits).isDigit())
        ++digits;
    return text.left(digits).toInt();
}

QString BMSoftwareUpdate::executablePath(const QString& bundlePath) {
    const std::optional<QVariantMap> info = bundleInfo(bundlePath);
    if (!info)
        return QString();
    const QString name = info->value(QStringLiteral("CFBundleExecutable")).toString();
    if (name.isEmpty() || name.contains(QLatin1Char('/')))
        return QString();
    const QString path = bundleFile(bundlePath, QStringLiteral("Contents/MacOS/") + name);
    return BMTaskEx::isExecutable(path) ? path : QString();
}

QString BMSoftwareUpdate::updaterPath() {
    const QString installed = installedUpdaterPath();
    const QString inner = innerUpdaterPath();
    if (bundleVersion(installed) >= bundleVersion(inner))
        return installed;

    const QString copy = workingCopyPath();
    // A copy left by an earlier run goes to the Trash rather than being deleted: the
    // temporary folder is shared, and what lies there under this name is not proven ours.
    if (QFileInfo(copy).exists() || QFileInfo(copy).isSymLink()) {
        if (!BMFileManager::trashFile(copy)) {
            BMLog::appendLogAndPrint(
                QStringLiteral("Unable to remove the old copy of Software Update at %1").arg(copy));
            return installed;
        }
    }
    if (!BMFileManager::copyFile(inner, copy)) {
        BMLog::appendLogAndPrint(
            QStringLiteral("Unable to copy Software Update from %1 to %2").arg(inner, copy));
        return installed;
    }
    return copy;
}

bool BMSoftwareUpdate::checkAtStartup() {
    const QVariant value = BMSettings::globalSettings().value(settingsKey());
    if (!value.isValid())
        return true;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    // A number stored for the switch: only 0 reads as false.
    bool isNumber = false;
    const qint64 number = value.toLongLong(&isNumber);
    return !(isNumber && number == 0);
}

bool BMSoftwareUpdate::startup(const Runner& runner) {
    if (!checkAtStartup())
        return false;
    // Copying the updater and starting it must never hold up the window.
    auto check = [] { automaticallyCheckForUpdates(); };
    if (runner)
        runner(check);
    else
        std::thread(check).detach();
    return true;
}

std::shared_ptr<ChildProcess> BMSoftwareUpdate::automaticallyCheckForUpdates() {
    const QString path = updaterPath();
    if (path.isEmpty()) {
        BMLog::appendLogAndPrint(pathMissingMessage());
        return nullptr;
    }
    if (!QFileInfo(path).isDir() || !bundleInfo(path)) {
        BMLog::appendLogAndPrint(bundleMissingMessage());
        return nullptr;
    }
    const QString executable = executablePath(path);
    if (executable.isEmpty()) {
        BMLog::appendLogAndPrint(executableMissingMessage());
        return nullptr;
    }
    return BMTaskEx::runTaskAndReturn(executable, {QStringLiteral("-checkpath"), applicationBundlePath()});
}

QString BMSoftwareUpdate::launchSoftwareUpdate() {
    const QString path = updaterPath();
    // On Linux an application is launched through its executable, so a bundle without one
    // cannot be launched either.
    const QString executable = executablePath(path);
    if (path.isEmpty() || !QFileInfo(path).isDir() || executable.isEmpty()) {
        BMLog::appendLogAndPrint(pathMissingMessage());
        return pathMissingMessage();
    }
    qint64 pid = 0;
    if (!QProcess::startDetached(executable, {}, QFileInfo(path).absolutePath(), &pid)) {
        const QString message = pathMissingMessage();
        BMLog::appendLogAndPrint(QStringLiteral("%1: %2 could not be started").arg(message, executable));
        return message;
    }
    return QString();
}
