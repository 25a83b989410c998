#ifndef VELTRANE_BENCH_QUALITY_SHOTS_H
#define VELTRANE_BENCH_QUALITY_SHOTS_H

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "measures.h"

namespace veltrane::bench {

/// A picture or clip whose coverage is known.
struct Shot {
    std::filesystem::path source;    ///< NAME.png, NAME.mp4, ...
    std::filesystem::path coverage;  ///< NAME-matte.png or a video of the same length
    std::optional<std::filesystem::path> overGrey{};  ///< NAME-clean-over-grey.png
    std::optional<std::filesystem::path> plate{};     ///< NAME-plate.png, the empty set
};

/// The shots of a folder, by name: every file NAME.* beside which there is a NAME-matte.*. Throws
/// media::Error when there is none.
std::vector<Shot> ShotsIn(const std::filesystem::path& folder);

/// Calls see with every frame of the shot and what is known of it, in order.
void ForEachFrame(const Shot& shot,
                  const std::function<void(const media::Frame&, const Truth&)>& see);

}  // namespace veltrane::bench

#endif
