#include "cli/demo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <vector>

#include "cli/common_options.h"
#include "cli/composite.h"
#include "cli/contact_sheet.h"
#include "cli/errors.h"
#include "cli/frame_pipeline.h"
#include "cli/key_color.h"
#include "cli/places.h"
#include "cli/shot_tuning.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPictures[] = {
    "result.mov", "matte.mp4",  "over-background.mp4", "source.png",
    "matte.png",  "result.png", "over-background.png", "contact-sheet.png"};

/// The sample beside the command where it is installed, else that of the source tree.
std::string DefaultSample() {
    std::error_code ignored;
    const fs::path command = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    for (const fs::path& folder :
         {command / VELTRANE_INSTALLED_SAMPLES, fs::path(VELTRANE_SAMPLES)}) {
        const fs::path clip = folder / "clip.mp4";
        if (fs::exists(clip)) return clip;
    }
    throw media::Error("the sample clip is not installed; name another with --sample");
}

/// An evening sky in soft light, for something to put the subject before.
media::Frame Evening(int width, int height) {
    return Painted(width, height, [=](int x, int y) {
        const double down = static_cast<double>(y) / height;
        const double glow = std::exp(-6.0 * (std::pow((x - 0.72 * width) / width, 2.0) +
                                             std::pow((y - 0.66 * height) / width, 2.0)));
        const auto mix = [&](double top, double bottom, double light) {
            return std::min(1.0, top + (bottom - top) * down * down + light * glow);
        };
        return Color{mix(0.10, 0.46, 0.42), mix(0.16, 0.32, 0.24), mix(0.34, 0.38, 0.04)};
    });
}

Views Viewed(Settings settings, const media::Frame& source, const Threads& threads) {
    Views views{Keyed(settings, source, threads), {}};
    settings.view = View::Status;
    views.status = Keyed(settings, source, threads);
    return views;
}

/// The clip's first, middle and last frame, or only the first when its length is not known
/// beforehand; collected as they are keyed.
class Shown {
public:
    Shown(const media::Info& clip, const Settings& found) : found_(found) {
        plain_.keyColor = found.keyColor;
        plain_.screen = found.screen;
        const std::int64_t count = clip.frameCount.value_or(1);
        for (const std::int64_t index : {std::int64_t{0}, count / 2, count - 1})
            rows_[clip.firstFrame + index];
    }

    void Take(const media::Frame& source, const Threads& threads) {
        const auto wanted = rows_.find(source.number);
        if (wanted == rows_.end()) return;
        wanted->second = {source, Viewed(plain_, source, threads), Viewed(found_, source, threads)};
    }

    /// Those that came: a video can hold fewer frames than it says.
    std::vector<Comparison> InOrder() const {
        std::vector<Comparison> rows;
        for (const auto& entry : rows_)
            if (!entry.second.source.pixels.empty()) rows.push_back(entry.second);
        return rows;
    }

private:
    Settings plain_;
    Settings found_;
    std::map<std::int64_t, Comparison> rows_;  // no two threads ever take the same frame
};

struct Video {
    std::string path;
    bool opaque;
};

std::unique_ptr<media::Writer> OpenVideo(const Video& video, const media::Info& info) {
    media::WriteOptions options;
    options.opaque = video.opaque;
    return media::Create(video.path, options, info);
}

void WriteStill(const std::string& path, const media::Frame& picture, bool opaque,
                const media::Info& clip) {
    media::Info info = clip;
    info.frameCount = 1;
    info.firstFrame = picture.number;
    info.width = picture.width;
    info.height = picture.height;
    media::WriteOptions options;
    options.opaque = opaque;
    const std::unique_ptr<media::Writer> writer = media::Create(path, options, info);
    writer->Append(*writer->Encode(picture, picture));
    writer->Finish();
}

/// Keys the whole clip once into its three videos; returns the frames to be shown.
void KeyClip(media::Reader& reader, const FirstFrame& first, const Settings& settings,
             const media::Frame& background, const std::vector<Video>& videos, int threads,
             Shown& shown) {
    std::vector<std::unique_ptr<media::Writer>> owners;
    std::vector<media::Writer*> writers;
    for (const Video& video : videos)
        writers.push_back(owners.emplace_back(OpenVideo(video, reader.info())).get());
    const auto render = [&](const media::Frame& source, const FetchedInputs*, const Threads& lent) {
        std::vector<media::Frame> pictures(3);
        pictures[0] = Keyed(settings, source, lent);
        pictures[1] = MattePicture(pictures[0]);
        pictures[2] = Over(pictures[0], background);
        shown.Take(source, lent);
        return pictures;
    };
    Progress progress(FormForPeople(), reader.info().frameCount);
    FrameCounts counts;
    StepTimes times;
    Run({reader, first, writers, render, threads, progress, times}, counts);
    for (const auto& writer : owners) writer->Finish();
}

}  // namespace

void DemoCommand::AddTo(CLI::App& app) {
    CLI::App* command =
        app.add_subcommand("demo", "Key the sample clip and leave pictures to look at.");
    command->add_option("FOLDER", folder_, "Where to leave them.")
        ->type_name("")
        ->capture_default_str();
    command->add_option("--sample", sample_, "Key this video instead.")->type_name("FILE");
    command
        ->add_option("--strip", strip_,
                     "Also make one small picture of source, matte and result side by side.")
        ->type_name("FILE");
    AddThreadsOption(*command, threads_);
    AddCpuOption(*command, cpu_);
    command->callback([this] { Run(); });
}

void DemoCommand::CheckPlaces(const std::string& sample, const media::Info& info) const {
    Places places;
    places.Reads(sample);
    for (const char* name : kPictures) places.Writes(fs::path(folder_) / name, FramesOf(info));
    if (!strip_.empty()) places.Writes(strip_, FramesOf(info));
}

void DemoCommand::Run() const {
    UseCpu(cpu_);
    const std::string sample = sample_.empty() ? DefaultSample() : sample_;
    const std::unique_ptr<media::Reader> reader = media::Open(sample);
    const media::Info& info = reader->info();
    CheckPlaces(sample, info);
    RefuseGaps(info);
    FirstFrame first = FetchFirst(*reader);
    media::ReadOptions options;
    options.threads = threads_;
    const ShotTuning tuning = TuneShot(sample, options, {});
    const Settings& settings = tuning.found.settings;
    Say("key colour " + HexText(settings.keyColor) + " of a " + ScreenName(settings.screen) +
        " screen; " + tuning.Text());

    const auto path = [&](const char* name) { return (fs::path(folder_) / name).string(); };
    std::error_code error;
    fs::create_directories(folder_, error);
    if (error) throw media::Error(folder_ + ": cannot be made: " + error.message());
    const media::Frame background = Evening(info.width, info.height);
    Shown shown(info, settings);
    KeyClip(*reader, first, settings, background,
            {{path("result.mov"), false},
             {path("matte.mp4"), true},
             {path("over-background.mp4"), true}},
            threads_, shown);

    const std::vector<Comparison> rows = shown.InOrder();
    const media::Frame& source = rows[rows.size() / 2].source;
    const media::Frame& result = rows[rows.size() / 2].found.result;
    WriteStill(path("source.png"), source, true, info);
    WriteStill(path("matte.png"), MattePicture(result), true, info);
    WriteStill(path("result.png"), result, false, info);
    WriteStill(path("over-background.png"), Over(result, background), true, info);
    WriteStill(path("contact-sheet.png"), ContactSheet(rows, background), true, info);
    if (!strip_.empty()) WriteStill(strip_, Strip(source, result), true, info);
    std::printf(
        "Look at %s:\n"
        "  contact-sheet.png              source; matte, with hazes in blue, and composite, each "
        "at\n"
        "                                 the defaults and with the settings found\n"
        "  source.png matte.png result.png over-background.png\n"
        "                                 the frame in the middle, at full size\n"
        "  result.mov                     the keyed clip with alpha (ProRes 4444)\n"
        "  matte.mp4 over-background.mp4  the clip's matte, and the clip over a background\n",
        folder_.c_str());
}

}  // namespace veltrane::cli
