// The window's pins and `vestry pin` change one list in one file: one at a time.
#include "WindowFixture.h"
#include "catalogue/PinnedPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/LocationLock.h"
#include "foundation/SettingsKeys.h"

#include <QAction>

#include <future>
#include <thread>

// Another run (as `vestry pin` does) holds the settings file, has read the pins and writes its
// own a moment later, while the user pins Beta in the window: both pins are kept.
TEST_F(WindowTest, APinSetInTheWindowWhileAnotherRunChangesThePinsKeepsBoth) {
    BMLog::createNewLog(QStringLiteral("Vestry"));
    BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
    for (const char* file : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj"})
        write("Documents/Adobe Premiere Pro Auto-Save/" + QString(file), file);
    const QString premiere = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
    BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere});
    start();
    const QString file = BMSettings::standard().userFilePath();
    std::promise<void> read;
    std::thread other([&] {
        QString error;
        const std::optional<LocationLock> lock =
            LocationLock::acquire(file, "vestry pin: changing the pins", {}, &error);
        BMSettings settings([file] { return file; });
        QStringList pins = PinnedPaths::fromSettings(settings).paths();
        read.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        pins << PinnedPaths::storedForm(premiere + "/Alpha");
        PinnedPaths::store(settings, pins);
        settings.synchronize();
    });
    read.get_future().wait();
    select({projectIndex("Beta")});
    menu().pin->trigger();
    other.join();
    BMSettings stored([file] { return file; });
    EXPECT_EQ(PinnedPaths::fromSettings(stored).paths(),
              (QStringList{PinnedPaths::storedForm(premiere + "/Alpha"),
                           PinnedPaths::storedForm(premiere + "/Beta")}));
}
