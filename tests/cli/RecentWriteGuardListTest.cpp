// vestry list --json marks what the background jobs leave alone for being just written.
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "support/MacMetadata.h"
#include "support/Programs.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

namespace {

using RecentWriteGuardList = TempHomeTest;

TEST_F(RecentWriteGuardList, MarksOnlyTheRecentlyWrittenAndLeavesTheOtherBytesAlone) {
    if (actingForAnotherConsoleUser())
        GTEST_SKIP() << "running as root for another console user";
    const TempHome& home = this->home();
    const QString premiere = home.home() + "/Documents/Adobe Premiere Pro Auto-Save";
    const QString old = home.writeFile(premiere + "/Alpha/Alpha-1.prproj", "old");
    const QString edge = home.writeFile(premiere + "/Alpha/Alpha-2.prproj", "edge");
    const QString fresh = home.writeFile(premiere + "/Alpha/Alpha-3.prproj", "fresh");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    ASSERT_TRUE(keepOriginalModificationTime(old, now.addSecs(-3600)));
    ASSERT_TRUE(keepOriginalModificationTime(edge, now.addSecs(-11 * 60)));
    ASSERT_TRUE(keepOriginalModificationTime(fresh, now.addSecs(-60)));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "en_US.UTF-8");
    auto list = [&] {
        return runProgram(VESTRY_PROGRAM, {"list", "--json", premiere}, {environment, home.home()});
    };

    const QString marked = list().out;
    const QString key = "\"path\":\"" + fresh + "\",\"recent\":true,\"size\":5,";
    EXPECT_EQ(marked.count("\"recent\":true"), 1) << marked.toStdString();
    EXPECT_TRUE(marked.contains(key)) << marked.toStdString();

    // Off: the very bytes without the mark.
    BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
    BMSettings::standard().synchronize();
    QString expected = marked;
    expected.replace(",\"recent\":true", "");
    EXPECT_EQ(list().out, expected);
}

} // namespace
