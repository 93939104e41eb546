#include "AutosaveOutlineModel.h"

#include "AutosaveIcons.h"
#include "catalogue/OutlineSorting.h"
#include "catalogue/RecentWriteGuard.h"
#include "foundation/BMException.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"

#include <QFont>
#include <QHash>

namespace {
template <typename Answer, typename Body>
Answer guarded(const char* method, Answer fallback, Body body) {
    try {
        return body();
    } catch (const std::exception& e) {
        BMException::logException(e, method);
        return fallback;
    }
}
} // namespace

AutosaveOutlineModel::AutosaveOutlineModel(QObject* parent, OutlineText text)
    : QAbstractItemModel(parent), m_text(std::move(text)) {
}

QString AutosaveOutlineModel::columnIdentifier(int column) {
    switch (column) {
    case NameColumn:
        return QString::fromLatin1(OutlineColumn::name);
    case SizeColumn:
        return QString::fromLatin1(OutlineColumn::size);
    case DateColumn:
        return QString::fromLatin1(OutlineColumn::date);
    case LocationColumn:
        return QStringLiteral("colLocation");
    default:
        return QString();
    }
}

int AutosaveOutlineModel::columnForIdentifier(QStringView identifier) {
    for (int column = 0; column < ColumnCount; ++column) {
        if (identifier == columnIdentifier(column))
            return column;
    }
    return -1;
}

void AutosaveOutlineModel::setProjects(BMProjectList projects) {
    beginResetModel();
    m_projects = std::move(projects);
    endResetModel();
}

void AutosaveOutlineModel::setPins(PinnedPaths pins) {
    m_pins = std::move(pins);
    for (int row = 0; row < rowCount(); ++row) {
        const QModelIndex project = index(row, NameColumn);
        Q_EMIT dataChanged(project, project, {Qt::DecorationRole, Qt::ToolTipRole});
        if (const int children = rowCount(project); children > 0)
            Q_EMIT dataChanged(index(0, NameColumn, project), index(children - 1, NameColumn, project),
                               {Qt::DecorationRole, Qt::ToolTipRole});
    }
}

void AutosaveOutlineModel::setOrphans(QHash<QString, QString> orphans) {
    m_orphans = std::move(orphans);
    if (const int rows = rowCount(); rows > 0)
        Q_EMIT dataChanged(index(0, NameColumn), index(rows - 1, NameColumn),
                           {Qt::FontRole, Qt::ToolTipRole});
}

void AutosaveOutlineModel::sortBy(QStringView column, bool descending) {
    reorder([&] { m_projects = OutlineSorting::sortProjects(m_projects, column, descending); });
}

void AutosaveOutlineModel::reorder(const std::function<void()>& change) {
    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    // Remember every persistent row by the node it shows, then find the nodes again.
    struct Anchor {
        BMProject* project;
        BMAutoItem* item;
        int column;
    };
    const QModelIndexList before = persistentIndexList();
    QList<Anchor> anchors;
    anchors.reserve(before.size());
    for (const QModelIndex& index : before) {
        BMProject* project = index.internalId() == kProjectRow ? projectForRow(index.row())
                                                               : projectForRow(int(index.internalId() - 1));
        BMAutoItem* item = nullptr;
        if (index.internalId() != kProjectRow && project && index.row() < project->childCount())
            item = project->children().at(index.row()).get();
        anchors.append({project, item, index.column()});
    }

    change();

    QHash<const BMProject*, int> projectRows;
    projectRows.reserve(m_projects.size());
    for (int row = 0; row < m_projects.size(); ++row)
        projectRows.insert(m_projects[row].get(), row);
    QModelIndexList after;
    after.reserve(before.size());
    for (const Anchor& anchor : anchors) {
        const int projectRow = projectRows.value(anchor.project, -1);
        if (projectRow < 0) {
            after.append(QModelIndex());
        } else if (!anchor.item) {
            after.append(createIndex(projectRow, anchor.column, kProjectRow));
        } else {
            const BMAutoItemList children = m_projects[projectRow]->children();
            int itemRow = -1;
            for (int i = 0; i < children.size() && itemRow < 0; ++i) {
                if (children[i].get() == anchor.item)
                    itemRow = i;
            }
            after.append(itemRow < 0 ? QModelIndex()
                                     : createIndex(itemRow, anchor.column, quintptr(projectRow) + 1));
        }
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

BMProject* AutosaveOutlineModel::projectForRow(int row) const {
    return row >= 0 && row < m_projects.size() ? m_projects[row].get() : nullptr;
}

BMProjectPtr AutosaveOutlineModel::projectAt(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() != kProjectRow || index.row() >= m_projects.size())
        return nullptr;
    return m_projects[index.row()];
}

BMAutoItemPtr AutosaveOutlineModel::itemAt(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() == kProjectRow)
        return nullptr;
    const BMProject* project = projectForRow(int(index.internalId() - 1));
    if (!project || index.row() >= project->childCount())
        return nullptr;
    return project->children().at(index.row());
}

QModelIndex AutosaveOutlineModel::indexOfProject(const BMProject* project, int column) const {
    for (int row = 0; row < m_projects.size(); ++row) {
        if (m_projects[row].get() == project)
            return createIndex(row, column, kProjectRow);
    }
    return QModelIndex();
}

QModelIndex AutosaveOutlineModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return QModelIndex();
    if (!parent.isValid())
        return createIndex(row, column, kProjectRow);
    return createIndex(row, column, quintptr(parent.row()) + 1);
}

QModelIndex AutosaveOutlineModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == kProjectRow)
        return QModelIndex();
    return createIndex(int(child.internalId() - 1), 0, kProjectRow);
}

int AutosaveOutlineModel::rowCount(const QModelIndex& parent) const {
    return guarded("-[AppController outlineView:numberOfChildrenOfItem:]", 0, [&] {
        if (parent.column() > 0)
            return 0;
        if (!parent.isValid())
            return int(m_projects.size());
        if (parent.internalId() != kProjectRow)
            return 0;
        const BMProject* project = projectForRow(parent.row());
        return project ? int(project->childCount()) : 0;
    });
}

int AutosaveOutlineModel::columnCount(const QModelIndex&) const {
    return ColumnCount;
}

bool AutosaveOutlineModel::hasChildren(const QModelIndex& parent) const {
    return guarded("-[AppController outlineView:isItemExpandable:]", false, [&] {
        if (!parent.isValid())
            return !m_projects.isEmpty();
        if (parent.internalId() != kProjectRow || parent.column() > 0)
            return false;
        const BMProject* project = projectForRow(parent.row());
        return project && project->childCount() > 0;
    });
}

QVariant AutosaveOutlineModel::data(const QModelIndex& index, int role) const {
    return guarded(
        "-[AppController outlineView:objectValueForTableColumn:byItem:]", QVariant(), [&]() -> QVariant {
            if (!index.isValid())
                return QVariant();
            const QString column = columnIdentifier(index.column());
            if (BMProjectPtr project = projectAt(index)) {
                switch (role) {
                case Qt::DisplayRole:
                    // Names as the rest of the program shows them: a line break or a byte that is
                    // not UTF-8 would otherwise cut the row short or draw as nothing.
                    if (index.column() == LocationColumn) {
                        return FileName::displayText(
                            PathText::abbreviatingHome(PathText::deletingLastComponent(project->path()),
                                                       Platform::current().homeDirectory()));
                    }
                    return FileName::displayText(m_text.cellText(*project, column));
                case Qt::ToolTipRole:
                    return projectToolTip(*project);
                case Qt::FontRole:
                    if (index.column() == NameColumn && isOrphan(*project)) {
                        QFont font;
                        font.setItalic(true);
                        return font;
                    }
                    return QVariant();
                case Qt::DecorationRole:
                    return index.column() == NameColumn
                               ? QVariant(AutosaveIcons::withPinBadge(
                                     AutosaveIcons::iconForType(project->type()), m_pins.isPinned(*project)))
                               : QVariant();
                case int(Role::Path):
                    return project->path();
                case int(Role::Type):
                    return project->type();
                case int(Role::Bytes):
                    return project->fileSize();
                case int(Role::CreatedMsecs):
                    return project->startMsecs();
                case int(Role::IsProject):
                    return true;
                default:
                    break;
                }
            } else if (BMAutoItemPtr item = itemAt(index)) {
                switch (role) {
                case Qt::DisplayRole:
                    return index.column() == LocationColumn
                               ? QString()
                               : FileName::displayText(m_text.cellText(*item, column));
                case Qt::DecorationRole:
                    if (index.column() != NameColumn)
                        return QVariant();
                    return AutosaveIcons::withPinBadge(RecentWriteGuard::stored().guards(*item)
                                                           ? AutosaveIcons::lockedIconForType(item->type())
                                                           : AutosaveIcons::iconForType(item->type()),
                                                       m_pins.isPinned(*item));
                case Qt::ToolTipRole:
                    return m_pins.isPinned(*item) ? AutosaveIcons::pinnedToolTip(itemToolTip(*item))
                                                  : itemToolTip(*item);
                case int(Role::Path):
                    return item->path();
                case int(Role::Type):
                    return item->type();
                case int(Role::Bytes):
                    return item->fileSize();
                case int(Role::CreatedMsecs):
                    return item->createdMsecs();
                case int(Role::IsProject):
                    return false;
                default:
                    break;
                }
            }
            if (role == Qt::TextAlignmentRole && index.column() == SizeColumn)
                return QVariant(Qt::AlignRight | Qt::AlignVCenter);
            return QVariant();
        });
}

QString AutosaveOutlineModel::itemToolTip(const BMAutoItem& item) {
    const RecentWriteGuard guard = RecentWriteGuard::stored();
    if (!guard.guards(item))
        return FileName::displayText(item.path());
    QString written = RecentWriteGuard::writtenText(item);
    written[0] = written[0].toUpper();
    return QStringLiteral("%1\n%2: the background jobs leave it alone for %3 minute%4")
        .arg(FileName::displayText(item.path()), written)
        .arg(guard.minutes())
        .arg(guard.minutes() == 1 ? "" : "s");
}

QString AutosaveOutlineModel::projectToolTip(const BMProject& project) const {
    QString tip = FileName::displayText(project.path());
    if (const auto orphan = m_orphans.constFind(project.path()); orphan != m_orphans.cend())
        tip += QLatin1Char('\n') +
               tr("Its project file no longer exists: %1").arg(FileName::displayText(*orphan));
    return m_pins.isPinned(project) ? AutosaveIcons::pinnedToolTip(tip) : tip;
}

QVariant AutosaveOutlineModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    switch (section) {
    case NameColumn:
        return tr("Name");
    case SizeColumn:
        return tr("Size");
    case DateColumn:
        return tr("Date");
    case LocationColumn:
        return tr("Location");
    default:
        return QVariant();
    }
}

Qt::ItemFlags AutosaveOutlineModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (index.internalId() != kProjectRow)
        flags |= Qt::ItemNeverHasChildren;
    return flags;
}
