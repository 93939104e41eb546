#include "CatalogueTestSupport.h"
#include "catalogue/OutlineSorting.h"
#include "catalogue/OutlineText.h"

#include <QTimeZone>

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

OutlineText text(const char* locale = "en_US", const char* zone = "UTC") {
    return OutlineText(QLocale(QString::fromLatin1(locale)), QTimeZone(zone));
}
constexpr qint64 kEvening = 12 * 3600 + 25 * 60 + 41; // 22:25:41 UTC
constexpr qint64 kNone = std::numeric_limits<qint64>::min();

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

struct SizeRow {
    const char* rowName;
    double bytes;
    const char* text;
    const char* locale = "en_US";
};

class OutlineFileSize : public ::testing::TestWithParam<SizeRow> {};

TEST_P(OutlineFileSize, IsWrittenInUnitsOf1024) {
    EXPECT_EQ(text(GetParam().locale).formatFileSize(GetParam().bytes), QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineFileSize,
    ::testing::Values(SizeRow{"Zero", 0, "0 B"}, SizeRow{"BytesAreGrouped", 1023, "1,023 B"},
                      SizeRow{"OneFractionDigitWhenEnough", 1536, "1.5 KB"},
                      SizeRow{"TwoFractionDigitsAtMost", 1180, "1.15 KB"},
                      SizeRow{"ExactHalfRoundsToEvenDown", 1152, "1.12 KB"},
                      SizeRow{"ExactHalfRoundsToEvenUp", 1160, "1.13 KB"},
                      SizeRow{"JustBelowAMegabyte", 1048575, "1,024 KB"},
                      SizeRow{"OneMegabyte", 1048576, "1 MB"},
                      SizeRow{"GigabytesAreGroupedToo", 1234.5 * 1073741824, "1,234.5 GB"},
                      SizeRow{"GermanSeparators", 1023 + 1536 * 1024.0, "1,5 MB", "de_DE"},
                      SizeRow{"CLocaleStillGroups", 1023, "1,023 B", "C"}),
    [](const auto& info) { return std::string(info.param.rowName); });

struct DateRow {
    const char* rowName;
    qint64 start; // kNone: no date
    qint64 end;
    const char* text;
    const char* locale = "en_US";
    const char* zone = "UTC";
};

class OutlineDates : public ::testing::TestWithParam<DateRow> {};

// Rows with only a start are items; the others are projects.
TEST_P(OutlineDates, AreWrittenAsTheOutlineShowsThem) {
    const DateRow& row = GetParam();
    auto date = [](qint64 seconds) { return seconds == kNone ? QDateTime() : at(seconds); };
    const OutlineText outline = text(row.locale, row.zone);
    const QString shown = QByteArray(row.rowName).startsWith("Item")
                              ? outline.itemDateText(date(row.start))
                              : outline.projectDateText(date(row.start), date(row.end));
    EXPECT_EQ(shown, QString::fromUtf8(row.text));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineDates,
    ::testing::Values(
        DateRow{"ItemMediumStyles", kEvening, kNone, "Nov 22, 2026 10:25:41 PM"},
        DateRow{"ItemInTheUsersZone", kEvening, kNone, "Nov 22, 2026 11:25:41 PM", "en_US", "Europe/Berlin"},
        DateRow{"ItemCLocale", kEvening, kNone, "22 Nov 2026 22:25:41", "C"},
        DateRow{"ItemWithoutDate", kNone, kNone, ""}, DateRow{"ProjectWithoutStart", kNone, 0, ""},
        DateRow{"ProjectWithoutEnd", 0, kNone, ""},
        DateRow{"ProjectOfOneDate", 3, 3, "Nov 22, 2026 10:00:03 AM"},
        DateRow{"ProjectSameDay", -3897, kEvening, "11/22/2026 08:55:03 - 10:25:41 PM"},
        DateRow{"ProjectOverDaysEndsAsATime", -86400 * 2, 3600, "11/20/2026 10:00:00 - 11:00:00 AM"},
        DateRow{"ProjectStartAfterEnd", 86400 * 3, 0, "11/25/2026 10:00:00 - 10:00:00 AM"},
        DateRow{"ProjectStartIgnoresLocaleNotZone", 0, 60, "11/22/2026 11:00:00 - 11:01:00", "de_DE",
                "Europe/Berlin"}),
    [](const auto& info) { return std::string(info.param.rowName); });
