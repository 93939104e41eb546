// Named pipes where Final Cut Pro's property lists should be: the application's information and
// the cache shared with the sibling product. Opening one to read waited for a writer for good.
#include "editorprefs/BMFCPPrefParser.h"
#include "editorprefs/EditorPrefsTest.h"

#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

class PlistPipe : public EditorPrefsTest {
protected:
    void SetUp() override {
        EditorPrefsTest::SetUp();
        app = makeApplication(BMLocalPaths::applicationDirectory(false) + "/Final Cut Pro.app",
                              {{"CFBundleShortVersionString", "7.0.3"}});
        writeFile(preferences() + "/Final Cut Pro User Data/Final Cut Pro 7.0 Prefs.fcset",
                  "\rautoSaveVault\x01\x02Media:Jobs\x01\x02" + QByteArray(32, '\x01'));
    }
    static void makePipe(const QString& path) {
        QFile::remove(path);
        ASSERT_TRUE(QDir().mkpath(QFileInfo(path).absolutePath()));
        ASSERT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    }
    // The parser's autosave folder, or "(waited)" when it did not answer within 10 s.
    static QString autosavePathWithin10s(const QString& pipe) {
        auto load = std::async(std::launch::async, [] {
            BMFCPPrefParser parser;
            parser.loadDataForTypes(std::nullopt);
            return parser.autosavePath();
        });
        if (load.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
            return load.get();
        // Lets each blocked open go, so that the test can end.
        do
            ::close(::open(QFile::encodeName(pipe).constData(), O_WRONLY | O_NONBLOCK));
        while (load.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready);
        return "(waited)";
    }
    QString app;
};

TEST_F(PlistPipe, TheApplicationsInformationAsAPipeIsNotWaitedFor) {
    const QString info = app + "/Contents/Info.plist";
    makePipe(info);
    // Without a version there is no preference file to name.
    EXPECT_EQ(autosavePathWithin10s(info), QString());
}

TEST_F(PlistPipe, TheSharedCacheAsAPipeIsNotWaitedForAndThePreferencesAreRead) {
    makePipe(BMFCPPrefParser::cacheFilePath());
    EXPECT_EQ(autosavePathWithin10s(BMFCPPrefParser::cacheFilePath()), "/Volumes/Media/Jobs/Autosave Vault");
}
