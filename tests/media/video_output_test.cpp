#include <cmath>

#include "media_support.h"

namespace veltrane::media {
namespace {

class VideoOutputTest : public MediaTest {
protected:
    /// Copies a video frame by frame, giving it a made alpha unless it is to be opaque.
    void Copy(const std::string& from, const std::string& to, WriteOptions options = {},
              ReadOptions part = {}) {
        const auto reader = Open(from, part);
        const auto writer = Create(Path(to), options, reader->info());
        while (const auto fetched = reader->Fetch()) {
            const Frame source = reader->Decode(*fetched);
            Frame result = source;
            for (std::size_t i = 0; i < result.pixels.size() / 4 && !options.opaque; ++i) {
                result.pixels[i * 4 + 3] = Alpha(i);
            }
            writer->Append(*writer->Encode(result, source));
        }
        writer->Finish();
    }

    /// The times of a file's video packets, in seconds.
    std::vector<double> Times(const std::string& name) {
        const std::string text = Probe(name, "packet=pts_time -select_streams v");
        std::vector<double> list;
        for (std::size_t at = 0; (at = text.find("pts_time=", at)) != std::string::npos; at += 9) {
            list.push_back(std::stod(text.substr(at + 9)));
        }
        return list;
    }

    /// A smooth alpha with hard edges, by the pixel's place.
    static std::uint16_t Alpha(std::size_t i) {
        const std::size_t x = i % 960, y = i / 960;
        if (x < 100) return y % 128 < 64 ? 0 : 65535;
        return static_cast<std::uint16_t>(std::min<std::size_t>(x * 70, 65535));
    }

    const std::string clip = VELTRANE_SAMPLES "/clip.mp4";
    const ReadOptions three{{}, {}, FrameRange{2, 4}};
};

TEST_F(VideoOutputTest, AlphaAndColourSurvive) {
    const std::vector<Frame> source = ReadAll(clip, three);
    const struct {
        const char* name;
        int alphaBound;     ///< of 65535
        double meanColour;  ///< mean error, of 65535
    } cases[] = {
        {"a.mkv", 0, 0},            // lossless at 16 bits
        {"a.mov", 48, 150},         // alpha: written with 10 bits, read back cut to 12 (32 and 16)
        {"a.webm", 3 * 257, 1300},  // lossy at 8 bits, and 4:2:0
    };
    for (const auto& test : cases) {
        Copy(clip, test.name, {}, three);
        const std::vector<Frame> back = ReadAll(Path(test.name));
        ASSERT_EQ(back.size(), 3u) << test.name;
        EXPECT_TRUE(Open(Path(test.name))->info().hasAlpha) << test.name;
        double sum = 0;
        int alphaError = 0;
        for (std::size_t f = 0; f < 3; ++f) {
            EXPECT_EQ(back[f].number, static_cast<std::int64_t>(f) + 1);
            for (std::size_t i = 0; i < back[f].pixels.size(); ++i) {
                const bool alpha = i % 4 == 3;
                const int expected = alpha ? Alpha(i / 4) : source[f].pixels[i];
                const int error = std::abs(back[f].pixels[i] - expected);
                if (alpha) alphaError = std::max(alphaError, error);
                if (!alpha) sum += error;
            }
        }
        const double mean = sum / (3.0 * 960 * 540 * 3);
        std::printf("%s: alpha within %d, colour off by %.1f on average\n", test.name, alphaError,
                    mean);
        EXPECT_LE(alphaError, test.alphaBound) << test.name;
        EXPECT_LE(mean, test.meanColour) << test.name;
        EXPECT_EQ(FileCount(), 1u) << "nothing temporary";
        std::filesystem::remove(Path(test.name));
    }
}

TEST_F(VideoOutputTest, FormatsWithoutAlphaNeedOpaqueFrames) {
    EXPECT_EQ(ErrorOf([&] { Copy(clip, "a.mp4"); }),
              Path("a.mp4") + ": mp4 (H.264) cannot hold alpha; these can: " + FormatsWithAlpha());
    EXPECT_EQ(FileCount(), 0u);
    WriteOptions opaque;
    opaque.opaque = true;
    const std::vector<Frame> source = ReadAll(clip, three);
    for (const char* name : {"a.mp4", "a.mov", "a.mkv", "a.webm"}) {
        Copy(clip, name, opaque, three);
        EXPECT_FALSE(Open(Path(name))->info().hasAlpha);
        const std::vector<Frame> back = ReadAll(Path(name));
        ASSERT_EQ(back.size(), 3u);
        EXPECT_EQ(MaxDifference(back[0], source[0], 3, 3), 0);
        EXPECT_LE(MaxDifference(back[0], source[0], 0, 2), 50 * 257);
    }
    EXPECT_NE(
        ErrorOf([&] { Write(Path("odd.mp4"), RandomFrame(7, 6, 1), opaque); }).find("even width"),
        std::string::npos);
    Write(Path("odd.mov"), RandomFrame(7, 5, 1), opaque);
    EXPECT_EQ(ReadFrame(Path("odd.mov"), 1).width, 7);
}

TEST_F(VideoOutputTest, AnUnfinishedVideoLeavesNothing) {
    std::ofstream(Path("old.mov")) << "before";
    {
        const auto reader = Open(clip);
        const auto writer = Create(Path("old.mov"), {}, reader->info());
        const Frame frame = reader->Decode(*reader->Fetch());
        writer->Append(*writer->Encode(frame, frame));
        EXPECT_EQ(FileCount(), 2u);
        EXPECT_EQ(std::filesystem::file_size(Path("old.mov")), 6u);
    }
    EXPECT_EQ(FileCount(), 1u);
    EXPECT_EQ(std::filesystem::file_size(Path("old.mov")), 6u);
}

TEST_F(VideoOutputTest, TagsRateAndTimecodeAreCarried) {
    const std::string make =
        "-f lavfi -i testsrc2=s=64x48:r=24000/1001:d=2 -vf "
        "scale=out_color_matrix=bt2020nc,format=yuv422p10le -c:v prores_ks -color_primaries bt2020 "
        "-color_trc arib-std-b67 -colorspace bt2020nc -metadata title=Shot -timecode 01:00:00:22 ";
    Ffmpeg(make + "hlg.mov");
    Ffmpeg(make + "ms.mkv");
    ReadOptions part;
    part.frames = FrameRange{4, 30};
    for (const char* from : {"hlg.mov", "ms.mkv"}) {
        for (const char* to : {"o.mov", "o.mkv"}) {
            Copy(Path(from), to, {}, part);
            const std::string tags = Probe(
                to, "stream=color_space,color_transfer,color_primaries,r_frame_rate:format_tags");
            EXPECT_NE(tags.find("color_transfer=arib-std-b67|color_primaries=bt2020"),
                      std::string::npos)
                << tags;
            EXPECT_NE(tags.find("r_frame_rate=24000/1001"), std::string::npos) << tags;
            EXPECT_NE(tags.find("=Shot"), std::string::npos) << tags;
            EXPECT_EQ(Open(Path(to))->info().timecode, "01:00:01:01") << from << to;
        }
        EXPECT_NE(Probe("o.mkv", "stream=color_space").find("gbr"), std::string::npos);
    }
    Copy(Path("ms.mkv"), "o.mov", {}, part);
    EXPECT_NE(Probe("o.mov", "stream=color_space").find("color_space=bt2020nc"), std::string::npos);
    // Matroska rounds to milliseconds; what is written from it are whole frames again.
    const std::vector<double> times = Times("o.mov");
    ASSERT_EQ(times.size(), 27u);
    for (int i = 0; i < 27; ++i) EXPECT_NEAR(times[i], i * 1001.0 / 24000, 2e-6);
    // A clip made from stills is BT.709.
    Write(Path("still.mov"), RandomFrame(64, 48, 1));
    EXPECT_NE(
        Probe("still.mov", "stream=color_range,color_space,color_transfer,color_primaries")
            .find("color_range=tv|color_space=bt709|color_transfer=bt709|color_primaries=bt709"),
        std::string::npos);
}

TEST_F(VideoOutputTest, VariableFrameRateKeepsItsTimes) {
    Ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=30:d=1 -vf \"select='not(mod(n,7))+not(mod(n,5))'\" -vsync "
        "vfr v.mp4");
    Copy(Path("v.mp4"), "o.mov");
    Ffmpeg("-i v.mp4 -vsync passthrough -c:v ffv1 ref.mkv");
    const std::vector<double> expected = Times("ref.mkv"), got = Times("o.mov");
    ASSERT_EQ(got.size(), 10u);
    ASSERT_EQ(expected.size(), got.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_NEAR(got[i], expected[i] - expected[0], 0.001);
}

TEST_F(VideoOutputTest, AudioFollowsThePictures) {
    // Silence for a second, then a tone, for two seconds in all.
    const std::string picture = "-f lavfi -i testsrc2=s=64x48:r=24:d=2 ";
    Ffmpeg(picture +
           "-f lavfi -i \"aevalsrc='if(gte(t,1),0.5*sin(2*PI*440*t),0)':s=48000:d=2\" -c:v ffv1 "
           "-c:a pcm_s16le pcm.mkv");
    Ffmpeg("-i pcm.mkv -c:v mpeg4 -c:a aac aac.mov");
    ReadOptions part;
    part.frames = FrameRange{19, 36};
    const struct {
        const char *from, *to, *codec;
        bool opaque;
    } cases[] = {{"pcm.mkv", "o.mov", "pcm_s16le", false}, {"pcm.mkv", "o.mkv", "pcm_s16le", false},
                 {"aac.mov", "o.mov", "aac", false},       {"aac.mov", "o.mp4", "aac", true},
                 {"pcm.mkv", "o.mp4", "aac", true},        {"aac.mov", "o.webm", "opus", false}};
    for (const auto& test : cases) {
        WriteOptions options;
        options.opaque = test.opaque;
        Copy(Path(test.from), test.to, options, part);
        EXPECT_NE(Probe(test.to, "stream=codec_name").find(std::string("codec_name=") + test.codec),
                  std::string::npos);
        EXPECT_EQ(Open(Path(test.to))->info().audioStreams, 1);
        Ffmpeg(std::string("-i ") + test.to +
               " -af aresample=async=1:first_pts=0 -ac 1 -ar 48000 -f s16le sound");
        std::ifstream file(Path("sound"), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        const auto* sound = reinterpret_cast<const std::int16_t*>(bytes.data());
        const std::size_t count = bytes.size() / 2;
        std::size_t loud = 0;
        while (loud < count && std::abs(sound[loud]) < 3000) ++loud;
        // Frame 19 begins at 0.75 s, so the tone begins at 0.25 s; 18 frames last 0.75 s.
        EXPECT_NEAR(static_cast<double>(loud) / 48000, 0.25, 0.015) << test.from << test.to;
        EXPECT_NEAR(static_cast<double>(count) / 48000, 0.75, 0.05) << test.from << test.to;
    }
    WriteOptions silent;
    silent.audio = false;
    Copy(Path("pcm.mkv"), "o.mov", silent, part);
    EXPECT_EQ(Open(Path("o.mov"))->info().audioStreams, 0);
}

TEST_F(VideoOutputTest, TheSameFramesGiveTheSameFile) {
    const auto bytes = [&](const char* name) {
        std::ifstream file(Path(name), std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(file), {}};
    };
    for (const char* extension : {"mov", "mkv", "webm"}) {
        const std::string first = std::string("1.") + extension,
                          second = std::string("2.") + extension;
        Copy(clip, first, {}, three);
        Copy(clip, second, {}, three);
        EXPECT_TRUE(bytes(first.c_str()) == bytes(second.c_str())) << extension;
    }
}

}  // namespace
}  // namespace veltrane::media
