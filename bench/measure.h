#ifndef VELTRANE_BENCH_MEASURE_H
#define VELTRANE_BENCH_MEASURE_H

#include <functional>
#include <string>
#include <vector>

#include "imaging/cpu/cpu.h"
#include "subject.h"

namespace veltrane::bench {

/// A piece of work of which only the last part is timed.
struct Work {
    std::function<void()> prepare = [] {};
    std::function<void()> run;
};

/// A row of the table: some work, timed in turn with a yardstick. A column of the given name shows
/// the ratio of their times, times factor.
struct Case {
    std::string name;
    Work work;
    std::function<Bytes()> result;  ///< what the work leaves; null where it is not ours to judge
    Work yardstick;
    std::string column = "copies";
    double factor = 1;
    std::string note;
    std::function<void()> done = [] {};  ///< called after the last round
};

/// Copying a frame, the yardstick of most cases.
template <typename Elements>
Work CopyOf(const Elements& frame) {
    static Elements copy = frame;
    return {[] {}, [&frame] { copy.assign(frame.begin(), frame.end()); }};
}

/// Registers the case once for each level. Before it is timed, its result must be that of the plain
/// level, else the row shows an error.
void Register(const Case& timed, const std::vector<CpuLevel>& levels);

/// Runs what is registered and prints a row for each case. False when one was wrong.
bool RunAll();

}  // namespace veltrane::bench

#endif
