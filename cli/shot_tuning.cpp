#include "cli/shot_tuning.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/frame_threads.h"
#include "cli/key_color.h"

namespace veltrane::cli {

namespace {

using Json = nlohmann::ordered_json;
using Fetched = std::shared_ptr<media::Fetched>;

constexpr double kMuchUnknown = 0.4;  ///< part of the frames from which on settings are a guess
constexpr std::size_t kFar = 100;     ///< frames, of which more are sooner skipped than decoded

/// So many places, evenly spread over a count, the first and the last among them.
std::vector<std::size_t> Spread(std::size_t count, std::size_t most) {
    const std::size_t taken = std::min(count, most);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < taken; ++i)
        places.push_back(taken == 1 ? 0 : i * (count - 1) / (taken - 1));
    return places;
}

/// Looks at a frame by the reader that fetched it.
using Look = std::function<void(media::Reader& reader, const media::Fetched& fetched)>;

/// How many frames are looked at and, where the shot does not tell its length, decoded for that.
struct Limits {
    std::size_t looks;
    std::size_t decoded;
};

/// Of a shot whose length shows at its end only: of the frames kept, every other one is dropped
/// whenever they become too many.
void LookAtThinned(media::Reader& reader, const Limits& most, const Look& look) {
    std::vector<Fetched> kept;
    std::size_t stride = 1, place = 0;
    while (Fetched next = place < most.decoded ? reader.Fetch() : nullptr) {
        if (place++ % stride != 0) continue;
        kept.push_back(std::move(next));
        if (kept.size() <= 2 * most.looks) continue;
        for (std::size_t i = 0; 2 * i < kept.size(); ++i) kept[i] = kept[2 * i];
        kept.resize(kept.size() / 2 + 1);
        stride *= 2;
    }
    for (const std::size_t at : Spread(kept.size(), most.looks)) look(reader, *kept[at]);
}

void LookAtSpread(const std::string& path, media::ReadOptions options,
                  std::unique_ptr<media::Reader> reader, const Limits& most, const Look& look) {
    const media::Info info = reader->info();
    if (!info.frameCount) return LookAtThinned(*reader, most, look);
    std::size_t place = 0;
    for (const std::size_t wanted :
         Spread(static_cast<std::size_t>(*info.frameCount), most.looks)) {
        if (info.kind == media::Kind::Video && wanted - place > kFar) {
            place = wanted;
            const auto number = static_cast<std::int64_t>(wanted) + 1;
            options.frames = {number, number};
            reader = media::Open(path, options);
        }
        Fetched fetched;
        for (; place <= wanted; ++place)
            if (!(fetched = reader->Fetch())) return;
        look(*reader, *fetched);
    }
}

[[noreturn]] void FailWithoutScreen(const std::string& path, const TuneRequest& request) {
    const std::string kind = request.screen ? ScreenName(*request.screen) : "green or blue";
    throw media::Error(path + ": no " + kind +
                       " screen found in the frames looked at; no settings can be found from it");
}

}  // namespace

std::string ValueText(const Parameter& row, int value) {
    if (row.kind == ParameterKind::Switch) return value != 0 ? "on" : "off";
    return std::to_string(value);
}

std::string ShotTuning::Text() const {
    std::string sliders;
    for (const TunedSlider& slider : found.sliders) {
        const Parameter& row = ParameterOf(slider.id);
        sliders += std::string(" --") + row.name;
        if (row.kind != ParameterKind::Switch) sliders += ' ' + ValueText(row, slider.to);
    }
    return "found from " + std::to_string(frames.size()) +
           (frames.size() == 1 ? " frame:" : " frames:") +
           (sliders.empty() ? " nothing better than the values there are" : sliders);
}

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
                    int frames, std::size_t mostDecoded) {
    options.frames.reset();
    std::unique_ptr<media::Reader> reader = media::Open(path, options);
    FrameThreads all(options.threads);
    const FrameThreads::Share share(all);
    ShotTuner tuner(reader->info().width, reader->info().height, request);
    ShotTuning tuning;
    const Look look = [&](media::Reader& from, const media::Fetched& fetched) {
        const media::Frame frame = from.Decode(fetched, share.Get());
        tuner.Look(frame.pixels.data(), share.Get());
        tuning.frames.push_back(frame.number);
    };
    LookAtSpread(path, options, std::move(reader), {static_cast<std::size_t>(frames), mostDecoded},
                 look);
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
    for (const TunedSlider& slider : found.sliders) {
        const Parameter& row = ParameterOf(slider.id);
        // As presets write it.
        const auto value = [&](int number) {
            return row.kind == ParameterKind::Switch ? Json(number != 0) : Json(number);
        };
        json["sliders"][row.name] = {{"from", value(slider.from)},
                                     {"to", value(slider.to)},
                                     {"gain", slider.gain ? Json(*slider.gain) : Json()}};
    }
    json["warnings"] = tuning.Warnings();
    return json;
}

}  // namespace veltrane::cli
