#include <sys/resource.h>

#include <array>

#include "media_support.h"

namespace veltrane::media {
namespace {

using KindsTest = ImagesTest;

TEST_F(KindsTest, EveryKindOfPngIsReadAsTheImageLibraryDoes) {
    Write("in.png", {MakeFrame(61, 47)});
    for (const std::string format : {"pal8", "monob", "gray", "gray16be", "ya8", "ya16be", "rgb24",
                                     "rgba", "rgb48be", "rgba64be"}) {
        for (const char* order : {"", " -flags +ildct"}) {
            Ffmpeg("-i in.png -pix_fmt " + format + order + " k.png");
            SCOPED_TRACE(format + order);
            ExpectAsStored("k.png", ReadFrame(Path("k.png"), 1).pixels);
        }
    }
}

TEST_F(KindsTest, EveryKindOfDpxIsReadRight) {
    for (int number = 0; number < 4 * 2 * 2 * 3; ++number) {
        const int bits = std::array{8, 10, 12, 16}[std::size_t(number % 4)];
        const int channels = number / 4 % 2 + 3, most = (1 << bits) - 1;
        ImageSpec spec(13, 5, channels, bits == 8 ? TypeDesc::UINT8 : TypeDesc::UINT16);
        const char* packings[] = {"Packed", "Filled, method A", "Filled, method B"};
        spec.attribute("oiio:BitsPerSample", bits);
        spec.attribute("oiio:Endian", number / 8 % 2 == 0 ? "little" : "big");
        spec.attribute("dpx:Packing", packings[number / 16]);
        std::vector<float> samples;
        for (int i = 0; i < 13 * 5 * channels; ++i)
            samples.push_back(float(i * 37 % (most + 1)) / float(most));
        Store("k.dpx", spec, samples);
        const Frame frame = ReadFrame(Path("k.dpx"), 1);
        ASSERT_EQ(frame.pixels.size(), std::size_t{4} * 13 * 5);
        for (std::size_t i = 0; i < frame.pixels.size(); ++i) {
            const std::size_t at = i / 4 * channels + (i % 4 == 3 ? 3 : 2 - i % 4);
            const float expected = i % 4 == 3 && channels == 3 ? 1 : samples[at];
            ASSERT_NEAR(frame.pixels[i], expected * 65535, 1) << number << " " << i;
        }
    }
}

TEST_F(KindsTest, SamplesOfNoUseAreRefused) {
    const std::vector<float> samples(3 * 4, 0.5f);
    ImageSpec spec(2, 2, 3, TypeDesc::HALF);
    spec.channelnames = {"BY", "RY", "Y"};
    Store("y.exr", spec, samples);
    EXPECT_PRED_FORMAT2(IsSubstring, "y.exr: holds luma and chroma", ReadError("y.exr"));
    Store("u.exr", ImageSpec(2, 2, 3, TypeDesc::UINT), samples);
    EXPECT_PRED_FORMAT2(IsSubstring, "u.exr: holds whole numbers", ReadError("u.exr"));
    spec.channelnames = {"left.B", "left.G", "left.R"};
    Store("l.exr", spec, samples);
    EXPECT_EQ(ReadError("l.exr"), "l.exr: holds no channels R, G and B");

    Write("in.png", {MakeFrame(61, 47)});
    Ffmpeg("-i in.png -pix_fmt gbrp10be whole.dpx");
    const struct {
        int at;
        std::string bytes;
        const char* what;
    } changes[] = {{771, "\2", "several elements"},   {783, "\1", "signed samples"},
                   {800, "\1", "of the kind 1;"},     {800, "\64", "of the kind 52;"},
                   {800, "\x64", "of the kind 100;"}, {803, "\1", "samples of 1 bits"},
                   {807, "\1", "run-length encoded"}};
    for (const auto& change : changes) {
        Run("cp whole.dpx a.dpx");
        Overwrite("a.dpx", change.at, change.bytes);
        EXPECT_PRED_FORMAT2(IsSubstring, change.what, ReadError("a.dpx"));
    }
    Ffmpeg("-i in.png a.jpg");
    const std::size_t header = Bytes("a.jpg").find("\xff\xc0");
    Overwrite("a.jpg", std::streamoff(header + 9), "\4");
    EXPECT_PRED_FORMAT2(IsSubstring, "a.jpg: holds inks (CMYK)", ReadError("a.jpg"));
}

TEST_F(KindsTest, ClaimsAreRefusedBeforeMemoryIsTaken) {
    const Frame frame = MakeFrame(16, 16);
    for (const char* name : {"a.exr", "a.tif"}) Write(name, {frame});
    Write("a.jpg", {frame}, {.opaque = true});
    Write("in.png", {frame});
    Ffmpeg("-i in.png a.dpx");
    const std::string exr = Bytes("a.exr"), tiff = Bytes("a.tif"), jpeg = Bytes("a.jpg");
    const std::size_t window = exr.find("dataWindow") + 27,
                      display = exr.find("displayWindow") + 30;
    const std::size_t begin = jpeg.find("\xff\xc0");
    // A TIFF's entries hold a tag, a type, a count and a number.
    const auto entry = [&](std::uint16_t tag) {
        const std::string bytes{char(tag & 255), char(tag >> 8)};
        return tiff.rfind(bytes + std::string("\3\0\1\0\0\0", 6)) + 8;
    };
    const struct {
        const char* name;
        int bytes;  ///< of each number
        bool smallestFirst;
        std::vector<std::size_t> places;
    } claims[] = {{"a.exr", 4, true, {window + 8, window + 12, display + 8, display + 12}},
                  {"a.tif", 2, true, {entry(256), entry(257), entry(278)}},
                  {"a.jpg", 2, false, {begin + 5, begin + 7}},
                  {"a.dpx", 4, false, {772, 776}}};
    rlimit before{};
    ::getrlimit(RLIMIT_AS, &before);
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit little{pages * 4096 + (std::size_t{200} << 20), before.rlim_max};
    for (const auto& [name, bytes, smallestFirst, places] : claims) {
        std::string number;
        for (int i = 0; i < bytes; ++i) number += char(15000 >> 8 * i);
        if (!smallestFirst) std::reverse(number.begin(), number.end());
        for (std::size_t at : places) Overwrite(name, std::streamoff(at), number);
        ::setrlimit(RLIMIT_AS, &little);
        const std::string error = ReadError(name);
        ::setrlimit(RLIMIT_AS, &before);
        EXPECT_TRUE(error.starts_with(std::string(name) + ": ")) << error;
        EXPECT_EQ(error.find("memory"), error.npos) << error;
    }
}

}  // namespace
}  // namespace veltrane::media
