#pragma once

#include "catalogue/BMProject.h"
#include "catalogue/OutlineText.h"

#include <QDialog>
#include <QHash>
#include <QSet>

#include <functional>

class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

// One project's part of what a rule would take.
struct RulePreviewProject {
    BMProjectPtr project;
    BMAutoItemList autosaves;
    bool orphan = false; // its project file no longer exists
};
using RulePreview = QList<RulePreviewProject>;

// What a rule would move to the Trash, project by project, every autosave ticked; the line
// under the list adds up what is still ticked. Unticking keeps an autosave. Nothing is
// removed here: the caller takes checked() after Continue.
class RulePreviewSheet : public QDialog {
    Q_OBJECT
public:
    // The autosaves grouped under their projects in the order first met, each once.
    static RulePreview group(const BMAutoItemList& autosaves,
                             const std::function<bool(const BMProject&)>& isOrphan = {});

    RulePreviewSheet(const RulePreview& preview, QWidget* parent, OutlineText text = OutlineText());

    // The ticked autosaves in the order shown.
    BMAutoItemList checked() const;
    QTreeWidget* tree() const { return m_tree; }
    QLabel* totalLabel() const { return m_total; }
    QPushButton* continueButton() const { return m_continue; }
    // The row of an autosave, by its path; null when not shown.
    QTreeWidgetItem* rowOf(const QString& path) const;

private:
    // Counts a row's change of tick; a project's tick changes each of its rows in turn, so the
    // total is kept as it goes rather than added up again for every row.
    void countTick(QTreeWidgetItem* row);
    void showTotal();

    OutlineText m_text;
    QTreeWidget* m_tree = nullptr;
    QLabel* m_total = nullptr;
    QPushButton* m_continue = nullptr;
    QHash<QTreeWidgetItem*, BMAutoItemPtr> m_items;
    QSet<QTreeWidgetItem*> m_ticked;
    double m_tickedBytes = 0;
};
