#include <OpenImageIO/imagebuf.h>
#include <malloc.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <numeric>

#include "media/sequence_path.h"
#include "media/transfer.h"
#include "media_support.h"

namespace veltrane::media {
namespace {

double Linear(double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

TEST(Transfer, IsTheNearestValueOfTheCurveAndComesBack) {
    const TransferCurve &curve = TransferCurve::For(Transfer::Linear),
                        &plain = TransferCurve::For(Transfer::None);
    for (int k = 0; k <= 65535; ++k) {
        const float stored = curve.ToStored(std::uint16_t(k));
        ASSERT_NEAR(stored, Linear(k / 65535.0), 1e-7);
        ASSERT_EQ(curve.ToWorking(stored), k);
        for (const double beside : {-0.49, 0.49}) {
            const double value = std::max((k + beside) / 65535, 0.0);
            ASSERT_EQ(curve.ToWorking(float(Linear(value))), k);
            ASSERT_EQ(plain.ToWorking(float(value)), k);
        }
    }
    const float infinity = std::numeric_limits<float>::infinity();
    for (float low : {-1.0f, -infinity, std::nanf("")}) EXPECT_EQ(curve.ToWorking(low), 0);
    for (float high : {7.5f, infinity}) EXPECT_EQ(curve.ToWorking(high), 65535);
}

TEST_F(ImagesTest, FloatOriginalsComeBackWhereNothingChanged) {
    const std::vector<float> values = {17.25f, -0.125f, 1e-7f, 0.1234567f, 0.7f, 0.3f,
                                       2.5f,   0.5f,    0.25f, -0.5f,      1.5f, 0.9f};
    const Conversion keyed{.change = [](Frame& frame) {
        frame.pixels[8 + 1] ^= 256;
        frame.pixels[12 + 3] = 32768;
    }};
    Store("f.exr", ImageSpec(4, 1, 3, TypeDesc::FLOAT), values);
    Convert("f.exr", "o.exr", keyed);
    const std::vector<float> back = Stored("o.exr");
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(back[i + i / 3], values[i]);
    EXPECT_EQ(back[8], 2.5f) << "a changed pixel holds the working value and what lies beyond";
    EXPECT_NEAR(back[9], 0.5, 0.01);
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(back[12 + c], values[9 + c] * 32768 / 65535, 1e-4) << "a translucent one too";
    // Display-referred floats become linear ones by the curve, also beyond 0..1.
    Store("f.tif", ImageSpec(4, 1, 3, TypeDesc::FLOAT), values);
    Convert("f.tif", "o.exr", keyed);
    EXPECT_NEAR(Stored("o.exr")[0], Linear(17.25), 1e-3);
    EXPECT_NEAR(Stored("o.exr")[1], -Linear(0.125), 1e-8);
    Store("h.exr", ImageSpec(4, 1, 3, TypeDesc::HALF), values);
    Convert("h.exr", "o.exr", keyed);
    EXPECT_EQ(Open(Path("o.exr"))->info().pixels, "half RGBA, premultiplied, scene-linear");
    EXPECT_EQ(Stored("o.exr")[0], 17.25f);
}

TEST_F(ImagesTest, OrientationAndRotationAreAppliedOnce) {
    // The stored picture is "1 2 3" above "4 5 6"; what each orientation shows is in the standard.
    const char* shown[] = {"123456", "321654", "654321", "456123",
                           "142536", "415263", "635241", "362514"};
    const auto check = [&](const char* name, int orientation) {
        const Frame frame = ReadFrame(Path(name), 1);
        std::string digits;
        for (std::size_t i = 0; i < 24; i += 4) digits += std::to_string(frame.pixels[i] / 257);
        EXPECT_EQ(digits, shown[orientation - 1]) << name << orientation;
        EXPECT_EQ(frame.width, orientation < 5 ? 3 : 2);
    };
    for (int orientation = 8; orientation >= 1; --orientation) {
        ImageSpec spec(3, 2, 1, TypeDesc::UINT8);
        spec.attribute("Orientation", orientation);
        Store("o.tif", spec, std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6});
        Convert("o.tif", "again.tif");
        check("o.tif", orientation);
        check("again.tif", orientation);
    }
    Ffmpeg("-i o.tif -c:v png r.mov");
    // Against the clock by a quarter, half and three quarters.
    for (const auto& [angle, orientation] : {std::pair{90, 8}, {180, 3}, {270, 6}}) {
        Ffmpeg("-i r.mov -c copy -metadata:s:v rotate=" + std::to_string(angle) + " t.mov");
        check("t.mov", orientation);
    }
}

TEST_F(ImagesTest, MetadataAndWindowsAreCarriedOver) {
    ImageSpec spec(3, 2, 3, TypeDesc::HALF);
    OIIO::set_roi(spec, OIIO::ROI(12, 15, 19, 21));
    OIIO::set_roi_full(spec, OIIO::ROI(10, 14, 20, 23));
    spec.attribute("Artist", "someone");
    spec.attribute("DateTime", "2001:02:03 04:05:06");
    spec.attribute("compression", "dwaa");
    Store("m.exr", spec, std::vector<float>(18, 1.0f));
    const Pixels pixels = ReadFrame(Path("m.exr"), 1).pixels;
    ASSERT_EQ(pixels.size(), 4u * 3 * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        EXPECT_EQ(pixels[i], i / 4 == 2 || i / 4 == 3 ? 65535 : 0) << i;
    for (const char* name : {"o.png", "o.tif", "o.exr"}) {
        Convert("m.exr", name);
        const ImageSpec written = SpecOf(name);
        EXPECT_EQ(written.get_string_attribute("Artist"), "someone") << name;
        if (name[2] == 'p') continue;
        EXPECT_EQ(written.get_string_attribute("DateTime"), "2001:02:03 04:05:06") << name;
        EXPECT_EQ(written.get_string_attribute("compression"), "zip") << name;
        EXPECT_EQ(written.full_x * 100 + written.full_y, name[2] == 'e' ? 1020 : 0);
        // The time of day would make each run's file another.
        Write(name, {MakeFrame(4, 4)});
        EXPECT_FALSE(SpecOf(name).find_attribute("DateTime")) << name;
    }
}

TEST_F(ImagesTest, MetadataOfEveryLengthIsCarriedOrLeftOut) {
    for (const std::size_t length : {0u, 1u, 65'530u, 300'000u})
        for (const char letter : {'x', '&'}) {
            ImageSpec spec(2, 2, 3, TypeDesc::UINT16);
            const std::string text(length, letter), few(text, 0, 5000);
            for (const char* name : {"ImageDescription", "IPTC:Caption", "Exif:UserComment", "own"})
                spec.attribute(name, text);
            for (const char* name : {"Artist", "Copyright", "  odd\n"}) spec.attribute(name, few);
            spec.attribute(std::string(200, 'n'), few);
            for (const char* from : {"m.exr", "m.png", "m.tif"}) {
                if (length == 0 && from[2] == 't') continue;
                Store(from, spec, std::vector<std::uint16_t>(12));
                for (const char* to : {"o.jpg", "o.png", "o.tif", "o.exr"}) {
                    Convert(from, to, {.write = {.opaque = true}});
                    const ImageSpec written = SpecOf(to);
                    if (to[2] == 'j' && (length >= 5000 || letter == '&')) continue;
                    // A TIFF holds it a second time, in a field of at most 64 kB.
                    const std::string back = written.get_string_attribute("ImageDescription");
                    EXPECT_GE(back.size(), std::min<std::size_t>(length, 65535)) << from << to;
                    EXPECT_TRUE(text.starts_with(back)) << from << to << length;
                }
            }
        }
}

TEST_F(ImagesTest, ColourProfilesOfEveryLengthComeBack) {
    for (const int length : {200, 65518, 65520, 200'000}) {
        std::vector<std::uint16_t> profile(std::size_t(length) / 2);
        std::iota(profile.begin(), profile.end(), 0);
        ImageSpec spec(2, 2, 3, TypeDesc::UINT16);
        const TypeDesc type(TypeDesc::UINT8, length);
        spec.attribute("ICCProfile", type, profile.data());
        Store("m.tif", spec, std::vector<std::uint16_t>(12));
        for (const char* name : {"o.jpg", "o.tif"}) {
            Convert("m.tif", name, {.write = {.opaque = true}});
            const ImageSpec written = SpecOf(name);
            const OIIO::ParamValue* found = written.find_attribute("ICCProfile", type);
            ASSERT_TRUE(found) << name << length;
            EXPECT_EQ(std::memcmp(found->data(), profile.data(), length), 0) << name << length;
        }
    }
}

// Large and noisy enough for several chunks of pixels, with rows of an odd length.
TEST_F(ImagesTest, OtherProgramsReadOurFiles) {
    using Method = Compression::Method;
    const std::pair<std::string, Method> files[] = {{"o.png", Method::Automatic},
                                                    {"o.tif", Method::Automatic},
                                                    {"o.tif", Method::Lzw},
                                                    {"o.tif", Method::None}};
    for (const auto& [name, method] : files) {
        Frame frame = MakeFrame(701, 403);
        std::mt19937 random(1);
        for (std::uint16_t& sample : frame.pixels) sample ^= random() & 1023;
        for (const bool opaque : {false, true}) {
            const WriteOptions options{.opaque = opaque, .compression = {method, {}}};
            Create(Path("2." + name), options, InfoFor(frame))->Encode(frame, frame, Lent(3));
            Write(name, {frame}, options);
            EXPECT_TRUE(Bytes(name) == Bytes("2." + name)) << "the same by any number of threads";
            EXPECT_GT(Bytes(name).size(), std::size_t{1} << 19);
            EXPECT_EQ(SpecOf(name).get_string_attribute("oiio:ColorSpace"), "sRGB");
            for (std::size_t i = 3; opaque && i < frame.pixels.size(); i += 4)
                frame.pixels[i] = 65535;
            ExpectAsStored(name, frame.pixels);
        }
    }
}

// What the library is left out of has to come out as by the library; with Exif or a key code it
// helps, without them it does not.
TEST_F(ImagesTest, MetadataIsWhatTheImageLibraryFinds) {
    for (const bool packed : {false, true}) {
        ImageSpec spec(3, 2, 3, TypeDesc::UINT16);
        for (const char* name : {"Artist", "Copyright", "DocumentName", "ImageDescription", "Make",
                                 "Model", "HostComputer"})
            spec.attribute(name, std::string("some ") + name);
        spec.attribute("DateTime", "2001:02:03 04:05:06");
        spec.attribute("XResolution", 72.0f);
        spec.attribute("YResolution", 36.0f);
        spec.attribute("ResolutionUnit", "cm");
        const unsigned timecode[] = {0x01020304, 5};
        spec.attribute("smpte:TimeCode", OIIO::TypeTimeCode, timecode);
        const int keycode[] = {1, 2, 3, 4, 5, 4, 64};
        if (packed) spec.attribute("smpte:KeyCode", OIIO::TypeKeyCode, keycode);
        if (packed) spec.attribute("Exif:FNumber", 2.8f);
        for (const std::string name : {"m.png", "m.tif", "m.dpx"}) {
            Store(name, spec, std::vector<std::uint16_t>(18));
            const ImageSpec stored = SpecOf(name);
            const auto reader = Open(Path(name));
            std::size_t found = 0;
            for (const auto& [key, value] : reader->info().metadata) {
                const OIIO::ParamValue* attribute = stored.find_attribute(key);
                ASSERT_TRUE(attribute) << name << key;
                EXPECT_EQ(value, attribute->get_string()) << name << key;
                ++found;
            }
            for (const char* key :
                 {"Artist", "Copyright", "DocumentName", "ImageDescription", "Make", "Model",
                  "HostComputer", "DateTime", "XResolution", "YResolution", "ResolutionUnit",
                  "PixelAspectRatio", "smpte:TimeCode", "smpte:KeyCode", "Exif:FNumber"})
                if (stored.find_attribute(key)) --found;
            EXPECT_EQ(found, 0u) << name;
        }
    }
}

struct Format {
    const char* name;
    bool alpha = true;
    int alphaBound = 0;   ///< largest error, of 65535
    int colourBound = 0;  ///< the same
};

// ProRes: alpha is given 10 bits and read back with 12. VP9 and the formats without alpha hold 8.
constexpr Format kFormats[] = {{"a.#.png"},
                               {"a.#.TIFF"},
                               {"a.#.exr"},
                               {"a.mkv"},
                               {"a.mov", true, 48, 1000},
                               {"a.webm", true, 3 * 257, 6000},
                               {"a.mp4", false, 0, 6000},
                               {"a.#.jpg", false, 0, 3000}};

TEST_F(MediaTest, FramesComeBackWithAndWithoutAlpha) {
    for (const Format& format : kFormats)
        for (bool opaque : {false, true}) {
            const std::string name = format.name;
            const int odd = name == "a.mp4" ? 0 : 1;
            std::vector<Frame> frames;
            for (int n : {1, 2, 3}) frames.push_back(MakeFrame(64 - odd, 48 - odd, n));
            const auto write = [&] { Write(name, frames, {.opaque = opaque}); };
            if (!opaque && !format.alpha) {
                EXPECT_PRED_FORMAT2(IsSubstring, "cannot hold alpha; these can", ErrorOf(write));
                continue;
            }
            write();
            const std::vector<Frame> back = Read(name);
            ASSERT_EQ(back.size(), 3u) << name;
            EXPECT_EQ(Open(Path(name))->info().hasAlpha, !opaque) << name;
            for (std::size_t f = 0; f < 3; ++f) {
                EXPECT_EQ(back[f].number, frames[f].number) << name;
                const Pixels& pixels = frames[f].pixels;
                for (std::size_t i = 0; i < pixels.size(); ++i) {
                    const bool hidden = name == "a.#.exr" && !opaque && pixels[i | 3] == 0;
                    const int alpha = opaque ? 65535 : pixels[i | 3];
                    const int expected = i % 4 == 3 ? alpha : hidden ? 0 : pixels[i];
                    const int bound = i % 4 == 3 ? format.alphaBound : format.colourBound;
                    ASSERT_NEAR(back[f].pixels[i], expected, bound) << name;
                }
            }
        }
    EXPECT_EQ(FileCount(), 4u * 3 + 4) << "nothing temporary";
}

TEST_F(MediaTest, StoredColourIsLinearOrMultipliedAsChosen) {
    const struct {
        std::vector<const char*> names;
        Transfer transfer;
        Association association;
        bool linearAndMultiplied;
    } cases[] = {{{"a.png", "a.tif", "a.mkv"}, Transfer::Automatic, Association::Automatic, false},
                 {{"a.exr"}, Transfer::Automatic, Association::Automatic, true},
                 {{"b.png", "b.tif", "b.mkv"}, Transfer::Linear, Association::Premultiplied, true},
                 {{"b.exr"}, Transfer::None, Association::Straight, false}};
    Frame frame = MakeFrame(16, 16);
    for (std::size_t i = 0; i < 1024; ++i)
        frame.pixels[i] = Pixels{50000, 40000, 30000, 32768}[i % 4];
    for (const auto& test : cases)
        for (const char* name : test.names) {
            Write(name, {frame}, {.transfer = test.transfer, .association = test.association});
            const auto read = [&](Transfer transfer, Association association) {
                return ReadFrame(Path(name), 1, {transfer, association, {}}).pixels;
            };
            const Pixels stored = read(Transfer::None, Association::Straight);
            const Pixels back = read(test.transfer, test.association);
            for (std::size_t c = 0; c < 3; ++c) {
                const double value = frame.pixels[c] / 65535.0;
                const double changed = Linear(value) * 32768 / 65535;
                EXPECT_NEAR(stored[c], (test.linearAndMultiplied ? changed : value) * 65535, 1.5);
                EXPECT_NEAR(back[c], frame.pixels[c], 4) << name;
            }
        }
}

// Memory that an encoder reads before it is written would show, as it is filled with other values.
TEST_F(MediaTest, ThreadsAndWhatMemoryHeldDoNotShowInFiles) {
    Ffmpeg("-f lavfi -i testsrc2=s=96x64:r=24:d=0.5 c.mp4");
    Run("mkdir 1 4");
    for (const std::string name :
         {"x.#.png", "x.#.tif", "x.#.exr", "x.mov", "x.mkv", "x.webm", "x.mp4"}) {
        const WriteOptions write{.opaque = name == "x.mp4"};
        mallopt(M_PERTURB, 1);
        Convert("c.mp4", "1/" + name, {.write = write});
        mallopt(M_PERTURB, 200);
        Convert("c.mp4", "4/" + name, {.write = write, .launch = std::launch::async});
    }
    mallopt(M_PERTURB, 0);
    Run("diff -r 1 4 && test $(ls 4 | wc -l) = 40");
}

class SequencesTest : public MediaTest {
protected:
    void WriteNumbers(const std::string& pattern, const Numbers& numbers) {
        std::vector<Frame> frames;
        for (std::int64_t n : numbers) frames.push_back(MakeFrame(8, 6, n));
        Write(pattern, frames);
    }

    /// The numbers of the frames that are read, each of which must hold its own picture.
    Numbers ReadNumbers(const std::string& pattern, const ReadOptions& options = {}) {
        Numbers numbers;
        for (const Frame& frame : Read(pattern, options)) {
            numbers.push_back(frame.number);
            EXPECT_EQ(frame.pixels, MakeFrame(8, 6, frame.number).pixels);
        }
        return numbers;
    }
};

TEST(SequencePath, PatternsAndNumbers) {
    const auto padded = *SequencePath::Parse("dir.#/a.%04d.png");
    EXPECT_EQ(padded.ForNumber(7), "dir.#/a.0007.png");
    EXPECT_EQ(padded.ForNumber(123456), "dir.#/a.123456.png");
    EXPECT_EQ(padded.NumberOf("a.0042.png"), 42);
    for (const char* other : {"a.042.png", "a.01234.png", "a.0042.tif", "b.0042.png", "a.00x2.png"})
        EXPECT_FALSE(padded.NumberOf(other)) << other;
    EXPECT_EQ(SequencePath::Parse("###.exr")->ForNumber(0), "000.exr");
    EXPECT_EQ(SequencePath::Parse("x%d_v2.png")->NumberOf("x10_v2.png"), 10);
    for (const char* none : {"a.png", "a%4d.png", "a%dx#.png", "a#/b.png", "################.png"})
        EXPECT_FALSE(SequencePath::Parse(none)) << none;
}

TEST_F(SequencesTest, FramesAreFoundNumberedAndMissed) {
    WriteNumbers("s.####.png", {8, 9, 10, 13, 15});
    const Info info = Open(Path("s.%04d.png"))->info();
    EXPECT_EQ(info.firstFrame, 8);
    EXPECT_EQ(info.frameCount, 5);
    EXPECT_EQ(info.missingFrames, (Numbers{11, 12, 14}));
    EXPECT_EQ(ReadNumbers("s.####.png"), (Numbers{8, 9, 10, 13, 15}));
    const ReadOptions part{{}, {}, FrameRange{10, 14}};
    EXPECT_EQ(ReadNumbers("s.####.png", part), (Numbers{10, 13}));
    EXPECT_EQ(Open(Path("s.####.png"), part)->info().missingFrames, (Numbers{11, 12, 14}));

    const std::int64_t toTheEnd = std::numeric_limits<std::int64_t>::max();
    const struct {
        FrameRange range;
        const char* error;
    } cases[] = {{{10, 16}, "s.%04d.png: frames 10-16 asked for, but it holds 8-15"},
                 {{9, 8}, "s.%04d.png: frames 9-8 are no range"},
                 {{11, 12}, "s.%04d.png: none of the frames 11-12 exists"},
                 {{13, toTheEnd}, ""}};
    for (const auto& test : cases)
        EXPECT_EQ(ReadError("s.%04d.png", {{}, {}, test.range}), test.error);
    Write("s.0014.png", {MakeFrame(9, 6)});
    EXPECT_EQ(ReadError("s.%04d.png"), "s.0014.png: is 9x6, where the sequence is 8x6");
}

TEST_F(SequencesTest, ResumeTrustsOnlyWholeFrames) {
    WriteNumbers("r.#.png", {1, 2, 3});
    Cut("r.2.png", 0.9);
    Write("r.3.png", {MakeFrame(7, 6)});
    const auto has = [&](std::int64_t number, const WriteOptions& options) {
        return Create(Path("r.#.png"), options, InfoFor(MakeFrame(8, 6), 9))->Has(number);
    };
    EXPECT_TRUE(has(1, {.resume = true}));
    for (int n : {2, 3, 4}) EXPECT_FALSE(has(n, {.resume = true})) << n;
    EXPECT_FALSE(has(1, {})) << "asked for, only";
    EXPECT_FALSE(has(1, {.opaque = true, .resume = true})) << "its channels are others";
}

TEST_F(SequencesTest, FilesAppearWholeOrNotAtAll) {
    const Frame frame = MakeFrame(8, 6);
    for (const std::string name : {"a.mov", "a.mkv", "a.png"}) {
        std::ofstream(Path(name)) << "before";
        {
            const auto unfinished = Create(Path(name), {}, InfoFor(frame));
            if (name != "a.png") unfinished->Append(*unfinished->Encode(frame, frame));
            EXPECT_EQ(Bytes(name), "before");
        }
        EXPECT_EQ(Bytes(name), "before");
    }
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{1000, before.rlim_max};
    for (const std::string name : {"b.png", "b.tif", "b.exr", "b.mov", "b.mkv", "b.webm"}) {
        ::setrlimit(RLIMIT_FSIZE, &full);
        const std::string error = ErrorOf([&] { Write(name, {MakeFrame(200, 100)}); });
        ::setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_TRUE(error.starts_with(name + ": cannot be written")) << name << error;
    }
    EXPECT_EQ(FileCount(), 3u) << "nothing temporary";
}

// The waves have the same value at a place of the picture whatever its size; stripes of one pixel
// become their mean.
TEST_F(ImagesTest, BackgroundsAreScaledToFillWithoutAliasing) {
    Frame waves{300, 200, 1, {}, nullptr};
    const auto wave = [](double x, double y) { return 0.5 + 0.3 * std::sin(9 * x + 5 * y); };
    for (int i = 0; i < 300 * 200; ++i) {
        const int x = i % 300, y = i / 300;
        const long value = std::lround(65535 * wave((x + 0.5) / 200, (y + 0.5) / 200));
        for (const long sample : {value, x % 2 * 60000L, 4321L, 65535L})
            waves.pixels.push_back(std::uint16_t(sample));
    }
    Write("waves.png", {waves});
    // Wider and narrower than the picture of 3:2, smaller and larger.
    for (const auto& [width, height] : {std::pair{96, 48}, {40, 80}, {1000, 500}, {400, 800}}) {
        const double scale = std::max(width / 300.0, height / 200.0) * 200;
        const Frame scaled = ReadBackground(Path("waves.png"), width, height);
        ASSERT_EQ(scaled.pixels.size(), std::size_t(width) * height * 4);
        for (int y = height / 8; y < height - height / 8; ++y)
            for (int x = width / 8; x < width - width / 8; ++x) {
                const std::uint16_t* pixel =
                    scaled.pixels.data() + (std::size_t(y) * width + x) * 4;
                const double across = 0.75 + (x + 0.5 - width / 2.0) / scale;
                const double down = 0.5 + (y + 0.5 - height / 2.0) / scale;
                ASSERT_NEAR(pixel[0] / 65535.0, wave(across, down), 0.02) << width << ' ' << x;
                ASSERT_NEAR(pixel[1], 30000, scale < 200 ? 1500 : 65535) << width << ' ' << x;
                ASSERT_EQ(pixel[2], 4321);
                ASSERT_EQ(pixel[3], 65535);
            }
    }
}

TEST_F(ImagesTest, AFrameThatVanishesIsNamed) {
    for (const char* name : {"s.1.png", "s.2.png"}) Write(name, {MakeFrame(8, 6)});
    const auto reader = Open(Path("s.#.png"));
    const auto first = reader->Fetch(), second = reader->Fetch();
    std::filesystem::remove(Path("s.2.png"));
    EXPECT_EQ(ErrorOf([&] { reader->Decode(*second); }), "s.2.png: no such file");
    std::filesystem::create_directory(Path("s.2.png"));
    EXPECT_PRED_FORMAT2(IsSubstring, "s.2.png: is a folder",
                        ErrorOf([&] { reader->Decode(*second); }));
}

}  // namespace
}  // namespace veltrane::media
