#ifndef VELTRANE_BENCH_FFMPEG_FILTERS_H
#define VELTRANE_BENCH_FFMPEG_FILTERS_H

#include "subject.h"

namespace veltrane::bench {

/// Registers FFmpeg's filters for the same job, run in this process on one thread, in turn with our
/// 16-bit entry at default settings.
void RegisterFfmpegFilters(Subject& subject);

}  // namespace veltrane::bench

#endif
