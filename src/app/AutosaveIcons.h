#pragma once

#include <QIcon>

// The icon of each kind of autosave: the system's icon for the editor's file type where the
// platform has one, else an image of our own.
class AutosaveIcons {
public:
    static QIcon iconForType(int type);
    // The image that ships with Vestry for a type, whatever the system has.
    static QIcon ownIconForType(int type);
    // The type's icon with a small lock in its lower right corner: an autosave the background
    // jobs leave alone for now.
    static QIcon lockedIconForType(int type);
};
