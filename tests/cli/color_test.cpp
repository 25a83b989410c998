#include <OpenImageIO/imagebuf.h>

#include <cmath>
#include <cstdlib>
#include <tuple>

#include "command.h"

namespace veltrane {
namespace {

constexpr char kConfig[] = R"(ocio_profile_version: 2
roles:
  default: ACEScg
  scene_linear: ACEScg
file_rules:
  - !<Rule> {name: Default, colorspace: default}
displays:
  screen:
    - !<View> {name: plain, colorspace: srgb_tx}
colorspaces:
  - !<ColorSpace>
    name: ACEScg
  - !<ColorSpace>
    name: srgb_tx
    to_scene_reference: !<GroupTransform>
      children:
        - !<ExponentWithLinearTransform> {gamma: [2.4, 2.4, 2.4, 1], offset: [0.055, 0.055, 0.055, 0]}
        - !<MatrixTransform> {matrix: [0.613097, 0.339523, 0.047379, 0, 0.070194, 0.916354, 0.013452, 0, 0.020616, 0.109570, 0.869815, 0, 0, 0, 0, 1]}
)";

double Decoded(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

/// A picture's pixel (blue, green, red) as red, green, blue in ACEScg.
std::array<float, 3> Aces(const std::uint16_t* pixel) {
    constexpr double kMatrix[3][3] = {{0.613097, 0.339523, 0.047379},
                                      {0.070194, 0.916354, 0.013452},
                                      {0.020616, 0.109570, 0.869815}};
    std::array<float, 3> aces;
    for (int row = 0; row < 3; ++row) {
        double sum = 0;
        for (int c = 0; c < 3; ++c) sum += kMatrix[row][c] * Decoded(pixel[2 - c] / 65535.0);
        aces[row] = static_cast<float>(sum);
    }
    return aces;
}

class ColorSpacesTest : public CommandTest {
protected:
    ColorSpacesTest() {
        unsetenv("OCIO");
        std::ofstream("aces.ocio") << kConfig;
        OIIO::ImageBuf picture(OIIO::ImageSpec(64, 48, 3, OIIO::TypeDesc::FLOAT));
        for (int i = 0; i < 64 * 48; ++i)
            picture.setpixel(i % 64, i / 64, Aces(&source_.pixels[i * 4]).data());
        picture.setpixel(kLampX, kLampY, kLamp);
        EXPECT_TRUE(picture.write("aces.exr"));
    }

    static constexpr int kLampX = 30, kLampY = 40;
    static constexpr float kLamp[3] = {6, 5, 4};
    const std::string key_ = "key aces.exr out.exr --key-color #40b838 --ocio aces.ocio ";
};

TEST_F(ColorSpacesTest, FramesAreKeyedInTheirDisplaySpaceAndComeBack) {
    const std::string said = Run(key_ + "--colorspace ACEScg").error;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "keying ACEScg in srgb_tx", said);
    const auto expected = Keyed(green_, source_);
    OIIO::ImageBuf out("out.exr"), in("aces.exr");
    int untouched = 0, soft = 0;
    for (int i = 0; i < 64 * 48; ++i) {
        if (i == kLampY * 64 + kLampX) continue;
        float pixel[4], given[3];
        out.getpixel(i % 64, i / 64, pixel, 4);
        in.getpixel(i % 64, i / 64, given, 3);
        const std::uint16_t* keyed = &expected[i * 4];
        // Rounding to 16 bits before the key may fall to the other side.
        ASSERT_NEAR(pixel[3], keyed[3] / 65535.0, 1e-3) << i;
        const auto aces = Aces(keyed);
        for (int c = 0; c < 3; ++c) ASSERT_NEAR(pixel[c], aces[c] * pixel[3], 2e-3) << i;
        untouched += pixel[3] == 1 && std::equal(given, given + 3, pixel);
        soft += pixel[3] > 0 && pixel[3] < 1;
    }
    EXPECT_GT(untouched, 100);
    EXPECT_GT(soft, 10);
    float lamp[4];
    out.getpixel(kLampX, kLampY, lamp, 4);
    EXPECT_TRUE(std::equal(kLamp, kLamp + 3, lamp)) << lamp[0];
}

TEST_F(ColorSpacesTest, TheSpaceForKeyingItselfChangesNothing) {
    setenv("OCIO", "aces.ocio", 1);
    Run("key in.png out.png --key-color #40b838 --colorspace srgb_tx");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(green_, source_));
    // A matte is no colour of any space.
    Run(key_ + "--colorspace ACEScg --key-space srgb_tx --view matte");
    float matte[3];
    OIIO::ImageBuf("out.exr").getpixel(kLampX, kLampY, matte, 3);
    EXPECT_EQ(matte[0], 1);
    unsetenv("OCIO");
}

TEST_F(ColorSpacesTest, RefusesWhatItDoesNotKnow) {
    std::ofstream("broken.ocio") << "ocio_profile_version: 2\nroles: [\n";
    const std::string plain = "key in.png out.png ";
    for (const auto& [arguments, status, message] :
         {std::tuple{key_ + "--colorspace ACEScc", 1,
                     "aces.ocio: has no colour space ACEScc; the nearest it has: ACEScg"},
          {key_ + "--colorspace ACEScg --key-space sRGB_texture", 1, "has: srgb_tx, "},
          {plain + "--colorspace ACEScg --ocio broken.ocio", 1, "veltrane: broken.ocio: "},
          {plain + "--colorspace ACEScg --ocio none.ocio", 1, "veltrane: none.ocio: "},
          {plain + "--colorspace ACEScg", 2, "--ocio FILE"},
          {plain + "--key-space ACEScg", 2, "without --colorspace"},
          {plain + "--ocio aces.ocio", 2, "without --colorspace"},
          {key_ + "--colorspace ACEScg --transfer none", 2, "exclude each other"},
          {"key in.png aces.ocio --colorspace srgb_tx --ocio aces.ocio", 2,
           "aces.ocio is a source"}}) {
        const std::string error = Run(arguments, status).error;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, message, error);
        EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
    }
    EXPECT_FALSE(fs::exists("out.png"));
}

}  // namespace
}  // namespace veltrane
