#include "studio/shot.h"

#include <utility>

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

}  // namespace

Shot::Shot(std::string name, const std::string& path, int threads, Kept& kept)
    : name_(std::move(name)),
      path_(path),
      threads_(threads),
      kept_(kept),
      frames_(path, threads, kept) {}

cli::KeyColor Shot::AutomaticKey(std::optional<Screen> screen) {
    const std::lock_guard lock(choosing_);
    if (const auto known = automaticKeys_.find(screen); known != automaticKeys_.end())
        return known->second;
    const auto first = frames_.Get(info().firstFrame);
    const cli::ScreenHint hint{screen, std::nullopt};
    const cli::KeyColor key = cli::Resolve(cli::FindScreen{}, hint, *first, name_, {});
    return automaticKeys_.emplace(screen, key).first->second;
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
    const std::string name = path_ + '@' + std::to_string(frame.number) + '\0' + key;
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
