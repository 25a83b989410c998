#ifndef VELTRANE_SETTINGS_TUNE_COVERAGE_H
#define VELTRANE_SETTINGS_TUNE_COVERAGE_H

#include "settings/tune/cells.h"
#include "settings/tune/look.h"

namespace veltrane {

/// A frame in linear light by cells: their means, one pixel of each, and the plate behind it.
struct SampledFrame {
    Cells<LinearColor> means;
    Cells<LinearColor> pixels;
    Cells<LinearColor> plate;
};

/// Fills in what the look tells of the subject: coverage, weights, trust and shares.
void GuessCoverage(const SampledFrame& frame, Screen screen, FrameLook& look);

}  // namespace veltrane

#endif
