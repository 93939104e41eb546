#include "TempHome.h"
#include "foundation/BMFileManager.h"

class PathPatterns : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        base = home().makeFolder("disk");
        // Created out of order: the result follows the listing, not creation.
        for (const char* folder : {"disk/Users/zoe/Movies", "disk/Users/amy/Movies", "disk/Users/bob/Music",
                                   "disk/Users/Amy2/Movies"})
            home().makeFolder(folder);
        home().writeFile("disk/Users/file-not-folder");
    }
    QString base;
};

TEST_F(PathPatterns, ExpandsStarsAndQuestionMarksCaseSensitivelyInListingOrderOnlyWhenThereIsAStar) {
    const QStringList movies{base + "/Users/Amy2/Movies", base + "/Users/amy/Movies",
                             base + "/Users/zoe/Movies"};
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/*/Movies", base), movies);
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/*/Movies", base, true),
              movies); // subfolders ignored
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath(base + "/Users/a*/Movies"),
              QStringList{base + "/Users/amy/Movies"});
    EXPECT_EQ(BMFileManager::decodeWildcardPath("Users/*/Movies", base), movies.first());
    EXPECT_EQ(BMFileManager::decodeWildcardPath("Users/*/Pictures", base), base + "/Users/*/Pictures");
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/?my*", base),
              (QStringList{base + "/Users/Amy2", base + "/Users/amy"}));
    EXPECT_TRUE(BMFileManager::filesMatchingWildcardPath("Users/AMY*", base).isEmpty());
    // Only a star makes a pattern; a lone "?" is taken as it stands.
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/?my", base), QStringList{base + "/Users/?my"});
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("/nowhere/Movies"), QStringList{"/nowhere/Movies"});
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("missing/Movies", base),
              QStringList{base + "/missing/Movies"});
}

TEST(LikePattern, MatchesWithoutBacktrackingBlowUp) {
    using FM = BMFileManager;
    EXPECT_TRUE(FM::matchesLikePattern("Edit.fcpevent", "*.fcpevent") && FM::matchesLikePattern("", "*") &&
                FM::matchesLikePattern("a*b", "a*b"));
    EXPECT_FALSE(FM::matchesLikePattern("Edit.fcpevents", "*.fcpevent") || FM::matchesLikePattern("", "?") ||
                 FM::matchesLikePattern(QString(5000, 'a'), QString(40, '*') + "b"));
}

TEST(ValidateFilename, DropsOneLeadingDotBlanksSlashesAndColons) {
    QStringList valid;
    for (const char* name : {".", ".hidden", "..x", "  a/b:c \n", ". spaced", "Cut 2.prproj"})
        valid << BMFileManager::validateFilename(name);
    EXPECT_EQ(valid, (QStringList{"", "hidden", ".x", "abc", "spaced", "Cut 2.prproj"}));
}

TEST_F(PathPatterns, UniqueNamesCountUpFromTwoPastDanglingLinksKeepAPercentAndFitInAName) {
    EXPECT_EQ(BMFileManager::uniqueFilename(home().writeFile("disk/report")), base + "/report 2");
    const QString a = home().writeFile("disk/a.txt");
    EXPECT_EQ(BMFileManager::uniqueFilename(a), base + "/a 2.txt");
    home().writeFile("disk/a 2.txt");
    EXPECT_EQ(BMFileManager::uniqueFilename(a), base + "/a 3.txt");
    EXPECT_EQ(BMFileManager::uniqueFilename(base + "/free.txt"), base + "/free.txt");
    ASSERT_TRUE(QFile::link(base + "/gone", base + "/link.mov"));
    EXPECT_EQ(BMFileManager::uniqueFilename(base + "/link.mov"), base + "/link 2.mov");

    EXPECT_EQ(BMFileManager::uniqueFilename(home().writeFile("disk/Shot %1.prproj")),
              base + "/Shot %1 2.prproj");
    // 255 bytes, two-byte characters before the extension: the number takes a whole one's room.
    const QString free =
        BMFileManager::uniqueFilename(home().writeFile("disk/" + QString(124, QChar(0xe9)) + ".prproj"));
    EXPECT_EQ(free, base + "/" + QString(123, QChar(0xe9)) + " 2.prproj");
    QFile made(free);
    EXPECT_TRUE(made.open(QIODevice::WriteOnly)) << made.errorString().toStdString();
}

TEST_F(PathPatterns, ListingIsInCodePointOrderWithHiddenEntriesAndReportsFailure) {
    home().writeFile("disk/.DS_Store");
    bool ok = false;
    EXPECT_EQ(BMFileManager::contentsOfDirectory(base, &ok), (QStringList{".DS_Store", "Users"}));
    EXPECT_TRUE(ok);
    EXPECT_EQ(BMFileManager::contentsOfDirectory(base + "/Users"),
              (QStringList{"Amy2", "amy", "bob", "file-not-folder", "zoe"}));
    QString error;
    EXPECT_TRUE(BMFileManager::contentsOfDirectory(base + "/none", &ok, &error).isEmpty());
    EXPECT_FALSE(ok);
    EXPECT_FALSE(error.isEmpty());
}
