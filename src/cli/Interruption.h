#pragma once

#include "actions/ActionProgress.h"

// While one lives, Ctrl+C (SIGINT) asks the work under way to stop between two files instead
// of ending the program in the middle of one. A second Ctrl+C ends the program as usual, so
// that work that cannot stop soon can still be left.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    const CancelFlag* flag() const;
    bool happened() const { return isCancelled(flag()); }

    // The exit status of a command that stopped on Ctrl+C, as shells report it.
    static constexpr int exitStatus = 130;
};
