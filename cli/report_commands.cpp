#include "cli/report_commands.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/common_options.h"
#include "cli/errors.h"
#include "cli/frame_pipeline.h"
#include "cli/key_color.h"
#include "cli/setting_options.h"
#include "cli/text.h"
#include "settings/parameters.h"

namespace veltrane::cli {

namespace {

using Json = nlohmann::ordered_json;

void Print(const Json& json) {
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
}

const char* KindName(ParameterKind kind) {
    switch (kind) {
        case ParameterKind::Group:
            return "group";
        case ParameterKind::Choice:
            return "choice";
        case ParameterKind::Color:
            return "color";
        case ParameterKind::Switch:
            return "switch";
        case ParameterKind::Integer:
            return "integer";
    }
    return "";
}

const char* KindName(media::Kind kind) {
    switch (kind) {
        case media::Kind::Still:
            return "still";
        case media::Kind::Sequence:
            return "sequence";
        case media::Kind::Video:
            return "video";
    }
    return "";
}

Json AsJson(const Parameter& row) {
    Json json{{"id", row.id}, {"kind", KindName(row.kind)}, {"key", row.key}};
    json["label"] = LabelOf(row);
    if (row.kind != ParameterKind::Group) {
        json["name"] = row.name;
        json["default"] = row.defaultValue;
        json["minimum"] = row.minimum;
        json["maximum"] = row.maximum;
    }
    if (row.kind == ParameterKind::Choice) json["choices"] = ChoiceNames(row);
    json["flags"] = row.flags;
    json["group"] = row.group;
    json["governor"] = row.governor;
    json["help"] = row.help;
    return json;
}

struct Cells {
    std::string option;
    std::string values;
    std::string start;
};

Cells CellsOf(const Parameter& row) {
    const std::string name = row.name;
    const std::string value = std::to_string(row.defaultValue);
    switch (row.kind) {
        case ParameterKind::Group:
            return {};
        case ParameterKind::Choice:
            return {name, Joined(ChoiceNames(row), ", "), row.entries[row.defaultValue].name};
        case ParameterKind::Color:
            return {name, "a colour", "the screen's"};
        case ParameterKind::Switch:
            return {name, "on, off", row.defaultValue != 0 ? "on" : "off"};
        case ParameterKind::Integer:
            return {name, std::to_string(row.minimum) + " to " + std::to_string(row.maximum),
                    value};
    }
    return {};
}

void PrintTable() {
    constexpr const char* kLine = "%-20s %-21s %-13s %s\n";
    std::printf(kLine, "OPTION", "VALUES", "DEFAULT", "MEANING");
    for (const Parameter& row : Parameters()) {
        if (row.kind == ParameterKind::Group) continue;
        const Cells cells = CellsOf(row);
        std::printf(kLine, cells.option.c_str(), cells.values.c_str(), cells.start.c_str(),
                    row.help);
    }
}

const char* ScanName(media::Scan scan) {
    switch (scan) {
        case media::Scan::Progressive:
            return "progressive";
        case media::Scan::TopFirst:
            return "interlaced, top field first";
        case media::Scan::BottomFirst:
            return "interlaced, bottom field first";
    }
    return "";
}

double Rate(media::Rational rate) {
    return static_cast<double>(rate.num) / static_cast<double>(rate.den);
}

Json AsJson(const media::Info& info) {
    Json json{{"path", info.path},     {"kind", KindName(info.kind)}, {"format", info.format},
              {"pixels", info.pixels}, {"width", info.width},         {"height", info.height},
              {"bits", info.bits},     {"float", info.isFloat},       {"alpha", info.hasAlpha}};
    json["transfer"] = info.transfer == media::Transfer::Linear ? "linear" : "none";
    json["first-frame"] = info.firstFrame;
    if (info.frameCount) json["frames"] = *info.frameCount;
    json["missing-frames"] = info.missingFrames;
    if (info.kind == media::Kind::Video) {
        json["frame-rate"] = {info.frameRate.num, info.frameRate.den};
        json["scan"] = ScanName(info.scan);
        if (info.timecode) json["timecode"] = *info.timecode;
        json["audio-streams"] = info.audioStreams;
    }
    Json metadata = Json::object();
    for (const auto& [name, value] : info.metadata) metadata[name] = value;
    json["metadata"] = metadata;
    return json;
}

void PrintLine(const char* name, const std::string& value) {
    std::printf("%-14s %s\n", name, OneLine(value, kLongestLine).c_str());
}

std::string FramesText(const media::Info& info) {
    const std::string first = std::to_string(info.firstFrame);
    if (!info.frameCount) return "from " + first;
    return std::to_string(*info.frameCount) + ", from " + first;
}

void PrintInfo(const media::Info& info) {
    PrintLine("file", info.path);
    PrintLine("kind", KindName(info.kind));
    PrintLine("format", info.format);
    PrintLine("pixels", info.pixels);
    PrintLine("size", std::to_string(info.width) + " x " + std::to_string(info.height));
    PrintLine("alpha", info.hasAlpha ? "yes" : "no");
    PrintLine("light", info.transfer == media::Transfer::Linear ? "scene-linear" : "display");
    PrintLine("frames", FramesText(info));
    if (!info.missingFrames.empty())
        PrintLine("missing", std::to_string(info.missingFrames.size()) + ", first " +
                                 std::to_string(info.missingFrames.front()));
    if (info.kind == media::Kind::Video) {
        char rate[32];
        std::snprintf(rate, sizeof rate, "%.6g fps", Rate(info.frameRate));
        PrintLine("rate", rate);
        PrintLine("scan", ScanName(info.scan));
        if (info.timecode) PrintLine("timecode", *info.timecode);
        PrintLine("audio", std::to_string(info.audioStreams) + " streams");
    }
    constexpr std::size_t kLongestValue = 200;
    for (const auto& [name, value] : info.metadata)
        PrintLine(OneLine(name, kLongestValue).c_str(), OneLine(value, kLongestValue));
}

}  // namespace

void ParamsCommand::AddTo(CLI::App& app) {
    CLI::App* command = app.add_subcommand("params", "Show every setting, its range and default.");
    command->add_flag("--json", json_, "Print the whole table for machines.");
    command->callback([this] { Run(); });
}

void ParamsCommand::Run() const {
    if (!json_) return PrintTable();
    Json rows = Json::array();
    for (const Parameter& row : Parameters()) rows.push_back(AsJson(row));
    Print(rows);
}

void InfoCommand::AddTo(CLI::App& app) {
    CLI::App* command = app.add_subcommand("info", "Show what a file or a sequence holds.");
    command->add_option("INPUT", input_, "A video, a still or a sequence.")
        ->required()
        ->type_name("");
    command->add_flag("--json", json_, "Print it for machines.");
    command->callback([this] { Run(); });
}

void InfoCommand::Run() const {
    const std::unique_ptr<media::Reader> reader = media::Open(input_);
    if (json_) return Print(AsJson(reader->info()));
    PrintInfo(reader->info());
}

void PickCommand::AddTo(CLI::App& app) {
    CLI::App* command = app.add_subcommand("pick", "Suggest a key colour.");
    command->add_option("INPUT", input_, "A video, a still or a sequence.")
        ->required()
        ->type_name("");
    command->add_option("--frame", frame_, "Look at this frame. [default: the first]")
        ->type_name("N");
    command
        ->add_option("--at", at_, "Take the colour from this spot instead of finding the screen.")
        ->type_name("x,y");
    AddScreenOption(*command, screen_);
    AddTransferOption(*command, transfer_);
    AddColorSpaceOptions(*command, spaces_);
    command->add_flag("--json", json_, "Print it for machines.");
    command->callback([this] { Run(); });
}

void PickCommand::Run() {
    media::ReadOptions options;
    options.transfer = transfer_;
    options.conversion = OpenSpaces(spaces_, transfer_);
    if (!frame_.empty()) options.frames = ParseFrameRange(frame_);
    const KeyColorRequest request = ParseKeyColor(at_);
    const ScreenHint hint{ParseScreen(screen_), std::nullopt};
    const std::unique_ptr<media::Reader> reader = media::Open(input_, options);
    FirstFrame first = FetchFirst(*reader);
    const KeyColor key = Resolve(request, hint, LookAt(first, *reader), input_, options);
    const std::string hex = HexText(key.color);
    if (!json_) {
        std::printf("%s   %s screen, %s\n", hex.c_str(), ScreenName(key.screen).c_str(),
                    key.origin.c_str());
        return;
    }
    Json json{{"key-color", hex}, {"screen", ScreenName(key.screen)}, {"origin", key.origin}};
    json["components"] = {key.color.red, key.color.green, key.color.blue};
    if (key.coverage) json["screen-coverage"] = *key.coverage;
    Print(json);
}

}  // namespace veltrane::cli
