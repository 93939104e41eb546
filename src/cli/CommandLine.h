#pragma once

#include <optional>

// The command-line side of vestry. Returns the exit status when the arguments ask for a
// command-line run (a subcommand, --help, --version, or a usage error), and nothing when
// the desktop application should start instead.
std::optional<int> runCommandLine(int argc, char** argv);
