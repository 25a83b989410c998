#include <OpenImageIO/imagebuf.h>

#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>

#include "imaging/cpu/cpu.h"
#include "media/exr_image.h"
#include "media/exr_row_forms.h"
#include "media/half.h"
#include "media/source_details.h"
#include "media_support.h"

namespace veltrane::media {
namespace {

using Method = Compression::Method;

/// Values of all kinds that a float file may hold; every fourth may be an alpha.
std::vector<float> Values(std::size_t count) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const float kOdd[] = {0,     -0.0f, 1,         1e-7f,      6e-8f, 65504,        1e-30f,
                          -0.5f, 17.5f, kInfinity, -kInfinity, 0.5f,  std::nanf("")};
    std::mt19937 random(5);
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        const bool odd = random() % 8 == 0, opaque = i % 4 == 3 && random() % 2 == 0;
        const float value = float(random() % 100000) / 80000.0f - 0.1f;
        values[i] = opaque ? 1 : odd ? kOdd[random() % std::size(kOdd)] : value;
    }
    return values;
}

struct Window {
    int x, y, width, height;

    OIIO::ROI Roi() const { return {x, x + width, y, y + height}; }
};

const std::vector<std::string> kRgb{"R", "G", "B"};

class ExrTest : public ImagesTest {
protected:
    void Store(const std::string& name, ImageSpec spec, const Window& data, const Window& display,
               const std::vector<std::string>& channels = kRgb,
               const std::string& compression = "zip") {
        spec.nchannels = int(channels.size());
        spec.channelnames = channels;
        OIIO::set_roi(spec, data.Roi());
        OIIO::set_roi_full(spec, display.Roi());
        spec.attribute("compression", compression);
        ImagesTest::Store(name, spec, Values(spec.image_pixels() * spec.nchannels));
    }

    static float Original(const Origin& origin, std::size_t i) {
        const OriginalColour& colour = origin.colour;
        return colour.halves.empty() ? colour.floats[i] : FloatFromHalf(colour.halves[i]);
    }

    /// A file must be read here, and as the other, with the same values, is by the image library.
    void ExpectAlike(const std::string& ours, const std::string& others, const ReadOptions& read) {
        ASSERT_TRUE(DescribeExr(Path(ours), read) && !DescribeExr(Path(others), read));
        const Info info = Open(Path(ours), read)->info(), other = Open(Path(others), read)->info();
        EXPECT_EQ(std::tie(info.format, info.pixels, info.width, info.height, info.bits),
                  std::tie(other.format, other.pixels, other.width, other.height, other.bits));
        EXPECT_EQ(std::tie(info.isFloat, info.hasAlpha, info.transfer, info.details->isHalf),
                  std::tie(other.isFloat, other.hasAlpha, other.transfer, other.details->isHalf));
        const auto reader = Open(Path(ours), read);
        const Frame frame = reader->Decode(*reader->Fetch(), Lent(3));
        const Frame expected = ReadFrame(Path(others), 1, read);
        EXPECT_EQ(std::tie(frame.width, frame.height, frame.number),
                  std::tie(expected.width, expected.height, expected.number));
        EXPECT_TRUE(frame.pixels == expected.pixels);
        int unlike = 0;
        for (std::size_t i = 0; i < expected.origin->colour.floats.size(); ++i) {
            unlike += std::bit_cast<std::uint32_t>(Original(*frame.origin, i)) !=
                      std::bit_cast<std::uint32_t>(Original(*expected.origin, i));
        }
        EXPECT_EQ(unlike, 0);
    }
};

TEST_F(ExrTest, WhatIsReadIsWhatTheImageLibraryReads) {
    const std::vector<std::string> kinds[] = {
        {"R", "G", "B"}, {"R", "G", "B", "A"}, {"Y"}, {"Y", "A"}};
    const std::pair<Window, Window> windows[] = {{{0, 0, 37, 35}, {0, 0, 37, 35}},
                                                 {{-3, 5, 20, 33}, {-8, -2, 30, 41}},
                                                 {{0, 0, 40, 40}, {11, 9, 13, 8}},
                                                 {{0, 0, 9, 9}, {5, 6, 30, 20}},
                                                 {{0, 0, 5, 5}, {50, 60, 3, 2}}};
    for (const TypeDesc type : {TypeDesc::HALF, TypeDesc::FLOAT})
        for (const auto& channels : kinds) {
            for (const auto& [data, display] : windows) {
                const ImageSpec spec(1, 1, 1, type);
                Store("p.exr", spec, data, display, channels, "piz");
                for (const char* compression : {"none", "rle", "zips", "zip"}) {
                    Store("a.exr", spec, data, display, channels, compression);
                    SCOPED_TRACE(std::to_string(data.x) + compression + channels.back());
                    ExpectAlike("a.exr", "p.exr", {});
                }
            }
            ExpectAlike("a.exr", "p.exr", {{}, Association::Straight, {}});
            ExpectAlike("a.exr", "p.exr", {Transfer::None, {}, {}});
        }
    ImageSpec downwards(1, 1, 1, TypeDesc::HALF);
    downwards.attribute("openexr:lineOrder", "decreasingY");
    Store("a.exr", downwards, {0, 0, 9, 70}, {0, 0, 9, 70});
    Store("p.exr", downwards, {0, 0, 9, 70}, {0, 0, 9, 70}, kRgb, "piz");
    ExpectAlike("a.exr", "p.exr", {});
}

TEST_F(ExrTest, OtherKindsAreLeftToTheImageLibrary) {
    const Window whole{0, 0, 64, 64};
    const auto taken = [&](const ImageSpec& spec, const std::vector<std::string>& channels = kRgb,
                           const std::string& compression = "zip") {
        Store("a.exr", spec, whole, whole, channels, compression);
        EXPECT_NO_THROW(Open(Path("a.exr")));
        return DescribeExr(Path("a.exr"), {}).has_value();
    };
    const ImageSpec plain(64, 64, 3, TypeDesc::HALF);
    EXPECT_TRUE(taken(plain));
    const std::vector<std::string> others[] = {
        {"R", "G", "B", "Z"}, {"red", "green", "blue"}, {"RGB", "Y"}};
    for (const auto& channels : others) EXPECT_FALSE(taken(plain, channels)) << channels[0];
    for (const char* lossy : {"piz", "pxr24", "b44", "b44a", "dwaa", "dwab"})
        EXPECT_FALSE(taken(plain, kRgb, lossy)) << lossy;
    ImageSpec tiled = plain, turned = plain, mixed = plain;
    tiled.tile_width = tiled.tile_height = 32;
    turned.attribute("Orientation", 6);
    mixed.channelformats = {TypeDesc::HALF, TypeDesc::FLOAT, TypeDesc::HALF};
    EXPECT_FALSE(taken(tiled) || taken(turned) || taken(mixed));
    const auto parts = OIIO::ImageOutput::create("p.exr");
    const ImageSpec specs[] = {plain, plain};
    ASSERT_TRUE(parts->open(Path("p.exr"), 2, specs));
    const std::vector<float> values = Values(64 * 64 * 3);
    parts->write_image(TypeDesc::FLOAT, values.data());
    ASSERT_TRUE(parts->open(Path("p.exr"), plain, OIIO::ImageOutput::AppendSubimage));
    parts->write_image(TypeDesc::FLOAT, values.data());
    parts->close();
    EXPECT_FALSE(DescribeExr(Path("p.exr"), {}));
    EXPECT_NO_THROW(ReadFrame(Path("p.exr"), 1));
}

/// A result in which some pixels are the source's, some are clear and the others lie between.
Frame Keyed(const Frame& source) {
    Frame result = source;
    for (std::size_t i = 0; i < result.pixels.size(); i += 4) {
        if (i / 4 % 3 == 1) result.pixels[i + 3] = 0;
        if (i / 4 % 3 == 2) result.pixels[i + 3] = std::uint16_t(i * 977);
        if (i / 4 % 5 == 0) result.pixels[i] ^= 1;
    }
    return result;
}

/// Frames are written here but for rle, which is left to the image library.
TEST_F(ExrTest, WhatIsWrittenIsWhatTheImageLibraryWrites) {
    const auto write = [&](const std::string& name, const Frame& result, const Frame& source,
                           WriteOptions options, Method method, const Threads& threads) {
        options.compression.method = method;
        const auto writer = Create(Path(name), options, Open(Path("in.exr"))->info());
        writer->Encode(result, source, threads);
    };
    for (const auto& [width, height] : {std::pair{37, 35}, {1, 1}, {1, 17}, {300, 16}})
        for (const TypeDesc type : {TypeDesc::HALF, TypeDesc::FLOAT}) {
            const Window whole{0, 0, width, height}, display{-4, 6, width, height};
            Store("in.exr", ImageSpec(1, 1, 1, type), whole, display);
            const Frame source = ReadFrame(Path("in.exr"), 1), result = Keyed(source);
            for (int kind = 0; kind < 24; ++kind) {
                const WriteOptions options{
                    .transfer = kind & 4 ? Transfer::Linear : Transfer::None,
                    .association = kind & 2 ? Association::Straight : Association::Premultiplied,
                    .opaque = (kind & 1) != 0};
                const Method method = std::array{Method::Zip, Method::Zips, Method::None}[kind / 8];
                write("a.exr", result, source, options, Method::Rle, {});
                write("b.exr", result, source, options, method, {});
                write("c.exr", result, source, options, method, Lent(4));
                EXPECT_EQ(Bytes("b.exr"), Bytes("c.exr"));
                const std::vector<float> a = Stored("a.exr"), b = Stored("b.exr");
                ASSERT_EQ(a.size(), b.size());
                EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0) << kind;
                const ImageSpec theirs = SpecOf("a.exr"), ours = SpecOf("b.exr");
                EXPECT_EQ(OIIO::get_roi(theirs), OIIO::get_roi(ours));
                EXPECT_EQ(OIIO::get_roi_full(theirs), OIIO::get_roi_full(ours));
                EXPECT_EQ(theirs.channelnames, ours.channelnames);
                EXPECT_EQ(theirs.format, ours.format);
            }
        }
}

/// Vector forms against the plain one, on both sides of every value that lies between two halves.
TEST_F(ExrTest, EveryFormMakesTheSameHalves) {
    std::vector<float> values{0, 65520, 1e30f};
    for (std::uint16_t half = 0; half < 0x7bff; ++half) {
        const auto next = static_cast<std::uint16_t>(half + 1);
        const float between = (FloatFromHalf(half) + FloatFromHalf(next)) / 2;
        for (const float towards : {0.0f, between, 65504.0f})
            values.push_back(std::nextafter(between, towards));
    }
    values.push_back(std::nextafter(65520.0f, 0.0f));
    for (std::size_t i = values.size(); i > 0; --i) values.push_back(-values[i - 1]);
    const std::vector<float> ones(values.size(), 1.0f);
    for (const CpuLevel level : CpuLevels()) {
        UseCpuLevel(level);
        const ExrRowForms* forms = SimdExrRowForms();
        EXPECT_EQ(forms == nullptr, level == CpuLevel::Plain);
        if (!forms) continue;
        std::vector<std::uint16_t> halves(values.size());
        for (const float* factors : {ones.data(), static_cast<const float*>(nullptr)}) {
            forms->narrow(values.data(), factors, std::ssize(values), halves.data());
            std::size_t wrong = 0;
            for (std::size_t i = 0; i < values.size(); ++i)
                wrong += halves[i] != HalfFromFloat(values[i]);
            EXPECT_EQ(wrong, 0u) << CpuLevelName(level);
        }
    }
    UseCpuLevel(CpuLevels().back());
}

TEST_F(ExrTest, EveryFormReadsAndMakesTheSameRows) {
    for (const TypeDesc type : {TypeDesc::HALF, TypeDesc::FLOAT}) {
        const Window window{0, 0, 1101, 9};
        Store("in.exr", ImageSpec(1, 1, 1, type), window, window, {"R", "G", "B"});
        std::map<std::string, std::set<std::string>> made;
        for (const CpuLevel level : CpuLevels()) {
            UseCpuLevel(level);
            const Frame source = ReadFrame(Path("in.exr"), 1);
            for (int kind = 0; kind < 4; ++kind) {
                WriteOptions options;
                options.opaque = kind & 1;
                options.association = kind & 2 ? Association::Straight : Association::Premultiplied;
                options.compression.method = Method::None;
                Create(Path("o.exr"), options, Open(Path("in.exr"))->info())
                    ->Encode(Keyed(source), source);
                made[std::to_string(kind)].insert(Bytes("o.exr"));
            }
        }
        for (const auto& [kind, files] : made) EXPECT_EQ(files.size(), 1u) << kind;
    }
}

TEST_F(ExrTest, MetadataThatStillHoldsIsCarried) {
    ImageSpec spec(4, 4, 3, TypeDesc::HALF);
    const float matrix[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const float primaries[8] = {0.7f, 0.3f, 0.2f, 0.7f, 0.1f, 0.1f, 0.3f, 0.3f};
    const char* texts[] = {"one", "two", "three"};
    const int rate[2] = {24000, 1001}, code[2] = {0x01020304, 5};
    spec.attribute("worldToCamera", OIIO::TypeMatrix44, matrix);
    spec.attribute("chromaticities", TypeDesc(TypeDesc::FLOAT, 8), primaries);
    spec.attribute("multi", TypeDesc(TypeDesc::STRING, 3), texts);
    spec.attribute("captureRate", OIIO::TypeRational, rate);
    spec.attribute("smpte:TimeCode", OIIO::TypeTimeCode, code);
    spec.attribute("a name of more than thirty-one letters", "long");
    spec.attribute("PixelAspectRatio", 2.0f);
    spec.attribute("ExposureTime", 0.02f);
    spec.attribute("count", 12);
    spec.attribute("double", TypeDesc::DOUBLE, std::array{1e300}.data());
    spec.attribute("Copyright", "ours");
    const std::size_t kept = 11;
    spec.attribute("Software", "other");
    spec.attribute("empty", "");
    Store("in.exr", spec, {0, 0, 4, 4}, {0, 0, 4, 4});
    const auto attributes = [&](const std::string& name) {
        std::map<std::string, std::string> all;
        const ImageSpec held = SpecOf(name);
        for (const OIIO::ParamValue& each : held.extra_attribs) {
            const bool ours = spec.find_attribute(each.name());
            if (ours) all[each.name().string()] = each.type().c_str() + each.get_string();
        }
        return all;
    };
    const auto before = attributes("in.exr");
    Convert("in.exr", "o.exr");
    auto after = attributes("o.exr");
    EXPECT_EQ(after.size(), kept);
    for (const auto& [name, value] : after) EXPECT_EQ(before.at(name), value) << name;
    Convert("in.exr", "o.exr",
            {.read = {Transfer::None, {}, {}}, .write = {.transfer = Transfer::Linear}});
    EXPECT_EQ(attributes("o.exr").count("chromaticities"), 0u);
    Convert("in.exr", "o.png");
    EXPECT_EQ(attributes("o.png").at("Copyright"), before.at("Copyright"));
    Convert("o.png", "o.exr");
    EXPECT_EQ(attributes("o.exr").at("Copyright"), before.at("Copyright"));
}

TEST_F(ExrTest, CompressionIsAsAskedForOrRefused) {
    const Frame frame = MakeFrame(40, 40);
    const std::pair<Method, const char*> ways[] = {{Method::None, "none"}, {Method::Rle, "rle"},
                                                   {Method::Zips, "zips"}, {Method::Zip, "zip"},
                                                   {Method::Piz, "piz"},   {Method::Dwab, "dwab"}};
    const auto write = [&](const std::string& name, Method method, std::optional<int> level = {}) {
        Write(name, {frame}, {.compression = {method, level}});
        return SpecOf(name);
    };
    for (const auto& [method, name] : ways)
        EXPECT_EQ(write("o.exr", method).get_string_attribute("compression"), name);
    write("coarse.exr", Method::Dwaa, 900);
    write("fine.exr", Method::Dwaa, 1);
    EXPECT_LT(Bytes("coarse.exr").size(), Bytes("fine.exr").size());
    EXPECT_EQ(write("o.tif", Method::Lzw).get_string_attribute("compression"), "lzw");
    const auto refusal = [&](const std::string& name, Method method) {
        return ErrorOf([&] { write(name, method); });
    };
    EXPECT_EQ(
        refusal("r.exr", Method::Lzw),
        "r.exr: cannot be compressed by lzw; its format has none, rle, zips, zip, piz, dwaa, dwab");
    EXPECT_EQ(refusal("r.tif", Method::Piz),
              "r.tif: cannot be compressed by piz; its format has none, lzw, zip");
    EXPECT_EQ(refusal("r.png", Method::Zip),
              "r.png: cannot be compressed by zip; its format leaves no choice");
    EXPECT_EQ(refusal("r.mov", Method::None),
              "r.mov: cannot be compressed by none, which is for images");
}

}  // namespace
}  // namespace veltrane::media
