#include "actions/CombinedRule.h"

#include "catalogue/AutosaveFolderScanner.h"
#include "support/MacMetadata.h"
#include "support/TempHome.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

// A real Premiere location whose autosaves carry creation dates as Samba records a Mac's.
class CombinedRuleTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (!setDosAttrib(home().writeFile("probe"), dosAttribRecord(4, QDateTime::currentDateTimeUtc())))
            GTEST_SKIP() << "the file system refuses user extended attributes (the dates of autosaves)";
        location = home().home() + "/Adobe Premiere Pro Auto-Save";
    }
    void autosave(const QString& relative, int daysAgo, qint64 size) {
        const QString path = location + "/" + relative;
        home().writeFile(path);
        ASSERT_TRUE(QFile::resize(path, size));
        ASSERT_TRUE(setDosAttrib(path, dosAttribRecord(4, now.addDays(-daysAgo))) &&
                    keepOriginalModificationTime(path, now.addDays(-daysAgo)));
    }
    // "reason: name name | reason: ..." in the order chosen.
    QString chosen(const CombinedRule& rule, const QStringList& pinned = {}) const {
        const BMProjectList projects =
            AutosaveFolderScanner().projectsFromFolder(location).value_or(BMProjectList());
        QStringList pins;
        for (const QString& path : pinned)
            pins << location + "/" + path;
        QStringList lines;
        const BMProject* last = nullptr;
        for (const RuleChoice& choice : rule.choose(projects, PinnedPaths(pins), now)) {
            if (last == choice.item->parent().get() && lines.last().startsWith(choice.reason + ":"))
                lines.last() += " " + choice.item->name();
            else
                lines << choice.reason + ": " + choice.item->name();
            last = choice.item->parent().get();
        }
        return lines.join(" | ");
    }

    const QDateTime now = QDateTime::currentDateTimeUtc();
    QString location;
};

TEST_F(CombinedRuleTest, KeepsTheNewestFirstThenTakesTheOldThenTheOldestOfTheRestOverTheSize) {
    autosave("Edit/Edit-1.prproj", 60, 100);
    autosave("Edit/Edit-2.prproj", 50, 100);
    autosave("Edit/Edit-3.prproj", 40, 100);
    autosave("Edit/Edit-4.prproj", 20, 300);
    autosave("Edit/Edit-5.prproj", 10, 100);
    autosave("Edit/Edit-6.prproj", 5, 100);
    autosave("Edit/Edit-7.prproj", 1, 100);
    // The two newest are kept although the project stays over the size.
    autosave("Cut/Cut-1.prproj", 3, 400);
    autosave("Cut/Cut-2.prproj", 2, 400);
    autosave("Cut/Cut-3.prproj", 1, 400);

    CombinedRule rule{2, 30, 350};
    // Edit-1..3 are old; 300 B are left of 900 once Edit-4 has gone too.
    EXPECT_EQ(chosen(rule), "oldest of a project over 350 B: Cut-1.prproj | "
                            "oldest of a project over 350 B: Edit-4.prproj | "
                            "older than 30 days: Edit-3.prproj Edit-2.prproj Edit-1.prproj");
    // A pinned autosave stays and still counts in the size, so the next oldest goes in its
    // place; a pinned project loses nothing.
    EXPECT_EQ(chosen(rule, {"Edit/Edit-3.prproj", "Cut"}),
              "oldest of a project over 350 B: Edit-5.prproj Edit-4.prproj | "
              "older than 30 days: Edit-2.prproj Edit-1.prproj");
    // Each limit on its own; the count alone keeps only the newest.
    EXPECT_EQ(chosen(CombinedRule{5, {}, {}}), "not among the 5 newest: Edit-2.prproj Edit-1.prproj");
    EXPECT_EQ(chosen(CombinedRule{{}, 45, {}}), "older than 45 days: Edit-2.prproj Edit-1.prproj");
    EXPECT_EQ(chosen(CombinedRule{{}, {}, 800}),
              "oldest of a project over 800 B: Cut-1.prproj | oldest of a project over 800 B: Edit-1.prproj");
    EXPECT_EQ(chosen(CombinedRule{}), "");
}

} // namespace
