#ifndef VELTRANE_KEYER_MATTES_GIVEN_MATTES_H
#define VELTRANE_KEYER_MATTES_GIVEN_MATTES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "keyer/core/matte_core.h"
#include "keyer/key_inputs.h"
#include "keyer/settings.h"

namespace veltrane {

template <class Sample>
struct GivenMatteRows;

/// A frame's garbage and core mattes, which overrule the key. The core matte mixes each keyed pixel
/// with the solid one that the core's colour tells; then the garbage matte takes away. Both follow
/// all that is done to the keyed matte, so that they stay as they were drawn.
template <class Sample>
class GivenMattes {
public:
    /// For frames of the record's size and key colour. What the inputs read must stay.
    GivenMattes(const typename Depth<Sample>::Record& p, Screen screen,
                const KeyInputs<Sample>& inputs, CoreColor color);

    /// Applies them to rows, for one thread.
    class Rows {
    public:
        /// The mattes must stay.
        explicit Rows(const GivenMattes& mattes);

        /// row is the keyed row y, made of the pixels in source.
        void Apply(int y, const Sample* source, Sample* row);

    private:
        const std::uint16_t* Levels(const LevelRows& rows, int y, std::vector<std::uint16_t>& own);

        const GivenMattes& mattes_;
        std::vector<std::uint16_t> garbage_;  ///< zeros where there is no such matte
        std::vector<std::uint16_t> core_;
        std::vector<Sample> despilled_;
    };

private:
    int width_;
    LevelRows garbage_;
    LevelRows core_;
    std::optional<KeyLook<Sample>> look_;  ///< where the core is despilled
    std::optional<KeyAxis> axis_;
    const GivenMatteRows<Sample>& rows_;
};

}  // namespace veltrane

#endif
