#include "cli/frame_pipeline.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_pipeline.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <string>
#include <utility>

#include "cli/frame_threads.h"
#include "cli/interrupt.h"

namespace veltrane::cli {

namespace {

/// One frame's way through the stages. An error travels with its frame, so that it takes effect
/// only after all earlier frames are safe.
struct Job {
    std::shared_ptr<media::Fetched> fetched;
    std::shared_ptr<media::Frame> decoded;  ///< null where that is still to be done
    std::shared_ptr<const FetchedInputs> inputs;
    std::vector<std::shared_ptr<media::Encoded>> encoded;
    std::exception_ptr error;
};

using JobPtr = std::shared_ptr<Job>;

template <typename Work>
void Guard(Job& job, Work work) {
    try {
        ThrowIfInterrupted();
        work();
    } catch (...) {
        job.error = std::current_exception();
    }
}

class Fetcher {
public:
    explicit Fetcher(const Pipeline& pipeline)
        : pipeline_(pipeline),
          next_(pipeline.first.fetched),
          number_(pipeline.reader.info().firstFrame) {}

    /// The next frame's job, or null after the last one.
    JobPtr operator()() {
        if (ended_) return nullptr;
        auto job = std::make_shared<Job>();
        Guard(*job, [&] { Fetch(*job); });
        ended_ = job->error != nullptr || next_ == nullptr;
        return next_ == nullptr && job->error == nullptr ? nullptr : job;
    }

private:
    void Fetch(Job& job) {
        if (fresh_) {
            job.decoded = pipeline_.first.decoded;
        } else {
            next_ = pipeline_.times.Time(Step::Fetch, [&] { return pipeline_.reader.Fetch(); });
        }
        fresh_ = false;
        const bool kept = std::all_of(pipeline_.writers.begin(), pipeline_.writers.end(),
                                      [&](const auto* writer) { return writer->Has(number_); });
        if (!kept) job.fetched = next_;
        if (next_ && pipeline_.fetchInputs) job.inputs = FetchInputs();
        ++number_;
    }

    std::shared_ptr<const FetchedInputs> FetchInputs() {
        return pipeline_.times.Time(Step::Fetch, [&] { return pipeline_.fetchInputs(number_); });
    }

    const Pipeline& pipeline_;
    std::shared_ptr<media::Fetched> next_;
    std::int64_t number_;
    bool fresh_ = true;
    bool ended_ = false;
};

void CheckSize(const media::Frame& frame, const media::Info& info) {
    if (frame.width == info.width && frame.height == info.height) return;
    throw media::Error(info.path + ": frame " + std::to_string(frame.number) + " is " +
                       std::to_string(frame.width) + " x " + std::to_string(frame.height) +
                       ", not " + std::to_string(info.width) + " x " + std::to_string(info.height) +
                       " as the first");
}

void Render(const Pipeline& pipeline, FrameThreads& threads, Job& job) {
    StepTimes& times = pipeline.times;
    const FrameThreads::Share share(threads);
    const auto decode = [&] { return pipeline.reader.Decode(*job.fetched, share.Get()); };
    media::Frame source = job.decoded ? std::move(*job.decoded) : times.Time(Step::Decode, decode);
    job.fetched.reset();
    CheckSize(source, pipeline.reader.info());
    const std::vector<media::Frame> pictures = times.Time(
        Step::Key, [&] { return pipeline.render(source, job.inputs.get(), share.Get()); });
    job.inputs.reset();
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        if (i >= pipeline.showingSource) source.pixels.clear();
        const auto encode = [&] {
            return pipeline.writers[i]->Encode(pictures[i], source, share.Get());
        };
        job.encoded.push_back(times.Time(Step::Encode, encode));
    }
}

void Append(const Pipeline& pipeline, const Job& job, FrameCounts& counts) {
    if (job.error) std::rethrow_exception(job.error);
    for (std::size_t i = 0; i < job.encoded.size(); ++i)
        pipeline.times.Time(Step::Append, [&] { pipeline.writers[i]->Append(*job.encoded[i]); });
    ++(job.encoded.empty() ? counts.kept : counts.written);
    pipeline.progress.Step();
}

}  // namespace

FirstFrame FetchFirst(media::Reader& reader) {
    FirstFrame first{reader.Fetch(), nullptr};
    if (!first.fetched) throw media::Error(reader.info().path + ": holds no frames");
    return first;
}

const media::Frame& LookAt(FirstFrame& first, media::Reader& reader, int threads) {
    if (first.decoded) return *first.decoded;
    FrameThreads all(threads);
    const FrameThreads::Share share(all);
    first.decoded = std::make_shared<media::Frame>(reader.Decode(*first.fetched, share.Get()));
    return *first.decoded;
}

void Run(const Pipeline& pipeline, FrameCounts& counts) {
    namespace tbb = oneapi::tbb;
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, pipeline.threads);
    FrameThreads threads(pipeline.threads);
    Fetcher fetcher(pipeline);
    // What fails ends the work in good order: TBB would lose the jobs under way with an exception.
    std::exception_ptr failure;
    std::atomic<bool> failed = false;
    const auto fetch = [&](tbb::flow_control& control) {
        JobPtr job = failed ? nullptr : fetcher();
        if (!job) control.stop();
        return job;
    };
    const auto render = [&](JobPtr job) {
        if (job->fetched && !job->error && !failed)
            Guard(*job, [&] { Render(pipeline, threads, *job); });
        return job;
    };
    const auto append = [&](const JobPtr& job) {
        if (failed) return;
        try {
            Append(pipeline, *job, counts);
        } catch (...) {
            failure = std::current_exception();
            failed = true;
        }
    };
    tbb::parallel_pipeline(
        std::size_t{2} * pipeline.threads,
        tbb::make_filter<void, JobPtr>(tbb::filter_mode::serial_in_order, fetch) &
            tbb::make_filter<JobPtr, JobPtr>(tbb::filter_mode::parallel, render) &
            tbb::make_filter<JobPtr, void>(tbb::filter_mode::serial_in_order, append));
    if (failure) std::rethrow_exception(failure);
}

}  // namespace veltrane::cli
