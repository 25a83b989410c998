#ifndef VELTRANE_IMAGING_CPU_IN_USE_H
#define VELTRANE_IMAGING_CPU_IN_USE_H

namespace veltrane {

/// The row functions in use: those that simd gives, which is a function of x_simd.cpp, or plain
/// ones where it gives null or the library is built without vector forms. Ask once a frame.
template <auto simd, class Rows>
const Rows& InUse(const Rows& plain) {
#ifdef VELTRANE_SIMD
    if (const Rows* rows = simd()) return *rows;
#endif
    return plain;
}

}  // namespace veltrane

#endif
