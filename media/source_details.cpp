#include "media/source_details.h"

#include <limits>

#include "media/video_parts.h"

namespace veltrane::media {
namespace {

std::string RangeText(FrameRange range) {
    if (range.last == std::numeric_limits<std::int64_t>::max()) {
        return std::to_string(range.first) + " and on";
    }
    return std::to_string(range.first) + "-" + std::to_string(range.last);
}

}  // namespace

std::string PixelText(const Info& info, bool half, bool grey, bool premultiplied) {
    std::string text = half ? "half" : std::to_string(info.bits) + "-bit";
    if (info.isFloat && !half) text += " float";
    text += grey ? " grey" : " RGB";
    if (info.hasAlpha) text += grey ? " with alpha" : "A";
    if (info.hasAlpha && premultiplied) text += ", premultiplied";
    if (info.transfer == Transfer::Linear) text += ", scene-linear";
    return text;
}

std::int64_t StampOf(const Frame& frame) {
    return frame.origin ? frame.origin->timestamp.value_or(0) : 0;
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

void CheckSize(const std::string& path, std::int64_t width, std::int64_t height) {
    const auto fits = [](std::int64_t side) { return side >= 1 && side <= kLongestSide; };
    if (fits(width) && fits(height)) return;
    Fail(path, "is " + std::to_string(width) + "x" + std::to_string(height) +
                   "; each side must be 1 to " + std::to_string(kLongestSide));
}

void CheckRange(const std::string& path, const std::optional<FrameRange>& wanted) {
    if (!wanted || (wanted->first >= 0 && wanted->first <= wanted->last)) return;
    Fail(path, "frames " + RangeText(*wanted) + " are no range");
}

FrameRange RangeWithin(const std::string& path, const std::optional<FrameRange>& wanted,
                       FrameRange held) {
    CheckRange(path, wanted);
    if (!wanted) return held;
    const bool toTheEnd = wanted->last == std::numeric_limits<std::int64_t>::max();
    const FrameRange range{wanted->first, toTheEnd ? held.last : wanted->last};
    if (range.first < held.first || range.first > held.last || range.last > held.last) {
        Fail(path, "frames " + RangeText(*wanted) + " asked for, but it holds " + RangeText(held));
    }
    return range;
}

}  // namespace veltrane::media
