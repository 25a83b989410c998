#include "media/originals.h"

#include "media/image_file.h"
#include "media/transfer.h"

namespace veltrane::media {

Originals::Originals(const Frame& result, const Frame& source, Transfer transfer)
    : result_(result.pixels.data()), source_(source.pixels.data()), to_(transfer) {
    if (!result.colors.empty()) given_ = result.colors.data();
    if (!result.coverage.empty()) coverage_ = result.coverage.data();
    const Origin* origin = source.origin.get();
    if (!origin || origin->colour.empty() || !origin->metadata) return;
    if (source.pixels.size() != result.pixels.size()) return;
    colour_ = &origin->colour;
    from_ = origin->metadata->transfer;
    if (from_ != to_) return;
    if (!colour_->halves.empty()) halves_ = colour_->halves.data();
    if (!colour_->floats.empty()) floats_ = colour_->floats.data();
}

float Originals::ExcessOf(std::size_t index) const {
    // Both curves keep 0..1 to itself.
    if (!colour_ || Excess(Stored(index)) == 0) return 0;
    return Excess(Float(index)) * (coverage_ ? ToFloat(coverage_[index / 3]) : 1.0f);
}

float Originals::Stored(std::size_t index) const {
    const bool halves = !colour_->halves.empty();
    return halves ? FloatFromHalf(colour_->halves[index]) : colour_->floats[index];
}

float Originals::Converted(std::size_t index) const {
    return media::Converted(Stored(index), from_, to_);
}

}  // namespace veltrane::media
