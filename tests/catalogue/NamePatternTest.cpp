#include "catalogue/NamePattern.h"

#include "catalogue/AutosaveFolderScanner.h"

#include <gtest/gtest.h>

struct PatternRow {
    const char* rowName;
    const char* pattern;
    const char* name;
    bool matches;
};

class NamePatternRows : public ::testing::TestWithParam<PatternRow> {};

TEST_P(NamePatternRows, Matches) {
    const PatternRow& row = GetParam();
    EXPECT_EQ(NamePattern(QString::fromUtf8(row.pattern)).matches(QString::fromUtf8(row.name)), row.matches)
        << row.pattern << " against " << row.name;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NamePatternRows,
    ::testing::Values(PatternRow{"StarMatchesEmptyRun", "*.motn", ".motn", true},
                      PatternRow{"StarBacktracksPastEarlyMatches", "*_[0-9]", "a_b_c_7", true},
                      PatternRow{"StarsInARowAreOneStar", "a**b", "ab", true},
                      PatternRow{"QuestionMarkTakesExactlyOne", "a?c", "ac", false},
                      PatternRow{"QuestionMarkTakesAnyOne", "a?c", "aöc", true},
                      PatternRow{"SetRange", "[0-3]x", "3x", true},
                      PatternRow{"SetRangeExcludesOutside", "[0-3]x", "4x", false},
                      PatternRow{"SetOfSeveralRanges", "[a-cx-z]", "y", true},
                      PatternRow{"NegatedSetWithBang", "[!0-9]", "a", true},
                      PatternRow{"NegatedSetWithCaret", "[^0-9]", "5", false},
                      PatternRow{"ClosingBracketFirstInSet", "[]a]", "]", true},
                      PatternRow{"UnclosedBracketIsLiteral", "a[0-9", "a[0-9", true},
                      PatternRow{"EscapedStarIsLiteral", "a\\*", "ab", false},
                      PatternRow{"EscapedStarMatchesStar", "a\\*", "a*", true},
                      PatternRow{"CaseMatters", "*.motn", "x.MOTN", false},
                      PatternRow{"WholeNameMustMatch", "[0-9][0-9]", "123", false},
                      PatternRow{"EmptyPatternMatchesEmptyName", "", "", true},
                      PatternRow{"EmptyPatternRejectsAName", "", "a", false}),
    [](const ::testing::TestParamInfo<PatternRow>& info) { return std::string(info.param.rowName); });

struct AutosaveNameRow {
    const char* rowName;
    bool motion;
    const char* name;
    bool matches;
};

class AutosaveNamePatterns : public ::testing::TestWithParam<AutosaveNameRow> {};

TEST_P(AutosaveNamePatterns, RecogniseTheEditorsOwnNames) {
    const AutosaveNameRow& row = GetParam();
    const NamePattern& pattern =
        row.motion ? AutosaveFolderScanner::motionNamePattern() : AutosaveFolderScanner::vaultNamePattern();
    EXPECT_EQ(pattern.matches(QString::fromUtf8(row.name)), row.matches) << row.name;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AutosaveNamePatterns,
    ::testing::Values(AutosaveNameRow{"VaultCopy", false, "Wedding_11-22-26_1030", true},
                      AutosaveNameRow{"VaultCopyWithUnderscoresInName", false, "My_Big_Edit_01-05-12_0915",
                                      true},
                      AutosaveNameRow{"VaultFourDigitYear", false, "Wedding_11-22-2026_1030", false},
                      AutosaveNameRow{"VaultMonthAboveThirtyNine", false, "Wedding_41-22-26_1030", false},
                      AutosaveNameRow{"VaultWithExtension", false, "Wedding_11-22-26_1030.fcp", false},
                      AutosaveNameRow{"VaultNeedsAName", false, "_11-22-26_1030", true},
                      AutosaveNameRow{"MotionCopy", true, "Titles_2012-01-05_1030.motn", true},
                      AutosaveNameRow{"MotionMonthAboveNineteen", true, "Titles_2012-21-05_1030.motn", false},
                      AutosaveNameRow{"MotionUpperCaseExtension", true, "Titles_2012-01-05_1030.MOTN", false},
                      AutosaveNameRow{"MotionWithoutTime", true, "Titles_2012-01-05.motn", false}),
    [](const ::testing::TestParamInfo<AutosaveNameRow>& info) { return std::string(info.param.rowName); });
