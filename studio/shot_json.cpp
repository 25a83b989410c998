#include "studio/shot_json.h"

#include "media/media.h"
#include "settings/presets.h"
#include "studio/http.h"

namespace veltrane::studio {

namespace {

constexpr int kBadRequest = 400;

const char* KindName(ParameterKind kind) {
    constexpr const char* kNames[] = {"group", "choice", "color", "switch", "integer"};
    return kNames[static_cast<int>(kind)];
}

const char* KindName(media::Kind kind) {
    constexpr const char* kNames[] = {"still", "sequence", "video"};
    return kNames[static_cast<int>(kind)];
}

Json EntriesOf(const Parameter& row) {
    Json entries = Json::array();
    for (const ChoiceEntry& entry : row.entries)
        entries.push_back(
            {{"number", entry.number}, {"name", entry.name}, {"label", Label(entry.key)}});
    return entries;
}

Json AsJson(const Parameter& row, const Json& defaults) {
    Json json{{"id", row.id},
              {"name", row.name},
              {"kind", KindName(row.kind)},
              {"label", LabelOf(row)},
              {"labelBlue", LabelOf(row, Screen::Blue)},
              {"help", row.help},
              {"group", row.group},
              {"governor", row.governor}};
    if (row.kind == ParameterKind::Group) return json;
    json["default"] = row.kind == ParameterKind::Color ? Json("auto") : defaults[row.name];
    json["min"] = row.minimum;
    json["max"] = row.maximum;
    json["inPixels"] = row.inPixels;
    if (row.kind == ParameterKind::Choice) json["entries"] = EntriesOf(row);
    return json;
}

/// A file within the root, or nothing.
std::string FileOf(const Json& inputs, const char* name, const RootFolder& root) {
    const std::string file = Text(inputs, name, "");
    return file.empty() ? file : root.Shot(file).string();
}

void RefuseBoth(const std::string& file, const std::string& shapes, const std::string& matte) {
    if (!file.empty() && !shapes.empty())
        throw Refusal(kBadRequest, "a " + matte +
                                       " matte is a file or drawn; take away the file to draw, or "
                                       "the drawing to use the file");
}

}  // namespace

const std::vector<std::string>& InputNames() {
    static const std::vector<std::string> names{"garbage",  "core",       "garbageFile",
                                                "coreFile", "cleanPlate", "matchPlate"};
    return names;
}

Json ParametersJson() {
    const Json defaults = Json::parse(ToJson(Settings()));
    Json rows = Json::array();
    for (const Parameter& row : Parameters()) rows.push_back(AsJson(row, defaults));
    return rows;
}

Json ShotJson(Shot& shot) {
    const media::Info& info = shot.info();
    Json json{{"path", shot.name()},
              {"name", std::filesystem::path(shot.name()).filename().string()},
              {"kind", KindName(info.kind)},
              {"width", info.width},
              {"height", info.height},
              {"first", info.firstFrame},
              {"count", shot.frames().last() - info.firstFrame + 1},
              {"missing", info.missingFrames},
              {"rate", {{"num", info.frameRate.num}, {"den", info.frameRate.den}}}};
    json["timecode"] = info.timecode ? Json(*info.timecode) : Json();
    json["format"] = info.format;
    json["pixels"] = info.pixels;
    json["linear"] = info.transfer == media::Transfer::Linear;
    return json;
}

Json TunedJson(const cli::ShotTuning& tuning, const Json& automatic) {
    Json tuned = Json::parse(ToJson(tuning.found.settings));
    tuned.erase("view");
    if (automatic.is_null() || tuned["key-color"] != automatic["key-color"]) return tuned;
    tuned["key-color"] = "auto";
    tuned.erase("screen");
    return tuned;
}

Json TuneReport(const cli::ShotTuning& tuning) {
    std::string sliders;
    for (const TunedSlider& slider : tuning.found.sliders) {
        const Parameter& row = ParameterOf(slider.id);
        const std::string_view label = LabelOf(row, tuning.found.settings.screen);
        sliders += (sliders.empty() ? "" : ", ") + std::string(label) + ' ' +
                   cli::ValueText(row, slider.to);
    }
    Json lines{sliders.empty() ? "No slider was found to suit this shot better than its default."
                               : "Found for this shot: " + sliders + '.'};
    for (const std::string& warning : tuning.Warnings()) lines.push_back(warning + '.');
    return lines;
}

Settings ReadSettings(Json values, Shot& shot) {
    const auto color = values.find("key-color");
    const bool automatic = color == values.end() || *color == "auto";
    if (automatic) values.erase("key-color");
    Settings settings = FromJson(Dump(values), "settings");
    cli::ScreenHint hint;
    if (values.contains("screen")) hint.demanded = settings.screen;
    if (automatic && settings.view == View::Source) return settings;
    // As by the command, which refuses a key colour of the other screen.
    const cli::KeyColor key = automatic
                                  ? shot.AutomaticKey(hint.demanded)
                                  : cli::Resolve(settings.keyColor, hint, {}, shot.name(), {});
    settings.keyColor = key.color;
    settings.screen = key.screen;
    return settings;
}

Settings SettledBy(const Shot& shot, const Settings& settings) {
    return SettledFor(settings, shot.info().transfer == media::Transfer::Linear);
}

cli::InputFiles ReadInputs(const Json& request, const RootFolder& root) {
    const Json inputs = Object(request, "inputs");
    CheckNames(inputs, "inputs", InputNames());
    cli::InputFiles files;
    files.garbage = FileOf(inputs, "garbageFile", root);
    files.core = FileOf(inputs, "coreFile", root);
    files.cleanPlate = FileOf(inputs, "cleanPlate", root);
    files.matchPlate = Flag(inputs, "matchPlate", false);
    files.garbageShapes = Text(inputs, "garbage", "");
    files.coreShapes = Text(inputs, "core", "");
    RefuseBoth(files.garbage, files.garbageShapes, "garbage");
    RefuseBoth(files.core, files.coreShapes, "core");
    if (files.matchPlate && files.cleanPlate.empty())
        throw Refusal(kBadRequest, "there is no clean plate to match; choose one first");
    return files;
}

}  // namespace veltrane::studio
