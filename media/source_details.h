#ifndef VELTRANE_MEDIA_SOURCE_DETAILS_H
#define VELTRANE_MEDIA_SOURCE_DETAILS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/color_tags.h"
#include "media/fail.h"
#include "media/media.h"

namespace veltrane::media {

/// The largest width and height of a frame.
inline constexpr int kLongestSide = 65535;

struct SourceDetails {
    std::string imageFormat;  ///< the image library's name of the format; empty for video
    bool isHalf = false;
    ColorTags tags;               ///< of a video
    Rational timeBase{0, 1};      ///< of a video's timestamps
    Rational sampleAspect{0, 1};  ///< as shown; 0 when unknown
};

/// An image file's own metadata in the image library's form.
struct ImageMetadata;

/// Red, green and blue of a float file's pixels, straight, as they were stored. At least one of the
/// two is empty.
struct OriginalColour {
    UnsetVector<std::uint16_t> halves;  ///< their bits
    Colors floats;

    bool empty() const { return halves.empty() && floats.empty(); }
};

struct Origin {
    OriginalColour colour;
    std::shared_ptr<const ImageMetadata> metadata;
    std::optional<std::int64_t> timestamp;  ///< in SourceDetails::timeBase
};

struct Fetched {
    Fetched() = default;
    Fetched(const Fetched&) = delete;
    Fetched& operator=(const Fetched&) = delete;
    virtual ~Fetched() = default;
};

struct Encoded {
    Encoded() = default;
    Encoded(const Encoded&) = delete;
    Encoded& operator=(const Encoded&) = delete;
    virtual ~Encoded() = default;
};

/// Throws Error unless both sides lie in 1..kLongestSide.
void CheckSize(const std::string& path, std::int64_t width, std::int64_t height);

/// What an image's pixels are, for people: "16-bit RGBA, premultiplied".
std::string PixelText(const Info& info, bool half, bool grey, bool premultiplied);

/// "1920x1080", for messages.
std::string SizeText(int width, int height);

/// Throws Error unless the range lies within first..last; `whole` says what holds those frames.
/// Returns the frames to be read.
FrameRange RangeWithin(const std::string& path, const std::optional<FrameRange>& wanted,
                       FrameRange held);

/// Throws Error unless the range is in order and starts at 0 or above.
void CheckRange(const std::string& path, const std::optional<FrameRange>& wanted);

}  // namespace veltrane::media

#endif
