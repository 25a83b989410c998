#ifndef VELTRANE_KEYER_BAND_KEYER_H
#define VELTRANE_KEYER_BAND_KEYER_H

#include <functional>
#include <memory>
#include <optional>

#include "imaging/frame_rows.h"
#include "imaging/matte/matte_plane_rows.h"
#include "imaging/resample/resample.h"
#include "imaging/threads.h"
#include "keyer/core/matte_rows.h"
#include "keyer/light/linear_matte.h"
#include "keyer/settings.h"
#include "keyer/status.h"

namespace veltrane {

/// A source's row as the user gave it and as it was keyed, which is de-blocked where that is on.
template <class Sample>
struct SourceRow {
    const Sample* given;
    const Sample* keyed;
};

/// Where keyed rows go. take(y, source, row) is called for every row, downwards, once nothing will
/// change it any more. It may still write to both the row and, if that was the caller's, the memory
/// that the source was read from.
template <class Sample>
struct RowTarget {
    Sample* packed =
        nullptr;  ///< the whole frame's memory; where null, rows go once they are taken
    std::function<void(int y, const SourceRow<Sample>& source, Sample* row)>
        take{};          ///< may be empty
    RowMemory memory{};  ///< where it puts the row; may be left out
};

/// Keys the rows of one frame in bands. What is to be known of the whole frame is found out when it
/// is made; after that, bands may be keyed in any order and by several threads at a time, with the
/// same bits for every split. A band also keys the rows beyond it that its own depend on, as far as
/// the matte is contracted and blurred; the clean plate is enlarged row by row as it is needed.
template <class Sample>
class BandKeyer {
public:
    using Record = typename Depth<Sample>::Record;

    /// For a frame of the record's size, which has at least one pixel. The record's frames are not
    /// used. A clean plate that is given takes the place of the modelled one; what it reads must
    /// stay. Mattes for linear light are LinearMatte's. Throws std::bad_alloc.
    BandKeyer(const Record& p, Screen screen, const RowSource<Sample>& source,
              const Threads& threads = {}, RowSource<Sample> cleanPlate = {},
              bool forLinearLight = false);

    /// Reads rows of the band, and of some beyond it, up to three times, the last time just before
    /// they are taken. Throws std::bad_alloc.
    void Key(Band band, const RowSource<Sample>& source, const RowTarget<Sample>& target) const;

    /// Gives the screen that the band's rows are keyed against, opaque. Throws std::bad_alloc.
    void ShowScreen(Band band, const RowSink<Sample>& sink) const;

    /// A band should not be shorter, as it would key more rows for its own than are its own.
    int LeastHeight() const;

private:
    class PlateRows;
    struct KeptRow;

    void KeyRow(const Sample* source, const PlateRows& plate, Sample* target,
                const Ahead& ahead) const;
    void KeyRowForLight(const Sample* source, const PlateRows& plate, KeptRow& kept, Sample* target,
                        const Ahead& ahead) const;
    void CopyScreen(const PlateRows& plate, Sample* target) const;

    Record p_;
    KeyLook<Sample> look_;
    KeyAxis axis_;  ///< of the record's key colour
    const KeyRows<Sample>& rows_;
    const MattePlaneRows<Sample>& matteRows_;
    std::unique_ptr<unsigned char[]> plate_;
    std::optional<Enlargement> enlargement_;  ///< of the plate, where it is modelled
    RowSource<Sample> givenPlate_;
    std::optional<LinearMatte<Sample>> linearMatte_;
};

/// Whether the matte is worked on after the frame has been keyed.
template <class Record>
bool RefinesMatte(const Record& p) {
    return p.contractMask != 0 || p.maskBlurRadius != 0;
}

/// Contraction and blur, on a matte of the record's width. Throws std::bad_alloc.
template <class Sample>
void RefineMatte(const typename Depth<Sample>::Record& p, int height, Sample* matte);

/// De-blocks the record's source in place.
template <class Sample>
void SmoothSourceChroma(const typename Depth<Sample>::Record& p);

/// Keys the frame behind the record's src into dst by the record's stages, calling take as
/// RowTarget does. De-blocks src in place, after the plate is made. Refuses an empty frame that is
/// to be keyed against a model. Throws std::bad_alloc and whatever take throws.
template <class Sample>
Status KeyRecord(const typename Depth<Sample>::Record& p, Screen screen,
                 decltype(RowTarget<Sample>::take) take = {});

}  // namespace veltrane

#endif
