#include "actions/HelperRules.h"

#include "catalogue/AutosaveType.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "support/QtPrinters.h"

#include <QTemporaryDir>
#include <QTimeZone>

#include <cmath>
#include <gtest/gtest.h>

namespace {

const QDateTime kNow = QDateTime(QDate(2026, 11, 22), QTime(10, 0), QTimeZone::utc());
constexpr qint64 kMB = HelperRules::megabyte;

struct Item {
    const char* path; // in the project's folder
    std::optional<double> daysAgo;
    qint64 bytes = 1;
};

BMProjectPtr project(const QString& name, const QList<Item>& items, int type = AutosaveType::Premiere) {
    BMProjectPtr project = BMProject::projectType(type, name, "/loc/" + name);
    BMAutoItemList children;
    for (const Item& item : items)
        children << BMAutoItem::autoItemType(
            type, "", "/loc/" + name + "/" + item.path,
            item.daysAgo ? kNow.addSecs(qint64(-*item.daysAgo * 86400)) : QDateTime(), double(item.bytes));
    project->setChildren(children);
    return project;
}

// "reason: Edit/e1 Edit/e2 | reason: ..." in the order chosen.
QString chosen(const RuleChoices& choices) {
    QStringList lines;
    for (const RuleChoice& choice : choices) {
        const QString name = choice.item->path().section('/', -2);
        if (!lines.isEmpty() && lines.last().startsWith(choice.reason + ":"))
            lines.last() += " " + name;
        else
            lines << choice.reason + ": " + name;
    }
    return lines.join(" | ");
}

TEST(HelperRules, CleanupKeepsTheNewestOfEachProjectAndAvidBinAndAgeIsStrict) {
    const BMProjectList projects{
        project("Edit", {{"e1", 40}, {"e2", 31}, {"e3", 30}, {"e4", 35}, {"e5", 1}}),
        project("Film", {{"Bins/A/a1", 60}, {"Bins/A/a2", 50}, {"Bins/B/b1", 70}}, AutosaveType::Avid),
        project("Solo", {{"s1", 99}}),
        // Undated autosaves are never older than a limit; the dated n3 is the newest.
        project("Nodate", {{"n1", std::nullopt}, {"n2", std::nullopt}, {"n3", 45}}),
    };
    CleanupLimits limits;
    limits.ageDays = 30;
    EXPECT_EQ(chosen(HelperRules::cleanupChoices(projects, limits, kNow)),
              "older than 30 days: Edit/e1 Edit/e2 Edit/e4 A/a1");
    limits.ageDays = 0;
    EXPECT_EQ(chosen(HelperRules::cleanupChoices(projects, limits, kNow)),
              "older than 0 days: Edit/e1 Edit/e2 Edit/e3 Edit/e4 A/a1");
    EXPECT_TRUE(HelperRules::cleanupChoices(projects, CleanupLimits{}, kNow).isEmpty());
}

TEST(HelperRules, CleanupSizeLimitsTakeTheOldestFirstUntilWithin) {
    const BMProjectList projects{
        project("Edit", {{"e1", 3, 4 * kMB}, {"e2", 1, 4 * kMB}, {"e3", 5, 4 * kMB}, {"e4", 0.5, 4 * kMB}}),
        // Undated counts as the oldest.
        project("Cut", {{"c1", 2, 3 * kMB}, {"c2", std::nullopt, 3 * kMB}, {"c3", 0.1, 3 * kMB}}),
    };
    CleanupLimits limits;
    limits.projectBytes = 8 * kMB; // Edit holds 16, Cut 9
    EXPECT_EQ(chosen(HelperRules::cleanupChoices(projects, limits, kNow)),
              "oldest of a project over 8 MB: Edit/e3 Edit/e1 Cut/c2");
    limits.projectBytes = 5 * kMB;
    EXPECT_EQ(chosen(HelperRules::cleanupChoices(projects, limits, kNow)),
              "oldest of a project over 5 MB: Edit/e3 Edit/e1 Edit/e2 Cut/c2 Cut/c1");
    CleanupLimits folder; // 25 MB across both projects
    folder.folderBytes = 14 * kMB;
    EXPECT_EQ(chosen(HelperRules::cleanupChoices(projects, folder, kNow)),
              QString("oldest of a folder over %1 GB: Cut/c2 Edit/e3 Edit/e1").arg(14.0 / 1024));
}

// Limits come from the settings in units of 1024. A hand-edited or damaged settings file: a limit
// read as 0 or wrapped round to a negative number would take every autosave but the newest.
TEST(HelperRules, LimitsComeFromTheSettingsAndOneThatIsNoNumberIsOffAndAHugeOneTakesNothing) {
    QTemporaryDir dir;
    BMSettings settings([&] { return dir.path() + "/s.plist"; });
    settings.registerDefaults(BMSettings::applicationDefaults());
    EXPECT_FALSE(CleanupLimits::fromSettings(settings).any());
    settings.setValue(SettingsKey::autoCleanUseCriteriaSize, true);
    settings.setValue(SettingsKey::autoCleanUseCriteriaTotalSize, true);
    settings.setValue(SettingsKey::autoCleanCriteriaTotalSize, 2);
    const CleanupLimits limits = CleanupLimits::fromSettings(settings);
    EXPECT_EQ(limits.projectBytes, 10 * 1048576LL);
    EXPECT_EQ(limits.folderBytes, 2 * 1073741824LL);
    settings.setValue(SettingsKey::autoRemoveUseCriteria, 1);
    EXPECT_FALSE(RemovalLimits::fromSettings(settings).any()) << "row 1 without a criterion";

    for (const char* use : {SettingsKey::autoCleanUseCriteriaAge, SettingsKey::autoCleanUseCriteriaSize,
                            SettingsKey::autoCleanUseCriteriaTotalSize, SettingsKey::autoRemoveUseCriteriaAge,
                            SettingsKey::autoRemoveUseCriteriaTotalCount})
        settings.setValue(use, true);
    const BMProjectPtr edit = project("Edit", {{"e1", 400, 900 * kMB}, {"e2", 300, 900 * kMB}, {"e3", 1}});

    settings.setValue(SettingsKey::autoCleanCriteriaAge, "thirty");
    settings.setValue(SettingsKey::autoCleanCriteriaSize, QVariantMap{{"MB", 10}});
    settings.setValue(SettingsKey::autoCleanCriteriaTotalSize, -1);
    settings.setValue(SettingsKey::autoRemoveCriteriaAge, std::nan(""));
    settings.setValue(SettingsKey::autoRemoveCriteriaTotalCount, QVariantList{20});
    CleanupLimits clean = CleanupLimits::fromSettings(settings);
    RemovalLimits removal = RemovalLimits::fromSettings(settings);
    EXPECT_FALSE(clean.any());
    EXPECT_FALSE(removal.any());
    EXPECT_EQ(clean.unreadable,
              (QStringList{"The setting autoCleanCriteriaAge holds \"thirty\", not a number of zero or more: "
                           "that limit is off",
                           "The setting autoCleanCriteriaSize holds a dictionary, not a number of zero or "
                           "more: that limit is off",
                           "The setting autoCleanCriteriaTotalSize holds \"-1\", not a number of zero or "
                           "more: that limit is off"}));
    EXPECT_EQ(removal.unreadable.size(), 2);

    // Beyond an int of days, 2^63 bytes in megabytes, 2^32 autosaves: nothing breaks them.
    settings.setValue(SettingsKey::autoCleanCriteriaAge, 3e9);
    settings.setValue(SettingsKey::autoCleanCriteriaSize, 1e13);
    settings.setValue(SettingsKey::autoCleanCriteriaTotalSize, "1e30");
    settings.setValue(SettingsKey::autoRemoveCriteriaAge, 1e300);
    settings.setValue(SettingsKey::autoRemoveCriteriaTotalCount, qint64(1) << 32);
    clean = CleanupLimits::fromSettings(settings);
    removal = RemovalLimits::fromSettings(settings);
    EXPECT_TRUE(clean.unreadable.isEmpty() && removal.unreadable.isEmpty());
    EXPECT_EQ(chosen(HelperRules::cleanupChoices({edit}, clean, kNow)), "");
    EXPECT_EQ(chosen(HelperRules::removalChoices(*edit, removal, {}, kNow)), "");

    // 0 is a limit; a fraction rounds up, to the limit that takes less.
    settings.setValue(SettingsKey::autoCleanCriteriaAge, "0");
    settings.setValue(SettingsKey::autoCleanCriteriaSize, 0.5);
    settings.setValue(SettingsKey::autoRemoveCriteriaAge, 0.5);
    EXPECT_EQ(CleanupLimits::fromSettings(settings).ageDays, 0);
    EXPECT_EQ(CleanupLimits::fromSettings(settings).projectBytes, kMB / 2);
    EXPECT_EQ(RemovalLimits::fromSettings(settings).ageDays, 1);
}

TEST(HelperRules, RemovalTakesEverythingOrWhatBreaksALimit) {
    const BMProjectPtr edit =
        project("Edit", {{"e1", 40, 1 * kMB}, {"e2", 20, 6 * kMB}, {"e3", 10, 2 * kMB}, {"e4", 1, 1 * kMB}});
    // An autosave made after the project file went to the Trash is of a new project.
    EXPECT_EQ(chosen(HelperRules::removalChoices(*edit, RemovalLimits{}, kNow.addDays(-5), kNow)),
              "its project file is in the Trash: Edit/e1 Edit/e2 Edit/e3");
    RemovalLimits limits;
    limits.everything = false;
    limits.ageDays = 30;
    limits.autosaveBytes = 5 * kMB;
    EXPECT_EQ(chosen(HelperRules::removalChoices(*edit, limits, {}, kNow)),
              "older than 30 days: Edit/e1 | larger than 5 MB: Edit/e2");
    RemovalLimits size;
    size.everything = false;
    size.projectBytes = 3 * kMB; // 10 MB: e1 and e2 bring it to 3
    EXPECT_EQ(chosen(HelperRules::removalChoices(*edit, size, {}, kNow)),
              "oldest of a project over 3 MB: Edit/e1 Edit/e2");
    // A pin keeps its autosave and still counts in the size: the 6 MB of e2 leave the project
    // over 3 MB whatever else goes.
    size.pinned = PinnedPaths({"/loc/Edit/e2"});
    EXPECT_EQ(chosen(HelperRules::removalChoices(*edit, size, {}, kNow)),
              "oldest of a project over 3 MB: Edit/e1 Edit/e3 Edit/e4");
    RemovalLimits pinnedProject;
    pinnedProject.pinned = PinnedPaths({"/loc/Edit"});
    EXPECT_EQ(chosen(HelperRules::removalChoices(*edit, pinnedProject, {}, kNow)), "");
}

} // namespace
