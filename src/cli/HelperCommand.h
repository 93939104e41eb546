#pragma once

#include "Subcommand.h"

#include <string>

// vestry helper status [--json] [--system]
// vestry helper enable trash [--system]
// vestry helper enable clean [FOLDER] [--older-than DAYS] [--project-size MB] [--folder-size GB]
//                            [--action trash|archive] [--system]
// vestry helper disable trash|clean [--system]
//
// The two background jobs, as the preference panel's check boxes switch them: enable and
// disable set the same settings (autoRemove, autoClean, autosaveFolder), write them out for
// the helper to read, and install or remove the job the same way. --system works on the
// computer's jobs instead of the user's (root only): a file server's clean-up with nobody
// logged in. The clean-up limits and action are the preference panel's too; 0 switches a limit
// off, a limit not given stays as it was.
//
// Exit status 0 when the job's files are in place (enable) or gone (disable), even when the
// service manager could not be told, which is printed as a warning; 1 when they are not, when
// the folder is missing or not an autosave location that `vestry list` would take (nothing is
// changed then), or when --system is given by someone other than root.
//
// status --json prints one object, keys in this order:
//   {"system":false,"jobs":[{"job":"trash"|"clean","label":…,"switchedOn":bool,
//    "installed":bool,"unitFiles":[…],"watchedPaths":[…],"folder":…|null,"limits":…|null,
//    "lastRun":{"finished":"2026-11-24T21:05:30Z","ok":bool,"result":…}|null}]}
// unitFiles are the job's files whether or not they exist; folder is the clean-up job's
// folder as stored ("~" expanded), null for the trash job or when none is stored; limits,
// for the clean-up job only: {"olderThanDays":N|null,"projectSizeMB":N|null,
// "folderSizeGB":N|null,"action":"trash"|"archive"} (null: the limit is off).
class HelperCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    int status() const;
    int enable();
    int disable();

    CLI::App* m_status = nullptr;
    CLI::App* m_enableTrash = nullptr;
    CLI::App* m_enableClean = nullptr;
    CLI::App* m_disableTrash = nullptr;
    CLI::App* m_disableClean = nullptr;
    bool m_json = false;
    bool m_system = false;
    std::string m_folder;
    // -1: not given.
    int m_olderThan = -1;
    int m_projectSize = -1;
    int m_folderSize = -1;
    std::string m_action;
};
