#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <map>
#include <random>
#include <thread>
#include <tuple>

#include "command.h"
#include "files/whole_file.h"

namespace {
long failingCall = 0;

int OverQuota() {
    errno = EDQUOT;
    return -1;
}
}  // namespace

// In place of the C library's, to fail as late as file systems can.
extern "C" int fsync(int file) {
    return failingCall == SYS_fsync ? OverQuota() : int(syscall(SYS_fsync, file));
}
extern "C" int close(int file) {
    const auto closed = int(syscall(SYS_close, file));
    return failingCall == SYS_close ? OverQuota() : closed;
}

namespace veltrane {
namespace {

class OutputsTest : public CommandTest {
protected:
    static std::map<std::string, std::string> Everything(const fs::path& folder = ".") {
        std::map<std::string, std::string> contents;
        for (const auto& entry : fs::recursive_directory_iterator(folder))
            contents[entry.path()] = entry.is_regular_file() ? Contents(entry.path()) : "";
        return contents;
    }

    static bool HoldsTemporary(const fs::path& folder) {
        const std::set<fs::path> files = Files(folder);
        return std::any_of(files.begin(), files.end(),
                           [](const fs::path& file) { return files::IsTemporary(file); });
    }

    static void WaitForTemporary(pid_t command, const fs::path& folder) {
        WaitUntil(command, [&] { return HoldsTemporary(folder); });
    }

    static void Pause(std::chrono::microseconds time) { std::this_thread::sleep_for(time); }
};

TEST_F(OutputsTest, NoOutputTakesThePlaceOfASourceOrAnother) {
    for (const char* number : {"0001", "0002", "0003"})
        fs::copy("in.png", std::string("s.") + number + ".png");
    for (const char* number : {"999", "1000"})
        fs::copy("in.png", "n." + std::string(number) + ".png");
    fs::create_symlink("in.png", "link.png");
    fs::create_hard_link("in.png", "hard.png");
    fs::create_symlink("s.0003.png", "l.0001.png");
    fs::create_symlink("new.png", "dangling.json");
    fs::create_directory("d");
    Run("key s.%04d.png d/result.mov --view source");
    fs::create_directory("e");
    fs::create_symlink("../d/result.mov", "e/matte.mp4");
    WritePreset("look.png", green_);
    fs::copy("in.png", ".veltrane-0-1-0.part");
    const auto before = Everything();
    for (const auto& [named, arguments] : {
             std::pair{"../work/in.png", "in.png ../work/in.png"},
             {"link.png", "in.png link.png"},
             {"hard.png", "in.png hard.png"},
             {"s.0001.png", "s.0001.png s.%04d.png"},
             {"s.0002.png", "s.%04d.png s.0002.png --frames 3"},
             {"s.0001.png", "s.####.png ./s.%04d.png"},
             {"n.1000.png", "n.%d.png n.%04d.png"},
             {"l.0001.png", "s.%04d.png l.%04d.png --frames 1"},
             {"s.0002.png", "in.png s.0002.png --background s.%04d.png"},
             {"look.png", "in.png look.png --preset look.png"},
             {"in.png", "in.png o.png --save-preset in.png"},
             {"o.png", "in.png o.png --save-preset d/../o.png"},
             {"o.0002.png", "s.%04d.png o.%04d.png --save-preset o.0002.png"},
             {"dangling.json", "in.png new.png --save-preset dangling.json"},
             {"../error", "in.png o.png --save-preset ../error"},
             {"d/result.mov", "d --sample d/result.mov"},
             {"e/matte.mp4", "e --sample d/result.mov"},
             {"g/result.png", "g --sample s.%04d.png --strip g/result.png"},
             {".veltrane-0-1-0.part", ".veltrane-0-1-0.part o.png"},
         }) {
        SCOPED_TRACE(arguments);
        const bool demo = std::string(arguments).find("--sample") != std::string::npos;
        const std::string error = Run((demo ? "demo " : "key ") + std::string(arguments), 2).error;
        EXPECT_TRUE(error.find("/" + std::string(named) + " ") != error.npos ||
                    error.starts_with("veltrane: " + std::string(named) + " "))
            << error;
        EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
        EXPECT_TRUE(Everything() == before);
    }
    // Close to the above, and harmless: no frame falls on another, and a preset has been read.
    Run("key n.%d.png n.%04d.png --frames 999");
    Run("key in.png o.png --preset look.png --save-preset look.png --shadow 7");
    EXPECT_EQ(ReadPreset("look.png").shadow, 7);
    EXPECT_EQ(Contents("in.png"), before.at("./in.png"));
}

TEST_F(OutputsTest, LinksAreFollowedAndWhatIsThereKeepsItsKind) {
    fs::create_directory("far");
    fs::create_symlink("far/preset", "l.json");
    const std::string key = "key in.png --quiet --view matte ";
    for (const char* type : {"png", "tif", "exr", "jpg", "mov"}) {
        const std::string link = std::string("l.") + type;
        const std::string longest = "far/" + std::string(251, 'n') + '.' + type;
        fs::create_symlink(longest, link);
        Run(key + link);  // to where nothing is yet
        fs::permissions(longest, fs::perms(0640));
        std::ofstream(longest) << "an older one";
        Run(key + link + " --save-preset l.json");
        EXPECT_EQ(media::Open(longest)->info().width, 64);
        EXPECT_EQ(fs::status(longest).permissions(), fs::perms(0640)) << link;
        EXPECT_TRUE(fs::is_symlink(link) && fs::is_symlink("l.json")) << link;
        EXPECT_EQ(ReadPreset("far/preset").view, View::Matte);
    }
    fs::create_symlink("round.png", "round.png");
    std::ofstream("look.json.part") << "mine";
    const std::string tooLong = std::string(252, 'n') + ".mov";
    for (const char* pipe : {"pipe.png", "pipe.mov", "pipe.json"}) ASSERT_EQ(mkfifo(pipe, 0600), 0);
    for (const auto& [arguments, status, message] :
         {std::tuple{"pipe.png", 1, "pipe.png: is a device or a pipe"},
          {"pipe.mov", 1, "pipe.mov: is a device or a pipe"},
          {"o.png --save-preset pipe.json", 1, "pipe.json: is a device or a pipe"},
          {"round.png", 1, "round.png: cannot be written"},
          {tooLong.c_str(), 1, ".mov: cannot be written: File name too long"},
          {"o.png --save-preset look.json", 0, ""}})
        EXPECT_PRED_FORMAT2(testing::IsSubstring, message, Run(key + arguments, status).error);
    for (const char* pipe : {"pipe.png", "pipe.mov", "pipe.json"}) EXPECT_TRUE(fs::is_fifo(pipe));
    EXPECT_EQ(Contents("look.json.part"), "mine");
    EXPECT_FALSE(HoldsTemporary(".") || HoldsTemporary("far"));
}

TEST_F(OutputsTest, LateErrorsLeaveTheOldFile) {
    WritePreset("look.json", green_);
    for (const long call : {SYS_fsync, SYS_close}) {
        failingCall = call;
        EXPECT_THROW(WritePreset("look.json", Settings()), files::StorageError) << call;
        failingCall = 0;
        EXPECT_EQ(ReadPreset("look.json"), green_);
        EXPECT_FALSE(HoldsTemporary("."));
    }
}

TEST_F(OutputsTest, EverySignalThatCanBeCaughtRemovesWhatIsUnfinished) {
    fs::create_directory("out");
    LinkManyStills();
    const std::vector<std::vector<int>> deaths{
        {SIGINT, SIGTERM}, {SIGHUP, SIGHUP, SIGINT}, {SIGPIPE}, {SIGABRT}, {SIGXCPU}, {SIGRTMAX}};
    for (const std::vector<int>& signals : deaths) {
        const auto stop = [&](pid_t child) {
            WaitForTemporary(child, "out");
            for (const int signal : signals) kill(child, signal);
        };
        constexpr int kKilled = -1;
        Run("key s.%04d.jpg --defaults out/o.mov", kKilled, stop);
        EXPECT_EQ(Everything("out").size(), 0u) << signals[0];
    }
    for (const auto& [signal, output, status, line] :
         {std::tuple{SIGINT, "out/o.mov", 130, "veltrane: interrupted\n"},
          {SIGHUP, "out/o.mov", 130, "veltrane: interrupted\n"},
          {SIGTERM, "out/o.%04d.tif", 75, "veltrane: stopped by SIGTERM\n"}}) {
        const auto stop = [sent = signal](pid_t child) {
            WaitUntil(child, [] { return !fs::is_empty("out"); });
            kill(child, sent);
        };
        const std::string error =
            Run(std::string("key s.%04d.jpg --defaults ") + output, status, stop).error;
        EXPECT_TRUE(error.ends_with(line)) << error;
    }
    for (const fs::path& file : Files("out")) {
        ASSERT_EQ(file.extension(), ".tif") << file;
        EXPECT_EQ(media::ReadFrame(file, 1).width, 1920);
    }
}

// As a thread makes a file while another one handles the signal.
TEST_F(OutputsTest, NothingIsMadeBehindASignalsBack) {
    files::Unfinished list;
    char* const noted = *list.Add("late.part");
    std::thread maker([&] {
        while (!list.ending()) std::this_thread::yield();
        Pause(std::chrono::milliseconds(2));
        std::ofstream("late.part") << "late";
    });
    list.RemoveAll();
    maker.join();
    std::free(noted);  // which no signal handler may
    EXPECT_FALSE(fs::exists("late.part"));
    const files::WholeFile file("o.mov");
    fs::remove(fs::read_symlink(file.PathOfOpenFile()));
    std::ofstream(file.PathOfOpenFile()) << "from a library";
    EXPECT_FALSE(HoldsTemporary("."));
}

TEST_F(OutputsTest, TheNextRunRemovesWhatDeadProcessesLeftAndNothingElse) {
    fs::create_directory("out");
    const files::WholeFile living("out/another.png");
    const std::string own = fs::read_symlink(living.PathOfOpenFile()).filename();
    const std::string foreign = "out/.veltrane-0000000f" + own.substr(own.find('-', 10));
    for (const std::string& kept : {foreign, std::string("out/.mine.part"), std::string("out/1")})
        std::ofstream(kept) << "kept";
    const auto before = Everything("out");
    LinkManyStills();
    for (const char* next : {"out/o.%d.png", "out/o.mov", "o.png --save-preset out/o"}) {
        Run("key s.%04d.jpg --defaults out/dead.mov", -1, [&](pid_t child) {
            WaitUntil(child, [&] { return Files("out").size() > before.size(); });
            kill(child, SIGKILL);
        });
        EXPECT_EQ(Everything("out").size(), before.size() + 1);
        Run(std::string("key in.png ") + next);
        for (const char* made : {"out/o.1.png", "out/o.mov", "out/o"}) fs::remove(made);
        EXPECT_TRUE(Everything("out") == before) << next;
    }
}

TEST_F(OutputsTest, KilledAtAnyMomentEveryFrameIsWholeAndResumeLeavesNoTrace) {
    constexpr int kFrames = 30;
    WriteFrames(kFrames);
    for (const char* folder : {"whole", "killed"}) fs::create_directory(folder);
    const auto key = [](const std::string& output) {
        return "key f.#.png --key-color #40b838 --quiet --threads 2 " + output;
    };
    std::mt19937 random(7);
    for (const std::string name : {"/o.#.png", "/o.mkv"}) {
        std::chrono::microseconds time{};
        Run(key("whole" + name), 0, [&](pid_t child) {
            WaitForTemporary(child, "whole");
            const auto start = std::chrono::steady_clock::now();
            waitid(P_PID, id_t(child), nullptr, WEXITED | WNOWAIT);
            time = std::chrono::duration_cast<std::chrono::microseconds>(
                std::chrono::steady_clock::now() - start);
        });
        const auto whole = Everything("whole");
        for (int round = 0; round < 10; ++round) {
            const pid_t child = Start(key("killed" + name));
            WaitForTemporary(child, "killed");
            Pause(time * int(random() % 1000) / 1000);
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
            for (const auto& [path, content] : Everything("killed"))
                EXPECT_TRUE(files::IsTemporary(path) ||
                            content == whole.at("whole" + path.substr(6)))
                    << path;
        }
        Run(key("killed" + name) + (name == "/o.mkv" ? "" : " --resume"));
        std::map<std::string, std::string> resumed;
        for (const auto& [path, content] : Everything("killed"))
            resumed["whole" + path.substr(6)] = content;
        EXPECT_TRUE(resumed == whole) << name;
    }
}

}  // namespace
}  // namespace veltrane
