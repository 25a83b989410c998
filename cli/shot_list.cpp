#include "cli/shot_list.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "cli/errors.h"
#include "files/error.h"
#include "files/whole_file.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

bool IsAmong(const std::string& extension, std::initializer_list<const char*> list) {
    return std::find(list.begin(), list.end(), extension) != list.end();
}

bool IsVideoFile(const fs::path& path) {
    return IsAmong(media::Extension(path), {".mov", ".mp4", ".m4v", ".mkv", ".webm", ".avi", ".mxf",
                                            ".mpg", ".ts", ".mts"});
}

bool IsImageFile(const fs::path& path) {
    return IsAmong(media::Extension(path),
                   {".png", ".tif", ".tiff", ".exr", ".dpx", ".jpg", ".jpeg"});
}

/// The name without its number and what parts them: "shot.%04d.exr" is "shot".
std::string NameOf(const std::string& input) {
    std::string name = fs::path(input).stem().string();
    const std::size_t number = name.find_first_of("%#");
    if (media::SequencePath::Parse(input) && number != name.npos) name.erase(number);
    name.erase(name.find_last_not_of("._- ") + 1);
    return name.empty() ? "shot" : name;
}

std::string PresetBeside(const std::string& input) {
    const fs::path preset = fs::path(input).parent_path() / (NameOf(input) + ".veltrane.json");
    std::error_code ignored;
    return fs::exists(preset, ignored) ? preset.string() : "";
}

std::string ImageExtension(const std::string& input) {
    const std::string own = media::Extension(input);
    return IsAmong(own, {".png", ".tif", ".tiff", ".exr"}) ? own : ".tif";
}

std::string OutputFor(const std::string& input, const fs::path& folder,
                      const std::string& extension) {
    const std::string name = NameOf(input);
    const std::string chosen = extension.empty() ? "" : '.' + extension;
    const bool sequence = media::SequencePath::Parse(input) && !fs::exists(input);
    const std::string fitting = IsVideoFile(input) ? ".mov" : ImageExtension(input);
    const std::string ending = chosen.empty() ? fitting : chosen;
    const bool oneFile = media::IsVideoName(name + ending) || (!sequence && !IsVideoFile(input));
    return oneFile ? folder / (name + ending) : folder / name / (name + ".%04d" + ending);
}

/// Files whose names differ by their last number alone.
struct Group {
    std::set<std::size_t> digits;
    std::vector<fs::path> files;
};

std::string InputOf(const Group& group) {
    if (group.files.size() == 1) return group.files[0];
    const std::string stem = group.files[0].stem().string();
    const std::string prefix = stem.substr(0, stem.find_last_not_of("0123456789") + 1);
    const bool even = group.digits.size() == 1;
    const std::string number = even ? "%0" + std::to_string(*group.digits.begin()) + 'd' : "%d";
    return group.files[0].parent_path() / (prefix + number + group.files[0].extension().string());
}

std::vector<std::string> InputsIn(const fs::path& folder) {
    std::vector<std::string> inputs;
    std::map<std::pair<std::string, std::string>, Group> groups;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const fs::path& path = entry.path();
        if (files::IsTemporary(path) || !entry.is_regular_file()) continue;
        if (IsVideoFile(path)) inputs.push_back(path);
        if (!IsImageFile(path)) continue;
        const std::string stem = path.stem().string();
        const std::size_t prefix = stem.find_last_not_of("0123456789") + 1;
        const bool numbered = prefix < stem.size();
        const std::string key = numbered ? stem.substr(0, prefix) + '%' : stem;
        Group& group = groups[{key, path.extension().string()}];
        group.digits.insert(stem.size() - prefix);
        group.files.push_back(path);
    }
    for (const auto& [key, group] : groups) inputs.push_back(InputOf(group));
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

/// Inputs and, where the list tells them, outputs.
std::vector<std::pair<std::string, std::string>> Lines(const std::string& list) {
    std::ifstream file(list);
    if (!file) files::FailBySystem(list, "cannot be read", errno);
    std::vector<std::pair<std::string, std::string>> lines;
    for (std::string line; std::getline(file, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty() || line[0] == '#') continue;
        const std::size_t tab = std::min(line.find('\t'), line.size());
        lines.emplace_back(line.substr(0, tab), tab < line.size() ? line.substr(tab + 1) : "");
    }
    return lines;
}

}  // namespace

bool HoldsShots(const std::string& source) {
    std::error_code ignored;
    return fs::is_directory(source, ignored) || media::Extension(source) == ".txt";
}

Shot ShotOf(const std::string& input, const std::string& output) {
    return {NameOf(input), input, output, PresetBeside(input)};
}

std::vector<Shot> ListShots(const std::string& source, const std::string& output,
                            const std::string& extension) {
    std::vector<std::pair<std::string, std::string>> wanted;
    if (fs::is_directory(source)) {
        for (const std::string& input : InputsIn(source)) wanted.emplace_back(input, "");
    } else {
        wanted = Lines(source);
    }
    if (wanted.empty()) files::Fail(source, "holds no shots");
    std::vector<Shot> shots;
    std::map<std::string, std::string> taken;
    for (const auto& [input, chosen] : wanted) {
        const std::string place = chosen.empty() ? OutputFor(input, output, extension) : chosen;
        const auto [other, added] = taken.try_emplace(place, input);
        if (!added)
            throw UsageError(input + " and " + other->second + " would both become " + place +
                             "; name outputs in a list");
        shots.push_back(ShotOf(input, place));
    }
    return shots;
}

void MakeFolderFor(const std::string& output) {
    std::error_code error;
    const fs::path folder = fs::path(output).parent_path();
    if (!folder.empty()) fs::create_directories(folder, error);
    if (error) files::FailBySystem(folder, "cannot be made", error.value());
}

}  // namespace veltrane::cli
