#pragma once

#include <QByteArray>
#include <QString>

// A file's contents replaced whole or not at all: written beside it, then renamed over it.
class AtomicFile {
public:
    // False, with the cause in Qt's words, when the contents could not be put in place; the
    // file is then as it was (or still missing).
    static bool write(const QString& path, const QByteArray& contents, QString* error = nullptr);
};
