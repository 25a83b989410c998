#ifndef VELTRANE_KEYER_LIGHT_LINEAR_MATTE_H
#define VELTRANE_KEYER_LIGHT_LINEAR_MATTE_H

namespace veltrane {

template <class Sample>
struct LinearMatteRows;

/// Finds the coverage of keyed pixels anew for compositing in linear light: as much of the keyed
/// foreground as mixes with the plate to the source there. Less is changed the worse that explains
/// the source, near either end of the matte, and beyond what the curve alone can make of a mixture.
/// Where the matte is 0 or full, and in shadows, which cover nothing, all stays as it is; elsewhere
/// the colour does. Made once a frame; any number of threads may call it.
template <class Sample>
class LinearMatte {
public:
    /// Throws std::bad_alloc.
    LinearMatte();

    /// row holds width pixels keyed from those of source against those of plate, all apart in
    /// memory.
    void operator()(const Sample* source, const Sample* plate, Sample* row, int width) const;

private:
    const float* light_;  ///< of each 16-bit sample
    const LinearMatteRows<Sample>& rows_;
};

}  // namespace veltrane

#endif
