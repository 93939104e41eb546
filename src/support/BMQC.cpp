#include "BMQC.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMOSDetect.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRandomGenerator>
#include <QTimer>
#include <QUuid>

namespace {

constexpr char uidKey[] = "uid";
constexpr char uidAssignedKey[] = "uidAssigned";
constexpr qint64 uploadInterval = 86400;
constexpr qint64 identifierLifetime = 7776000;

BMSettings& defaults() {
    return BMSettings::standard();
}

// The answer may have been changed by another of the maker's applications since we read it.
BMSettings& analyticsFile() {
    BMSettings& file = BMSettings::analytics();
    file.synchronize();
    return file;
}

} // namespace

BMQC::BMQC(Environment environment) : m_env(std::move(environment)) {
    if (!m_env.now)
        m_env.now = [] { return QDateTime::currentDateTimeUtc(); };
    // One operation at a time: a cache write never overlaps an upload.
    m_opQueue.setMaxThreadCount(1);
    if (!m_env.bundleID.isEmpty()) {
        if (std::optional<QVariant> stored = PlistFile::read(cacheFilePath());
            stored && stored->typeId() == QMetaType::QVariantList)
            m_cache = stored->toList();
    }
    m_shouldLog = BMSettings::analytics().integerValue(SettingsKey::logQC) == 1;
    defaults().setValue(SettingsKey::launchCount, defaults().integerValue(SettingsKey::launchCount) + 1);
}

BMQC::~BMQC() {
    m_terminating = true;
    m_opQueue.clear();
    m_opQueue.waitForDone();
}

BMQC& BMQC::sharedController() {
    static BMQC* shared = [] {
        auto* qc = new BMQC();
        if (QCoreApplication* app = QCoreApplication::instance()) {
            QObject::connect(
                app, &QCoreApplication::aboutToQuit, app, [qc] { qc->willTerminate(); },
                Qt::SingleShotConnection);
        }
        return qc;
    }();
    return *shared;
}

QDateTime BMQC::now() const {
    return m_env.now().toUTC();
}

void BMQC::setPermissionHooks(std::function<int(QWidget*)> ask, std::function<bool(const QUrl&)> openUrl) {
    m_env.askPermission = std::move(ask);
    m_env.openUrl = std::move(openUrl);
}

QUrl BMQC::endpoint() const {
    QString text = defaults().stringValue(SettingsKey::qcEndpoint);
    if (text.isEmpty())
        text = BMSettings::applicationDefaults().value(SettingsKey::qcEndpoint).toString();
    return QUrl(text);
}

QString BMQC::cacheFilePath() const {
    const QString name = m_env.bundleID.isEmpty() ? QStringLiteral("Unknown") : m_env.bundleID;
    return QStringLiteral("%1/%2").arg(BMLocalPaths::cacheDirectory(true) + QStringLiteral("/Brightmoor/QC"),
                                       name);
}

QVariantList BMQC::cache() const {
    std::lock_guard lock(m_mutex);
    return m_cache;
}

void BMQC::loadQC(QWidget* window) {
    BMSettings& file = analyticsFile();
    if (file.hasValue(SettingsKey::logQC)) {
        m_shouldLog = file.boolValue(SettingsKey::logQC);
    } else {
        // The very first launch is left in peace.
        if (defaults().integerValue(SettingsKey::launchCount) < 2 || !m_env.askPermission)
            return;
        switch (m_env.askPermission(window)) {
        case 1:
            setQCLogging(true);
            break;
        case 0:
            // Nothing is stored, so the question comes again at the next launch.
            if (m_env.openUrl)
                m_env.openUrl(moreInfoPage());
            return;
        default:
            setQCLogging(false);
            break;
        }
    }
    if (!m_shouldLog)
        return;
    logLoadEvent();
    logSystemSpecsEvent();

    std::lock_guard lock(m_mutex);
    if (m_cache.isEmpty())
        return;
    const QDateTime last = defaults().value(SettingsKey::lastSubmission).toDateTime();
    if (last.isValid() ? last.secsTo(now()) > uploadInterval
                       : defaults().integerValue(SettingsKey::launchCount) >= 4)
        scheduleUpload();
}

void BMQC::logQCEvent(const QVariantMap& event) {
    if (event.isEmpty() || !m_shouldLog)
        return;
    std::lock_guard lock(m_mutex);
    m_cache.append(event);
    // Events within a second of the last write wait for the next one, or for the end.
    if (!m_lastCacheWrite.isValid() || m_lastCacheWrite.msecsTo(now()) > 1000)
        writeCache();
}

void BMQC::logLoadEvent() {
    const qint64 seconds = now().toSecsSinceEpoch();
    {
        std::lock_guard lock(m_mutex);
        for (const QVariant& entry : std::as_const(m_cache)) {
            const QVariantMap event = entry.toMap();
            if (event.value(QStringLiteral("event")) == QLatin1String("launch") &&
                seconds - event.value(QStringLiteral("date")).toLongLong() < 60)
                return;
        }
    }
    logQCEvent({{QStringLiteral("event"), QStringLiteral("launch")}, {QStringLiteral("date"), seconds}});
}

void BMQC::logSystemSpecsEvent() {
    const QString version = BMOSDetect::osxVersion();
    if (version.isEmpty() || version == defaults().stringValue(SettingsKey::lastOSVersion))
        return;
    logQCEvent({{QStringLiteral("event"), QStringLiteral("specs")},
                {QStringLiteral("date"), now().toSecsSinceEpoch()},
                {QStringLiteral("data"), version}});
    defaults().setValue(SettingsKey::lastOSVersion, version);
}

void BMQC::writeCache() {
    if (m_shouldLog && !m_terminating)
        m_opQueue.start([this] { writeCacheOnThread(); });
}

void BMQC::writeCacheOnThread() {
    if (!m_shouldLog)
        return;
    if (m_env.bundleID.isEmpty()) {
        BMLog::appendLog(QStringLiteral("Error: unable to save QC data. Bundle ID not found."));
        return;
    }
    std::lock_guard lock(m_mutex);
    QString cause;
    if (!PlistFile::writeXml(cacheFilePath(), m_cache, &cause)) {
        BMLog::appendLog(QStringLiteral("Unable to save QC data to %1: %2").arg(cacheFilePath(), cause));
        return;
    }
    m_lastCacheWrite = now();
}

void BMQC::setQCLogging(bool on) {
    analyticsFile().setValue(SettingsKey::logQC, on);
    m_shouldLog = on;
}

void BMQC::scheduleUpload() {
    if (!m_terminating)
        m_opQueue.start([this] { uploadData(); });
}

void BMQC::uploadData() {
    std::unique_lock lock(m_mutex);
    if (!m_shouldLog || m_cache.isEmpty())
        return;
    BMSettings& file = analyticsFile();
    QString uid = file.stringValue(QLatin1String(uidKey));
    const QDateTime assigned = file.value(QLatin1String(uidAssignedKey)).toDateTime();
    if (uid.isEmpty() || !assigned.isValid() || assigned.secsTo(now()) > identifierLifetime) {
        uid = generateRandomString(12);
        file.setValue(QLatin1String(uidKey), uid);
        file.setValue(QLatin1String(uidAssignedKey), now());
    }
    const QVariantList sent = m_cache;
    const FormFields fields{
        {QStringLiteral("uid"), uid},
        {QStringLiteral("app"), m_env.bundleID.isEmpty() ? QStringLiteral("Unknown") : m_env.bundleID},
        {QStringLiteral("version"),
         m_env.bundleVersion.isEmpty() ? QStringLiteral("Unknown") : m_env.bundleVersion},
        {QStringLiteral("events"),
         QString::fromUtf8(QJsonDocument(QJsonArray::fromVariantList(sent)).toJson(QJsonDocument::Compact))},
    };
    m_cache.clear();
    QFile::remove(cacheFilePath());
    defaults().setValue(SettingsKey::lastSubmission, now());
    lock.unlock();

    if (postDictionary(fields, endpoint()))
        return;
    // Kept for the next day's upload, ahead of what was recorded meanwhile.
    lock.lock();
    m_cache = sent + m_cache;
    writeCacheOnThread();
}

bool BMQC::postDictionary(const FormFields& fields, const QUrl& url) {
    if (!url.isValid() || (url.scheme() != QLatin1String("https") && url.scheme() != QLatin1String("http"))) {
        BMLog::appendLogAndPrint(QStringLiteral("Failed to establish a connection. Please try again later."));
        return false;
    }
    const QString boundary = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("multipart/form-data; boundary=%1").arg(boundary));
    request.setTransferTimeout(m_env.uploadTimeoutMs);

    // A manager of this thread's own: the upload runs on the queue, never on the main thread.
    QNetworkAccessManager manager;
    QNetworkReply* reply = manager.post(request, generateFormData(fields, boundary));
    BMLog::appendLog(QStringLiteral("Sending QC log to Brightmoor..."));

    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    // Quitting does not wait for a slow server.
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, reply, [this, reply] {
        if (m_terminating)
            reply->abort();
    });
    watch.start(100);
    QTimer::singleShot(m_env.uploadTimeoutMs, reply, &QNetworkReply::abort);
    if (!reply->isFinished())
        loop.exec();
    const bool sent = reply->error() == QNetworkReply::NoError;
    if (!sent)
        BMLog::appendLogAndPrint(QStringLiteral("Connection failed - %1").arg(reply->errorString()));
    delete reply;
    return sent;
}

QByteArray BMQC::generateFormData(const FormFields& fields, const QString& boundary) {
    QByteArray body;
    body.reserve(100);
    for (const auto& [key, value] : fields) {
        body += QStringLiteral("--%1\r\n").arg(boundary).toUtf8();
        if (value.typeId() == QMetaType::QUrl) {
            if (const QUrl url = value.toUrl(); url.isLocalFile()) {
                QFile file(url.toLocalFile());
                body += QStringLiteral("Content-Disposition: form-data; name=\"%1\"; filename=\"%2\"\r\n")
                            .arg(key, url.fileName())
                            .toUtf8();
                body += "Content-Type: application/octet-stream\r\n\r\n";
                if (file.open(QIODevice::ReadOnly))
                    body += file.readAll();
            }
        } else {
            body += QStringLiteral("Content-Disposition: form-data; name=\"%1\"\r\n\r\n").arg(key).toUtf8();
            body += value.toString().toUtf8();
        }
        // No closing delimiter follows the last part: the server has always read it so.
        body += "\r\n";
    }
    return body;
}

QString BMQC::generateRandomString(int length) {
    constexpr quint32 size = sizeof randomAlphabet - 1;
    QString text;
    text.reserve(qMax(length, 0));
    for (int i = 0; i < length; ++i)
        text += QLatin1Char(randomAlphabet[QRandomGenerator::system()->generate() % size]);
    return text;
}

void BMQC::willTerminate() {
    m_terminating = true;
    m_opQueue.clear();
    m_opQueue.waitForDone();
    // The last events reach the file before the process ends.
    writeCacheOnThread();
}

bool BMQC::waitForQueue(int timeoutMs) {
    return m_opQueue.waitForDone(timeoutMs);
}
