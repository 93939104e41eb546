#include "catalogue/OutlineSorting.h"

#include "CatalogueTestSupport.h"

#include <gtest/gtest.h>

using namespace CatalogueTest;

namespace {

// alpha: autosaves at 100 and 900, 30 bytes; Beta: at 0 and 200, 300 bytes; gamma: at 50 and
// 1000, 3 bytes. Every key orders them differently.
BMProjectList catalogue() {
    auto project = [](const QString& name, const BMAutoItemList& items) {
        BMProjectPtr made = BMProject::projectType(2, name, "/a/" + name);
        made->setChildren(items);
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
    EXPECT_EQ(sorted.first()->children().first()->parent(), sorted.first());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineSort,
    ::testing::Values(
        SortRow{"Name", "colName", false, {"alpha", "Beta", "gamma"}, {"a1", "a2"}},
        SortRow{"NameDescending", "colName", true, {"gamma", "Beta", "alpha"}, {"g2", "G1"}},
        SortRow{"DateByFirstAutosave", "colDate", false, {"Beta", "gamma", "alpha"}, {"b2", "B1"}},
        SortRow{"DateDescendingByLastAutosave", "colDate", true, {"gamma", "alpha", "Beta"}, {"g2", "G1"}},
        SortRow{"Size", "colSize", false, {"gamma", "alpha", "Beta"}, {"G1", "g2"}},
        SortRow{"SizeDescending", "colSize", true, {"Beta", "alpha", "gamma"}, {"B1", "b2"}},
        SortRow{"AnyOtherColumnBySize", "colKind", false, {"gamma", "alpha", "Beta"}, {"G1", "g2"}}),
    [](const auto& info) { return std::string(info.param.rowName); });

TEST(OutlineSort, DescendingIsTheExactReverseEvenForEqualKeys) {
    BMProjectList twins;
    for (const char* name : {"one", "two", "three"}) {
        twins << BMProject::projectType(3, name, name);
        twins.last()->setChildren({item("x", 7, 0)});
    }
    EXPECT_EQ(namesOf(OutlineSorting::sortProjects(twins, u"colSize", false)),
              (QStringList{"one", "two", "three"}));
    EXPECT_EQ(namesOf(OutlineSorting::sortProjects(twins, u"colSize", true)),
              (QStringList{"three", "two", "one"}));
}
