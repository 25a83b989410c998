#include "hosts/ofx/image.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace veltrane::ofx {

namespace {

constexpr std::int64_t kLongestSide = 65535;  ///< what the keyer takes

PixelDepth PixelDepthOf(std::string_view word) {
    if (word == value::kByte) return PixelDepth::kByte;
    if (word == value::kShort) return PixelDepth::kShort;
    if (word == value::kFloat) return PixelDepth::kFloat;
    throw Refusal{kBadImageFormat};
}

int ComponentBytes(PixelDepth depth) {
    return depth == PixelDepth::kByte ? 1 : depth == PixelDepth::kShort ? 2 : 4;
}

void RequireFormat(bool isGood) {
    if (!isGood) throw Refusal{kBadImageFormat};
}

bool IsSideGood(int from, int to) {
    const std::int64_t length = std::int64_t{to} - from;
    return length >= 0 && length <= kLongestSide;
}

}  // namespace

AlphaState AlphaOf(std::string_view word) {
    if (word == value::kOpaque) return AlphaState::kOpaque;
    return word == value::kStraight ? AlphaState::kStraight : AlphaState::kPremultiplied;
}

RectI Intersection(const RectI& a, const RectI& b) {
    const int left = std::max(a.x1, b.x1);
    const int bottom = std::max(a.y1, b.y1);
    return {left, bottom, std::max(left, std::min(a.x2, b.x2)),
            std::max(bottom, std::min(a.y2, b.y2))};
}

bool IsEmpty(const RectI& r) {
    return r.x1 >= r.x2 || r.y1 >= r.y2;
}

Image::Image(Clip clip, double time) {
    if (Host().effect->clipGetImage(clip, time, nullptr, &set_) != kOk) {
        set_ = nullptr;
        return;
    }
    if (set_ == nullptr) throw Refusal{kBadHandle};
    try {
        Read();
    } catch (...) {
        Host().effect->clipReleaseImage(set_);
        throw;
    }
}

Image::~Image() {
    if (set_ != nullptr) Host().effect->clipReleaseImage(set_);
}

void Image::Read() {
    const Properties image(set_);
    RequireFormat(image.String(prop::kComponents) == value::kRgba);
    depth_ = PixelDepthOf(image.String(prop::kDepth));
    const std::optional<RectI> bounds = image.Rect(prop::kBounds);
    if (!bounds) throw Refusal{kFailed};
    bounds_ = *bounds;
    RequireFormat(IsSideGood(bounds_.x1, bounds_.x2) && IsSideGood(bounds_.y1, bounds_.y2));
    picture_ = Intersection(bounds_, image.Rect(prop::kRegionOfDefinition).value_or(bounds_));
    data_ = static_cast<unsigned char*>(image.Pointer(prop::kData));
    if (data_ == nullptr) throw Refusal{kFailed};
    rowBytes_ = image.Int(prop::kRowBytes, 0);
    const int component = ComponentBytes(depth_);
    const std::ptrdiff_t filled = std::ptrdiff_t{4} * component * Width(bounds_);
    RequireFormat(Height(bounds_) < 2 || std::abs(rowBytes_) >= filled);
    RequireFormat(rowBytes_ % component == 0 &&
                  reinterpret_cast<std::uintptr_t>(data_) % component == 0);
    alpha_ = AlphaOf(image.String(prop::kPremultiplication));
    const double scale = image.Double(prop::kRenderScale, 1);
    if (scale > 0) scale_ = scale;
}

}  // namespace veltrane::ofx
