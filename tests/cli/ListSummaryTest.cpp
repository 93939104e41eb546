// vestry list --summary on a real tree: several editors, two locations of one editor.
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>
#include <gtest/gtest.h>

namespace {

class ListSummary : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
        const QString root = home().root();
        home().writeFile(root + "/A/Adobe Premiere Pro Auto-Save/Cut/Cut-1.prproj", QByteArray(3000, 'x'));
        home().writeFile(root + "/A/Adobe Premiere Pro Auto-Save/Cut/Cut-2.prproj", QByteArray(1000, 'x'));
        home().writeFile(root + "/B/Adobe Premiere Pro Auto-Save/Other/Other-1.prproj",
                         QByteArray(1000, 'x'));
        home().writeFile(root + "/Avid Attic/jo/Bins/Reel 1/Reel 1.avb", QByteArray(2500, 'x'));
        home().writeFile(root + "/Lib.fcpbundle/Day/Backups/Day 1.fcpevent", QByteArray(500, 'x'));
    }

    QString summary(const QStringList& options) {
        QStringList arguments{"list", "--summary"};
        arguments << options;
        for (const char* location : {"/Lib.fcpbundle", "/B/Adobe Premiere Pro Auto-Save", "/Avid Attic",
                                     "/A/Adobe Premiere Pro Auto-Save"})
            arguments << home().root() + location;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        const ProgramRun run = runProgram(VESTRY_PROGRAM, arguments, RunOptions(environment));
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        return QString(run.out).replace(home().root(), "@");
    }
};

} // namespace

TEST_F(ListSummary, TotalsByEditorAndLocationLargestFirst) {
    // The location column is as wide as the longest real path, which "@" stands for here.
    const QString location =
        QString("Location")
            .leftJustified(home().root().size() + qsizetype(strlen("/A/Adobe Premiere Pro Auto-Save")));
    EXPECT_EQ(summary({}).toStdString(),
              ("Editor              Size  Share  Projects  Autosaves\n"
               "Premiere Pro     4.88 KB  62.5%         2          3\n"
               "Media Composer   2.44 KB  31.3%         1          1\n"
               "Final Cut Pro X    500 B   6.3%         1          1\n"
               "\n" +
               location +
               "     Size  Share  Projects  Autosaves\n"
               "@/A/Adobe Premiere Pro Auto-Save  3.91 KB  50.0%         1          2\n"
               "@/Avid Attic                      2.44 KB  31.3%         1          1\n"
               "@/B/Adobe Premiere Pro Auto-Save  1,000 B  12.5%         1          1\n"
               "@/Lib.fcpbundle                     500 B   6.3%         1          1\n"
               "\n"
               "Total: 4 projects, 5 autosaves, 7.81 KB\n")
                  .toStdString());
    const QString json = summary({"--json"});
    EXPECT_EQ(
        json.toStdString(),
        "{\"editors\":[{\"autosaves\":3,\"bytes\":5000,\"editor\":\"Premiere Pro\",\"percent\":62.5,"
        "\"projects\":2},{\"autosaves\":1,\"bytes\":2500,\"editor\":\"Media Composer\",\"percent\":31.3,"
        "\"projects\":1},{\"autosaves\":1,\"bytes\":500,\"editor\":\"Final Cut Pro X\",\"percent\":6.3,"
        "\"projects\":1}],\"locations\":[{\"autosaves\":2,\"bytes\":4000,\"location\":\"@/A/Adobe Premiere "
        "Pro Auto-Save\",\"percent\":50,\"projects\":1},{\"autosaves\":1,\"bytes\":2500,\"location\":"
        "\"@/Avid Attic\",\"percent\":31.3,\"projects\":1},{\"autosaves\":1,\"bytes\":1000,\"location\":"
        "\"@/B/Adobe Premiere Pro Auto-Save\",\"percent\":12.5,\"projects\":1},{\"autosaves\":1,\"bytes\":"
        "500,\"location\":\"@/Lib.fcpbundle\",\"percent\":6.3,\"projects\":1}],\"offline\":[],\"total\":"
        "{\"autosaves\":5,\"bytes\":8000,\"projects\":4}}\n");
    // --sort orders projects, which the summary has none of.
    QStringList arguments{"list", "--summary", "--sort", "size", home().root()};
    EXPECT_NE(runProgram(VESTRY_PROGRAM, arguments).exitCode, 0);
}
