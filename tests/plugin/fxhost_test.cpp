#include "imaging/convert/convert.h"
#include "tests/cli/command.h"

namespace veltrane {
namespace {

TEST_F(CommandTest, FxHostRendersAStillThroughTheBundle) {
    Run("in.png out.png --key-color #40b838 --shadow 60 --edge-blur --mask-blur-radius 3");
    Settings settings = green_;
    settings.shadow = 60;
    settings.edgeBlur = true;
    settings.maskBlurRadius = 3;
    // The way to floats and back takes some samples one step down.
    media::Frame source = source_;
    std::vector<float> floats(source.pixels.size());
    const int pixels = source.width * source.height;
    const PixelFormat format{PixelOrder::kArgb, AlphaState::kStraight, FloatRounding::kDown};
    const PixelWriter<float> writer(format);
    const PixelReader<float> reader(format);
    writer(source_.pixels.data(), floats.data(), pixels);
    reader(floats.data(), source.pixels.data(), pixels);
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(settings, source));
}

TEST_F(CommandTest, FxHostRefusesInOneLine) {
    const std::pair<const char*, int> refused[] = {{"in.png out.png --shadow 101", 2},
                                                   {"in.png in.png", 2},
                                                   {"../samples/clip.mp4 out.png", 2},
                                                   {"in.png none/out.png --key-color #40b838", 1}};
    for (const auto& [arguments, status] : refused) ExpectRefused(status, arguments, {});
    EXPECT_EQ(media::ReadFrame("in.png", 1).pixels, source_.pixels);
}

}  // namespace
}  // namespace veltrane
