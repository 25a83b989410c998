#include "studio/work_file.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "files/whole_file.h"
#include "settings/presets.h"
#include "studio/http.h"
#include "studio/shot_json.h"

namespace veltrane::studio {

namespace fs = std::filesystem;

namespace {

constexpr int kBadRequest = 400;
constexpr int kVersion = 1;

void CheckSettings(Json settings) {
    const auto color = settings.find("key-color");
    if (color != settings.end() && *color == "auto") settings.erase("key-color");
    FromJson(Dump(settings), "settings");
}

void CheckSnapshots(const Json& work) {
    constexpr std::size_t kMost = 200;
    const Json* snapshots = Find(work, "snapshots");
    if (snapshots == nullptr) return;
    if (!snapshots->is_array() || snapshots->size() > kMost)
        throw Refusal(kBadRequest, "snapshots must be a list of at most " + std::to_string(kMost));
    for (const Json& snapshot : *snapshots) {
        if (!snapshot.is_object()) throw Refusal(kBadRequest, "a snapshot must be an object");
        CheckNames(snapshot, "a snapshot", {"name", "settings"});
        Text(snapshot, "name");
        CheckSettings(Object(snapshot, "settings"));
    }
}

void CheckRange(const Json& work) {
    const Json* range = Find(work, "range");
    if (range == nullptr) return;
    const bool pair = range->is_array() && range->size() == 2 && (*range)[0].is_number_integer() &&
                      (*range)[1].is_number_integer();
    if (!pair) throw Refusal(kBadRequest, "range must be two frame numbers, not " + Dump(*range));
}

void CheckWork(const Json& work) {
    constexpr std::size_t kLongestView = 65536;
    CheckNames(work, "the work on a shot",
               {"version", "settings", "inputs", "range", "snapshots", "view"});
    Integer(work, "version", kVersion, kVersion);
    CheckSettings(Object(work, "settings"));
    CheckNames(Object(work, "inputs"), "inputs", InputNames());
    CheckRange(work);
    CheckSnapshots(work);
    if (Dump(Object(work, "view")).size() > kLongestView)
        throw Refusal(kBadRequest,
                      "view must be at most " + std::to_string(kLongestView) + " bytes");
}

/// Changes the names of files among the inputs.
void Rename(Json& work, const std::function<std::string(const std::string&)>& rename) {
    const auto inputs = work.find("inputs");
    if (inputs == work.end() || !inputs->is_object()) return;
    for (const char* name : {"garbageFile", "coreFile", "cleanPlate"})
        if (const auto file = inputs->find(name); file != inputs->end() && file->is_string())
            *file = rename(file->get<std::string>());
}

}  // namespace

WorkFile::WorkFile(const Shot& shot, const RootFolder& root)
    : path_(root.Place(std::string(shot.name()).append(kWorkEnding)).string()),
      folder_(fs::path(shot.name()).parent_path().string()) {}

SavedWork WorkFile::Read() const {
    std::ifstream file(path_, std::ios::binary);
    if (!file) return {};
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    try {
        SavedWork saved{ParseObject(text), 0};
        saved.revision = Integer(saved.work, "revision", 1, INT64_MAX - 1);
        saved.work.erase("revision");
        CheckWork(saved.work);
        Rename(saved.work, [&](const std::string& name) {
            return (fs::path(folder_) / name).lexically_normal().string();
        });
        return saved;
    } catch (const std::exception& error) {
        throw Refusal(kBadRequest, path_ + " is not understood, so it is left alone: " +
                                       error.what() + "; move it away to begin anew");
    }
}

std::int64_t WorkFile::Write(const Json& work, std::int64_t revision) const {
    CheckWork(work);
    Json stored = work;
    stored["revision"] = revision + 1;
    Rename(stored, [&](const std::string& name) {
        return fs::path(name).lexically_relative(folder_.empty() ? "." : folder_).string();
    });
    const std::string text = stored.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
    files::WriteWhole(path_, text);
    return revision + 1;
}

}  // namespace veltrane::studio
