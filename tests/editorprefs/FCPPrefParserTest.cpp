#include "editorprefs/BMFCPPrefParser.h"
#include "editorprefs/EditorPrefsTest.h"
#include "editorprefs/FcsetScanner.h"
#include "editorprefs/SharedCacheFile.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/PlistFile.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cstring>
#include <sys/stat.h>

namespace {

// Synthetic Final Cut preference files: length-prefixed keys, noise, text and filler.
class FcsetBuilder {
public:
    // The key as the file stores it: one character holding the length, then the name.
    FcsetBuilder& key(const char* name, int prefix = -1) {
        m_bytes.append(char(prefix < 0 ? int(std::strlen(name)) : prefix));
        m_bytes.append(name);
        return *this;
    }
    FcsetBuilder& noise(int count) {
        static const char kNoise[] = {'\x01', '\x9c', '\x02', '\xff', '\x1f', '\x80'};
        for (int i = 0; i < count; ++i)
            m_bytes.append(kNoise[i % 6]);
        return *this;
    }
    FcsetBuilder& text(const QByteArray& text) {
        m_bytes.append(text);
        return *this;
    }
    FcsetBuilder& path(const QByteArray& path) { return noise(4).text(path).noise(4); }
    FcsetBuilder& fillerUntil(qsizetype position) {
        while (m_bytes.size() < position)
            m_bytes.append('x');
        return *this;
    }
    // Trailing noise, so that the last record is looked at too.
    QByteArray bytes() const { return m_bytes + QByteArray(32, '\x01'); }

private:
    QByteArray m_bytes;
};

using Found = QList<QPair<QString, QStringList>>;

// The whole file at once, or fed in pieces of the given size.
Found scan(const QByteArray& bytes, std::optional<QStringList> types = std::nullopt,
           qsizetype pieceSize = 0) {
    Found found;
    FcsetScanner scanner(
        std::move(types), [&](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
            found.append({QString::fromLatin1(key.name), FcsetScanner::toStrings(candidates)});
        });
    const qsizetype piece = pieceSize > 0 ? pieceSize : std::max<qsizetype>(bytes.size(), 1);
    for (qsizetype at = 0;
         at < bytes.size() &&
         scanner.feed(QByteArrayView(bytes.constData() + at, std::min(piece, bytes.size() - at)));
         at += piece) {
    }
    scanner.finish();
    return found;
}

const QByteArray kHomeVault("Macintosh HD:Users:jo:Documents:Autosave Vault");

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

TEST(FcsetScanner, AcceptsExactlyTheListedCharacters) {
    const QByteArray accepted("AZaz09!@#$%^&*()-_=+[{]}\\|'\";:/?.>,<`~ ");
    for (const int c : accepted + QByteArray("\0\xA7\xB1", 3))
        EXPECT_TRUE(FcsetScanner::isAccepted(static_cast<unsigned char>(c))) << c;
    for (const int c : {1, 9, 10, 13, 15, 31, 127, 0x80, 0xA6, 0xE9, 0xFF})
        EXPECT_FALSE(FcsetScanner::isAccepted(static_cast<unsigned char>(c))) << c;
}

TEST(FcsetScanner, GathersMaximalRunsAndNeverTheKeyNames) {
    FcsetBuilder builder;
    builder.noise(3).key("waveform").noise(2).text("render").noise(2);
    builder.text("Media:Very Long Folder Name:Waveforms")
        .noise(3)
        .text("searchLocations")
        .noise(1)
        .text("tail");
    EXPECT_EQ(scan(builder.bytes()),
              (Found{{"waveform", {"Media:Very Long Folder Name:Waveforms", "tail"}}}));
    // What follows the next key belongs to that key.
    EXPECT_EQ(scan(FcsetBuilder().key("capture").path("Media:Cap").key("render").path("Media:R").bytes()),
              (Found{{"capture", {"Media:Cap"}}, {"render", {"Media:R"}}}));
}

TEST(FcsetScanner, StopsOnceEveryRequestedKeyIsFinished) {
    FcsetBuilder builder;
    builder.key("autoSaveVault").path("Media:Vault").fillerUntil(450).noise(2).key("render").path("Media:R");
    EXPECT_EQ(scan(builder.bytes()).size(), 2);
    const Found only = scan(builder.bytes(), QStringList{"\rautoSaveVault"});
    ASSERT_EQ(only.size(), 1);
    EXPECT_EQ(only[0].first, "autoSaveVault");
}

TEST(FcsetScanner, NeedsSeventeenCharactersForAProbe) {
    // A probe is fifteen characters and the scan stops sixteen before the end.
    EXPECT_TRUE(scan(QByteArray("\x06render") + QByteArray(8, 'x')).isEmpty());
    EXPECT_EQ(scan(QByteArray("\x06render") + QByteArray(10, 'x')).size(), 1);
}

TEST(FcsetScanner, PiecesGiveTheSameResultAsTheWholeFile) {
    FcsetBuilder builder;
    builder.noise(5).key("audiorender").path("Media:Audio Renders Of A Long Project");
    builder.noise(300).key("render").path("Macintosh HD:Users:jo:Render Files");
    builder.noise(500).key("thumbnail").noise(200).path("Other:Thumbs");
    builder.noise(300).key("autoSaveVault").path("Media:Vault");
    const Found whole = scan(builder.bytes());
    ASSERT_EQ(whole.size(), 4);
    for (const int size : {1, 2, 15, 16, 17, 31, 400, 4096})
        EXPECT_EQ(scan(builder.bytes(), std::nullopt, size), whole) << size;
}

TEST(FcsetScanner, HostileFilesEndWithBoundedCandidates) {
    QByteArray random(4 << 20, 0);
    QRandomGenerator(20261122).fillRange(reinterpret_cast<quint32*>(random.data()), random.size() / 4);
    QByteArray backToBack;
    while (backToBack.size() < (1 << 20))
        backToBack.append("\x06render\x0d"
                          "autoSaveVault\x07"
                          "capture:");
    const QByteArray endlessPath = QByteArray("\x0d"
                                              "autoSaveVault") +
                                   QByteArray(1 << 20, ':');
    for (const QByteArray& bytes : {random, QByteArray(1 << 20, '\0'), backToBack, endlessPath}) {
        qsizetype largest = 0;
        int keys = 0;
        FcsetScanner::scan(bytes, std::nullopt,
                           [&](const FcsetScanner::Key&, const QList<QByteArrayView>& candidates) {
                               ++keys;
                               qsizetype total = 0;
                               for (const QByteArrayView candidate : candidates)
                                   total += candidate.size();
                               largest = std::max(largest, total);
                           });
        // Gathering covers at most the 401 positions after a key plus one probe.
        EXPECT_LE(largest, FcsetScanner::finishDistance + FcsetScanner::probeLength);
        EXPECT_LE(keys, bytes.size() / 7 + 1);
    }
}

class FcpPrefs : public EditorPrefsTest {
protected:
    void SetUp() override {
        EditorPrefsTest::SetUp();
        installApplication("Final Cut Pro.app", "7.0.3");
    }

    QString applications() const { return BMLocalPaths::applicationDirectory(false); }
    QString installApplication(const QString& relative, const QString& version, bool binary = false) {
        return makeApplication(applications() + QLatin1Char('/') + relative,
                               {{"CFBundleShortVersionString", version}}, binary);
    }
    QString prefsPath(const QString& version = "7.0") const {
        return preferences() +
               QStringLiteral("/Final Cut Pro User Data/Final Cut Pro %1 Prefs.fcset").arg(version);
    }
    // A new file gets a date of its own, so that no cached answer stands for it.
    void writePrefs(const QByteArray& bytes) const {
        static qint64 seconds = 1000000;
        writeFile(prefsPath(), bytes);
        setModified(prefsPath(), QDateTime::fromSecsSinceEpoch(++seconds, Qt::UTC));
    }
    QString defaultRoot() const { return documents() + "/Final Cut Pro Documents"; }

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

// The file is named by the first character of each part of the version.
TEST_F(FcpPrefs,
       FindsTheApplicationHereInTheStudioFolderOrThroughThePlatformAndKeepsTheVersionsFirstCharacters) {
    const std::tuple<QString, bool, QString> rows[] = {
        {"10.1", false, "1.0"}, {"6.0.6", true, "6.0"}, {"5", false, "5.0"}};
    for (const auto& [shortVersion, binaryInfo, fileVersion] : rows) {
        installApplication("Final Cut Pro.app", shortVersion, binaryInfo);
        EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath(fileVersion))
            << shortVersion.toStdString();
    }

    installApplication("Final Cut Studio/Final Cut Pro.app", "6.0.5");
    EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath("6.0"));
    ASSERT_TRUE(QDir(applications()).removeRecursively());
    EXPECT_TRUE(BMFCPPrefParser().preferenceFilePath().isNull());
    const QString elsewhere =
        makeApplication(home().root() + "/elsewhere", {{"CFBundleShortVersionString", "7.0.3"}});
    home().platform().applications.insert("com.apple.FinalCutPro", elsewhere);
    EXPECT_EQ(BMFCPPrefParser().preferenceFilePath(), prefsPath("7.0"));

    installApplication("Final Cut Express.app", "4.0.1");
    BMFCPPrefParser express = BMFCPPrefParser::initWithFinalCutExpress();
    EXPECT_EQ(express.preferenceFilePath(),
              preferences() + "/Final Cut Express User Data/Final Cut Express 4.0 Prefs.fcset");
    EXPECT_EQ(express.defaultRootFolder(), documents() + "/Final Cut Express Documents");
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

    const QString info = applications() + "/Final Cut Pro.app/Contents/Info.plist";
    writeFile(info, "not a property list");
    BMFCPPrefParser broken;
    broken.setAutosavePath("/left/over");
    EXPECT_TRUE(broken.preferenceFilePath().isNull());
    EXPECT_TRUE(broken.autosavePath().isNull()) << "every path is cleared";
    writeFile(info, PlistFile::toXml(QVariantMap{{"CFBundleShortVersionString", QString()}}));
    EXPECT_TRUE(BMFCPPrefParser().preferenceFilePath().isNull());
    const QString console = QString::fromStdString(testing::internal::GetCapturedStdout());
    EXPECT_EQ(
        console.count(QStringLiteral("Unable to load Final Cut Pro preference file %1\n").arg(prefsPath())),
        2)
        << console.toStdString();
    EXPECT_TRUE(console.contains("Unable to find Final Cut Pro info plist.\n"));
    EXPECT_TRUE(console.contains("Unable to locate Final Cut Pro version number.\n"));
}

// The vault, filler up to `filler` or `noise` noise, the render key; a search key halfway if asked.
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

TEST_F(FcpPrefs, EachKeyStoresItsPathWithItsFolderNameAndAKeyBehindMegabytesOfBinaryIsRead) {
    FcsetBuilder builder;
    QStringList expected;
    for (const char* key : {"scratch", "render", "audiorender", "capture", "audiocapture", "waveform",
                            "thumbnail", "autoSaveVault"}) {
        builder.key(key).path(QByteArray("Media:") + key);
        expected << QString("/Volumes/Media/") + key + kFolders[expected.size()];
    }
    writePrefs(builder.bytes());
    EXPECT_EQ(allPaths(loaded()), expected);

    QByteArray bytes(9 << 20, 0);
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    // Random bytes can look like a key; make sure none does.
    for (char& c : bytes)
        c = (c >= 6 && c <= 15) ? char(1) : c;
    writePrefs(bytes + FcsetBuilder().key("autoSaveVault").path("Media:Deep").bytes());
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/Deep/Autosave Vault");
}

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
    home().platform().bootVolume = "Work";
    EXPECT_EQ(BMFCPPrefParser::formatPath("Work:Users:jo"), "/Users/jo");
    EXPECT_EQ(BMFCPPrefParser::formatPath("Macintosh HD:Users:jo"), "/Volumes/Macintosh HD/Users/jo");
}

TEST_F(FcpPrefs, PutsMissingFoldersUnderDocumentsOrBesideTheirSiblings) {
    BMFCPPrefParser parser;
    parser.setupDefaults();
    QStringList defaults;
    for (const QString& folder : kFolders)
        defaults << defaultRoot() + folder;
    EXPECT_EQ(allPaths(parser), defaults);
    BMFCPPrefParser partial;
    partial.setCaptureScratchPath("/Volumes/Cap/Media/Capture Scratch");
    partial.setAudioRenderPath("/Volumes/R/Audio Render Files");
    partial.setThumbnailCachePath("/Volumes/T/Thumbnail Cache Files");
    partial.setupDefaults();
    EXPECT_EQ(allPaths(partial),
              (QStringList{"/Volumes/Cap/Media", "/Volumes/R/Render Files", "/Volumes/R/Audio Render Files",
                           "/Volumes/Cap/Media/Capture Scratch", "/Volumes/Cap/Media/Audio Capture Scratch",
                           "/Volumes/T/Waveform Cache Files", "/Volumes/T/Thumbnail Cache Files",
                           "/Volumes/T/Autosave Vault"}));
}

TEST_F(FcpPrefs, ReadsOnlyTheCacheWhileThePreferenceFileIsUnchanged) {
    EXPECT_EQ(QFileInfo(BMFCPPrefParser::cacheFilePath()).fileName(), "com.brightmoor.Wayfind.cache.plist");
    // Other programs' entries are kept; a damaged file is replaced.
    const SharedCacheFile cache(BMFCPPrefParser::cacheFilePath());
    ASSERT_TRUE(cache.replaceEntry("Final Cut Express", {{"render", "/x"}}));
    writePrefs(FcsetBuilder().key("autoSaveVault").path("Media:First").bytes());
    const QDateTime written = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    setModified(prefsPath(), written);
    EXPECT_EQ(loaded().autosavePath(), "/Volumes/Media/First/Autosave Vault");

    EXPECT_EQ(cache.entry("Final Cut Express"), (QVariantMap{{"render", "/x"}}));
    const QVariantMap entry = cache.entry("Final Cut Pro");
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
