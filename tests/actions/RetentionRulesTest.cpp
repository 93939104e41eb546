#include "actions/RetentionRules.h"

#include "ActionsFixture.h"
#include "actions/ActionTexts.h"

#include <QTimeZone>

#include <gtest/gtest.h>

namespace {

// Table rows print as their names.
using ::PrintTo;

const QDateTime kNow = QDateTime(QDate(2026, 11, 22), QTime(10, 0), QTimeZone::utc());
constexpr qint64 kDay = 86400 * 1000;

BMAutoItemPtr autosave(const QString& name, std::optional<qint64> msecsAgo) {
    const QDateTime created = msecsAgo ? kNow.addMSecs(-*msecsAgo) : QDateTime();
    return BMAutoItem::autoItemType(2, name, QStringLiteral("/p/") + name, created, 10);
}

BMProjectPtr projectOf(const QString& name, const BMAutoItemList& items) {
    BMProjectPtr project = BMProject::projectType(2, name, QStringLiteral("/p/") + name);
    project->setChildren(items);
    return project;
}

// A: one autosave a hair older than 7 days, one exactly 7 days old, one a day old.
// B: two of the same date 30 days ago, one 2 days old. C: one without a date, one 100 days
// old. D: one an hour old.
struct Catalogue {
    BMProjectList projects{
        projectOf("A", {autosave("a1", 7 * kDay + 1), autosave("a2", 7 * kDay), autosave("a3", kDay)}),
        projectOf("B", {autosave("b1", 30 * kDay), autosave("b2", 30 * kDay), autosave("b3", 2 * kDay)}),
        projectOf("C", {autosave("c1", std::nullopt), autosave("c2", 100 * kDay)}),
        projectOf("D", {autosave("d1", kDay / 24)}),
    };

    // "A" is a project row, "a1" an autosave row.
    SelectedRows rows(const QStringList& names) const {
        SelectedRows rows;
        for (const QString& name : names) {
            for (const BMProjectPtr& project : projects) {
                if (project->name() == name)
                    rows << SelectedRow::ofProject(project);
                for (const BMAutoItemPtr& item : project->children()) {
                    if (item->name() == name)
                        rows << SelectedRow::ofItem(item);
                }
            }
        }
        EXPECT_EQ(rows.size(), names.size());
        return rows;
    }
};

QStringList names(const BMAutoItemList& items) {
    QStringList names;
    for (const BMAutoItemPtr& item : items)
        names << item->name();
    return names;
}

enum class Rule { OlderThan, KeepMostRecent };

struct RuleCase {
    const char* rowName;
    Rule rule;
    int tag;
    QStringList selected;
    bool asks;
    QStringList chosen;
};

class RetentionRuleTable : public ::testing::TestWithParam<RuleCase> {};

} // namespace

TEST_P(RetentionRuleTable, ChoosesTheAutosavesOfTheRule) {
    const RuleCase& row = GetParam();
    const Catalogue catalogue;
    const SelectedRows rows = catalogue.rows(row.selected);
    const RetentionChoice choice = row.rule == Rule::OlderThan
                                       ? RetentionRules::removeOlderAutosaves(rows, row.tag, kNow)
                                       : RetentionRules::removeAllExceptMostRecent(rows, row.tag);
    EXPECT_EQ(choice.ask, row.asks);
    EXPECT_EQ(names(choice.autosaves), row.chosen);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, RetentionRuleTable,
    ::testing::Values(
        RuleCase{"OlderThanKeepsOneExactlyNDaysOld", Rule::OlderThan, 7, {"A"}, true, {"a1"}},
        RuleCase{"OlderThanTakesEveryOldOneInRowOrder",
                 Rule::OlderThan,
                 1,
                 {"A", "B"},
                 true,
                 {"a1", "a2", "b1", "b2", "b3"}},
        RuleCase{"OlderThanCountsAnAutosaveTwiceWithItsProject",
                 Rule::OlderThan,
                 7,
                 {"A", "a1"},
                 true,
                 {"a1", "a1"}},
        RuleCase{"OlderThanTestsASingleAutosaveRow", Rule::OlderThan, 7, {"a3", "b1"}, true, {"b1"}},
        RuleCase{"OlderThanAsksNothingWhenNothingIsOldEnough", Rule::OlderThan, 7, {"D", "a3"}, false, {}},
        RuleCase{"OlderThanNeverTakesAnAutosaveWithoutDate", Rule::OlderThan, 1, {"C"}, true, {"c2"}},
        RuleCase{"OlderThanZeroDaysDoesNothing", Rule::OlderThan, 0, {"B"}, false, {}},
        RuleCase{"OlderThanNegativeDaysDoesNothing", Rule::OlderThan, -3, {"B"}, false, {}},
        RuleCase{"OlderThanWithoutSelectionDoesNothing", Rule::OlderThan, 7, {}, false, {}},
        RuleCase{"KeepTakesAllButTheNewest", Rule::KeepMostRecent, 1, {"A"}, true, {"a2", "a1"}},
        RuleCase{"KeepLeavesAProjectWithExactlyN", Rule::KeepMostRecent, 3, {"A"}, true, {}},
        RuleCase{"KeepStillAsksWithNothingChosen", Rule::KeepMostRecent, 1, {"D"}, true, {}},
        RuleCase{"KeepBreaksTiesByTheSortsOrder", Rule::KeepMostRecent, 2, {"B"}, true, {"b1"}},
        RuleCase{
            "KeepAlwaysTakesAnAutosaveRow", Rule::KeepMostRecent, 1, {"A", "a3"}, true, {"a2", "a1", "a3"}},
        RuleCase{"KeepTakesALoneAutosaveRow", Rule::KeepMostRecent, 5, {"d1"}, true, {"d1"}},
        RuleCase{"KeepCountsAnUndatedAutosaveAsOldest", Rule::KeepMostRecent, 1, {"C"}, true, {"c1"}},
        RuleCase{
            "KeepWorksProjectByProject", Rule::KeepMostRecent, 1, {"A", "B"}, true, {"a2", "a1", "b2", "b1"}},
        RuleCase{"KeepZeroDoesNothing", Rule::KeepMostRecent, 0, {"A"}, false, {}},
        RuleCase{"KeepWithoutSelectionDoesNothing", Rule::KeepMostRecent, 1, {}, false, {}}),
    [](const ::testing::TestParamInfo<RuleCase>& info) { return std::string(info.param.rowName); });

TEST(RetentionRules, KeepRuleLeavesTheProjectsOwnOrderAlone) {
    const Catalogue catalogue;
    const BMProjectPtr b = catalogue.projects[1];
    RetentionRules::removeAllExceptMostRecent(catalogue.rows({"B"}), 1);
    EXPECT_EQ(names(b->children()), (QStringList{"b1", "b2", "b3"}));
    EXPECT_EQ(names(RetentionRules::newestFirst(*b)), (QStringList{"b3", "b2", "b1"}));
}

struct QuestionCase {
    const char* rowName;
    qsizetype count;
    const char* remove;
    const char* open;
};

class QuestionTexts : public ::testing::TestWithParam<QuestionCase> {};

TEST_P(QuestionTexts, AreFilledWithTheCount) {
    const ActionQuestion remove = ActionTexts::removeQuestion(GetParam().count);
    EXPECT_EQ(remove.message, QString::fromUtf8(GetParam().remove));
    EXPECT_EQ(remove.defaultButton, "Remove");
    EXPECT_EQ(remove.alternateButton, "Cancel");
    EXPECT_EQ(remove.informative, "This cannot be undone.");
    const ActionQuestion open = ActionTexts::openQuestion(GetParam().count);
    EXPECT_EQ(open.message, QString::fromUtf8(GetParam().open));
    EXPECT_EQ(open.defaultButton, "Open");
    EXPECT_EQ(open.alternateButton, "Cancel");
    EXPECT_EQ(open.informative, "Opening a large number of autosaves at once could slow down your computer.");
}

INSTANTIATE_TEST_SUITE_P(
    Counts, QuestionTexts,
    ::testing::Values(QuestionCase{"None", 0, "Are you sure you wish to remove 0 autosaves?",
                                   "Are you sure you wish to open 0 items?"},
                      QuestionCase{"One", 1, "Are you sure you wish to remove this autosave?",
                                   "Are you sure you wish to open 1 item?"},
                      QuestionCase{"Two", 2, "Are you sure you wish to remove 2 autosaves?",
                                   "Are you sure you wish to open 2 items?"},
                      QuestionCase{"ThousandsUngrouped", 12000,
                                   "Are you sure you wish to remove 12000 autosaves?",
                                   "Are you sure you wish to open 12000 items?"}),
    [](const ::testing::TestParamInfo<QuestionCase>& info) { return std::string(info.param.rowName); });
