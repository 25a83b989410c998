#ifndef VELTRANE_HOSTS_OFX_INPUTS_H
#define VELTRANE_HOSTS_OFX_INPUTS_H

#include <optional>

#include "hosts/ofx/image.h"
#include "keyer/key_inputs.h"

namespace veltrane::ofx {

/// A clip that the general context offers beside the source; none of them must be connected.
struct InputClip {
    const char* name;  ///< that saved projects hold
    const char* label;
    bool isMask;
};

inline constexpr InputClip kGarbageClip{"GarbageMatte", "Garbage matte", true};
inline constexpr InputClip kCoreClip{"CoreMatte", "Core matte", true};
inline constexpr InputClip kPlateClip{"CleanPlate", "Clean plate", false};
inline constexpr InputClip kInputClips[] = {kGarbageClip, kCoreClip, kPlateClip};

/// Whether the instance has this clip and something is connected to it.
bool IsConnected(Effect effect, const InputClip& clip);

/// The images of these clips at a time, held while it lives.
class Inputs {
public:
    /// Throws Refusal for an image that does not fit the source's depth, scale and place.
    Inputs(Effect effect, double time, const Image& source);

    /// What the source is keyed with: mattes are empty where they hold no pixels, luma, or alpha
    /// where any of it is not opaque; light is that of the plate. This must stay.
    template <class Component>
    KeyInputs<SampleFor<Component>> Rows(const RectI& frame, Light light) const;

private:
    std::optional<Image> garbage_;
    std::optional<Image> core_;
    std::optional<Image> plate_;
};

}  // namespace veltrane::ofx

#endif
