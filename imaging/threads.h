#ifndef VELTRANE_IMAGING_THREADS_H
#define VELTRANE_IMAGING_THREADS_H

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <vector>

#include "imaging/frame_rows.h"

namespace veltrane {

/// Threads that a caller lends to one call, since the library starts none itself. Results are the
/// same for every number of them.
struct Threads {
    int count = 1;  ///< that may work at a time, 1 or more
    /// Calls task(0) .. task(tasks - 1), each once, in any order and side by side as it likes, and
    /// returns when all have returned. Tasks do not throw. Not needed for a count of 1.
    std::function<void(int tasks, const std::function<void(int index)>& task)> run{};
};

/// Into how many bands a frame is cut: more than there are threads, since some bands take longer
/// than others, but where that would make them so short that what they have in common costs more,
/// as many; and none shorter than leastHeight.
inline int BandCount(const Threads& threads, int height, int leastHeight) {
    constexpr int kAThread = 2;
    constexpr int kAmple = 8;  // of the least height costs little more than one band would
    const int shortest = height / std::max(leastHeight, 1);
    const int count = std::clamp(shortest, 1, std::max(threads.count, 1));
    return std::clamp(shortest / kAmple, count, kAThread * count);
}

/// Calls work(band) for the bands of a frame's rows. Throws what the first of them threw.
template <class Work>
void ForEachBand(const Threads& threads, int height, int leastHeight, const Work& work) {
    const int bands =
        threads.count > 1 && threads.run ? BandCount(threads, height, leastHeight) : 1;
    if (bands == 1) return work(Band{0, height});
    std::vector<std::exception_ptr> errors(bands);
    threads.run(bands, [&](int i) {
        const auto border = [&](int j) {
            return static_cast<int>(std::int64_t{height} * j / bands);
        };
        try {
            work(Band{border(i), border(i + 1)});
        } catch (...) {
            errors[i] = std::current_exception();
        }
    });
    for (const std::exception_ptr& error : errors)
        if (error) std::rethrow_exception(error);
}

}  // namespace veltrane

#endif
