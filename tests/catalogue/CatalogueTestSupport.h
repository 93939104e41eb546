#pragma once

#include "catalogue/BMProject.h"
#include "support/TempHome.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

// Real files for the catalogue tests: sized files, Finder types written as extended
// attributes in either of the forms a Mac leaves on a Linux server, and the log's text.
namespace CatalogueTest {

enum class FinderInfoForm { AppleAttribute, NetatalkRecord };

// Creates the file (and its folders) with that many bytes.
QString writeFile(const QString& path, qint64 size = 0);
QString makeFolder(const QString& path);
// False when the file system refuses user extended attributes.
bool setFileType(const QString& path, const QByteArray& type,
                 FinderInfoForm form = FinderInfoForm::AppleAttribute);
bool userAttributesSupported(const QString& folder);
// Everything logged so far in this test's log.
QString logText();

// An item with a fixed date; seconds are counted from 2026-11-22 10:00:00 UTC.
BMAutoItemPtr item(const QString& name, double size, qint64 seconds, int type = 0);
QDateTime at(qint64 seconds);
QStringList namesOf(const BMAutoItemList& items);
QStringList namesOf(const BMProjectList& projects);

} // namespace CatalogueTest

// A temporary home with a fresh log of its own.
class CatalogueHomeTest : public TempHomeTest {
protected:
    void SetUp() override;
};
