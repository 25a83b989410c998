#include "cli/frame_threads.h"

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>

namespace veltrane::cli {

Threads FrameThreads::Share::Get() const {
    namespace tbb = oneapi::tbb;
    // While a thread waits for the others it must not begin another frame, which would hold more
    // frames than are allowed for.
    const auto run = [](int tasks, const std::function<void(int)>& task) {
        tbb::this_task_arena::isolate(
            [&] { tbb::parallel_for(0, tasks, task, tbb::simple_partitioner()); });
    };
    return {std::max(all_.count_ / frames_, 1), run};
}

}  // namespace veltrane::cli
