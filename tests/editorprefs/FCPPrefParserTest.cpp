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

namespace {

const QByteArray kHomeVault("Macintosh HD:Users:jo:Documents:Autosave Vault");

// Every path the reader holds, in one list, and the folder names that complete them.
QStringList allPaths(const BMFCPPrefParser& p) {
    return QStringList() << p.scratchPath() << p.renderPath() << p.audioRenderPath() << p.captureScratchPath()
                         << p.audioCaptureScratchPath() << p.waveformCachePath() << p.thumbnailCachePath()
                         << p.autosavePath();
}
const QStringList kFolders =
    QStringLiteral("|/Render Files|/Audio Render Files|/Capture Scratch|/Audio Capture Scratch"
                   "|/Waveform Cache Files|/Thumbnail Cache Files|/Autosave Vault")
        .split(QLatin1Char('|'));

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
    // A new file gets a date of its own, so that no cached answer stands for it.
    void writePrefs(const QByteArray& bytes) const {
        static qint64 seconds = 1000000;
        writeFile(prefsPath(), bytes);
        setModified(prefsPath(), QDateTime::fromSecsSinceEpoch(++seconds, Qt::UTC));
    }
    QString defaultRoot() const { return documents() + QStringLiteral("/Final Cut Pro Documents"); }

    // A fresh reader over the file as it is now.
    static BMFCPPrefParser loaded() {
        BMFCPPrefParser parser;
        parser.loadDataForTypes(std::nullopt);
        return parser;
    }
    static void setModified(const QString& path, const QDateTime& date) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(date, QFileDevice::FileModificationTime));
    }
};

// ---- Finding the preference file -------------------------------------------------------

TEST_F(FcpPrefs, KeepsOnlyTheFirstCharacterOfTheVersion) {
    const std::tuple<QString, bool, QString> rows[] = {
        {"10.1", false, "1.0"}, {"6.0.6", true, "6.0"}, {"5", false, "5.0"}};
    for (const auto& [shortVersion, binaryInfo, fileVersion] : rows) {
        installApplication(QStringLiteral("Final Cut Pro.app"), shortVersion, binaryInfo);
        EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath(fileVersion))
            << shortVersion.toStdString();
    }
}

TEST_F(FcpPrefs, FindsTheApplicationInTheStudioFolderOrThroughThePlatform) {
    installApplication(QStringLiteral("Final Cut Studio/Final Cut Pro.app"), QStringLiteral("6.0.5"));
    EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath(QStringLiteral("6.0")));
    ASSERT_TRUE(QDir(applications()).removeRecursively());
    EXPECT_TRUE(BMFCPPrefParser().preferenceFilePath().isNull());
    const QString elsewhere = makeApplication(home().root() + QStringLiteral("/elsewhere"),
                                              {{QStringLiteral("CFBundleShortVersionString"), "7.0.3"}});
    home().platform().applications.insert(QStringLiteral("com.apple.FinalCutPro"), elsewhere);
    EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath(QStringLiteral("7.0")));

    installApplication(QStringLiteral("Final Cut Express.app"), QStringLiteral("4.0.1"));
    BMFCPPrefParser express = BMFCPPrefParser::initWithFinalCutExpress();
    EXPECT_TRUE(express.isFCE());
    EXPECT_EQ(express.preferenceFilePath(),
              preferences() +
                  QStringLiteral("/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset"));
    EXPECT_EQ(express.defaultRootFolder(), documents() + QStringLiteral("/Final Cut Express Documents"));
}

TEST_F(FcpPrefs, ReportsWhatCannotBeReadOnTheConsoleAndLeavesEveryPathEmpty) {
    testing::internal::CaptureStdout();
    const BMFCPPrefParser missing = loaded();
    EXPECT_TRUE(allPaths(missing).join(QString()).isEmpty());
    EXPECT_FALSE(missing.dataIsLoaded());
    // A named pipe is refused without waiting for a writer.
    QDir().mkpath(QFileInfo(prefsPath()).path());
    ASSERT_EQ(::mkfifo(QFile::encodeName(prefsPath()).constData(), 0644), 0);
    EXPECT_TRUE(loaded().autosavePath().isNull());

    const QString info = applications() + QStringLiteral("/Final Cut Pro.app/Contents/Info.plist");
    writeFile(info, "not a property list");
    BMFCPPrefParser broken;
    broken.setAutosavePath(QStringLiteral("/left/over"));
    EXPECT_TRUE(broken.preferenceFilePath().isNull());
    EXPECT_TRUE(broken.autosavePath().isNull()) << "every path is cleared";
    writeFile(info, PlistFile::toXml(QVariantMap{{QStringLiteral("CFBundleShortVersionString"), QString()}}));
    EXPECT_TRUE(BMFCPPrefParser().preferenceFilePath().isNull());
    const QString console = QString::fromStdString(testing::internal::GetCapturedStdout());
    EXPECT_EQ(
        console.count(QStringLiteral("Unable to load Final Cut Pro preference file %1\n").arg(prefsPath())),
        2)
        << console.toStdString();
    EXPECT_TRUE(console.contains("Unable to find Final Cut Pro info plist.\n"));
    EXPECT_TRUE(console.contains("Unable to locate Final Cut Pro version number.\n"));
}

// ---- Scanning ------------------------------------------------------------------------------

// The vault's path, then text up to the position or that much noise, and the render key; a
// search-locations key with the given length prefix halfway when asked.
static QByteArray renderAfter(int filler, int noise, int bridgePrefix = 0) {
    FcsetBuilder builder;
    builder.key("autoSaveVault").path("Media:Vault").noise(noise);
    if (bridgePrefix)
        builder.fillerUntil(filler / 2).noise(1).key("searchLocation", bridgePrefix).text("s").noise(1);
    return builder.fillerUntil(filler).key("render").path("Media:Renders").bytes();
}
const char* const kVault = "/Volumes/Media/Vault/Autosave Vault";
const char* const kRenders = "/Volumes/Media/Renders/Render Files";

struct ScanRow {
    const char* name;
    QByteArray file;
    const char* vault;                   // relative to the default root when it starts without "/"
    const char* render = "Render Files"; // likewise
};

class FcpPrefsScan : public FcpPrefs, public ::testing::WithParamInterface<ScanRow> {};

TEST_P(FcpPrefsScan, FindsThePaths) {
    writePrefs(GetParam().file);
    auto expected = [this](const char* path) {
        const QString text = QString::fromLatin1(path);
        return text.startsWith(QLatin1Char('/')) ? text : defaultRoot() + QLatin1Char('/') + text;
    };
    const BMFCPPrefParser parser = loaded();
    EXPECT_EQ(parser.autosavePath(), expected(GetParam().vault));
    EXPECT_EQ(parser.renderPath(), expected(GetParam().render));
}

INSTANTIATE_TEST_SUITE_P(
    Rules, FcpPrefsScan,
    ::testing::Values(
        ScanRow{"OnTheBootVolume", FcsetBuilder().key("autoSaveVault").path(kHomeVault).bytes(),
                "/Users/jo/Documents/Autosave Vault"},
        ScanRow{"ColonFirstAndColonLastAreNoPaths",
                FcsetBuilder().key("autoSaveVault").path(":Users").path("Users:").path("Media:Later").bytes(),
                "/Volumes/Media/Later/Autosave Vault"},
        ScanRow{"OnlyEdgeColonsLeaveTheDefault",
                FcsetBuilder().key("autoSaveVault").path(":Users").path("Users:").bytes(), "Autosave Vault"},
        // The last probe that gathers is at distance 400 from the key and reads 15 characters.
        ScanRow{"PathCutAtTheEndOfTheWindow",
                FcsetBuilder().key("autoSaveVault").noise(391).text("M:abcdefghijklmnop").noise(4).bytes(),
                "/Volumes/M/abcdefgh/Autosave Vault"},
        ScanRow{"PathBeyondTheWindowIgnored",
                FcsetBuilder().key("autoSaveVault").noise(420).text(kHomeVault).noise(4).bytes(),
                "Autosave Vault"},
        ScanRow{"KeyWithWrongPrefixIgnored", FcsetBuilder().key("autoSaveVault", 12).path(kHomeVault).bytes(),
                "Autosave Vault"},
        ScanRow{"SearchLocationStoresNothing",
                FcsetBuilder().key("searchLocation", 15).text("s").path("Media:Search").bytes(),
                "Autosave Vault"},
        // Whether the render key after the vault is still read.
        ScanRow{"Text601KeyStillFirst", renderAfter(601, 0), kVault, kRenders},
        ScanRow{"Text602EndsTheScan", renderAfter(602, 0), kVault},
        // Noise is skipped, but the probes before the key see its name.
        ScanRow{"Noise560", renderAfter(0, 560), kVault, kRenders},
        ScanRow{"Noise620EndsTheScan", renderAfter(0, 620), kVault},
        ScanRow{"SearchLocationKeyBridges", renderAfter(1000, 0, 15), kVault, kRenders},
        ScanRow{"FourteenPrefixIsNoKey", renderAfter(1000, 0, 14), kVault}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(FcpPrefs, EachKeyStoresItsPathWithItsFolderName) {
    FcsetBuilder builder;
    QStringList expected;
    for (const char* key : {"scratch", "render", "audiorender", "capture", "audiocapture", "waveform",
                            "thumbnail", "autoSaveVault"}) {
        builder.key(key).path(QByteArray("Media:") + key);
        expected << QStringLiteral("/Volumes/Media/") + key + kFolders[expected.size()];
    }
    writePrefs(builder.bytes());
    EXPECT_EQ(allPaths(loaded()), expected);
}

TEST_F(FcpPrefs, ReadsAKeyBehindMegabytesOfBinary) {
    QByteArray bytes(9 << 20, 0);
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    // Random bytes can look like a key; make sure none does.
    for (char& c : bytes)
        c = (c >= 6 && c <= 15) ? char(1) : c;
    writePrefs(bytes + FcsetBuilder().key("autoSaveVault").path("Media:Deep").bytes());
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/Deep/Autosave Vault");
}

// ---- Converting and completing paths -------------------------------------------------------

TEST_F(FcpPrefs, ConvertsClassicPaths) {
    const QList<std::pair<QByteArray, QString>> rows{
        {"Macintosh HD:Users:jo:Autosave Vault", "/Users/jo/Autosave Vault"},
        {"Media:FCP:Render Files", "/Volumes/Media/FCP/Render Files"},
        {QByteArray("\0Media\0:\0FCP\0\0", 14), "/Volumes/Media/FCP"},
        {"$Macintosh HD:Users:jo:Projects:Vault", "/Users/jo/Projects/Vault"},
        {"&Media:A", "/Volumes/&Media/A"},
        {"Macintosh HD", "/"},
        {"", "/Volumes/"}};
    for (const auto& [classic, posix] : rows)
        EXPECT_EQ(BMFCPPrefParser::formatPath(QString::fromLatin1(classic)), posix) << classic.constData();
    home().platform().bootVolume = QStringLiteral("Work");
    EXPECT_EQ(BMFCPPrefParser::formatPath(QStringLiteral("Work:Users:jo")), "/Users/jo");
    EXPECT_EQ(BMFCPPrefParser::formatPath(QStringLiteral("Macintosh HD:Users:jo")),
              "/Volumes/Macintosh HD/Users/jo");
}

TEST_F(FcpPrefs, PutsMissingFoldersUnderDocumentsOrBesideTheirSiblings) {
    BMFCPPrefParser parser;
    parser.setupDefaults();
    QStringList defaults;
    for (const QString& folder : kFolders)
        defaults << defaultRoot() + folder;
    EXPECT_EQ(allPaths(parser), defaults);
    BMFCPPrefParser partial;
    partial.setCaptureScratchPath(QStringLiteral("/Volumes/Cap/Media/Capture Scratch"));
    partial.setAudioRenderPath(QStringLiteral("/Volumes/R/Audio Render Files"));
    partial.setThumbnailCachePath(QStringLiteral("/Volumes/T/Thumbnail Cache Files"));
    partial.setupDefaults();
    EXPECT_EQ(allPaths(partial),
              (QStringList{"/Volumes/Cap/Media", "/Volumes/R/Render Files", "/Volumes/R/Audio Render Files",
                           "/Volumes/Cap/Media/Capture Scratch", "/Volumes/Cap/Media/Audio Capture Scratch",
                           "/Volumes/T/Waveform Cache Files", "/Volumes/T/Thumbnail Cache Files",
                           "/Volumes/T/Autosave Vault"}));
}

// ---- The shared cache ----------------------------------------------------------------------

TEST_F(FcpPrefs, ReadsOnlyTheCacheWhileThePreferenceFileIsUnchanged) {
    EXPECT_EQ(QFileInfo(BMFCPPrefParser::cacheFilePath()).fileName(), "com.brightmoor.Wayfind.cache.plist");
    // Other programs' entries are kept; a damaged file is replaced.
    const SharedCacheFile cache(BMFCPPrefParser::cacheFilePath());
    ASSERT_TRUE(cache.replaceEntry(QStringLiteral("Final Cut Express"), {{"render", "/x"}}));
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:First").bytes());
    const QDateTime written = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    setModified(prefsPath(), written);
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/First/Autosave Vault");

    EXPECT_EQ(cache.entry(QStringLiteral("Final Cut Express")), (QVariantMap{{"render", "/x"}}));
    const QVariantMap entry = cache.entry(QStringLiteral("Final Cut Pro"));
    EXPECT_EQ(entry.value("modDate").toDateTime(), written);
    EXPECT_EQ(entry.value("autosaveVault").toString(), "/Volumes/Media/First/Autosave Vault");
    EXPECT_EQ(entry.value("render").toString(), defaultRoot() + "/Render Files");

    // Different contents with the same date: only the cache is read.
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:Second").bytes());
    setModified(prefsPath(), written);
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/First/Autosave Vault");

    setModified(prefsPath(), written.addSecs(60));
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/Second/Autosave Vault");

    writeFile(BMFCPPrefParser::cacheFilePath(), QByteArray(100, '\xff'));
    setModified(prefsPath(), written);
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/Second/Autosave Vault");
    EXPECT_TRUE(BMFCPPrefParser().loadCacheData()) << "the damaged cache is replaced";
}
