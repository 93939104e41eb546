#pragma once

#include "Subcommand.h"

#include <string>
#include <vector>

// vestry prune [--older-than DAYS] [--keep N] [--max-size SIZE] [--dry-run] [--json] [PATH ...]
// Applies a retention rule to every project of the catalogue (of the given locations, or
// of every known one) and moves the chosen autosaves to the Trash; --dry-run only lists them.
// --older-than or --keep alone chooses exactly as the window's menu actions do with every
// project selected; any two or all three make the combined rule (CombinedRule). A pinned
// project or autosave is never chosen.
// Exit status 1, with nothing removed, when a PATH cannot be scanned; 1 also when the
// Trash refuses an autosave (nothing after it is touched; what went before stays in the
// Trash, restorable).
class PruneCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    int m_olderThan = 0;
    int m_keep = 0;
    long long m_maxSize = 0;
    bool m_dryRun = false;
    bool m_json = false;
    std::vector<std::string> m_paths;
};
