#ifndef VELTRANE_PLUGIN_RENDER_H
#define VELTRANE_PLUGIN_RENDER_H

#include <cstddef>

#include "settings/settings.h"

namespace veltrane {

/// A host's bitmap of float pixels, alpha, red, green, blue, without gaps between the rows.
struct HostBitmap {
    float* pixels;
    std::size_t width;
    std::size_t height;
};

/// What the host tells of a frame beside its pictures.
struct HostFrame {
    bool premultiplied;  ///< the output is composited as WriteLinearPremultiplied makes it
    double scaleX;
    double scaleY;
};

/// Keys the part of input that output also has, its top left corner; the rest of output keeps its
/// values. A frame whose settings or size the keyer refuses becomes transparent black. False when
/// nothing was rendered: bitmaps without pixels, or out of memory.
bool RenderBitmap(const Settings& settings, const HostFrame& frame, const HostBitmap& input,
                  const HostBitmap& output) noexcept;

}  // namespace veltrane

#endif
