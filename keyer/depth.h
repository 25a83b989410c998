#ifndef VELTRANE_KEYER_DEPTH_H
#define VELTRANE_KEYER_DEPTH_H

#include <cstddef>

#include "imaging/color/color_math.h"
#include "imaging/sample.h"
#include "keyer/pipeline.h"

namespace veltrane {

/// All that tells the two sample depths of the keyer apart: types, constants, and which member does
/// each step.
template <class Sample>
struct Depth;

template <>
struct Depth<unsigned short> {
    using Record = VELTRANE_Param16bit;

    static constexpr unsigned short kTransparentGray = 0xA0A0;
    /// Transparent pixels come back de-blocked: it is the caller's own frame that is smoothed.
    static constexpr bool kSmoothsTransparent = true;
    /// Elements a pixel of a field's buffers: twice what the pixel needs.
    static constexpr std::size_t kFieldElements = 8;

    static constexpr auto kSplitFields = &CVELTRANE::SepareteField64bit;
    static constexpr auto kMergeFields = &CVELTRANE::CompositeField64bit;

    static RGB ToRgb(YIQ color) { return YiqToRgb(color, 257.0f); }

    /// The key component that pixels are matched with.
    static unsigned char KeyToMatch(unsigned short key) {
        return static_cast<unsigned char>(key / 257);
    }
    /// The key component that fills a plate without any screen: the low byte, which is the same
    /// where the component is a multiple of 257.
    static unsigned char KeyToFill(unsigned short key) { return static_cast<unsigned char>(key); }
};

template <>
struct Depth<unsigned char> {
    using Record = VELTRANE_Param;

    static constexpr unsigned char kTransparentGray = 0xA0;
    /// They come back as the host gave them: it is a working copy that is smoothed.
    static constexpr bool kSmoothsTransparent = false;
    static constexpr std::size_t kFieldElements = kElements;

    static constexpr auto kSplitFields = &CVELTRANE::SepareteField32bit;
    static constexpr auto kMergeFields = &CVELTRANE::CompositeField32bit;

    static RGB ToRgb(YIQ color) { return YiqToRgb(color, 1.0f); }

    static unsigned char KeyToMatch(unsigned char key) { return key; }
    static unsigned char KeyToFill(unsigned char key) { return key; }
};

}  // namespace veltrane

#endif
