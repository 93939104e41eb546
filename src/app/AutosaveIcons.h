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
    // A pinned row's tooltip: its path and what the pin means.
    static QString pinnedToolTip(const QString& path);
};
