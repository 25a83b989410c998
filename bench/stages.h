#ifndef VELTRANE_BENCH_STAGES_H
#define VELTRANE_BENCH_STAGES_H

#include <vector>

#include "imaging/cpu/cpu.h"

namespace veltrane::bench {

/// Registers each stage of the 16-bit keyer by itself, on the sample still.
void RegisterStages(const std::vector<CpuLevel>& levels);

}  // namespace veltrane::bench

#endif
