#include <algorithm>

#include "media_support.h"

namespace veltrane::media {
namespace {

/// Clips are made from raw samples, kept losslessly by FFV1.
class VideoTest : public MediaTest {
protected:
    Frame ReadClip(const std::string& format, int width, int height, const Pixels& codes,
                   const std::string& options) {
        std::ofstream file(Path("raw"), std::ios::binary);
        for (std::uint16_t code : codes) {
            file.put(char(code & 255));
            if (format.ends_with("le")) file.put(char(code >> 8));
        }
        file.close();
        Ffmpeg("-f rawvideo -pix_fmt " + format + " -s " + std::to_string(width) + "x" +
               std::to_string(height) + " -i raw -c:v ffv1 " + options + " raw.mkv");
        return ReadFrame(Path("raw.mkv"), 1);
    }

    /// What ffprobe says of a file, such as "stream=color_space,r_frame_rate".
    std::string Probe(const std::string& name, const std::string& entries) {
        Run("ffprobe -v error -of compact=p=0 -show_entries " + entries + " " + name + " > probe");
        return Bytes("probe");
    }
};

/// The textbook conversion, of codes of the given depth.
struct Matrix {
    double kr, kb;
    int bits;
    bool full;

    void ExpectNear(const std::uint16_t* pixel, double y, double u, double v, double bound) const {
        const double step = std::ldexp(1.0, bits - 8), most = std::ldexp(1.0, bits) - 1;
        const double luma = full ? y / most : (y - 16 * step) / (219 * step);
        const double span = full ? most : 224 * step;
        const double b = luma + 2 * (1 - kb) * (u - 128 * step) / span;
        const double r = luma + 2 * (1 - kr) * (v - 128 * step) / span;
        const double bgr[] = {b, (luma - kb * b - kr * r) / (1 - kb - kr), r};
        for (int c = 0; c < 3; ++c) {
            const double ideal = std::clamp(bgr[c], 0.0, 1.0) * 65535;
            ASSERT_NEAR(pixel[c], ideal, bound) << "yuv " << y << " " << u << " " << v;
        }
    }
};
constexpr Matrix kBt709{0.2126, 0.0722, 8, false};
constexpr Matrix kBt601{0.299, 0.114, 8, false};

TEST_F(VideoTest, MatricesRangesAndGuessesAreExact) {
    const struct {
        const char* options;
        Matrix matrix;
        int width = 32, height = 32;
    } cases[] = {{"-colorspace bt709 -color_range tv", kBt709},
                 {"-colorspace smpte170m -color_range tv", {0.299, 0.114, 10, false}},
                 {"-colorspace bt2020nc -color_range tv", {0.2627, 0.0593, 12, false}},
                 {"-colorspace bt709 -color_range pc", {0.2126, 0.0722, 8, true}},
                 {"-colorspace bt470bg -color_range pc", {0.299, 0.114, 10, true}},
                 {"", kBt601, 720, 576},
                 {"", kBt709, 1280, 16},
                 {"", kBt709, 16, 720}};
    for (const auto& test : cases) {
        const int bits = test.matrix.bits;
        const std::size_t count = std::size_t(test.width * test.height);
        std::mt19937 random(7);
        Pixels codes(3 * count);
        for (auto& code : codes) code = std::uint16_t(random() >> (32 - bits));
        const std::string format = bits == 8 ? "yuv444p" : "yuv444p" + std::to_string(bits) + "le";
        const Frame frame = ReadClip(format, test.width, test.height, codes, test.options);
        EXPECT_EQ(Open(Path("raw.mkv"))->info().bits, bits);
        for (std::size_t i = 0; i < count; ++i) {
            test.matrix.ExpectNear(&frame.pixels[i * 4], codes[i], codes[count + i],
                                   codes[2 * count + i], 0.6);
        }
    }
}

TEST_F(VideoTest, LinearVideoIsKeyedThroughTheCurveAndWrittenBack) {
    Pixels codes(3 * 16 * 16);
    for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = std::uint16_t(i * 85);
    const Frame frame = ReadClip("gbrp16le", 16, 16, codes, "-color_trc linear");
    for (std::size_t i = 0; i < 256; ++i) {  // the planes stand in the order green, blue, red
        const double green = codes[i] / 65535.0;
        const double shown =
            green <= 0.0031308 ? 12.92 * green : 1.055 * std::pow(green, 1 / 2.4) - 0.055;
        ASSERT_NEAR(frame.pixels[i * 4 + 1], shown * 65535, 0.51) << codes[i];
    }
    Convert("raw.mkv", "o.mkv");
    EXPECT_EQ(ReadFrame(Path("o.mkv"), 1).pixels, frame.pixels);
    EXPECT_PRED_FORMAT2(IsSubstring, "linear", Probe("o.mkv", "stream=color_transfer"));
    ReadOptions stored;
    stored.transfer = Transfer::None;
    EXPECT_EQ(ReadFrame(Path("raw.mkv"), 1, stored).pixels[1 + 4 * 99], codes[99]);
}

TEST_F(VideoTest, ChromaIsInterpolatedAtItsTruePlace) {
    // A chroma ramp: each 4:2:0 sample lies on an even column and between two rows.
    constexpr int kSide = 64;
    Pixels codes(kSide * kSide, 128);
    for (int i = 0; i < kSide * kSide / 2; ++i) {
        const int x = i % (kSide / 2), y = i / (kSide / 2);
        codes.push_back(std::uint16_t(y < kSide / 2 ? 96 + 2 * x : 32 + 2 * y));
    }
    const Frame frame =
        ReadClip("yuv420p", kSide, kSide, codes, "-colorspace bt709 -color_range tv");
    for (int y = 6; y < kSide - 6; ++y)
        for (int x = 6; x < kSide - 6; ++x)
            kBt709.ExpectNear(&frame.pixels[(y * kSide + x) * 4], 128, 96 + x, 96 + y - 0.5, 1.0);
}

TEST_F(VideoTest, RangesHoldAndDamageIsReported) {
    Ffmpeg("-f lavfi -i testsrc2=s=160x120:r=24:d=1 -c:v mpeg4 -bf 2 -q:v 2 c.mp4");
    Ffmpeg("-i c.mp4 -c:v ffv1 -slicecrc 1 -write_crc32 0 c.mkv");
    EXPECT_EQ(Open(Path("c.mp4"))->info().frameCount, 24);
    const std::vector<Frame> frames = Read("c.mp4", {{}, {}, FrameRange{5, 7}});
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[2].pixels, ReadFrame(Path("c.mp4"), 7).pixels);
    const ReadOptions last{{}, {}, FrameRange{23, std::numeric_limits<std::int64_t>::max()}};
    EXPECT_EQ(Read("c.mp4", last).at(1).number, 24);
    for (const std::string name : {"c.mp4", "c.mkv"}) {
        EXPECT_EQ(ReadError(name, {{}, {}, FrameRange{20, 30}}),
                  name + ": frames 20-30 asked for, but it holds 1-24");
    }

    Ffmpeg("-i c.mp4 -c copy c.avi");
    EXPECT_EQ(Read("c.avi").size(), 24u) << "whole, though its header counts one frame more";
    for (const std::string name : {"t.mp4", "t.mkv", "t.avi"}) {
        Ffmpeg("-i c.mp4 -c copy -movflags +faststart " + name);
        // Exactly after a packet, so that nothing of what is left is damaged.
        Run("truncate -s $(ffprobe -v error -show_entries packet=pos -of csv=p=0 " + name +
            " | sed -n 16p) " + name);
        EXPECT_PRED_FORMAT2(IsSubstring, ": truncated after frame 1", ReadError(name));
    }
    const auto size = std::streamoff(std::filesystem::file_size(Path("c.mkv")));
    Overwrite("c.mkv", size / 2, "\x55\xaa\x55");
    EXPECT_PRED_FORMAT2(IsSubstring, "c.mkv: is damaged near frame ", ReadError("c.mkv"));

    Ffmpeg("-f lavfi -i testsrc2=s=64x48:r=24:d=0.5 a.h264");
    Ffmpeg("-f lavfi -i testsrc2=s=80x48:r=24:d=0.5 b.h264");
    Run("cat b.h264 >> a.h264");
    EXPECT_EQ(ReadError("a.h264"), "a.h264: frame 13 is 80x48, where the video is 64x48");
}

TEST_F(VideoTest, TagsTimesAndTimecodeAreCarried) {
    const int kept[] = {0, 5, 7, 10, 14, 15, 20, 21, 25, 28};
    const std::string make =
        "-f lavfi -i testsrc2=s=64x48:r=24000/1001:d=1.22 -vf "
        "\"select='not(mod(n,7))+not(mod(n,5))',scale=out_color_matrix=bt2020nc,"
        "format=yuv422p10le\" -vsync vfr -c:v prores_ks -color_primaries bt2020 -color_trc "
        "arib-std-b67 -colorspace bt2020nc -metadata title=Shot -timecode 01:00:00:22 ";
    const Conversion part{.read = {{}, {}, FrameRange{4, 10}}};
    for (const char* from : {"i.mov", "i.mkv"}) {
        Ffmpeg(make + from);
        for (const char* to : {"o.mov", "o.mkv"}) {
            Convert(from, to, part);
            const std::string tags = Probe(to, "stream=color_transfer,color_primaries:format_tags");
            for (const char* tag : {"transfer=arib-std-b67", "primaries=bt2020", "=Shot"})
                EXPECT_PRED_FORMAT2(IsSubstring, tag, tags) << from;
            EXPECT_EQ(Open(Path(to))->info().timecode, "01:00:01:01") << from << to;
        }
        EXPECT_PRED_FORMAT2(IsSubstring, "bt2020nc", Probe("o.mov", "stream=color_space"));
        // Matroska rounds to milliseconds; what is written from it are whole frames again.
        const std::string times = Probe("o.mov", "packet=pts_time -select_streams v");
        for (std::size_t i = 3, at = 0; i < 10; ++i) {
            at = times.find("pts_time=", at) + 9;
            EXPECT_NEAR(std::stod(times.substr(at)), (kept[i] - kept[3]) * 1001.0 / 24000, 2e-6);
        }
    }
}

TEST_F(VideoTest, AudioFollowsThePictures) {
    // Silence for a second, then a tone, for two seconds in all.
    Ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=24:d=2 -f lavfi -i "
        "\"aevalsrc='if(gte(t,1),0.5*sin(2*PI*440*t),0)':s=48000:d=2\" -c:v ffv1 -c:a pcm_s16le "
        "pcm.mkv");
    Ffmpeg("-i pcm.mkv -c:v mpeg4 -c:a aac aac.mov");
    // The tone alone, which begins when pictures have been shown for a second.
    Ffmpeg(
        "-i pcm.mkv -itsoffset 1 -ss 1 -i pcm.mkv -map 0:v -map 1:a -c:v copy -c:a pcm_s16le "
        "late.mkv");
    const std::pair<std::string, std::string> cases[] = {
        {"pcm.mkv", "o.mov"},  {"pcm.mkv", "o.mkv"},  {"aac.mov", "o.mov"}, {"pcm.mkv", "o.mp4"},
        {"aac.mov", "o.webm"}, {"late.mkv", "o.mkv"}, {"late.mkv", "o.mp4"}};
    const Conversion part{.read = {{}, {}, FrameRange{19, 36}}, .write = {.opaque = true}};
    for (const auto& [from, to] : cases) {
        Convert(from, to, part);
        Ffmpeg("-i " + to + " -af aresample=async=1:first_pts=0 -ac 1 -ar 48000 -f s16le sound");
        const std::string bytes = Bytes("sound");
        const auto* sound = reinterpret_cast<const std::int16_t*>(bytes.data());
        const std::size_t count = bytes.size() / 2;
        std::size_t loud = 0;
        while (loud < count && std::abs(sound[loud]) < 3000) ++loud;
        // Frame 19 begins at 0.75 s, so the tone begins at 0.25 s; 18 frames last 0.75 s.
        EXPECT_NEAR(double(loud) / 48000, 0.25, 0.015) << from << to;
        EXPECT_NEAR(double(count) / 48000, 0.75, 0.05) << from << to;
    }
}

TEST_F(VideoTest, OnlyFootageIsOpened) {
    Ffmpeg("-f lavfi -i testsrc2=s=64x48:d=1 -f lavfi -i sine -t 0.2 clip.mkv");
    Ffmpeg("-i clip.mkv -frames:v 1 -disposition:v attached_pic -c:v mjpeg -c:a mp3 cover.mp3");
    EXPECT_PRED_FORMAT2(IsSubstring, "cover.mp3: holds no picture", ReadError("cover.mp3"));
    std::ofstream(Path("list.mkv")) << "ffconcat version 1.0\nfile clip.mkv\n";
    for (const char* ending : {"txt", "nfo", "srt"}) {
        std::ofstream text(Path(std::string("text.") + ending));
        for (int i = 1; i < 5000; ++i) text << i << "\n00:00:01,000 --> 00:00:02,000\nWords\n\n";
    }
    for (const char* other : {"list.mkv", "text.txt", "text.nfo", "text.srt"})
        EXPECT_PRED_FORMAT2(IsSubstring, other + std::string(": "), ReadError(other));
    // An image without a signature, and a name that looks like a sequence's.
    Ffmpeg("-i clip.mkv -frames:v 1 -update 1 still.tga");
    std::filesystem::rename(Path("still.tga"), Path("still%d.tga"));
    EXPECT_EQ(Open(Path("still%d.tga"))->info().kind, Kind::Still);
    EXPECT_EQ(Read("still%d.tga").at(0).pixels.size(), 64u * 48 * 4);
}

TEST_F(VideoTest, SaysHowFieldsLie) {
    Ffmpeg("-f lavfi -i testsrc2=s=64x48:d=1 -c:v mpeg4 plain.mov");
    Ffmpeg("-i plain.mov -c:v mpeg2video -flags +ilme+ildct -top 1 top.mkv");
    Ffmpeg("-i plain.mov -c:v prores_ks -flags +ildct -vf setfield=bff -top 0 bottom.mov");
    EXPECT_EQ(Open(Path("plain.mov"))->info().scan, Scan::Progressive);
    EXPECT_EQ(Open(Path("top.mkv"))->info().scan, Scan::TopFirst);
    EXPECT_EQ(Open(Path("bottom.mov"))->info().scan, Scan::BottomFirst);
}

TEST_F(VideoTest, SmallFramesComeBackWholeFromFfv1) {
    for (int side = 2; side <= 18; ++side) {
        const Frame frame = MakeFrame(side, 20 - side);
        Write("o.mkv", {frame});
        EXPECT_EQ(Read("o.mkv").at(0).pixels, frame.pixels) << side << " pixels wide";
    }
    EXPECT_THROW(Write("o.mkv", {MakeFrame(1, 4)}), Error);
    EXPECT_THROW(Write("o.mkv", {MakeFrame(4, 1)}), Error);
}

}  // namespace
}  // namespace veltrane::media
