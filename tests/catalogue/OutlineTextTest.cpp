#include "catalogue/OutlineText.h"

#include "CatalogueTestSupport.h"

#include <QTimeZone>

#include <gtest/gtest.h>

using namespace CatalogueTest;

namespace {

OutlineText english() {
    return OutlineText(QLocale(QLocale::English, QLocale::UnitedStates), QTimeZone::utc());
}

// 2026-11-22 22:25:41 UTC
QDateTime evening() {
    return at(12 * 3600 + 25 * 60 + 41);
}

} // namespace

struct SizeRow {
    const char* rowName;
    const char* locale;
    double bytes;
    const char* text;
};

class OutlineFileSize : public ::testing::TestWithParam<SizeRow> {};

TEST_P(OutlineFileSize, IsWrittenInUnitsOf1024) {
    const SizeRow& row = GetParam();
    const OutlineText text{QLocale(QString::fromLatin1(row.locale)), QTimeZone::utc()};
    EXPECT_EQ(text.formatFileSize(row.bytes), QString::fromUtf8(row.text));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineFileSize,
    ::testing::Values(SizeRow{"Zero", "en_US", 0, "0 B"},
                      SizeRow{"BytesAreGrouped", "en_US", 1023, "1,023 B"},
                      SizeRow{"OneKilobyte", "en_US", 1024, "1 KB"},
                      SizeRow{"OneFractionDigitWhenTheSecondIsZero", "en_US", 1536, "1.5 KB"},
                      SizeRow{"TwoFractionDigitsAtMost", "en_US", 1180, "1.15 KB"},
                      SizeRow{"ExactHalfRoundsToEven", "en_US", 1152, "1.12 KB"},
                      SizeRow{"ExactHalfRoundsUpToEven", "en_US", 1160, "1.13 KB"},
                      SizeRow{"JustBelowAMegabyteRoundsUp", "en_US", 1048575, "1,024 KB"},
                      SizeRow{"OneMegabyte", "en_US", 1048576, "1 MB"},
                      SizeRow{"Megabytes", "en_US", 5.25 * 1048576, "5.25 MB"},
                      SizeRow{"OneGigabyte", "en_US", 1073741824, "1 GB"},
                      SizeRow{"GigabytesAreGroupedToo", "en_US", 1234.5 * 1073741824, "1,234.5 GB"},
                      SizeRow{"GermanSeparators", "de_DE", 1023 + 0.0, "1.023 B"},
                      SizeRow{"GermanDecimalComma", "de_DE", 1536, "1,5 KB"},
                      SizeRow{"CLocaleStillGroups", "C", 1023, "1,023 B"}),
    [](const ::testing::TestParamInfo<SizeRow>& info) { return std::string(info.param.rowName); });

struct MediumFormatRow {
    const char* rowName;
    const char* locale;
    const char* date;
    const char* time;
};

class OutlineMediumFormats : public ::testing::TestWithParam<MediumFormatRow> {};

TEST_P(OutlineMediumFormats, DropWeekdayAndTimeZone) {
    const MediumFormatRow& row = GetParam();
    const QLocale locale(QString::fromLatin1(row.locale));
    EXPECT_EQ(OutlineText::mediumDateFormat(locale), QString::fromUtf8(row.date));
    EXPECT_EQ(OutlineText::mediumTimeFormat(locale), QString::fromUtf8(row.time));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineMediumFormats,
    ::testing::Values(MediumFormatRow{"English", "en_US", "MMM d, yyyy", "h:mm:ss AP"},
                      MediumFormatRow{"CLocale", "C", "d MMM yyyy", "HH:mm:ss"},
                      MediumFormatRow{"German", "de_DE", "d. MMM yyyy", "HH:mm:ss"},
                      MediumFormatRow{"WeekdayLastKeepsTheDayMark", "ja_JP", "yyyy年M月d日", "H時mm分ss秒"}),
    [](const ::testing::TestParamInfo<MediumFormatRow>& info) { return std::string(info.param.rowName); });

TEST(OutlineText, ItemDateUsesMediumStylesInTheUsersZone) {
    EXPECT_EQ(english().itemDateText(evening()), "Nov 22, 2026 10:25:41 PM");
    const OutlineText berlin(QLocale(QLocale::English, QLocale::UnitedStates), QTimeZone("Europe/Berlin"));
    EXPECT_EQ(berlin.itemDateText(evening()), "Nov 22, 2026 11:25:41 PM");
    const OutlineText c(QLocale::c(), QTimeZone::utc());
    EXPECT_EQ(c.itemDateText(evening()), "22 Nov 2026 22:25:41");
    EXPECT_EQ(english().itemDateText(QDateTime()), "");
}

struct ProjectDateRow {
    const char* rowName;
    qint64 start; // seconds from 2026-11-22 10:00:00 UTC; kMissing for none
    qint64 end;
    const char* text;
};

constexpr qint64 kMissing = std::numeric_limits<qint64>::min();

class OutlineProjectDate : public ::testing::TestWithParam<ProjectDateRow> {};

TEST_P(OutlineProjectDate, FollowsTheRangeRules) {
    const ProjectDateRow& row = GetParam();
    auto date = [](qint64 seconds) { return seconds == kMissing ? QDateTime() : at(seconds); };
    EXPECT_EQ(english().projectDateText(date(row.start), date(row.end)), QString::fromUtf8(row.text));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineProjectDate,
    ::testing::Values(
        ProjectDateRow{"NoStart", kMissing, 0, ""}, ProjectDateRow{"NoEnd", 0, kMissing, ""},
        ProjectDateRow{"OneDateShowsDateAndTime", 3, 3, "Nov 22, 2026 10:00:03 AM"},
        ProjectDateRow{"SameDay", -3600 - 5 * 60 + 3, 12 * 3600 + 25 * 60 + 41,
                       "11/22/2026 08:55:03 - 10:25:41 PM"},
        ProjectDateRow{"TwoDaysApartStillEndsAsATime", -86400 * 2, 3600, "11/20/2026 10:00:00 - 11:00:00 AM"},
        ProjectDateRow{"StartAfterEndStillEndsAsATime", 86400 * 3, 0, "11/25/2026 10:00:00 - 10:00:00 AM"}),
    [](const ::testing::TestParamInfo<ProjectDateRow>& info) { return std::string(info.param.rowName); });

TEST(OutlineText, ProjectStartIgnoresTheLocaleButNotTheZone) {
    const OutlineText german(QLocale(QLocale::German, QLocale::Germany), QTimeZone("Europe/Berlin"));
    EXPECT_EQ(german.projectDateText(at(0), at(60)), "11/22/2026 11:00:00 - 11:01:00");
}

TEST(OutlineText, CellTextsByColumn) {
    const BMProjectPtr project = BMProject::projectType(2, "Edit", "/a/Edit");
    project->setChildren({item("Edit-1.prproj", 1536, 3), item("Edit-2.prproj", 1024, 3)});
    const BMAutoItemPtr first = project->children().first();
    const OutlineText text = english();
    EXPECT_EQ(text.cellText(*project, u"colName"), "Edit");
    EXPECT_EQ(text.cellText(*project, u"colSize"), "2.5 KB");
    EXPECT_EQ(text.cellText(*project, u"colDate"), "Nov 22, 2026 10:00:03 AM");
    EXPECT_EQ(text.cellText(*first, u"colName"), "Edit-1.prproj");
    EXPECT_EQ(text.cellText(*first, u"colSize"), "1.5 KB");
    EXPECT_EQ(text.cellText(*first, u"colDate"), "Nov 22, 2026 10:00:03 AM");
    EXPECT_TRUE(text.cellText(*first, u"colKind").isNull());
    EXPECT_TRUE(text.cellText(*project, u"").isNull());
}
