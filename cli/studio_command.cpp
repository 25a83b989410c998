#include "cli/studio_command.h"

#include <filesystem>
#include <stdexcept>

#include "cli/common_options.h"
#include "cli/errors.h"
#include "cli/interrupt.h"
#include "cli/text.h"
#include "media/module_loading.h"
#include "settings/presets.h"
#include "studio/studio.h"

namespace veltrane::cli {

namespace {

int ParsePort(const std::string& text) {
    constexpr int kMost = 65535;
    if (text.empty()) return 0;
    const int port = ParseNumber<int>(text).value_or(0);
    if (port < 1 || port > kMost) throw UsageError("port must be 1 to 65535, not " + text);
    return port;
}

void CheckPreset(const std::string& path) {
    if (path.empty()) return;
    try {
        ReadPreset(path);
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace

void StudioCommand::AddTo(CLI::App& app) {
    CLI::App& c = *app.add_subcommand("studio", "Key a shot by eye, in the browser.");
    c.add_option("SHOT", shot_, "A video, a still, or a sequence; without one, choose it there.")
        ->type_name("");
    c.add_option("--preset", preset_, "Open shots with the settings in this file.")
        ->type_name("FILE");
    c.add_option("--root", root_,
                 "Read and write nothing outside this folder. [default: the current folder, or the "
                 "shot's where it lies elsewhere]")
        ->type_name("DIR");
    c.add_option("--port", port_, "Serve this port of this machine. [default: a free one]")
        ->type_name("N");
    c.add_flag("--no-browser", noBrowser_, "Only print the address.");
    AddThreadsOption(c, threads_);
    AddCpuOption(c, cpu_);
    c.callback([this] { Run(); });
}

std::string StudioCommand::Root() const {
    namespace fs = std::filesystem;
    if (!root_.empty()) return root_;
    if (shot_.empty()) return ".";
    const fs::path here = fs::current_path();
    const fs::path folder = fs::weakly_canonical(fs::absolute(shot_).parent_path());
    const std::string way = folder.lexically_relative(here).string();
    return way.starts_with("..") ? folder.string() : here.string();
}

void StudioCommand::Run() const {
    constexpr std::size_t kMegabytes = 64;
    studio::Start start;
    start.shot = shot_;
    start.preset = preset_;
    start.root = Root();
    start.port = ParsePort(port_);
    start.browser = !noBrowser_;
    start.threads = threads_;
    start.version = VELTRANE_VERSION;
    start.checkStop = ThrowIfInterrupted;
    UseCpu(cpu_);
    CheckPreset(preset_);
    start.cpu = CurrentCpuLevel();
    const auto& backend = *static_cast<const studio::Backend*>(
        media::LoadModule("studio", "veltrane-studio.so", "veltraneStudio", kMegabytes));
    backend.shareUnfinished(files::Unfinished::Here());
    backend.run(start);
}

}  // namespace veltrane::cli
