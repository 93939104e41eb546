// A location search stores what it found into the list as it is when the search ends.
#include "CatalogueTestSupport.h"
#include "catalogue/LocationDiscovery.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QFile>

#include <gtest/gtest.h>

using DiscoveryMerge = CatalogueTest::LoggedHomeTest;

// While the name search runs, another run (`vestry discover`, the preferences) stores a
// location: the search's own find is added beside it, never written over it.
TEST_F(DiscoveryMerge, ALocationStoredWhileASearchRunsIsKept) {
    BMSettings& settings = BMSettings::standard();
    const QString old = home().makeFolder("old");
    const QString meanwhile = home().makeFolder("meanwhile");
    const QString found = home().root() + "/disk/Autosave Vault";
    home().writeFile(found + "/Titles/Titles_2026-11-20_1030.motn", "x");
    settings.setValue(SettingsKey::autosavePaths, QStringList{old, meanwhile});
    settings.synchronize();
    const QString file = settings.userFilePath();
    const QString theirs = home().root() + "/theirs.plist";
    ASSERT_TRUE(QFile::copy(file, theirs));
    settings.setValue(SettingsKey::autosavePaths, QStringList{old});
    settings.synchronize();
    // The stand-in name search: the other run's file lands while it runs.
    const QString tool = home().writeFile(home().root() + "/tools/locate",
                                          "#!/bin/sh\ncp '" + theirs.toUtf8() + "' '" + file.toUtf8() +
                                              "'\nprintf '%s\\0' '" + found.toUtf8() + "'\n");
    QFile::setPermissions(tool, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    home().platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
    home().platform().setToolPath(Tool::Locate, tool);

    const LocationDiscovery::Outcome outcome = LocationDiscovery(settings).searchForNewPaths();
    EXPECT_EQ(outcome.found, QStringList{found});
    EXPECT_TRUE(outcome.stored);
    BMSettings reread([file] { return file; });
    EXPECT_EQ(reread.stringListValue(SettingsKey::autosavePaths), (QStringList{old, meanwhile, found}));
}
