#ifndef VELTRANE_BENCH_QUALITY_WORST_H
#define VELTRANE_BENCH_QUALITY_WORST_H

#include <filesystem>

#include "settings/settings.h"
#include "shots.h"

namespace veltrane::bench {

/// Writes a picture of the regions in which the matte that the tuned settings make of the shot's
/// first frame is worst, a row each: the shot, its coverage, the matte by the untuned and by the
/// tuned settings, and the tuned result over grey in linear light. Throws media::Error.
void ShowWorst(const Shot& shot, const Settings& untuned, const Settings& tuned,
               const std::filesystem::path& picture);

}  // namespace veltrane::bench

#endif
