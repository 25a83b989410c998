#include "cli/farm_job.h"

#include <cstdio>

#include "cli/child_process.h"
#include "cli/errors.h"
#include "files/error.h"
#include "files/whole_file.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

Json AsJson(const FarmShot& shot) {
    return {{"name", shot.shot.name},
            {"input", shot.shot.input},
            {"output", shot.shot.output},
            {"preset", shot.shot.preset},
            {"chunks", shot.chunks},
            {"frames", shot.frames},
            {"ids", shot.ids}};
}

FarmShot ShotFrom(const Json& json) {
    return {{json.at("name"), json.at("input"), json.at("output"), json.at("preset")},
            json.at("chunks"),
            json.at("frames"),
            json.at("ids").get<std::vector<std::string>>()};
}

/// The command of a shot's script, but for what differs from task to task.
std::string KeyLine(const Shot& shot, const std::string& program,
                    const std::vector<std::string>& further) {
    std::string line = program + " key " + Quoted(shot.input) + ' ' + Quoted(shot.output);
    if (!shot.preset.empty()) line += " --preset " + Quoted(shot.preset);
    for (const std::string& option : further) line += ' ' + Quoted(option);
    return line + " --quiet";
}

constexpr const char* kScript = R"script(#!/bin/sh
# Keys a chunk of one shot, or puts its chunks together: SCRIPT CHUNK, or SCRIPT merge.
say() { printf 'veltrane farm: %s\n' "$*"; }
cd @FOLDER@ 2>/dev/null && command -v @PROGRAM@ >/dev/null || {
    say "$(uname -n) cannot see "@FOLDER@" or "@PROGRAM@
    exit 75
}
say "$1 began $(date +%s) on $(uname -n)"
case $1 in
merge) @PROGRAM@ merge @OUTPUT@ ;;
*) @KEY@ --chunk "$1/@CHUNKS@" ;;
esac
status=$?
say "$1 ended $status"
exit $status
)script";

std::string Filled(std::string text, const std::map<std::string, std::string>& values) {
    for (const auto& [name, value] : values)
        for (std::size_t at = 0; (at = text.find(name, at)) != text.npos; at += value.size())
            text.replace(at, name.size(), value);
    return text;
}

}  // namespace

FarmJob::FarmJob(const std::string& folder) : folder_(fs::absolute(folder).lexically_normal()) {}

FarmJob FarmJob::Read(const std::string& folder) {
    FarmJob job(folder);
    const std::optional<Json> json = ReadJson(job.folder_ / "job.json");
    if (!json) files::Fail(folder, "holds no job.json; name the folder of a job");
    try {
        job.engine = json->at("engine");
        job.engineOptions = json->at("engine-options").get<std::vector<std::string>>();
        for (const Json& shot : json->at("shots")) job.shots.push_back(ShotFrom(shot));
    } catch (const Json::exception&) {
        files::Fail(job.folder_ / "job.json", "tells too little of the job");
    }
    return job;
}

void FarmJob::Save() const {
    Json json{{"engine", engine}, {"engine-options", engineOptions}, {"shots", Json::array()}};
    for (const FarmShot& shot : shots) json["shots"].push_back(AsJson(shot));
    WriteJson(folder_ / "job.json", json);
}

fs::path FarmJob::Script(std::size_t shot) const {
    return folder_ / (ShotNumber(shot) + ".sh");
}

fs::path FarmJob::LogOf(std::size_t shot, int chunk) const {
    return NewestLog(ShotNumber(shot) + '.', '_' + std::to_string(chunk) + ".log");
}

fs::path FarmJob::MergeLogOf(std::size_t shot) const {
    return NewestLog(ShotNumber(shot) + ".merge.", "log");
}

/// The log last written to of those whose names begin and end so.
fs::path FarmJob::NewestLog(const std::string& first, const std::string& last) const {
    fs::path newest;
    std::error_code error;
    for (fs::directory_iterator entry(Logs(), error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (!name.starts_with(first) || !name.ends_with(last)) continue;
        const auto time = [](const fs::path& path) { return fs::last_write_time(path); };
        if (newest.empty() || time(entry->path()) > time(newest)) newest = entry->path();
    }
    return newest;
}

/// Settings are those of now, whatever becomes of a preset meanwhile.
void FarmJob::WriteScript(std::size_t number, const std::string& program,
                          const std::vector<std::string>& further) {
    Shot& shot = shots[number].shot;
    if (!shot.preset.empty()) {
        const fs::path kept = folder_ / (ShotNumber(number) + ".preset.json");
        fs::copy_file(shot.preset, kept, fs::copy_options::overwrite_existing);
        shot.preset = kept;
    }
    const std::string quoted = Quoted(program);
    WriteText(Script(number),
              Filled(kScript, {{"@FOLDER@", Quoted(fs::current_path())},
                               {"@PROGRAM@", quoted},
                               {"@OUTPUT@", Quoted(shot.output)},
                               {"@KEY@", KeyLine(shot, quoted, further)},
                               {"@CHUNKS@", std::to_string(shots[number].chunks)}}),
              true);
}

void FarmJob::Create(const std::string& program, const std::vector<std::string>& further) {
    if (fs::exists(folder_ / "job.json"))
        throw UsageError(folder_.string() +
                         " holds a job already; name another with --job, or see veltrane farm "
                         "status and retry");
    std::error_code error;
    fs::create_directories(Logs(), error);
    if (error) files::FailBySystem(Logs(), "cannot be made", error.value());
    for (std::size_t i = 0; i < shots.size(); ++i) WriteScript(i, program, further);
}

std::string ShotNumber(std::size_t shot) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%03zu", shot + 1);
    return digits;
}

void WriteText(const fs::path& path, const std::string& text, bool script) {
    files::WriteWhole(path, text);
    std::error_code ignored;
    if (script) fs::permissions(path, fs::perms(0755), ignored);
}

}  // namespace veltrane::cli
