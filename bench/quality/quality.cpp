// Measures mattes against shots whose coverage is known, ours and those of FFmpeg and GStreamer
// where they are installed.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/shot_tuning.h"
#include "others.h"
#include "settings/frame_keyer.h"
#include "settings/presets.h"
#include "worst.h"

namespace veltrane::bench {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> folders{VELTRANE_SAMPLES};
    std::vector<std::string> presets;
    std::vector<std::string> ffmpeg;
    std::vector<std::string> gstreamer;
    std::string worst;  ///< a folder for pictures of the worst regions
    bool ours = false;
    bool json = false;
};

/// One way to key a shot, and what came of it.
struct Row {
    std::string way;
    Figures figures;
};

/// The screen that the shot's first frame shows.
ScreenColor ScreenOfShot(const Shot& shot) {
    const media::Frame first = media::ReadFrame(shot.source, 1);
    const auto found = FindScreenColor(first.width, first.height, first.pixels.data());
    if (!found) throw media::Error(shot.source.string() + ": shows no screen");
    return *found;
}

Figures MeasureOurs(const Shot& shot, const Settings& settings, const media::Frame* plate = {}) {
    Meter meter;
    KeyInputs<std::uint16_t> inputs;
    if (plate != nullptr) inputs.cleanPlate.packed = plate->pixels.data();
    ForEachFrame(shot, [&](const media::Frame& frame, const Truth& truth) {
        media::Frame keyed = frame;
        Key<std::uint16_t>(settings, frame.width, frame.height, {frame.pixels.data()},
                           {keyed.pixels.data()}, {}, inputs);
        meter.Add(keyed, truth);
    });
    return meter.Result();
}

/// Settings with the shot's own screen, unless they name a colour.
Settings WithScreen(Settings settings, const ScreenColor& screen) {
    if (!(settings.keyColor == Color{})) return settings;
    settings.keyColor = screen.color;
    settings.screen = screen.screen;
    return settings;
}

Settings ForLinearLight(Settings settings) {
    settings.matteLight = MatteLight::Linear;
    return settings;
}

std::vector<Row> Measured(const Shot& shot, const Options& options) {
    const ScreenColor screen = ScreenOfShot(shot);
    const Settings untuned = WithScreen({}, screen);
    std::vector<Row> rows{{"defaults", MeasureOurs(shot, untuned)}};
    rows.push_back({"linear matte", MeasureOurs(shot, ForLinearLight(untuned))});
    const Settings tuned = cli::TuneShot(shot.source, {}, {}).found.settings;
    rows.push_back({"tuned", MeasureOurs(shot, tuned)});
    rows.push_back({"tuned, linear matte", MeasureOurs(shot, ForLinearLight(tuned))});
    if (!options.worst.empty())
        ShowWorst(shot, untuned, tuned,
                  fs::path(options.worst) / ("quality-" + shot.source.stem().string() + ".jpg"));
    if (shot.plate) {
        const media::Frame plate = media::ReadFrame(*shot.plate, 1);
        rows.push_back({"clean plate", MeasureOurs(shot, untuned, &plate)});
    }
    for (const std::string& preset : options.presets)
        rows.push_back({preset, MeasureOurs(shot, WithScreen(ReadPreset(preset), screen))});
    std::vector<Other> others;
    if (!options.ours) others = {Ffmpeg(), Gstreamer()};
    for (const std::string& settings : options.ffmpeg) others.push_back(Ffmpeg(settings));
    for (const std::string& settings : options.gstreamer) others.push_back(Gstreamer(settings));
    for (const Other& other : others)
        if (IsInstalled(other))
            rows.push_back({other.name + (other.settings.empty() ? "" : " " + other.settings),
                            Measure(other, shot, screen)});
    return rows;
}

void PrintTable(const std::string& shot, const std::vector<Row>& rows) {
    const auto optional = [](const std::optional<double>& value) {
        if (value) {
            std::printf(" %8.4f", *value);
        } else {
            std::printf(" %8s", "");
        }
    };
    std::printf("%s\n", shot.c_str());
    for (const auto& [way, f] : rows) {
        std::printf("  %-32s %8.4f %8.3f %8.2f %7.1f%% %7.1f%%", way.c_str(), f.matte, f.edges,
                    f.gradient, 100 * f.kept, 100 * f.holes);
        optional(f.color);
        optional(f.flicker);
        std::puts("");
    }
    std::fflush(stdout);
}

nlohmann::ordered_json AsJson(const std::vector<Row>& rows) {
    nlohmann::ordered_json json;
    for (const auto& [way, f] : rows) {
        nlohmann::ordered_json& figures = json[way];
        figures = {{"matte", f.matte},
                   {"edges", f.edges},
                   {"gradient", f.gradient},
                   {"kept", f.kept},
                   {"holes", f.holes}};
        if (f.color) figures["color"] = *f.color;
        if (f.flicker) figures["flicker"] = *f.flicker;
    }
    return json;
}

void Run(const Options& options) {
    nlohmann::ordered_json report;
    if (!options.json)
        std::printf("%-34s %8s %8s %8s %8s %8s %8s %8s\n", "", "matte", "edges", "gradient", "kept",
                    "holes", "colour", "flicker");
    for (const std::string& folder : options.folders)
        for (const Shot& shot : ShotsIn(folder)) {
            const std::vector<Row> rows = Measured(shot, options);
            const std::string name = shot.source.filename();
            if (options.json) {
                report[name] = AsJson(rows);
            } else {
                PrintTable(name, rows);
            }
        }
    if (options.json) std::cout << report.dump(2) << std::endl;
}

int Main(int argc, char** argv) {
    Options options;
    CLI::App app{"Measures mattes against shots whose coverage is known."};
    app.add_option("FOLDER", options.folders,
                   "Folders of shots: NAME.png or NAME.mp4 with NAME-matte.png or .mkv and, where "
                   "there are any, NAME-clean-over-grey.png and NAME-plate.png.")
        ->capture_default_str();
    app.add_option("--preset", options.presets, "Also key with this preset.")
        ->allow_extra_args(false);
    app.add_option("--ffmpeg", options.ffmpeg,
                   "Also key with these settings of FFmpeg's chromakey, SIMILARITY:BLEND.")
        ->allow_extra_args(false);
    app.add_option("--gstreamer", options.gstreamer,
                   "Also key with these properties of GStreamer's alpha, \"angle=30 ...\".")
        ->allow_extra_args(false);
    app.add_option("--worst", options.worst,
                   "Put pictures of the regions in which tuned mattes are worst into this folder.");
    app.add_flag("--ours", options.ours, "Leave out the other programs' defaults.");
    app.add_flag("--json", options.json, "Print JSON instead of a table.");
    CLI11_PARSE(app, argc, argv);
    Run(options);
    return 0;
}

}  // namespace
}  // namespace veltrane::bench

int main(int argc, char** argv) {
    try {
        return veltrane::bench::Main(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quality: %s\n", error.what());
        return 1;
    }
}
