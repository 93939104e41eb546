#include "SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

namespace {

const QByteArray kRaise = QByteArrayLiteral("raise\n");
const QByteArray kRaised = QByteArrayLiteral("raised\n");

} // namespace

QString SingleInstance::socketName() {
    // Without $XDG_RUNTIME_DIR (su, ssh, cron) Qt offers a folder of the user's own that it
    // makes private; a bare name would sit in /tmp, where another user could take it first
    // and be told of, or block, every later start.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (!runtime.isEmpty() && QDir(runtime).exists())
        return QDir(runtime).filePath(QStringLiteral("vestry.socket"));
    return QStringLiteral("vestry-%1").arg(::getuid());
}

SingleInstance::SingleInstance(QString name, QObject* parent) : QObject(parent), m_name(std::move(name)) {
}

bool SingleInstance::notifyRunning(int timeoutMs) const {
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    // A run that accepts the connection is alive even if it is too busy to answer at once; it
    // reads the request when it gets to it.
    socket.write(kRaise);
    if (socket.waitForBytesWritten(timeoutMs)) {
        while (socket.bytesAvailable() < kRaised.size() && socket.waitForReadyRead(timeoutMs)) {
        }
    }
    return true;
}

bool SingleInstance::listen() {
    // Listening with access options renames the new socket over whatever is there, so a run
    // that started meanwhile is asked first; anything else there was left by a run that ended.
    QLocalSocket probe;
    probe.connectToServer(m_name);
    if (probe.waitForConnected(500)) {
        m_error = QStringLiteral("another run has just started");
        return false;
    }
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_name)) {
        QLocalServer::removeServer(m_name);
        if (!m_server->listen(m_name)) {
            m_error = m_server->errorString();
            return false;
        }
    }
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (!socket->canReadLine())
                    return;
                if (socket->readLine() == kRaise) {
                    socket->write(kRaised);
                    socket->flush();
                    Q_EMIT activationRequested();
                }
                socket->disconnectFromServer();
            });
        }
    });
    return true;
}

bool hasDisplay(int argc, char** argv) {
#if defined(Q_OS_MACOS)
    Q_UNUSED(argc);
    Q_UNUSED(argv);
    return true;
#else
    QString platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    for (int i = 1; i + 1 < argc; ++i) {
        if (qstrcmp(argv[i], "-platform") == 0 || qstrcmp(argv[i], "--platform") == 0)
            platform = QString::fromLocal8Bit(argv[i + 1]);
    }
    // Plugins that draw into memory or straight onto the hardware need no session.
    static const QStringList standalone{QStringLiteral("offscreen"),   QStringLiteral("minimal"),
                                        QStringLiteral("minimalegl"),  QStringLiteral("vnc"),
                                        QStringLiteral("linuxfb"),     QStringLiteral("eglfs"),
                                        QStringLiteral("vkkhrdisplay")};
    const QString first = platform.section(QLatin1Char(';'), 0, 0).section(QLatin1Char(':'), 0, 0).trimmed();
    if (standalone.contains(first))
        return true;
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
#endif
}
