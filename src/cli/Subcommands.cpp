#include "Subcommand.h"

std::vector<std::unique_ptr<Subcommand>> makeSubcommands() {
    std::vector<std::unique_ptr<Subcommand>> commands;
    return commands;
}
