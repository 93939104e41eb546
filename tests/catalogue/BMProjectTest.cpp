#include "catalogue/BMProject.h"

#include "CatalogueTestSupport.h"
#include "catalogue/AutosaveType.h"

#include <gtest/gtest.h>
#include <thread>

using namespace CatalogueTest;

namespace {

BMProjectPtr projectWith(const BMAutoItemList& children, const QString& name = QStringLiteral("Edit")) {
    BMProjectPtr project =
        BMProject::projectType(AutosaveType::Premiere, name, QStringLiteral("/autosaves/") + name);
    project->setChildren(children);
    return project;
}

} // namespace

TEST(BMAutoItem, FactorySetsEveryFieldAndNoParent) {
    const BMAutoItemPtr made = BMAutoItem::autoItemType(3, "b.avb", "/a/Bins/x/b.avb", at(5), 512.0);
    EXPECT_EQ(made->type(), 3);
    EXPECT_EQ(made->name(), "b.avb");
    EXPECT_EQ(made->path(), "/a/Bins/x/b.avb");
    EXPECT_EQ(made->createdDate(), at(5));
    EXPECT_EQ(made->fileSize(), 512.0);
    EXPECT_EQ(made->parent(), nullptr);
}

TEST(BMAutoItem, MissingDateStaysMissing) {
    const BMAutoItemPtr made = BMAutoItem::autoItemType(3, "b.avb", "/b.avb", QDateTime(), 0.0);
    EXPECT_FALSE(made->createdDate().isValid());
    // Dates keep their milliseconds through the atomic form.
    made->setCreatedDate(at(0).addMSecs(7));
    EXPECT_EQ(made->createdDate(), at(0).addMSecs(7));
}

TEST(BMProject, EmptyProjectHasNoSizeAndNoDates) {
    const BMProjectPtr project = projectWith({});
    EXPECT_EQ(project->fileSize(), 0.0);
    EXPECT_FALSE(project->startDate().isValid());
    EXPECT_FALSE(project->endDate().isValid());
    EXPECT_EQ(project->type(), AutosaveType::Premiere);
}

TEST(BMProject, OneChildGivesEqualBounds) {
    const BMProjectPtr project = projectWith({item("a", 10, 30)});
    EXPECT_EQ(project->startDate(), at(30));
    EXPECT_EQ(project->endDate(), at(30));
    EXPECT_EQ(project->fileSize(), 10.0);
}

TEST(BMProject, BoundsSpanChildrenInAnyOrderAndKeepTheirOrder) {
    const BMProjectPtr project =
        projectWith({item("b", 1, 50), item("a", 2, -20), item("c", 4, 90), item("d", 8, -20)});
    EXPECT_EQ(project->startDate(), at(-20));
    EXPECT_EQ(project->endDate(), at(90));
    EXPECT_EQ(project->fileSize(), 15.0);
    EXPECT_EQ(namesOf(project->children()), (QStringList{"b", "a", "c", "d"}));
}

TEST(BMProject, ChildrenWithoutDateTakeNoPartInTheRange) {
    const BMAutoItemPtr undated = BMAutoItem::autoItemType(3, "u", "/u", QDateTime(), 5.0);
    EXPECT_EQ(projectWith({undated, item("a", 1, 40), item("b", 1, 10)})->startDate(), at(10));
    EXPECT_EQ(projectWith({item("a", 1, 40), undated})->endDate(), at(40));
    // A single undated child is still "the one child": no dates at all.
    const BMProjectPtr alone = projectWith({undated});
    EXPECT_FALSE(alone->startDate().isValid());
    EXPECT_EQ(alone->fileSize(), 5.0);
}

TEST(BMProject, SetChildrenMakesTheProjectEveryParent) {
    const BMAutoItemPtr a = item("a", 1, 0);
    const BMAutoItemPtr b = item("b", 1, 0);
    const BMProjectPtr first = projectWith({a, b});
    EXPECT_EQ(a->parent(), first);
    EXPECT_EQ(b->parent(), first);
    // Handing an item to another project moves the back reference.
    const BMProjectPtr second = projectWith({b});
    EXPECT_EQ(b->parent(), second);
    EXPECT_EQ(a->parent(), first);
}

TEST(BMProject, ParentNeverOutlivesTheProject) {
    BMAutoItemPtr survivor = item("a", 1, 0);
    {
        BMProjectPtr project = projectWith({survivor});
        ASSERT_EQ(survivor->parent(), project);
    }
    EXPECT_EQ(survivor->parent(), nullptr);
    EXPECT_EQ(survivor->name(), "a");
}

TEST(BMProject, ProjectHandedToAnotherThreadKeepsItsItems) {
    BMProjectPtr received;
    std::weak_ptr<BMAutoItem> watched;
    std::thread worker([&] {
        BMAutoItemPtr made = item("a", 3, 0);
        watched = made;
        received = projectWith({made});
    });
    worker.join();
    ASSERT_FALSE(watched.expired());
    EXPECT_EQ(received->children().first()->parent(), received);
    received.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(BMProject, AddChildKeepsTheInvariant) {
    const BMProjectPtr project = projectWith({item("a", 1, 10)});
    const BMAutoItemPtr added = item("b", 2, -5);
    project->addChild(added);
    EXPECT_EQ(namesOf(project->children()), (QStringList{"a", "b"}));
    EXPECT_EQ(added->parent(), project);
    EXPECT_EQ(project->fileSize(), 3.0);
    EXPECT_EQ(project->startDate(), at(-5));
    EXPECT_EQ(project->endDate(), at(10));
}

TEST(BMProject, RemoveChildRemovesEveryOccurrence) {
    const BMAutoItemPtr twice = item("t", 4, 100);
    const BMAutoItemPtr other = item("o", 1, 0);
    const BMProjectPtr project = projectWith({twice, other, twice});
    EXPECT_EQ(project->fileSize(), 9.0);
    project->removeChild(twice);
    EXPECT_EQ(namesOf(project->children()), (QStringList{"o"}));
    EXPECT_EQ(project->fileSize(), 1.0);
    EXPECT_EQ(project->endDate(), at(0));
    // An equal-looking but different item is not the same autosave.
    project->removeChild(item("o", 1, 0));
    EXPECT_EQ(project->childCount(), 1);
    project->removeChild(other);
    EXPECT_EQ(project->childCount(), 0);
    EXPECT_FALSE(project->startDate().isValid());
}

TEST(BMProject, ComparatorsUseTheirOwnFields) {
    const BMProjectPtr early = projectWith({item("x", 5, 0), item("y", 5, 500)}, "alpha");
    const BMProjectPtr late = projectWith({item("z", 1, 100), item("w", 1, 200)}, "Beta");
    EXPECT_TRUE(early->nameCompare(*late) < 0);
    EXPECT_TRUE(early->nameCompare(*projectWith({}, "ALPHA")) == 0);
    EXPECT_TRUE(early->dateCompareEarly(*late) < 0); // starts 0 and 100
    EXPECT_TRUE(early->dateCompareLate(*late) > 0);  // ends 500 and 200
    EXPECT_TRUE(early->sizeCompare(*late) > 0);
    EXPECT_TRUE(early->sizeCompare(*early) == 0);
}

TEST(BMProject, ReverseArrayReversesExactly) {
    EXPECT_EQ(BMProject::reverseArray(QList<int>{1, 2, 3, 2}), (QList<int>{2, 3, 2, 1}));
    EXPECT_EQ(BMProject::reverseArray(QList<int>{}), QList<int>{});
}

struct ChildSortRow {
    const char* rowName;
    void (BMProject::*sort)(bool);
    bool descending;
    QStringList expected;
};

class BMProjectChildSort : public ::testing::TestWithParam<ChildSortRow> {};

// Children: name, size, seconds. "b1" and "b2" tie on every key but name; "beta" and "Beta"
// tie on name.
TEST_P(BMProjectChildSort, SortsChildrenAndKeepsTheInvariant) {
    const ChildSortRow& row = GetParam();
    const BMAutoItemList children{item("beta", 30, 20), item("alpha", 10, 30), item("Beta", 20, 10),
                                  item("b1", 5, 0), item("b2", 5, 0)};
    const BMProjectPtr project = projectWith(children);
    const double size = project->fileSize();
    ((*project).*row.sort)(row.descending);
    EXPECT_EQ(namesOf(project->children()), row.expected);
    for (const BMAutoItemPtr& child : project->children())
        EXPECT_EQ(child->parent(), project);
    EXPECT_EQ(project->fileSize(), size);
    EXPECT_EQ(project->startDate(), at(0));
    EXPECT_EQ(project->endDate(), at(30));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BMProjectChildSort,
    ::testing::Values(
        ChildSortRow{"NameAscendingIgnoresCase",
                     &BMProject::sortChildrenByName,
                     false,
                     {"alpha", "b1", "b2", "beta", "Beta"}},
        ChildSortRow{"NameDescendingIsTheExactReverse",
                     &BMProject::sortChildrenByName,
                     true,
                     {"Beta", "beta", "b2", "b1", "alpha"}},
        ChildSortRow{
            "DateAscending", &BMProject::sortChildrenByDate, false, {"b1", "b2", "Beta", "beta", "alpha"}},
        ChildSortRow{"DateDescendingReversesTies",
                     &BMProject::sortChildrenByDate,
                     true,
                     {"alpha", "beta", "Beta", "b2", "b1"}},
        ChildSortRow{
            "SizeAscending", &BMProject::sortChildrenBySize, false, {"b1", "b2", "alpha", "Beta", "beta"}},
        ChildSortRow{"SizeDescendingReversesTies",
                     &BMProject::sortChildrenBySize,
                     true,
                     {"beta", "Beta", "alpha", "b2", "b1"}}),
    [](const ::testing::TestParamInfo<ChildSortRow>& info) { return std::string(info.param.rowName); });

TEST(BMProject, UndatedChildrenSortFirst) {
    const BMProjectPtr project =
        projectWith({item("dated", 1, 0), BMAutoItem::autoItemType(3, "undated", "/u", QDateTime(), 1.0)});
    project->sortChildrenByDate(false);
    EXPECT_EQ(namesOf(project->children()), (QStringList{"undated", "dated"}));
}
