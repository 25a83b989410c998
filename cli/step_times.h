#ifndef VELTRANE_CLI_STEP_TIMES_H
#define VELTRANE_CLI_STEP_TIMES_H

#include <atomic>
#include <chrono>

namespace veltrane::cli {

/// The steps of a frame's way, by the calls on the reader and the writers; Key is all that is done
/// in between.
enum class Step { Fetch, Decode, Key, Encode, Append };

inline constexpr int kSteps = static_cast<int>(Step::Append) + 1;
inline constexpr const char* kStepNames[kSteps] = {"fetch", "decode", "key", "encode", "append"};

/// How long all threads together were in each step.
class StepTimes {
public:
    template <typename Work>
    auto Time(Step step, Work work) {
        const Stopwatch watch(times_[static_cast<int>(step)]);
        return work();
    }
    double Seconds(Step step) const {
        return std::chrono::duration<double>(Clock::duration(times_[static_cast<int>(step)]))
            .count();
    }

private:
    using Clock = std::chrono::steady_clock;
    using Sum = std::atomic<Clock::rep>;

    /// Adds the time that it lives.
    class Stopwatch {
    public:
        explicit Stopwatch(Sum& sum) : sum_(sum) {}
        ~Stopwatch() { sum_ += (Clock::now() - start_).count(); }
        Stopwatch(const Stopwatch&) = delete;
        Stopwatch& operator=(const Stopwatch&) = delete;

    private:
        Sum& sum_;
        Clock::time_point start_ = Clock::now();
    };

    Sum times_[kSteps] = {};
};

}  // namespace veltrane::cli

#endif
