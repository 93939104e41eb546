#include "BMTaskNotification.h"

#include "BMException.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QVariantMap>

#include <chrono>
#include <thread>

namespace {

QString processName() {
    return QCoreApplication::instance() ? QCoreApplication::applicationName() : QString();
}

// The first client name with a listener, or null.
QString listeningClient() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface())
        return QString();
    for (const QString& service :
         {BMTaskNotification::halvernService(), BMTaskNotification::ostrandService()}) {
        if (bus.interface()->isServiceRegistered(service).value())
            return service;
    }
    return QString();
}

// True when the client answered the method, false when it does not know it.
bool call(const QString& service, const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, QStringLiteral("/"),
                                                          BMTaskNotification::interfaceName(), method);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, 2000);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        if (reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.NoReply"))
            throw BMNamedException(QStringLiteral("NSPortTimeoutException"), reply.errorMessage());
        return false;
    }
    return true;
}

// Sends the first method the client answers, then paces the next message.
void send(const char* method, std::initializer_list<std::pair<QString, QVariantList>> attempts) {
    try {
        const QString service = listeningClient();
        if (service.isNull())
            return;
        for (const auto& [name, arguments] : attempts) {
            if (call(service, name, arguments))
                break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    } catch (const std::exception& e) {
        BMException::logException(e, method);
    }
}

} // namespace

void BMTaskNotification::postIncrementProgress() {
    send("+[BMTaskNotification postIncrementProgress]", {{QStringLiteral("incrementRemoteProgress"), {}}});
}

void BMTaskNotification::postTaskFinished() {
    send("+[BMTaskNotification postTaskFinished]", {{QStringLiteral("postFinishedTask"), {}}});
}

void BMTaskNotification::postTaskError(const QString& error) {
    send("+[BMTaskNotification postTaskError:]", {{QStringLiteral("postErrorForApp"), {error, processName()}},
                                                  {QStringLiteral("postError"), {error}}});
}

void BMTaskNotification::postTaskErrorString(const QString& text) {
    const QVariantMap userInfo{{QStringLiteral("appName"), processName()}};
    send("+[BMTaskNotification postTaskErrorString:]",
         {{QStringLiteral("postErrorStringUserInfo"), {text, userInfo}},
          {QStringLiteral("postErrorString"), {text}}});
}

void BMTaskNotification::postDisconnect() {
    send("+[BMTaskNotification postDisconnect]", {{QStringLiteral("postDisconnect"), {}}});
}
