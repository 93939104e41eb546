#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The freedesktop.org Trash, done here rather than through Qt or GLib: both leave an empty
// restore record behind on a full disk and report success, Qt loops for ever when the record
// cannot be made, and both only know the Trash of the process's own user, where root working
// for the user at the console needs that user's.
//
// An item moves in three steps, each checked before the next: a restore record is created
// exclusively (which reserves the name), written completely and synced; the item is renamed
// into the Trash without replacing anything; the item is then looked for in its new place.
// Any failure removes the record and leaves the item where it was.
class FreedesktopTrash {
public:
    // homeTrash: the Trash of the user the program works for (its "files" and "info" are
    // made when missing). The user is the process's own, or for root the owner of that Trash.
    explicit FreedesktopTrash(QString homeTrash);

    // The item on the home Trash's device goes there; one on another volume goes to that
    // volume's ".Trash/$uid" or ".Trash-$uid", and when neither can be used it is copied into
    // the home Trash, checked, and only then removed. Returns where it is now; nothing, with
    // the cause in words, when it stayed where it was.
    std::optional<QString> moveToTrash(const QString& path, QString* error) const;

    // Creates info/NAME.trashinfo in a Trash for an item that the caller moves itself. False,
    // with the record path and the cause, when it cannot be written completely.
    static bool writeRecord(const QString& trashDirectory, const QString& nameInTrash,
                            const QString& originalPath, QString* error);

    // The name an item takes in the Trash on a given attempt (0 first, then "NAME 2.ext",
    // ...), cut short where the record name ("NAME.trashinfo") would pass the file-name
    // limit. Whole characters and escaped bytes are kept, and the extension where it fits.
    static QString nameInTrash(const QString& name, int attempt);
    // Attempts at a free name before giving up.
    static constexpr int maxNameAttempts = 1000;

    // The mount point holding a path (the longest one that contains it), from a
    // /proc/self/mountinfo text.
    static QString mountPointOf(const QString& path, const QByteArray& mountInfo);
    // A mount-table field with the kernel's octal escapes undone.
    static QString unescapeMountField(const QByteArray& field);

private:
    QString m_homeTrash;
};
