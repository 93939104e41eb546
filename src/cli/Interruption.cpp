#include "Interruption.h"

#include <csignal>
#include <iterator>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

CancelFlag interrupted{false};
static_assert(CancelFlag::is_always_lock_free, "set from a signal handler");
volatile std::sig_atomic_t received = SIGINT;

struct sigaction previous[std::size(kSignals)]{};

void onInterrupt(int signal) {
    received = signal;
    interrupted.store(true);
}

} // namespace

Interruption::Interruption() {
    interrupted.store(false);
    received = SIGINT;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    // The handler goes after the first signal: the second one ends the program.
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    for (size_t i = 0; i < std::size(kSignals); ++i)
        sigaction(kSignals[i], &action, &previous[i]);
}

Interruption::~Interruption() {
    for (size_t i = 0; i < std::size(kSignals); ++i)
        sigaction(kSignals[i], &previous[i], nullptr);
}

const CancelFlag* Interruption::flag() const {
    return &interrupted;
}

int Interruption::exitStatus() const {
    return 128 + received;
}
