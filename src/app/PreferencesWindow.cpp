#include "PreferencesWindow.h"

#include "ShortcutKeyPane.h"
#include "catalogue/CatalogueLocations.h"
#include "catalogue/RecentWriteGuard.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QStyle>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

BMSettings& settings() {
    return BMSettings::standard();
}

// A warning image beside a short text, shown when a helper would have nothing to do.
QWidget* makeNote(const QString& text) {
    auto* note = new QWidget;
    auto* layout = new QHBoxLayout(note);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* image = new QLabel;
    image->setPixmap(note->style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(20, 20));
    auto* words = new QLabel(text);
    words->setWordWrap(true);
    layout->addWidget(image);
    layout->addWidget(words, 1);
    return note;
}

void setLabelEnabled(QLabel* label, bool enabled) {
    // A disabled label takes the disabled text colour of the palette.
    label->setEnabled(enabled);
}

} // namespace

PreferencesWindow::PreferencesWindow(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Vestry Preferences"));
    m_tabs = new QTabWidget(this);
    m_tabs->addTab(makeGeneralTab(), tr("General"));
    m_tabs->addTab(makeLocationsTab(), tr("Locations"));
    m_tabs->addTab(makeRemovalTab(), tr("Trash Helper"));
    m_tabs->addTab(makeCleanUpTab(), tr("Clean Helper"));
    m_tabs->addTab(new ShortcutKeyPane(this), tr("Shortcuts"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs);
    connect(m_tabs, &QTabWidget::currentChanged, this, [this](int index) {
        if (index == LocationsTab)
            Q_EMIT manualPathsTabShown();
    });
    refreshFromSettings();
}

QWidget* PreferencesWindow::makeGeneralTab() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_adminPassword = new QCheckBox(tr("Ask for an administrator password when Vestry starts"));
    m_analytics = new QCheckBox(tr("Send anonymous usage information to help improve Vestry"));
    layout->addWidget(m_adminPassword);
    layout->addWidget(m_analytics);
    m_previewRules = new QCheckBox(tr("List what a rule would remove, to keep some, before it asks"));
    layout->addWidget(m_previewRules);
    connect(m_previewRules, &QCheckBox::clicked, this,
            [this](bool on) { settings().setValue(SettingsKey::previewRules, on); });
    // Both helpers obey it, so it lives here rather than on either helper's tab.
    auto* guard = new QHBoxLayout;
    m_guardMinutes = new QSpinBox;
    m_guardMinutes->setRange(0, 1440);
    m_guardMinutes->setSpecialValueText(tr("Off"));
    m_guardMinutes->setSuffix(tr(" minutes"));
    guard->addWidget(new QLabel(tr("Background jobs leave autosaves written in the last")));
    guard->addWidget(m_guardMinutes);
    guard->addWidget(new QLabel(tr("alone")));
    guard->addStretch();
    layout->addLayout(guard);
    layout->addStretch();
    connect(m_adminPassword, &QCheckBox::clicked, this, &PreferencesWindow::adminPasswordToggled);
    connect(m_analytics, &QCheckBox::clicked, this, &PreferencesWindow::analyticsToggled);
    connect(m_guardMinutes, &QSpinBox::valueChanged, this, [this](int minutes) {
        if (m_refreshing)
            return;
        settings().setValue(SettingsKey::guardMinutes, minutes);
        Q_EMIT guardMinutesChanged(minutes);
    });
    return page;
}

QWidget* PreferencesWindow::makeLocationsTab() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(
        new QLabel(tr("Folders added by hand are scanned for autosaves besides the ones Vestry finds:")));
    m_manualPathList = new QListWidget;
    m_manualPathList->setSelectionMode(QAbstractItemView::SingleSelection);
    layout->addWidget(m_manualPathList);
    auto* buttons = new QHBoxLayout;
    auto* add = new QPushButton(tr("Add…"));
    auto* remove = new QPushButton(tr("Remove"));
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();
    layout->addLayout(buttons);
    connect(add, &QPushButton::clicked, this, &PreferencesWindow::addManualPathRequested);
    connect(remove, &QPushButton::clicked, this, &PreferencesWindow::removeManualPathRequested);
    m_premiereGrouping = new QCheckBox(
        tr("Group Premiere Pro 2019+ copies (\"Edit-2019-11-04_15-04-08\", \"Edit\") by project"));
    layout->addWidget(m_premiereGrouping);
    connect(m_premiereGrouping, &QCheckBox::clicked, this, [this](bool on) {
        settings().setValue(SettingsKey::premiereGroupTimestampedCopies, on);
        Q_EMIT premiereGroupingToggled(on);
    });
    return page;
}

PreferencesWindow::Criterion PreferencesWindow::makeCriterion(const QString& title, const char* useKey,
                                                              const char* valueKey, const QString& unit,
                                                              int maximum) {
    Criterion c;
    c.box = new QCheckBox(title);
    c.value = new QSpinBox;
    c.value->setRange(0, maximum);
    c.label = new QLabel(unit);
    const QString use = QString::fromLatin1(useKey);
    const QString value = QString::fromLatin1(valueKey);
    c.box->setProperty("settingsKey", use);
    c.value->setProperty("settingsKey", value);
    connect(c.box, &QCheckBox::toggled, this, [this, use](bool on) {
        if (m_refreshing)
            return;
        settings().setValue(use, on);
        updateTrashSelection();
        updateCleanSelection();
    });
    connect(c.value, &QSpinBox::valueChanged, this, [this, value](int number) {
        if (!m_refreshing)
            settings().setValue(value, number);
    });
    return c;
}

void PreferencesWindow::addCriteria(QBoxLayout* layout, const QList<Criterion>& criteria) {
    // Indented under the choice they belong to: box, value, unit.
    auto* grid = new QGridLayout;
    for (int row = 0; row < criteria.size(); ++row) {
        grid->addWidget(criteria[row].box, row, 0);
        grid->addWidget(criteria[row].value, row, 1);
        grid->addWidget(criteria[row].label, row, 2);
    }
    auto* indented = new QHBoxLayout;
    indented->addSpacing(24);
    indented->addLayout(grid);
    indented->addStretch();
    layout->addLayout(indented);
}

QWidget* PreferencesWindow::makeRemovalTab() {
    using namespace SettingsKey;
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_autoRemove = new QCheckBox(tr("Clean up autosaves when their projects are moved to the Trash"));
    layout->addWidget(m_autoRemove);

    m_removalRule = new QButtonGroup(this);
    auto* everything = new QRadioButton(tr("Remove every autosave of the project"));
    auto* byCriteria = new QRadioButton(tr("Remove only the autosaves that match:"));
    m_removalRule->addButton(everything, 0);
    m_removalRule->addButton(byCriteria, 1);
    layout->addWidget(everything);
    layout->addWidget(byCriteria);

    m_removalCriteria = {
        makeCriterion(tr("Older than"), autoRemoveUseCriteriaAge, autoRemoveCriteriaAge, tr("days"), 3650),
        makeCriterion(tr("Larger than"), autoRemoveUseCriteriaSize, autoRemoveCriteriaSize,
                      tr("MB (each autosave)"), 100000),
        makeCriterion(tr("Beyond the newest"), autoRemoveUseCriteriaTotalCount, autoRemoveCriteriaTotalCount,
                      tr("autosaves"), 10000),
        makeCriterion(tr("Beyond a total of"), autoRemoveUseCriteriaTotalSize, autoRemoveCriteriaTotalSize,
                      tr("MB for the project"), 1000000),
    };
    addCriteria(layout, m_removalCriteria);

    m_removalNote = makeNote(tr("Choose at least one rule, or nothing will be removed."));
    layout->addWidget(m_removalNote);
    layout->addStretch();

    connect(m_autoRemove, &QCheckBox::clicked, this, [this](bool on) {
        settings().setValue(SettingsKey::autoRemove, on ? 1 : 0);
        updateTrashSelection();
        Q_EMIT autoRemoveToggled(on);
    });
    connect(m_removalRule, &QButtonGroup::idClicked, this, [this](int row) {
        settings().setValue(SettingsKey::autoRemoveUseCriteria, row);
        updateTrashSelection();
    });
    return page;
}

QWidget* PreferencesWindow::makeCleanUpTab() {
    using namespace SettingsKey;
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_autoClean = new QCheckBox(tr("Keep an autosave folder clean in the background"));
    layout->addWidget(m_autoClean);

    auto* folderRow = new QHBoxLayout;
    m_autosaveFolderLabel = new QLabel(tr("Folder:"));
    m_autosaveFolder = new QComboBox;
    m_autosaveFolder->setEditable(true);
    m_autosaveFolder->setInsertPolicy(QComboBox::NoInsert);
    m_autosaveFolder->setMinimumContentsLength(40);
    m_browse = new QPushButton(tr("Choose…"));
    folderRow->addWidget(m_autosaveFolderLabel);
    folderRow->addWidget(m_autosaveFolder, 1);
    folderRow->addWidget(m_browse);
    layout->addLayout(folderRow);

    m_cleanAction = new QComboBox;
    m_cleanAction->addItems({tr("Move the autosaves beyond a limit to the Trash"),
                             tr("Archive the autosaves beyond a limit into \u201cVestry Archives\u201d "
                                "beside the folder, then move them to the Trash")});
    layout->addWidget(m_cleanAction);

    m_cleanCriteria = {
        makeCriterion(tr("Older than"), autoCleanUseCriteriaAge, autoCleanCriteriaAge, tr("days"), 3650),
        makeCriterion(tr("Larger than"), autoCleanUseCriteriaSize, autoCleanCriteriaSize,
                      tr("MB per project"), 100000),
        makeCriterion(tr("Beyond a total of"), autoCleanUseCriteriaTotalSize, autoCleanCriteriaTotalSize,
                      tr("GB for the folder"), 100000),
    };
    addCriteria(layout, m_cleanCriteria);

    m_cleanNote = makeNote(tr("Choose at least one rule, or nothing will be cleaned."));
    layout->addWidget(m_cleanNote);
    layout->addStretch();

    connect(m_autoClean, &QCheckBox::clicked, this, [this](bool on) {
        settings().setValue(SettingsKey::autoClean, on);
        updateCleanSelection();
        Q_EMIT autoCleanToggled(on);
    });
    connect(m_cleanAction, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_refreshing)
            settings().setValue(SettingsKey::autoCleanAction, index);
    });
    connect(m_browse, &QPushButton::clicked, this, &PreferencesWindow::autosaveFolderBrowseRequested);
    connect(m_autosaveFolder->lineEdit(), &QLineEdit::editingFinished, this,
            &PreferencesWindow::commitAutosaveFolder);
    connect(m_autosaveFolder, &QComboBox::activated, this, &PreferencesWindow::commitAutosaveFolder);
    return page;
}

void PreferencesWindow::commitAutosaveFolder() {
    const QString text = m_autosaveFolder->currentText().trimmed();
    if (m_refreshing || text == settings().stringValue(SettingsKey::autosaveFolder))
        return;
    settings().setValue(SettingsKey::autosaveFolder, text);
    Q_EMIT autosaveFolderEdited(text);
}

void PreferencesWindow::refreshFromSettings() {
    using namespace SettingsKey;
    m_refreshing = true;
    m_adminPassword->setChecked(settings().integerValue(requireAdminPassword) == 1);
    m_premiereGrouping->setChecked(settings().boolValue(premiereGroupTimestampedCopies));
    m_previewRules->setChecked(settings().boolValue(previewRules));
    m_guardMinutes->setValue(RecentWriteGuard::stored().minutes());
    m_autoRemove->setChecked(settings().integerValue(autoRemove) == 1);
    if (QAbstractButton* rule = m_removalRule->button(int(settings().integerValue(autoRemoveUseCriteria))))
        rule->setChecked(true);
    else
        m_removalRule->button(0)->setChecked(true);
    for (const QList<Criterion>* set : {&m_removalCriteria, &m_cleanCriteria}) {
        for (const Criterion& c : *set) {
            c.box->setChecked(settings().boolValue(c.box->property("settingsKey").toString()));
            c.value->setValue(int(settings().integerValue(c.value->property("settingsKey").toString())));
        }
    }
    m_autoClean->setChecked(settings().boolValue(autoClean));
    m_cleanAction->setCurrentIndex(
        qBound(0, int(settings().integerValue(autoCleanAction)), m_cleanAction->count() - 1));
    m_autosaveFolder->setEditText(settings().stringValue(autosaveFolder));
    m_refreshing = false;
    updateTrashSelection();
    updateCleanSelection();
}

void PreferencesWindow::applyCriteria(const QList<Criterion>& criteria, bool enabled, QWidget* note) {
    bool anyOn = false;
    for (const Criterion& c : criteria) {
        c.box->setEnabled(enabled);
        const bool valueOn = enabled && c.box->isChecked();
        c.value->setEnabled(valueOn);
        setLabelEnabled(c.label, valueOn);
        anyOn = anyOn || c.box->isChecked();
    }
    note->setVisible(enabled && !anyOn);
}

void PreferencesWindow::updateTrashSelection() {
    const bool on = m_autoRemove->isChecked();
    for (QAbstractButton* rule : m_removalRule->buttons())
        rule->setEnabled(on);
    applyCriteria(m_removalCriteria, on && m_removalRule->checkedId() == 1, m_removalNote);
}

void PreferencesWindow::updateCleanSelection() {
    const bool on = m_autoClean->isChecked();
    m_autosaveFolder->setEnabled(on);
    setLabelEnabled(m_autosaveFolderLabel, on);
    m_browse->setEnabled(on);
    m_cleanAction->setEnabled(on);
    applyCriteria(m_cleanCriteria, on, m_cleanNote);
}

void PreferencesWindow::setManualPaths(const QStringList& paths) {
    m_manualPaths = paths;
    m_manualPathList->clear();
    // Shown as stored: "~/..." for a folder in the home, which is also shorter to read.
    const QStringList shown = CatalogueLocations::storablePaths(paths);
    for (qsizetype i = 0; i < paths.size(); ++i) {
        auto* item = new QListWidgetItem(shown.value(i, paths[i]), m_manualPathList);
        item->setToolTip(paths[i]);
    }
}

int PreferencesWindow::selectedManualPathRow() const {
    const QList<QListWidgetItem*> selected = m_manualPathList->selectedItems();
    return selected.isEmpty() ? -1 : m_manualPathList->row(selected.first());
}

void PreferencesWindow::clearAutosaveFolderChoices() {
    const QString text = m_autosaveFolder->currentText();
    m_autosaveFolder->clear();
    m_autosaveFolder->setEditText(text);
}

void PreferencesWindow::addAutosaveFolderChoice(const QString& abbreviatedPath) {
    const QString text = m_autosaveFolder->currentText();
    m_autosaveFolder->addItem(abbreviatedPath);
    m_autosaveFolder->setEditText(text);
}

QStringList PreferencesWindow::autosaveFolderChoices() const {
    QStringList choices;
    for (int i = 0; i < m_autosaveFolder->count(); ++i)
        choices << m_autosaveFolder->itemText(i);
    return choices;
}

void PreferencesWindow::setAutosaveFolderText(const QString& abbreviatedPath) {
    m_autosaveFolder->setEditText(abbreviatedPath);
}

void PreferencesWindow::setAdminPasswordChecked(bool on) {
    m_adminPassword->setChecked(on);
}

void PreferencesWindow::setAnalyticsChecked(bool on) {
    m_analytics->setChecked(on);
}

QRadioButton* PreferencesWindow::removalRuleButton(int row) const {
    return qobject_cast<QRadioButton*>(m_removalRule->button(row));
}

QCheckBox* PreferencesWindow::removalCriterionBox(int index) const {
    return m_removalCriteria.value(index).box;
}

QSpinBox* PreferencesWindow::removalCriterionValue(int index) const {
    return m_removalCriteria.value(index).value;
}

QLabel* PreferencesWindow::removalCriterionLabel(int index) const {
    return m_removalCriteria.value(index).label;
}

QCheckBox* PreferencesWindow::cleanCriterionBox(int index) const {
    return m_cleanCriteria.value(index).box;
}

QSpinBox* PreferencesWindow::cleanCriterionValue(int index) const {
    return m_cleanCriteria.value(index).value;
}

QLabel* PreferencesWindow::cleanCriterionLabel(int index) const {
    return m_cleanCriteria.value(index).label;
}
