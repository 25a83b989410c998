#include "settings/plate_match.h"

#include <cstddef>

#include "imaging/sample.h"
#include "settings/clean_plate.h"
#include "settings/plate_shade.h"

namespace veltrane {

namespace {

bool MatchExposure(int width, int height, const std::uint16_t* shot, std::uint16_t* plate,
                   const Color& keyColor) {
    const auto fit = FitPlate(width, height, shot, plate, keyColor);
    if (fit) CorrectPlate(*fit, plate, plate, std::ptrdiff_t{width} * height);
    return fit.has_value();
}

bool MatchShade(int width, int height, const std::uint16_t* shot, std::uint16_t* plate,
                const Color& keyColor) {
    const auto shade = PlateShade::Between(width, height, shot, plate, keyColor);
    for (int y = 0; shade && y < height; ++y) {
        std::uint16_t* row = plate + std::ptrdiff_t{kElements} * width * y;
        shade->Correct(y, row, row);
    }
    return shade.has_value();
}

}  // namespace

bool MatchPlate(PlateMatch match, int width, int height, const std::uint16_t* shot,
                std::uint16_t* plate, const Color& keyColor) {
    switch (match) {
        case PlateMatch::None:
            return true;
        case PlateMatch::Exposure:
            return MatchExposure(width, height, shot, plate, keyColor);
        case PlateMatch::Shade:
            return MatchShade(width, height, shot, plate, keyColor);
    }
    return true;
}

}  // namespace veltrane
