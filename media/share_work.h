#ifndef VELTRANE_MEDIA_SHARE_WORK_H
#define VELTRANE_MEDIA_SHARE_WORK_H

#include <algorithm>
#include <atomic>
#include <exception>
#include <vector>

#include "imaging/threads.h"

namespace veltrane::media {

/// Does pieces 0 .. count-1 of some work by the threads lent, each with a worker of its own, which
/// newWorker() makes and which is called with the piece's index. Pieces are begun in rising order.
/// Throws what one of the first to throw threw; no piece is begun after that.
template <class NewWorker>
void ShareWork(const Threads& threads, int count, const NewWorker& newWorker) {
    const int workers = threads.run ? std::clamp(threads.count, 1, std::max(count, 1)) : 1;
    std::atomic<int> next = 0;
    std::vector<std::exception_ptr> errors(workers);
    const auto work = [&](int index) {
        try {
            auto worker = newWorker();
            for (int piece; (piece = next++) < count;) worker(piece);
        } catch (...) {
            errors[index] = std::current_exception();
            next = count;
        }
    };
    workers == 1 ? work(0) : threads.run(workers, work);
    for (const std::exception_ptr& error : errors)
        if (error) std::rethrow_exception(error);
}

}  // namespace veltrane::media

#endif
