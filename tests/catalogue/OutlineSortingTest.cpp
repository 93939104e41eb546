#include "catalogue/OutlineSorting.h"

#include "CatalogueTestSupport.h"
#include "foundation/BMSettings.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"

#include <gtest/gtest.h>

using namespace CatalogueTest;

namespace {

// Three projects whose orders differ by every key:
//   alpha:  first autosave at 100, last at 900, 30 bytes
//   Beta:   first at   0, last at 200, 300 bytes
//   gamma:  first at  50, last at 1000, 3 bytes
BMProjectList catalogue() {
    auto project = [](const QString& name, BMAutoItemList items) {
        BMProjectPtr made = BMProject::projectType(2, name, "/a/" + name);
        made->setChildren(std::move(items));
        return made;
    };
    return {project("gamma", {item("g2", 2, 1000), item("G1", 1, 50)}),
            project("alpha", {item("a1", 10, 900), item("a2", 20, 100)}),
            project("Beta", {item("b2", 100, 0), item("B1", 200, 200)})};
}

} // namespace

struct SortRow {
    const char* rowName;
    const char* column;
    bool descending;
    QStringList projects;
    QStringList firstProjectChildren;
};

class OutlineSort : public ::testing::TestWithParam<SortRow> {};

TEST_P(OutlineSort, OrdersProjectsAndTheirChildren) {
    const SortRow& row = GetParam();
    const BMProjectList sorted =
        OutlineSorting::sortProjects(catalogue(), QString::fromLatin1(row.column), row.descending);
    EXPECT_EQ(namesOf(sorted), row.projects);
    EXPECT_EQ(namesOf(sorted.first()->children()), row.firstProjectChildren);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineSort,
    ::testing::Values(
        SortRow{"NameAscending", "colName", false, {"alpha", "Beta", "gamma"}, {"a1", "a2"}},
        SortRow{"NameDescending", "colName", true, {"gamma", "Beta", "alpha"}, {"g2", "G1"}},
        // Oldest first autosave first...
        SortRow{"DateAscendingByFirstAutosave", "colDate", false, {"Beta", "gamma", "alpha"}, {"b2", "B1"}},
        // ...but newest last autosave first.
        SortRow{"DateDescendingByLastAutosave", "colDate", true, {"gamma", "alpha", "Beta"}, {"g2", "G1"}},
        SortRow{"SizeAscending", "colSize", false, {"gamma", "alpha", "Beta"}, {"G1", "g2"}},
        SortRow{"SizeDescending", "colSize", true, {"Beta", "alpha", "gamma"}, {"B1", "b2"}},
        SortRow{"AnyOtherColumnSortsBySize", "colKind", false, {"gamma", "alpha", "Beta"}, {"G1", "g2"}}),
    [](const ::testing::TestParamInfo<SortRow>& info) { return std::string(info.param.rowName); });

TEST(OutlineSort, DescendingIsTheExactReverseEvenForEqualKeys) {
    BMProjectList twins;
    for (const char* name : {"one", "two", "three"}) {
        BMProjectPtr project = BMProject::projectType(3, name, name);
        project->setChildren({item("x", 7, 0)});
        twins.append(project);
    }
    EXPECT_EQ(namesOf(OutlineSorting::sortProjects(twins, u"colSize", false)),
              (QStringList{"one", "two", "three"}));
    EXPECT_EQ(namesOf(OutlineSorting::sortProjects(twins, u"colSize", true)),
              (QStringList{"three", "two", "one"}));
}

TEST(OutlineSort, LeavesSizesDatesAndParentsAlone) {
    const BMProjectList sorted = OutlineSorting::sortProjects(catalogue(), u"colDate", true);
    for (const BMProjectPtr& project : sorted) {
        for (const BMAutoItemPtr& child : project->children())
            EXPECT_EQ(child->parent(), project);
    }
    EXPECT_EQ(sorted.first()->fileSize(), 3.0);
    EXPECT_EQ(sorted.first()->startDate(), at(50));
    EXPECT_EQ(sorted.first()->endDate(), at(1000));
}

class OutlineSortChoice : public TempHomeTest {};

TEST_F(OutlineSortChoice, FirstStartSortsTheFirstColumnAscending) {
    EXPECT_EQ(OutlineSorting::savedChoice(BMSettings::standard()),
              (OutlineSorting::Choice{"colName", false}));
}

TEST_F(OutlineSortChoice, SameHeaderTwiceTogglesAnotherSortsAscending) {
    BMSettings& settings = BMSettings::standard();
    QString previous = "unset";
    EXPECT_EQ(OutlineSorting::headerClicked(settings, "colDate", &previous),
              (OutlineSorting::Choice{"colDate", false}));
    EXPECT_EQ(previous, "");
    EXPECT_EQ(OutlineSorting::headerClicked(settings, "colDate", &previous),
              (OutlineSorting::Choice{"colDate", true}));
    EXPECT_EQ(OutlineSorting::headerClicked(settings, "colDate", &previous),
              (OutlineSorting::Choice{"colDate", false}));
    EXPECT_EQ(OutlineSorting::headerClicked(settings, "colDate", &previous),
              (OutlineSorting::Choice{"colDate", true}));
    EXPECT_EQ(OutlineSorting::headerClicked(settings, "colSize", &previous),
              (OutlineSorting::Choice{"colSize", false}));
    EXPECT_EQ(previous, "colDate");
    EXPECT_EQ(OutlineSorting::savedChoice(settings), (OutlineSorting::Choice{"colSize", false}));
}

TEST_F(OutlineSortChoice, EverySortIsRecordedUnderItsOwnPairOnDisk) {
    BMSettings& settings = BMSettings::standard();
    OutlineSorting::headerClicked(settings, "colName");
    OutlineSorting::recordSort(settings, {"colSize", true});
    const QVariantMap stored = PlistFile::readDictionary(settings.userFilePath()).value_or(QVariantMap());
    EXPECT_EQ(stored.value(SettingsKey::sortColumn).toString(), "colSize");
    EXPECT_EQ(stored.value(SettingsKey::sortDescending).toBool(), true);
    EXPECT_EQ(stored.value(SettingsKey::sortedColumn).toString(), "colName");
    EXPECT_EQ(stored.value(SettingsKey::sortedDescending).toBool(), false);
}
