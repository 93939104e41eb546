#pragma once

#include "actions/AutosaveSelection.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMLog.h"
#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <memory>

// The rows of a catalogue by name: "Beta" stands for a project row, "Beta-1.prproj" for an
// autosave row.
inline SelectedRows selectRows(const BMProjectList& projects, const QStringList& names) {
    SelectedRows rows;
    for (const QString& name : names) {
        for (const BMProjectPtr& project : projects) {
            if (project->name() == name)
                rows << SelectedRow::ofProject(project);
            for (const BMAutoItemPtr& child : project->children()) {
                if (child->name() == name)
                    rows << SelectedRow::ofItem(child);
            }
        }
    }
    EXPECT_EQ(rows.size(), names.size()) << names.join(", ").toStdString();
    return rows;
}

// Real autosave trees in a temporary home, scanned into a real catalogue, with the Trash of
// that home (XDG_DATA_HOME) and no pkexec, so that no test reaches the real Trash or asks for
// a password.
//
// The Premiere location holds Alpha (one autosave), Beta (two) and the loose Promo-1 and
// Promo-2; the Final Cut Pro X library holds the event Ceremony with its current version and
// two backups. Every file's contents are its path relative to the home.
class ActionsTest : public TempHomeTest {
public:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog("VestryTests");
        home().platform().setToolPath(Tool::Pkexec, home().root() + "/no-pkexec");
        m_previousAuthorization = BMAuthorization::installShared(std::make_unique<BMAuthorization>());
        for (const char* file : {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj",
                                 "Promo-1.prproj", "Promo-2.prproj"})
            write("Documents/Adobe Premiere Pro Auto-Save/" + QString::fromUtf8(file));
        for (const char* file :
             {"CurrentVersion", "Backups/Ceremony 2026-11-16 10-00", "Backups/Ceremony 2026-11-18 10-00"})
            write("Movies/Wedding.fcpbundle/Ceremony/" + QString::fromUtf8(file) + ".fcpevent");
    }
    void TearDown() override {
        BMAuthorization::installShared(std::move(m_previousAuthorization));
        TempHomeTest::TearDown();
    }

    QString premiere(const QString& relative = "") const {
        const QString location = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
        return relative.isEmpty() ? location : location + '/' + relative;
    }
    QString library(const QString& relative) const {
        return home().home() + "/Movies/Wedding.fcpbundle/" + relative;
    }
    QString write(const QString& relative, const QByteArray& contents = QByteArray()) const {
        return home().writeHomeFile(relative, contents);
    }

    // Scans both locations as the scanner finds them now.
    void scan() {
        projects.clear();
        for (const QString& location : {premiere(), library("").chopped(1)})
            projects += AutosaveFolderScanner().projectsFromFolder(location).value_or(BMProjectList());
    }
    SelectedRows rows(const QStringList& names) const { return selectRows(projects, names); }

    QMap<QString, QString> trashRecords() const {
        return ::trashRecords(home().home() + "/.local/share/Trash");
    }
    BMProjectList projects;

private:
    std::unique_ptr<BMAuthorization> m_previousAuthorization;
};
