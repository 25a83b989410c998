#include "cli/interrupt.h"

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "cli/errors.h"
#include "files/unfinished.h"

namespace veltrane::cli {

namespace {

// What no handler may be set for, or what by itself does not end a process.
constexpr int kHarmless[] = {SIGKILL, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU,
                             SIGCONT, SIGCHLD, SIGURG,  SIGWINCH};
std::atomic<bool> stopAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free);

/// The signal takes its usual effect once the handler returns.
void End(int signal) {
    files::Unfinished::Here().RemoveAll();
    ::signal(signal, SIG_DFL);
    raise(signal);
}

void AskToStop(int signal) {
    if (stopAsked.exchange(true)) End(signal);
}

/// Leaves alone what is ignored or, as a sanitizer's, handled already.
void Handle(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

void WatchForInterrupts() {
    Handle(SIGXFSZ, SIG_IGN);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) Handle(signal, AskToStop);
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        const bool harmless =
            std::find(std::begin(kHarmless), std::end(kHarmless), signal) != std::end(kHarmless);
        if (!harmless) Handle(signal, End);
    }
}

void ThrowIfInterrupted() {
    if (stopAsked) throw Interruption();
}

}  // namespace veltrane::cli
