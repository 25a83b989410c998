#ifndef VELTRANE_IMAGING_RESAMPLE_RESAMPLE_ROWS_H
#define VELTRANE_IMAGING_RESAMPLE_RESAMPLE_ROWS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "imaging/aligned_buffer.h"
#include "imaging/resample/planar_row.h"
#include "imaging/resample/resample_axis.h"
#include "imaging/row_memory.h"

namespace veltrane {

inline constexpr int kPairElements = 8;  ///< of two neighbouring pixels

/// The taps of an axis as the vector forms take them: pairs of neighbouring samples that begin at
/// an even one, with weights of 16 bits.
struct PairedAxis {
    struct Target {
        std::int32_t firstPair = 0;
        std::int32_t pairs = 0;
        std::uint32_t weights = 0;  ///< index of the first pair's weights
    };

    explicit PairedAxis(const ResampleAxis& axis);

    /// How many pairs of pixels of so many rows a filter unpacks at a time, and the 16-bit samples
    /// of them and one more.
    int TilePairs(int rows) const { return std::max(1024 / rows, 2 * longest); }
    std::size_t TileSize(int rows) const {
        return (static_cast<std::size_t>(TilePairs(rows)) + 1) * kPairElements * rows;
    }

    std::vector<Target> targets;
    std::vector<std::int16_t> low;   ///< each weight is low + high * 65536
    std::vector<std::int16_t> high;  ///< empty where it would be all 0
    int longest = 0;                 ///< most pairs of a target sample

private:
    std::uint32_t AppendPairs(const ResampleAxis& axis, const Taps& taps);
};

/// The most source rows that a vector form filters at once.
inline constexpr int kMostRowsAtOnce = 8;
/// What follows a row of pixels, so that its last pairs can be read.
inline constexpr std::size_t kRowPadding = 16;
/// Filtered rows are padded to whole vectors of this many elements.
inline constexpr int kRowBlock = 64;

/// Rows of 8-bit pixels, pitch bytes apart, each followed by kRowPadding bytes.
struct FilterRows {
    const std::uint8_t* pixels;
    std::size_t pitch;
    int width;
    RowStretch next;  ///< to be fetched meanwhile
};

/// Filters rows of 8-bit pixels along them and then across them. Filtered holds what the first step
/// leaves, which may lie outside 0..255.
template <class Filtered>
struct ResampleRows {
    int rowsAtOnce;
    /// Reduces 16-bit samples to 8 bits: v / 257 rounded to nearest.
    void (*reduce)(const std::uint16_t* samples, std::uint8_t* bytes, std::size_t size);
    /// Filters rowsAtOnce rows into as many, pitch elements apart; the sums are rounded down.
    /// scratch holds pairs.TileSize(rowsAtOnce) elements of no known content.
    void (*filter)(const FilterRows& rows, const ResampleAxis& axis, const PairedAxis& pairs,
                   std::int16_t* scratch, Filtered* filtered, std::size_t pitch);
    /// The weighted sum of count filtered rows, rounded to nearest and clamped. size is a multiple
    /// of kRowBlock.
    void (*blend)(const Filtered* const* rows, const std::int32_t* weights, int count,
                  std::uint8_t* row, std::size_t size);
};

/// What an axis of at most two taps that never leave 0..255 needs to filter planes of bytes.
struct StretchAxis {
    static constexpr int kGroup = 8;  ///< targets that read one window of kWindow samples
    static constexpr int kWindow = 16;

    explicit StretchAxis(const ResampleAxis& axis);

    /// Whether an axis is such a one.
    static bool Fits(const ResampleAxis& axis);

    std::size_t size;                    ///< targets, padded to whole vectors
    std::vector<std::int32_t> windows;   ///< the first sample of every group's window
    AlignedBuffer<std::uint8_t> lookup;  ///< bytes of the window, four a target: pairs of 16 bits
    AlignedBuffer<std::int16_t> low;     ///< as those of PairedAxis, two a target
    AlignedBuffer<std::int16_t> high;
};

/// Enlarges planes of bytes, where neither direction takes more than two taps.
struct EnlargeRows {
    /// Splits the colours of a row of pixels into planes.
    void (*split)(const std::uint8_t* pixels, std::uint8_t* const* planes, int width);
    /// Filters the three planes of a row along it into others pitch bytes apart. The planes may be
    /// read up to kWindow samples beyond their width, the others written up to kRowBlock beyond.
    void (*stretch)(const std::uint8_t* const* planes, const ResampleAxis& axis,
                    const StretchAxis& stretch, std::uint8_t* stretched, std::size_t pitch);
    /// row = (upper * upperWeight + lower * lowerWeight + 32768) >> 16.
    void (*blend)(const std::uint8_t* upper, const std::uint8_t* lower, int upperWeight,
                  int lowerWeight, std::uint8_t* row, std::size_t size);
    /// Stores planes as pixels of 8 bits or, times 257, of 16; element 3 stays.
    void (*store8)(const PlanarRow& row, std::uint8_t* target, int width);
    void (*store16)(const PlanarRow& row, std::uint16_t* target, int width);
};

/// The form in use; ask once a frame.
const EnlargeRows& EnlargeRowsInUse();

/// The vector forms in use, or null when the plain ones are.
const ResampleRows<std::int16_t>* SimdResampleRows();
const EnlargeRows* SimdEnlargeRows();

}  // namespace veltrane

#endif
