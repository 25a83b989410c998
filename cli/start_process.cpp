#include "cli/start_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltrane::cli {

namespace {

constexpr int kNotRun = 127;

/// A handler of this process would take a signal for itself that is meant for the program.
void ForgetHandlers() {
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        struct sigaction action = {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            ::signal(signal, SIG_DFL);
    }
    ::signal(SIGPIPE, SIG_DFL);  // which servers ignore
}

/// Between fork and exec, where only little may be done; signals are held back until handlers are
/// gone.
[[noreturn]] void Become(const char* program, char* const* words, const ProcessPlan& plan,
                         pid_t parent, const sigset_t& mask) {
    if (plan.apart) ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, plan.stop);
    if (::getppid() != parent) ::_exit(kNotRun);
    [[maybe_unused]] const int lower = ::nice(plan.yields);
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(plan.out, STDOUT_FILENO);
    ::dup2(plan.error, STDERR_FILENO);
    ForgetHandlers();
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    ::execvp(program, words);
    ::_exit(kNotRun);
}

}  // namespace

pid_t StartProcess(const char* program, std::vector<std::string> words, const ProcessPlan& plan) {
    std::vector<char*> raw;
    for (std::string& word : words) raw.push_back(word.data());
    raw.push_back(nullptr);
    const pid_t parent = ::getpid();
    sigset_t all, mask;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &mask);
    const pid_t process = ::fork();
    if (process == 0) Become(program, raw.data(), plan, parent, mask);
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    return process;
}

int ExitStatusOf(int ended) {
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
}

}  // namespace veltrane::cli
