#include "AtomicFile.h"

#include <QSaveFile>

bool AtomicFile::write(const QString& path, const QByteArray& contents, QString* error) {
    QSaveFile file(path);
    // Qt keeps a small write in its buffer, and when the disk is full as commit() writes it out
    // it still puts the empty file in place of the old one: flushed first, the failure is seen.
    if (file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size() && file.flush() &&
        file.commit())
        return true;
    if (error)
        *error = file.errorString();
    file.cancelWriting();
    return false;
}
