#ifndef VELTRANE_CLI_COMPOSITE_H
#define VELTRANE_CLI_COMPOSITE_H

#include <functional>
#include <string>

#include "media/media.h"
#include "settings/frame_keyer.h"

namespace veltrane::cli {

/// An opaque picture whose colour is given for every pixel.
media::Frame Painted(int width, int height, const std::function<Color(int x, int y)>& colorAt);

/// An opaque picture of one colour.
media::Frame PlainPicture(int width, int height, Color color);

/// Light and dark grey squares, by which transparency is shown.
media::Frame Checkerboard(int width, int height, int square);

/// The picture at a whole fraction of its size, each pixel the mean of factor x factor; what is
/// left over at the right and below is cut off.
media::Frame Reduced(const media::Frame& picture, int factor);

/// The frame keyed with these settings and what goes along with it. Throws as veltrane::Key does.
media::Frame Keyed(const Settings& settings, const media::Frame& source, const Threads& threads,
                   const KeyInputs<std::uint16_t>& inputs = {});

/// The clean plate modelled from the frame. Throws as veltrane::Key does.
media::Frame CleanPlate(Settings settings, const media::Frame& source, const Threads& threads);

/// Writes one picture that was made of a source's frame. Throws as media::Create and its writer do.
void WritePicture(const std::string& path, const media::Frame& picture,
                  const media::WriteOptions& options, media::Info source);

/// Puts the frame, with its straight alpha, over an opaque background of the same size; it becomes
/// opaque, and its alpha its coverage. Exact to the nearest 16-bit value.
void PutOver(media::Frame& frame, const media::Frame& background);
media::Frame Over(media::Frame frame, const media::Frame& background);

/// The frame's alpha as an opaque grey picture.
media::Frame MattePicture(const media::Frame& frame);

}  // namespace veltrane::cli

#endif
