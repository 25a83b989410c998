#include "cli/interrupt.h"

#include <signal.h>

#include <atomic>

#include "cli/errors.h"

namespace veltrane::cli {

namespace {

std::atomic<bool> stopAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void AskToStop(int) {
    stopAsked = true;
}

}  // namespace

void WatchForInterrupts() {
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction previous = {};
        sigaction(signal, nullptr, &previous);
        if (previous.sa_handler == SIG_IGN) continue;
        struct sigaction action = {};
        action.sa_handler = AskToStop;
        action.sa_flags = SA_RESETHAND | SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(signal, &action, nullptr);
    }
}

void ThrowIfInterrupted() {
    if (stopAsked) throw Interruption();
}

}  // namespace veltrane::cli
