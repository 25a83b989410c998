#include <cmath>
#include <limits>
#include <set>
#include <thread>

#include "media_support.h"

namespace veltrane::media {
namespace {

/// Clips are made from raw samples, kept losslessly by FFV1.
class VideoTest : public MediaTest {
protected:
    template <typename Sample>
    void MakeClip(const std::string& name, const std::string& format, int width, int height,
                  const std::vector<Sample>& samples, const std::string& options = "") {
        std::ofstream file(Path("raw"), std::ios::binary);
        file.write(reinterpret_cast<const char*>(samples.data()),
                   static_cast<std::streamsize>(samples.size() * sizeof(Sample)));
        file.close();
        Ffmpeg("-f rawvideo -r 24 -pix_fmt " + format + " -s " + std::to_string(width) + "x" +
               std::to_string(height) + " -i raw -c:v ffv1 " + options + " " + name);
    }
};

/// The textbook conversion, of codes of the given depth to 0..1, not clamped.
struct Matrix {
    double kr, kb;
    int bits;
    bool full;

    std::array<double, 3> Bgr(double y, double u, double v) const {
        const double step = std::ldexp(1.0, bits - 8), most = std::ldexp(1.0, bits) - 1;
        const double luma = full ? y / most : (y - 16 * step) / (219 * step);
        const double span = full ? most : 224 * step;
        const double b = luma + 2 * (1 - kb) * (u - 128 * step) / span;
        const double r = luma + 2 * (1 - kr) * (v - 128 * step) / span;
        return {b, (luma - kb * b - kr * r) / (1 - kb - kr), r};
    }
    void ExpectNear(const std::uint16_t* pixel, double y, double u, double v, double bound) const {
        const auto bgr = Bgr(y, u, v);
        for (int c = 0; c < 3; ++c) {
            const double ideal = std::clamp(bgr[c], 0.0, 1.0) * 65535;
            ASSERT_NEAR(pixel[c], ideal, bound) << "yuv " << y << " " << u << " " << v;
        }
    }
};

TEST_F(VideoTest, MatricesAndRangesAreExact) {
    struct Case {
        const char* options;
        Matrix matrix;
    };
    const Case cases[] = {
        {"-colorspace bt709 -color_range tv", {0.2126, 0.0722, 8, false}},
        {"-colorspace smpte170m -color_range tv", {0.299, 0.114, 10, false}},
        {"-colorspace bt2020nc -color_range tv", {0.2627, 0.0593, 12, false}},
        {"-colorspace smpte240m -color_range tv", {0.212, 0.087, 8, false}},
        {"-colorspace bt709 -color_range pc", {0.2126, 0.0722, 8, true}},
        {"-colorspace bt470bg -color_range pc", {0.299, 0.114, 10, true}},
    };
    for (const Case& test : cases) {
        const int bits = test.matrix.bits;
        std::mt19937 random(7);
        std::vector<std::uint16_t> codes(32 * 32 * 3);
        for (auto& code : codes) code = static_cast<std::uint16_t>(random() % (1u << bits));
        if (bits == 8) {
            const std::vector<std::uint8_t> bytes(codes.begin(), codes.end());
            MakeClip("m.mkv", "yuv444p", 32, 32, bytes, test.options);
        } else {
            MakeClip("m.mkv", "yuv444p" + std::to_string(bits) + "le", 32, 32, codes, test.options);
        }
        const Frame frame = ReadFrame(Path("m.mkv"), 1);
        EXPECT_EQ(Open(Path("m.mkv"))->info().bits, bits);
        for (int i = 0; i < 1024; ++i) {
            test.matrix.ExpectNear(&frame.pixels[i * 4], codes[i], codes[1024 + i], codes[2048 + i],
                                   0.6);
        }
    }
}

TEST_F(VideoTest, UntaggedClipsFollowTheSizeRule) {
    const struct {
        int width, height;
        double kr, kb;
    } cases[] = {{640, 360, 0.299, 0.114},
                 {720, 576, 0.299, 0.114},
                 {1280, 720, 0.2126, 0.0722},
                 {1280, 544, 0.2126, 0.0722}};
    for (const auto& test : cases) {
        const std::size_t count = static_cast<std::size_t>(test.width * test.height);
        std::vector<std::uint8_t> codes(count, 120);
        codes.insert(codes.end(), count / 4, 100);
        codes.insert(codes.end(), count / 4, 150);
        MakeClip("g.mkv", "yuv420p", test.width, test.height, codes);
        const Frame frame = ReadFrame(Path("g.mkv"), 1);
        Matrix{test.kr, test.kb, 8, false}.ExpectNear(frame.pixels.data(), 120, 100, 150, 0.6);
    }
}

TEST_F(VideoTest, RgbAndGreyCodesMapToFullScale) {
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < 256; ++i)
        bytes.insert(bytes.end(), {std::uint8_t(i), std::uint8_t(255 - i), 7});
    MakeClip("r.mkv", "rgb24", 256, 1, bytes, "-pix_fmt bgr0");
    const Frame frame = ReadFrame(Path("r.mkv"), 1);
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(frame.pixels[i * 4 + 2], i * 257);
        ASSERT_EQ(frame.pixels[i * 4 + 1], (255 - i) * 257);
        ASSERT_EQ(frame.pixels[i * 4 + 3], 65535);
    }
    std::vector<std::uint16_t> grey(65536);
    for (int i = 0; i < 65536; ++i) grey[i] = static_cast<std::uint16_t>(i);
    MakeClip("y.mkv", "gray16le", 256, 256, grey);
    const Frame ramp = ReadFrame(Path("y.mkv"), 1);
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(ramp.pixels[i * 4 + i % 3], i);
}

TEST_F(VideoTest, TenBitsArriveAsTenBits) {
    std::vector<std::uint16_t> codes(1024 + 2 * 512, 512);
    for (int i = 0; i < 1024; ++i) codes[i] = static_cast<std::uint16_t>(i);
    MakeClip("t.mkv", "yuv422p10le", 1024, 1, codes);
    const Frame frame = ReadFrame(Path("t.mkv"), 1);
    std::set<std::uint16_t> levels;
    for (int i = 0; i < 1024; ++i) levels.insert(frame.pixels[i * 4 + 1]);
    EXPECT_EQ(levels.size(), 940u - 64 + 1);
    EXPECT_EQ(frame.pixels[64 * 4], 0);
    EXPECT_EQ(frame.pixels[940 * 4], 65535);
}

TEST_F(VideoTest, ChromaIsInterpolatedAtItsTruePlace) {
    // A chroma ramp: each 4:2:0 sample lies on an even column and between two rows.
    constexpr int kSide = 64;
    std::vector<std::uint8_t> codes(kSide * kSide, 128);
    for (int plane = 0; plane < 2; ++plane) {
        for (int y = 0; y < kSide / 2; ++y) {
            for (int x = 0; x < kSide / 2; ++x) {
                codes.push_back(static_cast<std::uint8_t>(plane == 0 ? 96 + 2 * x : 96 + 2 * y));
            }
        }
    }
    MakeClip("c.mkv", "yuv420p", kSide, kSide, codes, "-colorspace bt709 -color_range tv");
    const Frame frame = ReadFrame(Path("c.mkv"), 1);
    const Matrix matrix{0.2126, 0.0722, 8, false};
    for (int y = 6; y < kSide - 6; ++y) {
        for (int x = 6; x < kSide - 6; ++x) {
            matrix.ExpectNear(&frame.pixels[(y * kSide + x) * 4], 128, 96 + x, 96 + y - 0.5, 1.0);
        }
    }
}

TEST_F(VideoTest, OddSizesAndRotationAreHonoured) {
    std::vector<std::uint8_t> odd(7 * 5, 126);
    odd.insert(odd.end(), 2 * 4 * 3, 128);
    MakeClip("odd.mkv", "yuv420p", 7, 5, odd);
    const Frame grey = ReadFrame(Path("odd.mkv"), 1);
    ASSERT_EQ(grey.pixels.size(), 7u * 5 * 4);
    for (std::size_t i = 0; i < grey.pixels.size(); ++i) {
        ASSERT_NEAR(grey.pixels[i], i % 4 == 3 ? 65535 : 110 * 65535 / 219, 1);
    }
    // "1 2 3" above "4 5 6", to be shown turned against the clock by a quarter, half and
    // three quarters.
    std::vector<std::uint8_t> bytes;
    for (std::uint8_t i = 1; i <= 6; ++i) bytes.insert(bytes.end(), 3, i);
    MakeClip("r.mov", "rgb24", 3, 2, bytes, "-c:v png");
    const char* shown[] = {"362514", "654321", "415263"};
    for (int turn = 1; turn <= 3; ++turn) {
        Ffmpeg("-i r.mov -c copy -metadata:s:v rotate=" + std::to_string(90 * turn) + " t.mov");
        const Frame frame = ReadFrame(Path("t.mov"), 1);
        std::string text;
        for (std::size_t i = 0; i < frame.pixels.size(); i += 4) {
            text += static_cast<char>('0' + frame.pixels[i] / 257);
        }
        EXPECT_EQ(text, shown[turn - 1]) << turn;
        EXPECT_EQ(frame.width, turn == 2 ? 3 : 2);
    }
}

TEST_F(VideoTest, FramesCountFromOneAndRangesHold) {
    const std::string clip = VELTRANE_SAMPLES "/clip.mp4";
    const auto reader = Open(clip);
    EXPECT_EQ(reader->info().kind, Kind::Video);
    EXPECT_EQ(reader->info().frameCount, 24);
    EXPECT_EQ(reader->info().frameRate.num, 24 * reader->info().frameRate.den);
    ReadOptions part;
    part.frames = FrameRange{5, 7};
    const std::vector<Frame> frames = ReadAll(clip, part);
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[0].number, 5);
    EXPECT_EQ(frames[2].pixels, ReadFrame(clip, 7).pixels);
    EXPECT_NE(frames[1].pixels, frames[2].pixels);
    part.frames = FrameRange{23, std::numeric_limits<std::int64_t>::max()};
    EXPECT_EQ(ReadAll(clip, part).size(), 2u);
    part.frames = FrameRange{20, 30};
    EXPECT_EQ(ErrorOf([&] { Open(clip, part); }),
              clip + ": frames 20-30 asked for, but it holds 1-24");
    part.frames = FrameRange{0, 3};
    EXPECT_NE(ErrorOf([&] { Open(clip, part); }), "");
    Ffmpeg("-i " + clip + " -c copy c.mkv");
    part.frames = FrameRange{20, 30};
    EXPECT_EQ(ErrorOf([&] { ReadAll(Path("c.mkv"), part); }),
              Path("c.mkv") + ": frames 20-30 asked for, but it holds 1-24");
}

TEST_F(VideoTest, TruncationIsReportedAfterTheFramesThatAreThere) {
    const std::string clip = VELTRANE_SAMPLES "/clip.mp4";
    for (const char* name : {"t.mp4", "t.mkv", "t.avi"}) {
        Ffmpeg("-i " + clip + " -c copy -movflags +faststart " + name);
        Cut(name, 0.6);
        std::int64_t last = 0;
        const std::string error = ErrorOf([&] {
            const auto reader = Open(Path(name));
            while (const auto fetched = reader->Fetch()) last = reader->Decode(*fetched).number;
        });
        EXPECT_GT(last, 5);
        EXPECT_EQ(error, Path(name) + ": truncated after frame " + std::to_string(last));
    }
    // An AVI counts one frame too many here, and is whole all the same.
    Ffmpeg("-f lavfi -i testsrc2=s=64x48:d=0.5 -c:v mpeg4 -bf 2 whole.avi");
    EXPECT_EQ(ReadAll(Path("whole.avi")).size(), 13u);
    Ffmpeg("-i " + clip + " -c copy end.mov");
    Cut("end.mov", 0.9);
    EXPECT_EQ(ErrorOf([&] { Open(Path("end.mov")); }).rfind(Path("end.mov") + ": ", 0), 0u);
}

TEST_F(VideoTest, DamageInTheMiddleIsNotPatchedUpSilently) {
    Ffmpeg("-f lavfi -i testsrc2=s=320x240:r=24:d=1 -c:v ffv1 -slicecrc 1 d.mkv");
    const auto size = static_cast<std::streamoff>(std::filesystem::file_size(Path("d.mkv")));
    std::fstream(Path("d.mkv"), std::ios::in | std::ios::out | std::ios::binary)
        .seekp(size / 2)
        .write("\x55\xaa\x55", 3);
    const std::string error = ErrorOf([&] { ReadAll(Path("d.mkv")); });
    EXPECT_EQ(error.rfind(Path("d.mkv") + ": is damaged near frame ", 0), 0u) << error;
}

TEST_F(VideoTest, ImagesOfOtherFormatsAreStills) {
    Ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 a.bmp");
    Ffmpeg("-i a.bmp a.png");
    EXPECT_EQ(Open(Path("a.bmp"))->info().kind, Kind::Still);
    EXPECT_EQ(Open(Path("a.bmp"))->info().frameCount, 1);
    EXPECT_EQ(ReadFrame(Path("a.bmp"), 1).pixels, ReadFrame(Path("a.png"), 1).pixels);
}

TEST_F(VideoTest, DecodingIsTheSameForAnyNumberOfThreads) {
    const std::string clip = VELTRANE_SAMPLES "/clip.mp4";
    const std::vector<Frame> expected = ReadAll(clip);
    const auto reader = Open(clip);
    std::vector<std::shared_ptr<Fetched>> fetched;
    while (auto next = reader->Fetch()) fetched.push_back(std::move(next));
    std::vector<Frame> decoded(fetched.size());
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = t; i < fetched.size(); i += 4)
                decoded[i] = reader->Decode(*fetched[i]);
        });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(decoded.size(), expected.size());
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        EXPECT_EQ(decoded[i].number, expected[i].number);
        EXPECT_TRUE(decoded[i].pixels == expected[i].pixels) << i;
    }
}

}  // namespace
}  // namespace veltrane::media
