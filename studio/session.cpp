#include "studio/session.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

#include "cli/errors.h"
#include "cli/text.h"
#include "media/media.h"
#include "settings/presets.h"
#include "studio/file_list.h"
#include "studio/page_files.h"
#include "studio/shot_json.h"

namespace veltrane::studio {

namespace {

constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;
constexpr int kWrongMethod = 405;

/// A quarter of the machine's memory, since others work on it too, within what one shot can use.
std::size_t MemoryForFrames() {
    constexpr std::size_t kLeast = std::size_t{256} << 20, kMost = std::size_t{4} << 30;
    const auto pages = static_cast<std::size_t>(std::max(sysconf(_SC_PHYS_PAGES), 0L));
    const auto page = static_cast<std::size_t>(std::max(sysconf(_SC_PAGESIZE), 0L));
    return std::clamp(pages * page / 4, kLeast, kMost);
}

const char* TypeOf(std::string_view name) {
    constexpr std::pair<std::string_view, const char*> kTypes[] = {
        {".html", "text/html; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".svg", "image/svg+xml"}};
    for (const auto& [ending, type] : kTypes)
        if (name.ends_with(ending)) return type;
    return "application/octet-stream";
}

HttpResponse PageFileResponse(const std::string& path) {
    const std::string name = path == "/" ? "index.html" : path.substr(1);
    for (const PageFile& file : PageFiles())
        if (file.name == name) return {200, TypeOf(name), std::string(file.content)};
    throw Refusal(kNotFound, path + " is not there; open the studio's first page");
}

/// A path such as "/api/renders/7/cancel" with a # in the number's place, and the number.
std::pair<std::string, std::optional<std::int64_t>> WithoutNumber(const std::string& path) {
    const std::string_view before = "/api/renders/";
    if (!path.starts_with(before)) return {path, std::nullopt};
    const std::size_t end = std::min(path.find('/', before.size()), path.size());
    const auto digits = std::string_view(path).substr(before.size(), end - before.size());
    const auto number = cli::ParseNumber<std::int64_t>(digits);
    if (!number) return {path, std::nullopt};
    return {std::string(before) + '#' + path.substr(end), number};
}

/// The files that media::Create writes, of which no two are alike to whoever chooses.
Json FormatsJson() {
    const auto format = [](const char* name, const char* extension, const char* kind, bool alpha) {
        return Json{{"name", name}, {"extension", extension}, {"kind", kind}, {"alpha", alpha}};
    };
    Json formats{format("ProRes 4444", ".mov", "video", true),
                 format("FFV1, lossless", ".mkv", "video", true),
                 format("VP9", ".webm", "video", true), format("H.264", ".mp4", "video", false)};
    for (const char* kind : {"sequence", "still"})
        for (const auto& [name, extension, alpha] : {std::make_tuple("PNG, 16 bits", ".png", true),
                                                     {"EXR", ".exr", true},
                                                     {"TIFF", ".tif", true},
                                                     {"JPEG", ".jpg", false}})
            formats.push_back(format(name, extension, kind, alpha));
    return formats;
}

}  // namespace

Session::Session(const Start& start)
    : start_(start),
      root_(start.root),
      kept_(MemoryForFrames()),
      service_(start.threads, kept_),
      renders_([this](const Render& render) { Tell(render); }),
      parameters_(ParametersJson()) {
    if (start.shot.empty()) return;
    firstShot_ = root_.NameOf(root_.Shot(std::filesystem::absolute(start.shot).string()));
    OpenShot(firstShot_);
}

HttpResponse Session::Answer(const HttpRequest& request) {
    try {
        return Route(request);
    } catch (const cli::UsageError& error) {
        throw Refusal(kBadRequest, error.what());
    } catch (const std::invalid_argument& error) {
        throw Refusal(kBadRequest, error.what());
    } catch (const media::Error& error) {
        throw Refusal(kBadRequest, error.what());
    }
}

HttpResponse Session::Route(const HttpRequest& request) {
    struct Known {
        const char* method;
        const char* path;
        Ask ask;
    };
    constexpr Known kKnown[] = {
        {"GET", "/api/session", &Session::SessionInfo},
        {"GET", "/api/files", &Session::Files},
        {"GET", "/api/status", &Session::Status},
        {"GET", "/api/events", &Session::Events},
        {"GET", "/api/renders", &Session::Renders},
        {"POST", "/api/open", &Session::Open},
        {"POST", "/api/frame", &Session::Frame},
        {"POST", "/api/probe", &Session::Probe},
        {"POST", "/api/histogram", &Session::Histogram},
        {"POST", "/api/pick", &Session::Pick},
        {"POST", "/api/work", &Session::SaveWork},
        {"POST", "/api/preset/load", &Session::LoadPreset},
        {"POST", "/api/preset/save", &Session::SavePreset},
        {"POST", "/api/matte/load", &Session::LoadMatte},
        {"POST", "/api/matte/save", &Session::SaveMatte},
        {"POST", "/api/plate/save", &Session::SavePlate},
        {"POST", "/api/command", &Session::Command},
        {"POST", "/api/render", &Session::AddRender},
        {"POST", "/api/renders/#/cancel", &Session::CancelRender},
    };
    const auto [path, id] = WithoutNumber(request.path);
    const auto known =
        std::find_if(std::begin(kKnown), std::end(kKnown),
                     [&path = path](const Known& each) { return path == each.path; });
    const bool isPage = known == std::end(kKnown);
    if (request.method != (isPage ? "GET" : known->method))
        throw Refusal(kWrongMethod, request.path + " cannot be asked for by " + request.method);
    if (isPage) return PageFileResponse(request.path);
    if (request.method == "POST") {
        if (!request.Header("Content-Type").starts_with("application/json"))
            throw Refusal(kBadRequest, "a request must be of the type application/json");
        Json body = ParseObject(request.body);
        if (id) body["id"] = *id;
        return (this->*known->ask)(body);
    }
    Json query = Json::object();
    for (const auto& [name, value] : request.query) query[name] = value;
    return (this->*known->ask)(query);
}

HttpResponse Session::SessionInfo(const Json&) {
    Json json{{"version", start_.version},     {"cpu", CpuLevelName(CurrentCpuLevel())},
              {"threads", start_.threads},     {"memoryLimit", kept_.limit()},
              {"root", root_.path().string()}, {"parameters", parameters_},
              {"formats", FormatsJson()}};
    json["shot"] = firstShot_.empty() ? Json() : Opened(firstShot_, true);
    return JsonResponse(json);
}

HttpResponse Session::Files(const Json& request) {
    const auto folder = root_.Existing(Text(request, "folder", ""));
    const std::string name = root_.NameOf(folder);
    Json entries = Json::array();
    const std::string also = Text(request, "also", "");
    for (const ListedFile& file : ListFolder(folder)) {
        const bool isShapes = file.kind == ListedFile::Kind::Shapes;
        const bool isShot = !isShapes && file.kind != ListedFile::Kind::Preset;
        if (!isShot && also.find(isShapes ? ".svg" : ".json") == also.npos) continue;
        Json entry{{"name", file.name},
                   {"path", name.empty() ? file.name : name + '/' + file.name},
                   {"kind", KindName(file.kind)}};
        if (file.kind == ListedFile::Kind::Sequence) entry["frames"] = file.frames;
        entries.push_back(entry);
    }
    Json json{{"folder", name}};
    json["parent"] = name.empty() ? Json() : Json(root_.NameOf(folder.parent_path()));
    json["entries"] = entries;
    return JsonResponse(json);
}

HttpResponse Session::Open(const Json& request) {
    return JsonResponse(Opened(Text(request, "path"), Flag(request, "tune", true)));
}

Json Session::Opened(const std::string& name, bool toWork) {
    const std::shared_ptr<Shot> shot = OpenShot(name, true);
    Json json = ShotJson(*shot);
    if (!toWork) return json;
    json["preset"] =
        start_.preset.empty() ? Json() : Json::parse(ToJson(ReadPreset(start_.preset)));
    AddWork(json, *shot);
    json["auto"] = Json();
    try {
        const cli::KeyColor found = shot->AutomaticKey();
        json["auto"] = {{"key-color", HexText(found.color)},
                        {"screen", cli::ScreenName(found.screen)}};
    } catch (const media::Error& error) {
        json["problems"].push_back(error.what());
    }
    AddTuning(json, *shot);
    return json;
}

void Session::AddTuning(Json& json, Shot& shot) const {
    json["tuned"] = json["preset"];
    json["tuneReport"] = Json::array();
    if (!json["preset"].is_null()) return;
    const bool fresh = json["work"].is_null();
    const cli::ShotTuning* tuning = shot.Tuning(fresh);
    if (tuning == nullptr) return;
    json["tuned"] = TunedJson(*tuning, json["auto"]);
    if (fresh) json["tuneReport"] = TuneReport(*tuning);
}

std::shared_ptr<Shot> Session::ShotOf(const Json& request) {
    return OpenShot(Text(request, "shot"));
}

/// A shot that takes long to open keeps nobody from working on another. Anew is one whose files
/// have changed since.
std::shared_ptr<Shot> Session::OpenShot(const std::string& name, bool anew) {
    constexpr std::size_t kMostOpen = 8;
    std::unique_lock lock(opening_);
    const auto isIt = [&](const OpenedShot& open) { return open.name == name; };
    const auto open = std::find_if(shots_.begin(), shots_.end(), isIt);
    if (open != shots_.end()) {
        shots_.splice(shots_.begin(), shots_, open);
        const auto known = open->shot;
        lock.unlock();
        if (!anew || known.get()->IsCurrent()) return known.get();
        lock.lock();
        shots_.remove_if(isIt);
    }
    std::promise<std::shared_ptr<Shot>> promise;
    shots_.push_front({name, promise.get_future().share()});
    if (shots_.size() > kMostOpen) shots_.pop_back();
    lock.unlock();
    try {
        const std::string path = root_.Shot(name).string();
        const auto shot = std::make_shared<Shot>(name, path, start_.threads, kept_);
        promise.set_value(shot);
        return shot;
    } catch (...) {
        lock.lock();
        shots_.remove_if(isIt);
        lock.unlock();
        promise.set_exception(std::current_exception());
        throw;
    }
}

HttpResponse Session::Status(const Json&) {
    Json open = Json::array();
    const std::lock_guard lock(opening_);
    for (const OpenedShot& each : shots_) {
        if (each.shot.wait_for(std::chrono::seconds(0)) != std::future_status::ready) continue;
        const std::shared_ptr<Shot> shot = each.shot.get();
        Json cached = Json::array();
        for (std::int64_t n = shot->info().firstFrame; n <= shot->frames().last(); ++n)
            if (shot->frames().Holds(n)) cached.push_back(n);
        open.push_back({{"shot", shot->name()}, {"cached", cached}});
    }
    return JsonResponse(
        {{"memory", kept_.used()}, {"memoryLimit", kept_.limit()}, {"shots", open}});
}

HttpResponse Session::Events(const Json&) {
    return {200, "text/event-stream", events_.Listen("hello", Dump({{"version", start_.version}}))};
}

}  // namespace veltrane::studio
