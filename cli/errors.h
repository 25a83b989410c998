#ifndef VELTRANE_CLI_ERRORS_H
#define VELTRANE_CLI_ERRORS_H

#include <stdexcept>

namespace veltrane::cli {

/// The exit status of a command that was stopped by a signal.
inline constexpr int kInterrupted = 130;

/// The command line asks for something that cannot be meant; the command exits with 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The user stopped the work; the command exits with kInterrupted.
class Interruption : public std::runtime_error {
public:
    Interruption() : std::runtime_error("interrupted") {}
};

}  // namespace veltrane::cli

#endif
