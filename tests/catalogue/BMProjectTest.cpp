#include "CatalogueTestSupport.h"
#include "catalogue/RecentWriteGuard.h"

#include <gtest/gtest.h>

using namespace CatalogueTest;

namespace {

BMProjectPtr projectWith(const BMAutoItemList& children) {
    BMProjectPtr project = BMProject::projectType(2, "Edit", "/autosaves/Edit");
    project->setChildren(children);
    return project;
}

// "size start..end" in seconds from the fixed origin; "-" for a missing date.
QString rangeOf(const BMProject& project) {
    auto seconds = [](const QDateTime& date) {
        return date.isValid() ? QString::number(at(0).secsTo(date)) : "-";
    };
    return QStringLiteral("%1 %2..%3")
        .arg(project.fileSize())
        .arg(seconds(project.startDate()), seconds(project.endDate()));
}

} // namespace

TEST(BMProject, SizeAndDatesSpanTheChildrenInAnyOrderAndUndatedOnesTakeNoPart) {
    constexpr qint64 kNoDate = -1; // the file system gave none
    QStringList ranges;
    for (const QList<qint64>& dates :
         QList<QList<qint64>>{{}, {50, -20, 90, -20}, {kNoDate, 40, 10}, {kNoDate}}) {
        BMAutoItemList children;
        for (qint64 seconds : dates)
            children << BMAutoItem::autoItemType(0, "x", "/x", seconds == kNoDate ? QDateTime() : at(seconds),
                                                 2.0);
        const BMProjectPtr project = projectWith(children);
        ranges << rangeOf(*project);
        EXPECT_EQ(project->children(), children); // no reordering
    }
    EXPECT_EQ(ranges, (QStringList{"0 -..-", "8 -20..90", "6 10..40", "2 -..-"}));
}

TEST(BMProject, AddAndRemoveKeepTheInvariantAndParentNeverDangles) {
    const BMAutoItemPtr twice = item("t", 4, 100), other = item("o", 1, 0), added = item("b", 2, -5);
    BMProjectPtr project = projectWith({twice, other, twice});
    project->addChild(added);
    EXPECT_EQ(added->parent(), project);
    EXPECT_EQ(rangeOf(*project), "11 -5..100");
    project->removeChild(twice); // every occurrence
    EXPECT_EQ(namesOf(project->children()), (QStringList{"o", "b"}));
    EXPECT_EQ(rangeOf(*project), "3 -5..0");
    project->removeChild(item("o", 1, 0)); // a look-alike is another autosave
    EXPECT_EQ(project->childCount(), 2);
    project.reset();
    EXPECT_EQ(added->parent(), nullptr) << "outlived its project: a null parent, not a dangling one";
}

// A share's clock ahead of this computer's, or a laptop set to a later year.
TEST(RecentWriteGuardText, AFileDatedAfterNowIsGuardedButNotCalledJustWritten) {
    const BMAutoItemPtr copy = item("Edit-1.prproj", 1, 0);
    const RecentWriteGuard guard(10);
    for (const auto& [ahead, text] :
         {std::pair{qint64(30), "written less than a minute ago"},
          {qint64(60), "dated 1 minute ahead of this computer's clock"},
          {qint64(3 * 86400), "dated 4320 minutes ahead of this computer's clock"}}) {
        copy->setModifiedMsecs(at(ahead).toMSecsSinceEpoch());
        EXPECT_TRUE(guard.guards(*copy, at(0)));
        EXPECT_EQ(RecentWriteGuard::writtenText(*copy, at(0)), text);
    }
}
