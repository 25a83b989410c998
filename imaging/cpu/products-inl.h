// Vectors of samples multiplied by each other. Compiled once for every instruction set, so this is
// included after Highway's foreach_target.h.

#if defined(VELTRANE_IMAGING_CPU_PRODUCTS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_IMAGING_CPU_PRODUCTS_INL_H
#undef VELTRANE_IMAGING_CPU_PRODUCTS_INL_H
#else
#define VELTRANE_IMAGING_CPU_PRODUCTS_INL_H
#endif

#include "imaging/cpu/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

/// Products of samples over full scale, to the nearest. Their halves are added up apart, with
/// carries.
inline hn::Vec<hn::ScalableTag<std::uint16_t>> Multiplied(
    hn::Vec<hn::ScalableTag<std::uint16_t>> a, hn::Vec<hn::ScalableTag<std::uint16_t>> b) {
    const hn::ScalableTag<std::uint16_t> shorts;
    const auto product = a * b;
    const auto low = product + hn::Set(shorts, 0x8000);
    const auto high = hn::MulHigh(a, b) + hn::ShiftRight<15>(product);
    return high - hn::VecFromMask(shorts, hn::Lt(low + high, low));
}

/// Bytes are multiplied in 16 bits, every other one at a time.
inline hn::Vec<hn::ScalableTag<std::uint8_t>> Multiplied(hn::Vec<hn::ScalableTag<std::uint8_t>> a,
                                                         hn::Vec<hn::ScalableTag<std::uint8_t>> b) {
    const hn::ScalableTag<std::uint16_t> shorts;
    const auto byte = hn::Set(shorts, 255);
    const auto rounded = [&](auto product) {
        const auto sum = product + hn::Set(shorts, 128);
        return hn::ShiftRight<8>(sum + hn::ShiftRight<8>(sum));
    };
    const auto first = hn::BitCast(shorts, a), second = hn::BitCast(shorts, b);
    const auto even = rounded(hn::And(first, byte) * hn::And(second, byte));
    const auto odd = rounded(hn::ShiftRight<8>(first) * hn::ShiftRight<8>(second));
    return hn::BitCast(hn::ScalableTag<std::uint8_t>(), hn::Or(even, hn::ShiftLeft<8>(odd)));
}

}  // namespace
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#endif
