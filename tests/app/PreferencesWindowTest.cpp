#include "app/PreferencesWindow.h"

#include "TempHome.h"
#include "catalogue/RecentWriteGuard.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>

class Preferences : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        settings().registerDefaults(BMSettings::applicationDefaults());
        window = std::make_unique<PreferencesWindow>();
        window->show();
    }
    void TearDown() override {
        window.reset();
        TempHomeTest::TearDown();
    }
    static BMSettings& settings() { return BMSettings::standard(); }
    // Which of the two rule buttons are enabled, which of the four removal criteria have their
    // box, value and label enabled, and whether the note shows: "RR BVL BVL BVL BVL note".
    QString removalTab() const {
        QString state = QString(window->removalRuleButton(0)->isEnabled() ? "R" : "-") +
                        (window->removalRuleButton(1)->isEnabled() ? "R " : "- ");
        for (int i = 0; i < 4; ++i) {
            state += QString(window->removalCriterionBox(i)->isEnabled() ? "B" : "-") +
                     (window->removalCriterionValue(i)->isEnabled() ? "V" : "-") +
                     (window->removalCriterionLabel(i)->isEnabled() ? "L " : "- ");
        }
        return state + (window->removalNote()->isHidden() ? "-" : "note");
    }
    std::unique_ptr<PreferencesWindow> window;
};

TEST_F(Preferences, RemovalTabEnablesWhatItsBoxRuleAndCriteriaAllow) {
    EXPECT_FALSE(window->autoRemoveBox()->isChecked());
    EXPECT_EQ(removalTab(), "-- --- --- --- --- -");

    window->autoRemoveBox()->click(); // rule row 0: only the choice
    EXPECT_EQ(settings().integerValue(SettingsKey::autoRemove), 1);
    EXPECT_TRUE(window->removalRuleButton(0)->isChecked());
    EXPECT_EQ(removalTab(), "RR --- --- --- --- -");

    window->removalRuleButton(1)->click(); // rule row 1 without a criterion: the note shows
    EXPECT_EQ(settings().integerValue(SettingsKey::autoRemoveUseCriteria), 1);
    EXPECT_EQ(removalTab(), "RR B-- B-- B-- B-- note");

    window->removalCriterionBox(2)->click();
    EXPECT_TRUE(settings().boolValue(SettingsKey::autoRemoveUseCriteriaTotalCount));
    EXPECT_EQ(removalTab(), "RR B-- B-- BVL B-- -");
    window->removalCriterionValue(0)->setValue(14);
    EXPECT_EQ(settings().integerValue(SettingsKey::autoRemoveCriteriaAge), 14);
}

TEST_F(Preferences, CleanUpTabFollowsItsBoxAndItsFolderChoicesKeepWhatTheUserTyped) {
    EXPECT_FALSE(window->autosaveFolderField()->isEnabled());
    EXPECT_FALSE(window->browseButton()->isEnabled());
    EXPECT_FALSE(window->cleanActionChoice()->isEnabled());
    EXPECT_TRUE(window->cleanNote()->isHidden());
    QSignalSpy toggled(window.get(), &PreferencesWindow::autoCleanToggled);
    window->autoCleanBox()->click();
    EXPECT_EQ(toggled.count(), 1);
    EXPECT_TRUE(settings().boolValue(SettingsKey::autoClean));
    EXPECT_TRUE(window->autosaveFolderField()->isEnabled());
    EXPECT_TRUE(window->browseButton()->isEnabled());
    EXPECT_TRUE(window->cleanCriterionBox(0)->isEnabled());
    EXPECT_FALSE(window->cleanCriterionValue(0)->isEnabled());
    EXPECT_FALSE(window->cleanNote()->isHidden());
    window->cleanCriterionBox(1)->click();
    EXPECT_TRUE(window->cleanCriterionValue(1)->isEnabled());
    EXPECT_TRUE(window->cleanNote()->isHidden());

    settings().setValue(SettingsKey::autosaveFolder, "~/Movies/Autosave Vault");
    window->refreshFromSettings();
    window->clearAutosaveFolderChoices();
    window->addAutosaveFolderChoice("~/Documents/Adobe Premiere Pro Auto-Save");
    window->addAutosaveFolderChoice("~/Avid Attic");
    EXPECT_EQ(window->autosaveFolderChoices(),
              (QStringList{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Avid Attic"}));
    EXPECT_EQ(window->autosaveFolderField()->currentText(), "~/Movies/Autosave Vault");
}

// The helper reads the values in these units: sizes of one autosave and of a project in MB, of
// the clean-up folder in GB.
TEST_F(Preferences, CriteriaNameTheUnitsTheHelperReads) {
    QStringList removal;
    for (int i = 0; i < 4; ++i)
        removal << window->removalCriterionBox(i)->text() + " N " + window->removalCriterionLabel(i)->text();
    EXPECT_EQ(removal,
              (QStringList{"Older than N days", "Larger than N MB (each autosave)",
                           "Beyond the newest N autosaves", "Beyond a total of N MB for the project"}));
    QStringList clean;
    for (int i = 0; i < 3; ++i)
        clean << window->cleanCriterionBox(i)->text() + " N " + window->cleanCriterionLabel(i)->text();
    EXPECT_EQ(clean, (QStringList{"Older than N days", "Larger than N MB per project",
                                  "Beyond a total of N GB for the folder"}));
}

TEST_F(Preferences, TheRecentWriteGuardIsStoredAtOnceAndZeroTurnsItOff) {
    QSpinBox* guard = window->guardMinutesBox();
    EXPECT_EQ(guard->value(), RecentWriteGuard::defaultMinutes);
    guard->setValue(25);
    EXPECT_EQ(RecentWriteGuard::stored().minutes(), 25);
    guard->setValue(0);
    EXPECT_EQ(guard->text(), "Off");
    EXPECT_EQ(settings().integerValue(SettingsKey::guardMinutes), 0);
    EXPECT_FALSE(RecentWriteGuard::stored().isOn());
    // What another program stored shows when the window opens again.
    settings().setValue(SettingsKey::guardMinutes, 45);
    window->refreshFromSettings();
    EXPECT_EQ(guard->text(), "45 minutes");
}
