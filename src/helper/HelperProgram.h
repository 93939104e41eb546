#pragma once

#include <QString>

#include <optional>

// vestry-helper, the program the background jobs run: "-trash" or "-clean FOLDER", each
// with "--dry-run". It starts without an interface (its own "Vestry.task" log, an
// authorisation that refuses rather than asks, the window's settings file), never reads
// standard input, and exits 0 when done (nothing to do included), 1 when a run failed and 2
// for arguments it does not understand.
class HelperProgram {
public:
    struct Arguments {
        enum class Job { Trash, Clean, Help };
        Job job = Job::Help;
        QString folder;
        bool dryRun = false;
    };
    // Nothing, with the problem, for arguments that are not one of the forms.
    static std::optional<Arguments> parse(int argc, char** argv, QString* problem);
    static QString usage();

    static int main(int argc, char** argv);
};
