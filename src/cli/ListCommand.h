#pragma once

#include "Subcommand.h"

#include <string>
#include <vector>

// vestry list [--json] [--sort name|date|size] [--descending] [--orphans] [--summary] [PATH ...]
// Prints the catalogue: of the given folders in the order given, or of every known location
// as the window's catalogue build finds them. Exit status 0 when every PATH was scanned, 1
// when one was not (missing, not a folder, not an autosave location, unreadable). --orphans
// keeps only the Premiere projects whose live project file is gone (PremiereOrphans), which
// means reading their autosaves; without it no autosave is opened.
class ListCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    bool m_json = false;
    std::string m_sort;
    bool m_descending = false;
    bool m_orphans = false;
    bool m_summary = false; // SpaceSummary's totals instead of the projects
    std::vector<std::string> m_paths;
};
