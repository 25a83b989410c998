#include "settings/tune/look.h"

#include <algorithm>
#include <cstddef>

#include "imaging/convert/light_curve.h"
#include "settings/settings.h"
#include "settings/tune/coverage.h"

namespace veltrane {

namespace {

constexpr int kLongestSide = 480;  ///< of the cells

/// A place in a cell, as if drawn at random, but always the same: a regular one would beat with
/// fine patterns.
int PlaceIn(int x, int y, int side) {
    std::uint32_t hash =
        static_cast<std::uint32_t>(x) * 2654435761u ^ static_cast<std::uint32_t>(y) * 2246822519u;
    hash ^= hash >> 15;
    hash *= 2654435769u;
    hash ^= hash >> 13;
    return static_cast<int>(hash % static_cast<std::uint32_t>(side * side));
}

class Sampler {
public:
    Sampler(int width, int height, const std::uint16_t* frame, const std::uint16_t* plate)
        : width_(width),
          height_(height),
          frame_(frame),
          plate_(plate),
          side_((std::max(width, height) - 1) / kLongestSide + 1),
          columns_((width - 1) / side_ + 1),
          rows_((height - 1) / side_ + 1) {}

    SampledFrame Take(FrameLook& look, const Threads& threads) const {
        const Cells<LinearColor> empty(columns_, rows_);
        SampledFrame sampled{empty, empty, empty};
        look.width = columns_;
        look.height = rows_;
        look.pixels.resize(static_cast<std::size_t>(columns_) * rows_ * 4);
        look.plate.resize(look.pixels.size());
        ForEachBand(threads, rows_, 1, [&](Band band) {
            for (int y = band.first; y < band.end; ++y)
                for (int x = 0; x < columns_; ++x) TakeCell(x, y, sampled, look);
        });
        return sampled;
    }

private:
    void TakeCell(int x, int y, SampledFrame& sampled, FrameLook& look) const {
        const int place = PlaceIn(x, y, side_);
        const int u = std::min(x * side_ + place % side_, width_ - 1);
        const int v = std::min(y * side_ + place / side_, height_ - 1);
        const std::size_t from = 4 * (static_cast<std::size_t>(v) * width_ + u);
        const std::size_t cell = static_cast<std::size_t>(y) * columns_ + x;
        std::copy_n(frame_ + from, 4, &look.pixels[4 * cell]);
        std::copy_n(plate_ + from, 4, &look.plate[4 * cell]);
        sampled.pixels.values[cell] = Linear(frame_ + from);
        sampled.plate.values[cell] = Linear(plate_ + from);
        sampled.means.values[cell] = Mean(x * side_, y * side_);
    }

    LinearColor Linear(const std::uint16_t* pixel) const {
        return {curve_.ToStored(pixel[0]), curve_.ToStored(pixel[1]), curve_.ToStored(pixel[2])};
    }

    LinearColor Mean(int left, int top) const {
        const int right = std::min(left + side_, width_);
        const int bottom = std::min(top + side_, height_);
        LinearColor sum{};
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x) {
                const LinearColor one =
                    Linear(frame_ + 4 * (static_cast<std::size_t>(y) * width_ + x));
                for (int c = 0; c < 3; ++c) sum[c] += one[c];
            }
        const float count = static_cast<float>((right - left) * (bottom - top));
        for (float& component : sum) component /= count;
        return sum;
    }

    int width_;
    int height_;
    const std::uint16_t* frame_;
    const std::uint16_t* plate_;
    int side_;
    int columns_;
    int rows_;
    const LightCurve& curve_ = LightCurve::For(Light::kLinear);
};

}  // namespace

FrameLook LookAtFrame(const Settings& settings, int width, int height, const std::uint16_t* frame,
                      const std::uint16_t* plate, const Threads& threads) {
    std::vector<std::uint16_t> modelled;
    if (plate == nullptr) {
        Settings shown = settings;
        shown.view = View::CleanPlate;
        modelled.resize(static_cast<std::size_t>(width) * height * 4);
        Key(shown, width, height, frame, modelled.data(), threads);
        plate = modelled.data();
    }
    FrameLook look;
    const SampledFrame sampled = Sampler(width, height, frame, plate).Take(look, threads);
    GuessCoverage(sampled, settings.screen, look);
    return look;
}

}  // namespace veltrane
