#include "FuzzSupport.h"

#include "foundation/BMLog.h"
#include "foundation/PlistFile.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

class FuzzPlatform : public LinuxPlatform {
public:
    QString bootVolumeName() const override { return QStringLiteral("Macintosh HD"); }
    QString consoleUser() const override { return userName(); }
};

} // namespace

void prepareFuzzing() {
    static bool done = false;
    if (done)
        return;
    done = true;
    static QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/.config")));
    qputenv("XDG_STATE_HOME", QFile::encodeName(home.path() + QStringLiteral("/.local/state")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.path() + QStringLiteral("/.cache")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/.local/share")));
    Platform::install(std::make_unique<FuzzPlatform>());
    PlistFile::writeXml(home.path() + QStringLiteral("/.config/com.brightmoor.global.plist"),
                        QVariantMap{{QStringLiteral("disable-logging"), true}});
    BMLog::createNewLog(QStringLiteral("fuzz"));
}
