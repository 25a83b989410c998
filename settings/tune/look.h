#ifndef VELTRANE_SETTINGS_TUNE_LOOK_H
#define VELTRANE_SETTINGS_TUNE_LOOK_H

#include <cstdint>
#include <vector>

#include "imaging/threads.h"
#include "keyer/settings.h"

namespace veltrane {

/// How a guess of coverage stands beside what the key makes of a pixel.
enum class Trust : unsigned char {
    Sure,    ///< nothing need be asked of the key
    Edge,    ///< between screen and subject
    Inside,  ///< a veil, or a body that reflects the screen
};

/// What one frame tells of how a key should come out: some of its pixels, the plate behind them,
/// and how much the subject probably covers of each.
struct FrameLook {
    int width = 0;  ///< of the cells, from each of which one pixel is taken
    int height = 0;
    std::vector<std::uint16_t> pixels;  ///< blue, green, red, alpha
    std::vector<std::uint16_t> plate;   ///< the same
    std::vector<float> coverage;        ///< as guessed: 0 screen, 1 subject
    std::vector<float> weight;          ///< how much that counts, 0..1
    std::vector<Trust> trust;
    double screen = 0;   ///< parts of the frame that are surely screen,
    double subject = 0;  ///< surely subject,
    double unknown = 0;  ///< and neither
};

/// Looks at a frame of width x height pixels of 16 bits (blue, green, red, alpha, packed). The
/// plate, of the same size, is modelled by the settings where it is null.
FrameLook LookAtFrame(const Settings& settings, int width, int height, const std::uint16_t* frame,
                      const std::uint16_t* plate, const Threads& threads);

}  // namespace veltrane

#endif
