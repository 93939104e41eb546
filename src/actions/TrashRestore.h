#pragma once

#include "ActionProgress.h"
#include "LocationLocks.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// One item in a Trash, as its restore record describes it.
struct TrashedItem {
    QString pathInTrash;
    QString recordPath;
    QString originalPath; // absolute, also where a volume's Trash keeps it relative
    QDateTime deletionDate;
    quint64 size = 0; // bytes of contents, a folder's included
};

// What a restore did. Each original path is in one list only.
struct RestoreReport {
    QStringList restored;            // back where they were, their restore records gone
    QStringList refused;             // something already stands at the original path; left in the Trash
    QStringList failed;              // left in the Trash with their records
    QStringList notFound;            // nothing in any Trash was removed from there
    QHash<QString, QString> reasons; // for refused and failed: the file and the cause in words
    QString error;                   // another run held a location: nothing was touched
    bool cancelled = false;          // stopped between two items; those not reached stay in the Trash
    qsizetype total = 0;             // the items it set out to put back

    bool ok() const { return error.isEmpty() && refused.isEmpty() && failed.isEmpty() && notFound.isEmpty(); }
};

// Putting removed autosaves back: what sits in the Trashes (the home Trash and, on the volume
// of each location, ".Trash/$uid" and ".Trash-$uid") whose original path lies in one of the
// locations. Nothing is ever replaced: an item goes back by a rename that refuses an existing
// name, or across volumes by a checked copy; its record goes only once it is back. Missing
// folders on the way are made, and removed again when the item cannot follow.
class TrashRestore {
public:
    // What a restore record (".trashinfo") says; nothing when it is not one or names no path.
    struct Record {
        QString originalPath;
        QDateTime deletionDate; // local time without a zone, as the format has it
    };
    static std::optional<Record> parseRecord(const QByteArray& record);

    // The Trash folders (each holding "files" and "info") that can hold the locations' items.
    static QStringList trashFolders(const QStringList& locations);
    // The items whose original path lies in a location, newest first (then by path).
    static QList<TrashedItem> list(const QStringList& locations);

    // These items, in this order, with the locks of their locations held, as a removal holds
    // them: a background run never works on a folder half put back.
    // A set cancel flag stops it before the next item; the one under way is finished.
    static RestoreReport restore(const QList<TrashedItem>& items, const CancelFlag* cancel = nullptr);
    // The locks restore takes, for a caller that puts items back one by one and would have no
    // other run work between two of them. restore does not take a lock this thread holds.
    // A set cancel flag ends the wait for another run at once.
    static std::optional<LocationLocks> lockLocations(const QList<TrashedItem>& items, QString* error,
                                                      const CancelFlag* cancel = nullptr);
    // The newest item removed from each path.
    static RestoreReport restorePaths(const QStringList& originalPaths, const QStringList& locations,
                                      const CancelFlag* cancel = nullptr);
    // Everything the last recorded removal took; error says why when there is nothing to go by.
    static RestoreReport restoreLast(const QStringList& locations, QString* error,
                                     const CancelFlag* cancel = nullptr);
};
