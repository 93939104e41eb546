#include "app/Application.h"
#include "cli/CommandLine.h"

int main(int argc, char** argv) {
    // A subcommand, --help or --version make a command-line run; nothing opens the window.
    if (auto status = runCommandLine(argc, argv))
        return *status;
    return runApplication(argc, argv);
}
