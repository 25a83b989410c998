// Keys frames of the sample clip in real frei0r hosts and compares with the library bit for bit.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/hosts/frei0r/expected.h"

namespace veltrane {
namespace {

namespace fs = std::filesystem;

const std::string kRaw = "ffmpeg -f rawvideo -pixel_format rgba -video_size 960x540 -framerate 24 ";

std::string Contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Shell(const std::string& command) {
    EXPECT_EQ(std::system((command + " >log 2>&1 </dev/null").c_str()), 0) << command << '\n'
                                                                           << Contents("log");
}

/// Runs hosts in a folder with in.rgba and in.mov, which hold three frames of the clip with every
/// alpha.
class Frei0rHost : public testing::Test {
protected:
    Frei0rHost() {
        std::string pattern = fs::path(testing::TempDir()) / "veltrane-frei0r-XXXXXX";
        fs::current_path(mkdtemp(pattern.data()));
        setenv("FREI0R_PATH", VELTRANE_PLUGIN_FOLDER, 1);
        setenv("GST_REGISTRY", "registry", 1);
        Shell("ffmpeg -i " VELTRANE_SAMPLES
              "/clip.mp4 -frames:v 3 -pix_fmt rgba -f rawvideo a.rgba");
        source_ = Contents("a.rgba");
        for (std::size_t i = 3; i < source_.size(); i += 4) source_[i] = char(i / 4 * 7);
        std::ofstream("in.rgba", std::ios::binary) << source_;
        Shell(kRaw + "-i in.rgba -c:v png in.mov");
    }

    ~Frei0rHost() override {
        const fs::path folder = fs::current_path();
        fs::current_path("/");
        fs::remove_all(folder);
    }

    using Spelling = std::function<std::string(const Parameter&, const std::string& value)>;

    /// Runs a command, made of the parameters as spelled between two texts, that must write the
    /// library's frames to out.rgba.
    void ExpectLibrary(const std::string& before, const Spelling& spell,
                       const std::string& after) const {
        constexpr std::size_t kFrame = 960 * 540 * 4;
        ASSERT_EQ(source_.size(), 3 * kFrame);
        for (const Settings& settings : {kEverything, kMatte}) {
            std::string command = before, expected;
            for (const Parameter& row : Rows()) command += spell(row, Text(row, settings));
            for (const std::size_t start : {0, 1, 2})
                expected += Keyed(settings, 960, 540, source_.substr(start * kFrame, kFrame));
            Shell(command + after);
            EXPECT_TRUE(Contents("out.rgba") == expected) << command + after;
            fs::remove("out.rgba");
        }
    }

private:
    static std::string Text(const Parameter& row, const Settings& settings) {
        if (row.kind == ParameterKind::Color) return HexText(settings.keyColor);
        const int value = ValueOf(settings, row);
        return row.kind == ParameterKind::Switch ? std::to_string(value)
                                                 : std::to_string(Share(row, value));
    }

    std::string source_;
};

TEST_F(Frei0rHost, FFmpeg) {
    const auto spell = [](const Parameter& row, const std::string& value) {
        if (row.kind == ParameterKind::Switch) return std::string(value == "1" ? "y|" : "n|");
        return value + '|';
    };
    ExpectLibrary(kRaw + "-i in.rgba -vf 'frei0r=veltrane_green:", spell, "' -f rawvideo out.rgba");
}

TEST_F(Frei0rHost, Melt) {
    std::ofstream("profile") << "description=clip\nframe_rate_num=24\nframe_rate_den=1\n"
                                "width=960\nheight=540\nprogressive=1\ncolorspace=709\n"
                                "sample_aspect_num=1\nsample_aspect_den=1\n"
                                "display_aspect_num=16\ndisplay_aspect_den=9\n";
    const auto spell = [](const Parameter& row, const std::string& value) {
        std::string name = row.name;
        std::replace(name.begin(), name.end(), '-', ' ');
        name[0] = char(std::toupper(name[0]));
        return " '" + name + '=' + value + '\'';
    };
    ExpectLibrary("melt -profile $PWD/profile in.mov -attach frei0r.veltrane_green", spell,
                  " -consumer avformat:out.rgba f=rawvideo vcodec=rawvideo pix_fmt=rgba"
                  " mlt_image_format=rgba real_time=-1 an=1");
}

TEST_F(Frei0rHost, GStreamer) {
    const auto spell = [](const Parameter& row, const std::string& value) {
        const std::string name = std::string(" ") + row.name;
        if (row.kind != ParameterKind::Color) return name + '=' + value;
        const Color key = ParseHexColor(value).value();
        return name + "-r=" + std::to_string(key.red) + name + "-g=" + std::to_string(key.green) +
               name + "-b=" + std::to_string(key.blue);
    };
    ExpectLibrary(
        "gst-launch-1.0 filesrc location=in.rgba ! rawvideoparse format=rgba width=960"
        " height=540 framerate=24/1 ! frei0r-filter-veltrane-green",
        spell, " ! filesink location=out.rgba");
}

}  // namespace
}  // namespace veltrane
