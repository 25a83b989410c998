#ifndef VELTRANE_CLI_FRAME_PIPELINE_H
#define VELTRANE_CLI_FRAME_PIPELINE_H

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "cli/progress.h"
#include "cli/step_times.h"
#include "imaging/threads.h"
#include "media/media.h"

namespace veltrane::cli {

/// A reader's first frame, which may be looked at before the others come.
struct FirstFrame {
    std::shared_ptr<media::Fetched> fetched;
    std::shared_ptr<media::Frame> decoded;  ///< once it was looked at
};

struct FetchedInputs;

/// Frames on their way from a reader to one or more writers.
struct Pipeline {
    media::Reader& reader;
    FirstFrame first;  ///< already fetched; what is decoded is taken away
    std::vector<media::Writer*> writers;
    /// Makes one picture for each writer of a frame as read, with what goes along with it, by the
    /// threads lent to it. Called on many threads at a time.
    std::function<std::vector<media::Frame>(const media::Frame& source, const FetchedInputs* inputs,
                                            const Threads& threads)>
        render;
    int threads;
    Progress& progress;
    StepTimes& times;
    /// How many of the pictures, from the first on, show the source. No original float value may
    /// take the place of another's pixel that happens to look like the source's.
    std::size_t showingSource = std::numeric_limits<std::size_t>::max();
    /// Fetches what goes along with a frame, in order; nothing does where it is empty.
    std::function<std::shared_ptr<const FetchedInputs>(std::int64_t number)> fetchInputs{};
};

/// The reader's first frame. Throws media::Error when there is none.
FirstFrame FetchFirst(media::Reader& reader);

/// The first frame, decoded by so many threads if it was not yet.
const media::Frame& LookAt(FirstFrame& first, media::Reader& reader, int threads = 1);

struct FrameCounts {
    std::int64_t written = 0;
    std::int64_t kept = 0;  ///< existed whole already
};

/// Carries every frame through, rendered side by side, appended in order, with at most two frames a
/// thread under way; the writers are not finished. When a frame fails, all before it have been
/// appended; its error is thrown, or Interruption. counts is kept up to date throughout.
void Run(const Pipeline& pipeline, FrameCounts& counts);

}  // namespace veltrane::cli

#endif
