#include <cstdint>
#include <cstring>

#include "imaging/chroma_rows.h"
#include "imaging/chroma_smooth.h"
#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace veltrane {
namespace {

template <class Sample>
Sample ToSample(float value) {
    return static_cast<Sample>(Clamp(TruncateToInt(value), 0, kFullScale<Sample>));
}

/// Blue, green, red to Y, Cb, Cr with the BT.601 weights.
template <class Sample>
void Split(const Sample* pixels, const ChromaRow<Sample>& row, int width) {
    constexpr float kOffset = ChromaScale<Sample>::kOffset;
    for (int x = 0; x < width; ++x, pixels += kElements) {
        const float b = pixels[0];
        const float g = pixels[1];
        const float r = pixels[2];
        row.y[x] = ToSample<Sample>(b * 0.114f + (r * 0.299f + g * 0.587f) + 0.5f);
        row.cb[x] = ToSample<Sample>(r * -0.1687f + g * -0.3313f + b * 0.5f + kOffset);
        row.cr[x] = ToSample<Sample>(b * -0.0813f + (g * -0.4187f + r * 0.5f) + kOffset);
    }
}

template <class Sample>
void Join(const ChromaRow<const Sample>& row, Sample* pixels, int width) {
    constexpr float kOffset = ChromaScale<Sample>::kOffsetBack;
    constexpr float kScale = ChromaScale<Sample>::kScaleBack;
    for (int x = 0; x < width; ++x, pixels += kElements) {
        const float y = row.y[x];
        const float cb = row.cb[x] - kOffset;
        const float cr = row.cr[x] - kOffset;
        pixels[0] = ToSample<Sample>((cb * 1.772f + y) * kScale + 0.5f);
        pixels[1] = ToSample<Sample>((cr * -0.71414f + (cb * -0.34414f + y)) * kScale + 0.5f);
        pixels[2] = ToSample<Sample>((cr * 1.402f + y) * kScale + 0.5f);
    }
}

template <class Sample, class Sum>
void Average(const WindowSums<Sum>& sums, const WindowCounts<Sum>& counts, Sample* means,
             int width) {
    for (int x = 0; x < width; ++x) {
        means[x] = static_cast<Sample>(sums[x] / counts.samples[x]);
    }
}

template <class Sample>
constexpr ChromaRows<Sample> kPlainRows{Split<Sample>, Average<Sample, std::uint32_t>,
                                        Join<Sample>};

template <class Sample>
const ChromaRows<Sample>& Rows() {
#ifdef VELTRANE_SIMD
    if (const ChromaRows<Sample>* rows = SimdChromaRows<Sample>()) return *rows;
#endif
    return kPlainRows<Sample>;
}

/// Takes frames that hold Y, Cb, Cr already apart, and puts them together.
template <class Sample>
void Unpack(const Sample* pixels, const ChromaRow<Sample>& row, int width) {
    for (int x = 0; x < width; ++x, pixels += kElements) {
        row.y[x] = pixels[0];
        row.cb[x] = pixels[1];
        row.cr[x] = pixels[2];
    }
}

template <class Sample>
void Pack(const ChromaRow<const Sample>& row, const Sample* alphas, Sample* pixels, int width) {
    for (int x = 0; x < width; ++x, pixels += kElements) {
        pixels[0] = row.y[x];
        pixels[1] = row.cb[x];
        pixels[2] = row.cr[x];
        pixels[kAlpha] = alphas[x * kElements + kAlpha];
    }
}

/// The counts of one row's windows at a time.
template <class Sum>
class CountTable {
public:
    explicit CountTable(const ClippedWindow& across)
        : across_(across), samples_(across.size), weights_(across.size) {}

    /// Those of windows of so many rows, worked out anew only where the number changes.
    WindowCounts<Sum> Of(std::int64_t rows) {
        constexpr float kLow = 1 - 0x1p-20f;
        for (std::int64_t x = 0; rows != rows_ && x < across_.size; ++x) {
            samples_[x] = static_cast<Sum>(rows * across_.Count(x));
            weights_[x] = kLow / static_cast<float>(samples_[x]);
        }
        rows_ = rows;
        return {samples_.data(), weights_.data()};
    }

private:
    ClippedWindow across_;
    std::int64_t rows_ = 0;
    std::vector<Sum> samples_;
    std::vector<float> weights_;
};

/// The last rows that were converted.
template <class Sample>
class ChromaRing {
public:
    ChromaRing(std::size_t width, std::int64_t rows)
        : width_(width), rows_(rows), samples_(rows * width * 3) {}

    ChromaRow<Sample> operator[](std::int64_t y) {
        Sample* row = samples_.data() + y % rows_ * width_ * 3;
        return {row, row + width_, row + 2 * width_};
    }

private:
    std::size_t width_;
    std::int64_t rows_;
    std::vector<Sample> samples_;
};

/// Calls take(y, row), which fills row, for every row of a frame, and give(y, row) in the same
/// order with the colour differences blurred. Row y is given before row y + radius + 1 is taken.
template <class Sample, class Sum, class Average, class Take, class Give>
void BlurRows(int width, int height, int radius, Average average, Take take, Give give) {
    const ClippedWindow across{width, radius};
    const ClippedWindow down{height, radius};
    const std::int64_t reach = std::int64_t{radius} + 1;
    ChromaRing<Sample> ring(width, std::min<std::int64_t>(2 * reach, height));
    std::vector<Sample> none(width, 0);
    std::vector<Sample> cbMeans(width);
    std::vector<Sample> crMeans(width);
    BoxSums<Sample, Sum> cbSums(across);
    BoxSums<Sample, Sum> crSums(across);
    CountTable<Sum> countTable(across);
    const auto rowOf = [&](std::int64_t y) {
        return y < 0 ? ChromaRow<Sample>{none.data(), none.data(), none.data()} : ring[y];
    };
    std::int64_t taken = 0;
    for (std::int64_t y = 0; y < height; ++y) {
        for (; taken < std::min<std::int64_t>(y + reach, height); ++taken) take(taken, ring[taken]);
        down.Advance(y, [&](std::int64_t entering, std::int64_t leaving) {
            cbSums.Slide(rowOf(entering).cb, rowOf(leaving).cb);
            crSums.Slide(rowOf(entering).cr, rowOf(leaving).cr);
        });
        const auto counts = countTable.Of(down.Count(y));
        average(cbSums.Row(), counts, cbMeans.data(), width);
        average(crSums.Row(), counts, crMeans.data(), width);
        give(y, ChromaRow<const Sample>{ring[y].y, cbMeans.data(), crMeans.data()});
    }
}

/// A radius below 1 leaves the colour differences as they are. Wide sums have the plain form only.
template <class Sample, class Take, class Give>
void BlurRows(int width, int height, int radius, Take take, Give give) {
    if (width < 1 || height < 1) return;
    radius = std::max(radius, 0);
    if (SumsAreNarrow<Sample>({width, radius}, {height, radius})) {
        const auto average = Rows<Sample>().average;
        BlurRows<Sample, std::uint32_t>(width, height, radius, average, take, give);
    } else {
        const auto average = Average<Sample, std::uint64_t>;
        BlurRows<Sample, std::uint64_t>(width, height, radius, average, take, give);
    }
}

template <class Sample>
void BlurPackedChroma(int width, int height, Sample* frame, Sample* work, int radius) {
    if (radius < 1 || width < 1 || height < 1) return;
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    BlurRows<Sample>(
        width, height, radius,
        [&](std::int64_t y, const ChromaRow<Sample>& row) {
            Unpack(frame + y * pitch, row, width);
        },
        [&](std::int64_t y, const ChromaRow<const Sample>& row) {
            Pack(row, frame + y * pitch, work + y * pitch, width);
        });
    std::memcpy(frame, work, pitch * height * sizeof(Sample));
}

/// Calls finish(y, row, pixels), which is to convert back, for every row of a frame.
template <class Sample, class Finish>
void SmoothRows(int width, int height, Sample* frame, int radius, Finish finish) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const ChromaRows<Sample>& rows = Rows<Sample>();
    BlurRows<Sample>(
        width, height, radius,
        [&](std::int64_t y, const ChromaRow<Sample>& row) {
            rows.split(frame + y * pitch, row, width);
        },
        [&](std::int64_t y, const ChromaRow<const Sample>& row) {
            finish(y, row, frame + y * pitch);
        });
}

/// The work frame gets what lies between the conversions; a radius below 1 leaves it alone.
template <class Sample>
void SmoothWithWork(int width, int height, Sample* frame, Sample* work, int radius) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const auto join = Rows<Sample>().join;
    const auto finish = [&](std::int64_t y, const ChromaRow<const Sample>& row, Sample* pixels) {
        if (radius >= 1) Pack(row, pixels, work + y * pitch, width);
        join(row, pixels, width);
    };
    SmoothRows(width, height, frame, radius, finish);
}

}  // namespace

template <class Sample>
void SmoothChroma(int width, int height, Sample* frame, int radius,
                  const std::function<void(int y)>& done) {
    const auto join = Rows<Sample>().join;
    const auto finish = [&](std::int64_t y, const ChromaRow<const Sample>& row, Sample* pixels) {
        join(row, pixels, width);
        if (done) done(static_cast<int>(y));
    };
    SmoothRows(width, height, frame, radius, finish);
}

template void SmoothChroma(int, int, unsigned short*, int, const std::function<void(int)>&);
template void SmoothChroma(int, int, unsigned char*, int, const std::function<void(int)>&);

}  // namespace veltrane

void CImagingORV::ChromaBlur64bit(int width, int height, unsigned short* frame,
                                  unsigned short* work, int radius) const {
    veltrane::SmoothWithWork(width, height, frame, work, radius);
}

void CImagingORV::ChromaBlur32bit(int width, int height, unsigned char* frame, unsigned char* work,
                                  int radius) const {
    veltrane::SmoothWithWork(width, height, frame, work, radius);
}

void CImagingORV::ChromaBlurCore3_64bit(int width, int height, unsigned short* frame,
                                        unsigned short* work, int radius) const {
    veltrane::BlurPackedChroma(width, height, frame, work, radius);
}

void CImagingORV::ChromaBlurCore3_32bit(int width, int height, unsigned char* frame,
                                        unsigned char* work, int radius) const {
    veltrane::BlurPackedChroma(width, height, frame, work, radius);
}
