#include "foundation/PathText.h"

#include <gtest/gtest.h>

TEST(PathText, JoinsWithExactlyOneSlashAndSplitsNamesAndExtensions) {
    EXPECT_EQ(PathText::appendingComponent("/Users/jo", "/Library"), "/Users/jo/Library");
    EXPECT_EQ(PathText::appendingComponent("/Users/jo/", "Library/"), "/Users/jo/Library");
    EXPECT_EQ(PathText::appendingComponent("/", "tmp"), "/tmp");
    EXPECT_EQ(PathText::appendingComponent("", "a/"), "a");
    EXPECT_EQ(PathText::lastComponent("/a/b.prproj/"), "b.prproj");
    EXPECT_EQ(PathText::extension("/a/Edit-3.prproj"), "prproj");
    EXPECT_EQ(PathText::extension("/a/.hidden"), "");
    EXPECT_EQ(PathText::deletingExtension("/a/My-Cut-12.prproj"), "/a/My-Cut-12");
    EXPECT_EQ(PathText::deletingLastComponent("/a"), "/");
    EXPECT_EQ(PathText::components("/Users/x//Movies"), (QStringList{"/", "Users", "x", "Movies"}));
}

TEST(PathText, AbbreviatesTheHomeOnlyAtAComponentBoundary) {
    EXPECT_EQ(PathText::abbreviatingHome("/home/jo/Vault", "/home/jo"), "~/Vault");
    EXPECT_EQ(PathText::abbreviatingHome("/home/joe/Vault", "/home/jo"), "/home/joe/Vault");
    EXPECT_EQ(PathText::expandingTilde("~/Vault", "/home/jo"), "/home/jo/Vault");
}
