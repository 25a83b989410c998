#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iostream>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "cli/batch_command.h"
#include "cli/common_options.h"
#include "cli/demo.h"
#include "cli/errors.h"
#include "cli/farm_command.h"
#include "cli/help_format.h"
#include "cli/interrupt.h"
#include "cli/key_command.h"
#include "cli/merge_command.h"
#include "cli/report_commands.h"
#include "cli/studio_command.h"
#include "cli/tune_command.h"

namespace veltrane::cli {

namespace {

int Complain(int status, const std::string& message) {
    Say(message);
    return status;
}

/// No option means anything when it is given and empty.
void RefuseEmptyValues(CLI::App& app) {
    const auto check = [](const std::string& value) {
        return value.empty() ? std::string("must not be empty") : std::string();
    };
    for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; }))
        for (CLI::Option* option : command->get_options()) option->check(check);
}

void ParseAndRun(int count, char** arguments) {
    CLI::App app("Veltrane takes green and blue screens out of pictures and video.", "veltrane");
    app.set_version_flag("--version", "veltrane " VELTRANE_VERSION);
    app.formatter(std::make_shared<HelpFormat>());
    app.require_subcommand(0, 1);
    KeyCommand key;
    DemoCommand demo;
    PickCommand pick;
    ParamsCommand params;
    InfoCommand info;
    MergeCommand merge;
    TuneCommand tune;
    BatchCommand batch;
    FarmCommand farm;
    StudioCommand studio;
    key.AddTo(app);
    demo.AddTo(app);
    pick.AddTo(app);
    params.AddTo(app);
    info.AddTo(app);
    merge.AddTo(app);
    tune.AddTo(app);
    batch.AddTo(app);
    farm.AddTo(app);
    studio.AddTo(app);
    RefuseEmptyValues(app);
    try {
        app.parse(count, arguments);
        if (app.get_subcommands().empty())
            throw UsageError(
                "name what to do: key, merge, batch, farm, demo, pick, params, info, tune or "
                "studio; "
                "see --help");
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

/// A file that is opened where a standard stream was closed would receive what is meant for the
/// stream. Nothing can be written to what stands for the output, so that its loss is noticed.
void HoldStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDERR_FILENO ? O_WRONLY : O_RDONLY);
}

void FlushOutput() {
    std::cout.flush();
    if (std::fflush(stdout) == 0 && !std::ferror(stdout) && std::cout) return;
    // What went wrong may be long forgotten, and would go wrong again.
    const bool passed = write(STDOUT_FILENO, "\n", 1) == 1;
    files::FailBySystem("standard output", "cannot be written", passed ? EAGAIN : errno);
}

int Main(int count, char** arguments) {
    KeepFreedMemory();
    HoldStandardStreams();
    try {
        WatchForInterrupts();
        ParseAndRun(count, arguments);
        FlushOutput();
        return kDone;
    } catch (const CLI::Error& error) {
        return Complain(kWrongUsage, std::string(error.what()) + "; see --help");
    } catch (const UsageError& error) {
        return Complain(kWrongUsage, error.what());
    } catch (const Interruption& error) {
        return Complain(error.status(), error.what());
    } catch (const files::StorageError& error) {
        return Complain(kTryAgain, error.what());
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
