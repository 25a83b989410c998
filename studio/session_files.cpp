#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/composite.h"
#include "cli/frame_threads.h"
#include "cli/places.h"
#include "files/whole_file.h"
#include "media/media.h"
#include "settings/presets.h"
#include "shapes/shape_file.h"
#include "studio/session.h"
#include "studio/shot_json.h"
#include "studio/work_file.h"

namespace veltrane::studio {

namespace {

constexpr int kBadRequest = 400;
constexpr int kConflict = 409;

/// Throws Refusal unless the name has the ending, which keeps other files from being replaced.
void RequireEnding(const std::string& name, const std::string& ending) {
    if (!name.ends_with(ending))
        throw Refusal(kBadRequest, name + " must end in " + ending + "; give it that name");
}

shapes::Purpose PurposeOf(const Json& request) {
    const std::string purpose = Text(request, "purpose", "garbage");
    return purpose == "core" ? shapes::Purpose::kCore : shapes::Purpose::kGarbage;
}

/// Throws media::Error for a drawing that the command would refuse.
void CheckDrawing(const std::string& text, const media::Info& info, shapes::Purpose purpose) {
    shapes::ShapeFile::FromText(text, "the drawing", info.width, info.height, purpose);
}

}  // namespace

void Session::AddWork(Json& json, const Shot& shot) const {
    json["work"] = Json();
    json["revision"] = 0;
    json["problems"] = Json::array();
    try {
        const SavedWork saved = WorkFile(shot, root_).Read();
        json["work"] = saved.work;
        json["revision"] = saved.revision;
    } catch (const Refusal& refusal) {
        json["problems"].push_back(refusal.what());
    }
}

HttpResponse Session::SaveWork(const Json& request) {
    const std::shared_ptr<Shot> shot = ShotOf(request);
    const Json work = Object(request, "work");
    const std::int64_t revision = Integer(request, "revision", 0, INT64_MAX - 1);
    const WorkFile file(*shot, root_);
    const std::lock_guard lock(saving_);
    const SavedWork saved = file.Read();
    if (saved.revision != revision) {
        HttpResponse response =
            JsonResponse({{"error", "another page has changed this shot's work meanwhile"},
                          {"work", saved.work},
                          {"revision", saved.revision}});
        response.status = kConflict;
        return response;
    }
    const std::int64_t next = file.Write(work, revision);
    events_.Send("work", Dump({{"shot", shot->name()},
                               {"revision", next},
                               {"client", Text(request, "client", "")},
                               {"work", work}}));
    return JsonResponse({{"revision", next}});
}

HttpResponse Session::LoadPreset(const Json& request) {
    const auto path = root_.Existing(Text(request, "path"));
    return JsonResponse({{"settings", Json::parse(ToJson(ReadPreset(path.string())))}});
}

HttpResponse Session::SavePreset(const Json& request) {
    const std::string name = Text(request, "path");
    RequireEnding(name, ".json");
    const Settings settings = ReadSettings(Object(request, "settings"), *ShotOf(request));
    WritePreset(root_.Place(name).string(), settings);
    return JsonResponse({{"path", name}});
}

HttpResponse Session::LoadMatte(const Json& request) {
    constexpr std::size_t kMost = std::size_t{1} << 20;
    const auto path = root_.Existing(Text(request, "path"));
    if (std::filesystem::file_size(path) > kMost)
        throw Refusal(kBadRequest, path.filename().string() +
                                       " is too large to be drawn in; choose it as a file");
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    CheckDrawing(text, ShotOf(request)->info(), PurposeOf(request));
    return JsonResponse({{"svg", text}});
}

HttpResponse Session::SaveMatte(const Json& request) {
    const std::string name = Text(request, "path"), text = Text(request, "svg");
    RequireEnding(name, ".svg");
    CheckDrawing(text, ShotOf(request)->info(), PurposeOf(request));
    files::WriteWhole(root_.Place(name).string(), text);
    return JsonResponse({{"path", name}});
}

/// As --save-plate writes it.
HttpResponse Session::SavePlate(const Json& request) {
    const FrameWish wish = WishOf(request);
    const std::string name = Text(request, "path"), path = root_.Place(name).string();
    cli::Places places;
    places.Reads(wish.shot->path());
    for (const std::string& file : wish.inputs.Named()) places.Reads(file);
    places.Writes(path, {wish.number, wish.number});
    const auto source = wish.shot->frames().Get(wish.number);
    media::WriteOptions options;
    options.opaque = true;
    options.threads = start_.threads;
    cli::FrameThreads all(start_.threads);
    const cli::FrameThreads::Share share(all);
    cli::WritePicture(path, cli::CleanPlate(wish.settings, *source, share.Get()), options,
                      wish.shot->info());
    return JsonResponse({{"path", name}});
}

}  // namespace veltrane::studio
