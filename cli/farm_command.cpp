#include "cli/farm_command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <thread>

#include "cli/child_process.h"
#include "cli/chunk.h"
#include "cli/common_options.h"
#include "cli/errors.h"
#include "cli/farm_status.h"
#include "cli/interrupt.h"
#include "cli/places.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "media/video_parts.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

// Ten seconds of work for two cores, beside which the start of a chunk does not count; 241 frames
// of 1920 x 1080.
constexpr std::int64_t kUsualPixels = 500'000'000;
// Of a cluster that was not asked.
constexpr int kUsualSlurmTasks = 1000;

std::int64_t FramesIn(const media::Info& info) {
    RefuseGaps(info);
    return info.frameCount ? *info.frameCount : media::CountFrames(info.path);
}

/// How many frames of a shot make a chunk.
std::int64_t UsualFrames(const media::Info& info) {
    const std::int64_t pixels = std::int64_t{info.width} * info.height;
    return std::max<std::int64_t>(1, kUsualPixels / pixels);
}

/// The usual folder of a job, also where the output is named as "keyed/".
std::string FolderBeside(const std::string& output) {
    const fs::path place(output);
    return (place.has_filename() ? place : place.parent_path()).string() + ".farm";
}

/// "2 shots in 14 chunks"
std::string SizeText(const FarmJob& job) {
    int chunks = 0;
    for (const FarmShot& shot : job.shots) chunks += shot.chunks;
    const auto counted = [](std::size_t count, const std::string& name) {
        return std::to_string(count) + ' ' + name + (count == 1 ? "" : "s");
    };
    return counted(job.shots.size(), "shot") + " in " +
           counted(static_cast<std::size_t>(chunks), "chunk");
}

Shot Absolute(Shot shot) {
    for (std::string* path : {&shot.input, &shot.output, &shot.preset})
        if (!path->empty()) *path = fs::absolute(*path).lexically_normal();
    return shot;
}

}  // namespace

void FarmCommand::AddTo(CLI::App& app) {
    CLI::App* farm = app.add_subcommand(
        "farm", "Key shots in chunks on many machines, by another program's queue.");
    farm->require_subcommand(1);
    AddSubmit(*farm);
    AddStatus(*farm);
    AddForJob(*farm, "retry", "Submit the chunks that failed or are missing once more.")
        ->callback([this] { Retry(); });
    AddForJob(*farm, "cancel", "Take a job's tasks out of the queue.")->callback([this] {
        Cancel();
    });
}

void FarmCommand::AddSubmit(CLI::App& farm) {
    CLI::App& c = *farm.add_subcommand("submit", "Write a job folder and submit it.");
    c.add_option("LIST_OR_SHOT", source_,
                 "A video or sequence, or many: a folder, or a .txt that names one a line.")
        ->required()
        ->type_name("");
    c.add_option("OUT", output_, "The output, or for many shots the folder of the outputs.")
        ->required()
        ->type_name("");
    CLI::Option_group& engine = *c.add_option_group("engine");
    engine.add_flag("--slurm", slurm_, "Submit an array of tasks a shot to Slurm, and a merge.");
    engine.add_flag("--parallel", parallel_, "Write a script that runs GNU parallel.");
    engine.add_flag("--kubernetes", kubernetes_, "Write indexed jobs for Kubernetes.");
    engine.add_flag("--opencue", openCue_, "Write a job for OpenCue.");
    engine.require_option(1);
    c.add_option("--chunks", chunks_, "Into how many chunks to cut a shot.")
        ->type_name("N")
        ->check(CLI::Range(1, kMostChunks));
    c.add_option(
         "--frames-per-chunk", framesPerChunk_,
         "How many frames a chunk should have. [default: as many as have 500 million pixels, "
         "241 of 1920x1080]")
        ->type_name("M")
        ->check(CLI::PositiveNumber);
    c.add_option("--job", folder_, "The job's folder. [default: OUT.farm]")->type_name("FOLDER");
    c.add_option("--to", extension_, "Write all shots as this. [default: mov, and images as such]")
        ->type_name("EXT");
    c.add_option("--preset", preset_, "Settings for shots without SHOT.veltrane.json beside them.")
        ->type_name("FILE");
    c.add_option("--key", further_, "A further option of veltrane key, such as --key=--no-audio.")
        ->type_name("OPTION")
        ->allow_extra_args(false);
    c.add_option("--program", program_, "The command on the machines. [default: this one's path]")
        ->type_name("PATH");
    c.add_option("--partition", partition_, "Slurm's partition.")->type_name("NAME");
    c.add_option("--sbatch", sbatch_, "A further option of sbatch, such as --sbatch=--mem=4G.")
        ->type_name("OPTION")
        ->allow_extra_args(false);
    c.add_option("--image", container_.image,
                 "The container image. [default: veltrane:" VELTRANE_VERSION "]")
        ->type_name("IMAGE");
    c.add_option("--volume", container_.volumes,
                 "Shared storage of containers: a claim and where it is mounted.")
        ->type_name("CLAIM:PATH")
        ->allow_extra_args(false);
    c.add_flag("--dry-run", dryRun_, "Write the job's folder only.");
    c.callback([this] { Submit(); });
}

CLI::App* FarmCommand::AddForJob(CLI::App& farm, const std::string& name, const std::string& help) {
    CLI::App* command = farm.add_subcommand(name, help);
    command->add_option("JOB", folder_, "The job's folder.")->required()->type_name("");
    return command;
}

void FarmCommand::AddStatus(CLI::App& farm) {
    CLI::App* command = AddForJob(farm, "status", "Tell how far a job is.");
    command->add_flag("--watch", watch_, "Tell again every two seconds until nothing runs.");
    command->add_flag("--json", json_, "Print it for machines.");
    command->callback([this] { Status(); });
}

std::string FarmCommand::Engine() const {
    if (slurm_) return "slurm";
    if (parallel_) return "parallel";
    return kubernetes_ ? "kubernetes" : "opencue";
}

FarmShot FarmCommand::Cut(const Shot& shot, int mostChunks) const {
    const bool joinable =
        media::IsJoinable(shot.output) || media::SequencePath::Parse(shot.output).has_value();
    if (!joinable)
        throw UsageError(shot.output +
                         " cannot be put together from chunks; name a sequence, mov "
                         "or mkv");
    const media::Info info = media::Open(shot.input)->info();
    FarmShot cut{Absolute(shot), 1, FramesIn(info), {}};
    if (cut.shot.preset.empty() && !preset_.empty()) cut.shot.preset = fs::absolute(preset_);
    const std::int64_t frames = framesPerChunk_ > 0 ? framesPerChunk_ : UsualFrames(info);
    const std::int64_t wanted = chunks_ > 0 ? chunks_ : (cut.frames + frames - 1) / frames;
    cut.chunks = static_cast<int>(
        std::clamp<std::int64_t>(std::min<std::int64_t>(wanted, mostChunks), 1, cut.frames));
    if (cut.chunks < wanted)
        Say(shot.input + ": " + std::to_string(cut.chunks) + " chunks, not " +
            std::to_string(wanted) + ", are as many as there can be");
    return cut;
}

void FarmCommand::Submit() {
    if (chunks_ > 0 && framesPerChunk_ > 0)
        throw UsageError("--chunks and --frames-per-chunk exclude each other");
    if (!partition_.empty()) sbatch_.insert(sbatch_.begin(), "--partition=" + partition_);
    if (!slurm_ && !sbatch_.empty()) throw UsageError("--partition and --sbatch need --slurm");
    for (const std::string& volume : container_.volumes)
        if (volume.find(":/") == volume.npos)
            throw UsageError("volume must be CLAIM:/PATH, not " + volume);
    if (container_.image.empty()) container_.image = "veltrane:" VELTRANE_VERSION;
    FarmJob job(folder_.empty() ? FolderBeside(output_) : folder_);
    job.engine = Engine();
    job.engineOptions = sbatch_;
    const int most = slurm_ && !dryRun_ ? MostSlurmTasks()
                     : slurm_           ? kUsualSlurmTasks
                                        : kMostChunks;
    const std::vector<Shot> shots = HoldsShots(source_) ? ListShots(source_, output_, extension_)
                                                        : std::vector{ShotOf(source_, output_)};
    for (const Shot& shot : shots) job.shots.push_back(Cut(shot, most));
    for (const FarmShot& shot : job.shots) MakeFolderFor(shot.shot.output);
    const std::string program = !program_.empty() ? program_ : kubernetes_ ? "veltrane" : OwnPath();
    job.Create(program, further_);
    HandOver(job);
}

void FarmCommand::HandOver(FarmJob& job) const {
    std::string line;
    if (parallel_) line = WriteParallel(job);
    if (kubernetes_) line = WriteKubernetes(job, container_);
    if (openCue_) line = WriteOpenCue(job);
    if (slurm_) WriteSlurm(job);
    job.Save();
    if (!line.empty())
        Say(SizeText(job) + " written to " + job.folder().string() + "; run: " + line);
    if (!slurm_) return;
    try {
        for (std::size_t i = 0; i < job.shots.size() && !dryRun_; ++i)
            SubmitSlurm(job, i, "1-" + std::to_string(job.shots[i].chunks));
    } catch (const files::Error&) {
        // What Slurm refused at once, for a wrong option perhaps, is no job.
        if (job.shots[0].ids.empty()) fs::remove(job.folder() / "job.json");
        throw;
    }
    if (dryRun_) return Say(SizeText(job) + " written to " + job.folder().string());
    Say(SizeText(job) + " submitted; veltrane farm status " + job.folder().string() +
        " tells how far they are");
}

void FarmCommand::Status() const {
    constexpr std::chrono::milliseconds kPause{2000}, kStep{100};
    for (;;) {
        const FarmJob job = FarmJob::Read(folder_);
        const std::vector<ShotStatus> status = StatusOf(job);
        if (json_)
            std::cout << AsJson(job, status).dump(2) << std::endl;
        else
            std::cout << ForPeople(job, status) << std::flush;
        const bool open = std::any_of(status.begin(), status.end(), [](const ShotStatus& shot) {
            return !shot.running.empty() || !shot.waiting.empty() || shot.merging;
        });
        if (!watch_ || !open) return;
        for (auto waited = kStep; waited < kPause; waited += kStep) {
            ThrowIfInterrupted();
            std::this_thread::sleep_for(kStep);
        }
    }
}

void FarmCommand::Retry() const {
    FarmJob job = FarmJob::Read(folder_);
    const std::vector<ShotStatus> status = StatusOf(job);
    bool nothing = true;
    for (std::size_t i = 0; i < status.size(); ++i) {
        const bool missing = !status[i].failed.empty();
        const bool unmerged = !status[i].merged && !status[i].merging &&
                              status[i].running.empty() && status[i].waiting.empty();
        if (!missing && !unmerged) continue;
        nothing = false;
        const std::string chunks = ListText(status[i].failed);
        Say(job.shots[i].shot.name + ": " + (missing ? "chunks " + chunks : "the merge") +
            " once more");
        if (job.engine == "parallel") fs::remove(job.Logs() / (ShotNumber(i) + ".merged"));
        if (job.engine != "slurm") continue;
        // The merge waits for what is still on its way, and Slurm forgets what is not.
        if (status[i].running.empty() && status[i].waiting.empty()) job.shots[i].ids.clear();
        SubmitSlurm(job, i, chunks);
    }
    if (nothing) return Say("nothing failed or is missing");
    if (job.engine == "parallel") Say("run: " + WriteParallel(job));
    if (job.engine == "kubernetes" || job.engine == "opencue")
        Say(job.engine + " tries by itself again; hand the job over once more for what it gave up");
}

void FarmCommand::Cancel() const {
    const FarmJob job = FarmJob::Read(folder_);
    if (job.engine != "slurm")
        throw UsageError("a job for " + job.engine + " is cancelled where it runs");
    CancelSlurm(job);
    Say(job.folder().string() + " is cancelled; what is done stays");
}

}  // namespace veltrane::cli
