#include <sys/resource.h>

#include <csignal>
#include <limits>
#include <thread>

#include "media/sequence_path.h"
#include "media_support.h"

namespace veltrane::media {
namespace {

using SequencesTest = MediaTest;

void WriteNumbers(const std::string& pattern, const std::vector<std::int64_t>& numbers) {
    const auto writer = Create(pattern, {}, InfoFor(RandomFrame(8, 6, 1, numbers[0]), 99));
    for (std::int64_t n : numbers) {
        const Frame frame = RandomFrame(8, 6, static_cast<unsigned>(n), n);
        writer->Append(*writer->Encode(frame, frame));
    }
    writer->Finish();
}

std::vector<std::int64_t> Numbers(const std::vector<Frame>& frames) {
    std::vector<std::int64_t> numbers;
    for (const Frame& frame : frames) numbers.push_back(frame.number);
    return numbers;
}

TEST(SequencePath, PatternsAndNumbers) {
    const auto padded = *SequencePath::Parse("dir.#/a.%04d.png");
    EXPECT_EQ(padded.ForNumber(7), "dir.#/a.0007.png");
    EXPECT_EQ(padded.ForNumber(123456), "dir.#/a.123456.png");
    EXPECT_EQ(padded.NumberOf("a.0042.png"), 42);
    EXPECT_EQ(padded.NumberOf("a.12345.png"), 12345);
    for (const char* other : {"a.042.png", "a.01234.png", "a.-001.png", "a.0042.tif", "b.0042.png",
                              "a..png", "a.00x2.png", ".a.0042.png.1-2.part"}) {
        EXPECT_FALSE(padded.NumberOf(other)) << other;
    }
    const auto hashes = *SequencePath::Parse("###.exr");
    EXPECT_EQ(hashes.ForNumber(0), "000.exr");
    const auto plain = *SequencePath::Parse("x%d_v2.png");
    EXPECT_EQ(plain.ForNumber(10), "x10_v2.png");
    EXPECT_EQ(plain.NumberOf("x10_v2.png"), 10);
    EXPECT_FALSE(plain.NumberOf("x010_v2.png"));
    for (const char* none : {"a.png", "a%4d.png", "a%dx#.png", "100%.png", "a#/b.png", "%x.png",
                             "%099999999999999999999d.png", "################.png"}) {
        EXPECT_FALSE(SequencePath::Parse(none)) << none;
    }
}

TEST_F(SequencesTest, FramesAreFoundNumberedAndMissed) {
    WriteNumbers(Path("s.####.png"), {8, 9, 10, 13, 15});
    const auto reader = Open(Path("s.%04d.png"));
    EXPECT_EQ(reader->info().kind, Kind::Sequence);
    EXPECT_EQ(reader->info().firstFrame, 8);
    EXPECT_EQ(reader->info().frameCount, 5);
    EXPECT_EQ(reader->info().missingFrames, (std::vector<std::int64_t>{11, 12, 14}));
    const std::vector<Frame> all = ReadAll(Path("s.####.png"));
    EXPECT_EQ(Numbers(all), (std::vector<std::int64_t>{8, 9, 10, 13, 15}));
    for (const Frame& frame : all) {
        EXPECT_EQ(frame.pixels, RandomFrame(8, 6, static_cast<unsigned>(frame.number)).pixels);
    }
    ReadOptions part;
    part.frames = FrameRange{10, 14};
    EXPECT_EQ(Numbers(ReadAll(Path("s.####.png"), part)), (std::vector<std::int64_t>{10, 13}));
    EXPECT_EQ(Open(Path("s.####.png"), part)->info().missingFrames,
              (std::vector<std::int64_t>{11, 12, 14}));
    EXPECT_EQ(ReadFrame(Path("s.####.png"), 13).pixels, RandomFrame(8, 6, 13).pixels);
}

TEST_F(SequencesTest, BadRangesAndFilesAreNamed) {
    WriteNumbers(Path("s.#.png"), {3, 4, 6});
    const auto open = [&](std::int64_t first, std::int64_t last) {
        ReadOptions options;
        options.frames = FrameRange{first, last};
        return ErrorOf([&] { Open(Path("s.#.png"), options); });
    };
    EXPECT_EQ(open(3, 9), Path("s.#.png") + ": frames 3-9 asked for, but it holds 3-6");
    EXPECT_NE(open(1, 4), "");
    EXPECT_NE(open(5, 4), "");
    EXPECT_NE(open(5, 5), "") << "no frame of the range is there";
    EXPECT_EQ(open(4, std::numeric_limits<std::int64_t>::max()), "");
    EXPECT_NE(ErrorOf([&] { Open(Path("none.#.png")); }), "");
    EXPECT_NE(ErrorOf([&] { ReadFrame(Path("s.3.png"), 2); }), "");

    Write(Path("s.5.png"), RandomFrame(9, 6, 1));
    EXPECT_EQ(ErrorOf([&] { ReadAll(Path("s.#.png")); }),
              Path("s.5.png") + ": is 9x6, where the sequence is 8x6");
}

TEST_F(SequencesTest, ResumeTrustsOnlyWholeFrames) {
    WriteNumbers(Path("r.#.png"), {1, 2, 3});
    Cut("r.2.png", 0.9);
    Write(Path("r.3.png"), RandomFrame(7, 6, 1));
    std::ofstream(Path("r.4.png")) << "text";
    WriteOptions options;
    const Info info = InfoFor(RandomFrame(8, 6, 1), 9);
    EXPECT_FALSE(Create(Path("r.#.png"), options, info)->Has(1)) << "asked for, only";
    options.resume = true;
    const auto writer = Create(Path("r.#.png"), options, info);
    EXPECT_TRUE(writer->Has(1));
    for (int n : {2, 3, 4, 5}) EXPECT_FALSE(writer->Has(n)) << n;
    options.opaque = true;
    EXPECT_FALSE(Create(Path("r.#.png"), options, info)->Has(1)) << "its channels are others";
}

TEST_F(SequencesTest, ManyThreadsWriteTheSameFiles) {
    const Info info = InfoFor(RandomFrame(8, 6, 1), 40);
    const auto writer = Create(Path("t.##.png"), {}, info);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int n = 1 + t; n <= 40; n += 4) {
                const Frame frame = RandomFrame(8, 6, static_cast<unsigned>(n), n);
                writer->Encode(frame, frame);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::vector<Frame> frames = ReadAll(Path("t.##.png"));
    ASSERT_EQ(frames.size(), 40u);
    for (const Frame& frame : frames) {
        EXPECT_EQ(frame.pixels, RandomFrame(8, 6, static_cast<unsigned>(frame.number)).pixels);
    }
    EXPECT_EQ(FileCount(), 40u) << "no temporary file stays";
}

TEST_F(SequencesTest, PlacesThatCannotBeWrittenAreNamed) {
    const Frame frame = RandomFrame(8, 6, 1);
    const auto create = [&](const std::string& name, std::int64_t count) {
        return ErrorOf([&] { Create(Path(name), {}, InfoFor(frame, count)); });
    };
    EXPECT_NE(create("no/such/a.png", 1).find("No such file"), std::string::npos);
    EXPECT_NE(create("a.png", 2).find("frame.%04d.png"), std::string::npos);
    EXPECT_NE(create("a.gif", 1).find("'.gif' cannot be written"), std::string::npos);
    EXPECT_NE(create("noextension", 1).find("cannot be written"), std::string::npos);
    std::filesystem::create_directory(Path("b.png"));
    EXPECT_NE(create("b.png", 1).find("is a folder"), std::string::npos);
    std::filesystem::remove(Path("b.png"));
    EXPECT_EQ(FileCount(), 0u);
}

/// Limits the size of files for a while, as a full disk does.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limited{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    void (*handler_)(int);
    rlimit before_;
};

TEST_F(SequencesTest, FullDiskIsOneLineAndLeavesWhatIsDone) {
    const Frame frame = RandomFrame(200, 100, 1);
    Write(Path("done.png"), frame);
    WriteOptions opaque;
    opaque.opaque = true;
    for (const char* name :
         {"a.png", "a.tif", "a.exr", "a.jpg", "a.mov", "a.mkv", "a.webm", "a.mp4", "done.png"}) {
        const FullDisk full(4000);
        const std::string error = ErrorOf([&] { Write(Path(name), frame, opaque); });
        EXPECT_EQ(error.rfind(Path(name) + ": cannot be written", 0), 0u) << error;
    }
    EXPECT_EQ(FileCount(), 1u);
    EXPECT_EQ(ReadFrame(Path("done.png"), 1).pixels, frame.pixels);
}

}  // namespace
}  // namespace veltrane::media
