#include "cli/CommandLine.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (auto status = runCommandLine(argc, argv))
        return *status;
    std::fprintf(stderr, "vestry: the window is not available in this build; see vestry --help\n");
    return 1;
}
