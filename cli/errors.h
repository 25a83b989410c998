#ifndef VELTRANE_CLI_ERRORS_H
#define VELTRANE_CLI_ERRORS_H

#include <stdexcept>

namespace veltrane::cli {

/// How a command ends. Schedulers go by it, so it is the same for all of them.
enum ExitStatus {
    kDone = 0,
    kFailed = 1,         ///< for good: the same call would fail again
    kWrongUsage = 2,     ///< the command line asks for something that cannot be meant
    kTryAgain = 75,      ///< the storage is full or gone, or SIGTERM stopped the work
    kInterrupted = 130,  ///< a person stopped it, by SIGINT or a closed terminal
};

/// The command line asks for something that cannot be meant; the command exits with kWrongUsage.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A signal stopped the work; the command exits with status().
class Interruption : public std::runtime_error {
public:
    explicit Interruption(ExitStatus status) : std::runtime_error(Text(status)), status_(status) {}

    static const char* Text(ExitStatus status) {
        return status == kTryAgain ? "stopped by SIGTERM" : "interrupted";
    }
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

}  // namespace veltrane::cli

#endif
