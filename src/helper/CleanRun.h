#pragma once

#include "HelperRun.h"

#include <QDate>

// "-clean FOLDER": the autosaves of one folder that break a switched-on clean-up limit go to
// the Trash (action 0), or are first packed, project by project, into an archive beside the
// folder (action 1).
class CleanRun : public HelperRun {
public:
    CleanRun(const QString& folder, Options options);

    // "Vestry Archives" in the folder's parent: beside the folder, never in it, so that the
    // archives are not themselves taken for autosaves.
    static QString archiveFolder(const QString& folder);
    // "<project> <date>.zip" there, or "<project> <date> 2.zip", " 3", ... when taken: the
    // archiver would send an archive in its way to the Trash, and an earlier run's archive
    // is not to be replaced.
    static QString freeArchivePath(const QString& archiveFolder, const QString& project, const QDate& date);

protected:
    Outcome work() override;

private:
    Outcome archiveAndTrash(const BMProjectList& projects, const RuleChoices& choices);
};
