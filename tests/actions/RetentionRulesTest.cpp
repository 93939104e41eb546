#include "actions/RetentionRules.h"

#include "ActionsFixture.h"
#include "actions/ActionTexts.h"

#include <QTimeZone>

namespace {

const QDateTime kNow = QDateTime(QDate(2026, 11, 22), QTime(10, 0), QTimeZone::utc());
constexpr qint64 kDay = 86400 * 1000;

BMProjectPtr projectOf(const QString& name,
                       const QList<std::pair<QString, std::optional<qint64>>>& msecsAgo) {
    BMProjectPtr project = BMProject::projectType(2, name, "/p/" + name);
    BMAutoItemList items;
    for (const auto& [item, ago] : msecsAgo)
        items << BMAutoItem::autoItemType(2, item, "/p/" + item, ago ? kNow.addMSecs(-*ago) : QDateTime(),
                                          10);
    project->setChildren(items);
    return project;
}

QString names(const BMAutoItemList& items) {
    QStringList names;
    for (const BMAutoItemPtr& item : items)
        names << item->name();
    return names.join(' ');
}

struct RuleCase {
    const char* rowName;
    bool keepRule; // else the age rule
    int tag;
    const char* selected; // "A" is a project row, "a1" an autosave row
    bool asks;
    const char* chosen;
};

class RetentionRuleTable : public ::testing::TestWithParam<RuleCase> {};

} // namespace

TEST_P(RetentionRuleTable, ChoosesTheAutosavesOfTheRule) {
    // A: a hair older than 7 days, exactly 7 days, a day old. B: two of the same date 30 days
    // ago, one 2 days old. C: one without a date, one 100 days old. D: one an hour old.
    const BMProjectList projects{
        projectOf("A", {{"a1", 7 * kDay + 1}, {"a2", 7 * kDay}, {"a3", kDay}}),
        projectOf("B", {{"b1", 30 * kDay}, {"b2", 30 * kDay}, {"b3", 2 * kDay}}),
        projectOf("C", {{"c1", std::nullopt}, {"c2", 100 * kDay}}),
        projectOf("D", {{"d1", kDay / 24}}),
    };
    const RuleCase& row = GetParam();
    const SelectedRows rows = selectRows(projects, QString(row.selected).split(' ', Qt::SkipEmptyParts));
    const RetentionChoice choice = row.keepRule ? RetentionRules::removeAllExceptMostRecent(rows, row.tag)
                                                : RetentionRules::removeOlderAutosaves(rows, row.tag, kNow);
    EXPECT_EQ(choice.ask, row.asks);
    EXPECT_EQ(names(choice.autosaves), row.chosen);
    if (!row.keepRule) {
        EXPECT_EQ(names(projects[1]->children()), "b1 b2 b3"); // the age rule reorders nothing
    }
}

TEST(KeepRule, LeavesTheProjectsItThinsOutNewestFirstAndNoOtherReordered) {
    const BMProjectList projects{
        projectOf("A", {{"a1", 3 * kDay}, {"a2", std::nullopt}, {"a3", kDay}, {"a4", 2 * kDay}}),
        projectOf("B", {{"b1", 2 * kDay}, {"b2", kDay}}),
    };
    const SelectedRows rows = selectRows(projects, {"A", "B", "b1"});
    const RetentionChoice choice = RetentionRules::removeAllExceptMostRecent(rows, 2);
    EXPECT_EQ(names(choice.autosaves), "a1 a2 b1");
    EXPECT_EQ(names(projects[0]->children()), "a3 a4 a1 a2");
    EXPECT_EQ(names(projects[1]->children()), "b1 b2"); // no more than it keeps: not sorted
    // Still a whole project: its size and date range are those of the same autosaves.
    EXPECT_EQ(projects[0]->fileSize(), 40.0);
    EXPECT_EQ(projects[0]->endDate(), kNow.addMSecs(-kDay));
}

INSTANTIATE_TEST_SUITE_P(
    Rules, RetentionRuleTable,
    ::testing::Values(RuleCase{"AgeKeepsOneExactlyNDaysOld", false, 7, "A", true, "a1"},
                      RuleCase{"AgeTakesEveryOldOneInRowOrder", false, 1, "B A", true, "b1 b2 b3 a1 a2"},
                      RuleCase{"AgeCountsAnAutosaveTwiceWithItsProject", false, 7, "A a1", true, "a1 a1"},
                      RuleCase{"AgeTestsASingleAutosaveRow", false, 7, "a3 b1", true, "b1"},
                      RuleCase{"AgeAsksNothingWhenNothingIsOldEnough", false, 7, "D a3", false, ""},
                      RuleCase{"AgeNeverTakesAnAutosaveWithoutDate", false, 1, "C", true, "c2"},
                      RuleCase{"AgeOfZeroDaysDoesNothing", false, 0, "B", false, ""},
                      RuleCase{"KeepLeavesAProjectWithExactlyN", true, 3, "A", true, ""},
                      RuleCase{"KeepBreaksTiesByTheSortsOrder", true, 2, "B", true, "b1"},
                      RuleCase{"KeepAlwaysTakesAnAutosaveRow", true, 1, "A a3 d1", true, "a2 a1 a3 d1"},
                      RuleCase{"KeepCountsAnUndatedAutosaveAsOldest", true, 1, "C", true, "c1"},
                      RuleCase{"KeepWorksProjectByProject", true, 1, "A B", true, "a2 a1 b2 b1"},
                      RuleCase{"KeepOfZeroDoesNothing", true, 0, "A", false, ""}),
    [](const ::testing::TestParamInfo<RuleCase>& info) { return std::string(info.param.rowName); });

// Counts are plain numbers whatever the locale: never "12,000".
TEST(ActionQuestions, WriteLargeCountsWithoutGrouping) {
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(ActionTexts::removeQuestion(12000).message, "Are you sure you wish to remove 12000 autosaves?");
    EXPECT_EQ(ActionTexts::openQuestion(12000).message, "Are you sure you wish to open 12000 items?");
    QLocale::setDefault(previous);
}
