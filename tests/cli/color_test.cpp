#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imageio.h>

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
        aces[row] = float(sum);
    }
    return aces;
}

/// A file's pixels as they are now; an ImageBuf may be what a cache holds under the same name.
class Stored {
public:
    explicit Stored(const std::string& path) {
        const auto file = OIIO::ImageInput::open(path);
        channels_ = file->spec().nchannels;
        values_.resize(std::size_t(file->spec().image_pixels()) * channels_);
        EXPECT_TRUE(file->read_image(0, 0, 0, channels_, OIIO::TypeDesc::FLOAT, values_.data()));
    }

    int channels() const { return channels_; }
    const float* operator()(int x, int y) const { return &values_[(y * 64 + x) * channels_]; }

private:
    int channels_;
    std::vector<float> values_;
};

class ColorSpacesTest : public CommandTest {
protected:
    ColorSpacesTest() {
        unsetenv("OCIO");
        std::ofstream("aces.ocio") << kConfig;
        OIIO::ImageBuf picture = InAces(source_);
        picture.setpixel(kLampX, kLampY, kLamp);
        EXPECT_TRUE(picture.write("aces.exr"));
    }

    static OIIO::ImageBuf InAces(const media::Frame& frame) {
        OIIO::ImageBuf picture(OIIO::ImageSpec(64, 48, 3, OIIO::TypeDesc::FLOAT));
        for (int i = 0; i < 64 * 48; ++i)
            picture.setpixel(i % 64, i / 64, Aces(&frame.pixels[i * 4]).data());
        return picture;
    }

    static constexpr int kLampX = 30, kLampY = 40;
    static constexpr float kLamp[3] = {6, 5, 4};
    const std::string key_ = "key aces.exr out.exr --key-color #40b838 --ocio aces.ocio ";
};

TEST_F(ColorSpacesTest, FramesAreKeyedInTheirDisplaySpaceAndComeBack) {
    const std::string said = Run(key_ + "--colorspace ACEScg").error;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "keying ACEScg in srgb_tx", said);
    const auto expected = Keyed(green_, source_);
    const Stored out("out.exr"), in("aces.exr");
    int untouched = 0, soft = 0;
    for (int i = 0; i < 64 * 48; ++i) {
        if (i == kLampY * 64 + kLampX) continue;
        const float *pixel = out(i % 64, i / 64), *given = in(i % 64, i / 64);
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
    EXPECT_TRUE(std::equal(kLamp, kLamp + 3, out(kLampX, kLampY)));
}

TEST_F(ColorSpacesTest, TheSpaceForKeyingItselfChangesNothing) {
    setenv("OCIO", "aces.ocio", 1);
    Run("key in.png out.png --key-color #40b838 --colorspace srgb_tx");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(green_, source_));
    // A matte is no colour of any space.
    Run(key_ + "--colorspace ACEScg --key-space srgb_tx --view matte");
    EXPECT_EQ(Stored("out.exr")(kLampX, kLampY)[0], 1);
    unsetenv("OCIO");
}

TEST_F(ColorSpacesTest, BackgroundsAreBroughtAlong) {
    media::Frame back = source_;
    for (std::size_t i = 0; i < back.pixels.size(); ++i)
        if (i % 4 != 3) back.pixels[i] = std::uint16_t(9000 + (i * 5) % 50000);
    InAces(back).write("back.exr");
    Write("back.png", back);
    const media::Pixels keyed = Keyed(green_, source_);
    for (const char* which : {"back.exr", "back.png --background-space srgb_tx"}) {
        Run(key_ + "--colorspace ACEScg --background " + which);
        const Stored out("out.exr");
        ASSERT_EQ(out.channels(), 3);
        for (int i = 0; i < 64 * 48; ++i) {
            if (i == kLampY * 64 + kLampX) continue;
            const double alpha = keyed[i * 4 + 3] / 65535.0;
            std::uint16_t over[3];
            for (int c = 0; c < 3; ++c)
                over[c] = std::uint16_t(
                    std::lround(keyed[i * 4 + c] * alpha + back.pixels[i * 4 + c] * (1 - alpha)));
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(out(i % 64, i / 64)[c], Aces(over)[c], 2e-3) << which << i;
        }
        EXPECT_TRUE(std::equal(kLamp, kLamp + 3, out(kLampX, kLampY))) << which;
    }
}

// What a screen lit beyond 1 holds goes with the screen.
TEST_F(ColorSpacesTest, NoExcessOfTheScreenShowsInAComposite) {
    OIIO::ImageBuf hot = InAces(source_);
    const float glare[3] = {0.1f, 1.4f, 0.08f};
    for (int i = 0; i < 5 * 64; ++i) hot.setpixel(i % 64, i / 64, glare);
    hot.setpixel(kLampX, kLampY, kLamp);
    hot.write("hot.exr");
    for (const char* space : {"--ocio aces.ocio --colorspace ACEScg", "--transfer linear"}) {
        const std::string run = std::string("key hot.exr out.exr --key-color #40b838 ") + space;
        Run(run);
        const Stored alone("out.exr");
        Run(run + " --background #646464");
        const Stored over("out.exr");
        for (int x = 0; x < 64; ++x) {
            ASSERT_LT(alone(x, 2)[3], 0.02) << space << x;
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(over(x, 2)[c], Decoded(100 / 255.0), 0.02) << space << x;
        }
        EXPECT_TRUE(std::equal(kLamp, kLamp + 3, over(kLampX, kLampY))) << space;
    }
}

TEST_F(ColorSpacesTest, ColoursArePickedInTheSpaceForKeying) {
    const std::string spaces = " --ocio aces.ocio --colorspace ACEScg";
    EXPECT_EQ(Json("pick aces.exr" + spaces)["key-color"], Json("pick in.png")["key-color"]);
    EXPECT_EQ(Json("pick aces.exr --at 5,5" + spaces)["key-color"],
              Json("pick in.png --at 5,5")["key-color"]);
    EXPECT_NE(Json("pick aces.exr --at 5,5")["key-color"],
              Json("pick in.png --at 5,5")["key-color"]);
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
          {"pick in.png --colorspace ACEScc --ocio aces.ocio", 1, "has no colour space ACEScc"},
          {"pick in.png --key-space ACEScg", 2, "without --colorspace"},
          {plain + "--background in.png --background-space srgb_tx", 2, "without --colorspace"},
          {key_ + "--colorspace ACEScg --background-space srgb_tx", 2, "needs a --background"},
          {key_ + "--colorspace ACEScg --background in.png --background-space sRGB", 1,
           "has no colour space sRGB; the nearest it has: srgb_tx"},
          {key_ + "--colorspace ACEScg --transfer none", 2, "exclude each other"},
          {"key in.png aces.ocio --colorspace srgb_tx --ocio aces.ocio", 2,
           "aces.ocio is a source"}})
        ExpectRefused(status, arguments, {message});
}

}  // namespace
}  // namespace veltrane
