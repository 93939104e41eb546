#pragma once

#include "actions/CombinedRule.h"
#include "catalogue/OutlineText.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QSpinBox;

// Autosaves ▸ Thin Out…: the age, count and size limits of one combined rule, with a line
// that says, as any field changes, how many autosaves and how much the rule would take from
// the projects it is given. OK only when that is something. The fields open as they were
// last accepted.
class ThinOutDialog : public QDialog {
    Q_OBJECT
public:
    // selectionOnly: the projects are the selected ones, not the whole catalogue; the dialog
    // says which.
    ThinOutDialog(BMProjectList projects, bool selectionOnly, PinnedPaths pins, QDateTime now,
                  QWidget* parent, OutlineText text = OutlineText());

    CombinedRule rule() const;
    RuleChoices choices() const { return m_choices; }

    QCheckBox* ageBox() const { return m_useAge; }
    QSpinBox* ageDays() const { return m_age; }
    QCheckBox* keepBox() const { return m_useKeep; }
    QSpinBox* keepCount() const { return m_keep; }
    QCheckBox* sizeBox() const { return m_useSize; }
    QSpinBox* sizeValue() const { return m_size; }
    QComboBox* sizeUnit() const { return m_unit; }
    QLabel* summaryLabel() const { return m_summary; }
    QPushButton* okButton() const;

    void accept() override;

private:
    void restore();
    void remember() const;
    void update();

    BMProjectList m_projects;
    PinnedPaths m_pins;
    QDateTime m_now;
    OutlineText m_text;
    RuleChoices m_choices;
    QCheckBox* m_useAge = nullptr;
    QSpinBox* m_age = nullptr;
    QCheckBox* m_useKeep = nullptr;
    QSpinBox* m_keep = nullptr;
    QCheckBox* m_useSize = nullptr;
    QSpinBox* m_size = nullptr;
    QComboBox* m_unit = nullptr;
    QLabel* m_summary = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
};
