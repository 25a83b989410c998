#include "media/originals.h"

#include <algorithm>
#include <bit>

#include "media/image_file.h"
#include "media/transfer.h"

namespace veltrane::media {

namespace {

/// Of floats, too, all that lies beyond 0..1 has bits above those of 1.
bool AnyBeyond(const OriginalColour& colour) {
    std::uint16_t halves = 0;
    for (const std::uint16_t half : colour.halves) halves = std::max(halves, half);
    std::uint32_t floats = 0;
    for (const float value : colour.floats)
        floats = std::max(floats, std::bit_cast<std::uint32_t>(value));
    return halves > Originals::kOneHalf || floats > std::bit_cast<std::uint32_t>(1.0f);
}

}  // namespace

Originals::Originals(const Frame& result, const Frame& source, Transfer transfer)
    : result_(result.pixels.data()), source_(source.pixels.data()), to_(transfer) {
    if (!result.colors.empty()) given_ = result.colors.data();
    if (!result.coverage.empty()) coverage_ = result.coverage.data();
    const Origin* origin = source.origin.get();
    if (!origin || origin->colour.empty() || !origin->metadata) return;
    if (source.pixels.size() != result.pixels.size()) return;
    colour_ = &origin->colour;
    exceed_ = AnyBeyond(*colour_);
    from_ = origin->metadata->transfer;
    if (from_ != to_) return;
    if (!colour_->halves.empty()) halves_ = colour_->halves.data();
    if (!colour_->floats.empty()) floats_ = colour_->floats.data();
}

float Originals::Converted(std::size_t index) const {
    const bool halves = !colour_->halves.empty();
    const float value = halves ? FloatFromHalf(colour_->halves[index]) : colour_->floats[index];
    return media::Converted(value, from_, to_);
}

}  // namespace veltrane::media
