#include <cstdlib>
#include <fstream>

#include "command.h"

namespace veltrane {
namespace {

class ChunkTest : public CommandTest {
protected:
    /// A clip of H.264 whose groups of ten frames build on each other, with sound and timecode.
    static void MakeClip(const std::string& name, int frames) {
        const std::string make =
            "ffmpeg -v error -y -f lavfi -i sine=frequency=440:duration=4 -f lavfi -i "
            "testsrc2=size=96x64:rate=25,drawbox=c=0x20c040@0.7:t=fill -map 1:v -map 0:a "
            "-frames:v " +
            std::to_string(frames) +
            " -c:v libx264 -g 10 -bf 2 -pix_fmt yuv420p -c:a aac -timecode 01:00:00:00 "
            "-metadata title=night " +
            name;
        ASSERT_EQ(std::system(make.c_str()), 0);
    }

    void KeyChunks(const std::string& arguments, const std::vector<int>& order, int count) const {
        for (const int index : order)
            Run("key " + arguments + " --quiet --chunk " + std::to_string(index) + '/' +
                std::to_string(count));
    }

    /// The packets of a video, apart from its container.
    static std::string Packets(const std::string& video) {
        const std::string list = "ffmpeg -v error -y -i " + video + " -c copy -f framemd5 ../md5";
        EXPECT_EQ(std::system(list.c_str()), 0);
        return Contents("../md5");
    }
};

TEST_F(ChunkTest, ChunksInAnyOrderMakeTheFileOfASingleRun) {
    MakeClip("clip.mp4", 57);
    const std::string options = " --key-color #20c040";
    for (const std::string range : {"", " --frames 13-50"})
        for (const std::string type : {".mov", ".mkv"}) {
            SCOPED_TRACE(type + range);
            Run("key clip.mp4 whole" + type + options + range);
            KeyChunks("clip.mp4 o" + type + options + range, {5, 2, 7, 1, 3, 6, 4}, 7);
            Run("merge o" + type);
            EXPECT_EQ(Packets("o" + type), Packets("whole" + type));
            EXPECT_TRUE(type == ".mkv" || Contents("o.mov") == Contents("whole.mov"));
            EXPECT_FALSE(fs::exists("o" + type + ".parts"));
        }
}

TEST_F(ChunkTest, AFrameReadAloneIsTheOneThatIsReadAfterAllBefore) {
    MakeClip("clip.mp4", 57);
    const std::string recode = "ffmpeg -v error -y -i clip.mp4 -an ";
    ASSERT_EQ(std::system((recode +
                           "-c:v libx264 -g 20 -bf 4 -x264-params open-gop=1:b-pyramid=2 "
                           "open.mov && " +
                           recode + "-c:v ffv1 alone.mkv")
                              .c_str()),
              0);
    for (const std::string clip : {"clip.mp4", "open.mov", "alone.mkv"}) {
        const auto reader = media::Open(clip);
        int number = 0;
        while (const auto fetched = reader->Fetch()) {
            const media::Frame alone = media::ReadFrame(clip, ++number);
            EXPECT_EQ(alone.number, number);
            EXPECT_TRUE(alone.pixels == reader->Decode(*fetched).pixels) << clip << number;
        }
        EXPECT_EQ(number, 57);
    }
}

TEST_F(ChunkTest, CutsAreMadeWhereDecodingCanBegin) {
    MakeClip("clip.mp4", 57);  // cut before 29 into halves, and a group begins at 31
    const std::string key = "clip.mp4 o.mov --key-color #20c040";
    KeyChunks(key, {2}, 2);
    EXPECT_EQ(nlohmann::json::parse(Contents("o.mov.parts/0002.json"))["first"], 31);
    KeyChunks(key, {1}, 2);
    Run("merge o.mov");
    Run("key clip.mp4 whole.mov --key-color #20c040");
    EXPECT_TRUE(Contents("o.mov") == Contents("whole.mov"));
}

// One run tags all of its output as the first frame is tagged.
TEST_F(ChunkTest, AVideoThatChangesItsColorsIsNotCut) {
    for (const std::string matrix : {"bt709", "smpte170m"}) {
        const std::string make =
            "ffmpeg -v error -y -f lavfi -i testsrc2=size=96x64:rate=25 "
            "-frames:v 6 -c:v prores_ks -vf setparams=colorspace=" +
            matrix + ' ' + matrix + ".mov";
        ASSERT_EQ(std::system(make.c_str()), 0);
    }
    std::ofstream("list") << "file bt709.mov\nfile smpte170m.mov\n";
    ASSERT_EQ(std::system("ffmpeg -v error -y -f concat -i list -c copy clip.mov"), 0);
    const std::string key = "key clip.mov o.mov --key-color #20c040 --chunk ";
    Run(key + "1/2");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "from frame 7 on is mov, prores",
                        Run(key + "2/2", 1).error);
}

// What is found in the shot, by the first chunk that comes, is not looked for again.
TEST_F(ChunkTest, LaterChunksTakeWhatTheFirstOneFound) {
    WriteFrames(6);
    Run("key f.#.png whole.#.png --auto");
    Run("key f.#.png o.#.png --auto --chunk 2/3");
    media::Frame bluish = Picture(1);
    for (std::size_t p = 0; p < bluish.pixels.size(); p += 4)
        std::swap(bluish.pixels[p], bluish.pixels[p + 1]);
    const std::string first = Contents("f.1.png");
    Write("f.1.png", bluish);
    Run("key f.#.png o.#.png --auto --chunk 3/3");
    std::ofstream("f.1.png") << first;
    Run("key f.#.png o.#.png --auto --chunk 1/3");
    for (int i = 1; i <= 6; ++i) {
        const std::string name = std::to_string(i) + ".png";
        EXPECT_TRUE(Contents("o." + name) == Contents("whole." + name)) << i;
    }
}

TEST_F(ChunkTest, EveryChunkTakesTheColourOfTheShotsFirstFrame) {
    for (int i = 1; i <= 6; ++i) {
        media::Frame frame = Picture(i);
        for (std::size_t p = 1; p < frame.pixels.size(); p += 4) frame.pixels[p] -= 900 * i;
        Write("f." + std::to_string(i) + ".png", frame);
    }
    Run("key f.#.png whole.#.exr");
    const auto environment = [](const std::vector<std::pair<const char*, const char*>>& values) {
        for (const auto& [name, value] : values) setenv(name, value, 1);
    };
    environment({{"VELTRANE_CHUNK", "2/3"}});
    Run("key f.#.png o.#.exr");
    unsetenv("VELTRANE_CHUNK");
    environment({{"SLURM_ARRAY_TASK_ID", "7"},
                 {"SLURM_ARRAY_TASK_MIN", "5"},
                 {"SLURM_ARRAY_TASK_MAX", "7"},
                 {"SLURM_ARRAY_TASK_COUNT", "3"}});
    Run("key f.#.png o.#.exr --chunk auto");
    environment({{"SLURM_ARRAY_TASK_COUNT", "2"}});
    Run("key f.#.png o.#.exr --chunk auto", 2);
    unsetenv("SLURM_ARRAY_TASK_ID");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "of 3 chunks are missing: 1\n",
                        Run("merge o.#.exr", 1).error);
    environment({{"JOB_COMPLETION_INDEX", "0"}, {"JOB_COMPLETION_COUNT", "3"}});
    Run("key f.#.png o.#.exr --chunk auto");
    unsetenv("JOB_COMPLETION_INDEX");
    Run("merge o.#.exr");
    for (int i = 1; i <= 6; ++i) {
        const std::string name = std::to_string(i) + ".exr";
        EXPECT_TRUE(Contents("o." + name) == Contents("whole." + name)) << i;
    }
}

TEST_F(ChunkTest, WhatDoesNotFitTogetherIsRefused) {
    WriteFrames(14);
    const std::string key = "f.#.png o.mov --key-color #40b838";
    std::ofstream("other.json") << R"({"shadow": 50})";
    KeyChunks(key, {1, 2, 4, 7}, 7);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "o.mov: of 7 chunks are missing: 3,5-6\n",
                        Run("merge o.mov", 1).error);
    for (const auto& [other, named] :
         {std::pair{" --shadow 50", "options/--shadow nothing, not [\"50\"]"},
          {" --fps 25", "fps \"\", not \"25\""},
          {" --frames 2-", "range \"\", not \"2-\""},
          {" --preset other.json", "asked/shadow 100, not 50"}})
        EXPECT_PRED_FORMAT2(testing::IsSubstring, named,
                            Run("key " + key + other + " --chunk 3/7", 2).error);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "chunks 7, not 8",
                        Run("key " + key + " --chunk 3/8", 2).error);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "chunk 2 of 7 is whole already",
                        Run("key " + key + " --chunk 2/7").error);
    KeyChunks(key, {3, 5, 6}, 7);
    const auto record = nlohmann::json::parse(Contents("o.mov.parts/0003.json"));
    auto wrong = record;
    for (const auto& [first, fault] :
         {std::pair{6, "leaves a gap at frame 5"}, {4, "overlaps at frame 4"}}) {
        wrong["first"] = first;
        std::ofstream("o.mov.parts/0003.json") << wrong;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, std::string("0003.json: ") + fault,
                            Run("merge o.mov", 1).error);
    }
    std::ofstream("o.mov.parts/0003.json") << record;
}

// As a power cut leaves them: of one part a byte is wrong, another is empty.
TEST_F(ChunkTest, DamagedPartsAreKeyedAnew) {
    WriteFrames(14);
    const std::string key = "f.#.png o.mov --key-color #40b838";
    KeyChunks(key, {1, 2, 3, 4, 5, 6, 7}, 7);
    std::string part = Contents("o.mov.parts/0003.mov");
    part[part.size() / 2] ^= 1;
    std::ofstream("o.mov.parts/0003.mov") << part;
    fs::resize_file("o.mov.parts/0006.mov", 0);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "0003.mov: is damaged", Run("merge o.mov", 1).error);
    EXPECT_FALSE(fs::exists("o.mov"));
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "of 7 chunks are missing: 3,6\n",
                        Run("merge o.mov", 1).error);
    KeyChunks(key, {6, 3}, 7);
    Run("merge o.mov");
    Run("key f.#.png whole.mov --key-color #40b838");
    EXPECT_TRUE(Contents("o.mov") == Contents("whole.mov"));
}

// As another version of FFmpeg may write it: packets that only their own header explains.
TEST_F(ChunkTest, PartsThatAreCodedOtherwiseAreNotJoined) {
    WriteFrames(4);
    KeyChunks("f.#.png o.mkv --key-color #40b838", {1, 2}, 2);
    const std::string name = "o.mkv.parts/0002.mkv";
    std::string part = Contents(name);
    const std::size_t letters = part.find("FFV1");  // stands 24 bytes before the header
    ASSERT_LT(letters, part.size());
    part[letters + 40] ^= 1;
    std::ofstream(name) << part;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, name + ": is 64x48 ffv1, coded unlike the whole",
                        Run("merge o.mkv", 1).error);
    EXPECT_FALSE(fs::exists("o.mkv"));
}

// Frames of an earlier run, with other settings perhaps, are not taken for the chunk's own.
TEST_F(ChunkTest, AChunkKeepsTheFramesOfItsOwnFirstTryOnly) {
    WriteFrames(6);
    for (const char* name : {"o.1.png", "o.2.png"}) fs::copy("in.png", name);
    const std::string key = "key f.#.png o.#.png --key-color #40b838 --chunk 1/2";
    EXPECT_EQ(Json(key)["kept"], 0);
    fs::remove("o.#.png.parts/0001.json");
    fs::remove("o.2.png");
    EXPECT_EQ(Json(key)["kept"], 2);
    EXPECT_EQ(media::ReadFrame("o.2.png", 1).pixels, Keyed(green_, Picture(2)));
}

}  // namespace
}  // namespace veltrane
