#include "imaging/cpu/cpu.h"

#include <atomic>

#ifdef VELTRANE_SIMD
#include <hwy/highway.h>
#endif

namespace veltrane {
namespace {

#if defined(VELTRANE_SIMD) && HWY_ARCH_X86
bool Runs(CpuLevel level) {
    switch (level) {
        case CpuLevel::Plain:
            return true;
        case CpuLevel::Ssse3:
            return (HWY_TARGETS & HWY_SSSE3) != 0 && __builtin_cpu_supports("ssse3");
        case CpuLevel::Sse4:
            return (HWY_TARGETS & HWY_SSE4) != 0 && __builtin_cpu_supports("sse4.2") &&
                   __builtin_cpu_supports("aes") && __builtin_cpu_supports("pclmul");
        case CpuLevel::Avx2:
            return (HWY_TARGETS & HWY_AVX2) != 0 && __builtin_cpu_supports("avx2") &&
                   __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
                   __builtin_cpu_supports("bmi2");
        case CpuLevel::Avx512:
            return (HWY_TARGETS & HWY_AVX3) != 0 && __builtin_cpu_supports("avx512f") &&
                   __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
                   __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512cd");
        default:
            return false;
    }
}
#elif defined(VELTRANE_SIMD) && HWY_ARCH_ARM_A64
bool Runs(CpuLevel level) {
    return level == CpuLevel::Plain || level == CpuLevel::Neon;
}
#else
bool Runs(CpuLevel level) {
    return level == CpuLevel::Plain;
}
#endif

/// Needs no memory, so that asking for the level cannot fail.
CpuLevel Highest() {
    int level = kCpuLevels - 1;
    while (!Runs(static_cast<CpuLevel>(level))) --level;
    return static_cast<CpuLevel>(level);
}

std::atomic<CpuLevel>& Chosen() {
    static std::atomic<CpuLevel> level = Highest();
    return level;
}

}  // namespace

std::vector<CpuLevel> CpuLevels() {
    std::vector<CpuLevel> levels;
    for (int i = 0; i < kCpuLevels; ++i) {
        const auto level = static_cast<CpuLevel>(i);
        if (Runs(level)) levels.push_back(level);
    }
    return levels;
}

CpuLevel CurrentCpuLevel() {
    return Chosen();
}

bool UseCpuLevel(CpuLevel level) {
    if (!Runs(level)) return false;
    Chosen() = level;
    return true;
}

std::string_view CpuLevelName(CpuLevel level) {
    constexpr std::string_view kNames[kCpuLevels] = {"plain", "ssse3", "sse4",
                                                     "neon",  "avx2",  "avx512"};
    return kNames[static_cast<int>(level)];
}

}  // namespace veltrane
