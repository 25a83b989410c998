#include "studio/shot.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "media/sequence_path.h"
#include "settings/settings.h"

namespace veltrane::studio {

namespace {

/// What tells one choice of inputs from another.
std::string KeyOf(const cli::InputFiles& files, const Color& keyColor) {
    std::string key;
    for (const std::string& part : {files.garbage, files.garbageShapes, files.core,
                                    files.coreShapes, files.cleanPlate, HexText(keyColor)})
        key += part + '\0';
    return key + (files.matchPlate ? '1' : '0');
}

std::size_t BytesOf(const cli::FrameInputs& inputs) {
    std::size_t bytes = 0;
    if (inputs.garbage) bytes += inputs.garbage->size() * sizeof(std::uint16_t);
    if (inputs.core) bytes += inputs.core->size() * sizeof(std::uint16_t);
    if (inputs.cleanPlate) bytes += studio::BytesOf(*inputs.cleanPlate);
    return bytes;
}

/// A path may be opened again when its file has changed.
std::string NewName(const std::string& path) {
    static std::atomic<std::uint64_t> opened = 0;
    return path + '#' + std::to_string(++opened);
}

void AddStamp(std::string& stamp, const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return;
    for (const std::int64_t part :
         {static_cast<std::int64_t>(status.st_ino), static_cast<std::int64_t>(status.st_size),
          static_cast<std::int64_t>(status.st_mtim.tv_sec),
          static_cast<std::int64_t>(status.st_mtim.tv_nsec)})
        stamp += std::to_string(part) + ' ';
}

/// Changes when one of the shot's files does.
std::string StampOf(const std::string& path) {
    std::string stamp;
    AddStamp(stamp, path);
    const auto sequence = media::SequencePath::Parse(path);
    if (!sequence || !stamp.empty()) return stamp;
    for (const std::int64_t number : sequence->List()) AddStamp(stamp, sequence->ForNumber(number));
    return stamp;
}

}  // namespace

Shot::Shot(std::string name, const std::string& path, int threads, Kept& kept)
    : name_(std::move(name)),
      path_(path),
      keptAs_(NewName(path)),
      stamp_(StampOf(path)),
      threads_(threads),
      kept_(kept),
      frames_(path, keptAs_, threads, kept) {}

bool Shot::IsCurrent() const {
    return StampOf(path_) == stamp_;
}

cli::KeyColor Shot::AutomaticKey(std::optional<Screen> screen) {
    const std::lock_guard lock(choosing_);
    if (const auto known = automaticKeys_.find(screen); known != automaticKeys_.end())
        return known->second;
    const auto first = frames_.Get(info().firstFrame);
    const cli::ScreenHint hint{screen, std::nullopt};
    const cli::KeyColor key = cli::Resolve(cli::FindScreen{}, hint, *first, name_, {});
    return automaticKeys_.emplace(screen, key).first->second;
}

const cli::ShotTuning* Shot::Tuning(bool look) {
    constexpr std::size_t kMostDecoded = 250;  // nobody waits for a page for minutes
    const std::lock_guard lock(tuning_);
    if (look && !std::exchange(tuned_, true)) {
        media::ReadOptions options;
        options.threads = threads_;
        try {
            found_ = cli::TuneShot(path_, options, {}, cli::kFramesToLookAt, kMostDecoded);
        } catch (const media::Error&) {
            // Whoever sees the frame, or none, is told what is wrong with it.
        }
    }
    return found_ ? &*found_ : nullptr;
}

/// As if the command began with this frame, so that the files are refused that it refuses.
void Shot::OpenInputs(const std::string& key, const cli::InputFiles& files,
                      const media::Frame& frame, const Color& keyColor) {
    media::Info rest = info();
    rest.firstFrame = frame.number;
    rest.frameCount = frames_.last() - frame.number + 1;
    media::ReadOptions options;
    options.threads = threads_;
    inputs_.reset();
    auto inputs = std::make_unique<cli::ShotInputs>(files, rest, options);
    if (inputs->plate() != nullptr) inputs->plate()->Compare(frame, keyColor);
    inputs_ = std::move(inputs);
    inputsKey_ = key;
    nextInputs_ = frame.number;
}

std::shared_ptr<const cli::FrameInputs> Shot::Inputs(const cli::InputFiles& files,
                                                     const media::Frame& frame,
                                                     const Color& keyColor) {
    const std::string key = KeyOf(files, keyColor);
    const std::string name = keptAs_ + '@' + std::to_string(frame.number) + '\0' + key;
    if (auto kept = kept_.Find<cli::FrameInputs>(name)) return kept;
    const std::lock_guard lock(readingInputs_);
    if (auto kept = kept_.Find<cli::FrameInputs>(name)) return kept;
    if (!inputs_ || inputsKey_ != key || nextInputs_ != frame.number)
        OpenInputs(key, files, frame, keyColor);
    ++nextInputs_;
    const auto fetched = inputs_->Fetch(frame.number);
    auto inputs = std::make_shared<const cli::FrameInputs>(inputs_->Decode(*fetched, frame));
    kept_.Add<cli::FrameInputs>(name, inputs, BytesOf(*inputs));
    return inputs;
}

}  // namespace veltrane::studio
