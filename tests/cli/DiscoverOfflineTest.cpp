// `vestry discover` with a stored location on a drive that is not mounted now.
#include "CommandLineFixture.h"
#include "foundation/PlistFile.h"
#include "support/Tmpfs.h"

#include <gtest/gtest.h>
#include <memory>

TEST_F(CommandLine, DiscoverKeepsALocationOfADriveNotMountedAndMarksItOffline) {
    const QString mountPoint = home().root() + "/Media";
    auto drive = std::make_unique<Tmpfs>(mountPoint, "size=1m");
    if (!drive->mounted())
        GTEST_SKIP() << drive->why().toStdString();
    const QString vault = mountPoint + "/Autosave Vault";
    write(vault + "/Titles/Titles_2026-11-20_1030.motn");
    PlistFile::writeXml(settingsFile(), QVariantMap{{"autosavePaths", QStringList{premiere, vault}}});
    EXPECT_EQ(run({"discover"}).out, "     " + premiere + "\n     " + vault + "\n2 locations, 0 new\n");

    drive.reset();
    const Outcome text = run({"discover"});
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_EQ(text.out, "     " + premiere + "\n     " + vault + " (offline)\n2 locations, 0 new\n");
    EXPECT_EQ(run({"discover", "--json"}).out, "{\"locations\":[{\"path\":\"" + premiere +
                                                   "\",\"new\":false,\"offline\":false},{\"path\":\"" +
                                                   vault + "\",\"new\":false,\"offline\":true}]}\n");
    EXPECT_EQ(PlistFile::readDictionary(settingsFile())->value("autosavePaths").toStringList(),
              (QStringList{premiere, vault}));
}
