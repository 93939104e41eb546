#pragma once

#include "actions/AutosaveSelection.h"
#include "foundation/BMAuthorization.h"
#include "support/TempHome.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <ostream>

// Real autosave trees in a temporary home, scanned into a real catalogue, with the Trash of
// that home (XDG_DATA_HOME) and a refusing pkexec stand-in, so that no test reaches the real
// Trash or asks for a password.
//
// The Premiere location holds Alpha (one autosave), Beta (two) and the loose Promo-1 and
// Promo-2; the Final Cut Pro X library holds the event Ceremony with its current version and
// two backups. Every file's contents name the file.
class ActionsTest : public TempHomeTest {
protected:
    void SetUp() override;
    void TearDown() override;

    QString premiere() const;
    QString library() const;
    // A file under the home with the given contents (its own relative path when empty).
    QString write(const QString& relative, const QByteArray& contents = QByteArray()) const;
    QByteArray read(const QString& path) const;
    bool exists(const QString& path) const;

    // The catalogue of both locations as the scanner builds it now.
    BMProjectList scan() const;
    BMProjectPtr project(const BMProjectList& projects, const QString& name) const;
    BMAutoItemPtr item(const BMProjectList& projects, const QString& name) const;
    SelectedRow projectRow(const BMProjectList& projects, const QString& name) const;
    SelectedRow itemRow(const BMProjectList& projects, const QString& name) const;

    // The home's Trash: name in the Trash -> the original path its record holds.
    QMap<QString, QString> trashRecords() const;
    QString trashFolder() const;
    // Every entry of a zip archive (folders end in "/") with its contents.
    static QMap<QString, QByteArray> zipEntries(const QString& archive);
    QString logText() const;

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};

// Table rows print as their names in test output.
template <typename Row>
requires requires(const Row& row) {
    row.rowName;
}
void PrintTo(const Row& row, std::ostream* out) {
    *out << row.rowName;
}
