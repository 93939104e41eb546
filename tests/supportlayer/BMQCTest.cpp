#include "support/BMQC.h"

#include "TempHome.h"
#include "foundation/BMLog.h"
#include "foundation/BMOSDetect.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

// A form endpoint on the loopback: keeps each request's head and body, answers 200 unless silent.
class FormServer {
public:
    struct Request {
        QByteArray head;
        QByteArray body;
    };

    FormServer() {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
            }
        });
    }
    QString url() const {
        return QStringLiteral("http://127.0.0.1:%1/appdata/qc/qc.php").arg(m_server.serverPort());
    }

    QList<Request> requests;
    bool silent = false;

private:
    void read(QTcpSocket* socket) {
        QByteArray data = socket->property("received").toByteArray() + socket->readAll();
        socket->setProperty("received", data);
        const qsizetype end = data.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QByteArray head = data.left(end);
        qsizetype length = 0;
        for (const QByteArray& line : head.split('\n')) {
            if (line.toLower().startsWith("content-length:"))
                length = line.mid(15).trimmed().toLongLong();
        }
        if (data.size() < end + 4 + length)
            return;
        requests.append({head, data.mid(end + 4, length)});
        if (!silent) {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
        }
    }

    QTcpServer m_server;
};

QByteArray part(const QByteArray& boundary, const QByteArray& name, const QByteArray& value) {
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
           "\r\n";
}

QByteArray boundaryOf(const FormServer::Request& request) {
    const QByteArray marker = "Content-Type: multipart/form-data; boundary=";
    const qsizetype at = request.head.indexOf(marker);
    return at < 0 ? QByteArray() : request.head.mid(at + marker.size()).split('\r').first();
}

QByteArray fieldOf(const FormServer::Request& request, const QByteArray& name) {
    const QByteArray marker = "name=\"" + name + "\"\r\n\r\n";
    const qsizetype at = request.body.indexOf(marker);
    return at < 0 ? QByteArray() : request.body.mid(at + marker.size()).split('\r').first();
}

} // namespace

// Each launch is a process of its own: made, loaded with an answer ready, quit.
class Analytics : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog();
        BMSettings::standard().setValue(SettingsKey::qcEndpoint, server.url());
    }

    BMQC::Environment environment() {
        BMQC::Environment env;
        env.now = [this] { return clock; };
        env.askPermission = [this](QWidget*) { return ++asked, answer; };
        env.openUrl = [this](const QUrl& url) { return opened << url, true; };
        env.bundleVersion = QStringLiteral("7");
        env.uploadTimeoutMs = uploadTimeoutMs;
        return env;
    }
    // The queue's uploads reach the server on this thread's loop.
    void settle(BMQC& qc) {
        while (!qc.waitForQueue(10))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    void launch() {
        BMQC qc(environment());
        qc.loadQC(nullptr);
        settle(qc);
        qc.willTerminate();
    }
    void storeAnswer(bool allow, qint64 launches) {
        BMSettings::analytics().setValue(SettingsKey::logQC, allow);
        BMSettings::standard().setValue(SettingsKey::launchCount, launches);
    }
    QVariantList cacheFile() const {
        return PlistFile::read(home().home() + "/.cache/Brightmoor/QC/com.brightmoor.Vestry")
            .value_or(QVariant())
            .toList();
    }
    static QByteArray launchEvent(qint64 date) {
        return "{\"date\":" + QByteArray::number(date) + ",\"event\":\"launch\"}";
    }

    FormServer server;
    const qint64 t0 = 1790000000;
    QDateTime clock = QDateTime::fromSecsSinceEpoch(t0, Qt::UTC);
    int answer = -1;
    int asked = 0;
    int uploadTimeoutMs = 10000;
    QList<QUrl> opened;
};

TEST_F(Analytics, FormBodyEndsWithTheLastPartAndFilesGoAsOctetStreams) {
    EXPECT_EQ(BMQC::generateFormData({{"uid", "abc"}}, "B"),
              QByteArray("--B\r\nContent-Disposition: form-data; name=\"uid\"\r\n\r\nabc\r\n"));
    const QString file = home().writeFile("report.txt", QByteArray("x\0y", 3));
    EXPECT_EQ(
        BMQC::generateFormData({{"doc", QUrl::fromLocalFile(file)}, {"web", QUrl("https://a.b/c")}}, "B"),
        "--B\r\nContent-Disposition: form-data; name=\"doc\"; filename=\"report.txt\"\r\n"
        "Content-Type: application/octet-stream\r\n\r\nx" +
            QByteArray(1, '\0') + "y\r\n--B\r\n\r\n");
}

TEST_F(Analytics, RandomStringsDrawEveryCharacterOfTheAlphabetAndOnlyThose) {
    EXPECT_EQ(BMQC::generateRandomString(0), QString());
    EXPECT_EQ(BMQC::generateRandomString(12).size(), 12);
    const QString many = BMQC::generateRandomString(62 * 300);
    const QString alphabet = QString::fromLatin1(BMQC::randomAlphabet);
    EXPECT_EQ(QSet<QChar>(many.cbegin(), many.cend()), QSet<QChar>(alphabet.cbegin(), alphabet.cend()));
}

TEST_F(Analytics, MoreInfoAsksAgainNextLaunchAndDontAllowRecordsAndSendsNothing) {
    answer = 0;
    launch(); // the first launch is not asked
    EXPECT_EQ(asked, 0);
    launch();
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(opened, QList<QUrl>{BMQC::moreInfoPage()});
    EXPECT_FALSE(BMSettings::analytics().hasValue(SettingsKey::logQC));

    answer = -1;
    launch();
    EXPECT_EQ(asked, 2);
    clock = clock.addDays(2);
    launch();
    launch();
    EXPECT_EQ(asked, 2);
    EXPECT_FALSE(BMSettings::analytics().boolValue(SettingsKey::logQC));
    EXPECT_FALSE(QFileInfo::exists(home().home() + "/.cache/Brightmoor"));

    // Events left from before the answer changed stay unsent, whatever asks for an upload.
    PlistFile::writeXml(home().home() + "/.cache/Brightmoor/QC/com.brightmoor.Vestry",
                        QVariantList{QVariantMap{{"event", "launch"}, {"date", t0}}});
    BMQC qc(environment());
    qc.loadQC(nullptr);
    qc.logLoadEvent();
    qc.uploadData();
    settle(qc);
    EXPECT_TRUE(server.requests.isEmpty());
    EXPECT_EQ(qc.cache().size(), 1);
}

TEST_F(Analytics, FirstUploadAtTheFourthLaunchThenOnceADayWithTheFormAsSent) {
    answer = 1;
    launch();
    launch(); // asked: Allow
    clock = clock.addSecs(30);
    launch(); // a second launch within a minute records nothing new
    EXPECT_TRUE(server.requests.isEmpty());
    EXPECT_EQ(cacheFile().size(), 2);

    clock = clock.addSecs(210);
    launch();
    ASSERT_EQ(server.requests.size(), 1);
    const FormServer::Request& first = server.requests[0];
    EXPECT_TRUE(first.head.startsWith("POST /appdata/qc/qc.php HTTP/1.1\r\n"));
    const QByteArray boundary = boundaryOf(first);
    ASSERT_FALSE(boundary.isEmpty());
    const QByteArray uid = BMSettings::analytics().stringValue("uid").toUtf8();
    EXPECT_EQ(uid.size(), 12);
    const QByteArray events = "[" + launchEvent(t0) + ",{\"data\":\"" + BMOSDetect::osxVersion().toUtf8() +
                              "\",\"date\":" + QByteArray::number(t0) + ",\"event\":\"specs\"}," +
                              launchEvent(t0 + 240) + "]";
    EXPECT_EQ(first.body, part(boundary, "uid", uid) + part(boundary, "app", "com.brightmoor.Vestry") +
                              part(boundary, "version", "7") + part(boundary, "events", events));
    EXPECT_TRUE(cacheFile().isEmpty());
    EXPECT_EQ(BMSettings::standard().value(SettingsKey::lastSubmission).toDateTime(), clock);

    clock = clock.addSecs(86400);
    launch();
    EXPECT_EQ(server.requests.size(), 1);
    clock = clock.addSecs(1);
    launch(); // sends the day's launch; this one came within its minute
    ASSERT_EQ(server.requests.size(), 2);
    EXPECT_EQ(fieldOf(server.requests[1], "events"), "[" + launchEvent(t0 + 240 + 86400) + "]");
    EXPECT_NE(boundaryOf(server.requests[1]), boundary);
}

TEST_F(Analytics, IdentifierIsRenewedOnceNinetyDaysOld) {
    storeAnswer(true, 3);
    BMSettings::analytics().setValue("uid", "keptIdentifr");
    BMSettings::analytics().setValue("uidAssigned", clock.addSecs(-7776000 + 60));
    launch();
    ASSERT_EQ(server.requests.size(), 1);
    EXPECT_EQ(fieldOf(server.requests[0], "uid"), "keptIdentifr");

    clock = clock.addSecs(86401);
    launch();
    ASSERT_EQ(server.requests.size(), 2);
    const QString renewed = BMSettings::analytics().stringValue("uid");
    EXPECT_EQ(renewed.size(), 12);
    EXPECT_NE(renewed, "keptIdentifr");
    EXPECT_EQ(fieldOf(server.requests[1], "uid"), renewed.toUtf8());
    EXPECT_EQ(BMSettings::analytics().value("uidAssigned").toDateTime(), clock);
}

TEST_F(Analytics, CacheIsWrittenAtMostOnceASecondAndAtTermination) {
    storeAnswer(true, 1);
    BMQC qc(environment());
    auto event = [&](int n) { return QVariantMap{{"event", "launch"}, {"date", qint64(n)}}; };
    // Milliseconds since the last event, and the events the file holds after this one.
    const std::pair<int, int> steps[]{{0, 1}, {600, 1}, {600, 3}, {100, 3}};
    for (int n = 1; n <= 4; ++n) {
        clock = clock.addMSecs(steps[n - 1].first);
        qc.logQCEvent(event(n));
        settle(qc);
        EXPECT_EQ(cacheFile().size(), steps[n - 1].second) << "after event " << n;
    }
    qc.willTerminate();
    EXPECT_EQ(cacheFile(), (QVariantList{event(1), event(2), event(3), event(4)}));
}

TEST_F(Analytics, UploadThatTimesOutKeepsTheEventsForTheNextDay) {
    storeAnswer(true, 3);
    server.silent = true;
    uploadTimeoutMs = 300;
    QElapsedTimer elapsed;
    elapsed.start();
    launch();
    EXPECT_LT(elapsed.elapsed(), 5000);
    ASSERT_EQ(server.requests.size(), 1);
    EXPECT_EQ(cacheFile().size(), 2);
    EXPECT_TRUE(logText().contains("Connection failed - "));

    server.silent = false;
    clock = clock.addSecs(3600);
    launch();
    EXPECT_EQ(server.requests.size(), 1);
    clock = clock.addSecs(86400 - 3600 + 1);
    launch();
    ASSERT_EQ(server.requests.size(), 2);
    EXPECT_TRUE(fieldOf(server.requests[1], "events").startsWith("[" + launchEvent(t0) + ",{\"data\""));
    EXPECT_TRUE(cacheFile().isEmpty());
}
