#include <cstdint>
#include <cstring>

#include "imaging/chroma/chroma_blur.h"
#include "imaging/chroma/chroma_rows.h"
#include "imaging/cpu/in_use.h"
#include "imaging/frame_rows.h"
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
    return InUse<SimdChromaRows<Sample>>(kPlainRows<Sample>);
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

template <class Sample>
using SplitRow = decltype(ChromaRows<Sample>::split);

/// Blurs the colour differences of a frame row by row.
template <class Sample, class Sum>
class ChromaBlur {
public:
    using AverageRow = void (*)(const WindowSums<Sum>&, const WindowCounts<Sum>&, Sample*, int);

    ChromaBlur(int width, int height, const Sample* frame, int radius, SplitRow<Sample> split,
               AverageRow average)
        : width_(width),
          down_{height, radius},
          frame_(frame),
          memory_(RowSource<Sample>{frame}.Memory(width)),
          split_(split),
          average_(average),
          ring_(width, std::min<std::int64_t>(2 * down_.radius + 2, height)),
          none_(width, 0),
          cbMeans_(width),
          crMeans_(width),
          cbSums_({width, radius}, SlideInUse<Sample, Sum>()),
          crSums_({width, radius}, SlideInUse<Sample, Sum>()),
          counts_({width, radius}) {}

    /// The next row, from the top. The frame's rows from there up are not read again.
    ChromaRow<const Sample> Next() {
        for (; taken_ < std::min(y_ + down_.radius + 1, down_.size); ++taken_) {
            split_(frame_ + std::ptrdiff_t{taken_} * width_ * kElements, ring_[taken_], width_);
        }
        Fetcher ahead(taken_ < down_.size ? RowStretch(memory_, taken_) : RowStretch(), 4);
        down_.Advance(y_, [&](std::int64_t entering, std::int64_t leaving) {
            ahead.Fetch();
            cbSums_.Move(RowOf(entering).cb, RowOf(leaving).cb);
            ahead.Fetch();
            crSums_.Move(RowOf(entering).cr, RowOf(leaving).cr);
        });
        const auto counts = counts_.Of(down_.Count(y_));
        ahead.Fetch();
        average_(cbSums_.Row(), counts, cbMeans_.data(), width_);
        ahead.Fetch();
        average_(crSums_.Row(), counts, crMeans_.data(), width_);
        return {ring_[y_++].y, cbMeans_.data(), crMeans_.data()};
    }

private:
    ChromaRow<Sample> RowOf(std::int64_t y) {
        return y < 0 ? ChromaRow<Sample>{none_.data(), none_.data(), none_.data()} : ring_[y];
    }

    int width_;
    ClippedWindow down_;
    const Sample* frame_;
    RowMemory memory_;
    SplitRow<Sample> split_;
    AverageRow average_;
    ChromaRing<Sample> ring_;
    std::vector<Sample> none_;
    std::vector<Sample> cbMeans_;
    std::vector<Sample> crMeans_;
    BoxSums<Sample, Sum> cbSums_;
    BoxSums<Sample, Sum> crSums_;
    CountTable<Sum> counts_;
    std::int64_t y_ = 0;
    int taken_ = 0;
};

/// Calls give(y, row, pixels) for every row of a frame, where row holds its luma and its blurred
/// colour differences. A radius below 1 leaves them as they are.
template <class Sample, class Give>
void BlurChromaRows(int width, int height, Sample* frame, int radius, SplitRow<Sample> split,
                    Give give) {
    if (width < 1 || height < 1) return;
    radius = std::max(radius, 0);
    const auto blur = [&](auto rows) {
        for (std::int64_t y = 0; y < height; ++y) {
            give(y, rows.Next(), frame + y * width * kElements);
        }
    };
    if (SumsAreNarrow<Sample>({width, radius}, {height, radius})) {
        const auto average = Rows<Sample>().average;
        blur(ChromaBlur<Sample, std::uint32_t>(width, height, frame, radius, split, average));
    } else {
        const auto average = Average<Sample, std::uint64_t>;
        blur(ChromaBlur<Sample, std::uint64_t>(width, height, frame, radius, split, average));
    }
}

template <class Sample>
void BlurPackedChroma(int width, int height, Sample* frame, Sample* work, int radius) {
    if (radius < 1 || width < 1 || height < 1) return;
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const auto give = [&](std::int64_t y, const ChromaRow<const Sample>& row, Sample* pixels) {
        Pack(row, pixels, work + y * pitch, width);
    };
    BlurChromaRows(width, height, frame, radius, Unpack<Sample>, give);
    std::memcpy(frame, work, pitch * height * sizeof(Sample));
}

/// The work frame gets what lies between the conversions; a radius below 1 leaves it alone.
template <class Sample>
void SmoothWithWork(int width, int height, Sample* frame, Sample* work, int radius) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const ChromaRows<Sample>& rows = Rows<Sample>();
    const auto give = [&](std::int64_t y, const ChromaRow<const Sample>& row, Sample* pixels) {
        if (radius >= 1) Pack(row, pixels, work + y * pitch, width);
        rows.join(row, pixels, width);
    };
    BlurChromaRows(width, height, frame, radius, rows.split, give);
}

}  // namespace

template <class Sample>
void SmoothChroma(int width, int height, Sample* frame, int radius) {
    const ChromaRows<Sample>& rows = Rows<Sample>();
    const auto give = [&](std::int64_t, const ChromaRow<const Sample>& row, Sample* pixels) {
        rows.join(row, pixels, width);
    };
    BlurChromaRows(width, height, frame, radius, rows.split, give);
}

template void SmoothChroma(int, int, unsigned short*, int);
template void SmoothChroma(int, int, unsigned char*, int);

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
