// Times one frame that is keyed by several threads, by the clock on the wall, each number of
// threads in turn with one, in memory that has been touched before. Beside it stands what the
// machine lets as many threads reach with frames of their own, which take as much memory together.
// From the part that threads do not share follows what more of them would give.

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <optional>
#include <thread>

#include "media/media.h"
#include "settings/frame_keyer.h"
#include "subject.h"

namespace veltrane::bench {

namespace {

Threads Lent(int count) {
    return {count, [](int tasks, const std::function<void(int)>& task) {
                oneapi::tbb::parallel_for(0, tasks, task, oneapi::tbb::simple_partitioner());
            }};
}

template <class Work>
double Seconds(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The best of some rounds.
struct Best {
    double modelled = INFINITY;  ///< seconds until bands can be keyed
    double whole = INFINITY;

    void Time(const Subject& subject, const Settings& settings, int threads,
              media::Pixels& output) {
        const RowSource<std::uint16_t> source{subject.frame.data()};
        const RowSink<std::uint16_t> sink{output.data()};
        const Threads lent = Lent(threads);
        std::optional<FrameKeyer<std::uint16_t>> keyer;
        const double model =
            Seconds([&] { keyer.emplace(settings, subject.width, subject.height, source, lent); });
        const double bands = Seconds([&] {
            ForEachBand(lent, subject.height, keyer->LeastHeight(),
                        [&](Band band) { keyer->Key(band, sink); });
        });
        modelled = std::min(modelled, model);
        whole = std::min(whole, model + bands);
    }
};

Subject Still(int width, int height) {
    return Subject(media::ReadBackground(VELTRANE_SAMPLES "/still.jpg", width, height));
}

/// A frame for each thread, all alike, that are keyed one after the other and side by side.
class OwnFrames {
public:
    OwnFrames(const Subject& subject, const Settings& settings, int count)
        : width_(subject.width), height_(subject.height), count_(count), settings_(settings) {
        for (int i = 0; i < count; ++i)
            sources_.insert(sources_.end(), subject.frame.begin(), subject.frame.end());
        outputs_ = sources_;
    }

    void Time() {
        const std::function<void(int)> key = [&](int i) {
            const std::size_t at = i * (sources_.size() / count_);
            Key(settings_, width_, height_, sources_.data() + at, outputs_.data() + at);
        };
        inTurn_ = std::min(inTurn_, Seconds([&] {
                               for (int i = 0; i < count_; ++i) key(i);
                           }));
        sideBySide_ = std::min(sideBySide_, Seconds([&] { Lent(count_).run(count_, key); }));
    }

    /// How much faster they were side by side, in the best of the rounds.
    double Gain() const { return inTurn_ / sideBySide_; }

private:
    int width_;
    int height_;
    int count_;
    Settings settings_;
    media::Pixels sources_, outputs_;
    double inTurn_ = INFINITY;
    double sideBySide_ = INFINITY;
};

void TimeSize(int width, int height, int threads) {
    const Subject subject = Still(width, height);
    Settings settings;
    settings.keyColor = subject.screen;
    media::Pixels alone(subject.frame.size()), shared(subject.frame.size());
    Best one, several;
    OwnFrames apart(Still(width, height / threads), settings, threads);
    for (int round = 0; round < 40; ++round) {
        one.Time(subject, settings, 1, alone);
        several.Time(subject, settings, threads, shared);
        if (alone != shared) throw std::runtime_error("threads change the result");
        apart.Time();
    }
    // What is left of the model when any number of threads share the rest of it.
    const double serial =
        std::max((several.modelled * threads - one.modelled) / (threads - 1), 0.0);
    std::printf(
        "%5d x %-5d %8.2f ms %8.2f ms %6.2f times (apart %.2f)  serial %4.1f %%"
        "  4, 8, 16 cores:",
        width, height, 1e3 * one.whole, 1e3 * several.whole, one.whole / several.whole,
        apart.Gain(), 100 * serial / one.whole);
    for (const int cores : {4, 8, 16})
        std::printf(" %.1f", one.whole / (serial + (one.whole - serial) / cores));
    std::printf(" times\n");
}

}  // namespace

}  // namespace veltrane::bench

int main() {
    try {
        const int threads = std::max(static_cast<int>(std::thread::hardware_concurrency()), 2);
        const oneapi::tbb::global_control limit(
            oneapi::tbb::global_control::max_allowed_parallelism, threads);
        std::printf("%-13s %11s %9d threads\n", "size", "1 thread", threads);
        for (const auto& [width, height] : {std::pair{1920, 1080}, {3840, 2160}, {7680, 4320}})
            veltrane::bench::TimeSize(width, height, threads);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "threads: %s\n", error.what());
        return 1;
    }
}
