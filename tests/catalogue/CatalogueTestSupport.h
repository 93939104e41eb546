#pragma once

#include "catalogue/BMProject.h"
#include "support/TempHome.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

// Real folder trees for the catalogue tests, described one entry per text:
//   "Wedding/Wedding_11-20-26_1030|100|FCPF"   a 100-byte file of Final Cut's type (any
//                                              four letters give that type)
//   "Wedding/b|5|AFP"                          the same type in netatalk's record
//   "Wedding/c|5|._FCPF"                       the same type in an AppleDouble file "._c"
//   "Edit/Edit-2.prproj||LINK"                 a symbolic link that leads nowhere
namespace CatalogueTest {

// False when the file system refused a Finder type (no user extended attributes).
bool makeTree(const QString& root, const QStringList& entries);
// "name(type)@path: item:type item:type; ..." with paths relative to the root; an item's path
// is shown only where it is not "<project path>/<name>", and "?" marks an item without date.
QString describe(const BMProjectList& projects, const QString& root);

// Items and dates for the model: seconds from 2026-11-22 10:00:00 UTC.
QDateTime at(qint64 seconds);
BMAutoItemPtr item(const QString& name, double size, qint64 seconds);
template <typename List>
QStringList namesOf(const List& list) {
    QStringList names;
    for (const auto& each : list)
        names << each->name();
    return names;
}

// A temporary home with a fresh log.
class LoggedHomeTest : public TempHomeTest {
protected:
    void SetUp() override;
};

// Discovery never asks the machine's own file index: only what a test points the tools at.
class DiscoveryHomeTest : public LoggedHomeTest {
protected:
    void SetUp() override;
};

} // namespace CatalogueTest
