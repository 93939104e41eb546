#include "editorprefs/BMPremiere.h"
#include "editorprefs/BMPremierePrefParser.h"
#include "editorprefs/EditorPrefsTest.h"
#include "editorprefs/InputFile.h"
#include "foundation/BMLocalPaths.h"
#include "support/Gzip.h"
#include "support/Tmpfs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

namespace {

const QByteArray kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PremiereData Version=\"3\">\n";

QByteArray preferencesXml(const QStringList& recentDocuments) {
    QString xml = "<Preferences ObjectID=\"1\" Version=\"28\"><Properties Version=\"1\">\n";
    for (int i = 0; i < recentDocuments.size(); ++i)
        xml += QStringLiteral("<BE.Prefs.MRU.Document.%1>%2</BE.Prefs.MRU.Document.%1>\n")
                   .arg(QString::number(i), recentDocuments[i]);
    return kHeader + xml.toUtf8() + "</Properties></Preferences>\n</PremiereData>\n";
}

// The capture location comes first and is no preview location.
QByteArray projectXml(const QString& video, const QString& audio) {
    return kHeader +
           QStringLiteral("<ScratchDiskSettings><CaptureVideoLocation>SameAsProject</CaptureVideoLocation>"
                          "<VideoPreviewLocation>%1</VideoPreviewLocation><AudioPreviewLocation>%2"
                          "</AudioPreviewLocation></ScratchDiskSettings></PremiereData>")
               .arg(video, audio)
               .toUtf8();
}

// As projects saved since Premiere Pro 2019 hold them (the keys in their order there).
QByteArray newerProjectXml(const QString& video, const QString& audio, const QString& autoSave,
                           const char* autoSaveKey = "AutoSaveLocation0") {
    return kHeader + QStringLiteral("\t<ScratchDiskSettings ObjectID=\"9\" Version=\"4\">\n"
                                    "\t\t<CapturedVideoLocation0>/Volumes/Capture</CapturedVideoLocation0>\n"
                                    "\t\t<VideoPreviewLocation0>%1</VideoPreviewLocation0>\n"
                                    "\t\t<AudioPreviewLocation0>%2</AudioPreviewLocation0>\n"
                                    "\t\t<%4>%3</%4>\n\t</ScratchDiskSettings>\n</PremiereData>\n")
                         .arg(video, audio, autoSave, QLatin1String(autoSaveKey))
                         .toUtf8();
}

} // namespace

class Premiere : public EditorPrefsTest {
protected:
    QString prefsFile(const QString& version) const {
        return appSupport() + QStringLiteral("/Adobe/Premiere Pro/%1/Adobe Premiere Pro Prefs").arg(version);
    }
    QString defaultFolder(const QString& version) const {
        return documents() + "/Adobe/Premiere Pro/" + version;
    }
    QString project(const QString& relative, const QString& video, const QString& audio = "MyDocuments") {
        return writeFile(home().root() + QLatin1Char('/') + relative, projectXml(video, audio));
    }
    QString apps() const { return home().machineRoot() + "/Applications"; }
    QString app(const QString& relative, const QVariantMap& info, bool binary = false) {
        return makeApplication(apps() + "/" + relative + ".app", info, binary);
    }
    void configuration(const QString& entry, const QByteArray& version) {
        writeFile(apps() + "/" + entry + "/Configuration/XManConfig.xml",
                  "<?xml version=\"1.0\"?><Configuration><VariableForExMan>"
                  "<Data key=\"Other\">1</Data><Data key=\"ProductVersion\">" +
                      version + "</Data></VariableForExMan></Configuration>");
    }
};

TEST_F(Premiere, ReadsThePreviewLocationsOfRecentProjects) {
    const QString first = writeFile(home().root() + "/Projects/Cut/first.prproj",
                                    gzipCompressed(projectXml("/Volumes/Media/Previews", "")));
    const QString second = project("Projects/Other/second.prproj", "SameAsProject", "/Volumes/Audio");
    writeFile(prefsFile("8.0"), preferencesXml({first, home().root() + "/gone.prproj", second}));
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks({"8.0.0"}),
              (QStringList{"/Volumes/Media/Previews", home().root() + "/Projects/Other"}));

    // The special locations, each folder once; an empty one gives nothing.
    const QString same = project("A/same.prproj", "SameAsProject", "SameAsProject");
    const QString mine = project("B/mine.prproj", "MyDocuments");
    writeFile(prefsFile("7.0"), preferencesXml({same, mine, same, project("C/empty.prproj", "")}));
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks({"7.0"}),
              (QStringList{home().root() + "/A", defaultFolder("7.0")}));
}

// Compressed or not is told by the data: the names are the same.
TEST_F(Premiere, TheNewerKeysAddFoldersAfterWhatTheOldNamesFind) {
    const QString newer =
        writeFile(home().root() + "/New/new.prproj",
                  gzipCompressed(newerProjectXml("/Volumes/Newer", "MyDocuments", "SameAsProject")));
    const QString old = project("Old/old.prproj", "/Volumes/Old");
    const QString saves =
        writeFile(home().root() + "/S/s.prproj",
                  newerProjectXml("", "/Volumes/Newer", "/Volumes/Saves", "AutoSaveLocation"));
    writeFile(prefsFile("7.0"), preferencesXml({newer, old, saves}));
    const QStringList scratch{"/Volumes/Old", "/Volumes/Newer", defaultFolder("7.0")};
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks({"7.0"}), scratch);
    const QStringList autoSaveFolders = scratch + QStringList{home().root() + "/New", "/Volumes/Saves"};
    QStringList expected;
    for (const QString& folder : autoSaveFolders)
        expected << folder + "/Adobe Premiere Pro Auto-Save";
    EXPECT_EQ(BMPremierePrefParser::recentAutosavePaths({"7.0"}), expected);
    EXPECT_FALSE(BMPremierePrefParser::recentRenderPaths({"7.0"}).contains(
        home().root() + "/New/Adobe Premiere Pro Preview Files"))
        << "an auto-save location is no preview location";

    // Where only the newer keys name anything, the old fallback still comes first.
    writeFile(prefsFile("8.0"), preferencesXml({newer}));
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks({"8.0"}),
              (QStringList{defaultFolder("8.0"), "/Volumes/Newer"}));
}

TEST_F(Premiere, FastQueryTakesTheProjectsFoldersWithoutReadingThem) {
    const QString a = project("A/a.prproj", "/Volumes/Never/Read");
    const QString b = writeFile(home().root() + "/B/b.prproj", "not even XML");
    writeFile(prefsFile("7.0"), preferencesXml({a, b}));
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks({"7.0"}, BMPremierePrefParser::Query::Fast),
              (QStringList{home().root() + "/A", home().root() + "/B"}));
}

TEST_F(Premiere, FallsBackToAProfilePreferenceFileUnderDocuments) {
    const QString a = project("A/a.prproj", "/Volumes/Profiled");
    const QString profile = documents() + "/Adobe/Premiere Pro/7.0/Profile-jo/Adobe Premiere Pro Prefs";
    writeFile(profile, preferencesXml({a}));
    EXPECT_EQ(BMPremierePrefParser::findPreferenceFile("7.0"), profile);
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks({"7.0"}), QStringList{"/Volumes/Profiled"});
}

struct FailureRow {
    const char* name;
    QByteArray preferences; // "%1" stands for the project path
    QByteArray project;
    const char* logged;
};

class PremiereFailure : public Premiere, public ::testing::WithParamInterface<FailureRow> {};

// Without Premiere and without versions asked for, version 7.0 is read.
TEST_P(PremiereFailure, IsLoggedAndGivesTheDefaultFolder) {
    const QString projectPath = home().root() + "/P/p.prproj";
    if (!GetParam().project.isNull())
        writeFile(projectPath, GetParam().project);
    else
        QDir().mkpath(projectPath);
    if (!GetParam().preferences.isNull())
        writeFile(prefsFile("7.0"), QByteArray(GetParam().preferences).replace("%1", projectPath.toUtf8()));
    EXPECT_EQ(BMPremierePrefParser::recentScratchDisks(), QStringList{defaultFolder("7.0")});
    const QString logged =
        QString::fromLatin1(GetParam().logged).replace("%1", prefsFile("7.0")).replace("%2", projectPath);
    EXPECT_TRUE(logText().contains(logged)) << logText().toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Files, PremiereFailure,
    ::testing::Values(FailureRow{"NoPreferenceFile", QByteArray(), "", "No preference file exists at %1."},
                      FailureRow{"PreferencesNotXml", "<PremiereData><unclosed>", "",
                                 "Error loading Adobe Premiere preference XML: "},
                      FailureRow{"ProjectNotXml", preferencesXml({"%1"}), "<PremiereData",
                                 "Error loading Adobe Premiere project XML: "},
                      FailureRow{"CompressedProjectTruncated", preferencesXml({"%1"}),
                                 gzipCompressed(projectXml("/v", "/a")).chopped(9),
                                 "Error loading Adobe Premiere project data: The compressed file %2 cannot "
                                 "be read: it is truncated."},
                      FailureRow{"CompressedProjectDamaged", preferencesXml({"%1"}),
                                 gzipCompressed(projectXml("/v", "/a")).replace(10, 1, "\xff"),
                                 "The compressed file %2 cannot be read: it is damaged ("},
                      FailureRow{"ProjectIsAFolder", preferencesXml({"%1"}), QByteArray(),
                                 "Error loading Adobe Premiere project data: "},
                      FailureRow{"ProjectWithoutScratchSettings", preferencesXml({"%1"}), "<PremiereData/>",
                                 "Getting Premiere preview locations..."},
                      FailureRow{"NoRecentDocuments", preferencesXml({}), "",
                                 "Checking for recent scratch disks..."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Premiere, AppendsTheAutoSaveAndPreviewFolderNamesOncePerFolder) {
    const QString a = project("A/a.prproj", "/Volumes/Shared");
    const QString b = project("B/b.prproj", "/Volumes/Shared");
    writeFile(prefsFile("7.0"), preferencesXml({a}));
    writeFile(prefsFile("8.0"), preferencesXml({b}));
    const QStringList versions{"7.0", "8.0", "9.0"};
    EXPECT_EQ(BMPremierePrefParser::recentAutosavePaths(versions),
              (QStringList{"/Volumes/Shared/Adobe Premiere Pro Auto-Save",
                           defaultFolder("9.0") + "/Adobe Premiere Pro Auto-Save"}));
    EXPECT_EQ(BMPremierePrefParser::recentRenderPaths(versions),
              (QStringList{"/Volumes/Shared/Adobe Premiere Pro Preview Files",
                           defaultFolder("9.0") + "/Adobe Premiere Pro Preview Files"}));
}

TEST_F(Premiere, SetsTextsAndKeepsTheRestOfTheFile) {
    const QByteArray original = preferencesXml({"/old/a.prproj", "/old/b.prproj"});
    writeFile(prefsFile("7.0"), original);
    EXPECT_TRUE(BMPremierePrefParser::setStringValue(
        "/new & improved.prproj", "//*[starts-with(name(),'BE.Prefs.MRU.Document.')]", "7.0.0"));
    QFile file(prefsFile("7.0"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QByteArray expected = original;
    expected.replace("/old/a.prproj", "/new &amp; improved.prproj")
        .replace("/old/b.prproj", "/new &amp; improved.prproj");
    // White space outside the root element is not kept.
    expected.replace("?>\n<", "?><").chop(1);
    EXPECT_EQ(file.readAll(), expected);

    EXPECT_FALSE(BMPremierePrefParser::setStringValue("x", "//*[", "7.0"));
    EXPECT_FALSE(BMPremierePrefParser::setStringValue("x", "//a", "5.5")) << "no such file";

    // On a full disk the editor's file stays as it was, never replaced by an empty one.
    const QString folder = QFileInfo(prefsFile("7.0")).absolutePath();
    const QByteArray before = readFile(prefsFile("7.0"));
    Tmpfs volume(folder, "size=64k");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    writeFile(prefsFile("7.0"), before);
    volume.fill();
    EXPECT_FALSE(
        BMPremierePrefParser::setStringValue("/x.prproj", "//*[starts-with(name(),'BE.Prefs')]", "7.0"));
    EXPECT_EQ(readFile(prefsFile("7.0")), before);
}

TEST_F(Premiere, ReadBundlesThenConfigurationFiles) {
    const QString cs5 = app("Adobe Premiere Pro CS5/Adobe Premiere Pro CS5",
                            {{"CFBundleVersionString", "5.0.3"}, {"CFBundleVersion", "5.0.0"}});
    app("adobe premiere pro CS5.5/adobe premiere pro CS5.5", {{"CFBundleVersion", "5.5.0"}}, true);
    configuration("Adobe Premiere Pro CS4", "4.2");
    app("Adobe After Effects/Adobe After Effects", {{"CFBundleVersion", "9.0"}});
    EXPECT_TRUE(BMPremiere::premiereVersions().isEmpty()) << "nothing registered";
    home().platform().applications.insert("com.adobe.AdobePremierePro", cs5);
    EXPECT_EQ(BMPremiere::premiereVersions(), (QStringList{"4.2", "5.0.3", "5.5.0"}));
}

TEST_F(Premiere, SuitesCutBundleVersionsToTwoParts) {
    configuration("Adobe Premiere Pro CS3", "3.0");
    const QString suite =
        app("Adobe Premiere Pro 2.5/Adobe Premiere Pro 2.5", {{"CFBundleVersion", "2.5.1.7"}});
    app("Adobe Premiere Pro 2.5/Adobe Premiere Pro Extra", {{"CFBundleVersion", "2.6"}});
    app("Adobe Premiere Elements/Adobe Premiere Pro Tool", {{"CFBundleVersion", "11"}});
    home().platform().applications.insert("com.adobe.AdobePremierePro", suite);
    EXPECT_EQ(BMPremiere::suiteVersions(), (QStringList{"11", "2.5", "2.6", "3.0"}));
}

TEST_F(Premiere, ReadsOutsideFilesOnlyUpToTheLimit) {
    const QByteArray zeros(4 << 20, '\0');
    const QByteArray packed = gzipCompressed(zeros);
    EXPECT_EQ(InputFile::gunzip(packed, 4 << 20), zeros);
    QString error;
    EXPECT_FALSE(InputFile::gunzip(packed, 1 << 20, &error));
    EXPECT_EQ(error, QStringLiteral("The compressed data cannot be read: it inflates to more than %1 bytes.")
                         .arg(1 << 20));

    // Inflated piece by piece as it is read: data that does not compress spans several pieces.
    QByteArray noise(3 * InputFile::pieceSize + 5, '\0');
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
    noise.append(QByteArray(InputFile::pieceSize, 'z'));
    const QString compressed = writeFile(home().root() + "/noise.prproj", gzipCompressed(noise));
    ASSERT_GT(QFileInfo(compressed).size(), 3 * InputFile::pieceSize);
    EXPECT_EQ(InputFile::readMaybeCompressed(compressed, noise.size()), noise);
    EXPECT_FALSE(InputFile::readMaybeCompressed(compressed, noise.size() - 1, &error));
    EXPECT_EQ(error,
              QStringLiteral("The compressed file %1 cannot be read: it inflates to more than %2 bytes.")
                  .arg(compressed)
                  .arg(noise.size() - 1));

    const QString path = writeFile(home().root() + "/big", QByteArray(1000, 'x'));
    EXPECT_EQ(InputFile::readAll(path, 1000)->size(), 1000);
    EXPECT_FALSE(InputFile::readAll(path, 999, &error));
    EXPECT_EQ(error, QStringLiteral("The file %1 is larger than 999 bytes.").arg(path));
}

TEST_F(Premiere, SearchesSpotlightForFoldersByName) {
    const QString found = home().makeFolder("disk/Adobe Premiere Pro Auto-Save");
    const QString lower = home().makeFolder("disk2/adobe premiere pro auto-save");
    const QString tool = home().writeFile(
        "tools/plocate", "#!/bin/sh\nprintf '%s\\0' '" + found.toUtf8() + "' '" + lower.toUtf8() + "' '" +
                             home().makeFolder("disk3/Old Adobe Premiere Pro Auto-Save").toUtf8() + "'\n");
    QFile::setPermissions(tool, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    home().platform().setToolPath(Tool::Plocate, tool);
    home().platform().setToolPath(Tool::Locate, home().root() + "/missing");
    EXPECT_EQ(BMPremierePrefParser::spotlightSearchForFoldersWithName("Adobe Premiere Pro Auto-Save"),
              (QStringList{found, lower}));

    home().platform().setToolPath(Tool::Plocate, home().root() + "/missing");
    EXPECT_TRUE(BMPremierePrefParser::spotlightSearchForFoldersWithName("Autosave Vault").isEmpty());
    EXPECT_FALSE(logText().contains("folders called Autosave Vault")) << "no search, no log line";
}
