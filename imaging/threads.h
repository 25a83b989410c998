#ifndef VELTRANE_IMAGING_THREADS_H
#define VELTRANE_IMAGING_THREADS_H

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <utility>
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

/// Hands out a frame's rows in bands from the top down to any number of threads at a time, large
/// ones first and ever smaller ones, so that all threads end together: rows take unequal times, and
/// a host may give a thread several tasks at once.
class BandQueue {
public:
    /// For so many threads. Bands are higher than leastHeight, so that what neighbours have in
    /// common costs little, but where a thread would go without one.
    BandQueue(int height, int leastHeight, int threads)
        : height_(height),
          share_(2 * threads),
          shortest_(std::max(std::min(kAmple * leastHeight, height / threads),
                             height / (kMostAThread * threads))) {}

    /// Empty when all have been handed out.
    Band Take() {
        int first = next_;
        while (first < height_) {
            const int left = height_ - first;
            const int rows = std::max(left / share_, shortest_);
            const int end = left < rows + shortest_ ? height_ : first + rows;
            if (next_.compare_exchange_weak(first, end)) return {first, end};
        }
        return {height_, height_};
    }

    /// Hands out no more.
    void Close() { next_ = height_; }

private:
    static constexpr int kAmple = 8;
    static constexpr int kMostAThread = 64;

    int height_;
    int share_;
    int shortest_;
    std::atomic<int> next_ = 0;
};

/// Calls work(band) for bands that make up a frame's rows; leastHeight is 1 or more. After an error
/// none is begun; throws that of the uppermost band.
template <class Work>
void ForEachBand(const Threads& threads, int height, int leastHeight, const Work& work) {
    const int count = threads.run ? std::min(threads.count, height / leastHeight) : 1;
    if (count <= 1) return work(Band{0, height});
    BandQueue queue(height, leastHeight, count);
    std::vector<std::pair<int, std::exception_ptr>> errors(count, {height, nullptr});
    threads.run(count, [&](int i) {
        Band band{};
        try {
            for (band = queue.Take(); band.Height() > 0; band = queue.Take()) work(band);
        } catch (...) {
            errors[i] = {band.first, std::current_exception()};
            queue.Close();
        }
    });
    const auto above = [](const auto& a, const auto& b) { return a.first < b.first; };
    const auto uppermost = std::min_element(errors.begin(), errors.end(), above);
    if (uppermost->second) std::rethrow_exception(uppermost->second);
}

/// Calls both, side by side where threads are lent; they may throw.
template <class First, class Second>
void CallBoth(const Threads& threads, const First& first, const Second& second) {
    ForEachBand(threads, 2, 1, [&](Band band) {
        if (band.first == 0) first();
        if (band.end == 2) second();
    });
}

}  // namespace veltrane

#endif
