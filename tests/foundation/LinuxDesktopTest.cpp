#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/TempHome.h"

namespace {

// Program starts recorded instead of made; a file manager that answers as the test says.
class RecordingDesktop : public LinuxPlatform {
public:
    bool fileManagerAnswers = false;
    mutable QList<QStringList> started;
    mutable QList<std::pair<QString, QStringList>> fileManagerCalls;

protected:
    bool startDetached(const QStringList& command) const override {
        started << command;
        return true;
    }
    bool callFileManager(const QString& method, const QStringList& paths) const override {
        fileManagerCalls << std::pair(method, paths);
        return fileManagerAnswers;
    }
};

struct ExecCase {
    const char* rowName;
    const char* exec;
    QStringList files;
    QList<QStringList> commands;
};

class LinuxDesktop : public TempHomeTest {
protected:
    QString install(const QString& name, const QByteArray& exec) {
        return home().writeFile("Users/jö ed/.local/share/applications/" + name + ".desktop",
                                "[Desktop Entry]\nType=Application\nName=Editor\nExec=" + exec + "\n");
    }
    RecordingDesktop desktop;
};

} // namespace

TEST(DesktopEntryCommands, FollowTheExecKeysFieldCodes) {
    const ExecCase rows[] = {
        {"ListTakesEveryFileAtOnce",
         "editor --open %F",
         {"/a b/1.prproj", "/c/2.prproj"},
         {{"editor", "--open", "/a b/1.prproj", "/c/2.prproj"}}},
        {"OneFileCodeRunsOncePerFile",
         "editor %f",
         {"/a/1", "/a/2"},
         {{"editor", "/a/1"}, {"editor", "/a/2"}}},
        {"UrlsAreFileUrls", "editor %U", {"/a b/é.prproj"}, {{"editor", "file:///a%20b/%C3%A9.prproj"}}},
        {"NoFileCodeAppendsTheFiles", "wine editor.exe", {"/a/1"}, {{"wine", "editor.exe", "/a/1"}}},
        {"QuotedArgumentsKeepBlanksAndEscapes",
         R"("/opt/Cut Room/run" "say \"hi\\\\\"" %F)",
         {"/x"},
         {{"/opt/Cut Room/run", "say \"hi\\\"", "/x"}}},
        {"IconNameAndEntryCodes",
         "editor %i --title=%c --from %k 100%%",
         {},
         {{"editor", "--icon", "cutroom", "--title=Cut Room", "--from", "/apps/cut.desktop", "100%"}}},
        {"StringEscapesComeFirst", R"(editor\sdouble %f)", {"/x"}, {{"editor", "double", "/x"}}},
        {"AnOpenQuoteIsNoCommand", "\"editor %F", {"/x"}, {}},
        {"NoExecIsNoCommand", "", {"/x"}, {}}};
    for (const ExecCase& row : rows) {
        const QByteArray entry =
            "[Desktop Action New]\nExec=wrong\n[Desktop Entry]\nName=Cut Room\nIcon=cutroom\nExec=" +
            QByteArray(row.exec) + "\n";
        EXPECT_EQ(LinuxPlatform::desktopEntryCommands(entry, "/apps/cut.desktop", row.files), row.commands)
            << row.rowName;
    }
}

TEST_F(LinuxDesktop, FilesGoToTheEditorsDesktopEntryFoundByIdentifierOrOtherNameElseToTheDefaultApplication) {
    const QString entry = install("com.adobe.AdobePremierePro", "premiere %F");
    EXPECT_EQ(desktop.applicationPathForBundleIdentifier("com.adobe.AdobePremierePro"), entry);
    EXPECT_TRUE(desktop.applicationPathForBundleIdentifier("com.apple.FinalCutPro").isNull());
    EXPECT_FALSE(desktop.applicationInfo(entry)) << "a desktop entry has no bundle information";
    EXPECT_TRUE(desktop.openFiles({"/p/1.prproj", "/p/2.prproj"}, "com.adobe.AdobePremierePro"));
    install("avid-media-composer", "avid %f");
    EXPECT_TRUE(desktop.launchApplication("com.avid.MediaComposer"));
    // Without an editor each file goes to the default application.
    EXPECT_TRUE(desktop.openFiles({"/m/1.motn", "/m/2.motn"}, "com.apple.motion"));
    EXPECT_FALSE(desktop.launchApplication("com.apple.motion"));
    EXPECT_EQ(desktop.started, (QList<QStringList>{{"premiere", "/p/1.prproj", "/p/2.prproj"},
                                                   {"avid"},
                                                   {"xdg-open", "/m/1.motn"},
                                                   {"xdg-open", "/m/2.motn"}}));
}

TEST_F(LinuxDesktop, RevealAsksTheFileManagerThenOpensTheFolder) {
    desktop.fileManagerAnswers = true;
    EXPECT_TRUE(desktop.revealInFileManager("/v/Beta/Beta-1.prproj", "/v/Beta"));
    EXPECT_TRUE(desktop.revealInFileManager("/v/Beta", "/v/Beta"));
    EXPECT_TRUE(desktop.started.isEmpty());
    desktop.fileManagerAnswers = false;
    EXPECT_TRUE(desktop.revealInFileManager("/v/Beta/Beta-1.prproj", "/v/Beta"));
    using Call = std::pair<QString, QStringList>;
    EXPECT_EQ(desktop.fileManagerCalls, (QList<Call>{{"ShowItems", {"/v/Beta/Beta-1.prproj"}},
                                                     {"ShowFolders", {"/v/Beta"}},
                                                     {"ShowItems", {"/v/Beta/Beta-1.prproj"}}}));
    EXPECT_EQ(desktop.started, (QList<QStringList>{{"xdg-open", "/v/Beta"}}));
}
