#include <cmath>

#include "command.h"

namespace veltrane {
namespace {

// Mean absolute difference between the matte and the true coverage, as parts of full scale. Shadows
// on the screen are kept by the keyer and no part of the coverage, so they count as errors.
TEST_F(CommandTest, QualityMatteOfTheSampleStill) {
    Succeed({"key", Sample("still.jpg"), Path("keyed.png")});
    const media::Frame keyed = media::ReadFrame(Path("keyed.png"), 1);
    const media::Frame truth = media::ReadFrame(Sample("still-matte.png"), 1);
    ASSERT_EQ(keyed.pixels.size(), truth.pixels.size());
    double sum = 0;
    for (std::size_t i = 0; i < keyed.pixels.size(); i += 4)
        sum += std::abs(keyed.pixels[i + 3] - truth.pixels[i]);
    const double error = sum / 65535 / static_cast<double>(keyed.pixels.size() / 4);
    std::printf("mean absolute matte error: %.5f\n", error);
    RecordProperty("MatteError", std::to_string(error));
    EXPECT_LT(error, 0.0225);
}

}  // namespace
}  // namespace veltrane
