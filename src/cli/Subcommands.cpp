#include "DiscoverCommand.h"
#include "ListCommand.h"
#include "Subcommand.h"

std::vector<std::unique_ptr<Subcommand>> makeSubcommands() {
    std::vector<std::unique_ptr<Subcommand>> commands;
    commands.push_back(std::make_unique<ListCommand>());
    commands.push_back(std::make_unique<DiscoverCommand>());
    return commands;
}
