// vestry list --orphans as a user meets it, on real gzip-compressed Premiere autosaves.
#include "support/Gzip.h"
#include "support/Programs.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

namespace {

QByteArray autosaveRecording(const QString& project) {
    return gzipCompressed("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<PremiereData Version=\"3\"><Project>"
                          "<Node><Properties><project.settings.lastknowngoodprojectpath>" +
                          project.toUtf8() +
                          "</project.settings.lastknowngoodprojectpath></Properties></Node></Project>"
                          "</PremiereData>\n");
}

class ListOrphans : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
    }
};

} // namespace

TEST_F(ListOrphans, ListsOnlyOrphansAndMarksThemInJson) {
    const QString location = home().root() + "/Edits/Adobe Premiere Pro Auto-Save";
    home().writeFile(home().root() + "/Edits/Live.prproj", "live");
    home().writeFile(location + "/Live/Live-1.prproj",
                     autosaveRecording(home().root() + "/Edits/Live.prproj"));
    home().writeFile(location + "/Gone/Gone-1.prproj", autosaveRecording("/Volumes/Gone/Gone.prproj"));
    auto list = [&](const QStringList& options) {
        const ProgramRun run =
            runProgram(VESTRY_PROGRAM, QStringList{"list"} + options + QStringList{location});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        return run.out;
    };
    const QString json = list({"--json", "--orphans"});
    EXPECT_TRUE(json.contains("\"name\":\"Gone\",\"orphan\":true,\"path\":")) << json.toStdString();
    EXPECT_FALSE(json.contains("Live")) << json.toStdString();
    const QString text = list({"--orphans", "--sort", "name"});
    EXPECT_TRUE(text.startsWith("Gone ")) << text.toStdString();
    EXPECT_TRUE(text.contains("Total: 1 project, 1 autosave")) << text.toStdString();
    // Without the option every project, and no key that only the option adds.
    const QString all = list({"--json"});
    EXPECT_TRUE(all.contains("\"name\":\"Live\"") && all.contains("\"name\":\"Gone\"")) << all.toStdString();
    EXPECT_FALSE(all.contains("orphan")) << all.toStdString();
}
