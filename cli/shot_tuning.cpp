#include "cli/shot_tuning.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/frame_threads.h"
#include "cli/key_color.h"

namespace veltrane::cli {

namespace {

using Json = nlohmann::ordered_json;
using Fetched = std::shared_ptr<media::Fetched>;

constexpr double kMuchUnknown = 0.4;  ///< part of the frames from which on settings are a guess

/// So many places, evenly spread over a count, the first and the last among them.
std::vector<std::size_t> Spread(std::size_t count, std::size_t most) {
    const std::size_t taken = std::min(count, most);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < taken; ++i)
        places.push_back(taken == 1 ? 0 : i * (count - 1) / (taken - 1));
    return places;
}

std::vector<Fetched> Chosen(const std::vector<Fetched>& from, std::size_t most) {
    std::vector<Fetched> chosen;
    for (const std::size_t place : Spread(from.size(), most)) chosen.push_back(from[place]);
    return chosen;
}

/// Frames of a shot whose length shows at its end only: of those kept, every other one is dropped
/// whenever they become too many.
std::vector<Fetched> ThinnedFrames(media::Reader& reader, std::size_t most) {
    std::vector<Fetched> kept;
    std::size_t stride = 1, place = 0;
    while (Fetched next = reader.Fetch()) {
        if (place++ % stride != 0) continue;
        kept.push_back(std::move(next));
        if (kept.size() <= 2 * most) continue;
        for (std::size_t i = 0; 2 * i < kept.size(); ++i) kept[i] = kept[2 * i];
        kept.resize(kept.size() / 2 + 1);
        stride *= 2;
    }
    return Chosen(kept, most);
}

std::vector<Fetched> SpreadFrames(media::Reader& reader, std::size_t most) {
    const auto count = reader.info().frameCount;
    if (!count) return ThinnedFrames(reader, most);
    std::vector<Fetched> chosen;
    std::size_t place = 0;
    for (const std::size_t wanted : Spread(static_cast<std::size_t>(*count), most)) {
        Fetched fetched;
        for (; place <= wanted; ++place)
            if (!(fetched = reader.Fetch())) return chosen;
        chosen.push_back(std::move(fetched));
    }
    return chosen;
}

[[noreturn]] void FailWithoutScreen(const std::string& path, const TuneRequest& request) {
    const std::string kind = request.screen ? ScreenName(*request.screen) : "green or blue";
    throw media::Error(path + ": no " + kind +
                       " screen found in the frames looked at; no settings can be found from it");
}

}  // namespace

std::vector<std::string> ShotTuning::Warnings() const {
    std::vector<std::string> lines;
    if (found.kind == ShotKind::LittleScreen)
        lines.emplace_back("hardly any of the screen is seen; sliders stay as they are");
    else if (found.kind == ShotKind::NoSubject)
        lines.emplace_back("no subject is seen before the screen; only the screen is made clean");
    else if (found.unknown >= kMuchUnknown)
        lines.push_back(std::to_string(std::lround(100 * found.unknown)) +
                        " % of the picture is neither surely screen nor surely subject; the "
                        "settings are a guess");
    if (odd.empty()) return lines;
    std::string numbers;
    for (const std::int64_t number : odd)
        numbers += (numbers.empty() ? "" : ", ") + std::to_string(number);
    lines.push_back("the settings suit these frames less than the others: " + numbers);
    return lines;
}

ShotTuning TuneShot(const std::string& path, media::ReadOptions options, const TuneRequest& request,
                    int frames) {
    options.frames.reset();
    const std::unique_ptr<media::Reader> reader = media::Open(path, options);
    FrameThreads all(options.threads);
    const FrameThreads::Share share(all);
    ShotTuner tuner(reader->info().width, reader->info().height, request);
    ShotTuning tuning;
    for (const Fetched& fetched : SpreadFrames(*reader, static_cast<std::size_t>(frames))) {
        const media::Frame frame = reader->Decode(*fetched, share.Get());
        tuner.Look(frame.pixels.data(), share.Get());
        tuning.frames.push_back(frame.number);
    }
    tuning.found = tuner.Find(share.Get());
    if (tuning.found.kind == ShotKind::NoScreen) FailWithoutScreen(path, request);
    for (const std::size_t i : tuning.found.odd) tuning.odd.push_back(tuning.frames[i]);
    return tuning;
}

nlohmann::ordered_json AsJson(const ShotTuning& tuning) {
    const TunedSettings& found = tuning.found;
    Json json{{"frames", tuning.frames}, {"frames-apart", tuning.odd}};
    json["screen"] = found.screen;
    json["subject"] = found.subject;
    json["unknown"] = found.unknown;
    json["error-before"] = found.errorBefore;
    json["error-after"] = found.errorAfter;
    json["sliders"] = Json::object();
    for (const TunedSlider& slider : found.sliders)
        json["sliders"][ParameterOf(slider.id).name] = {
            {"from", slider.from}, {"to", slider.to}, {"gain", slider.gain}};
    json["warnings"] = tuning.Warnings();
    return json;
}

}  // namespace veltrane::cli
