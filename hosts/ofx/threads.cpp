#include "hosts/ofx/threads.h"

#include <algorithm>
#include <atomic>

#include "hosts/ofx/host.h"

namespace veltrane::ofx {

namespace {

/// Tasks that any number of threads work off together.
struct Work {
    const std::function<void(int index)>& task;
    int tasks;
    std::atomic<int> next = 0;

    void Help() {
        for (int i = next++; i < tasks; i = next++) task(i);
    }
};

void HelpHost(unsigned /*index*/, unsigned /*count*/, void* work) {
    static_cast<Work*>(work)->Help();
}

}  // namespace

Threads HostThreads() {
    const ThreadSuite* suite = Host().threads;
    unsigned count = 1;
    if (suite == nullptr || suite->isSpawnedThread() != 0 || suite->countCpus(&count) != kOk)
        return {};
    constexpr unsigned kMost = 256;
    count = std::clamp(count, 1u, kMost);
    const auto run = [suite, count](int tasks, const std::function<void(int index)>& task) {
        Work work{task, tasks};
        const auto helpers = std::min(static_cast<unsigned>(tasks), count);
        static_cast<void>(suite->run(HelpHost, helpers, &work));
        work.Help();  // what a host that refused, or ran fewer threads, left undone
    };
    return {static_cast<int>(count), run};
}

}  // namespace veltrane::ofx
