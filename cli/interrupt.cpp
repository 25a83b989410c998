#include "cli/interrupt.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <string_view>

#include "cli/errors.h"
#include "files/unfinished.h"

namespace veltrane::cli {

namespace {

// What no handler may be set for, or what by itself does not end a process.
constexpr int kHarmless[] = {SIGKILL, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU,
                             SIGCONT, SIGCHLD, SIGURG,  SIGWINCH};
std::atomic<int> stopSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free);

/// The signal takes its usual effect once the handler returns.
void End(int signal) {
    files::Unfinished::Here().RemoveAll();
    ::signal(signal, SIG_DFL);
    raise(signal);
}

// How long an orderly stop may take, in nanoseconds: libraries and waits for the system know
// nothing of it.
constexpr long kPatience = 500'000'000;
timer_t patience;
bool limited = false;

/// A scheduler that takes a machine away sends SIGTERM; the other signals come from a terminal.
ExitStatus StatusOf(int signal) {
    return signal == SIGTERM ? kTryAgain : kInterrupted;
}

void AskToStop(int signal) {
    int none = 0;
    if (!stopSignal.compare_exchange_strong(none, signal)) End(signal);
    if (!limited) return;
    const int error = errno;
    const itimerspec once{{0, 0}, {0, kPatience}};
    timer_settime(patience, 0, &once, nullptr);
    errno = error;
}

void StopNow(int) {
    files::Unfinished::Here().RemoveAll();
    const ExitStatus status = StatusOf(stopSignal);
    for (const std::string_view part : {"veltrane: ", Interruption::Text(status), "\n"})
        [[maybe_unused]] const auto written = write(STDERR_FILENO, part.data(), part.size());
    _exit(status);
}

void LimitPatience() {
    struct sigaction action = {};
    action.sa_handler = StopNow;
    sigfillset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    limited = timer_create(CLOCK_MONOTONIC, &event, &patience) == 0;
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
    LimitPatience();
    Handle(SIGXFSZ, SIG_IGN);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) Handle(signal, AskToStop);
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        const bool harmless =
            std::find(std::begin(kHarmless), std::end(kHarmless), signal) != std::end(kHarmless);
        if (!harmless) Handle(signal, End);
    }
}

void ThrowIfInterrupted() {
    if (const int signal = stopSignal) throw Interruption(StatusOf(signal));
}

}  // namespace veltrane::cli
