#include "cli/chunk_folder.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "cli/errors.h"
#include "files/error.h"
#include "files/whole_file.h"
#include "media/file_kind.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

std::string Numbered(int chunk, const std::string& extension) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%04d", chunk);
    return digits + extension;
}

void MakeFolder(const fs::path& path) {
    std::error_code error;
    fs::create_directory(path, error);
    if (error) files::FailBySystem(path, "cannot be made", error.value());
}

/// What differs first, for people.
std::string Difference(const Json& noted, const Json& own) {
    const Json changes = Json::diff(noted, own);
    const std::string place = changes[0]["path"];
    const Json::json_pointer pointer(place);
    const auto shown = [&](const Json& json) {
        return json.contains(pointer) ? json[pointer].dump() : "nothing";
    };
    return place.substr(1) + ' ' + shown(noted) + ", not " + shown(own);
}

}  // namespace

ChunkFolder::ChunkFolder(const std::string& output)
    : output_(output), path_(files::Destination(output) + ".parts") {}

fs::path ChunkFolder::Record(int chunk) const {
    return path_ / Numbered(chunk, ".json");
}

fs::path ChunkFolder::Part(int chunk) const {
    return path_ / Numbered(chunk, media::Extension(output_));
}

void ChunkFolder::Refuse(const Json& noted, const Json& own) const {
    throw UsageError(Shot().string() + ": the other chunks have " + Difference(noted, own) +
                     "; do as they do, or remove the folder to begin anew");
}

std::optional<Json> ChunkFolder::Noted(const Json& asked) const {
    std::optional<Json> noted = ReadJson(Shot());
    if (!noted) return std::nullopt;
    Json same = Json::object();
    for (const auto& [name, value] : noted->items())
        if (asked.contains(name)) same[name] = value;
    if (same != asked) Refuse(same, asked);
    return noted;
}

/// Several chunks may come at once, and a link is made for one of them only.
void ChunkFolder::Agree(const Json& shot) const {
    MakeFolder(path_);
    if (!fs::exists(Shot())) {
        const fs::path own = path_ / ("shot-" + HostName() + '-' + std::to_string(::getpid()));
        WriteJson(own, shot);
        std::error_code error;
        fs::create_hard_link(own, Shot(), error);
        const bool taken = error == std::errc::file_exists;
        if (error && !taken) fs::rename(own, Shot(), error);  // not every file system has links
        fs::remove(own, error);
    }
    const std::optional<Json> noted = ReadJson(Shot());
    if (!noted) files::FailBySystem(Shot(), "cannot be read", ESTALE);
    if (*noted != shot) Refuse(*noted, shot);
}

bool ChunkFolder::Begin(int chunk) const {
    const fs::path note = path_ / Numbered(chunk, ".begun");
    const bool before = fs::exists(note);
    WriteJson(note, {{"host", HostName()}, {"began", Now()}});
    return before;
}

std::optional<Json> ChunkFolder::Whole(int chunk, const std::string& shotDigest) const {
    const std::optional<Json> record = ReadJson(Record(chunk));
    if (!record || record->value("shot", "") != shotDigest) return std::nullopt;
    std::error_code error;
    const bool there = !record->contains("part") || fs::exists(Part(chunk), error);
    return there ? record : std::nullopt;
}

void ChunkFolder::Finish(int chunk, const Json& record) const {
    WriteJson(Record(chunk), record);
}

void ChunkFolder::Forget(int chunk) const {
    std::error_code ignored;
    fs::remove(Record(chunk), ignored);
}

std::optional<Json> ReadJson(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(path, error)) {
        if (error) files::FailBySystem(path, "cannot be read", error.value());
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    Json json = Json::parse(file, nullptr, false);
    if (json.is_discarded()) files::Fail(path, "is no JSON that can be read");
    return json;
}

void WriteJson(const fs::path& path, const Json& json) {
    files::WriteWhole(path, json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
}

std::string DigestOf(const std::string& text) {
    std::uint64_t hash = 14695981039346656037u;  // FNV-1a
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return digits;
}

double Now() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(time).count();
}

std::string HostName() {
    char name[256] = {};
    ::gethostname(name, sizeof name - 1);
    return name;
}

}  // namespace veltrane::cli
