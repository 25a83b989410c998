#include "measure.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace veltrane::bench {

namespace {

/// Processor time of the calling thread, on which all the work is done: waiting for a busy
/// machine does not count.
double Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double Seconds(const Work& work) {
    work.prepare();
    const double start = Now();
    work.run();
    benchmark::ClobberMemory();
    return Now() - start;
}

std::vector<std::byte> Result(const Case& timed, CpuLevel level) {
    UseCpuLevel(level);
    timed.work.prepare();
    timed.work.run();
    const Bytes bytes = timed.result();
    return {bytes.begin(), bytes.end()};
}

bool IsRight(const Case& timed, CpuLevel level) {
    return !timed.result || Result(timed, CpuLevel::Plain) == Result(timed, level);
}

/// Times in turn for a while; the best rounds count, which a busy machine disturbs least.
void Time(benchmark::State& state, const Case& timed) {
    constexpr double kEnough = 0.6;
    constexpr int kLeastRounds = 5;
    double best = INFINITY, yardstick = INFINITY, spent = 0;
    for (auto _ : state) {
        for (int round = 0; round < kLeastRounds || spent < kEnough; ++round) {
            const double measure = Seconds(timed.yardstick), took = Seconds(timed.work);
            yardstick = std::min(yardstick, measure);
            best = std::min(best, took);
            spent += measure + took;
        }
        state.SetIterationTime(best);
    }
    state.counters[timed.column] = best / yardstick * timed.factor;
    state.SetLabel(timed.note);
    timed.done();
}

/// A line a case: its name and level, the time in milliseconds and the column of its own.
class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override {
        std::printf("%-40s %10s %10s\n", "case", "ms", "ratio");
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const char* name = run.run_name.function_name.c_str();
            if (run.error_occurred) {
                allRight_ = false;
                std::printf("%-40s %s\n", name, run.error_message.c_str());
                continue;
            }
            std::printf("%-40s %10.3f", name, run.GetAdjustedRealTime());
            for (const auto& [column, ratio] : run.counters) {
                std::printf(" %10.2f %s", ratio.value, column.c_str());
            }
            std::printf("%s%s\n", run.report_label.empty() ? "" : "; ", run.report_label.c_str());
            std::fflush(stdout);
        }
    }

    bool allRight() const { return allRight_; }

private:
    bool allRight_ = true;
};

}  // namespace

void Register(const Case& timed, const std::vector<CpuLevel>& levels) {
    for (const CpuLevel level : levels) {
        const std::string name = timed.name + '/' + std::string(CpuLevelName(level));
        const auto run = [timed, level](benchmark::State& state) {
            if (!IsRight(timed, level)) {
                state.SkipWithError("the result differs from that of the plain form");
                return;
            }
            UseCpuLevel(level);
            Time(state, timed);
        };
        benchmark::RegisterBenchmark(name.c_str(), run)
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
}

bool RunAll() {
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return table.allRight();
}

}  // namespace veltrane::bench
