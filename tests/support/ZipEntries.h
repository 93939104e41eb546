#pragma once

#include <QString>
#include <QStringList>

// The entries of a zip file as libarchive reads them, sorted, folders ending in "/"; a file
// that cannot be opened fails the test that asked.
QStringList zipEntryNames(const QString& zip);
