#include "keyer/band_keyer.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "imaging/chroma/chroma_blur.h"
#include "imaging/matte/matte_plane.h"
#include "keyer/plate/background_model.h"

namespace veltrane {
namespace {

/// A band of a frame and so many rows more at both ends, as far as there are any.
Band Widened(Band band, int rows, int height) {
    return {std::max(band.first - rows, 0), std::min(band.end + rows, height)};
}

/// How many rows away a sample of the keyed matte can change one of the refined matte.
template <class Record>
int MatteReach(const Record& p) {
    return p.contractMask + p.maskBlurRadius;
}

/// The rows of a band as they are keyed: de-blocked where the record asks for it.
template <class Sample>
class SourceRows {
public:
    SourceRows(const typename Depth<Sample>::Record& p, const RowSource<Sample>& source, Band band)
        : reader_(source, p.width), pitch_(static_cast<std::size_t>(p.width) * kElements) {
        if (p.deblockValue == 0) return;
        const Band read = Widened(band, p.deblockValue, p.height);
        smoothed_ = MakeBuffer<Sample>(pitch_ * read.Height());
        first_ = read.first;
        for (int y = read.first; y < read.end; ++y)
            std::copy_n(reader_(y), pitch_, smoothed_.get() + (y - first_) * pitch_);
        SmoothChroma(p.width, read.Height(), smoothed_.get(), p.deblockValue);
    }

    /// Row y, until another one is asked for.
    const Sample* operator()(int y) {
        return smoothed_ ? smoothed_.get() + (y - first_) * pitch_ : reader_(y);
    }
    /// The same as the user gave it.
    const Sample* Given(int y) {
        return Depth<Sample>::kSmoothsTransparent ? (*this)(y) : reader_(y);
    }
    SourceRow<Sample> Both(int y) { return {Given(y), (*this)(y)}; }

private:
    RowReader<Sample> reader_;
    std::size_t pitch_;
    std::unique_ptr<Sample[]> smoothed_;
    int first_ = 0;
};

/// Where the rows of a band are keyed: the target's memory, or some of the band's own that holds
/// all of them or, where nothing is done to them later, one.
template <class Sample>
class TargetRows {
public:
    TargetRows(const RowTarget<Sample>& target, Band band, std::size_t pitch, bool keepsAll)
        : packed_(target.packed),
          band_(band),
          pitch_(pitch),
          keeps_(packed_ == nullptr && keepsAll),
          own_(MakeBuffer<Sample>(keeps_ ? pitch * (band.Height() + 1) : pitch)) {}

    Sample* operator()(int y) const {
        if (y < band_.first || y >= band_.end) return own_.get();
        if (packed_ != nullptr) return packed_ + y * pitch_;
        return keeps_ ? own_.get() + (y - band_.first + 1) * pitch_ : own_.get();
    }

private:
    Sample* packed_;
    Band band_;
    std::size_t pitch_;
    bool keeps_;
    std::unique_ptr<Sample[]> own_;  ///< first the row that rows beyond the band share
};

}  // namespace

template <class Sample>
BandKeyer<Sample>::BandKeyer(const Record& p, Screen screen, const RowSource<Sample>& source,
                             const Threads& threads, RowSource<Sample> cleanPlate,
                             bool forLinearLight)
    : p_(p),
      look_(p, screen),
      axis_(SampleToYiq(p.keyR[0], p.keyG[0], p.keyB[0]), look_.neutral, look_.turn, kColorMargins),
      rows_(KeyRowsInUse<Sample>()),
      matteRows_(MattePlaneRowsInUse<Sample>()) {
    if (forLinearLight) linearMatte_.emplace();
    if (p.smoothBG == 0) return;
    if (cleanPlate) {
        givenPlate_ = std::move(cleanPlate);
        return;
    }
    ReducedFrame plate = ReduceFrame<Sample>(p, source, threads);
    CallBoth(
        threads, [&] { ModelPlate<Sample>(p, screen, plate); },
        [&] {
            enlargement_.emplace(plate.pixels.get(), plate.width, plate.height,
                                 plate.width * kElements, p.width, p.height, 0, 1);
        });
    plate_ = std::move(plate.pixels);
}

/// The plate of the rows of a band, from the first one down.
template <class Sample>
class BandKeyer<Sample>::PlateRows {
public:
    PlateRows(const BandKeyer& keyer, int firstRow) {
        if (keyer.enlargement_) enlarger_.emplace(*keyer.enlargement_, firstRow);
        if (keyer.givenPlate_) reader_.emplace(keyer.givenPlate_, keyer.p_.width);
    }

    /// Goes on to row y, the first one or that below.
    void MoveTo(int y) {
        if (enlarger_) modelled = enlarger_->Next();
        if (reader_) given = (*reader_)(y);
    }

    std::optional<PlanarRow> modelled;
    const Sample* given = nullptr;  ///< without either, the key colour serves

private:
    std::optional<RowEnlarger> enlarger_;
    std::optional<RowReader<Sample>> reader_;
};

/// What a row is keyed from, kept for its matte in linear light: the key may overwrite the source.
template <class Sample>
struct BandKeyer<Sample>::KeptRow {
    explicit KeptRow(std::size_t pitch) : source(pitch), plate(pitch) {}

    std::vector<Sample> source;
    std::vector<Sample> plate;
};

template <class Sample>
int BandKeyer<Sample>::LeastHeight() const {
    return 2 * (MatteReach(p_) + p_.deblockValue) + 1;
}

template <class Sample>
void BandKeyer<Sample>::KeyRow(const Sample* source, const PlateRows& plate, Sample* target,
                               const Ahead& ahead) const {
    if (plate.modelled) {
        rows_.againstPlate(look_, source, *plate.modelled, target, p_.width, ahead);
    } else if (plate.given != nullptr) {
        rows_.againstPixels(look_, source, plate.given, target, p_.width, ahead);
    } else {
        rows_.againstColor(look_, axis_, source, target, p_.width, ahead);
    }
}

template <class Sample>
void BandKeyer<Sample>::KeyRowForLight(const Sample* source, const PlateRows& plate, KeptRow& kept,
                                       Sample* target, const Ahead& ahead) const {
    std::copy_n(source, kept.source.size(), kept.source.begin());
    KeyRow(kept.source.data(), plate, target, ahead);
    CopyScreen(plate, kept.plate.data());
    (*linearMatte_)(kept.source.data(), kept.plate.data(), target, p_.width);
}

template <class Sample>
void BandKeyer<Sample>::Key(Band band, const RowSource<Sample>& source,
                            const RowTarget<Sample>& target) const {
    const std::size_t width = p_.width;
    const bool refines = RefinesMatte(p_);
    const Band keyed = Widened(band, MatteReach(p_), p_.height);
    SourceRows<Sample> rows(p_, source, keyed);
    const TargetRows<Sample> targets(target, band, width * kElements, refines);
    PlateRows plate(*this, keyed.first);
    std::optional<KeptRow> kept;
    if (linearMatte_) kept.emplace(width * kElements);
    const auto matte = MakeBuffer<Sample>(refines ? width * keyed.Height() : 0);
    for (int y = keyed.first; y < keyed.end; ++y) {
        Sample* row = targets(y);
        Ahead ahead;
        if (y + 1 < keyed.end) ahead.read = {source.Memory(p_.width), y + 1};
        if (!refines) ahead.written = {target.memory, y};
        plate.MoveTo(y);
        if (kept) {
            KeyRowForLight(rows(y), plate, *kept, row, ahead);
        } else {
            KeyRow(rows(y), plate, row, ahead);
        }
        if (refines) {
            matteRows_.take(row, matte.get() + (y - keyed.first) * width, p_.width);
        } else if (target.take) {
            target.take(y, rows.Both(y), row);
        }
    }
    if (!refines) return;
    RefineMatte<Sample>(p_, keyed.Height(), matte.get());
    for (int y = band.first; y < band.end; ++y) {
        Sample* row = targets(y);
        matteRows_.put(matte.get() + (y - keyed.first) * width, row, p_.width);
        if (target.take) target.take(y, rows.Both(y), row);
    }
}

template <class Sample>
void BandKeyer<Sample>::CopyScreen(const PlateRows& plate, Sample* target) const {
    constexpr int kStep = kFullScale<Sample> / 255;
    const PlanarRow modelled = plate.modelled.value_or(PlanarRow{});
    for (int x = 0; x < p_.width; ++x, target += kElements) {
        const Sample key[] = {p_.keyB[0], p_.keyG[0], p_.keyR[0]};
        std::copy_n(plate.given != nullptr ? plate.given + x * kElements : key, kAlpha, target);
        if (plate.modelled) {
            target[0] = static_cast<Sample>(modelled.blue[x] * kStep);
            target[1] = static_cast<Sample>(modelled.green[x] * kStep);
            target[2] = static_cast<Sample>(modelled.red[x] * kStep);
        }
        target[kAlpha] = kFullScale<Sample>;
    }
}

template <class Sample>
void BandKeyer<Sample>::ShowScreen(Band band, const RowSink<Sample>& sink) const {
    const std::size_t pitch = static_cast<std::size_t>(p_.width) * kElements;
    const auto own = MakeBuffer<Sample>(sink.packed == nullptr ? pitch : 0);
    PlateRows plate(*this, band.first);
    for (int y = band.first; y < band.end; ++y) {
        Sample* row = sink.packed == nullptr ? own.get() : sink.packed + y * pitch;
        plate.MoveTo(y);
        CopyScreen(plate, row);
        if (sink.packed == nullptr) sink.write(y, row);
    }
}

template <class Sample>
void RefineMatte(const typename Depth<Sample>::Record& p, int height, Sample* matte) {
    if (p.contractMask != 0) {
        ContractMatte(p.width, height, matte, p.contractMask,
                      p.contractThreshold * (kFullScale<Sample> / 255));
    }
    if (p.maskBlurRadius != 0) {
        SoftenMatte(p.width, height, matte, p.maskBlurRadius, p.maskBlurValue, p.maskBlurMode);
    }
}

template void RefineMatte(const VELTRANE_Param16bit&, int, unsigned short*);
template void RefineMatte(const VELTRANE_Param&, int, unsigned char*);

template class BandKeyer<unsigned short>;
template class BandKeyer<unsigned char>;

template <class Sample>
void SmoothSourceChroma(const typename Depth<Sample>::Record& p) {
    SmoothChroma(p.width, p.height, const_cast<Sample*>(p.src), p.deblockValue);
}

template void SmoothSourceChroma<unsigned short>(const VELTRANE_Param16bit&);
template void SmoothSourceChroma<unsigned char>(const VELTRANE_Param&);

template <class Sample>
Status KeyRecord(const typename Depth<Sample>::Record& p, Screen screen,
                 decltype(RowTarget<Sample>::take) take) {
    const bool againstModel = p.smoothBG != 0;
    if (p.width == 0 || p.height == 0) return againstModel ? Status::kRefused : Status::kDone;
    auto smoothed = p;
    smoothed.deblockValue = 0;
    const RowSource<Sample> source{p.src};
    if (p.deblockValue != 0 && !againstModel) SmoothSourceChroma<Sample>(p);
    const BandKeyer<Sample> keyer(smoothed, screen, source);
    if (p.deblockValue != 0 && againstModel) SmoothSourceChroma<Sample>(p);
    keyer.Key({0, p.height}, source, {p.dst, std::move(take)});
    return Status::kDone;
}

template Status KeyRecord<unsigned short>(const VELTRANE_Param16bit&, Screen,
                                          decltype(RowTarget<unsigned short>::take));
template Status KeyRecord<unsigned char>(const VELTRANE_Param&, Screen,
                                         decltype(RowTarget<unsigned char>::take));

}  // namespace veltrane
