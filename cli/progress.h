#ifndef VELTRANE_CLI_PROGRESS_H
#define VELTRANE_CLI_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace veltrane::cli {

/// Tells how far the work is.
class Progress {
public:
    enum class Form {
        None,
        Terminal,  ///< one line on standard error, drawn again and again
        Lines,     ///< for programs: lines such as {"done": 5, "total": 24} on standard output
    };

    Progress(Form form, std::optional<std::int64_t> total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Counts one finished frame. One thread at a time.
    void Step();

private:
    using Clock = std::chrono::steady_clock;

    void Draw(Clock::time_point now) const;
    void Print() const;

    Form form_;
    std::optional<std::int64_t> total_;
    std::int64_t done_ = 0;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_{};
};

/// Terminal where standard error is one, else None.
Progress::Form FormForPeople();

}  // namespace veltrane::cli

#endif
