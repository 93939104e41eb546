// What a rule would remove is shown before the question, and Thin Out… counts as it is set.
#include "WindowFixture.h"
#include "app/PreferencesWindow.h"
#include "app/ThinOutDialog.h"
#include "support/Gzip.h"
#include "support/PremiereXml.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTreeWidget>

namespace {

constexpr qint64 kMB = 1024 * 1024;

// Alpha with one autosave and Beta with three in the Premiere location, each 1.5 MB.
class RulePreviewTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        for (const char* file :
             {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"})
            home().writeFile(premiere(file), QByteArray(3 * kMB / 2, 'x'));
        settings().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    }
    // The preview's answer replaced.
    void answerPreview(std::function<bool(RulePreviewSheet&)> preview) {
        AutosaveActions::Environment env;
        env.now = [this] { return now; };
        env.preview = std::move(preview);
        actions->setEnvironment(env);
    }
    // Runs the action while the first visible dialog of that kind is handled by the callback.
    template <typename Dialog>
    void whileShown(const std::function<void()>& action, const std::function<void(Dialog&)>& handle) {
        QTimer poll;
        int handled = 0;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                auto* dialog = qobject_cast<Dialog*>(widget);
                if (dialog && dialog->isVisible() && handled == 0) {
                    ++handled;
                    handle(*dialog);
                }
            }
        });
        poll.start(20);
        action();
        EXPECT_EQ(handled, 1);
    }
    // The seven-day rule ten days on: every autosave of the selection is old enough.
    void triggerSevenDays() {
        now = QDateTime::currentDateTimeUtc().addDays(10);
        menu().removeOlderThan[2]->trigger();
    }
};

} // namespace

// The real sheet, answered by its buttons: Cancel, or nothing ticked, asks nothing and removes
// nothing. Answered by the test: an unticked autosave stays, the rest go, and the question counts
// what is ticked.
TEST_F(RulePreviewTest, CancelOrNothingTickedRemovesNothingAndAnUntickedAutosaveStays) {
    start();
    answerPreview({});
    select({projectIndex("Beta")});
    Answerer answer("Remove");
    auto keepOne = [&](const std::function<void(RulePreviewSheet&)>& handle) {
        expectNoRebuild(
            [&] { whileShown<RulePreviewSheet>([&] { menu().keepMostRecent[0]->trigger(); }, handle); });
    };
    keepOne([&](RulePreviewSheet& sheet) {
        EXPECT_TRUE(sheet.continueButton()->isDefault());
        EXPECT_EQ(sheet.windowModality(), Qt::WindowModal);
        EXPECT_EQ(sheet.parentWidget(), controller->mainWindow());
        sheet.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
    });
    keepOne([](RulePreviewSheet& sheet) {
        sheet.tree()->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        EXPECT_EQ(sheet.totalLabel()->text(), "Nothing is ticked: nothing will be removed.");
        sheet.continueButton()->click();
    });
    QApplication::processEvents();
    EXPECT_EQ(answer.count, 0);
    EXPECT_TRUE(trashed().isEmpty());

    select({projectIndex("Alpha"), projectIndex("Beta")});
    QString before;
    QString after;
    Qt::CheckState betaState = Qt::Unchecked;
    answerPreview([&](RulePreviewSheet& sheet) {
        before = sheet.totalLabel()->text();
        EXPECT_EQ(sheet.tree()->topLevelItemCount(), 2);
        // The project row unticks its autosaves; one ticked again leaves it partly ticked.
        QTreeWidgetItem* beta = sheet.rowOf(premiere("Beta/Beta-1.prproj"))->parent();
        beta->setCheckState(0, Qt::Unchecked);
        EXPECT_EQ(sheet.checked().size(), 1);
        sheet.rowOf(premiere("Beta/Beta-2.prproj"))->setCheckState(0, Qt::Checked);
        sheet.rowOf(premiere("Beta/Beta-3.prproj"))->setCheckState(0, Qt::Checked);
        betaState = beta->checkState(0);
        after = sheet.totalLabel()->text();
        return true;
    });
    expectRebuild([&] { triggerSevenDays(); });
    EXPECT_EQ(before, "4 autosaves, 6 MB will be moved to the Trash.");
    EXPECT_EQ(after, "3 autosaves, 4.5 MB will be moved to the Trash.");
    EXPECT_EQ(betaState, Qt::PartiallyChecked);
    EXPECT_EQ(answer.text, "Are you sure you wish to remove 3 autosaves?");
    EXPECT_EQ(trashed(), (QStringList{"Alpha-1.prproj", "Beta-2.prproj", "Beta-3.prproj"}));
    EXPECT_TRUE(QFile::exists(premiere("Beta/Beta-1.prproj")));
}

TEST_F(RulePreviewTest, PreferenceOffAsksStraightAwayAndAProjectWithoutItsFileIsMarked) {
    // Beta's newest autosave records a project file that is gone; the Orphans filter is off, so
    // the preview reads it itself.
    home().writeFile(premiere("Beta/Beta-3.prproj"),
                     gzipCompressed(premiereProjectXml("/Volumes/Gone/Beta.prproj")));
    start();
    select({projectIndex("Alpha"), projectIndex("Beta")});
    QStringList projectTexts;
    int previews = 0;
    answerPreview([&](RulePreviewSheet& sheet) {
        ++previews;
        for (int row = 0; row < sheet.tree()->topLevelItemCount(); ++row)
            projectTexts << sheet.tree()->topLevelItem(row)->text(0);
        return false;
    });
    Answerer answer("Cancel");
    expectNoRebuild([&] { triggerSevenDays(); });
    ASSERT_EQ(projectTexts.size(), 2);
    EXPECT_FALSE(projectTexts[0].contains("Orphan"));
    EXPECT_TRUE(projectTexts[1].startsWith("Beta\nOrphan: its project file no longer exists"));
    EXPECT_EQ(answer.count, 0);

    PreferencesWindow preferences;
    preferences.refreshFromSettings();
    ASSERT_TRUE(preferences.previewRulesBox()->isChecked());
    preferences.previewRulesBox()->click();
    EXPECT_FALSE(BMSettings::standard().boolValue(SettingsKey::previewRules));
    expectNoRebuild([&] { triggerSevenDays(); });
    EXPECT_EQ(previews, 1);
    EXPECT_EQ(answer.text, "Are you sure you wish to remove 4 autosaves?");
}

TEST_F(RulePreviewTest, ThinOutCountsAsFieldsChangeRemovesWhatItCountedAndOpensAsLeft) {
    start();
    select({});
    RuleChoices counted;
    QStringList lines;
    Answerer answer("Remove");
    auto thinOut = [&](ThinOutDialog& dialog) {
        dialog.ageBox()->setChecked(false);
        dialog.sizeBox()->setChecked(false);
        dialog.keepBox()->setChecked(true);
        dialog.keepCount()->setValue(1);
        lines << dialog.summaryLabel()->text();
        dialog.ageBox()->setChecked(true);
        dialog.ageDays()->setValue(7);
        lines << dialog.summaryLabel()->text();
        EXPECT_FALSE(dialog.okButton()->isEnabled());
        dialog.ageBox()->setChecked(false);
        dialog.sizeUnit()->setCurrentIndex(0);
        dialog.sizeValue()->setValue(4);
        dialog.sizeBox()->setChecked(true);
        lines << dialog.summaryLabel()->text();
        counted = dialog.choices();
        dialog.okButton()->click();
    };
    expectRebuild([&] { whileShown<ThinOutDialog>([&] { menu().thinOut->trigger(); }, thinOut); });
    // Keep 1: Beta's two older; nothing is seven days old; under 4 MB: Beta's oldest only.
    EXPECT_EQ(lines,
              (QStringList{"2 autosaves, 3 MB, would be moved to the Trash.", "Nothing would be removed.",
                           "1 autosave, 1.5 MB, would be moved to the Trash."}));
    ASSERT_EQ(counted.size(), 1);
    EXPECT_EQ(answer.text, "Are you sure you wish to remove this autosave?");
    EXPECT_EQ(trashed(), QStringList{counted[0].item->name()});
    EXPECT_FALSE(QFile::exists(counted[0].item->path()));

    select({projectIndex("Alpha")});
    whileShown<ThinOutDialog>([&] { menu().thinOut->trigger(); },
                              [](ThinOutDialog& dialog) {
                                  EXPECT_FALSE(dialog.ageBox()->isChecked());
                                  EXPECT_TRUE(dialog.keepBox()->isChecked());
                                  EXPECT_EQ(dialog.keepCount()->value(), 1);
                                  EXPECT_TRUE(dialog.sizeBox()->isChecked());
                                  EXPECT_EQ(dialog.sizeValue()->value(), 4);
                                  EXPECT_EQ(dialog.sizeUnit()->currentIndex(), 0);
                                  // Only Alpha is looked at, and its one autosave is its newest.
                                  EXPECT_EQ(dialog.summaryLabel()->text(), "Nothing would be removed.");
                                  dialog.reject();
                              });
    EXPECT_EQ(answer.count, 1);
}
