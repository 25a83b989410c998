#ifndef VELTRANE_IMAGING_CPU_CPU_H
#define VELTRANE_IMAGING_CPU_CPU_H

#include <string_view>
#include <vector>

namespace veltrane {

/// The forms of the row functions, in rising order. All give the same bits.
enum class CpuLevel { Plain, Ssse3, Sse4, Neon, Avx2, Avx512 };

inline constexpr int kCpuLevels = static_cast<int>(CpuLevel::Avx512) + 1;

/// The forms that this build holds and this machine can run; the plain one is always there.
std::vector<CpuLevel> CpuLevels();

/// The form in use: the highest, unless another was chosen.
CpuLevel CurrentCpuLevel();

/// Makes frames that are keyed from now on use a form of CpuLevels(); others are ignored and give
/// false. For the whole process: meant for tests, measurements and the hunt for faults.
bool UseCpuLevel(CpuLevel level);

/// "plain", "ssse3", "sse4", "neon", "avx2", "avx512".
std::string_view CpuLevelName(CpuLevel level);

}  // namespace veltrane

#endif
