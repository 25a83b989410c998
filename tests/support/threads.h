#ifndef VELTRANE_TESTS_SUPPORT_THREADS_H
#define VELTRANE_TESTS_SUPPORT_THREADS_H

#include <functional>
#include <thread>
#include <vector>

#include "imaging/threads.h"

namespace veltrane::testing {

/// Runs every task on a thread of its own.
inline void RunSideBySide(int tasks, const std::function<void(int)>& task) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < tasks; ++i) threads.emplace_back(task, i);
}

/// Threads as a caller lends them.
inline Threads Lent(int count) {
    return {count, RunSideBySide};
}

}  // namespace veltrane::testing

#endif
