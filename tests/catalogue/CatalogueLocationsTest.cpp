#include "catalogue/CatalogueLocations.h"

#include "foundation/BMSettings.h"
#include "support/TempHome.h"

#include <QDir>

#include <gtest/gtest.h>

class CatalogueLocationsTest : public TempHomeTest {};

TEST_F(CatalogueLocationsTest, DiscoveredThenManualOnesNotListedYetThenSharedAtticsThatExist) {
    const QString composer = home().root() + "/Users/Shared/AvidMediaComposer/Avid Attic";
    const QString symphony = home().root() + "/Users/Shared/AvidSymphony/Avid Attic";
    BMSettings& settings = BMSettings::standard();
    auto locations = [&] { return CatalogueLocations({composer, symphony}).locations(settings); };
    EXPECT_TRUE(locations().isEmpty());
    // Repeats among the discovered ones stay; manual ones are compared as exact text.
    settings.setValue("autosavePaths", QStringList{"/v/Autosave Vault", "/p/Adobe Premiere Pro Auto-Save",
                                                   "/v/Autosave Vault"});
    settings.setValue("manualPaths", QStringList{"/m/Avid Attic", "/v/Autosave Vault", "/m/Avid Attic",
                                                 "/v/Autosave Vault/", symphony});
    const QStringList listed{"/v/Autosave Vault",  "/p/Adobe Premiere Pro Auto-Save",
                             "/v/Autosave Vault",  "/m/Avid Attic",
                             "/v/Autosave Vault/", symphony};
    EXPECT_EQ(locations(), listed);
    // A shared attic comes last when it exists, even when listed already.
    QDir().mkpath(symphony);
    EXPECT_EQ(locations(), listed + QStringList{symphony});
    QDir().mkpath(composer);
    EXPECT_EQ(locations(), listed + QStringList({composer, symphony}));
}
