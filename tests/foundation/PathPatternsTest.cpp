#include "TempHome.h"
#include "foundation/BMFileManager.h"

class PathPatterns : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        base = home().makeFolder("disk");
        // Created out of order: the result follows the listing, not creation.
        home().makeFolder("disk/Users/zoe/Movies");
        home().makeFolder("disk/Users/amy/Movies");
        home().makeFolder("disk/Users/bob/Music");
        home().writeFile("disk/Users/file-not-folder");
        home().makeFolder("disk/Users/Amy2/Movies");
    }
    QString base;
};

TEST_F(PathPatterns, ExpandsStarsInListingOrder) {
    EXPECT_EQ(
        BMFileManager::filesMatchingWildcardPath("Users/*/Movies", base),
        (QStringList{base + "/Users/Amy2/Movies", base + "/Users/amy/Movies", base + "/Users/zoe/Movies"}));
}

TEST_F(PathPatterns, AbsolutePatternsStartAtTheRoot) {
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath(base + "/Users/a*/Movies"),
              (QStringList{base + "/Users/amy/Movies"}));
}

TEST_F(PathPatterns, LikePatternIsCaseSensitiveWithSingleCharacterWildcard) {
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/?my*", base),
              (QStringList{base + "/Users/Amy2", base + "/Users/amy"}));
    // Only a star makes a pattern; a lone "?" is taken as it stands.
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/?my", base),
              (QStringList{base + "/Users/?my"}));
    EXPECT_TRUE(BMFileManager::filesMatchingWildcardPath("Users/AMY*", base).isEmpty());
}

TEST_F(PathPatterns, WithoutAStarNothingIsChecked) {
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("/nowhere/Movies"), (QStringList{"/nowhere/Movies"}));
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("missing/Movies", base),
              (QStringList{base + "/missing/Movies"}));
}

TEST_F(PathPatterns, SubfolderSearchIsIgnored) {
    EXPECT_EQ(BMFileManager::filesMatchingWildcardPath("Users/*/Movies", base, true),
              BMFileManager::filesMatchingWildcardPath("Users/*/Movies", base, false));
}

TEST_F(PathPatterns, DecodeTakesTheFirstMatchOrBasePlusPattern) {
    EXPECT_EQ(BMFileManager::decodeWildcardPath("Users/*/Movies", base), base + "/Users/Amy2/Movies");
    EXPECT_EQ(BMFileManager::decodeWildcardPath("Users/*/Pictures", base), base + "/Users/*/Pictures");
}

TEST(LikePattern, MatchesWithoutBacktrackingBlowUp) {
    EXPECT_TRUE(BMFileManager::matchesLikePattern("Edit.fcpevent", "*.fcpevent"));
    EXPECT_FALSE(BMFileManager::matchesLikePattern("Edit.fcpevents", "*.fcpevent"));
    EXPECT_TRUE(BMFileManager::matchesLikePattern("", "*"));
    EXPECT_FALSE(BMFileManager::matchesLikePattern("", "?"));
    EXPECT_TRUE(BMFileManager::matchesLikePattern("a*b", "a*b"));
    EXPECT_FALSE(BMFileManager::matchesLikePattern(QString(5000, 'a'), QString(40, '*') + "b"));
}

struct NameCase {
    const char* name;
    QString in;
    QString out;
};
class ValidateFilename : public ::testing::TestWithParam<NameCase> {};
TEST_P(ValidateFilename, Cleans) {
    EXPECT_EQ(BMFileManager::validateFilename(GetParam().in), GetParam().out);
}
INSTANTIATE_TEST_SUITE_P(Names, ValidateFilename,
                         ::testing::Values(NameCase{"Dot", ".", ""}, NameCase{"Hidden", ".hidden", "hidden"},
                                           NameCase{"OnlyOneDotGoes", "..x", ".x"},
                                           NameCase{"BlanksSlashColon", "  a/b:c \n", "abc"},
                                           NameCase{"DotThenBlanks", ". spaced", "spaced"},
                                           NameCase{"Plain", "Cut 2.prproj", "Cut 2.prproj"}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(PathPatterns, UniqueNamesCountUpFromTwo) {
    const QString report = home().writeFile("disk/report");
    EXPECT_EQ(BMFileManager::uniqueFilename(report), base + "/report 2");
    const QString a = home().writeFile("disk/a.txt");
    EXPECT_EQ(BMFileManager::uniqueFilename(a), base + "/a 2.txt");
    home().writeFile("disk/a 2.txt");
    EXPECT_EQ(BMFileManager::uniqueFilename(a), base + "/a 3.txt");
    EXPECT_EQ(BMFileManager::uniqueFilename(base + "/free.txt"), base + "/free.txt");
}

TEST_F(PathPatterns, ADanglingLinkIsNotAFreeName) {
    const QString link = base + "/link.mov";
    ASSERT_TRUE(QFile::link(base + "/gone", link));
    EXPECT_EQ(BMFileManager::uniqueFilename(link), base + "/link 2.mov");
}

TEST_F(PathPatterns, ListingIncludesHiddenEntriesAndReportsFailure) {
    home().writeFile("disk/.DS_Store");
    bool ok = false;
    EXPECT_TRUE(BMFileManager::contentsOfDirectory(base, &ok).contains(".DS_Store"));
    EXPECT_TRUE(ok);
    QString error;
    EXPECT_TRUE(BMFileManager::contentsOfDirectory(base + "/none", &ok, &error).isEmpty());
    EXPECT_FALSE(ok);
    EXPECT_FALSE(error.isEmpty());
}
