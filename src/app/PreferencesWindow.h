#pragma once

#include <QDialog>
#include <QStringList>

class QBoxLayout;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QListWidget;
class QPushButton;
class QRadioButton;
class QSpinBox;
class QTabWidget;

// The preferences: General (administrator password, usage data), Locations (folders added
// by hand), and the two background helpers' tabs. The controls show and write their
// settings; actions that need more than a setting (authorisation, a rebuild, installing a
// helper) are announced through signals for the controller.
class PreferencesWindow : public QDialog {
    Q_OBJECT
public:
    enum Tab { GeneralTab, LocationsTab, RemovalTab, CleanUpTab, ShortcutsTab };

    explicit PreferencesWindow(QWidget* parent = nullptr);

    // Reads every control back from the settings.
    void refreshFromSettings();
    void setManualPaths(const QStringList& paths);
    QStringList manualPaths() const { return m_manualPaths; }
    int selectedManualPathRow() const;
    // The pop-up list of the clean-up folder, refilled with every scanned location.
    void clearAutosaveFolderChoices();
    void addAutosaveFolderChoice(const QString& abbreviatedPath);
    QStringList autosaveFolderChoices() const;
    void setAutosaveFolderText(const QString& abbreviatedPath);

    void setAdminPasswordChecked(bool on);
    void setAnalyticsChecked(bool on);

    // The enabling rules of the two helper tabs.
    void updateTrashSelection();
    void updateCleanSelection();

    // For the window tests and the controller.
    QTabWidget* tabs() const { return m_tabs; }
    QCheckBox* adminPasswordBox() const { return m_adminPassword; }
    QCheckBox* analyticsBox() const { return m_analytics; }
    QCheckBox* previewRulesBox() const { return m_previewRules; }
    QSpinBox* guardMinutesBox() const { return m_guardMinutes; }
    QListWidget* manualPathList() const { return m_manualPathList; }
    QCheckBox* premiereGroupingBox() const { return m_premiereGrouping; }
    QCheckBox* autoRemoveBox() const { return m_autoRemove; }
    QCheckBox* autoCleanBox() const { return m_autoClean; }
    QRadioButton* removalRuleButton(int row) const;
    QCheckBox* removalCriterionBox(int index) const;
    QSpinBox* removalCriterionValue(int index) const;
    QLabel* removalCriterionLabel(int index) const;
    QWidget* removalNote() const { return m_removalNote; }
    QCheckBox* cleanCriterionBox(int index) const;
    QSpinBox* cleanCriterionValue(int index) const;
    QLabel* cleanCriterionLabel(int index) const;
    QWidget* cleanNote() const { return m_cleanNote; }
    QComboBox* autosaveFolderField() const { return m_autosaveFolder; }
    QPushButton* browseButton() const { return m_browse; }
    QComboBox* cleanActionChoice() const { return m_cleanAction; }

Q_SIGNALS:
    void adminPasswordToggled(bool on);
    void analyticsToggled(bool on);
    void addManualPathRequested();
    void removeManualPathRequested();
    void manualPathsTabShown();
    void premiereGroupingToggled(bool on);
    void autoRemoveToggled(bool on);
    void autoCleanToggled(bool on);
    void autosaveFolderBrowseRequested();
    void autosaveFolderEdited(const QString& text);
    // Stored already; what the outline's lock badges show changes with it.
    void guardMinutesChanged(int minutes);

private:
    struct Criterion {
        QCheckBox* box = nullptr;
        QSpinBox* value = nullptr;
        QLabel* label = nullptr;
    };
    QWidget* makeGeneralTab();
    QWidget* makeLocationsTab();
    QWidget* makeRemovalTab();
    QWidget* makeCleanUpTab();
    Criterion makeCriterion(const QString& title, const char* useKey, const char* valueKey,
                            const QString& unit, int maximum);
    static void addCriteria(QBoxLayout* layout, const QList<Criterion>& criteria);
    static void applyCriteria(const QList<Criterion>& criteria, bool enabled, QWidget* note);
    void commitAutosaveFolder();

    QTabWidget* m_tabs = nullptr;
    QCheckBox* m_adminPassword = nullptr;
    QCheckBox* m_analytics = nullptr;
    QCheckBox* m_previewRules = nullptr;
    QSpinBox* m_guardMinutes = nullptr;
    QListWidget* m_manualPathList = nullptr;
    QStringList m_manualPaths;
    QCheckBox* m_premiereGrouping = nullptr;
    QCheckBox* m_autoRemove = nullptr;
    QButtonGroup* m_removalRule = nullptr;
    QList<Criterion> m_removalCriteria;
    QWidget* m_removalNote = nullptr;
    QCheckBox* m_autoClean = nullptr;
    QComboBox* m_autosaveFolder = nullptr;
    QLabel* m_autosaveFolderLabel = nullptr;
    QPushButton* m_browse = nullptr;
    QComboBox* m_cleanAction = nullptr;
    QList<Criterion> m_cleanCriteria;
    QWidget* m_cleanNote = nullptr;
    bool m_refreshing = false;
};
