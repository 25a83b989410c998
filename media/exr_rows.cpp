#include "media/exr_rows.h"

#include <algorithm>
#include <bit>
#include <type_traits>

#include "imaging/convert/convert.h"
#include "imaging/cpu/in_use.h"
#include "media/half.h"

namespace veltrane::media {
namespace {

static_assert(std::endian::native == std::endian::little, "samples are taken as an EXR holds them");

constexpr int kValues = 65536;
constexpr std::uint16_t kOpaque = 65535;

template <class Value>
std::vector<std::uint16_t> TableOf(Value value) {
    std::vector<std::uint16_t> table(kValues);
    for (int i = 0; i < kValues; ++i) table[i] = value(static_cast<std::uint16_t>(i));
    return table;
}

std::vector<std::uint16_t> WorkingOfHalves(Transfer transfer) {
    const TransferCurve& curve = TransferCurve::For(transfer);
    return TableOf([&](std::uint16_t half) { return curve.ToWorking(FloatFromHalf(half)); });
}

const std::vector<std::uint16_t>& HalvesToWorking(Transfer transfer) {
    static const auto linear = WorkingOfHalves(Transfer::Linear);
    static const auto none = WorkingOfHalves(Transfer::None);
    return transfer == Transfer::Linear ? linear : none;
}

void Narrow(const float* values, const float* factors, std::ptrdiff_t width,
            std::uint16_t* halves) {
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        halves[x] = HalfFromFloat(factors ? Premultiplied(values[x], factors[x]) : values[x]);
    }
}

constexpr ExrHalfRows kPlainRows{Narrow};

float AsFloat(std::uint16_t half) {
    return FloatFromHalf(half);
}
float AsFloat(float value) {
    return value;
}

std::uint16_t AlphaOf(float stored) {
    return ToSample(stored);
}
std::uint16_t AlphaOf(std::uint16_t half) {
    static const auto table = TableOf([](std::uint16_t h) { return ToSample(FloatFromHalf(h)); });
    return table[half];
}

}  // namespace

template <class Sample>
ExrRowReader<Sample>::ExrRowReader(Transfer transfer, bool premultiplied)
    : curve_(TransferCurve::For(transfer)),
      halves_(HalvesToWorking(transfer)),
      premultiplied_(premultiplied) {}

template <class Sample>
std::uint16_t ExrRowReader<Sample>::Working(Sample stored) const {
    if constexpr (std::is_same_v<Sample, float>) {
        return curve_.ToWorking(stored);
    } else {
        return halves_[stored];
    }
}

template <class Sample>
void ExrRowReader<Sample>::Divide(const float* stored, float alpha, std::uint16_t* pixel,
                                  float* colour) const {
    for (int c = 0; c < 3; ++c) {
        colour[c] = Unpremultiplied(stored[c], alpha);
        pixel[2 - c] = curve_.ToWorking(colour[c]);
    }
}

template <class Sample>
template <class Kept>
void ExrRowReader<Sample>::operator()(const ExrRow<const Sample>& row, int width,
                                      std::uint16_t* pixels, Kept* colour) const {
    for (int x = 0; x < width; ++x, pixels += 4, colour += 3) {
        const Sample red = row.red[x], green = row.green[x], blue = row.blue[x];
        pixels[3] = row.alpha ? AlphaOf(row.alpha[x]) : kOpaque;
        // Halves are kept as floats only where they have to be divided.
        if constexpr (std::is_same_v<Kept, float>) {
            if (premultiplied_ && row.alpha) {
                const float stored[] = {AsFloat(red), AsFloat(green), AsFloat(blue)};
                Divide(stored, AsFloat(row.alpha[x]), pixels, colour);
                continue;
            }
        }
        pixels[0] = Working(blue);
        pixels[1] = Working(green);
        pixels[2] = Working(red);
        colour[0] = Kept(red);
        colour[1] = Kept(green);
        colour[2] = Kept(blue);
    }
}

template <class Sample>
ExrRowWriter<Sample>::ExrRowWriter(Transfer transfer, bool premultiplied, int width,
                                   const Originals& originals)
    : curve_(TransferCurve::For(transfer)),
      premultiplied_(premultiplied),
      width_(width),
      originals_(originals),
      halfRows_(InUse<SimdExrHalfRows>(kPlainRows)),
      room_(std::size_t{4} * width) {}

template <class Sample>
void ExrRowWriter<Sample>::operator()(const std::uint16_t* pixels, std::size_t first,
                                      const ExrRow<Sample>& row) {
    float* const room = room_.data();
    const auto plane = [&](int index) { return room + std::ptrdiff_t{index} * width_; };
    const ExrRow<float> values{plane(0), plane(1), plane(2), row.alpha ? plane(3) : nullptr};
    LookUp(pixels, first, values);
    if (originals_.Exceed()) AddExcess(pixels, first, values);
    const float* factors = premultiplied_ ? values.alpha : nullptr;
    Store(values.red, factors, row.red);
    Store(values.green, factors, row.green);
    Store(values.blue, factors, row.blue);
    if (row.alpha) Store(values.alpha, nullptr, row.alpha);
    PutOriginals(pixels, first, row);
}

template <class Sample>
void ExrRowWriter<Sample>::LookUp(const std::uint16_t* pixels, std::size_t first,
                                  const ExrRow<float>& row) const {
    const float* given = originals_.Given() ? originals_.Given() + 3 * first : nullptr;
    for (int x = 0; given && x < width_; ++x) {
        row.red[x] = given[3 * x];
        row.green[x] = given[3 * x + 1];
        row.blue[x] = given[3 * x + 2];
    }
    for (int x = 0; !given && x < width_; ++x) {
        row.red[x] = curve_.ToStored(pixels[4 * x + 2]);
        row.green[x] = curve_.ToStored(pixels[4 * x + 1]);
        row.blue[x] = curve_.ToStored(pixels[4 * x]);
    }
    if (!row.alpha) return;
    for (int x = 0; x < width_; ++x) row.alpha[x] = ToFloat(pixels[4 * x + 3]);
}

template <class Sample>
void ExrRowWriter<Sample>::AddExcess(const std::uint16_t* pixels, std::size_t first,
                                     const ExrRow<float>& row) const {
    for (int x = 0; x < width_; ++x) {
        if (row.alpha && pixels[4 * x + 3] == 0) continue;
        const std::size_t index = 3 * (first + static_cast<std::size_t>(x));
        row.red[x] += originals_.ExcessOf(index);
        row.green[x] += originals_.ExcessOf(index + 1);
        row.blue[x] += originals_.ExcessOf(index + 2);
    }
}

template <class Sample>
void ExrRowWriter<Sample>::Store(const float* values, const float* factors, Sample* plane) const {
    if constexpr (std::is_same_v<Sample, float>) {
        for (int x = 0; x < width_; ++x) {
            plane[x] = factors ? Premultiplied(values[x], factors[x]) : values[x];
        }
    } else {
        const bool bounded = !originals_.Exceed() && originals_.Given() == nullptr;
        const auto within = [](float value) { return value >= 0 && value <= 1; };
        const bool fast = bounded || std::all_of(values, values + width_, within);
        (fast ? halfRows_ : kPlainRows).narrow(values, factors, width_, plane);
    }
}

template <class Sample>
void ExrRowWriter<Sample>::PutOriginals(const std::uint16_t* pixels, std::size_t first,
                                        const ExrRow<Sample>& row) const {
    for (int x = 0; x < width_; ++x) {
        if (row.alpha && pixels[4 * x + 3] != kOpaque) continue;
        const std::size_t index = first + static_cast<std::size_t>(x);
        if (!originals_.Apply(index)) continue;
        Sample* const colour[] = {row.red + x, row.green + x, row.blue + x};
        for (int c = 0; c < 3; ++c) {
            if constexpr (std::is_same_v<Sample, float>) {
                *colour[c] = originals_.Float(index * 3 + c);
            } else {
                *colour[c] = originals_.Half(index * 3 + c);
            }
        }
    }
}

template class ExrRowReader<std::uint16_t>;
template class ExrRowReader<float>;
template class ExrRowWriter<std::uint16_t>;
template class ExrRowWriter<float>;
template void ExrRowReader<std::uint16_t>::operator()(const ExrRow<const std::uint16_t>&, int,
                                                      std::uint16_t*, std::uint16_t*) const;
template void ExrRowReader<std::uint16_t>::operator()(const ExrRow<const std::uint16_t>&, int,
                                                      std::uint16_t*, float*) const;
template void ExrRowReader<float>::operator()(const ExrRow<const float>&, int, std::uint16_t*,
                                              float*) const;

}  // namespace veltrane::media
