#include "RulePreviewSheet.h"

#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSet>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum Column { NameColumn, DateColumn, SizeColumn };

} // namespace

RulePreview RulePreviewSheet::group(const BMAutoItemList& autosaves,
                                    const std::function<bool(const BMProject&)>& isOrphan) {
    RulePreview preview;
    QHash<const BMProject*, qsizetype> rowOfProject;
    QSet<const BMAutoItem*> seen;
    for (const BMAutoItemPtr& item : autosaves) {
        // The age rule lists an autosave twice when its own row was selected with its project.
        if (!item || seen.contains(item.get()))
            continue;
        seen.insert(item.get());
        BMProjectPtr project = item->parent();
        auto it = rowOfProject.constFind(project.get());
        if (it == rowOfProject.cend()) {
            it = rowOfProject.insert(project.get(), preview.size());
            const bool orphan = project && isOrphan && isOrphan(*project);
            preview.append(RulePreviewProject{project, {}, orphan});
        }
        preview[*it].autosaves.append(item);
    }
    return preview;
}

RulePreviewSheet::RulePreviewSheet(const RulePreview& preview, QWidget* parent, OutlineText text)
    : QDialog(parent), m_text(std::move(text)) {
    setWindowTitle(tr("Remove Autosaves"));
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    auto* heading =
        new QLabel(tr("These autosaves will be moved to the Trash. Untick any you want to keep."));
    heading->setWordWrap(true);
    layout->addWidget(heading);

    m_tree = new QTreeWidget(this);
    m_tree->setColumnCount(3);
    m_tree->setHeaderLabels({tr("Name"), tr("Date Created"), tr("Size")});
    m_tree->setUniformRowHeights(false);
    m_tree->setTextElideMode(Qt::ElideMiddle);
    m_tree->setRootIsDecorated(true);
    m_tree->header()->setStretchLastSection(false);
    m_tree->header()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    m_tree->header()->setSectionResizeMode(DateColumn, QHeaderView::ResizeToContents);
    m_tree->header()->setSectionResizeMode(SizeColumn, QHeaderView::ResizeToContents);
    for (const RulePreviewProject& part : preview) {
        auto* projectRow = new QTreeWidgetItem(m_tree);
        const QString name = part.project ? FileName::displayText(part.project->name()) : QString();
        // Where the window's location column says it is.
        QString where = part.project ? FileName::displayText(PathText::abbreviatingHome(
                                           PathText::deletingLastComponent(part.project->path()),
                                           Platform::current().homeDirectory()))
                                     : QString();
        if (part.orphan)
            where = tr("Orphan: its project file no longer exists") +
                    (where.isEmpty() ? QString() : QStringLiteral(" · ") + where);
        // The location on a line of its own keeps the name column readable in a narrow sheet.
        projectRow->setText(NameColumn, where.isEmpty() ? name : name + QLatin1Char('\n') + where);
        projectRow->setToolTip(NameColumn, part.project ? part.project->path() : QString());
        if (part.orphan)
            projectRow->setForeground(NameColumn, palette().brush(QPalette::Disabled, QPalette::Text));
        projectRow->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsAutoTristate);
        double bytes = 0;
        for (const BMAutoItemPtr& item : part.autosaves) {
            auto* row = new QTreeWidgetItem(projectRow);
            row->setText(NameColumn, FileName::displayText(item->name()));
            row->setText(DateColumn, m_text.itemDateText(item->createdDate()));
            row->setText(SizeColumn, m_text.formatFileSize(item->fileSize()));
            row->setTextAlignment(SizeColumn, Qt::AlignRight | Qt::AlignVCenter);
            row->setToolTip(NameColumn, item->path());
            row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
            row->setCheckState(NameColumn, Qt::Checked);
            m_items.insert(row, item);
            m_ticked.insert(row);
            m_tickedBytes += item->fileSize();
            bytes += item->fileSize();
        }
        projectRow->setText(SizeColumn, m_text.formatFileSize(bytes));
        projectRow->setTextAlignment(SizeColumn, Qt::AlignRight | Qt::AlignVCenter);
        projectRow->setCheckState(NameColumn, Qt::Checked);
        projectRow->setExpanded(true);
    }
    layout->addWidget(m_tree, 1);

    m_total = new QLabel(this);
    layout->addWidget(m_total);
    auto* buttons = new QDialogButtonBox(this);
    m_continue = buttons->addButton(tr("Continue"), QDialogButtonBox::AcceptRole);
    buttons->addButton(QDialogButtonBox::Cancel);
    m_continue->setDefault(true);
    m_continue->setAutoDefault(true);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_tree, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* row, int column) {
        if (column == NameColumn)
            countTick(row);
    });
    showTotal();
    resize(620, 420);
}

BMAutoItemList RulePreviewSheet::checked() const {
    BMAutoItemList items;
    for (int p = 0; p < m_tree->topLevelItemCount(); ++p) {
        QTreeWidgetItem* project = m_tree->topLevelItem(p);
        for (int c = 0; c < project->childCount(); ++c) {
            QTreeWidgetItem* row = project->child(c);
            if (row->checkState(NameColumn) == Qt::Checked)
                items.append(m_items.value(row));
        }
    }
    return items;
}

QTreeWidgetItem* RulePreviewSheet::rowOf(const QString& path) const {
    for (auto it = m_items.cbegin(); it != m_items.cend(); ++it) {
        if (it.value()->path() == path)
            return it.key();
    }
    return nullptr;
}

void RulePreviewSheet::countTick(QTreeWidgetItem* row) {
    const auto item = m_items.constFind(row);
    if (item == m_items.cend())
        return; // a project's row: its autosaves' rows say what changed
    const bool ticked = row->checkState(NameColumn) == Qt::Checked;
    if (ticked == m_ticked.contains(row))
        return;
    if (ticked)
        m_ticked.insert(row);
    else
        m_ticked.remove(row);
    m_tickedBytes += (ticked ? 1 : -1) * item.value()->fileSize();
    showTotal();
}

void RulePreviewSheet::showTotal() {
    const qsizetype count = m_ticked.size();
    const double bytes = count == 0 ? 0.0 : m_tickedBytes;
    if (count == 0)
        m_total->setText(tr("Nothing is ticked: nothing will be removed."));
    else if (count == 1)
        m_total->setText(tr("1 autosave, %1 will be moved to the Trash.").arg(m_text.formatFileSize(bytes)));
    else
        m_total->setText(
            tr("%1 autosaves, %2 will be moved to the Trash.").arg(count).arg(m_text.formatFileSize(bytes)));
}
