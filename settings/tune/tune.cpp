#include "settings/tune/tune.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "settings/screen_color.h"
#include "settings/tune/search.h"

namespace veltrane {

namespace {

constexpr double kLeastScreen = 0.02;    ///< part of a frame, below which it says nothing
constexpr double kLeastSubject = 0.002;  ///< part of the frames, below which there is none
constexpr double kOddRise = 1.1;         ///< of a frame's error, from which on it is named

/// Keys keep a little too much of edges. Softened like this they came nearer to the truth on most
/// of the scenes tried, and clip white gives back what that takes from solid parts beside them.
constexpr int kSoftRadius = 2;
constexpr int kSoftValue = 10;
constexpr int kSoftClipWhite = 2;
constexpr ParameterId kSoftening[] = {ParameterId::EdgeBlur, ParameterId::MaskBlurRadius,
                                      ParameterId::MaskBlurValue};

bool IsBlack(Color color) {
    return SnapToByteSteps(color) == Color{0, 0, 0};
}

/// Cells that were taken for neither are grain, where hardly one is surely subject.
bool HasSubject(const TunedSettings& tuned) {
    return tuned.subject >= kLeastSubject;
}

void AddShares(std::span<const FrameLook* const> looks, TunedSettings& tuned) {
    for (const FrameLook* look : looks) {
        const double part = 1.0 / static_cast<double>(looks.size());
        tuned.screen += look->screen * part;
        tuned.subject += look->subject * part;
        tuned.unknown += look->unknown * part;
    }
}

Settings Softened(Settings settings, const SettingsSearch& search) {
    const auto isFree = [&](ParameterId id) { return search.IsFree(id); };
    if (settings.edgeBlur || !std::ranges::all_of(kSoftening, isFree)) return settings;
    settings.edgeBlur = true;
    settings.maskBlurRadius = kSoftRadius;
    settings.maskBlurValue = kSoftValue;
    if (isFree(ParameterId::ClipWhite))
        settings.clipWhite = std::max(settings.clipWhite - kSoftClipWhite,
                                      ParameterOf(ParameterId::ClipWhite).minimum);
    return settings;
}

/// What differs from the plain settings, and what it bought where the search found it.
void TellSliders(const SettingsSearch& search, const Settings& plain, const Settings& searched,
                 TunedSettings& tuned) {
    tuned.errorBefore = search.Errors(plain).Sum();
    tuned.errorAfter = search.Errors(searched).Sum();
    for (const ParameterId id : TunedParameters()) {
        const Parameter& row = ParameterOf(id);
        const int from = ValueOf(plain, row), to = ValueOf(tuned.settings, row);
        if (from == to) continue;
        tuned.sliders.push_back({id, from, to, std::nullopt});
        if (ValueOf(searched, row) == from) continue;
        Settings without = searched;
        SetValue(without, row, from);
        tuned.sliders.back().gain = search.Errors(without).Sum() - tuned.errorAfter;
    }
}

}  // namespace

std::span<const ParameterId> TunedParameters() {
    static const std::vector<ParameterId> ids = [] {
        std::vector<ParameterId> all(SearchedSliders().begin(), SearchedSliders().end());
        all.insert(all.end(), std::begin(kSoftening), std::end(kSoftening));
        return all;
    }();
    return ids;
}

ShotTuner::ShotTuner(int width, int height, TuneRequest request)
    : width_(width), height_(height), request_(std::move(request)) {
    if (width < 1 || height < 1 || width > 65535 || height > 65535)
        throw std::invalid_argument("a frame must be 1 to 65535 pixels wide and high, not " +
                                    std::to_string(width) + " x " + std::to_string(height));
    const std::vector<std::string> problems = Problems(request_.settings);
    if (!problems.empty()) throw std::invalid_argument(problems.front());
    hasKey_ = !IsBlack(request_.settings.keyColor);
}

void ShotTuner::Look(const std::uint16_t* frame, const Threads& threads,
                     const std::uint16_t* plate) {
    const std::size_t number = frames_++;
    if (!hasKey_) {
        const auto found = FindScreenColor(width_, height_, frame, request_.screen);
        if (!found) return;
        request_.settings.keyColor = found->color;
        request_.settings.screen = found->screen;
        hasKey_ = true;
    }
    looks_.push_back(LookAtFrame(request_.settings, width_, height_, frame, plate, threads));
    numbers_.push_back(number);
}

TunedSettings ShotTuner::Find(const Threads& threads) const {
    TunedSettings tuned;
    tuned.settings = request_.settings;
    if (!hasKey_) {
        tuned.kind = ShotKind::NoScreen;
        return tuned;
    }
    std::vector<const FrameLook*> telling;
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < looks_.size(); ++i) {
        if (looks_[i].screen < kLeastScreen) continue;
        telling.push_back(&looks_[i]);
        numbers.push_back(numbers_[i]);
    }
    for (std::size_t i = 0; i < frames_; ++i)
        if (std::ranges::find(numbers, i) == numbers.end()) tuned.odd.push_back(i);
    AddShares(telling, tuned);
    if (telling.empty()) {
        tuned.kind = ShotKind::LittleScreen;
        return tuned;
    }
    if (!HasSubject(tuned)) tuned.kind = ShotKind::NoSubject;
    SettingsSearch search(telling, request_.settings, request_.fixed, threads);
    const bool onlyCleaning = tuned.kind == ShotKind::NoSubject;
    const Settings searched = search.Run(onlyCleaning);
    tuned.settings = onlyCleaning ? searched : Softened(searched, search);
    TellSliders(search, request_.settings, searched, tuned);
    for (std::size_t i = 0; i < telling.size(); ++i)
        if (search.ErrorsOf(i, searched).Sum() >
            kOddRise * search.ErrorsOf(i, request_.settings).Sum())
            tuned.odd.push_back(numbers[i]);
    std::ranges::sort(tuned.odd);
    return tuned;
}

TunedSettings Tune(std::span<const std::uint16_t* const> frames, int width, int height,
                   const TuneRequest& request, const Threads& threads) {
    ShotTuner tuner(width, height, request);
    for (const std::uint16_t* frame : frames) tuner.Look(frame, threads);
    return tuner.Find(threads);
}

}  // namespace veltrane
