#include "ArchiveCommand.h"
#include "DiscoverCommand.h"
#include "GatherLogsCommand.h"
#include "HelperCommand.h"
#include "ListCommand.h"
#include "PinCommand.h"
#include "PruneCommand.h"
#include "RestoreCommand.h"
#include "Subcommand.h"

std::vector<std::unique_ptr<Subcommand>> makeSubcommands() {
    std::vector<std::unique_ptr<Subcommand>> commands;
    commands.push_back(std::make_unique<ListCommand>());
    commands.push_back(std::make_unique<DiscoverCommand>());
    commands.push_back(std::make_unique<PruneCommand>());
    commands.push_back(std::make_unique<ArchiveCommand>());
    commands.push_back(std::make_unique<PinCommand>(true));
    commands.push_back(std::make_unique<PinCommand>(false));
    commands.push_back(std::make_unique<RestoreCommand>());
    commands.push_back(std::make_unique<HelperCommand>());
    commands.push_back(std::make_unique<GatherLogsCommand>());
    return commands;
}
