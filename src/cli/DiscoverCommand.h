#pragma once

#include "Subcommand.h"

// vestry discover [--json]
// Runs one search for new autosave locations, as the window does every minute, then prints
// every stored location with the ones this search added marked as new. Exit status 0.
class DiscoverCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;

private:
    bool m_json = false;
};
