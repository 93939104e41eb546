// vestry archive --verify run as a user meets it, on an archive the program made and then
// altered with the real zip tool.
#include "CommandLineFixture.h"

#include <QStandardPaths>

namespace {

// Beta's three autosaves archived by the program.
class ArchiveVerify : public CommandLine {
protected:
    void SetUp() override {
        CommandLine::SetUp();
        zip = QStandardPaths::findExecutable("zip");
        if (IsSkipped())
            return;
        if (zip.isEmpty())
            GTEST_SKIP() << "the zip tool is not installed";
        archive = home().home() + "/Beta.zip";
        const Outcome made = run({"archive", "--to", archive, premiere + "/Beta"});
        ASSERT_EQ(made.exitCode, 0) << made.err.toStdString();
    }
    // The zip tool run in a folder of files laid out as the archive's entries.
    void zipTool(const QStringList& arguments, const QMap<QString, QByteArray>& files = {}) {
        const QString folder = home().root() + "/altered";
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            home().writeFile(folder + "/" + it.key(), it.value());
        QDir().mkpath(folder);
        const Outcome zipped = runProgram(zip, arguments, {QProcessEnvironment::systemEnvironment(), folder});
        ASSERT_EQ(zipped.exitCode, 0) << zipped.err.toStdString();
    }
    QString zip, archive;
};

} // namespace

TEST_F(ArchiveVerify, NamesEveryChangedMissingAndExtraEntry) {
    const Outcome intact = run({"archive", "--verify", archive});
    EXPECT_EQ(intact.exitCode, 0) << intact.err.toStdString();
    EXPECT_EQ(intact.out, archive + " matches its manifest: 3 files, each with its size and SHA-256\n");

    // Same size, other bytes; one entry gone; one that was never gathered.
    zipTool({"-q", archive, "Beta/Beta-2.prproj", "Beta/notes.txt"},
            {{"Beta/Beta-2.prproj", QByteArray("Beta/beta-2.prproj").repeated(10)},
             {"Beta/notes.txt", "added later"}});
    zipTool({"-q", "-d", archive, "Beta/Beta-3.prproj"});
    const Outcome altered = run({"archive", "--verify", archive});
    EXPECT_EQ(altered.exitCode, 1);
    EXPECT_EQ(altered.out, "");
    EXPECT_EQ(altered.err,
              "vestry archive: Beta/Beta-2.prproj: its contents differ from the manifest (SHA-256)\n"
              "vestry archive: Beta/Beta-3.prproj: missing from the archive\n"
              "vestry archive: Beta/notes.txt: not in the manifest\n"
              "vestry archive: " +
                  archive + " does not match its manifest (3 of 3 files)\n");

    zipTool({"-q", "-d", archive, "manifest.json"});
    const Outcome bare = run({"archive", "--verify", archive});
    EXPECT_EQ(bare.exitCode, 1);
    EXPECT_EQ(bare.err, "vestry archive: " + archive + " has no manifest.json\n");
}

// What a user may give by mistake: each refused at once with its cause, never a wait on a pipe
// nor libarchive's text about its own state.
TEST_F(CommandLine, VerifyOfWhatIsNoZipSaysWhyAtOnce) {
    const QString root = home().root();
    write(root + "/notes.zip", "not a zip");
    ASSERT_TRUE(QDir().mkpath(root + "/folder.zip"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(root + "/pipe.zip").constData(), 0600), 0);
    for (const auto& [name, cause] : {std::pair{"none.zip", "No such file or directory"},
                                      {"folder.zip", "Is a directory"},
                                      {"pipe.zip", "not a regular file"},
                                      {"notes.zip", "Unrecognized archive format"}}) {
        const QString zip = root + "/" + name;
        const Outcome result =
            runProgram(VESTRY_PROGRAM, {"archive", "--verify", zip}, {environment(), root, 20000});
        EXPECT_TRUE(result.finished) << name;
        EXPECT_EQ(result.exitCode, 1) << name;
        EXPECT_EQ(result.err, "vestry archive: " + zip + " cannot be read: " + cause + "\n");
    }
}
