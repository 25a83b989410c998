#include "imaging/matte/matte_plane.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <utility>
#include <vector>

#include "imaging/imaging.h"
#include "imaging/matte/matte_plane_rows.h"

namespace veltrane {
namespace {

/// The lesser of a sample and the threshold above the minimum about it.
template <class Sample>
Sample Lowered(Sample sample, int minimum, int threshold) {
    return sample - minimum > threshold ? static_cast<Sample>(minimum + threshold) : sample;
}

template <class Sample>
void ContractCross(const Sample* above, const Sample* row, const Sample* below, Sample* out,
                   int width, int threshold) {
    for (int x = 1; x < width - 1; ++x) {
        const int minimum = std::min({above[x], row[x - 1], row[x + 1], below[x]});
        out[x] = Lowered(row[x], minimum, threshold);
    }
}

template <class Sample>
void ContractSquare(const Sample* above, const Sample* row, const Sample* below, Sample* out,
                    int width, int threshold) {
    for (int x = 1; x < width - 1; ++x) {
        const int minimum = std::min({above[x - 1], above[x], above[x + 1], row[x - 1], row[x],
                                      row[x + 1], below[x - 1], below[x], below[x + 1]});
        out[x] = Lowered(row[x], minimum, threshold);
    }
}

template <class Sample>
void Take(const Sample* row, Sample* matte, int width) {
    for (int x = 0; x < width; ++x) matte[x] = row[x * kElements + kAlpha];
}

template <class Sample>
void Put(const Sample* matte, Sample* row, int width) {
    for (int x = 0; x < width; ++x) row[x * kElements + kAlpha] = matte[x];
}

template <class Sample>
constexpr MattePlaneRows<Sample> kPlainRows{ContractCross<Sample>, ContractSquare<Sample>,
                                            Take<Sample>, Put<Sample>};

/// A pass of the contraction and the last three rows that it was given.
template <class Sample>
class ContractPass {
public:
    using ContractRow = typename MattePlaneRows<Sample>::Contract;

    ContractPass(int width, int height, ContractRow contract, int threshold)
        : width_(width),
          height_(height),
          contract_(contract),
          threshold_(threshold),
          rows_(3 * static_cast<std::size_t>(width)) {}

    /// Where row y is to be put before row y - 1 is asked for.
    Sample* Input(std::int64_t y) { return rows_.data() + y % 3 * width_; }

    void Contract(std::int64_t y, Sample* out) {
        const Sample* row = Input(y);
        if (y == 0 || y == height_ - 1) {
            std::copy_n(row, width_, out);
            return;
        }
        out[0] = row[0];
        contract_(Input(y - 1), row, Input(y + 1), out, width_, threshold_);
        out[width_ - 1] = row[width_ - 1];
    }

private:
    int width_;
    int height_;
    ContractRow contract_;
    int threshold_;
    std::vector<Sample> rows_;
};

/// Runs the passes numbered first..last - 1 in one sweep down the matte, each a row behind the one
/// before, so that the rows between them stay in cache. Odd passes take the square.
template <class Sample>
void Sweep(int width, int height, Sample* matte, int first, int last, int threshold) {
    // Below 0, the threshold may lead out of the scale; only the plain form follows there.
    const MattePlaneRows<Sample>& rows =
        threshold < 0 ? kPlainRows<Sample> : MattePlaneRowsInUse<Sample>();
    std::vector<ContractPass<Sample>> passes;
    for (int i = first; i < last; ++i) {
        passes.emplace_back(width, height, i % 2 != 0 ? rows.square : rows.cross, threshold);
    }
    const auto rowOf = [&](std::int64_t y) { return matte + y * width; };
    const int count = last - first;
    for (std::int64_t lead = 0; lead < std::int64_t{height} + count; ++lead) {
        if (lead < height) std::copy_n(rowOf(lead), width, passes[0].Input(lead));
        for (int i = 0; i < count; ++i) {
            const std::int64_t y = lead - 1 - i;
            if (y < 0 || y >= height) continue;
            passes[i].Contract(y, i + 1 < count ? passes[i + 1].Input(y) : rowOf(y));
        }
    }
}

template <class Sample>
void Contract(int width, int height, Sample* matte, int first, int last, int threshold) {
    constexpr int kPassesOfSweep = 8;
    if (width < 3 || height < 3 || threshold >= kFullScale<Sample>) return;
    while (first < last) {
        const int next = first + std::min(last - first, kPassesOfSweep);
        Sweep(width, height, matte, first, next, threshold);
        first = next;
    }
}

template <class Sample>
int ContractFrame(int width, int height, Sample* frame, int first, int last, int threshold) {
    if (frame == nullptr) return 0;
    if (first < last) {
        ChangeMatte(width, height, frame,
                    [&](Sample* matte) { Contract(width, height, matte, first, last, threshold); });
    }
    return 1;
}

}  // namespace

template <class Sample>
void ContractMatte(int width, int height, Sample* matte, int iterations, int threshold) {
    Contract(width, height, matte, 0, iterations, threshold);
}

template <class Sample>
const MattePlaneRows<Sample>& MattePlaneRowsInUse() {
#ifdef VELTRANE_SIMD
    if (const MattePlaneRows<Sample>* rows = SimdMattePlaneRows<Sample>()) return *rows;
#endif
    return kPlainRows<Sample>;
}

template void ContractMatte(int, int, unsigned short*, int, int);
template void ContractMatte(int, int, unsigned char*, int, int);
template const MattePlaneRows<unsigned short>& MattePlaneRowsInUse();
template const MattePlaneRows<unsigned char>& MattePlaneRowsInUse();

}  // namespace veltrane

int CImagingORV::ContGray7_64(int width, int height, unsigned short* frame, int iterations,
                              int threshold) const {
    const std::int64_t step = std::int64_t{threshold} * 257;
    return veltrane::ContractFrame(
        width, height, frame, 0, iterations,
        static_cast<int>(std::clamp<std::int64_t>(step, INT_MIN, INT_MAX)));
}

int CImagingORV::ContGray7(int width, int height, unsigned char* frame, int iterations,
                           int threshold) const {
    return veltrane::ContractFrame(width, height, frame, 0, iterations, threshold);
}

int CImagingORV::ContGrayCore4_64(int width, int height, unsigned short* frame,
                                  int threshold) const {
    return veltrane::ContractFrame(width, height, frame, 0, 1, threshold);
}

int CImagingORV::ContGrayCore8_64(int width, int height, unsigned short* frame,
                                  int threshold) const {
    return veltrane::ContractFrame(width, height, frame, 1, 2, threshold);
}

int CImagingORV::ContGrayCore4(int width, int height, unsigned char* frame, int threshold) const {
    return veltrane::ContractFrame(width, height, frame, 0, 1, threshold);
}

int CImagingORV::ContGrayCore8(int width, int height, unsigned char* frame, int threshold) const {
    return veltrane::ContractFrame(width, height, frame, 1, 2, threshold);
}
