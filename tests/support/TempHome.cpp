#include "TempHome.h"

#include "foundation/BMLog.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {
// Restored after each test; the session's bus and runtime folder too, which tests take away.
const char* const kVariables[] = {
    "HOME",           "XDG_CONFIG_HOME", "XDG_DATA_HOME",           "XDG_CACHE_HOME",
    "XDG_STATE_HOME", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"};
} // namespace

TempHome::TempHome() {
    // A home with a blank and a non-ASCII letter, as real ones have.
    m_home = m_dir.path() + QStringLiteral("/Users/jö ed");
    QDir().mkpath(m_home);
    QDir().mkpath(machineRoot() + QStringLiteral("/tmp"));
    for (const char* name : kVariables)
        m_savedEnvironment.insert(name, qgetenv(name));
    qputenv("HOME", QFile::encodeName(m_home));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home + QStringLiteral("/.config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_home + QStringLiteral("/.local/share")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(m_home + QStringLiteral("/.cache")));
    qputenv("XDG_STATE_HOME", QFile::encodeName(m_home + QStringLiteral("/.local/state")));

    auto platform = std::make_unique<FakePlatform>(machineRoot());
    m_platform = platform.get();
    m_previousPlatform = Platform::install(std::move(platform));
}

TempHome::~TempHome() {
    // The log may hold a file open inside this folder.
    BMLog::willTerminate();
    Platform::install(std::move(m_previousPlatform));
    for (auto it = m_savedEnvironment.cbegin(); it != m_savedEnvironment.cend(); ++it) {
        if (it.value().isNull())
            qunsetenv(it.key().constData());
        else
            qputenv(it.key().constData(), it.value());
    }
}

QString TempHome::makeFolder(const QString& relative) const {
    const QString path = m_dir.path() + QLatin1Char('/') + relative;
    QDir().mkpath(path);
    return path;
}

QString TempHome::writeFile(const QString& relative, const QByteArray& contents) const {
    const QString path =
        relative.startsWith(QLatin1Char('/')) ? relative : m_dir.path() + QLatin1Char('/') + relative;
    if (!path.startsWith(m_dir.path() + QLatin1Char('/'))) {
        ADD_FAILURE() << "a test writes outside its temporary folder: " << path.toStdString();
        return path;
    }
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
    return path;
}

QString TempHome::writeHomeFile(const QString& relative, const QByteArray& contents) const {
    return writeFile(m_home.mid(m_dir.path().size() + 1) + QLatin1Char('/') + relative,
                     contents.isEmpty() ? relative.toUtf8() : contents);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString logText() {
    BMLog::finishWriting();
    return QString::fromUtf8(readFile(BMLog::currentLogPath()));
}

void TempHomeTest::SetUp() {
    m_home = std::make_unique<TempHome>();
}

void TempHomeTest::TearDown() {
    m_home.reset();
}

bool actingForAnotherConsoleUser() {
    const LinuxPlatform real;
    return real.userId() == 0 && real.consoleUser() != real.userName();
}
