// vestry archive --verify run as a user meets it, on an archive the program made and then
// altered with the real zip tool.
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

class ArchiveVerify : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
        zip = QStandardPaths::findExecutable("zip");
        if (zip.isEmpty())
            GTEST_SKIP() << "the zip tool is not installed";
        for (const char* name : {"Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"})
            home().writeHomeFile(QString("Documents/Adobe Premiere Pro Auto-Save/") + name);
        archive = home().home() + "/Beta.zip";
        const ProgramRun made = vestry(
            {"archive", "--to", archive, home().home() + "/Documents/Adobe Premiere Pro Auto-Save/Beta"});
        ASSERT_EQ(made.exitCode, 0) << made.err.toStdString();
    }
    ProgramRun vestry(const QStringList& arguments) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        return runProgram(VESTRY_PROGRAM, arguments, {environment, home().home()});
    }
    // The zip tool run in a folder of files laid out as the archive's entries.
    void zipTool(const QStringList& arguments, const QMap<QString, QByteArray>& files = {}) {
        const QString folder = home().root() + "/altered";
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            home().writeFile(folder + "/" + it.key(), it.value());
        QDir().mkpath(folder);
        const ProgramRun run = runProgram(zip, arguments, {QProcessEnvironment::systemEnvironment(), folder});
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    }
    QString zip, archive;
};

} // namespace

TEST_F(ArchiveVerify, NamesEveryChangedMissingAndExtraEntry) {
    const ProgramRun intact = vestry({"archive", "--verify", archive});
    EXPECT_EQ(intact.exitCode, 0) << intact.err.toStdString();
    EXPECT_EQ(intact.out, archive + " matches its manifest: 3 files, each with its size and SHA-256\n");

    // Same size, other bytes; one entry gone; one that was never gathered.
    zipTool(
        {"-q", archive, "Beta/Beta-2.prproj", "Beta/notes.txt"},
        {{"Beta/Beta-2.prproj",
          QByteArray("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-2.prproj").replace("Auto", "auto")},
         {"Beta/notes.txt", "added later"}});
    zipTool({"-q", "-d", archive, "Beta/Beta-3.prproj"});
    const ProgramRun altered = vestry({"archive", "--verify", archive});
    EXPECT_EQ(altered.exitCode, 1);
    EXPECT_EQ(altered.out, "");
    EXPECT_EQ(altered.err,
              "vestry archive: Beta/Beta-2.prproj: its contents differ from the manifest (SHA-256)\n"
              "vestry archive: Beta/Beta-3.prproj: missing from the archive\n"
              "vestry archive: Beta/notes.txt: not in the manifest\n"
              "vestry archive: " +
                  archive + " does not match its manifest (3 of 3 files)\n");

    zipTool({"-q", "-d", archive, "manifest.json"});
    const ProgramRun bare = vestry({"archive", "--verify", archive});
    EXPECT_EQ(bare.exitCode, 1);
    EXPECT_EQ(bare.err, "vestry archive: " + archive + " has no manifest.json\n");
}
