#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>
#include <QThreadPool>
#include <QUrl>
#include <QVariant>

#include <atomic>
#include <functional>
#include <mutex>

class QWidget;

// What the analytics ask of the world outside them. The defaults use the clock and ask no
// one; the window supplies the question and the browser, tests answer instead.
struct BMQCEnvironment {
    std::function<QDateTime()> now;
    // Shows the permission question on the window and returns the answer: 1 "Allow",
    // 0 "More Info", -1 "Don't Allow". Without it nobody is asked.
    std::function<int(QWidget* window)> askPermission;
    std::function<bool(const QUrl&)> openUrl;
    QString bundleID = QStringLiteral("com.brightmoor.Vestry");
    QString bundleVersion = QStringLiteral(VESTRY_BUILD_NUMBER);
    // How long an upload may take before it counts as failed.
    int uploadTimeoutMs = 30000;
};

// Opt-in usage analytics: asks once for permission, records launch and system events in a
// per-application cache file, and at most once a day posts them with an anonymous identifier
// to the maker's endpoint (the setting "qcEndpoint"). Nothing is recorded or sent unless the
// user allowed it. Cache writes and uploads run one at a time on a queue of their own.
class BMQC {
public:
    using Environment = BMQCEnvironment;
    // A form's fields in the order they are sent.
    using FormFields = QList<QPair<QString, QVariant>>;

    // Making one counts a launch.
    explicit BMQC(Environment environment = Environment());
    ~BMQC();
    BMQC(const BMQC&) = delete;
    BMQC& operator=(const BMQC&) = delete;

    // The process's own, made on first use; it writes its cache when the application quits.
    static BMQC& sharedController();

    static QUrl moreInfoPage() { return QUrl(QStringLiteral("https://www.brightmoor.com/analytics")); }
    static QString questionText() {
        return QStringLiteral("Help improve Brightmoor software by submitting analytics and usage data");
    }
    static QString questionInformativeText() {
        return QStringLiteral("This information helps us find problems and improve our software. It is "
                              "anonymous and cannot be used to identify you.");
    }

    // Asks the question, interactive hooks replaced (the window sets them before launch ends).
    void setPermissionHooks(std::function<int(QWidget*)> ask, std::function<bool(const QUrl&)> openUrl);
    // Start-up: asks if needed, records the launch, and may schedule an upload.
    void loadQC(QWidget* window);

    void logQCEvent(const QVariantMap& event);
    void logLoadEvent();
    void logSystemSpecsEvent();
    void writeCache();
    void writeCacheOnThread();

    void enableQCLogging() { setQCLogging(true); }
    void disableQCLogging() { setQCLogging(false); }
    void setQCLogging(bool on);
    bool shouldLog() const { return m_shouldLog.load(); }

    void uploadData();
    // Sends the form; false when it did not reach the server (refused, timed out, an error
    // status). The server's answer is otherwise ignored.
    bool postDictionary(const FormFields& fields, const QUrl& url);
    static QByteArray generateFormData(const FormFields& fields, const QString& boundary);
    static QString generateRandomString(int length);
    static constexpr char randomAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXZY0123456789";

    // The application is quitting: queued work is dropped and the cache written at once.
    void willTerminate();

    QString cacheFilePath() const;
    QVariantList cache() const;
    QUrl endpoint() const;
    // Blocks until the queue has nothing left to do, or the time-out (ms) passes; true when
    // it is idle.
    bool waitForQueue(int timeoutMs = -1);

private:
    QDateTime now() const;
    void scheduleUpload();

    Environment m_env;
    mutable std::recursive_mutex m_mutex;
    QVariantList m_cache;
    QDateTime m_lastCacheWrite;
    std::atomic<bool> m_shouldLog{false};
    std::atomic<bool> m_terminating{false};
    QThreadPool m_opQueue;
};
