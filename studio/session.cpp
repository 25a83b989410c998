#include "studio/session.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "cli/errors.h"
#include "media/media.h"
#include "settings/presets.h"
#include "studio/file_list.h"
#include "studio/page_files.h"
#include "studio/region.h"
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

HttpResponse JsonResponse(const Json& json) {
    return {200, "application/json", Dump(json)};
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

/// The square that the command takes the mean of.
Region AroundSpot(const Region& spot) {
    return {spot.x - cli::kSampleSide / 2, spot.y - cli::kSampleSide / 2, cli::kSampleSide,
            cli::kSampleSide};
}

Color ColorOf(const RegionValues& values) {
    constexpr double kFull = 65535;
    return {values.mean[0] / kFull, values.mean[1] / kFull, values.mean[2] / kFull};
}

Json PickJson(const cli::KeyColor& key, const std::optional<RegionValues>& values) {
    const std::string hex = HexText(key.color), screen = cli::ScreenName(key.screen);
    constexpr double kFull = 65535;
    Json json{{"hex", hex}, {"screen", screen}, {"origin", key.origin}};
    for (const double part : {key.color.red, key.color.green, key.color.blue})
        json["color"].push_back(std::lround(part * kFull));
    if (values) json["mean"] = values->mean;
    if (values) json["spread"] = values->spread;
    if (key.coverage) json["coverage"] = *key.coverage;
    json["settings"] = {{"key-color", hex}, {"screen", screen}};
    return json;
}

std::string Fixed(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

}  // namespace

Session::Session(const Start& start)
    : start_(start),
      root_(start.root),
      kept_(MemoryForFrames()),
      service_(start.threads, kept_),
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
        {"GET", "/api/session", &Session::SessionInfo}, {"GET", "/api/files", &Session::Files},
        {"GET", "/api/status", &Session::Status},       {"GET", "/api/events", &Session::Events},
        {"POST", "/api/open", &Session::Open},          {"POST", "/api/frame", &Session::Frame},
        {"POST", "/api/pick", &Session::Pick},
    };
    const auto known = std::find_if(std::begin(kKnown), std::end(kKnown),
                                    [&](const Known& each) { return request.path == each.path; });
    const bool isPage = known == std::end(kKnown);
    if (request.method != (isPage ? "GET" : known->method))
        throw Refusal(kWrongMethod, request.path + " cannot be asked for by " + request.method);
    if (isPage) return PageFileResponse(request.path);
    if (request.method == "POST") {
        if (!request.Header("Content-Type").starts_with("application/json"))
            throw Refusal(kBadRequest, "a request must be of the type application/json");
        return (this->*known->ask)(ParseObject(request.body));
    }
    Json query = Json::object();
    for (const auto& [name, value] : request.query) query[name] = value;
    return (this->*known->ask)(query);
}

HttpResponse Session::SessionInfo(const Json&) {
    Json json{{"version", start_.version},
              {"cpu", CpuLevelName(CurrentCpuLevel())},
              {"threads", start_.threads},
              {"root", root_.path().string()},
              {"parameters", parameters_}};
    json["shot"] = firstShot_.empty() ? Json() : Opened(firstShot_);
    return JsonResponse(json);
}

HttpResponse Session::Files(const Json& request) {
    const auto folder = root_.Existing(Text(request, "folder", ""));
    const std::string name = root_.NameOf(folder);
    Json entries = Json::array();
    for (const ListedFile& file : ListFolder(folder)) {
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
    return JsonResponse(Opened(Text(request, "path")));
}

Json Session::Opened(const std::string& name) {
    const std::shared_ptr<Shot> shot = OpenShot(name);
    Json json = ShotJson(*shot);
    json["preset"] =
        start_.preset.empty() ? Json() : Json::parse(ToJson(ReadPreset(start_.preset)));
    json["work"] = Json();
    json["tuned"] = Json();
    json["tuneReport"] = Json::array();
    return json;
}

std::shared_ptr<Shot> Session::ShotOf(const Json& request) {
    return OpenShot(Text(request, "shot"));
}

std::shared_ptr<Shot> Session::OpenShot(const std::string& name) {
    constexpr std::size_t kMostOpen = 8;
    const std::lock_guard lock(opening_);
    const auto open = std::find_if(shots_.begin(), shots_.end(),
                                   [&](const auto& shot) { return shot->name() == name; });
    if (open != shots_.end()) {
        shots_.splice(shots_.begin(), shots_, open);
        return shots_.front();
    }
    const std::string path = root_.Shot(name).string();
    shots_.push_front(std::make_shared<Shot>(name, path, start_.threads, kept_));
    if (shots_.size() > kMostOpen) shots_.pop_back();
    return shots_.front();
}

HttpResponse Session::Frame(const Json& request) {
    constexpr std::int64_t kMostScale = 16;
    FrameWish wish;
    const std::int64_t generation = Integer(request, "generation", 0, INT64_MAX, 0);
    wish.ticket =
        service_.turns().Announce(Text(request, "client", ""), Text(request, "purpose", "main"),
                                  static_cast<std::uint64_t>(generation));
    wish.ticket.Check();
    wish.shot = ShotOf(request);
    wish.number = Integer(request, "frame", INT64_MIN, INT64_MAX);
    wish.scale = static_cast<int>(Integer(request, "scale", 1, kMostScale, 1));
    const std::string channels = Text(request, "channels", "rgba");
    if (channels != "rgba" && channels != "a")
        throw Refusal(kBadRequest, "channels must be rgba or a, not " + channels);
    wish.alphaAlone = channels == "a";
    Json settings = Object(request, "settings");
    if (const Json* view = Find(request, "view")) settings["view"] = *view;
    wish.settings = ReadSettings(settings, *wish.shot);
    wish.inputs = ReadInputs(request, root_);
    FrameAnswer answer = service_.Key(wish);
    HttpResponse response{200, "application/octet-stream", std::move(answer.bytes)};
    response.headers = {{"X-Width", std::to_string(answer.width)},
                        {"X-Height", std::to_string(answer.height)},
                        {"X-Scale", std::to_string(answer.scale)},
                        {"X-Milliseconds", Fixed(answer.milliseconds)},
                        {"X-Form", std::string(CpuLevelName(CurrentCpuLevel()))},
                        {"X-Generation", std::to_string(generation)}};
    return response;
}

/// A colour of the source: of an area, of the small square around a spot, or of the screen.
HttpResponse Session::Pick(const Json& request) {
    const std::shared_ptr<Shot> shot = ShotOf(request);
    const std::int64_t number =
        Integer(request, "frame", INT64_MIN, INT64_MAX, shot->info().firstFrame);
    const auto frame = shot->frames().Get(number);
    if (Find(request, "x") == nullptr)
        return JsonResponse(
            PickJson(cli::Resolve(cli::FindScreen{}, {}, *frame, shot->name(), {}), {}));
    Region region = ReadRegion(request);
    const bool isSpot = Find(request, "width") == nullptr && Find(request, "height") == nullptr;
    const Region spot{region.x, region.y, 1, 1};
    if (isSpot) region = AroundSpot(Clipped(spot, frame->width, frame->height));
    region = Clipped(region, frame->width, frame->height);
    const RegionValues values = Measure(frame->pixels.data(), frame->width, region);
    cli::KeyColorRequest wanted = cli::SampleAt{spot.x, spot.y, number};
    if (!isSpot) wanted = ColorOf(values);
    return JsonResponse(PickJson(cli::Resolve(wanted, {}, *frame, shot->name(), {}), values));
}

HttpResponse Session::Status(const Json&) {
    Json open = Json::array();
    const std::lock_guard lock(opening_);
    for (const auto& shot : shots_) {
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
