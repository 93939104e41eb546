#pragma once

#include "Subcommand.h"

#include <string>
#include <vector>

// vestry archive --to FILE.zip PATH ...
// Archives the projects or autosaves at the given paths exactly as the window's Archive
// action does (one folder per folder that held them), then moves them to the Trash. Each
// PATH is a project (its folder; for a Final Cut Pro X event its folder or its
// CurrentVersion.fcpevent) or a single autosave inside an autosave location. Exit status 1
// with the reason when any step fails; nothing is removed then.
//
// vestry archive --verify FILE.zip
// Checks an archive against the manifest inside it and names every entry that differs.
class ArchiveCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    int verify() const;

    std::string m_verify;
    std::string m_destination;
    std::vector<std::string> m_paths;
};
