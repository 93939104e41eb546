#pragma once

#include "Subcommand.h"

#include <string>
#include <vector>

// vestry restore --list [--json] | --last | PATH ...
// Lists what the Trashes hold from the known autosave locations, newest first, or puts items
// back at their original paths: those named (the newest removed from each), or all that the
// last removal took. Nothing is replaced: an item whose place is taken stays in the Trash,
// named on standard error, while the others go back. Exit status 1 when any stayed.
class RestoreCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    bool m_list = false;
    bool m_json = false;
    bool m_last = false;
    std::vector<std::string> m_paths;
};
