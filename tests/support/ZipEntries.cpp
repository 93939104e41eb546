#include "ZipEntries.h"

#include <QFile>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

QStringList zipEntryNames(const QString& zip) {
    QStringList names;
    archive* reader = archive_read_new();
    archive_read_support_format_zip(reader);
    EXPECT_EQ(archive_read_open_filename(reader, QFile::encodeName(zip).constData(), 1 << 16), ARCHIVE_OK)
        << zip.toStdString();
    for (archive_entry* entry = nullptr; archive_read_next_header(reader, &entry) == ARCHIVE_OK;) {
        const QString name = QString::fromUtf8(archive_entry_pathname_utf8(entry));
        names << (archive_entry_filetype(entry) == AE_IFDIR && !name.endsWith('/') ? name + '/' : name);
    }
    archive_read_free(reader);
    names.sort();
    return names;
}
