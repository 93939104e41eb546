#include "catalogue/OutlineText.h"

#include "CatalogueTestSupport.h"

#include <QTimeZone>

#include <gtest/gtest.h>

using namespace CatalogueTest;

namespace {
OutlineText text(const char* locale = "en_US", const char* zone = "UTC") {
    return OutlineText(QLocale(QString::fromLatin1(locale)), QTimeZone(zone));
}
constexpr qint64 kEvening = 12 * 3600 + 25 * 60 + 41; // 22:25:41 UTC
constexpr qint64 kNone = std::numeric_limits<qint64>::min();
} // namespace

struct SizeRow {
    const char* rowName;
    const char* locale;
    double bytes;
    const char* text;
};

class OutlineFileSize : public ::testing::TestWithParam<SizeRow> {};

TEST_P(OutlineFileSize, IsWrittenInUnitsOf1024) {
    EXPECT_EQ(text(GetParam().locale).formatFileSize(GetParam().bytes), QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OutlineFileSize,
    ::testing::Values(SizeRow{"Zero", "en_US", 0, "0 B"},
                      SizeRow{"BytesAreGrouped", "en_US", 1023, "1,023 B"},
                      SizeRow{"OneFractionDigitWhenEnough", "en_US", 1536, "1.5 KB"},
                      SizeRow{"TwoFractionDigitsAtMost", "en_US", 1180, "1.15 KB"},
                      SizeRow{"ExactHalfRoundsToEvenDown", "en_US", 1152, "1.12 KB"},
                      SizeRow{"ExactHalfRoundsToEvenUp", "en_US", 1160, "1.13 KB"},
                      SizeRow{"JustBelowAMegabyte", "en_US", 1048575, "1,024 KB"},
                      SizeRow{"OneMegabyte", "en_US", 1048576, "1 MB"},
                      SizeRow{"GigabytesAreGroupedToo", "en_US", 1234.5 * 1073741824, "1,234.5 GB"},
                      SizeRow{"GermanSeparators", "de_DE", 1023 + 1536 * 1024.0, "1,5 MB"},
                      SizeRow{"CLocaleStillGroups", "C", 1023, "1,023 B"}),
    [](const auto& info) { return std::string(info.param.rowName); });

struct DateRow {
    const char* rowName;
    const char* locale;
    const char* zone;
    qint64 start; // kNone: no date; an item's date when end is kNone too... see test
    qint64 end;
    const char* text;
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
        DateRow{"ItemMediumStyles", "en_US", "UTC", kEvening, kNone, "Nov 22, 2026 10:25:41 PM"},
        DateRow{"ItemInTheUsersZone", "en_US", "Europe/Berlin", kEvening, kNone, "Nov 22, 2026 11:25:41 PM"},
        DateRow{"ItemCLocale", "C", "UTC", kEvening, kNone, "22 Nov 2026 22:25:41"},
        DateRow{"ItemWithoutDate", "en_US", "UTC", kNone, kNone, ""},
        DateRow{"ProjectWithoutStart", "en_US", "UTC", kNone, 0, ""},
        DateRow{"ProjectWithoutEnd", "en_US", "UTC", 0, kNone, ""},
        DateRow{"ProjectOfOneDate", "en_US", "UTC", 3, 3, "Nov 22, 2026 10:00:03 AM"},
        DateRow{"ProjectSameDay", "en_US", "UTC", -3897, kEvening, "11/22/2026 08:55:03 - 10:25:41 PM"},
        DateRow{"ProjectOverDaysEndsAsATime", "en_US", "UTC", -86400 * 2, 3600,
                "11/20/2026 10:00:00 - 11:00:00 AM"},
        DateRow{"ProjectStartAfterEnd", "en_US", "UTC", 86400 * 3, 0, "11/25/2026 10:00:00 - 10:00:00 AM"},
        DateRow{"ProjectStartIgnoresLocaleNotZone", "de_DE", "Europe/Berlin", 0, 60,
                "11/22/2026 11:00:00 - 11:01:00"}),
    [](const auto& info) { return std::string(info.param.rowName); });
