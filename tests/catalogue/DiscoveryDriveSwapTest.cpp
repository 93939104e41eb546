// One discovery (the window's, searching every minute) while drives come and go at one mount
// point.
#include "CatalogueTestSupport.h"
#include "catalogue/LocationDiscovery.h"
#include "foundation/BMSettings.h"
#include "support/Tmpfs.h"

#include <gtest/gtest.h>
#include <memory>

class DiscoveryDriveSwap : public CatalogueTest::DiscoveryHomeTest {
protected:
    void SetUp() override {
        DiscoveryHomeTest::SetUp();
        mountPoint = home().root() + "/media/EDIT";
    }
    void TearDown() override {
        drive.reset();
        DiscoveryHomeTest::TearDown();
    }
    // Another drive of the same label at the same place, holding one Premiere folder.
    QString plugIn(const QString& job) {
        drive = std::make_unique<Tmpfs>(mountPoint, "size=1m");
        home().platform().volumes = {mountPoint};
        const QString folder = mountPoint + "/" + job + "/Adobe Premiere Pro Auto-Save";
        home().writeFile(folder + "/Cut-1.prproj", "x");
        return folder;
    }
    void takeOut() {
        drive.reset();
        home().platform().volumes = {};
    }
    QString mountPoint;
    std::unique_ptr<Tmpfs> drive;
};

// The walk of the first drive stood for the hour: the second drive's folders were not looked
// for until then.
TEST_F(DiscoveryDriveSwap, ADriveMountedAfterASearchThatDidNotSeeItIsWalkedAgain) {
    const QString first = plugIn("Wedding");
    if (!drive->mounted())
        GTEST_SKIP() << drive->why().toStdString();
    LocationDiscovery discovery(BMSettings::standard());
    discovery.setVolumeSearchBounds({4, 10.0});
    EXPECT_EQ(discovery.searchForNewPaths().found, QStringList{first});
    takeOut();
    EXPECT_EQ(discovery.searchForNewPaths().found, QStringList());
    const QString second = plugIn("Promo");
    EXPECT_EQ(discovery.searchForNewPaths().found, QStringList{second});
    EXPECT_EQ(BMSettings::standard().stringListValue("autosavePaths"), (QStringList{first, second}));
}
