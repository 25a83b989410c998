#ifndef VELTRANE_IMAGING_CPU_SIMD_H
#define VELTRANE_IMAGING_CPU_SIMD_H

// How a file of vector code hands out its row functions. Such a file compiles its body once for
// every instruction set that Highway offers. Only Highway's headers are used, not its library and
// its dispatch, so that what is linked with us needs nothing more at run time.

#include <array>

#include "imaging/cpu/cpu.h"

/// Highway's last resort has one scalar lane; the plain form is better at that.
#define VELTRANE_HAS_LANES (HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128)

/// The function get of each instruction set, in the order of CpuLevel; null where there is none.
#define VELTRANE_FOR_EACH_LEVEL(get)                                                \
    {                                                                               \
        nullptr, HWY_CHOOSE_SSSE3(get), HWY_CHOOSE_SSE4(get), HWY_CHOOSE_NEON(get), \
            HWY_CHOOSE_AVX2(get), HWY_CHOOSE_AVX3(get)                              \
    }

/// Defines function, which gives the Rows of the level in use, or null when that is the plain one.
#define VELTRANE_DEFINE_ROWS(Rows, function, get)             \
    const Rows* function() {                                  \
        return RowsInUse<Rows>(VELTRANE_FOR_EACH_LEVEL(get)); \
    }

/// The same for Rows, function and get that are templates on the sample's type.
#define VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(Rows, function, get) \
    template <class Sample>                                      \
    VELTRANE_DEFINE_ROWS(Rows<Sample>, function, get<Sample>)    \
    template const Rows<unsigned short>* function();             \
    template const Rows<unsigned char>* function();

namespace veltrane {

template <class Rows>
using RowsOfLevels = std::array<const Rows* (*)(), kCpuLevels>;

/// The row functions of the level in use; null when that is the plain one.
template <class Rows>
const Rows* RowsInUse(const RowsOfLevels<Rows>& levels) {
    const auto get = levels[static_cast<int>(CurrentCpuLevel())];
    return get == nullptr ? nullptr : get();
}

}  // namespace veltrane

#endif
