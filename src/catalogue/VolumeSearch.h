#pragma once

#include "foundation/platform/Platform.h"

#include <QList>
#include <QString>
#include <QStringList>

// Looks for folders by name on one mounted volume that the file name index leaves out (an
// editing drive, a file server), by walking it: breadth first, so that the usual places near
// the top are seen before a bound cuts the walk off; never deeper than a given depth, never
// past a deadline, never onto another file system, into hidden folders or into the folders a
// system keeps on a volume (its Trash, "lost+found", "System Volume Information", ...). A
// folder that matches is reported and not entered.
//
// The walk runs on a thread of its own: a server that stops answering blocks the thread in
// the kernel, not the caller, who gets what was found by the deadline.
class VolumeSearch {
public:
    struct Bounds {
        int depth = 6; // the volume's own entries are at depth 1
        double seconds = 10.0;
    };
    struct Result {
        QStringList paths; // in the order the walk met them
        // The deadline ended the walk: folders were left unseen.
        bool cutOff = false;
        // Why the volume could not be walked at all; null when it could.
        QString problem;
    };

    static Result search(const QString& volume, const QList<Platform::SpotlightQuery>& queries,
                         const Bounds& bounds);
};
