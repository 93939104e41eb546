#include "Interruption.h"

#include <csignal>

namespace {

CancelFlag interrupted{false};
static_assert(CancelFlag::is_always_lock_free, "set from a signal handler");

struct sigaction previous {};

void onInterrupt(int) {
    interrupted.store(true);
}

} // namespace

Interruption::Interruption() {
    interrupted.store(false);
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    // The handler goes after the first signal: the second one ends the program.
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    sigaction(SIGINT, &action, &previous);
}

Interruption::~Interruption() {
    sigaction(SIGINT, &previous, nullptr);
}

const CancelFlag* Interruption::flag() const {
    return &interrupted;
}
