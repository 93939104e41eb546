#include "app/PreferencesWindow.h"

#include "TempHome.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabWidget>

class Preferences : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMSettings::standard().registerDefaults(BMSettings::applicationDefaults());
        window = std::make_unique<PreferencesWindow>();
        window->show();
    }
    void TearDown() override {
        window.reset();
        TempHomeTest::TearDown();
    }
    std::unique_ptr<PreferencesWindow> window;
};

TEST_F(Preferences, RemovalTabWithTheHelperOffDisablesEverything) {
    EXPECT_FALSE(window->autoRemoveBox()->isChecked());
    EXPECT_FALSE(window->removalRuleButton(0)->isEnabled());
    EXPECT_FALSE(window->removalRuleButton(1)->isEnabled());
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(window->removalCriterionBox(i)->isEnabled()) << i;
        EXPECT_FALSE(window->removalCriterionValue(i)->isEnabled()) << i;
        EXPECT_FALSE(window->removalCriterionLabel(i)->isEnabled()) << i;
    }
    EXPECT_TRUE(window->removalNote()->isHidden());
}

TEST_F(Preferences, RuleRowZeroEnablesOnlyTheChoice) {
    window->autoRemoveBox()->click();
    EXPECT_EQ(BMSettings::standard().integerValue(SettingsKey::autoRemove), 1);
    EXPECT_TRUE(window->removalRuleButton(0)->isEnabled());
    EXPECT_TRUE(window->removalRuleButton(0)->isChecked());
    EXPECT_FALSE(window->removalCriterionBox(0)->isEnabled());
    EXPECT_TRUE(window->removalNote()->isHidden());
}

TEST_F(Preferences, RuleRowOneWithNoCriterionShowsTheNote) {
    window->autoRemoveBox()->click();
    window->removalRuleButton(1)->click();
    EXPECT_EQ(BMSettings::standard().integerValue(SettingsKey::autoRemoveUseCriteria), 1);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(window->removalCriterionBox(i)->isEnabled()) << i;
        EXPECT_FALSE(window->removalCriterionValue(i)->isEnabled()) << i;
    }
    EXPECT_FALSE(window->removalNote()->isHidden());

    window->removalCriterionBox(2)->click();
    EXPECT_TRUE(BMSettings::standard().boolValue(SettingsKey::autoRemoveUseCriteriaTotalCount));
    EXPECT_TRUE(window->removalCriterionValue(2)->isEnabled());
    EXPECT_TRUE(window->removalCriterionLabel(2)->isEnabled());
    EXPECT_FALSE(window->removalCriterionValue(0)->isEnabled());
    EXPECT_TRUE(window->removalNote()->isHidden());
}

TEST_F(Preferences, ValuesShowDefaultsAndWriteTheirSettings) {
    EXPECT_EQ(window->removalCriterionValue(0)->value(), 30);
    EXPECT_EQ(window->removalCriterionValue(2)->value(), 20);
    EXPECT_EQ(window->cleanCriterionValue(2)->value(), 50);
    window->removalCriterionValue(0)->setValue(14);
    EXPECT_EQ(BMSettings::standard().integerValue(SettingsKey::autoRemoveCriteriaAge), 14);
}

TEST_F(Preferences, CleanUpTabFollowsItsBox) {
    EXPECT_FALSE(window->autosaveFolderField()->isEnabled());
    EXPECT_FALSE(window->browseButton()->isEnabled());
    EXPECT_FALSE(window->cleanActionChoice()->isEnabled());
    EXPECT_TRUE(window->cleanNote()->isHidden());
    QSignalSpy toggled(window.get(), &PreferencesWindow::autoCleanToggled);
    window->autoCleanBox()->click();
    EXPECT_EQ(toggled.count(), 1);
    EXPECT_TRUE(BMSettings::standard().boolValue(SettingsKey::autoClean));
    EXPECT_TRUE(window->autosaveFolderField()->isEnabled());
    EXPECT_TRUE(window->browseButton()->isEnabled());
    EXPECT_TRUE(window->cleanCriterionBox(0)->isEnabled());
    EXPECT_FALSE(window->cleanCriterionValue(0)->isEnabled());
    EXPECT_FALSE(window->cleanNote()->isHidden());
    window->cleanCriterionBox(1)->click();
    EXPECT_TRUE(window->cleanCriterionValue(1)->isEnabled());
    EXPECT_TRUE(window->cleanNote()->isHidden());
}

TEST_F(Preferences, OnlyTheLocationsTabAnnouncesItself) {
    QSignalSpy shown(window.get(), &PreferencesWindow::manualPathsTabShown);
    window->tabs()->setCurrentIndex(PreferencesWindow::RemovalTab);
    window->tabs()->setCurrentIndex(PreferencesWindow::CleanUpTab);
    EXPECT_EQ(shown.count(), 0);
    window->tabs()->setCurrentIndex(PreferencesWindow::LocationsTab);
    EXPECT_EQ(shown.count(), 1);
}

TEST_F(Preferences, FolderChoicesKeepWhatTheUserTyped) {
    BMSettings::standard().setValue(SettingsKey::autosaveFolder, "~/Movies/Autosave Vault");
    window->refreshFromSettings();
    window->clearAutosaveFolderChoices();
    window->addAutosaveFolderChoice("~/Documents/Adobe Premiere Pro Auto-Save");
    window->addAutosaveFolderChoice("~/Avid Attic");
    EXPECT_EQ(window->autosaveFolderChoices(),
              (QStringList{"~/Documents/Adobe Premiere Pro Auto-Save", "~/Avid Attic"}));
    EXPECT_EQ(window->autosaveFolderField()->currentText(), "~/Movies/Autosave Vault");
}
