#pragma once

#include "actions/ActionProgress.h"

// While one lives, Ctrl+C (SIGINT), a closed terminal (SIGHUP) or a plain kill (SIGTERM, as
// systemd and `timeout` send) asks the work under way to stop between two files instead of
// ending the program in the middle of one, with nothing said. A second signal ends the
// program as usual, so that work that cannot stop soon can still be left.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    const CancelFlag* flag() const;
    bool happened() const { return isCancelled(flag()); }

    // The exit status of a command stopped by the signal that came, as shells report it:
    // 130 for Ctrl+C, 143 for SIGTERM.
    int exitStatus() const;
};
