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

TEST(OutlineSort, OrdersProjectsAndTheirChildrenAndDescendingIsTheExactReverseEvenForEqualKeys) {
    const struct {
        const char* column;
        bool descending;
        QStringList projects, firstProjectChildren;
    } rows[] = {{"colName", false, {"alpha", "Beta", "gamma"}, {"a1", "a2"}},
                {"colName", true, {"gamma", "Beta", "alpha"}, {"g2", "G1"}},
                {"colDate", false, {"Beta", "gamma", "alpha"}, {"b2", "B1"}}, // by the first autosave
                {"colDate", true, {"gamma", "alpha", "Beta"}, {"g2", "G1"}},  // by the last autosave
                {"colSize", false, {"gamma", "alpha", "Beta"}, {"G1", "g2"}},
                {"colSize", true, {"Beta", "alpha", "gamma"}, {"B1", "b2"}},
                {"colKind", false, {"gamma", "alpha", "Beta"}, {"G1", "g2"}}}; // any other: by size
    for (const auto& row : rows) {
        const BMProjectList sorted =
            OutlineSorting::sortProjects(catalogue(), QString::fromLatin1(row.column), row.descending);
        EXPECT_EQ(namesOf(sorted), row.projects) << row.column << row.descending;
        EXPECT_EQ(namesOf(sorted.first()->children()), row.firstProjectChildren)
            << row.column << row.descending;
        EXPECT_EQ(sorted.first()->children().first()->parent(), sorted.first());
    }
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

// Grouped, one or two fraction digits, an exact half rounded to even.
TEST(OutlineFileSize, IsWrittenInUnitsOf1024GroupedAndRoundedHalfToEven) {
    QStringList texts;
    for (const double bytes :
         {0.0, 1023.0, 1536.0, 1180.0, 1152.0, 1160.0, 1048575.0, 1048576.0, 1234.5 * 1073741824})
        texts << text().formatFileSize(bytes);
    EXPECT_EQ(texts, (QStringList{"0 B", "1,023 B", "1.5 KB", "1.15 KB", "1.12 KB", "1.13 KB", "1,024 KB",
                                  "1 MB", "1,234.5 GB"}));
    EXPECT_EQ(text("de_DE").formatFileSize(1023 + 1536 * 1024.0), "1,5 MB");
    EXPECT_EQ(text("C").formatFileSize(1023), "1,023 B");
}

// Rows without an end are items; the others are projects.
TEST(OutlineDates, AreWrittenAsTheOutlineShowsThem) {
    const struct {
        qint64 start, end; // kNone: no date
        bool item;
        const char* text;
        const char* locale = "en_US";
        const char* zone = "UTC";
    } rows[] = {{kEvening, kNone, true, "Nov 22, 2026 10:25:41 PM"},
                {kEvening, kNone, true, "Nov 22, 2026 11:25:41 PM", "en_US", "Europe/Berlin"},
                {kEvening, kNone, true, "22 Nov 2026 22:25:41", "C"},
                {kNone, kNone, true, ""},
                {kNone, 0, false, ""},
                {0, kNone, false, ""},
                {3, 3, false, "Nov 22, 2026 10:00:03 AM"},
                {-3897, kEvening, false, "11/22/2026 08:55:03 - 10:25:41 PM"},
                {-86400 * 2, 3600, false, "11/20/2026 10:00:00 - 11:00:00 AM"}, // over days: ends as a time
                {86400 * 3, 0, false, "11/25/2026 10:00:00 - 10:00:00 AM"},     // start after end
                // The start ignores the locale, not the zone.
                {0, 60, false, "11/22/2026 11:00:00 - 11:01:00", "de_DE", "Europe/Berlin"}};
    auto date = [](qint64 seconds) { return seconds == kNone ? QDateTime() : at(seconds); };
    for (const auto& row : rows) {
        const OutlineText outline = text(row.locale, row.zone);
        EXPECT_EQ(row.item ? outline.itemDateText(date(row.start))
                           : outline.projectDateText(date(row.start), date(row.end)),
                  QString::fromUtf8(row.text))
            << row.text;
    }
}
