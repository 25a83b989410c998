#include "cli/tune_command.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/common_options.h"
#include "cli/key_color.h"
#include "cli/places.h"
#include "cli/setting_options.h"
#include "settings/presets.h"

namespace veltrane::cli {

namespace {

using Json = nlohmann::ordered_json;

long Percent(double part) {
    return std::lround(100 * part);
}

}  // namespace

void TuneCommand::AddTo(CLI::App& app) {
    CLI::App& c = *app.add_subcommand("tune", "Find the settings that suit a shot.");
    c.add_option("INPUT", input_, "A video, a still or a sequence.")->required()->type_name("");
    c.add_option("--save-preset", savePreset_, "Keep the settings found in this file.")
        ->type_name("FILE");
    c.add_option("--frames-to-look-at", framesToLookAt_,
                 "How many frames, spread over the shot, are looked at. [default: 5]")
        ->type_name("N")
        ->check(CLI::Range(1, 100));
    AddScreenOption(c, screen_);
    AddTransferOption(c, transfer_);
    AddColorSpaceOptions(c, spaces_);
    AddThreadsOption(c, threads_);
    AddCpuOption(c, cpu_);
    c.add_flag("--json", json_, "Print it for machines.");
    c.callback([this] { Run(); });
}

void TuneCommand::PrintForPeople(const TunedSettings& found) {
    constexpr const char* kColumn = "%-15s ";
    const auto line = [](const char* name, const std::string& text) {
        std::printf(kColumn, name);
        std::puts(text.c_str());
    };
    line("key-color", HexText(found.settings.keyColor) + " of a " +
                          ScreenName(found.settings.screen) + " screen");
    for (const TunedSlider& slider : found.sliders) {
        char gain[64] = "; for soft edges, which the error leaves out";
        if (slider.gain)
            std::snprintf(gain, sizeof gain, "; without it the error is %+.4f", *slider.gain);
        const Parameter& row = ParameterOf(slider.id);
        line(row.name, ValueText(row, slider.to) + ", not " + ValueText(row, slider.from) + gain);
    }
    char text[96];
    std::snprintf(text, sizeof text, "%.4f expected, %.4f at the defaults", found.errorAfter,
                  found.errorBefore);
    line("error", text);
    std::snprintf(text, sizeof text, "%ld %% screen and %ld %% subject; not of %ld %%",
                  Percent(found.screen), Percent(found.subject), Percent(found.unknown));
    line("sure of", text);
}

void TuneCommand::Run() {
    UseCpu(cpu_);
    media::ReadOptions options;
    options.transfer = transfer_;
    options.threads = threads_;
    options.conversion = OpenSpaces(spaces_, transfer_);
    TuneRequest request;
    request.screen = ParseScreen(screen_.empty() ? "auto" : screen_);
    if (!savePreset_.empty()) {
        Places places;
        places.Reads(input_);
        if (!spaces_.config.empty()) places.Reads(spaces_.config);
        places.Writes(savePreset_, {0, 0});
    }
    const ShotTuning tuning = TuneShot(input_, options, request, framesToLookAt_);
    const Settings& settings = tuning.found.settings;
    if (!savePreset_.empty()) WritePreset(savePreset_, settings);
    if (!json_) {
        PrintForPeople(tuning.found);
        for (const std::string& warning : tuning.Warnings()) Say(input_ + ": " + warning);
        return;
    }
    Json json{{"input", input_}};
    json.update(AsJson(tuning));
    json["settings"] = Json::parse(ToJson(settings));
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
}

}  // namespace veltrane::cli
