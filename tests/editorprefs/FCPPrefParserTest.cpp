#include "editorprefs/BMFCPPrefParser.h"
#include "editorprefs/EditorPrefsTest.h"
#include "editorprefs/FcsetBuilder.h"
#include "editorprefs/SharedCacheFile.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/PlistFile.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace {

const QByteArray kHomeVault("Macintosh HD:Users:jo:Documents:Autosave Vault");

} // namespace

class FcpPrefs : public EditorPrefsTest {
protected:
    void SetUp() override {
        EditorPrefsTest::SetUp();
        installApplication(QStringLiteral("Final Cut Pro.app"), QStringLiteral("7.0.3"));
    }

    QString applications() const { return BMLocalPaths::applicationDirectory(false); }
    QString installApplication(const QString& relative, const QString& version, bool binary = false) {
        return makeApplication(applications() + QLatin1Char('/') + relative,
                               {{QStringLiteral("CFBundleShortVersionString"), version}}, binary);
    }
    QString prefsPath(const QString& version = QStringLiteral("7.0")) const {
        return preferences() +
               QStringLiteral("/Final Cut Pro User Data/Final Cut Pro %1 Prefs.fcset").arg(version);
    }
    QString writePrefs(const QByteArray& bytes) const { return writeFile(prefsPath(), bytes); }
    QString defaultRoot() const { return documents() + QStringLiteral("/Final Cut Pro Documents"); }

    // A fresh reader over the file as it is now.
    BMFCPPrefParser loaded(const std::optional<QStringList>& types = std::nullopt) const {
        BMFCPPrefParser parser;
        parser.loadDataForTypes(types);
        return parser;
    }
    static void setModified(const QString& path, const QDateTime& date) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(date, QFileDevice::FileModificationTime));
    }
};

// ---- Finding the preference file -------------------------------------------------------

struct VersionRow {
    const char* name;
    const char* shortVersion;
    bool binaryInfo;
    const char* fileVersion;
};

class FcpPrefsVersion : public FcpPrefs, public ::testing::WithParamInterface<VersionRow> {};

TEST_P(FcpPrefsVersion, KeepsOnlyTheFirstCharacterOfTheVersion) {
    installApplication(QStringLiteral("Final Cut Pro.app"), QString::fromLatin1(GetParam().shortVersion),
                       GetParam().binaryInfo);
    BMFCPPrefParser parser;
    EXPECT_EQ(parser.preferenceFilePath(), prefsPath(QString::fromLatin1(GetParam().fileVersion)));
}

INSTANTIATE_TEST_SUITE_P(Versions, FcpPrefsVersion,
                         ::testing::Values(VersionRow{"Release703", "7.0.3", false, "7.0"},
                                           VersionRow{"FutureTenOneReadAsOne", "10.1", false, "1.0"},
                                           VersionRow{"BinaryInfoPlist", "6.0.6", true, "6.0"},
                                           VersionRow{"BareDigit", "5", false, "5.0"}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FcpPrefs, PrefersTheStudioFolderToTheLooseApplication) {
    installApplication(QStringLiteral("Final Cut Studio/Final Cut Pro.app"), QStringLiteral("6.0.5"));
    EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath(QStringLiteral("6.0")));
}

TEST_F(FcpPrefs, AsksThePlatformForTheBundleWhenApplicationsHasNone) {
    ASSERT_TRUE(QDir().rename(applications() + QStringLiteral("/Final Cut Pro.app"),
                              home().root() + QStringLiteral("/elsewhere")));
    EXPECT_TRUE(BMFCPPrefParser().preferenceFilePath().isNull());
    home().platform().applications.insert(QStringLiteral("com.apple.FinalCutPro"),
                                          home().root() + QStringLiteral("/elsewhere"));
    EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath(QStringLiteral("7.0")));
}

TEST_F(FcpPrefs, FindsExpressByItsOwnNames) {
    installApplication(QStringLiteral("Final Cut Express.app"), QStringLiteral("4.0.1"));
    BMFCPPrefParser express = BMFCPPrefParser::initWithFinalCutExpress();
    EXPECT_TRUE(express.isFCE());
    EXPECT_EQ(express.preferenceFilePath(),
              preferences() +
                  QStringLiteral("/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset"));
    EXPECT_EQ(express.defaultRootFolder(), documents() + QStringLiteral("/Final Cut Express Documents"));
}

TEST_F(FcpPrefs, ReportsAMissingInformationFileOrVersionOnTheConsole) {
    const QString info = applications() + QStringLiteral("/Final Cut Pro.app/Contents/Info.plist");
    writeFile(info, "not a property list");
    testing::internal::CaptureStdout();
    BMFCPPrefParser broken;
    broken.setAutosavePath(QStringLiteral("/left/over"));
    EXPECT_TRUE(broken.preferenceFilePath().isNull());
    EXPECT_TRUE(broken.autosavePath().isNull()) << "every path is cleared";
    writeFile(info, PlistFile::toXml(QVariantMap{{QStringLiteral("CFBundleShortVersionString"), QString()}}));
    EXPECT_TRUE(BMFCPPrefParser().preferenceFilePath().isNull());
    loaded();
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_NE(console.find("Unable to find Final Cut Pro info plist.\n"), std::string::npos) << console;
    EXPECT_EQ(QString::fromStdString(console).count("version number"), 2) << "once per lookup, once per load";
    EXPECT_NE(console.find("Unable to locate Final Cut Pro version number.\n"), std::string::npos) << console;
}

TEST_F(FcpPrefs, LeavesEveryPathEmptyWhenThePreferenceFileCannotBeRead) {
    testing::internal::CaptureStdout();
    const BMFCPPrefParser parser = loaded();
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_NE(console.find(QStringLiteral("Unable to load Final Cut Pro preference file %1\n")
                               .arg(prefsPath())
                               .toStdString()),
              std::string::npos)
        << console;
    EXPECT_TRUE(parser.autosavePath().isNull());
    EXPECT_TRUE(parser.scratchPath().isNull());
    EXPECT_FALSE(parser.dataIsLoaded());
}

TEST_F(FcpPrefs, RefusesANamedPipeWithoutWaitingForAWriter) {
    QDir().mkpath(QFileInfo(prefsPath()).path());
    ASSERT_EQ(::mkfifo(QFile::encodeName(prefsPath()).constData(), 0644), 0);
    testing::internal::CaptureStdout();
    const BMFCPPrefParser parser = loaded();
    EXPECT_NE(testing::internal::GetCapturedStdout().find("Unable to load Final Cut Pro preference file"),
              std::string::npos);
    EXPECT_TRUE(parser.autosavePath().isNull());
}

// ---- Scanning ------------------------------------------------------------------------------

struct ScanRow {
    const char* name;
    QByteArray file;
    const char* vault; // relative to the default root when it starts without "/"
};

class FcpPrefsScan : public FcpPrefs, public ::testing::WithParamInterface<ScanRow> {};

TEST_P(FcpPrefsScan, FindsTheVault) {
    writePrefs(GetParam().file);
    const QString expected = QString::fromLatin1(GetParam().vault);
    EXPECT_EQ(loaded().autosavePath(),
              expected.startsWith(QLatin1Char('/')) ? expected : defaultRoot() + QLatin1Char('/') + expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, FcpPrefsScan,
    ::testing::Values(
        ScanRow{"OnTheBootVolume", FcsetBuilder().key("autoSaveVault").path(kHomeVault).bytes(),
                "/Users/jo/Documents/Autosave Vault"},
        ScanRow{"OnAnotherVolumeWithTheFolderNameAdded",
                FcsetBuilder().key("autoSaveVault").path("Media:FCP Projects").bytes(),
                "/Volumes/Media/FCP Projects/Autosave Vault"},
        ScanRow{"ColonFirstAndColonLastAreNoPaths",
                FcsetBuilder().key("autoSaveVault").path(":Users").path("Users:").path("Media:Later").bytes(),
                "/Volumes/Media/Later/Autosave Vault"},
        ScanRow{"OnlyEdgeColonsLeaveTheDefault",
                FcsetBuilder().key("autoSaveVault").path(":Users").path("Users:").bytes(), "Autosave Vault"},
        ScanRow{"NulPaddingTrimmed",
                FcsetBuilder().key("autoSaveVault").path(QByteArray("\0\0Media:FCP\0", 12)).bytes(),
                "/Volumes/Media/FCP/Autosave Vault"},
        ScanRow{"PrintableLengthPrefixDropped",
                FcsetBuilder().key("autoSaveVault").path("$Media:Projects:Season One:Vault 0001").bytes(),
                "/Volumes/Media/Projects/Season One/Vault 0001/Autosave Vault"},
        ScanRow{"PathCutAtTheEndOfTheWindow",
                FcsetBuilder().key("autoSaveVault").noise(380).text(kHomeVault).noise(4).bytes(),
                "/Us/Autosave Vault"},
        ScanRow{"PathBeyondTheWindowIgnored",
                FcsetBuilder().key("autoSaveVault").noise(420).text(kHomeVault).noise(4).bytes(),
                "Autosave Vault"},
        ScanRow{"KeyWithWrongPrefixIgnored", FcsetBuilder().key("autoSaveVault", 12).path(kHomeVault).bytes(),
                "Autosave Vault"},
        ScanRow{"SearchLocationStoresNothing",
                FcsetBuilder().key("searchLocation", 15).text("s").path("Media:Search").bytes(),
                "Autosave Vault"},
        ScanRow{"NoKeysAtAll", FcsetBuilder().noise(50).path(kHomeVault).bytes(), "Autosave Vault"}),
    [](const auto& info) { return std::string(info.param.name); });

struct KeyRow {
    const char* key;
    QString (BMFCPPrefParser::*getter)() const;
    const char* expected;
};

class FcpPrefsKeys : public FcpPrefs, public ::testing::WithParamInterface<KeyRow> {};

TEST_P(FcpPrefsKeys, StoreTheirPathWithTheirFolderName) {
    writePrefs(FcsetBuilder().noise(7).key(GetParam().key).path("Media:Edit").bytes());
    EXPECT_EQ((loaded().*GetParam().getter)(), QString::fromLatin1(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Table, FcpPrefsKeys,
    ::testing::Values(
        KeyRow{"audiorender", &BMFCPPrefParser::audioRenderPath, "/Volumes/Media/Edit/Audio Render Files"},
        KeyRow{"render", &BMFCPPrefParser::renderPath, "/Volumes/Media/Edit/Render Files"},
        KeyRow{"audiocapture", &BMFCPPrefParser::audioCaptureScratchPath,
               "/Volumes/Media/Edit/Audio Capture Scratch"},
        KeyRow{"capture", &BMFCPPrefParser::captureScratchPath, "/Volumes/Media/Edit/Capture Scratch"},
        KeyRow{"scratch", &BMFCPPrefParser::scratchPath, "/Volumes/Media/Edit"},
        KeyRow{"waveform", &BMFCPPrefParser::waveformCachePath, "/Volumes/Media/Edit/Waveform Cache Files"},
        KeyRow{"thumbnail", &BMFCPPrefParser::thumbnailCachePath,
               "/Volumes/Media/Edit/Thumbnail Cache Files"},
        KeyRow{"autoSaveVault", &BMFCPPrefParser::autosavePath, "/Volumes/Media/Edit/Autosave Vault"}),
    [](const auto& info) { return std::string(info.param.key); });

struct DistanceRow {
    const char* name;
    int distance; // from the vault key to the render key, filled with text
    bool bridge;  // a search-locations key halfway
    int bridgePrefix;
    bool renderFound;
};

class FcpPrefsDistance : public FcpPrefs, public ::testing::WithParamInterface<DistanceRow> {};

TEST_P(FcpPrefsDistance, DecidesWhetherLaterKeysAreRead) {
    const DistanceRow& row = GetParam();
    FcsetBuilder builder;
    builder.key("autoSaveVault").path("Media:Vault");
    if (row.bridge)
        builder.fillerUntil(row.distance / 2)
            .noise(1)
            .key("searchLocation", row.bridgePrefix)
            .text("s")
            .noise(1);
    builder.fillerUntil(row.distance).key("render").path("Media:Renders");
    writePrefs(builder.bytes());
    const BMFCPPrefParser parser = loaded();
    EXPECT_EQ(parser.autosavePath(), "/Volumes/Media/Vault/Autosave Vault");
    EXPECT_EQ(parser.renderPath(), row.renderFound ? QStringLiteral("/Volumes/Media/Renders/Render Files")
                                                   : defaultRoot() + QStringLiteral("/Render Files"));
}

INSTANTIATE_TEST_SUITE_P(Rules, FcpPrefsDistance,
                         ::testing::Values(DistanceRow{"Text500", 500, false, 15, true},
                                           DistanceRow{"Text600", 600, false, 15, true},
                                           DistanceRow{"Text601KeyStillFirst", 601, false, 15, true},
                                           DistanceRow{"Text602EndsTheScan", 602, false, 15, false},
                                           DistanceRow{"Text900EndsTheScan", 900, false, 15, false},
                                           DistanceRow{"SearchLocationKeyBridges", 1000, true, 15, true},
                                           DistanceRow{"FourteenPrefixIsNoKey", 1000, true, 14, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FcpPrefs, CountsNoiseTowardsTheStop) {
    // Noise is skipped, but the probes just before the next key see its name.
    const QByteArray near = FcsetBuilder()
                                .key("autoSaveVault")
                                .path("Media:Vault")
                                .noise(560)
                                .key("render")
                                .path("Media:R")
                                .bytes();
    writePrefs(near);
    EXPECT_EQ(loaded().renderPath(), "/Volumes/Media/R/Render Files");
    QFile::remove(BMFCPPrefParser::cacheFilePath());
    const QByteArray far = FcsetBuilder()
                               .key("autoSaveVault")
                               .path("Media:Vault")
                               .noise(620)
                               .key("render")
                               .path("Media:R")
                               .bytes();
    writePrefs(far);
    EXPECT_EQ(loaded().renderPath(), defaultRoot() + "/Render Files");
}

TEST_F(FcpPrefs, StopsAfterTheRequestedKey) {
    FcsetBuilder builder;
    builder.key("autoSaveVault").path("Media:Vault").fillerUntil(450).noise(1).key("render").path("Media:R");
    writePrefs(builder.bytes());
    const BMFCPPrefParser only = loaded(QStringList{QStringLiteral("autoSaveVault")});
    EXPECT_EQ(only.autosavePath(), "/Volumes/Media/Vault/Autosave Vault");
    EXPECT_EQ(only.renderPath(), defaultRoot() + QStringLiteral("/Render Files"));
    QFile::remove(BMFCPPrefParser::cacheFilePath());
    EXPECT_EQ(loaded().renderPath(), "/Volumes/Media/R/Render Files");
}

TEST_F(FcpPrefs, ReadsAKeyBehindMegabytesOfBinary) {
    QByteArray bytes(9 << 20, 0);
    QRandomGenerator generator(7);
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    // Random bytes can look like a key; make sure none does.
    for (char& c : bytes) {
        if (c >= 6 && c <= 15)
            c = 1;
    }
    writePrefs(bytes + FcsetBuilder().key("autoSaveVault").path("Media:Deep").bytes());
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/Deep/Autosave Vault");
}

TEST_F(FcpPrefs, SurvivesEveryTruncation) {
    const QByteArray whole = FcsetBuilder().key("autoSaveVault").path(kHomeVault).bytes();
    const QString full = QStringLiteral("/Users/jo/Documents/Autosave Vault");
    const QString appended = QStringLiteral("/Autosave Vault");
    QString vault;
    for (qsizetype length = 0; length <= whole.size(); ++length) {
        writePrefs(whole.left(length));
        setModified(prefsPath(), QDateTime::fromSecsSinceEpoch(1000000 + length, Qt::UTC));
        vault = loaded().autosavePath();
        // Nothing, or as much of the path as the file still holds.
        EXPECT_TRUE(vault == defaultRoot() + appended || vault == full ||
                    (vault.endsWith(appended) && full.startsWith(vault.chopped(appended.size()))))
            << length << " " << vault.toStdString();
    }
    EXPECT_EQ(vault, full) << "the whole file";
}

// ---- Converting and completing paths -------------------------------------------------------

struct FormatRow {
    const char* name;
    QByteArray classic;
    const char* posix;
};

class FcpPrefsFormat : public FcpPrefs, public ::testing::WithParamInterface<FormatRow> {};

TEST_P(FcpPrefsFormat, ConvertsClassicPaths) {
    EXPECT_EQ(BMFCPPrefParser::formatPath(QString::fromLatin1(GetParam().classic)),
              QString::fromLatin1(GetParam().posix));
}

INSTANTIATE_TEST_SUITE_P(
    Paths, FcpPrefsFormat,
    ::testing::Values(
        FormatRow{"BootVolumeDropped", "Macintosh HD:Users:jo:Autosave Vault", "/Users/jo/Autosave Vault"},
        FormatRow{"OtherVolumeUnderVolumes", "Media:FCP:Render Files", "/Volumes/Media/FCP/Render Files"},
        FormatRow{"NulsTrimmedEverywhere", QByteArray("\0Media\0:\0FCP\0\0", 14), "/Volumes/Media/FCP"},
        FormatRow{"LengthPrefixDropped", "$Macintosh HD:Users:jo:Projects:Vault", "/Users/jo/Projects/Vault"},
        FormatRow{"WrongLengthKept", "&Media:A", "/Volumes/&Media/A"},
        FormatRow{"BootVolumeAlone", "Macintosh HD", "/"}, FormatRow{"Empty", "", "/Volumes/"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(FcpPrefs, UsesThePlatformsBootVolumeName) {
    home().platform().bootVolume = QStringLiteral("Work");
    EXPECT_EQ(BMFCPPrefParser::formatPath(QStringLiteral("Work:Users:jo")), "/Users/jo");
    EXPECT_EQ(BMFCPPrefParser::formatPath(QStringLiteral("Macintosh HD:Users:jo")),
              "/Volumes/Macintosh HD/Users/jo");
}

TEST_F(FcpPrefs, DefaultsEverythingUnderTheDocumentsFolder) {
    BMFCPPrefParser parser;
    parser.setupDefaults();
    EXPECT_EQ(parser.scratchPath(), defaultRoot());
    EXPECT_EQ(parser.renderPath(), defaultRoot() + "/Render Files");
    EXPECT_EQ(parser.audioRenderPath(), defaultRoot() + "/Audio Render Files");
    EXPECT_EQ(parser.captureScratchPath(), defaultRoot() + "/Capture Scratch");
    EXPECT_EQ(parser.audioCaptureScratchPath(), defaultRoot() + "/Audio Capture Scratch");
    EXPECT_EQ(parser.waveformCachePath(), defaultRoot() + "/Waveform Cache Files");
    EXPECT_EQ(parser.thumbnailCachePath(), defaultRoot() + "/Thumbnail Cache Files");
    EXPECT_EQ(parser.autosavePath(), defaultRoot() + "/Autosave Vault");
}

TEST_F(FcpPrefs, PutsMissingFoldersBesideTheirSiblings) {
    BMFCPPrefParser parser;
    parser.setCaptureScratchPath(QStringLiteral("/Volumes/Cap/Media/Capture Scratch"));
    parser.setAudioRenderPath(QStringLiteral("/Volumes/R/Audio Render Files"));
    parser.setThumbnailCachePath(QStringLiteral("/Volumes/T/Thumbnail Cache Files"));
    parser.setupDefaults();
    EXPECT_EQ(parser.scratchPath(), "/Volumes/Cap/Media");
    EXPECT_EQ(parser.audioCaptureScratchPath(), "/Volumes/Cap/Media/Audio Capture Scratch");
    EXPECT_EQ(parser.renderPath(), "/Volumes/R/Render Files");
    EXPECT_EQ(parser.waveformCachePath(), "/Volumes/T/Waveform Cache Files");
    EXPECT_EQ(parser.autosavePath(), "/Volumes/T/Autosave Vault");
}

// ---- The shared cache ----------------------------------------------------------------------

TEST_F(FcpPrefs, ReadsOnlyTheCacheWhileThePreferenceFileIsUnchanged) {
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:First").bytes());
    const QDateTime written = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    setModified(prefsPath(), written);
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/First/Autosave Vault");

    const QVariantMap entry =
        SharedCacheFile(BMFCPPrefParser::cacheFilePath()).entry(QStringLiteral("Final Cut Pro"));
    EXPECT_EQ(entry.value("modDate").toDateTime(), written);
    EXPECT_EQ(entry.value("autosaveVault").toString(), "/Volumes/Media/First/Autosave Vault");
    EXPECT_EQ(entry.value("render").toString(), defaultRoot() + "/Render Files");

    // Different contents with the same date: only the cache is read.
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:Second").bytes());
    setModified(prefsPath(), written);
    BMFCPPrefParser cached;
    EXPECT_TRUE(cached.loadCacheData());
    EXPECT_TRUE(cached.dataIsLoaded());
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/First/Autosave Vault");

    setModified(prefsPath(), written.addSecs(60));
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/Second/Autosave Vault");
}

TEST_F(FcpPrefs, MergesIntoTheSharedCacheKeepingOtherEntries) {
    const QString cache = BMFCPPrefParser::cacheFilePath();
    QVariantMap existing{
        {QStringLiteral("Final Cut Express"), QVariantMap{{QStringLiteral("render"), QStringLiteral("/x")}}},
        {QStringLiteral("SiblingSetting"), 42}};
    ASSERT_TRUE(PlistFile::writeXml(cache, existing));
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:Vault").bytes());
    loaded();
    const QVariantMap all = PlistFile::readDictionary(cache).value_or(QVariantMap());
    EXPECT_EQ(all.value("SiblingSetting").toLongLong(), 42);
    EXPECT_EQ(all.value("Final Cut Express").toMap().value("render").toString(), "/x");
    EXPECT_EQ(all.value("Final Cut Pro").toMap().value("autosaveVault").toString(),
              "/Volumes/Media/Vault/Autosave Vault");
}

TEST_F(FcpPrefs, ReplacesADamagedCache) {
    writeFile(BMFCPPrefParser::cacheFilePath(), QByteArray(100, '\xff'));
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:Vault").bytes());
    loaded();
    EXPECT_TRUE(BMFCPPrefParser().loadCacheData());
}

TEST_F(FcpPrefs, ConcurrentWritersKeepEachOthersEntries) {
    installApplication(QStringLiteral("Final Cut Express.app"), QStringLiteral("4.0"));
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:Pro").bytes());
    writeFile(preferences() +
                  QStringLiteral("/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset"),
              FcsetBuilder().key("autoSaveVault").path("Media:Express").bytes());
    const SharedCacheFile cache(BMFCPPrefParser::cacheFilePath());
    std::atomic<int> failures{0};
    auto writer = [&](BMFCPPrefParser parser) {
        parser.setupDefaults();
        for (int i = 0; i < 40; ++i)
            failures += parser.cacheData() ? 0 : 1;
    };
    std::thread pro(writer, BMFCPPrefParser());
    std::thread express(writer, BMFCPPrefParser::initWithFinalCutExpress());
    std::thread sibling([&] {
        for (int i = 0; i < 40; ++i)
            failures +=
                cache.replaceEntry(QStringLiteral("Sibling %1").arg(i % 4), {{QStringLiteral("n"), i}}) ? 0
                                                                                                        : 1;
    });
    pro.join();
    express.join();
    sibling.join();
    EXPECT_EQ(failures.load(), 0);
    const QVariantMap all = cache.read().value_or(QVariantMap());
    EXPECT_EQ(all.keys(), (QStringList{"Final Cut Express", "Final Cut Pro", "Sibling 0", "Sibling 1",
                                       "Sibling 2", "Sibling 3"}));
}

TEST_F(FcpPrefs, OneReaderServesOverlappingSearches) {
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:Shared").bytes());
    BMFCPPrefParser shared;
    std::atomic<int> wrong{0};
    auto search = [&] {
        for (int i = 0; i < 30; ++i) {
            // A load clears the paths before it fills them; no other thread may see that.
            shared.loadDataForTypes(QStringList{QStringLiteral("autoSaveVault")});
            wrong += shared.autosavePath() == QLatin1String("/Volumes/Media/Shared/Autosave Vault") ? 0 : 1;
        }
    };
    std::thread first(search);
    std::thread second(search);
    std::thread third(search);
    first.join();
    second.join();
    third.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_TRUE(shared.dataIsLoaded());
}
