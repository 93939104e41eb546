#pragma once

#include "Subcommand.h"

// vestry gather-logs
// Gathers the logs, crash reports and preference files of Vestry and its helper into
// "Vestry Logs.zip" on the desktop, as the window's Log menu does, and prints the archive's
// path. Exit status 1, with the reason, when nothing was gathered or the archive failed.
class GatherLogsCommand : public Subcommand {
public:
    CLI::App* define(CLI::App& parent) override;
    int run() override;
};
