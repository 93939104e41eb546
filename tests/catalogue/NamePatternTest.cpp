#include "catalogue/NamePattern.h"

#include "CatalogueTestSupport.h"
#include "catalogue/AutosaveFolderScanner.h"

#include <gtest/gtest.h>

struct PatternRow {
    const char* rowName;
    const char* pattern; // null: Final Cut's vault pattern; "motn": Motion's
    const char* name;
    bool matches;
};

class NamePatternRows : public ::testing::TestWithParam<PatternRow> {};

TEST_P(NamePatternRows, Matches) {
    const PatternRow& row = GetParam();
    const NamePattern own(QString::fromUtf8(row.pattern ? row.pattern : ""));
    const NamePattern& pattern = !row.pattern ? AutosaveFolderScanner::vaultNamePattern()
                                 : QByteArray(row.pattern) == "motn"
                                     ? AutosaveFolderScanner::motionNamePattern()
                                     : own;
    EXPECT_EQ(pattern.matches(QString::fromUtf8(row.name)), row.matches) << row.name;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NamePatternRows,
    ::testing::Values(PatternRow{"StarBacktracks", "*_[0-9]", "a_b_c_7", true},
                      PatternRow{"QuestionMarkTakesExactlyOne", "a?c", "ac", false},
                      PatternRow{"QuestionMarkTakesAnyLetter", "a?c", "aöc", true},
                      PatternRow{"SetOfRanges", "[a-cx-z][0-3]", "y3", true},
                      PatternRow{"NegatedSet", "[!0-9][^a]", "ab", true},
                      PatternRow{"ClosingBracketFirstInSet", "[]a]", "]", true},
                      PatternRow{"UnclosedBracketIsLiteral", "a[0-9", "a[0-9", true},
                      PatternRow{"EscapedStar", "a\\*", "ab", false},
                      PatternRow{"VaultCopy", nullptr, "My_Big_Edit_01-05-12_0915", true},
                      PatternRow{"VaultFourDigitYear", nullptr, "Wedding_11-22-2026_1030", false},
                      PatternRow{"VaultMonthAboveThirtyNine", nullptr, "Wedding_41-22-26_1030", false},
                      PatternRow{"VaultWithExtension", nullptr, "Wedding_11-22-26_1030.fcp", false},
                      PatternRow{"MotionCopy", "motn", "Titles_2012-01-05_1030.motn", true},
                      PatternRow{"MotionMonthAboveNineteen", "motn", "Titles_2012-21-05_1030.motn", false},
                      PatternRow{"MotionCaseMatters", "motn", "Titles_2012-01-05_1030.MOTN", false}),
    [](const auto& info) { return std::string(info.param.rowName); });
