#pragma once

#include <QIcon>

// The icon of each kind of autosave: the system's icon for the editor's file type where the
// platform has one, else an image of our own.
class AutosaveIcons {
public:
    static QIcon iconForType(int type);
    // The image that ships with Vestry for a type, whatever the system has.
    static QIcon ownIconForType(int type);
    // The icon with a pin drawn over its lower right corner when pinned, else the icon itself.
    static QIcon withPinBadge(const QIcon& icon, bool pinned);
    // A pinned row's tooltip: what it would say anyway (its path first), then what the pin means.
    static QString pinnedToolTip(const QString& toolTip);
    // The type's icon with a small lock in its lower right corner: an autosave the background
    // jobs leave alone for now.
    static QIcon lockedIconForType(int type);
};
