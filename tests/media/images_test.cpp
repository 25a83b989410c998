#include <OpenImageIO/imageio.h>

#include <cmath>
#include <limits>

#include "media/transfer.h"
#include "media_support.h"

namespace veltrane::media {
namespace {

using ImagesTest = MediaTest;

/// Writes a file by the image library alone, so that what it holds is known.
template <typename Sample>
void WriteImage(const std::string& path, OIIO::ImageSpec spec, const std::vector<Sample>& samples) {
    const auto output = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(output && output->open(path, spec)) << OIIO::geterror();
    ASSERT_TRUE(output->write_image(OIIO::BaseTypeFromC<Sample>::value, samples.data()));
    ASSERT_TRUE(output->close());
}

std::vector<float> ReadFloats(const std::string& path, OIIO::ImageSpec& spec) {
    const auto input = OIIO::ImageInput::open(path);
    spec = input->spec();
    std::vector<float> samples(spec.image_pixels() * spec.nchannels);
    EXPECT_TRUE(input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::FLOAT, samples.data()));
    return samples;
}

TEST(Transfer, EveryWorkingValueSurvivesBothCurves) {
    for (Transfer transfer : {Transfer::Linear, Transfer::None}) {
        const TransferCurve& curve = TransferCurve::For(transfer);
        for (int k = 0; k <= 65535; ++k) {
            const auto working = static_cast<std::uint16_t>(k);
            ASSERT_EQ(curve.ToWorking(curve.ToStored(working)), k);
        }
    }
}

TEST(Transfer, IsTheNearestValueOfThePiecewiseCurve) {
    const TransferCurve& curve = TransferCurve::For(Transfer::Linear);
    std::mt19937 random(5);
    for (int i = 0; i < 200000; ++i) {
        const float x = std::ldexp(static_cast<float>(random()), -32 - static_cast<int>(i % 24));
        const double encoded =
            x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(double{x}, 1 / 2.4) - 0.055;
        ASSERT_NEAR(curve.ToWorking(x), encoded * 65535, 0.502) << x;
    }
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(curve.ToWorking(-1.0f), 0);
    EXPECT_EQ(curve.ToWorking(-infinity), 0);
    EXPECT_EQ(curve.ToWorking(std::nanf("")), 0);
    EXPECT_EQ(curve.ToWorking(7.5f), 65535);
    EXPECT_EQ(curve.ToWorking(infinity), 65535);
}

TEST_F(ImagesTest, IntegerFormatsKeepEveryBitAndColourUnderAlphaZero) {
    const Frame frame = RandomFrame(61, 37, 1);
    for (const char* name : {"a.png", "a.tif", "a.TIFF"}) {
        Write(Path(name), frame);
        const Frame back = ReadFrame(Path(name), 1);
        EXPECT_EQ(back.pixels, frame.pixels) << name;
        const Info info = Open(Path(name))->info();
        EXPECT_EQ(info.kind, Kind::Still);
        EXPECT_TRUE(info.hasAlpha && info.bits == 16 && !info.isFloat) << info.pixels;
    }
}

TEST_F(ImagesTest, ExrIsLinearAndPremultipliedAndKeepsSixteenBits) {
    const Frame frame = RandomFrame(50, 20, 2);
    Write(Path("a.exr"), frame);
    const Frame back = ReadFrame(Path("a.exr"), 1);
    OIIO::ImageSpec spec;
    const std::vector<float> stored = ReadFloats(Path("a.exr"), spec);
    for (std::size_t i = 0; i < frame.pixels.size(); i += 4) {
        const int alpha = frame.pixels[i + 3];
        ASSERT_EQ(back.pixels[i + 3], alpha);
        for (std::size_t c = 0; c < 3; ++c) {
            ASSERT_EQ(back.pixels[i + c], alpha == 0 ? 0 : frame.pixels[i + c]);
            const double v = frame.pixels[i + c] / 65535.0;
            const double linear = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
            ASSERT_NEAR(stored[i + 2 - c], linear * alpha / 65535.0, 2e-7);
        }
    }
}

TEST_F(ImagesTest, HalfSourceGivesHalfWithinItsPrecision) {
    OIIO::ImageSpec spec(64, 1, 4, OIIO::TypeDesc::HALF);
    WriteImage(Path("h.exr"), spec, std::vector<float>(64 * 4, 0.25f));
    const Frame source = ReadFrame(Path("h.exr"), 1);
    const Frame frame = RandomFrame(64, 1, 3);
    const auto writer = Create(Path("out.exr"), {}, Open(Path("h.exr"))->info());
    writer->Append(*writer->Encode(frame, source));
    writer->Finish();
    const Frame back = ReadFrame(Path("out.exr"), 1);
    EXPECT_EQ(Open(Path("out.exr"))->info().pixels, "half RGBA, premultiplied, scene-linear");
    // A half has 11 significant bits: alpha is off by at most half of 2^-11 of itself.
    EXPECT_LE(MaxDifference(frame, back, 3, 3), 65535 / 4096 + 1);
}

TEST_F(ImagesTest, FloatOriginalsComeBackWhereNothingChanged) {
    const std::vector<float> stored = {17.25f, -0.125f, 1e-7f, 0.1234567f, 0.7f, 0.3f,
                                       2.5f,   0.5f,    0.25f, 0.1f,       0.2f, 0.9f};
    for (const char* name : {"f.exr", "f.tif"}) {
        WriteImage(Path(name), OIIO::ImageSpec(4, 1, 3, OIIO::TypeDesc::FLOAT), stored);
        const Frame source = ReadFrame(Path(name), 1);
        Frame result = source;
        result.pixels[8 + 1] ^= 256;
        result.pixels[12 + 3] = 32768;
        const auto writer = Create(Path("out.exr"), {}, Open(Path(name))->info());
        writer->Append(*writer->Encode(result, source));
        writer->Finish();
        OIIO::ImageSpec spec;
        const std::vector<float> back = ReadFloats(Path("out.exr"), spec);
        if (std::string(name) == "f.tif") {
            // Display-referred floats become linear ones by the curve, also beyond 0..1.
            EXPECT_NEAR(back[0], std::pow((17.25 + 0.055) / 1.055, 2.4), 1e-3);
            EXPECT_NEAR(back[1], -std::pow((0.125 + 0.055) / 1.055, 2.4), 1e-8);
            EXPECT_NEAR(back[2], 1e-7 / 12.92, 1e-15);
            continue;
        }
        for (int i = 0; i < 2; ++i) {
            for (int c = 0; c < 3; ++c) EXPECT_EQ(back[i * 4 + c], stored[i * 3 + c]);
        }
        EXPECT_EQ(back[2 * 4], 1.0f) << "a changed pixel holds the working value";
        EXPECT_NEAR(back[3 * 4 + 2], 0.9 * 32768 / 65535, 1e-4) << "a translucent one too";
    }
}

TEST_F(ImagesTest, TransferAndAssociationCanBeChosen) {
    WriteImage(Path("a.exr"), OIIO::ImageSpec(1, 1, 4, OIIO::TypeDesc::FLOAT),
               std::vector<float>{0.1f, 0.2f, 0.25f, 0.5f});
    const auto first = [&](Transfer transfer, Association association) {
        return ReadFrame(Path("a.exr"), 1, {transfer, association, {}}).pixels;
    };
    const auto level = [](double v) { return static_cast<std::uint16_t>(v * 65535 + 0.5); };
    using Pixels = std::vector<std::uint16_t>;
    EXPECT_EQ(first(Transfer::None, Association::Straight),
              (Pixels{level(0.25), level(0.2), level(0.1), 32768}));
    EXPECT_EQ(first(Transfer::None, Association::Automatic),
              (Pixels{level(0.5), level(0.4), level(0.2), 32768}));
    // The curve at 0.5 is 0.735357, at 0.4 0.665185, at 0.2 0.484529.
    const Pixels linear = first(Transfer::Automatic, Association::Automatic);
    EXPECT_NEAR(linear[0], 0.735357 * 65535, 1);
    EXPECT_NEAR(linear[1], 0.665185 * 65535, 1);
    EXPECT_NEAR(linear[2], 0.484529 * 65535, 1);

    Frame frame = RandomFrame(1, 1, 1);
    frame.pixels = {40000, 20000, 10000, 32768};
    WriteOptions options;
    options.association = Association::Premultiplied;
    for (const char* name : {"p.png", "p.tif"}) {
        Write(Path(name), frame, options);
        ReadOptions asStored;
        asStored.association = Association::Straight;
        EXPECT_EQ(ReadFrame(Path(name), 1, asStored).pixels, (Pixels{20000, 10000, 5000, 32768}));
    }
    EXPECT_NEAR(ReadFrame(Path("p.tif"), 1).pixels[0], 40000, 1) << "the tag tells";
}

TEST_F(ImagesTest, EveryChannelLayoutIsUnderstood) {
    using Pixels = std::vector<std::uint16_t>;
    const std::vector<std::uint16_t> samples = {1000, 2000, 3000, 4000};
    const Pixels expected[] = {{1000, 1000, 1000, 65535},
                               {1000, 1000, 1000, 2000},
                               {3000, 2000, 1000, 65535},
                               {3000, 2000, 1000, 4000}};
    for (int channels = 1; channels <= 4; ++channels) {
        OIIO::ImageSpec spec(1, 1, channels, OIIO::TypeDesc::UINT16);
        spec.attribute("oiio:UnassociatedAlpha", 1);
        WriteImage(Path("c.png"), spec, samples);
        EXPECT_EQ(ReadFrame(Path("c.png"), 1).pixels, expected[channels - 1]);
    }
    OIIO::ImageSpec layers(1, 1, 6, OIIO::TypeDesc::FLOAT);
    layers.channelnames = {"A", "B", "G", "R", "depth.Z", "glow.R"};
    layers.alpha_channel = 0;
    WriteImage(Path("l.exr"), layers, std::vector<float>{1, 0.75f, 0.5f, 0.25f, 9, 8});
    ReadOptions raw;
    raw.transfer = Transfer::None;
    EXPECT_EQ(ReadFrame(Path("l.exr"), 1, raw).pixels, (Pixels{49151, 32768, 16384, 65535}));
    std::vector<std::uint8_t> bytes(256 * 3);
    for (int i = 0; i < 256 * 3; ++i) bytes[i] = static_cast<std::uint8_t>(i / 3);
    WriteImage(Path("b.png"), OIIO::ImageSpec(256, 1, 3, OIIO::TypeDesc::UINT8), bytes);
    const Frame frame = ReadFrame(Path("b.png"), 1);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(frame.pixels[i * 4], i * 257);
}

TEST_F(ImagesTest, OrientationIsAppliedOnce) {
    // The stored picture is "1 2 3" above "4 5 6"; what each orientation shows is in the standard.
    const char* shown[] = {"123456", "321654", "654321", "456123",
                           "142536", "415263", "635241", "362514"};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        OIIO::ImageSpec spec(3, 2, 1, OIIO::TypeDesc::UINT16);
        spec.attribute("Orientation", orientation);
        WriteImage(Path("o.tif"), spec, std::vector<std::uint16_t>{1, 2, 3, 4, 5, 6});
        const Frame frame = ReadFrame(Path("o.tif"), 1);
        std::string text;
        for (std::size_t i = 0; i < frame.pixels.size(); i += 4) {
            text += static_cast<char>('0' + frame.pixels[i]);
        }
        EXPECT_EQ(text, shown[orientation - 1]) << orientation;
        EXPECT_EQ(frame.width, orientation < 5 ? 3 : 2);
        Write(Path("again.tif"), frame);
        EXPECT_EQ(ReadFrame(Path("again.tif"), 1).pixels, frame.pixels);
    }
}

TEST_F(ImagesTest, DataWindowIsPlacedInTheDisplayWindow) {
    OIIO::ImageSpec spec(3, 2, 3, OIIO::TypeDesc::FLOAT);
    spec.x = 12;
    spec.y = 19;
    spec.full_x = 10;
    spec.full_y = 20;
    spec.full_width = 4;
    spec.full_height = 3;
    WriteImage(Path("w.exr"), spec, std::vector<float>(3 * 2 * 3, 1.0f));
    const Frame frame = ReadFrame(Path("w.exr"), 1);
    ASSERT_EQ(frame.width * 10 + frame.height, 43);
    for (int i = 0; i < 12; ++i) {
        const bool inside = i == 2 || i == 3;
        EXPECT_EQ(frame.pixels[i * 4], inside ? 65535 : 0) << i;
        EXPECT_EQ(frame.pixels[i * 4 + 3], inside ? 65535 : 0) << i;
    }
    const auto writer = Create(Path("out.exr"), {}, Open(Path("w.exr"))->info());
    writer->Encode(frame, frame);
    OIIO::ImageSpec written;
    ReadFloats(Path("out.exr"), written);
    EXPECT_EQ(written.full_x * 100 + written.full_y, 1020);
}

TEST_F(ImagesTest, MetadataIsCarriedOverWithoutWhatIsStale) {
    OIIO::ImageSpec spec(2, 3, 3, OIIO::TypeDesc::HALF);
    spec.attribute("Artist", "someone");
    spec.attribute("focus", 2.5f);
    spec.attribute("compression", "dwaa");
    spec.attribute("Orientation", 6);
    WriteImage(Path("m.exr"), spec, std::vector<float>(18, 0.5f));
    const auto reader = Open(Path("m.exr"));
    const Frame frame = reader->Decode(*reader->Fetch());
    Create(Path("out.exr"), {}, reader->info())->Encode(frame, frame);
    OIIO::ImageSpec written;
    ReadFloats(Path("out.exr"), written);
    EXPECT_EQ(written.get_string_attribute("Artist"), "someone");
    EXPECT_EQ(written.get_float_attribute("focus"), 2.5f);
    EXPECT_EQ(written.get_string_attribute("compression"), "zip");
    EXPECT_EQ(written.get_int_attribute("Orientation", 1), 1);
    EXPECT_EQ(written.width * 10 + written.height, 32) << "a turned picture is stored as shown";
}

TEST_F(ImagesTest, DpxAndJpegAreRead) {
    std::vector<std::uint16_t> samples;
    for (int i = 0; i < 1024; ++i)
        samples.insert(samples.end(), 3, static_cast<std::uint16_t>(i << 6 | i >> 4));
    OIIO::ImageSpec spec(1024, 1, 3, OIIO::TypeDesc::UINT16);
    spec.attribute("oiio:BitsPerSample", 10);
    WriteImage(Path("d.dpx"), spec, samples);
    const Frame ramp = ReadFrame(Path("d.dpx"), 1);
    for (int i = 0; i < 1024; ++i) ASSERT_NEAR(ramp.pixels[i * 4], i * 65535.0 / 1023, 1);
    EXPECT_EQ(Open(Path("d.dpx"))->info().bits, 10);

    Ffmpeg("-i d.dpx -pix_fmt gbrp10be f.dpx");
    Write(Path("f.exr"), ReadFrame(Path("f.dpx"), 1));
    EXPECT_EQ(MaxDifference(ReadFrame(Path("f.exr"), 1), ReadFrame(Path("f.dpx"), 1), 0, 3), 0);
    for (const char* name : {"d.dpx", "f.dpx"}) {
        Cut(name, 0.98);
        EXPECT_EQ(ErrorOf([&] { ReadFrame(Path(name), 1); }),
                  Path(name) + ": breaks off before its end");
    }

    const Frame still = ReadFrame(VELTRANE_SAMPLES "/still.jpg", 1);
    EXPECT_EQ(still.width, 1920);
    WriteOptions opaque;
    opaque.opaque = true;
    Write(Path("s.jpg"), still, opaque);
    EXPECT_LE(MaxDifference(still, ReadFrame(Path("s.jpg"), 1), 0, 3), 40 * 257);
    EXPECT_NE(
        ErrorOf([&] { Write(Path("s.jpg"), still); }).find("cannot hold alpha; these can: mov"),
        std::string::npos);
}

TEST_F(ImagesTest, DamagedImagesAreRefusedByName) {
    const Frame frame = RandomFrame(64, 64, 9);
    WriteOptions opaque;
    opaque.opaque = true;
    for (const char* name : {"d.png", "d.tif", "d.exr", "d.jpg"}) {
        Write(Path(name), frame, opaque);
        for (double share : {0.9, 0.5, 0.01}) {
            Cut(name, share);
            const std::string error = ErrorOf([&] { ReadFrame(Path(name), 1); });
            EXPECT_EQ(error.rfind(Path(name) + ": ", 0), 0u) << name << share << error;
            EXPECT_EQ(error.find('\n'), std::string::npos);
        }
    }
    Write(Path("bit.png"), frame);
    std::fstream file(Path("bit.png"), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(1000).put('\x55').put('\x55');
    file.close();
    EXPECT_EQ(ErrorOf([&] { ReadFrame(Path("bit.png"), 1); }), Path("bit.png") + ": is damaged");
    // A header that asks for gigabytes, with hardly any data behind it.
    Write(Path("huge.png"), frame);
    std::fstream(Path("huge.png"), std::ios::in | std::ios::out | std::ios::binary)
        .seekp(16)
        .write("\0\0\xff\xff\0\0\xff\xff", 8);
    EXPECT_EQ(ErrorOf([&] { ReadFrame(Path("huge.png"), 1); }), Path("huge.png") + ": is damaged");
    std::ofstream(Path("text.png")) << "not a picture at all, just a few words of text";
    EXPECT_NE(ErrorOf([&] { Open(Path("text.png")); }), "");
    EXPECT_EQ(ErrorOf([&] { Open(Path("none.png")); }), Path("none.png") + ": no such file");
    EXPECT_NE(ErrorOf([&] { Open(folder_.string()); }).find("is a folder"), std::string::npos);
}

TEST_F(ImagesTest, BackgroundFillsTheFrame) {
    // Three columns: red, green, blue, of equal width; a tall cut shows green alone.
    Frame picture;
    picture.width = 90;
    picture.height = 60;
    for (int i = 0; i < 90 * 60; ++i) {
        for (int c : {2, 1, 0}) picture.pixels.push_back(i % 90 / 30 == 2 - c ? 65535 : 0);
        picture.pixels.push_back(65535);
    }
    for (auto& pixel : picture.pixels) pixel = pixel == 0 ? 0 : 65535;
    Write(Path("b.png"), picture);
    const Frame tall = ReadBackground(Path("b.png"), 40, 240);
    ASSERT_EQ(tall.pixels.size(), 40u * 240 * 4);
    for (std::size_t i = 0; i < tall.pixels.size(); i += 4) {
        ASSERT_EQ(tall.pixels[i] + tall.pixels[i + 1] + tall.pixels[i + 2], 65535);
        ASSERT_EQ(tall.pixels[i + 1] + tall.pixels[i + 3], 2 * 65535);
    }
    const Frame same = ReadBackground(Path("b.png"), 90, 60);
    EXPECT_LE(MaxDifference(same, picture, 0, 3), 1);
}

}  // namespace
}  // namespace veltrane::media
