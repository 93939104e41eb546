#include "FileOpsFixture.h"
#include "Tmpfs.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"

#include <QDir>
#include <QFileInfo>

#include <memory>
#include <thread>
#include <vector>

class Settings : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        store = std::make_unique<BMSettings>([this] { return userFile(); }, [this] { return wideFile(); });
        store->registerDefaults(BMSettings::applicationDefaults());
    }
    static constexpr const char* kUserFile = ".config/com.brightmoor.Vestry.plist";
    QString userFile() const { return home().home() + '/' + kUserFile; }
    QString wideFile() const { return home().machineRoot() + "/etc/xdg/com.brightmoor.Vestry.plist"; }

    std::unique_ptr<BMSettings> store;
};

TEST_F(Settings, FreshAccountReadsTheDefaultsWhichNeverOverwriteStoredValuesAndTypedReadsConvert) {
    EXPECT_EQ(store->integerValue(SettingsKey::autoRemoveCriteriaAge), 30);
    EXPECT_FALSE(store->boolValue(SettingsKey::autoClean));
    // No default: absent. The clean-up set has no total count.
    EXPECT_TRUE(store->stringValue(SettingsKey::autosaveFolder).isNull());
    EXPECT_FALSE(
        store->hasValue(SettingsKey::autosaveFolder) || store->hasValue(SettingsKey::sortedDescending) ||
        store->hasValue("autoCleanCriteriaTotalCount") || store->hasValue("autoCleanUseCriteriaTotalCount"));
    EXPECT_FALSE(QFileInfo::exists(userFile())); // reading writes nothing

    ASSERT_TRUE(store->setValue(SettingsKey::autoRemoveCriteriaAge, 7));
    store->registerDefaults(BMSettings::applicationDefaults());
    EXPECT_EQ(store->integerValue(SettingsKey::autoRemoveCriteriaAge), 7);
    store->setValue("text", "YES");
    store->setValue("number", "12");
    store->setValue("mixed", QVariantList{"a", 3});
    EXPECT_EQ(store->integerValue("number"), 12);
    EXPECT_EQ(store->stringValue(SettingsKey::autoRemoveCriteriaAge), "7");
    EXPECT_TRUE(store->boolValue("text") && store->stringListValue("mixed").isEmpty() &&
                store->hasValue("mixed"));
}

TEST_F(Settings,
       ChangesAreOnDiskAsAnXmlPlistAtOnceSynchronizeReadsOtherWritersBinaryListsAndUnknownKeysStay) {
    store->setValue(SettingsKey::autosavePaths, QStringList{"/a/Autosave Vault", "/b/Avid Attic"});
    store->setValue(SettingsKey::sortedDescending, true);
    EXPECT_TRUE(readFile(userFile()).startsWith("<?xml"));
    BMSettings other([this] { return userFile(); });
    EXPECT_EQ(other.stringListValue(SettingsKey::autosavePaths),
              (QStringList{"/a/Autosave Vault", "/b/Avid Attic"}));
    EXPECT_TRUE(other.boolValue(SettingsKey::sortedDescending));
    PlistFile::writeXml(userFile(), QVariantMap{{"sortedDescending", false}});
    EXPECT_TRUE(store->boolValue(SettingsKey::sortedDescending)); // until asked to look again
    EXPECT_TRUE(store->synchronize());
    EXPECT_FALSE(store->boolValue(SettingsKey::sortedDescending));
    EXPECT_FALSE(PlistFile::readDictionary(home().home() + "/.config").has_value()) << "a folder is no list";

    // A binary list is read too, and keys unknown here are kept.
    home().writeHomeFile(kUserFile, binaryPlist(QVariantMap{{"manualPaths", QVariantList{"/x/Avid Attic"}},
                                                            {"somethingElse", "kept"}}));
    ASSERT_TRUE(store->synchronize());
    EXPECT_EQ(store->stringListValue(SettingsKey::manualPaths), QStringList{"/x/Avid Attic"});
    store->setValue(SettingsKey::autoClean, true);
    EXPECT_EQ(PlistFile::readDictionary(userFile())->value("somethingElse").toString(), "kept");
}

TEST_F(Settings, EachFileThatCannotBeParsedIsSetAsideUnderANewNameThatTheMessageGives) {
    const QDir folder(QFileInfo(userFile()).path());
    BMLog::createNewLog();
    QStringList messages;
    for (const QByteArray& broken :
         {QByteArray("this is not a property list"), QByteArray("<plist><dict>")}) {
        home().writeHomeFile(kUserFile, broken);
        ConsoleCapture console;
        store->synchronize();
        EXPECT_FALSE(store->hasValue(SettingsKey::manualPaths));
        ASSERT_TRUE(store->setValue(SettingsKey::autoClean, true));
        messages << console.text();
    }
    // However close together, each copy gets a name of its own.
    const QStringList aside =
        folder.entryList({"com.brightmoor.Vestry.plist.unreadable-*"}, QDir::Files, QDir::Name);
    ASSERT_EQ(aside.size(), 2) << folder.entryList().join(", ").toStdString();
    EXPECT_EQ(readFile(folder.filePath(aside[0])), "this is not a property list");
    EXPECT_EQ(readFile(folder.filePath(aside[1])), "<plist><dict>");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(messages[i].contains(userFile()) && messages[i].contains(folder.filePath(aside[i])))
            << messages[i].toStdString();
    }
    EXPECT_TRUE(logText().contains(folder.filePath(aside[1])));
    EXPECT_TRUE(PlistFile::readDictionary(userFile())->value("autoClean").toBool());
}

TEST_F(Settings, ComputerWideValueIsReadBackThroughTheSameStoreAfterTheUsersOwn) {
    EXPECT_EQ(store->integerValue(SettingsKey::requireAdminPassword), 0);
    ASSERT_TRUE(store->setComputerWideValue(SettingsKey::requireAdminPassword, 1));
    EXPECT_EQ(store->integerValue(SettingsKey::requireAdminPassword), 1);
    EXPECT_TRUE(QFileInfo::exists(wideFile()));
    EXPECT_FALSE(QFileInfo::exists(userFile()));
    store->setValue(SettingsKey::requireAdminPassword, 0);
    EXPECT_EQ(store->integerValue(SettingsKey::requireAdminPassword), 0);

    // A computer-wide file it cannot parse is not replaced by one holding a single key.
    home().writeFile(wideFile(), "not a plist");
    ConsoleCapture console;
    EXPECT_FALSE(store->setComputerWideValue(SettingsKey::requireAdminPassword, 1));
    EXPECT_EQ(readFile(wideFile()), "not a plist");
    EXPECT_TRUE(console.text().contains(wideFile()));
}

TEST_F(Settings, AnalyticsSwitchLivesOnlyInItsOwnFileAndTheStandardStoreFollowsTheHome) {
    BMSettings::analytics().setValue(SettingsKey::logQC, true);
    BMSettings::standard().registerDefaults(BMSettings::applicationDefaults());
    EXPECT_TRUE(BMSettings::analytics().boolValue(SettingsKey::logQC));
    EXPECT_FALSE(BMSettings::standard().hasValue(SettingsKey::logQC));
    EXPECT_TRUE(QFileInfo::exists(home().home() + "/.config/com.brightmoor.qc.plist"));
    EXPECT_FALSE(QFileInfo::exists(userFile()));

    BMSettings::standard().setValue(SettingsKey::autosaveFolder, "~/Vault");
    EXPECT_EQ(BMSettings::standard().userFilePath(), userFile());
    TempHome other;
    EXPECT_FALSE(BMSettings::standard().hasValue(SettingsKey::autosaveFolder));
}

TEST_F(Settings, ConcurrentWritersLoseNothing) {
    std::vector<std::thread> writers;
    for (int t = 0; t < 8; ++t) {
        writers.emplace_back([this, t] {
            for (int i = 0; i < 25; ++i)
                store->setValue(QString("key%1_%2").arg(t).arg(i), i);
        });
    }
    for (auto& writer : writers)
        writer.join();
    BMSettings reader([this] { return userFile(); });
    for (int t = 0; t < 8; ++t)
        EXPECT_EQ(reader.integerValue(QString("key%1_24").arg(t)), 24);
}

TEST_F(Settings, OnAFullDiskAWriteThatFailsLeavesTheFileAsItWasSaysWhyAndIsMadeLater) {
    const QString folder = home().root() + "/small";
    Tmpfs volume(folder, "size=64k,nr_inodes=64");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    const QString path = folder + "/com.brightmoor.Vestry.plist";
    BMLog::createNewLog();
    BMSettings small([&] { return path; });
    ASSERT_TRUE(small.setValue("kept", "before"));
    const QByteArray before = readFile(path);
    volume.fill();

    ConsoleCapture console;
    // A small change first: Qt's buffer holds it until the commit, where the failure must not
    // be lost.
    EXPECT_FALSE(small.setValue("other", 1));
    EXPECT_FALSE(small.setValue("big", QString(16384, 'b')));
    EXPECT_EQ(console.text().count("Settings file " + path + " could not be saved: No space left on device"),
              1)
        << console.text().toStdString();
    EXPECT_TRUE(logText().contains(path + " could not be saved: No space left on device"));
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden),
              (QStringList{"com.brightmoor.Vestry.plist", "filler"}));

    QFile::remove(folder + "/filler");
    EXPECT_TRUE(small.synchronize());
    EXPECT_EQ(PlistFile::readDictionary(path)->value("big").toString().size(), 16384);
}
