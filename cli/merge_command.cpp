#include "cli/merge_command.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <vector>

#include "cli/chunk.h"
#include "cli/chunk_folder.h"
#include "cli/common_options.h"
#include "cli/errors.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "media/video_parts.h"

namespace veltrane::cli {

namespace {

namespace fs = std::filesystem;

/// The chunks to be keyed, at the end of the line, as queues take them.
std::string MissingText(std::size_t count, const std::vector<int>& chunks) {
    return "of " + std::to_string(count) + " chunks are missing: " + ListText(chunks);
}

/// The chunks' records in order. Throws files::Error that lists those that are missing.
std::vector<Json> Records(const std::string& output, const ChunkFolder& folder, const Json& shot) {
    std::vector<Json> records;
    std::vector<int> missing;
    const int count = shot.at("chunks");
    for (int chunk = 1; chunk <= count; ++chunk) {
        const std::optional<Json> record = folder.Whole(chunk, shot.at("digest"));
        if (record)
            records.push_back(*record);
        else
            missing.push_back(chunk);
    }
    if (missing.empty()) return records;
    files::Fail(output, MissingText(shot.at("chunks"), missing));
}

/// Throws files::Error unless the chunks' frames are those of the shot, each of them once.
void RequireEveryFrame(const ChunkFolder& folder, const Json& shot,
                       const std::vector<Json>& records) {
    std::int64_t next = shot.at("first");
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::int64_t first = records[i].at("first"), last = records[i].at("last");
        if (first != next)
            files::Fail(folder.Record(static_cast<int>(i) + 1),
                        std::string(first > next ? "leaves a gap" : "overlaps") + " at frame " +
                            std::to_string(std::min(first, next)));
        next = last + 1;
    }
    if (next != shot.at("last").get<std::int64_t>() + 1)
        files::Fail(folder.Shot(), "its frames end at another number than those of its chunks, " +
                                       std::to_string(next - 1));
}

void RequireFrameFiles(const media::SequencePath& sequence, const Json& shot) {
    const std::int64_t last = shot.at("last");
    std::error_code ignored;
    for (std::int64_t number = shot.at("first"); number <= last; ++number)
        if (!fs::exists(sequence.ForNumber(number), ignored))
            files::Fail(sequence.ForNumber(number), "is missing, though its chunk was whole");
}

void Join(const std::string& output, const ChunkFolder& folder, const Json& shot,
          const std::vector<Json>& records) {
    media::ReadOptions reading;
    if (const std::string range = shot.at("range"); !range.empty())
        reading.frames = ParseFrameRange(range);
    const std::string input = shot.at("input"), rate = shot.at("fps");
    RequireInput(input);
    media::Info info = media::Open(input, reading)->info();
    if (!rate.empty()) info.frameRate = ParseRate(rate);
    media::WriteOptions options;
    options.opaque = shot.at("opaque");
    options.audio = shot.at("audio");
    std::vector<media::PartFile> parts;
    for (std::size_t i = 0; i < records.size(); ++i)
        parts.push_back({folder.Part(static_cast<int>(i) + 1).string(),
                         records[i].at("times").get<std::vector<std::int64_t>>(),
                         records[i].at("packets")});
    const auto damaged = media::JoinVideo(output, options, info, shot.at("begins"), parts);
    if (damaged.empty()) return;
    std::vector<int> chunks;
    for (const media::DamagedPart& part : damaged) {
        chunks.push_back(static_cast<int>(part.place) + 1);
        folder.Forget(chunks.back());
    }
    throw files::Error(damaged.front().reason + "; " + MissingText(records.size(), chunks));
}

/// Throws UsageError for what cannot have been made in chunks.
void RequireJoinable(const std::string& output) {
    if (media::SequencePath::Parse(output) || media::IsJoinable(output)) return;
    throw UsageError(output +
                     " is neither a sequence nor mov or mkv: only there do frames stand alone; "
                     "key to one of them, merge, and encode that");
}

}  // namespace

void MergeCommand::AddTo(CLI::App& app) {
    CLI::App* command =
        app.add_subcommand("merge", "Put together what veltrane key --chunk made of a shot.");
    command->add_option("OUTPUT", output_, "What the chunks were told to write.")
        ->required()
        ->type_name("");
    command->add_flag("--keep-parts", keepParts_, "Leave OUTPUT.parts where it is.");
    command->add_flag("--quiet", quiet_, "Print errors only.");
    command->add_flag("--json", json_, "Print a machine-readable summary.");
    command->callback([this] { Run(); });
}

void MergeCommand::Run() const {
    RequireJoinable(output_);
    RequireFolderOf(output_);
    const ChunkFolder folder(output_);
    const std::optional<Json> shot = ReadJson(folder.Shot());
    if (!shot && fs::exists(output_)) return void(Say(output_ + ": is put together already"));
    if (!shot) files::Fail(folder.Shot(), "no such file: no chunk of " + output_ + " was begun");
    try {
        const std::vector<Json> records = Records(output_, folder, *shot);
        RequireEveryFrame(folder, *shot, records);
        if (const auto sequence = media::SequencePath::Parse(output_))
            RequireFrameFiles(*sequence, *shot);
        else
            Join(output_, folder, *shot, records);
    } catch (const Json::exception& error) {
        files::Fail(folder.path(), "holds a record that tells too little");
    }
    std::error_code ignored;
    if (!keepParts_) fs::remove_all(folder.path(), ignored);
    const std::int64_t frames =
        shot->at("last").get<std::int64_t>() - shot->at("first").get<std::int64_t>() + 1;
    if (!quiet_)
        Say(output_ + ": " + std::to_string(frames) + " frames of " + shot->at("chunks").dump() +
            " chunks");
    if (json_)
        std::cout
            << Json{{"output", output_}, {"frames", frames}, {"chunks", shot->at("chunks")}}.dump(2)
            << std::endl;
}

}  // namespace veltrane::cli
