// Pins as the window sets and shows them, stored where the command line stores them.
#include "WindowFixture.h"
#include "app/AutosaveIcons.h"
#include "catalogue/PinnedPaths.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QAction>
#include <QImage>
#include <QTest>

namespace {

class Pins : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        // The files are new: without this the recent-write lock would badge them too.
        BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
        for (const char* file : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj"})
            write("Documents/Adobe Premiere Pro Auto-Save/" + QString(file), file);
        BMSettings::standard().setValue(
            SettingsKey::autosavePaths,
            QStringList{home().home() + "/Documents/Adobe Premiere Pro Auto-Save"});
    }
    // Whether the row's icon carries the badge: it differs from the kind's plain icon.
    bool badged(const QModelIndex& index) const {
        const QIcon shown = index.data(Qt::DecorationRole).value<QIcon>();
        const QIcon plain =
            AutosaveIcons::iconForType(index.data(int(AutosaveOutlineModel::Role::Type)).toInt());
        return shown.pixmap(22, 22).toImage() != plain.pixmap(22, 22).toImage();
    }
    QString path(const QModelIndex& index) const {
        return index.data(int(AutosaveOutlineModel::Role::Path)).toString();
    }
};

} // namespace

TEST_F(Pins, PinAndUnpinFollowTheSelectionStoreTheSettingAndBadgeTheRows) {
    start();
    select({projectIndex("Alpha")});
    EXPECT_TRUE(menu().pin->isEnabled());
    EXPECT_FALSE(menu().unpin->isEnabled());
    EXPECT_FALSE(badged(projectIndex("Alpha")));

    menu().pin->trigger();
    EXPECT_EQ(PinnedPaths::stored().paths(), QStringList{path(projectIndex("Alpha"))});
    EXPECT_TRUE(badged(projectIndex("Alpha")));
    EXPECT_TRUE(badged(itemIndex("Alpha", 0))); // pinned through its project
    EXPECT_FALSE(badged(projectIndex("Beta")));
    EXPECT_TRUE(projectIndex("Alpha").data(Qt::ToolTipRole).toString().contains("Pinned"));
    EXPECT_FALSE(menu().pin->isEnabled());
    EXPECT_TRUE(menu().unpin->isEnabled());

    // Unpinning the autosave takes its project's pin, which was the one holding it.
    select({itemIndex("Alpha", 0), projectIndex("Beta")});
    EXPECT_TRUE(menu().pin->isEnabled());
    EXPECT_TRUE(menu().unpin->isEnabled());
    menu().unpin->trigger();
    EXPECT_TRUE(PinnedPaths::stored().paths().isEmpty());
    EXPECT_FALSE(badged(projectIndex("Alpha")));
    EXPECT_FALSE(badged(itemIndex("Alpha", 0)));
    EXPECT_FALSE(menu().unpin->isEnabled());
}

TEST_F(Pins, RemovingPinnedRowsByHandSaysSoAndStillTrashesThem) {
    PinnedPaths::store(BMSettings::standard(),
                       {home().home() + "/Documents/Adobe Premiere Pro Auto-Save/Alpha"});
    start();
    ASSERT_TRUE(badged(projectIndex("Alpha"))) << path(projectIndex("Alpha")).toStdString();
    select({projectIndex("Alpha"), projectIndex("Beta")});
    Answerer answer("Remove");
    expectRebuild([&] { menu().remove->trigger(); });
    EXPECT_EQ(answer.informative, "This cannot be undone. 1 of them is pinned.");
    EXPECT_TRUE(projectNames().isEmpty());
}
