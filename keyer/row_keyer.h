#ifndef VELTRANE_KEYER_ROW_KEYER_H
#define VELTRANE_KEYER_ROW_KEYER_H

#include <optional>

#include "imaging/chroma_smooth.h"
#include "imaging/resample.h"
#include "keyer/background_model.h"
#include "keyer/matte_rows.h"
#include "keyer/status.h"

namespace veltrane {

/// Keys the rows of one frame from the top. What is to be known of the whole frame is found out
/// first; the clean plate is enlarged row by row as it is needed and never held at full size.
template <class Sample>
class RowKeyer {
public:
    using Record = typename Depth<Sample>::Record;

    /// Against a clean plate, modelled from the frame.
    static RowKeyer AgainstModel(const Record& p, const FrameRows<Sample>& source) {
        return RowKeyer(p, ModelPlate<Sample>(p, source));
    }
    /// Against the record's key colour.
    static RowKeyer AgainstColor(const Record& p) { return RowKeyer(p, {}); }

    /// Keys the next row into target, which may be source.
    void Next(const Sample* source, Sample* target, const Ahead& ahead) {
        if (enlarger_) {
            rows_.againstPlate(look_, source, enlarger_->Next(), target, width_, ahead);
        } else {
            rows_.againstColor(look_, axis_, source, target, width_, ahead);
        }
    }

private:
    RowKeyer(const Record& p, ReducedPlate plate)
        : look_(p),
          axis_(SampleToYiq(p.keyR[0], p.keyG[0], p.keyB[0]), look_.neutral, kColorMargins),
          rows_(KeyRowsInUse<Sample>()),
          width_(p.width),
          plate_(std::move(plate)) {
        if (plate_.pixels == nullptr) return;
        enlarger_.emplace(plate_.pixels.get(), plate_.width, plate_.height,
                          plate_.width * kElements, p.width, p.height, 0, 1);
    }

    KeyLook<Sample> look_;
    KeyAxis axis_;
    const KeyRows<Sample>& rows_;
    int width_;
    ReducedPlate plate_;
    std::optional<RowEnlarger> enlarger_;
};

template <class Record>
std::size_t PackedPitch(const Record& p) {
    return static_cast<std::size_t>(p.width) * kElements;
}

/// The record's own source.
template <class Sample>
FrameRows<Sample> Packed(const typename Depth<Sample>::Record& p) {
    return {p.src, p.width, p.height};
}

/// De-blocks the record's source in place.
template <class Sample>
void SmoothSourceChroma(const typename Depth<Sample>::Record& p) {
    SmoothChroma(p.width, p.height, const_cast<Sample*>(p.src), p.deblockValue);
}

/// For rows that need nothing more.
template <class Sample>
RowSink<Sample> IgnoreRows() {
    return {[](int, const Sample*) {}};
}

/// Keys a frame of the record's size into rows pitch elements apart and gives each to sink. Against
/// the model, the source is de-blocked once its plate is made; it must be the record's own then.
/// Refuses to model an empty frame.
template <class Sample>
Status KeyEveryRow(const typename Depth<Sample>::Record& p, const FrameRows<Sample>& source,
                   bool againstModel, std::size_t pitch, const RowSink<Sample>& sink) {
    if (p.width == 0 || p.height == 0) return againstModel ? Status::kRefused : Status::kDone;
    auto keyer = againstModel ? RowKeyer<Sample>::AgainstModel(p, source)
                              : RowKeyer<Sample>::AgainstColor(p);
    if (againstModel && p.deblockValue != 0) SmoothSourceChroma<Sample>(p);
    for (int y = 0; y < p.height; ++y) {
        Sample* row = p.dst + y * pitch;
        keyer.Next(source(y), row,
                   {source.Memory().Rows(y + 1, y + 2), sink.memory.Rows(y, y + 1)});
        sink.take(y, row);
    }
    return Status::kDone;
}

}  // namespace veltrane

#endif
