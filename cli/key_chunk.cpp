#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>

#include "cli/common_options.h"
#include "cli/errors.h"
#include "cli/key_command.h"
#include "cli/places.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "media/video_parts.h"
#include "settings/presets.h"

// One share of a shot's frames, as veltrane merge puts them together.

namespace veltrane::cli {

namespace {

/// Options that change no value of any frame, and those that are noted in another way.
bool IsOfNoAccount(const std::string& name) {
    constexpr const char* kNames[] = {"INPUT",    "OUTPUT",     "--threads", "--cpu",
                                      "--resume", "--quiet",    "--json",    "--chunk",
                                      "--preset", "--progress", "--help",    "--save-preset"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

Json GivenOptions(const CLI::App& command) {
    Json given = Json::object();
    for (const CLI::Option* option : command.get_options())
        if (option->count() > 0 && !IsOfNoAccount(option->get_name()))
            given[option->get_name()] = option->results();
    return given;
}

/// The frames of a shot; those of a video that does not tell its length are counted.
media::FrameRange CountedFrames(const media::Info& info) {
    media::FrameRange frames = FramesOf(info);
    if (frames.last == std::numeric_limits<std::int64_t>::max())
        frames.last = media::CountFrames(info.path);
    return frames;
}

/// A video's name that can be cut into chunks, or a sequence's.
void RequireJoinable(const std::string& output) {
    if (media::SequencePath::Parse(output) || media::IsJoinable(output)) return;
    if (!media::IsVideoName(output))
        throw UsageError("--chunk is for sequences and videos, and " + output + " is one picture");
    throw UsageError(output +
                     " cannot be put together from chunks, since its frames build on each other; "
                     "key to mov or mkv, merge, and encode that");
}

}  // namespace

void KeyCommand::CheckChunk() const {
    for (const std::string& file : inputs_.Named()) RequireInput(file);
    RequireInput(input_);
    for (const std::string& file : {output_, matteTo_, savePlate_})
        if (!file.empty()) RequireFolderOf(file);
    RequireJoinable(output_);
    if (!matteTo_.empty()) RequireJoinable(matteTo_);
    if (SavesEveryPlate()) RequireJoinable(savePlate_);
}

Json KeyCommand::WhatChunksShare(const Target& target, const Settings& settings,
                                 media::FrameRange frames, int chunks) const {
    std::error_code ignored;
    Json shot{{"veltrane", VELTRANE_VERSION},
              {"input", std::filesystem::absolute(input_, ignored).string()},
              {"first", frames.first},
              {"last", frames.last},
              {"chunks", chunks},
              {"range", frames_},
              {"fps", fps_},
              {"opaque", target.options.opaque},
              {"audio", target.options.audio},
              {"options", GivenOptions(*command_)}};
    shot["settings"] = Json::parse(ToJson(settings));
    shot["digest"] = DigestOf(shot.dump());
    return shot;
}

/// A share of a shot on its way into one output.
struct KeyCommand::Share {
    Target target;
    ChunkFolder folder;
    Json shot;
    std::shared_ptr<media::VideoPart> part{};  ///< of a video
};

std::vector<KeyCommand::Share> KeyCommand::Shares(const Settings& settings,
                                                  media::FrameRange frames, int chunks) const {
    std::vector<Share> shares;
    for (const Target& target : Targets(settings.view)) {
        shares.push_back(
            {target, ChunkFolder(target.path), WhatChunksShare(target, settings, frames, chunks)});
        shares.back().folder.Agree(shares.back().shot);
    }
    return shares;
}

std::vector<std::unique_ptr<media::Writer>> KeyCommand::OpenShares(Chunk chunk,
                                                                   std::vector<Share>& shares,
                                                                   const media::Frame& beginning,
                                                                   const media::Info& info) const {
    std::vector<std::unique_ptr<media::Writer>> writers;
    for (Share& share : shares) {
        media::WriteOptions options = share.target.options;
        const bool begun = share.folder.Begin(chunk.index);
        options.resume = resume_ || begun;
        std::string path = share.target.path;
        if (media::IsVideoName(path)) {
            share.part = options.part = std::make_shared<media::VideoPart>();
            options.part->framesBefore = info.firstFrame - share.shot["first"].get<std::int64_t>();
            options.part->beginning = beginning.origin;
            options.audio = options.resume = false;
            path = share.folder.Part(chunk.index);
        }
        writers.push_back(media::Create(path, options, WithRate(info)));
    }
    return writers;
}

void KeyCommand::KeyChunk(Chunk chunk, const KeyColorRequest& request, media::Reader& shot,
                          const std::optional<media::Frame>& background, KeySummary& summary) {
    const Settings& settings = summary.settings;
    FirstFrame beginning = FetchFirst(shot);
    ChooseSettings(request, shot, beginning, summary);
    const media::FrameRange frames = CountedFrames(shot.info());
    std::vector<Share> shares = Shares(settings, frames, chunk.count);
    const bool whole = std::all_of(shares.begin(), shares.end(), [&](const Share& share) {
        return share.folder.Whole(chunk.index, share.shot["digest"]).has_value();
    });
    if (whole) return void(quiet_ || (Say("chunk " + chunk.Text() + " is whole already"), true));
    media::ReadOptions options = ReadOptions();
    options.frames = ShareOf(frames, chunk);
    const std::unique_ptr<media::Reader> reader = media::Open(input_, options);
    const media::Info& info = reader->info();
    ShotInputs inputs(inputs_, info, ReadOptions());
    const media::Frame& look = LookAt(beginning, shot, threads_);
    const auto writers = OpenShares(chunk, shares, look, info);
    if (!savePreset_.empty()) WritePreset(savePreset_, settings);
    if (!savePlate_.empty() && !SavesEveryPlate() && chunk.index == 1)
        SaveFirstPlate(look, settings, info);
    const double began = Now();
    FirstFrame first = FetchFirst(*reader);
    ComparePlate(inputs, *reader, first, summary);
    KeyFrames(*reader, first, inputs, background, writers, summary);
    for (const Share& share : shares)
        share.folder.Finish(chunk.index, RecordOf(share, *options.frames, began, summary));
    Report(summary);
}

Json KeyCommand::RecordOf(const Share& share, media::FrameRange frames, double began,
                          const KeySummary& summary) const {
    Json record{{"shot", share.shot["digest"]},
                {"veltrane", VELTRANE_VERSION},
                {"first", frames.first},
                {"last", frames.last},
                {"keyed", summary.counts.written},
                {"host", HostName()},
                {"began", began},
                {"ended", Now()}};
    if (!share.part) return record;
    record["part"] = true;
    record["packets"] = share.part->digest;
    record["first-stamp"] = share.part->firstStamp;
    record["times"] = share.part->times;
    return record;
}

}  // namespace veltrane::cli
