#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

// One subcommand of vestry. define() declares it and its options on the parser; run() is
// called when the user chose it, with the application object made and the log created.
class Subcommand {
public:
    virtual ~Subcommand() = default;
    virtual CLI::App* define(CLI::App& parent) = 0;
    // The exit status.
    virtual int run() = 0;
};

// Every subcommand, in the order --help lists them. Each lives in a file of its own.
std::vector<std::unique_ptr<Subcommand>> makeSubcommands();
