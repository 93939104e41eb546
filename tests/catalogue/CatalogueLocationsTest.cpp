#include "catalogue/CatalogueLocations.h"

#include "foundation/BMSettings.h"
#include "support/TempHome.h"

#include <QDir>

#include <gtest/gtest.h>

class CatalogueLocationsTest : public TempHomeTest {
protected:
    QStringList locations(const QVariant& discovered, const QVariant& manual) {
        if (discovered.isValid())
            BMSettings::standard().setValue("autosavePaths", discovered);
        if (manual.isValid())
            BMSettings::standard().setValue("manualPaths", manual);
        return CatalogueLocations({composer, symphony}).locations(BMSettings::standard());
    }
    void SetUp() override {
        TempHomeTest::SetUp();
        composer = home().root() + "/Users/Shared/AvidMediaComposer/Avid Attic";
        symphony = home().root() + "/Users/Shared/AvidSymphony/Avid Attic";
    }
    QString composer;
    QString symphony;
};

TEST_F(CatalogueLocationsTest, DiscoveredFirstThenManualOnesNotListedYet) {
    EXPECT_TRUE(locations(QVariant(), QVariant()).isEmpty());
    // Repeats among the discovered ones stay; manual ones are compared as exact text.
    EXPECT_EQ(
        locations(QStringList{"/v/Autosave Vault", "/p/Adobe Premiere Pro Auto-Save", "/v/Autosave Vault"},
                  QStringList{"/m/Avid Attic", "/v/Autosave Vault", "/m/Avid Attic", "/v/Autosave Vault/"}),
        (QStringList{"/v/Autosave Vault", "/p/Adobe Premiere Pro Auto-Save", "/v/Autosave Vault",
                     "/m/Avid Attic", "/v/Autosave Vault/"}));
    EXPECT_EQ(locations(QVariant(), QString("/m/Avid Attic")),
              (QStringList{"/v/Autosave Vault", "/p/Adobe Premiere Pro Auto-Save", "/v/Autosave Vault"}));
}

TEST_F(CatalogueLocationsTest, SharedAtticsComeLastWhenTheyExistEvenIfListedAlready) {
    EXPECT_EQ(locations(QVariant(), QStringList{symphony}), QStringList{symphony});
    QDir().mkpath(symphony);
    EXPECT_EQ(locations(QVariant(), QVariant()), (QStringList{symphony, symphony}));
    QDir().mkpath(composer);
    EXPECT_EQ(locations(QVariant(), QVariant()), (QStringList{symphony, composer, symphony}));
}
