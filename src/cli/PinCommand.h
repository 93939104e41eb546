#pragma once

#include "Subcommand.h"

#include <string>
#include <vector>

// vestry pin PATH ...  /  vestry unpin PATH ...
// A pinned project or autosave is never taken by a rule (prune, the helpers) nor trashed by an
// archive; an autosave of a pinned project is pinned with it. Each PATH is a project (its folder)
// or a single autosave inside an autosave location, as for vestry archive. Pinning twice, or
// unpinning what is not pinned, is no fault. A PATH that is no project or autosave is refused,
// named, with exit status 1 and the pins left as they were; a pin whose file is gone can still
// be taken away by its path.
class PinCommand : public Subcommand {
public:
    explicit PinCommand(bool pin) : m_pin(pin) {}
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    bool m_pin;
    std::vector<std::string> m_paths;
};
