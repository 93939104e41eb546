// vestry list marks what the background jobs leave alone for being just written.
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
    auto run = [&](const QStringList& arguments) {
        return runProgram(VESTRY_PROGRAM, arguments, {environment, home.home()});
    };
    auto list = [&] { return run({"list", "--json", premiere}).out; };
    auto marked = [&](const char* mark) { return run({"list", premiere}).out.split('\n').filter(mark); };

    const QString json = list();
    const QString key = "\"path\":\"" + fresh + "\",\"recent\":true,\"size\":5,";
    EXPECT_EQ(json.count("\"recent\":true"), 1) << json.toStdString();
    EXPECT_TRUE(json.contains(key)) << json.toStdString();
    QStringList recent = marked("(recent)");
    ASSERT_EQ(recent.size(), 1);
    EXPECT_TRUE(recent[0].startsWith("  Alpha-3.prproj ") && recent[0].endsWith("  (recent)"))
        << recent[0].toStdString();
    // Both marks, the pin first.
    ASSERT_EQ(run({"pin", fresh}).exitCode, 0);
    recent = marked("(recent)");
    ASSERT_EQ(recent.size(), 1);
    EXPECT_TRUE(recent[0].endsWith("  (pinned) (recent)")) << recent[0].toStdString();
    ASSERT_EQ(run({"unpin", fresh}).exitCode, 0);

    // Off: the very bytes without the mark.
    BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
    BMSettings::standard().synchronize();
    QString expected = json;
    expected.replace(",\"recent\":true", "");
    EXPECT_EQ(list(), expected);
    EXPECT_EQ(marked("(recent)"), QStringList());
}

} // namespace
