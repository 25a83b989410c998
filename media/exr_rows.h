#ifndef VELTRANE_MEDIA_EXR_ROWS_H
#define VELTRANE_MEDIA_EXR_ROWS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/exr_row_forms.h"
#include "media/media.h"
#include "media/originals.h"
#include "media/transfer.h"

namespace veltrane::media {

// Rows of an EXR to and from the pixels that are keyed.

/// Reads rows. Any number of threads may call it.
template <class Sample>
class ExrRowReader {
public:
    ExrRowReader(Transfer transfer, bool premultiplied);

    /// colour receives red, green and blue of each pixel, straight, as they are stored; halves have
    /// to be taken as floats where they are premultiplied.
    template <class Kept>
    void operator()(const ExrRow<const Sample>& row, int width, std::uint16_t* pixels,
                    Kept* colour) const;

private:
    template <class Kept>
    void Straight(const ExrRow<const Sample>& row, int first, int width, std::uint16_t* pixels,
                  Kept* colour) const;
    void Divided(const ExrRow<const Sample>& row, int x, std::uint16_t* pixel, float* colour) const;
    void ToWorking(const Sample* stored, int count, std::uint16_t* samples) const;

    const TransferCurve& curve_;
    const std::vector<std::uint16_t>& halves_;  ///< the working value of each half
    bool premultiplied_;
};

/// Writes rows of a width, for one thread.
template <class Sample>
class ExrRowWriter {
public:
    ExrRowWriter(Transfer transfer, bool premultiplied, int width, const Originals& originals);

    /// Without a plane for alpha every pixel is opaque. first is the index of the first pixel.
    void operator()(const std::uint16_t* pixels, std::size_t first, const ExrRow<Sample>& row);

private:
    void LookUp(const std::uint16_t* pixels, std::size_t first, const ExrRow<float>& row) const;
    void Store(const float* values, const float* factors, Sample* plane) const;
    void AddExcess(const std::uint16_t* pixels, std::size_t first, const ExrRow<float>& row) const;
    void PutOriginals(const std::uint16_t* pixels, std::size_t first,
                      const ExrRow<Sample>& row) const;

    const TransferCurve& curve_;
    bool premultiplied_;
    int width_;
    const Originals& originals_;
    const ExrRowForms& forms_;
    std::vector<float> room_;  ///< for a row as floats
};

}  // namespace veltrane::media

#endif
