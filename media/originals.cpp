#include "media/originals.h"

#include "media/image_file.h"
#include "media/transfer.h"

namespace veltrane::media {

Originals::Originals(const Frame& result, const Frame& source, Transfer transfer)
    : result_(result.pixels.data()), source_(source.pixels.data()), to_(transfer) {
    const Origin* origin = source.origin.get();
    if (!origin || origin->colour.empty() || !origin->metadata) return;
    if (source.pixels.size() != result.pixels.size()) return;
    colour_ = &origin->colour;
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
