#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// Keeps one window per user. The first start listens on a socket named for the user; a later
// start finds it, tells the first to come forward and ends. A socket file left by a run that
// crashed answers nobody and is replaced.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // In $XDG_RUNTIME_DIR, else in the private runtime folder Qt makes for the user.
    static QString socketName();

    explicit SingleInstance(QString name = socketName(), QObject* parent = nullptr);

    // True when another run already holds the name and has been told to come forward.
    bool notifyRunning(int timeoutMs = 2000) const;
    // Takes the name, replacing a stale socket; false with the cause in error() otherwise.
    bool listen();
    QString error() const { return m_error; }

Q_SIGNALS:
    // Another start asked this run's window to come forward.
    void activationRequested();

private:
    QString m_name;
    QString m_error;
    QLocalServer* m_server = nullptr;
};

// Whether the platform the window would use has something to show it on. Without one, Qt
// would abort; the caller says so in words instead.
bool hasDisplay(int argc, char** argv);
