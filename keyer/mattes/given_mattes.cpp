#include "keyer/mattes/given_mattes.h"

#include <algorithm>

#include "imaging/cpu/in_use.h"
#include "keyer/mattes/given_mattes_rows.h"

namespace veltrane {
namespace {

/// From a to b as far as level tells, to the nearest whole number. Neither is above full scale, so
/// that 32 bits hold the sum.
std::uint32_t Mixed(std::uint32_t a, std::uint32_t b, std::uint32_t level) {
    return (a * (kFullLevel - level) + b * level + kFullLevel / 2) / kFullLevel;
}

/// The part that the core's colour has in a pixel, each side weighted by its own matte: the colour
/// behind an empty matte means nothing.
float CoreShare(std::uint32_t matte, std::uint32_t solid, std::uint32_t core) {
    const float inside = static_cast<float>(core) * static_cast<float>(solid);
    const float keyed = static_cast<float>(kFullLevel - core) * static_cast<float>(matte);
    return inside > 0 ? inside / (inside + keyed) : 0.0f;
}

template <class Sample>
Sample MixedColor(Sample keyed, Sample core, float share) {
    const float step = static_cast<float>(core) - static_cast<float>(keyed);
    return static_cast<Sample>(TruncateToInt(static_cast<float>(keyed) + step * share + 0.5f));
}

template <class Sample>
void ApplyPlainly(const Sample* source, const Sample* corePixels, const std::uint16_t* garbage,
                  const std::uint16_t* core, Sample* row, int width) {
    for (const std::uint16_t* end = core + width; core != end;
         ++core, ++garbage, source += kElements, corePixels += kElements, row += kElements) {
        if (*core == 0 && *garbage == 0) continue;
        const std::uint32_t matte = row[kAlpha];
        const std::uint32_t solid = std::max(matte, std::uint32_t{source[kAlpha]});
        const float share = CoreShare(matte, solid, *core);
        const bool isOut = *garbage == kFullLevel;
        for (int e = 0; e < kAlpha; ++e)
            row[e] =
                isOut ? Depth<Sample>::kTransparentGray : MixedColor(row[e], corePixels[e], share);
        row[kAlpha] = static_cast<Sample>(Mixed(Mixed(matte, solid, *core), 0, *garbage));
    }
}

template <class Sample>
constexpr GivenMatteRows<Sample> kPlainRows{ApplyPlainly<Sample>};

}  // namespace

template <class Sample>
GivenMattes<Sample>::GivenMattes(const typename Depth<Sample>::Record& p, Screen screen,
                                 const KeyInputs<Sample>& inputs, CoreColor color)
    : width_(p.width),
      garbage_(inputs.garbage),
      core_(inputs.core),
      rows_(InUse<SimdGivenMatteRows<Sample>>(kPlainRows<Sample>)) {
    if (!core_ || color != CoreColor::Despilled) return;
    look_.emplace(p, screen);
    axis_.emplace(SampleToYiq(p.keyR[0], p.keyG[0], p.keyB[0]), look_->neutral, look_->turn,
                  kPlateMargins);
}

template <class Sample>
GivenMattes<Sample>::Rows::Rows(const GivenMattes& mattes)
    : mattes_(mattes),
      garbage_(static_cast<std::size_t>(mattes.width_)),
      core_(static_cast<std::size_t>(mattes.width_)),
      despilled_(mattes.look_ ? mattes.width_ * kElements : 0) {}

template <class Sample>
const std::uint16_t* GivenMattes<Sample>::Rows::Levels(const LevelRows& rows, int y,
                                                       std::vector<std::uint16_t>& own) {
    if (rows.packed != nullptr) return rows.packed + static_cast<std::size_t>(y) * mattes_.width_;
    if (rows.read) rows.read(y, own.data());
    return own.data();
}

template <class Sample>
void GivenMattes<Sample>::Rows::Apply(int y, const Sample* source, Sample* row) {
    const std::uint16_t* garbage = Levels(mattes_.garbage_, y, garbage_);
    const std::uint16_t* core = Levels(mattes_.core_, y, core_);
    const Sample* pixels = source;
    if (mattes_.look_) {
        DespillRow(*mattes_.look_, *mattes_.axis_, source, row, core, despilled_.data(),
                   mattes_.width_);
        pixels = despilled_.data();
    }
    mattes_.rows_.apply(source, pixels, garbage, core, row, mattes_.width_);
}

template class GivenMattes<unsigned short>;
template class GivenMattes<unsigned char>;

}  // namespace veltrane
