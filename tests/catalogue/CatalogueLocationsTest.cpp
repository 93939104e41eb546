#include "catalogue/CatalogueLocations.h"

#include "CatalogueTestSupport.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <gtest/gtest.h>

using namespace CatalogueTest;

class CatalogueLocationsTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        m_composer = home().root() + "/Users/Shared/AvidMediaComposer/Avid Attic";
        m_symphony = home().root() + "/Users/Shared/AvidSymphony/Avid Attic";
    }
    void store(const char* key, const QVariant& value) { BMSettings::standard().setValue(key, value); }
    CatalogueLocations locations() const { return CatalogueLocations({m_composer, m_symphony}); }

    QString m_composer;
    QString m_symphony;
};

TEST_F(CatalogueLocationsTest, NothingKnownGivesNothing) {
    EXPECT_TRUE(locations().locations(BMSettings::standard()).isEmpty());
}

TEST_F(CatalogueLocationsTest, DiscoveredFirstThenManualOnesNotListedYet) {
    store(SettingsKey::autosavePaths,
          QStringList{"/v/Autosave Vault", "/p/Adobe Premiere Pro Auto-Save", "/v/Autosave Vault"});
    store(SettingsKey::manualPaths,
          QStringList{"/m/Avid Attic", "/v/Autosave Vault", "/m/Avid Attic", "/v/Autosave Vault/"});
    // Repeats among the discovered ones stay; the manual list is compared as exact text.
    EXPECT_EQ(locations().locations(BMSettings::standard()),
              (QStringList{"/v/Autosave Vault", "/p/Adobe Premiere Pro Auto-Save", "/v/Autosave Vault",
                           "/m/Avid Attic", "/v/Autosave Vault/"}));
}

TEST_F(CatalogueLocationsTest, ManualPathsThatAreNotAListAreIgnored) {
    store(SettingsKey::autosavePaths, QStringList{"/v/Autosave Vault"});
    store(SettingsKey::manualPaths, QString("/m/Avid Attic"));
    EXPECT_EQ(CatalogueLocations::storedLocations(BMSettings::standard()), QStringList{"/v/Autosave Vault"});
}

TEST_F(CatalogueLocationsTest, SharedAtticsComeLastWhenTheyExistEvenIfListedAlready) {
    store(SettingsKey::manualPaths, QStringList{m_symphony});
    EXPECT_EQ(locations().locations(BMSettings::standard()), QStringList{m_symphony});
    makeFolder(m_symphony);
    EXPECT_EQ(locations().locations(BMSettings::standard()), (QStringList{m_symphony, m_symphony}));
    makeFolder(m_composer);
    EXPECT_EQ(locations().locations(BMSettings::standard()),
              (QStringList{m_symphony, m_composer, m_symphony}));
}

TEST(CatalogueLocationsDefaults, AreTheSharedAvidAttics) {
    EXPECT_EQ(
        CatalogueLocations::defaultSharedAvidAttics(),
        (QStringList{"/Users/Shared/AvidMediaComposer/Avid Attic", "/Users/Shared/AvidSymphony/Avid Attic"}));
}
