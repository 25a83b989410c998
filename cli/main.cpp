#include <malloc.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "cli/common_options.h"
#include "cli/demo.h"
#include "cli/errors.h"
#include "cli/help_format.h"
#include "cli/interrupt.h"
#include "cli/key_command.h"
#include "cli/report_commands.h"

namespace veltrane::cli {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kInterrupted = 130;

int Complain(int status, std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    Say(message);
    return status;
}

void ParseAndRun(int count, char** arguments) {
    CLI::App app("Veltrane takes the green screen out of pictures and video.", "veltrane");
    app.set_version_flag("--version", "veltrane " VELTRANE_VERSION);
    app.formatter(std::make_shared<HelpFormat>());
    app.require_subcommand(0, 1);
    KeyCommand key;
    DemoCommand demo;
    PickCommand pick;
    ParamsCommand params;
    InfoCommand info;
    key.AddTo(app);
    demo.AddTo(app);
    pick.AddTo(app);
    params.AddTo(app);
    info.AddTo(app);
    try {
        app.parse(count, arguments);
        if (app.get_subcommands().empty())
            throw UsageError("name what to do: key, demo, pick, params or info; see --help");
    } catch (const CLI::Success& asked) {
        app.exit(asked);
    }
}

/// Frames of many megabytes come and go, made by one thread and dropped by another. As set out the
/// C library gives each back to the system, which clears the pages of the next one anew.
void KeepFreedMemory() {
    constexpr int kUnbounded = std::numeric_limits<int>::max();
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, kUnbounded);
    mallopt(M_TRIM_THRESHOLD, kUnbounded);
}

int Main(int count, char** arguments) {
    KeepFreedMemory();
    try {
        WatchForInterrupts();
        ParseAndRun(count, arguments);
        return kDone;
    } catch (const CLI::Error& error) {
        return Complain(kWrongUsage, std::string(error.what()) + "; see --help");
    } catch (const UsageError& error) {
        return Complain(kWrongUsage, error.what());
    } catch (const Interruption& error) {
        return Complain(kInterrupted, error.what());
    } catch (const std::bad_alloc&) {
        return Complain(kFailed, "out of memory");
    } catch (const std::exception& error) {
        return Complain(kFailed, error.what());
    }
}

}  // namespace

}  // namespace veltrane::cli

int main(int count, char** arguments) {
    return veltrane::cli::Main(count, arguments);
}
