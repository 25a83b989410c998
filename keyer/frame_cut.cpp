#include "keyer/frame_cut.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "keyer/entry.h"
#include "keyer/screen_kind.h"

namespace veltrane {
namespace {

template <class T>
void SetPair(T (&pair)[2], double value) {
    pair[0] = pair[1] = static_cast<T>(RoundHalfUp(value));
}

/// Where a slider of -50..50 puts a bound.
double HueAt(const HueRange& range, int value) {
    return toValue2(range.high, range.low, value);
}

unsigned short WhenOn(bool on, int value) {
    return static_cast<unsigned short>(on ? value : 0);
}

}  // namespace

bool IsKeyChosen(const Settings& s) {
    const Color& key = s.keyColor;
    return key.red * 255 > 1.0 || key.green * 255 > 1.0 || key.blue * 255 > 1.0;
}

template <class Sample>
typename Depth<Sample>::Record MakeRecord(const Settings& s, int width, int height) {
    constexpr double kFull = kFullScale<Sample>;
    const ScreenKind& kind = KindOf(s.screen);
    typename Depth<Sample>::Record r{};
    r.width = static_cast<unsigned short>(width);
    r.height = static_cast<unsigned short>(height);
    SetPair(r.keyR, s.keyColor.red * kFull);
    SetPair(r.keyG, s.keyColor.green * kFull);
    SetPair(r.keyB, s.keyColor.blue * kFull);
    SetPair(r.screenGain, toValue(30, 0, s.screenGain));
    SetPair(r.shadow, toValue(100, 0, s.shadow));
    SetPair(r.skinHue, HueAt(kind.skin, s.skinHue));
    SetPair(r.blueHue, HueAt(kind.neighbour, s.blueHue));
    SetPair(r.despillGray, toValue(100, 0, s.despillGray));
    SetPair(r.despillSkin, toValue(50, 0, s.despillSkin));
    SetPair(r.despillBlue, toValue(50, 0, s.despillBlue));
    r.deblockValue = WhenOn(s.deBlocking, s.deBlockValue);
    r.contractMask = WhenOn(s.edgeContract, s.contractMask);
    r.contractThreshold = WhenOn(s.edgeContract, s.contractThreshold);
    r.smoothBG = static_cast<unsigned int>(s.smoothBG);
    r.maskBlurRadius = WhenOn(s.edgeBlur, s.maskBlurRadius);
    r.maskBlurValue = WhenOn(s.edgeBlur, s.maskBlurValue);
    return r;
}

template VELTRANE_Param16bit MakeRecord<unsigned short>(const Settings&, int, int);
template VELTRANE_Param MakeRecord<unsigned char>(const Settings&, int, int);

/// What happens to a row once it is keyed, for one thread.
template <class Sample>
class FrameCut<Sample>::RowEnd {
public:
    explicit RowEnd(const FrameCut& cut) : cut_(cut) {
        if (cut.mattes_) mattes_.emplace(*cut.mattes_);
        if (cut.show_) source_.resize(static_cast<std::size_t>(cut.width_) * kElements);
    }

    void Finish(int y, const SourceRow<Sample>& source, Sample* row) {
        cut_.finish_(source.given, row, cut_.width_);
        if (mattes_) mattes_->Apply(y, source.keyed, row);
        if (cut_.show_) Show(source.given, row);
    }

private:
    /// The matte is limited already: what passes for the source's alpha changes nothing.
    void Show(const Sample* source, Sample* row) {
        std::copy_n(source, source_.size(), source_.begin());
        for (std::size_t i = kAlpha; i < source_.size(); i += kElements)
            source_[i] = std::max(row[i], Sample{1});
        (*cut_.show_)(source_.data(), row, cut_.width_);
    }

    const FrameCut& cut_;
    std::vector<Sample> source_;
    std::optional<typename GivenMattes<Sample>::Rows> mattes_;
};

template <class Sample>
FrameCut<Sample>::FrameCut(const Settings& s, int width, int height, RowSource<Sample> source,
                           const Threads& threads, const KeyInputs<Sample>& inputs)
    : width_(width), source_(std::move(source)), view_(s.view), finish_(FinishFor<Sample>(s)) {
    const bool chosen = IsKeyChosen(s);
    if (view_ == View::Source) return;
    auto record = MakeRecord<Sample>(s, width, height);
    if (!chosen) record.smoothBG = 0;
    if (view_ != View::CleanPlate && (inputs.garbage || inputs.core)) {
        mattes_.emplace(record, s.screen, inputs, s.coreColor);
        if (IsOpaque(view_)) show_.emplace(0, 100, view_);
        finish_.view = View::Result;
    }
    if (chosen || view_ == View::CleanPlate)
        keyer_.emplace(record, s.screen, source_, threads, inputs.cleanPlate,
                       s.matteLight == MatteLight::Linear);
}

template <class Sample>
void FrameCut<Sample>::Key(Band band, const RowSink<Sample>& sink) const {
    if (!keyer_) return PassOn(band, sink);
    if (view_ == View::CleanPlate) return keyer_->ShowScreen(band, sink);
    RowEnd end(*this);
    const auto take = [&](int y, const SourceRow<Sample>& source, Sample* row) {
        end.Finish(y, source, row);
        if (sink.packed == nullptr) sink.write(y, row);
    };
    keyer_->Key(band, source_, {sink.packed, take, sink.memory});
}

template <class Sample>
void FrameCut<Sample>::PassOn(Band band, const RowSink<Sample>& sink) const {
    const std::size_t pitch = static_cast<std::size_t>(width_) * kElements;
    RowReader<Sample> source(source_, width_);
    RowEnd end(*this);
    std::vector<Sample> own(sink.packed == nullptr ? pitch : 0);
    for (int y = band.first; y < band.end; ++y) {
        const Sample* given = source(y);
        Sample* row = sink.packed == nullptr ? own.data() : sink.packed + y * pitch;
        std::copy_n(given, pitch, row);
        if (view_ != View::Source) end.Finish(y, {given, given}, row);
        if (sink.packed == nullptr) sink.write(y, row);
    }
}

template class FrameCut<unsigned short>;
template class FrameCut<unsigned char>;

}  // namespace veltrane
