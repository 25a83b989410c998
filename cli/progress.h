#ifndef VELTRANE_CLI_PROGRESS_H
#define VELTRANE_CLI_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace veltrane::cli {

/// One line on standard error that tells how far the work is; nothing unless shown.
class Progress {
public:
    Progress(bool shown, std::optional<std::int64_t> total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Counts one finished frame. One thread at a time.
    void Step();

private:
    using Clock = std::chrono::steady_clock;

    void Show(Clock::time_point now) const;

    bool shown_;
    std::optional<std::int64_t> total_;
    std::int64_t done_ = 0;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_{};
};

/// Whether standard error is a terminal, where such a line can be redrawn.
bool OnTerminal();

}  // namespace veltrane::cli

#endif
