#ifndef VELTRANE_CLI_CHILD_PROCESS_H
#define VELTRANE_CLI_CHILD_PROCESS_H

#include <string>
#include <vector>

namespace veltrane::cli {

/// How another program ended, and what it said.
struct ChildOutcome {
    int status = 0;  ///< its exit status; 128 and the signal where one ended it; 127: not found
    std::string out;
    std::string error;

    /// The last line that it said on standard error, without a name before it.
    std::string LastLine() const;
};

/// Runs a program, found as a shell finds it, to its end. It is stopped with this one: throws
/// Interruption when a stop is asked for meanwhile.
ChildOutcome RunChild(const std::vector<std::string>& command);

/// The path of the running command.
std::string OwnPath();

/// The text as one word of a shell.
std::string Quoted(const std::string& text);

}  // namespace veltrane::cli

#endif
