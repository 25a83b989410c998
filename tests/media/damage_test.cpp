#include <optional>

#include "media/png_file.h"
#include "media_support.h"

namespace veltrane::media {
namespace {

class DamageTest : public MediaTest {
protected:
    void Put(const std::string& name, const std::string& bytes) const {
        std::ofstream(Path(name), std::ios::binary) << bytes;
    }

    /// What is read: all pixels one after another, or nothing where the file is refused.
    std::optional<Pixels> PixelsOf(const std::string& name) const {
        Pixels all;
        const std::string error = ErrorOf([&] {
            for (const Frame& frame : Read(name))
                all.insert(all.end(), frame.pixels.begin(), frame.pixels.end());
        });
        if (error.empty()) return all;
        EXPECT_TRUE(error.starts_with(name + ": ")) << error;
        return std::nullopt;
    }

    bool IsKept(const std::string& name) const {
        const Frame frame = MakeFrame(kWidth, kHeight);
        const auto writer = Create(Path(name), {.resume = true}, InfoFor(frame));
        return writer->Has(1);
    }

    static constexpr int kWidth = 61, kHeight = 47;
};

/// A grey TIFF whose directory stands before its one uncompressed strip.
std::string DirectoryFirst(std::uint16_t side) {
    constexpr std::uint16_t kStrip = 110, kShort = 3;
    std::vector<std::uint16_t> words{0x4949, 42, 8, 0, 8};
    const auto area = std::uint16_t(side * side);
    const std::pair<std::uint16_t, std::uint16_t> entries[] = {
        {256, side}, {257, side},   {258, 8},    {259, 1},
        {262, 1},    {273, kStrip}, {278, side}, {279, area}};
    for (const auto& [tag, value] : entries)
        words.insert(words.end(), {tag, kShort, 1, 0, value, 0});
    words.resize(kStrip / 2);
    std::string bytes(reinterpret_cast<const char*>(words.data()), kStrip);
    for (int i = 0; i < area; ++i) bytes += char(1 + i % 255);
    return bytes;
}

TEST_F(DamageTest, WhatIsReadIsWholeAndResumeKeepsNothingElse) {
    const struct {
        const char* name;
        double covered;  ///< the share from which on checksums cover the pixels; 1 where none do
        int cuts = 60, flips = 200;
    } files[] = {{"a.png", 0},     {"a.tif", 0},    {"lzw.tif", 1},
                 {"plain.tif", 1}, {"a.exr", 0.25}, {"s.exr", 0.25},
                 {"a.jpg", 1},     {"a.dpx", 1},    {"a.mkv", 0.1, 6, 20}};
    const Frame frame = MakeFrame(kWidth, kHeight);
    for (const char* name : {"a.png", "a.tif", "a.exr"}) Write(name, {frame});
    Frame coarse = frame;  // or some rows would not become smaller, and be stored without checksums
    for (auto& sample : coarse.pixels) sample &= 0xf800;
    Write("s.exr", {coarse}, {.compression = {Compression::Method::Zips}});
    Write("a.jpg", {frame}, {.opaque = true});
    Write("a.mkv", {frame, frame});
    Ffmpeg("-i a.png -pix_fmt rgb24 -compression_algo lzw lzw.tif");
    Ffmpeg("-i a.png -pix_fmt gbrp10be a.dpx");
    Put("plain.tif", DirectoryFirst(61));
    for (const auto& file : files) {
        const std::string name = file.name, whole = Bytes(name);
        const auto pixels = PixelsOf(name);
        ASSERT_TRUE(pixels) << name;
        std::mt19937 random(7);
        for (int i = 0; i < file.cuts; ++i) {
            Put(name, whole.substr(0, whole.size() - 1 - random() % (whole.size() - 20)));
            const auto read = PixelsOf(name);
            EXPECT_TRUE(!read || *read == *pixels) << name << " cut to " << Bytes(name).size();
            const bool ours = name == "a.png" || name == "a.tif" || name == "a.exr";
            EXPECT_FALSE(ours && IsKept(name)) << name << " cut to " << Bytes(name).size();
        }
        for (int i = 0; i < file.flips; ++i) {
            std::string flipped = whole;
            const std::size_t at = random() % whole.size();
            flipped[at] = char(flipped[at] ^ 1 << random() % 8);
            Put(name, flipped);
            const auto read = PixelsOf(name);
            // A TIFF's data lies before its directory, which no checksum covers.
            const bool covered = name == "a.tif"
                                     ? at < whole.size() - 600
                                     : double(at) >= file.covered * double(whole.size());
            const bool other = read && *read != *pixels;
            EXPECT_FALSE(covered && other) << name << " flipped at " << at;
        }
    }
}

/// A demuxer passes over what it cannot read, and the frames around it come as if it had never
/// been.
TEST_F(DamageTest, NoFrameOfAMatroskaFileIsPassedOver) {
    const Frame frame = MakeFrame(kWidth, kHeight);
    Write("a.mkv", {frame, frame, frame});
    const std::string whole = Bytes("a.mkv"), cluster = "\x1f\x43\xb6\x75";
    const auto pixels = PixelsOf("a.mkv");
    const std::size_t second = whole.find(cluster, whole.find(cluster) + 1);
    ASSERT_NE(second, std::string::npos);
    const std::pair<std::size_t, std::size_t> headers[] = {{whole.find("\x18\x53\x80\x67"), 12},
                                                           {second, 32}};
    for (const auto& [begin, size] : headers) {
        for (std::size_t at = begin; at < begin + size; ++at) {
            for (int bit = 0; bit < 8; ++bit) {
                std::string flipped = whole;
                flipped[at] = char(flipped[at] ^ 1 << bit);
                Put("a.mkv", flipped);
                const auto read = PixelsOf("a.mkv");
                EXPECT_TRUE(!read || *read == *pixels) << "byte " << at << ", bit " << bit;
            }
        }
    }
}

/// Such a file ends where it should. Its codes may chance upon a right end, but not often.
TEST_F(DamageTest, OverwrittenJpegIsMostlyRefused) {
    Write("a.jpg", {MakeFrame(512, 512)}, {.opaque = true});
    Ffmpeg("-i a.jpg -q:v 3 other.jpg");
    for (const char* name : {"a.jpg", "other.jpg"}) {
        const std::string whole = Bytes(name);
        EXPECT_TRUE(PixelsOf(name));
        int refused = 0;
        for (int part = 4; part < 16; ++part) {
            std::string wrong = whole;
            wrong.replace(whole.size() / 16 * part, 100, 100, '\x5d');
            Put(name, wrong);
            refused += !PixelsOf(name);
        }
        EXPECT_GE(refused, 8) << name;
    }
}

TEST_F(DamageTest, OneLineIsAllThatIsSaid) {
    Write("a.png", {MakeFrame(kWidth, kHeight)});
    const std::string whole = Bytes("a.png");
    const auto summed = [](std::string chunk) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(chunk.data());
        const std::uint32_t sum = PngChecksum(bytes, chunk.size());
        for (int shift = 24; shift >= 0; shift -= 8) chunk += char(sum >> shift);
        return chunk;
    };
    std::string header = whole.substr(12, 17), huge = header;
    huge.replace(4, 8, std::string("\0\0\xff\xff\0\0\xff\xff", 8));
    Put("a.png", whole.substr(0, 12) + summed(huge) + whole.substr(33));
    EXPECT_EQ(ReadError("a.png"), "a.png: is damaged");
    // The PNG library would do without what it need not understand, such as this.
    std::string gamma = std::string("\0\0\0\4", 4) + summed(std::string("gAMA\0\1\x86\xa0", 8));
    for (const bool right : {true, false}) {
        if (!right) gamma.back() ^= 1;
        Put("a.png", whole.substr(0, 33) + gamma + whole.substr(33));
        EXPECT_EQ(ReadError("a.png"), right ? "" : "a.png: is damaged");
    }
    // Checksums are right here, so it is the PNG library that finds the fault.
    header[12] = 7;
    const std::size_t data = whole.find("IDAT"), name = 4;
    const std::string empty = std::string(4, '\0') + summed("IDAT");
    const std::string cases[] = {
        whole.substr(0, 12) + summed(header) + whole.substr(33),
        whole.substr(0, data - name) + empty + whole.substr(whole.size() - 12)};
    for (const std::string& bytes : cases) {
        Put("a.png", bytes);
        ::testing::internal::CaptureStderr();
        EXPECT_PRED_FORMAT2(IsSubstring, "a.png: is damaged: ", ReadError("a.png"));
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    }
}

}  // namespace
}  // namespace veltrane::media
