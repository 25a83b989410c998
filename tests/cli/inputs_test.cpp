#include <OpenImageIO/imagebuf.h>

#include "command.h"
#include "settings/frame_keyer.h"
#include "shapes/shape_file.h"

namespace veltrane {
namespace {

constexpr int kWidth = 64, kHeight = 48;

using shapes::Levels;

/// Soft to hard from left to right, moved by the frame's number.
Levels Drawn(int number) {
    Levels levels;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const int level = 9000 * (i % kWidth - 20 - number) + 300 * (i / kWidth);
        levels.push_back(std::uint16_t(std::clamp(level, 0, 65535)));
    }
    return levels;
}

/// A picture of these values, of which the alpha or else the grey are the levels. Where alpha holds
/// them, red tells something else.
void WriteMatte(const std::string& path, const Levels& levels, bool inAlpha, bool opaqueAlpha) {
    const int channels = inAlpha || opaqueAlpha ? 4 : 1;
    OIIO::ImageBuf picture(OIIO::ImageSpec(kWidth, kHeight, channels, OIIO::TypeDesc::FLOAT));
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const float level = levels[i] / 65535.0f;
        const float last = opaqueAlpha ? 1 : level;
        const float pixel[] = {inAlpha ? 0.5f : level, level, level, last};
        picture.setpixel(i % kWidth, i / kWidth, 0, pixel);
    }
    picture.set_write_format(OIIO::TypeDesc::UINT16);
    ASSERT_TRUE(picture.write(path)) << picture.geterror();
}

media::Pixels KeyedWith(const Settings& s, const media::Frame& source,
                        const KeyInputs<std::uint16_t>& inputs) {
    media::Pixels result(source.pixels.size());
    Key<std::uint16_t>(s, source.width, source.height, {source.pixels.data()}, {result.data()}, {},
                       inputs);
    return result;
}

TEST_F(CommandTest, MattesAreLumaOrAlphaOfPicturesAndCutEveryFrame) {
    const Levels garbage = Drawn(1), core = Drawn(-9);
    WriteMatte("garbage.png", garbage, false, false);
    WriteMatte("opaque.png", garbage, false, true);
    WriteMatte("core.tif", core, true, false);
    const KeyInputs<std::uint16_t> inputs{{}, {garbage.data()}, {core.data()}};
    WriteFrames(3);
    const std::string color = " --key-color #40b838 ";
    for (const std::string garbageFile : {"garbage.png", "opaque.png"}) {
        Run("key f.#.png o.#.png --core core.tif --garbage " + garbageFile + color);
        for (int i = 1; i <= 3; ++i) {
            const auto result = media::ReadFrame("o." + std::to_string(i) + ".png", 1).pixels;
            EXPECT_EQ(result, KeyedWith(green_, Picture(i), inputs)) << garbageFile << i;
        }
    }
    Settings asSource = green_;
    asSource.coreColor = CoreColor::Source;
    Run("key in.png out.png --core core.tif --core-color source" + color);
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels,
              KeyedWith(asSource, source_, {{}, {}, {core.data()}}));
}

TEST_F(CommandTest, SequencesGoAlongByNumberAndVideosByPlace) {
    for (int i = 1; i <= 5; ++i) {
        Write("s." + std::to_string(10 + i) + ".png", Picture(i));
        WriteMatte("m." + std::to_string(10 + i) + ".png", Drawn(i), false, false);
    }
    Run("key m.#.png m.mkv --view source");
    WriteMatte("m.9.png", Drawn(9), false, false);  // the first, but of another number
    const std::string options = " --key-color #40b838 --frames 12-14 --threads 3 --garbage ";
    for (const std::string matte : {"m.#.png", "m.mkv"}) {
        Run("key s.#.png o.mkv" + options + matte);
        for (int i = 1; i <= 3; ++i) {
            const Levels drawn = Drawn(1 + i);
            EXPECT_EQ(media::ReadFrame("o.mkv", i).pixels,
                      KeyedWith(green_, Picture(1 + i), {{}, {drawn.data()}, {}}))
                << matte << i;
        }
    }
    fs::remove("m.15.png");
    ExpectRefused(1, "key s.#.png o.#.png --core m.#.png",
                  {"core matte m.#.png", "9 to 14", "11 to 15"});
    fs::remove("m.12.png");
    ExpectRefused(1, "key s.#.png o.#.png --core m.#.png --frames 11-14",
                  {"m.#.png", "missing: 12"});
}

TEST_F(CommandTest, ShapesOfOneFileServeAsGarbageAndCore) {
    std::ofstream("roto.svg")
        << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 64 48'>"
           "<g data-frame='1'><rect class='garbage' width='9' height='48'/></g>"
           "<g data-frame='3'><rect class='garbage' width='19' height='48'/></g>"
           "<ellipse class='core' cx='32' cy='30' rx='9' ry='12' "
           "data-feather='5'/></svg>";
    WriteFrames(3);
    Run("key f.#.png o.#.png --key-color #40b838 --garbage roto.svg --core roto.svg");
    const shapes::ShapeFile garbage("roto.svg", kWidth, kHeight, shapes::Purpose::kGarbage);
    const shapes::ShapeFile core("roto.svg", kWidth, kHeight, shapes::Purpose::kCore);
    for (int i = 1; i <= 3; ++i) {
        const Levels out = shapes::Draw(garbage.At(i), kWidth, kHeight);
        const Levels in = shapes::Draw(core.At(i), kWidth, kHeight);
        EXPECT_EQ(out[3 + 5 * i], 65535);
        EXPECT_EQ(out[4 + 5 * i], 0);
        EXPECT_EQ(media::ReadFrame("o." + std::to_string(i) + ".png", 1).pixels,
                  KeyedWith(green_, Picture(i), {{}, {out.data()}, {in.data()}}));
    }
    ExpectRefused(2, "key f.1.png roto.svg --core roto.svg", {"source of this call"});
}

TEST_F(CommandTest, TheModelledPlateIsSavedAndGivenBackToTheBit) {
    WriteFrames(3);
    const std::string color = " --key-color #40b838 ";
    Run("key f.#.png o.mkv --save-plate plates.mkv" + color);
    Run("key f.#.png again.mkv --clean-plate plates.mkv" + color);
    Run("key f.#.png o.#.png --save-plate plate.png" + color);
    const Outcome back = Run("key f.1.png again.png --clean-plate plate.png" + color);
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(media::ReadFrame("again.mkv", i).pixels, Keyed(green_, Picture(i))) << i;
    EXPECT_EQ(media::ReadFrame("again.png", 1).pixels, Keyed(green_, Picture(1)));
    EXPECT_NE(back.error.find("clean plate plate.png: 64 x 48, 100 % looks like screen"),
              std::string::npos)
        << back.error;
}

TEST_F(CommandTest, PlatesAreMatchedFrameByFrame) {
    Run("key in.png o.png --key-color #40b838 --save-plate plate.png");
    for (int i = 1; i <= 3; ++i) {
        media::Frame flicker = Picture(i);
        for (std::size_t n = 0; n < flicker.pixels.size(); ++n)
            if (n % 4 != 3) flicker.pixels[n] = flicker.pixels[n] * (10 - i) / 10;
        Write("f." + std::to_string(i) + ".png", flicker);
    }
    const std::string key = "key f.#.png o.#.png --key-color #40b838 --clean-plate plate.png";
    const auto meanMatte = [](int frame) {
        const auto pixels = media::ReadFrame("o." + std::to_string(frame) + ".png", 1).pixels;
        double sum = 0;
        for (std::size_t n = 3; n < pixels.size(); n += 4) sum += pixels[n];
        return sum / 65535 / (kWidth * kHeight);
    };
    const auto plate = Json(key)["clean-plate"];
    const double lit = 0.6, seen = plate["gain"][1].get<double>() * lit;
    EXPECT_NEAR(seen + plate["offset"][1].get<double>(), 0.9 * lit, 0.01);
    EXPECT_GT(plate["screen"].get<double>(), 0.95);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "--match-shade", Run(key).error);
    const double darkened = meanMatte(3);
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "--match", Run(key + " --match-plate").error);
    const double subject = 0.39 * 2 / 3;  // of Picture's area
    EXPECT_NEAR(meanMatte(1), subject, 0.02);
    EXPECT_NEAR(meanMatte(3), meanMatte(1), 0.01);
    EXPECT_GT(darkened, meanMatte(3) + 0.03);  // taken for a shadow
    Run(key + " --match-shade");
    EXPECT_NEAR(meanMatte(1), subject, 0.02);
    EXPECT_NEAR(meanMatte(3), meanMatte(1), 0.01);
}

}  // namespace
}  // namespace veltrane
