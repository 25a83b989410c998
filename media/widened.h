#ifndef VELTRANE_MEDIA_WIDENED_H
#define VELTRANE_MEDIA_WIDENED_H

#include <cstdint>
#include <type_traits>

namespace veltrane::media {

/// A stored sample of 8 or 16 bits as one of 16 bits or as a float, full scale as full scale.
template <typename Sample, typename Stored>
Sample Widened(Stored stored) {
    constexpr Stored kFullScale = static_cast<Stored>(~Stored{0});
    if constexpr (std::is_same_v<Sample, float>) {
        return static_cast<float>(stored) * (1.0f / kFullScale);
    } else {
        return static_cast<Sample>(stored * (65535 / kFullScale));
    }
}

}  // namespace veltrane::media

#endif
