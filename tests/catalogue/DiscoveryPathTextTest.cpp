// The forms a folder takes in an editor's preference file, as discovery reads it.
#include "CatalogueTestSupport.h"
#include "catalogue/LocationDiscovery.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMSettings.h"
#include "support/BinaryPlist.h"

#include <QDir>
#include <QUrl>

#include <gtest/gtest.h>

class DiscoveryPathText : public CatalogueTest::DiscoveryHomeTest {
protected:
    void SetUp() override {
        DiscoveryHomeTest::SetUp();
        previous = QDir::currentPath();
    }
    void TearDown() override {
        QDir::setCurrent(previous);
        DiscoveryHomeTest::TearDown();
    }
    QString vault(const QString& path) const {
        home().writeFile(path + "/Titles/Titles_2026-11-20_1030.motn", "x");
        return path;
    }
    void motionPrefs(const QString& vaultPath) const {
        home().writeFile(BMLocalPaths::prefsDirectory(true) + "/com.apple.motion.plist",
                         binaryPlist(QVariantMap{{"OZPreferenceManager::AutosaveVaultPath", vaultPath}}));
    }
    QString previous;
};

// Tested as it was, a relative path named a folder of the directory the search ran in, and was
// then stored as text the settings refuse on every later read.
TEST_F(DiscoveryPathText, ARelativePathIsNotTakenFromTheWorkingDirectory) {
    const QString work = home().root() + "/work";
    vault(work + "/Autosave Vault");
    QDir::setCurrent(work);
    for (const QString& relative : {QStringLiteral("Autosave Vault"), QStringLiteral("./Autosave Vault")}) {
        motionPrefs(relative);
        LocationDiscovery discovery(BMSettings::standard());
        EXPECT_EQ(discovery.searchForNewPaths().found, QStringList()) << relative.toStdString();
        EXPECT_TRUE(
            logText().contains("Ignored " + relative + ": a folder must be given by its absolute path"));
    }
}

// A folder kept as its URL, percent-encoded and with a closing slash, as a folder panel gives it.
TEST_F(DiscoveryPathText, AFileURLIsTheFolderItNames) {
    const QString folder = vault(home().root() + "/M\u00e9dia 100%/Autosave Vault");
    const QByteArray encoded = QUrl::fromLocalFile(folder + "/").toEncoded();
    for (const QString& text :
         {QString::fromLatin1(encoded), "file://localhost" + QString::fromLatin1(encoded.mid(7))}) {
        motionPrefs(text);
        EXPECT_EQ(LocationDiscovery::motionAutosavePath(), folder) << text.toStdString();
    }
    // Another machine's share is no folder here.
    motionPrefs("file://server/Media/Autosave%20Vault/");
    EXPECT_EQ(LocationDiscovery::motionAutosavePath(), QString());
    motionPrefs(QString::fromLatin1(encoded));
    LocationDiscovery discovery(BMSettings::standard());
    EXPECT_EQ(discovery.searchForNewPaths().found, QStringList{folder});
}
