// Times the keyer on the sample still: whole calls, then each stage. The machine's noise cancels
// out of the column "copies", the ratio to a plain copy of the frame that is timed in turn.

#include <benchmark/benchmark.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <exception>
#include <memory>

#include "measure.h"
#include "stages.h"
#ifdef VELTRANE_BENCH_FFMPEG
#include "ffmpeg_filters.h"
#endif

namespace veltrane::bench {

namespace {

Settings KeySettings() {
    Settings settings;
    settings.keyColor = Still().screen;
    return settings;
}

Settings DirectSettings() {
    Settings settings = KeySettings();
    settings.smoothBG = false;
    return settings;
}

Settings EverythingSettings() {
    Settings settings = KeySettings();
    settings.deBlocking = true;
    settings.deBlockValue = 3;
    settings.edgeContract = true;
    settings.contractMask = 4;
    settings.edgeBlur = true;
    settings.maskBlurRadius = 10;
    settings.clipBlack = 5;
    settings.clipWhite = 95;
    settings.shadow = 60;
    return settings;
}

Work KeyWork(Subject& subject, const Settings& settings) {
    return {[&subject] { subject.Restore(); }, [&subject, settings] { subject.Key(settings); }};
}

void RegisterWholes(const std::vector<CpuLevel>& levels) {
    Subject& still = Still();
    for (const auto& [name, settings] : {std::pair{"default", KeySettings()},
                                         {"direct", DirectSettings()},
                                         {"everything", EverythingSettings()}}) {
        Case timed;
        timed.name = std::string("whole/") + name;
        timed.work = KeyWork(still, settings);
        timed.result = [&still] { return BytesOf(still.output); };
        timed.yardstick = CopyOf(still.frame);
        Register(timed, levels);
    }
    HostForms& forms = StillInHosts();
    Case bytes;
    bytes.name = "whole/8 bits";
    bytes.work.run = [&forms, settings = KeySettings()] { forms.KeyBytes(settings); };
    bytes.result = [&forms] { return BytesOf(forms.byteOutput); };
    bytes.yardstick = CopyOf(forms.bytes);
    Register(bytes, levels);
    Case floats;
    floats.name = "whole/from and to floats";
    floats.work.run = [&forms] { forms.ConvertFloats(); };
    floats.result = [&forms] { return BytesOf(forms.floatOutput); };
    floats.yardstick = CopyOf(forms.floats);
    Register(floats, levels);
}

/// The still enlarged or reduced. Each size is kept only while it is timed.
class Resized {
public:
    Resized(int width, int height) : width_(width), height_(height) {}

    Subject& Get() {
        if (!subject_) {
            subject_ = std::make_unique<Subject>(
                media::ReadBackground(VELTRANE_SAMPLES "/still.jpg", width_, height_));
        }
        return *subject_;
    }
    void Drop() { subject_.reset(); }

private:
    int width_;
    int height_;
    std::unique_ptr<Subject> subject_;
};

/// Cost per pixel as a ratio to that of the still at its own size.
void RegisterScaling(const std::vector<CpuLevel>& levels) {
    Subject& still = Still();
    const Settings settings = KeySettings();
    for (const auto& [width, height] : std::array<std::pair<int, int>, 4>{
             {{640, 360}, {1920, 1080}, {3840, 2160}, {7680, 4320}}}) {
        const auto resized = std::make_shared<Resized>(width, height);
        Case timed;
        timed.name = "scaling/" + std::to_string(width) + "x" + std::to_string(height);
        timed.work = {[resized] { resized->Get().Restore(); },
                      [resized, settings] { resized->Get().Key(settings); }};
        timed.result = [resized] { return BytesOf(resized->Get().output); };
        timed.yardstick = KeyWork(still, settings);
        timed.column = "per pixel";
        timed.factor = double(still.width) * still.height / (double(width) * height);
        timed.done = [resized] { resized->Drop(); };
        Register(timed, levels);
    }
}

std::vector<CpuLevel> LevelsNamed(const std::vector<std::string>& names) {
    if (names.empty()) return {CurrentCpuLevel()};
    std::vector<CpuLevel> levels;
    for (const std::string& name : names) {
        const std::size_t before = levels.size();
        for (const CpuLevel level : CpuLevels()) {
            if (name == "all" || name == CpuLevelName(level)) levels.push_back(level);
        }
        if (levels.size() == before)
            throw std::runtime_error("the form \"" + name +
                                     "\" of --cpu or VELTRANE_CPU does not run here");
    }
    return levels;
}

void PrintHelp() {
    std::puts(
        "speed [--cpu LEVEL,...|all] [--compare-ffmpeg] [--scaling]\n"
        "  --cpu             which forms of the keyer to time; by default VELTRANE_CPU or the "
        "best\n"
        "  --compare-ffmpeg  also time FFmpeg's filters, in turn with ours\n"
        "  --scaling         also time other sizes, in turn with the still's own\n");
    benchmark::PrintDefaultHelp();
}

int Main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv, PrintHelp);
    CLI::App app;
    std::vector<std::string> cpu;
    bool compareFfmpeg = false, scaling = false;
    app.add_option("--cpu", cpu)->delimiter(',')->envname("VELTRANE_CPU");
    app.add_flag("--compare-ffmpeg", compareFfmpeg);
    app.add_flag("--scaling", scaling);
    CLI11_PARSE(app, argc, argv);
    const std::vector<CpuLevel> levels = LevelsNamed(cpu);
    RegisterWholes(levels);
    RegisterStages(levels);
    if (scaling) RegisterScaling(levels);
    if (compareFfmpeg) {
#ifdef VELTRANE_BENCH_FFMPEG
        RegisterFfmpegFilters(Still());
#else
        throw std::runtime_error("--compare-ffmpeg: built without libavfilter");
#endif
    }
    return RunAll() ? 0 : 1;
}

}  // namespace

}  // namespace veltrane::bench

int main(int argc, char** argv) {
    try {
        return veltrane::bench::Main(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "speed: %s\n", error.what());
        return 1;
    }
}
