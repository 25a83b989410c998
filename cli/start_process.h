#ifndef VELTRANE_CLI_START_PROCESS_H
#define VELTRANE_CLI_START_PROCESS_H

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace veltrane::cli {

/// How a program runs beside this one.
struct ProcessPlan {
    int out = 1;    ///< the file that is to be its standard output; its input is empty
    int error = 2;  ///< the same for its standard error
    int stop =
        SIGTERM;     ///< the signal for it when the thread that started it ends, even by a crash
    int yields = 0;  ///< how far its priority is to be behind this one's
    bool apart = false;  ///< whether what a terminal sends passes it by
};

/// Starts a program, found as a shell finds it, with these words, of which the first is its name.
/// Returns its process, or -1 and sets errno. Every signal sent to it from then on does what it
/// does to that program, though it may not be running yet. One that cannot be run ends with 127.
pid_t StartProcess(const char* program, std::vector<std::string> words, const ProcessPlan& plan);

/// The exit status that waitpid tells of; 128 and the signal where one ended the process.
int ExitStatusOf(int ended);

}  // namespace veltrane::cli

#endif
