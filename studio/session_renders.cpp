#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cli/places.h"
#include "files/whole_file.h"
#include "studio/session.h"
#include "studio/shot_json.h"

namespace veltrane::studio {

namespace fs = std::filesystem;

namespace {

constexpr int kBadRequest = 400;

/// A folder of this process's own, which goes with all it holds.
class PrivateFolder {
public:
    PrivateFolder() {
        std::string name = (fs::temp_directory_path() / "veltrane-studio-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw media::Error(name + ": the folder for a render's mattes cannot be made");
        path_ = name;
    }
    ~PrivateFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

Json AsJson(const Render& render) {
    return {{"id", render.id},          {"shot", render.shot},
            {"output", render.output},  {"state", StateName(render.state)},
            {"done", render.done},      {"total", render.total},
            {"rate", render.rate},      {"secondsLeft", render.secondsLeft},
            {"message", render.message}};
}

std::optional<media::FrameRange> RangeOf(const Json& request) {
    const Json* range = Find(request, "frames");
    if (range == nullptr) return std::nullopt;
    const bool pair = range->is_array() && range->size() == 2 && (*range)[0].is_number_integer() &&
                      (*range)[1].is_number_integer();
    if (!pair) throw Refusal(kBadRequest, "frames must be two numbers, not " + Dump(*range));
    return media::FrameRange{(*range)[0].get<std::int64_t>(), (*range)[1].get<std::int64_t>()};
}

/// Options of the command that a page may give, by name; files lie within the root.
void AddOptions(KeyCall& call, const Json& request, const RootFolder& root) {
    const Json options = Object(request, "options");
    CheckNames(options, "options",
               {"view", "alpha", "compression", "fps", "background", "matte-to"});
    for (const char* name : {"alpha", "compression", "fps", "background", "matte-to"}) {
        std::string value = Text(options, name, "");
        if (value.empty()) continue;
        const std::string option = name;
        if (option == "background" && !ParseHexColor(value)) value = root.Shot(value).string();
        if (option == "matte-to") value = root.Place(value).string();
        if (value.starts_with('-'))
            throw Refusal(kBadRequest, option + " must not begin with a dash: " + value);
        call.options.emplace_back(option, value);
    }
}

void WriteDrawing(std::string& file, std::string& shapes, const std::string& path) {
    if (shapes.empty()) return;
    files::WriteWhole(path, shapes);
    file = path;
    shapes.clear();
}

}  // namespace

KeyCall Session::CallOf(const Json& request, const std::string& drawings) {
    const std::shared_ptr<Shot> shot = ShotOf(request);
    KeyCall call;
    call.input = shot->path();
    call.output = root_.Place(Text(request, "output")).string();
    Json settings = Object(request, "settings");
    const Json options = Object(request, "options");
    if (const Json* view = Find(options, "view")) settings["view"] = *view;
    call.settings = SettledBy(*shot, ReadSettings(settings, *shot));
    call.inputs = ReadInputs(request, root_);
    call.frames = RangeOf(request);
    AddOptions(call, request, root_);
    cli::Places places;
    places.Reads(call.input);
    for (const std::string& file : call.inputs.Named()) places.Reads(file);
    places.Writes(call.output, call.frames.value_or(cli::FramesOf(shot->info())));
    WriteDrawing(call.inputs.garbage, call.inputs.garbageShapes, drawings + "garbage.svg");
    WriteDrawing(call.inputs.core, call.inputs.coreShapes, drawings + "core.svg");
    return call;
}

/// Drawn mattes are saved beside the shot, where the line finds them.
HttpResponse Session::Command(const Json& request) {
    const std::string before = ShotOf(request)->name() + ".veltrane.";
    for (const char* drawing : {"garbage.svg", "core.svg"}) root_.Place(before + drawing);
    const KeyCall call = CallOf(request, (root_.path() / before).string());
    return JsonResponse({{"line", ShellLine(Arguments(call))}});
}

HttpResponse Session::AddRender(const Json& request) {
    // Mattes that are drawn on later leave alone what was asked for.
    const auto folder = std::make_shared<const PrivateFolder>();
    const KeyCall call = CallOf(request, (folder->path() / "").string());
    Render render;
    render.shot = Text(request, "shot");
    render.output = root_.NameOf(call.output);
    render.arguments = Arguments(call);
    const std::string cpu(CpuLevelName(CurrentCpuLevel())),
        threads = std::to_string(start_.threads);
    render.arguments.insert(render.arguments.end(),
                            {"--progress", "--quiet", "--cpu", cpu, "--threads", threads});
    render.held = folder;
    return JsonResponse({{"id", renders_.Add(std::move(render))}});
}

HttpResponse Session::CancelRender(const Json& request) {
    renders_.Cancel(Integer(request, "id", 0, INT64_MAX));
    return JsonResponse(Json::object());
}

HttpResponse Session::Renders(const Json&) {
    Json list = Json::array();
    for (const Render& render : renders_.List()) list.push_back(AsJson(render));
    return JsonResponse({{"renders", list}});
}

void Session::Tell(const Render& render) {
    events_.Send("render", Dump(AsJson(render)));
}

}  // namespace veltrane::studio
