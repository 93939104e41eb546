#pragma once

#include "catalogue/BMProject.h"
#include "catalogue/OutlineText.h"
#include "catalogue/PinnedPaths.h"

#include <QAbstractItemModel>
#include <QHash>

#include <functional>

// The catalogue as a two-level tree for the outline: projects, each with its autosaves, in
// four columns (name with the editor's icon, size, date, location). The model shows the list it is
// given; the controller replaces it after every rebuild. Sorting keeps the rows that were
// expanded or selected, wherever they move.
class AutosaveOutlineModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { NameColumn, SizeColumn, DateColumn, LocationColumn, ColumnCount };
    enum class Role {
        Path = Qt::UserRole + 1,
        Type,         // the autosave type code (a project's own)
        Bytes,        // the size as a number
        CreatedMsecs, // an item's date, a project's first date
        IsProject,
    };

    explicit AutosaveOutlineModel(QObject* parent = nullptr, OutlineText text = OutlineText());

    static QString columnIdentifier(int column);
    static int columnForIdentifier(QStringView identifier);

    const BMProjectList& projects() const { return m_projects; }
    // Replaces the whole list (a rebuild).
    void setProjects(BMProjectList projects);
    // The pins the name column's badge shows; every row is redrawn.
    void setPins(PinnedPaths pins);
    const PinnedPaths& pins() const { return m_pins; }
    // The orphaned projects among those shown (project path -> the missing project file it
    // records); the controller publishes them with the list. Their names are set in italics.
    void setOrphans(QHash<QString, QString> orphans);
    // Cheap: a look-up in what was published, never a read of the autosaves.
    bool isOrphan(const BMProject& project) const { return m_orphans.contains(project.path()); }
    // Sorts as the outline sorts (children included), keeping persistent indexes.
    void sortBy(QStringView column, bool descending);
    // Runs a change that only reorders projects or their children (never adds or removes
    // one), keeping each persistent index, and so the selection, on the node it showed.
    void reorder(const std::function<void()>& change);

    BMProjectPtr projectAt(const QModelIndex& index) const; // project rows only
    BMAutoItemPtr itemAt(const QModelIndex& index) const;   // autosave rows only
    QModelIndex indexOfProject(const BMProject* project, int column = 0) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // The path, and for an autosave the background jobs leave alone for now, why.
    static QString itemToolTip(const BMAutoItem& item);
    QString projectToolTip(const BMProject& project) const;

private:
    // Project rows carry 0 in their internal id, autosave rows their project's row + 1.
    static constexpr quintptr kProjectRow = 0;
    BMProject* projectForRow(int row) const;

    BMProjectList m_projects;
    OutlineText m_text;
    PinnedPaths m_pins;
    QHash<QString, QString> m_orphans;
};
