#include "media/exr_rows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <type_traits>

#include "imaging/convert/convert.h"
#include "imaging/cpu/in_use.h"
#include "media/half.h"

namespace veltrane::media {
namespace {

static_assert(std::endian::native == std::endian::little, "samples are taken as an EXR holds them");

constexpr int kValues = 65536;
constexpr std::uint16_t kOpaque = 65535;
constexpr int kBlock = 1024;  // pixels of a row that are read at a time

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

float AsFloat(std::uint16_t half) {
    return FloatFromHalf(half);
}
float AsFloat(float value) {
    return value;
}

void PutFloat(float value, std::uint16_t& to) {
    to = HalfFromFloat(value);
}
void PutFloat(float value, float& to) {
    to = value;
}

template <class Sample>
void Make(const ExrRowSource<Sample>& from, std::ptrdiff_t width, const ExrRow<Sample>& row) {
    const float* const values[] = {from.values.red, from.values.green, from.values.blue};
    Sample* const planes[] = {row.red, row.green, row.blue};
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        const std::uint16_t *pixel = from.result + 4 * x, *source = from.source + 4 * x;
        const bool opaque = !row.alpha || pixel[3] == kOpaque;
        const bool untouched = opaque && std::equal(pixel, pixel + 3, source);
        const float alpha = row.alpha ? from.values.alpha[x] : 1.0f;
        if (row.alpha) PutFloat(alpha, row.alpha[x]);
        for (int c = 0; c < 3; ++c) {
            const Sample original = from.originals[3 * x + c];
            const float excess = alpha > 0 ? Excess(AsFloat(original)) : 0.0f;
            const float sum = values[c][x] + excess;
            PutFloat(from.premultiplied ? Premultiplied(sum, alpha) : sum, planes[c][x]);
            if (untouched) planes[c][x] = original;
        }
    }
}

constexpr ExrRowForms kPlainForms{Narrow, Make<std::uint16_t>, Make<float>};

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
void ExrRowReader<Sample>::ToWorking(const Sample* stored, int count,
                                     std::uint16_t* samples) const {
    if constexpr (std::is_same_v<Sample, float>) {
        curve_.ToWorking(stored, count, samples);
    } else {
        for (int i = 0; i < count; ++i) samples[i] = halves_[stored[i]];
    }
}

template <class Sample>
template <class Kept>
void ExrRowReader<Sample>::Straight(const ExrRow<const Sample>& row, int first, int width,
                                    std::uint16_t* pixels, Kept* colour) const {
    std::uint16_t blue[kBlock], green[kBlock], red[kBlock];
    ToWorking(row.blue + first, width, blue);
    ToWorking(row.green + first, width, green);
    ToWorking(row.red + first, width, red);
    for (int x = 0; x < width; ++x) {
        pixels[4 * x] = blue[x];
        pixels[4 * x + 1] = green[x];
        pixels[4 * x + 2] = red[x];
        pixels[4 * x + 3] = row.alpha ? AlphaOf(row.alpha[first + x]) : kOpaque;
        colour[3 * x] = Kept(row.red[first + x]);
        colour[3 * x + 1] = Kept(row.green[first + x]);
        colour[3 * x + 2] = Kept(row.blue[first + x]);
    }
}

template <class Sample>
void ExrRowReader<Sample>::Divided(const ExrRow<const Sample>& row, int x, std::uint16_t* pixel,
                                   float* colour) const {
    const float stored[] = {AsFloat(row.red[x]), AsFloat(row.green[x]), AsFloat(row.blue[x])};
    for (int c = 0; c < 3; ++c) {
        colour[c] = Unpremultiplied(stored[c], AsFloat(row.alpha[x]));
        pixel[2 - c] = curve_.ToWorking(colour[c]);
    }
    pixel[3] = AlphaOf(row.alpha[x]);
}

template <class Sample>
template <class Kept>
void ExrRowReader<Sample>::operator()(const ExrRow<const Sample>& row, int width,
                                      std::uint16_t* pixels, Kept* colour) const {
    // Halves are kept as floats only where they have to be divided.
    if constexpr (std::is_same_v<Kept, float>) {
        if (premultiplied_ && row.alpha) {
            for (int x = 0; x < width; ++x) Divided(row, x, pixels + 4 * x, colour + 3 * x);
            return;
        }
    }
    for (int x = 0; x < width; x += kBlock)
        Straight(row, x, std::min(width - x, kBlock), pixels + 4 * x, colour + 3 * x);
}

template <class Sample>
ExrRowWriter<Sample>::ExrRowWriter(Transfer transfer, bool premultiplied, int width,
                                   const Originals& originals)
    : curve_(TransferCurve::For(transfer)),
      premultiplied_(premultiplied),
      width_(width),
      originals_(originals),
      forms_(InUse<SimdExrRowForms>(kPlainForms)),
      room_(std::size_t{4} * width) {}

template <class Sample>
void ExrRowWriter<Sample>::operator()(const std::uint16_t* pixels, std::size_t first,
                                      const ExrRow<Sample>& row) {
    float* const room = room_.data();
    const auto plane = [&](int index) { return room + std::ptrdiff_t{index} * width_; };
    const ExrRow<float> values{plane(0), plane(1), plane(2), row.alpha ? plane(3) : nullptr};
    LookUp(pixels, first, values);
    if (const Sample* direct = originals_.template Direct<Sample>()) {
        const ExrRow<const float> known{values.red, values.green, values.blue, values.alpha};
        const std::uint16_t* source = originals_.Source() + 4 * first;
        forms_.Make({pixels, source, direct + 3 * first, known, premultiplied_}, width_, row);
        return;
    }
    if (originals_.Known()) AddExcess(pixels, first, values);
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
        const bool finite =
            std::all_of(values, values + width_, [](float v) { return std::isfinite(v); });
        (finite ? forms_ : kPlainForms).narrow(values, factors, width_, plane);
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
