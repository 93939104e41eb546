#pragma once

#include "Subcommand.h"

// vestry discover [--json] [--volumes]
// Runs one search for new autosave locations, as the window does every minute, then prints
// every stored location with the ones this search added marked as new; with --volumes first
// the removable and network volumes it walked. Exit status 0.
class DiscoverCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    bool m_json = false;
    bool m_volumes = false;
};
