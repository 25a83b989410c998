// Vector functions walk along rows of pixels by ForEachVector. Compiled once for every instruction
// set, so this is included after Highway's foreach_target.h.

#if defined(VELTRANE_IMAGING_CPU_ROW_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_IMAGING_CPU_ROW_VECTORS_INL_H
#undef VELTRANE_IMAGING_CPU_ROW_VECTORS_INL_H
#else
#define VELTRANE_IMAGING_CPU_ROW_VECTORS_INL_H
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "imaging/cpu/simd.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// A row of so many elements a pixel and of so many more behind its last one; const where it is
/// only read.
template <class T, int elements = 1, int beyond = 0>
struct Row {
    T* at;

    T* From(std::ptrdiff_t x) const { return at + x * elements; }
};

/// The last pixels of a row, with room for a whole vector of lanes pixels.
template <int lanes, class T, int elements, int beyond>
class RowEnd {
public:
    RowEnd(Row<T, elements, beyond> row, std::ptrdiff_t x, std::ptrdiff_t width)
        : row_(row.From(x)), count_(static_cast<std::size_t>(width - x) * elements) {
        std::memcpy(block_, row_, (count_ + beyond) * sizeof(T));
    }
    T* Block() { return block_; }
    void PutBack() const {
        if constexpr (!std::is_const_v<T>) std::memcpy(row_, block_, count_ * sizeof(T));
    }

private:
    T* row_;
    std::size_t count_;
    alignas(64) std::remove_const_t<T> block_[lanes * elements + beyond] = {};
};

/// Calls body with pointers into the rows, once for each vector of lanes pixels. The last ones of a
/// row of width pixels go through blocks on the stack, so nothing outside the rows is touched.
template <int lanes, class Body, class... T, int... elements, int... beyond>
void ForEachVector(std::ptrdiff_t width, Body body, Row<T, elements, beyond>... rows) {
    std::ptrdiff_t x = 0;
    for (; x + lanes <= width; x += lanes) body(rows.From(x)...);
    if (x == width) return;
    const auto finish = [&](auto&&... ends) {
        body(ends.Block()...);
        (ends.PutBack(), ...);
    };
    finish(RowEnd<lanes, T, elements, beyond>(rows, x, width)...);
}

using WordTag = hn::ScalableTag<std::uint32_t>;
using FloatTag = hn::RebindToFloat<WordTag>;
using Words = hn::Vec<WordTag>;
using Floats = hn::Vec<FloatTag>;
constexpr int kWordLanes = hn::MaxLanes(WordTag());

/// Samples as whole numbers of 32 bits.
template <class Sample>
Words LoadWords(const Sample* samples) {
    return hn::PromoteTo(WordTag(), hn::LoadU(hn::Rebind<Sample, WordTag>(), samples));
}

/// Whole numbers below 2^31.
inline Floats ToFloats(Words words) {
    return hn::ConvertTo(FloatTag(), hn::BitCast(hn::RebindToSigned<WordTag>(), words));
}

/// The whole part of 0..65535.99 in the low 16 bits, and the same bits above it always: a float
/// from 2^23 on counts in ones.
inline Words WholeBits(Floats value) {
    constexpr float kOnes = 0x1p23f;
    const FloatTag floats;
    return hn::BitCast(WordTag(), hn::Floor(value) + hn::Set(floats, kOnes));
}

/// The low bits of every word.
template <class Sample>
void StoreLowBits(Words words, Sample* samples) {
    const hn::Rebind<Sample, WordTag> tag;
    hn::StoreU(hn::TruncateTo(tag, words), tag, samples);
}

}  // namespace
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#endif
