#include "cli/key_summary.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/common_options.h"
#include "imaging/cpu/cpu.h"
#include "settings/presets.h"

namespace veltrane::cli {

namespace {

nlohmann::ordered_json PlateJson(const PlateReport& plate) {
    nlohmann::ordered_json json{{"screen", plate.screen}};
    if (!plate.fit) return json;
    const auto& [red, green, blue] = *plate.fit;
    json["gain"] = {red.gain, green.gain, blue.gain};
    json["offset"] = {red.offset, green.offset, blue.offset};
    return json;
}

}  // namespace

void SayKeyColor(const KeyColor& key) {
    Say("key colour " + HexText(key.color) + " of a " + ScreenName(key.screen) + " screen, " +
        key.origin);
}

double KeySummary::Rate() const {
    return static_cast<double>(counts.written) / std::max(seconds, 1e-9);
}

std::string KeySummary::ForPeople(const std::string& output, const std::string& matte) const {
    char figures[96];
    std::snprintf(figures, sizeof figures, "%lld %s in %.1f s, %.1f fps",
                  static_cast<long long>(counts.written), counts.written == 1 ? "frame" : "frames",
                  seconds, Rate());
    const std::string kept =
        counts.kept > 0 ? ", " + std::to_string(counts.kept) + " kept as they were" : "";
    return output + (matte.empty() ? "" : " and " + matte) + ": " + figures + kept;
}

std::string KeySummary::AsJson(const std::string& input, const std::string& output,
                               const std::string& matte) const {
    nlohmann::ordered_json json{{"input", input},           {"output", output},
                                {"frames", counts.written}, {"kept", counts.kept},
                                {"seconds", seconds},       {"fps", Rate()}};
    if (!matte.empty()) json["matte"] = matte;
    json["key-color"] = HexText(settings.keyColor);
    json["cpu"] = CpuLevelName(CurrentCpuLevel());
    for (int step = 0; step < kSteps; ++step) {
        json["seconds-by-step"][kStepNames[step]] = times.Seconds(static_cast<Step>(step));
    }
    if (key) json["key-color-origin"] = key->origin;
    if (key && key->coverage) json["screen-coverage"] = *key->coverage;
    if (plate) json["clean-plate"] = PlateJson(*plate);
    if (tuning) json["found"] = veltrane::cli::AsJson(*tuning);
    json["settings"] = nlohmann::ordered_json::parse(ToJson(settings));
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace veltrane::cli
