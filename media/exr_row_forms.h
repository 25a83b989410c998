#ifndef VELTRANE_MEDIA_EXR_ROW_FORMS_H
#define VELTRANE_MEDIA_EXR_ROW_FORMS_H

#include <cstddef>
#include <cstdint>

namespace veltrane::media {

/// A plane for each channel of a row. A Sample is a float, or the bits of a half as std::uint16_t.
template <class Sample>
struct ExrRow {
    Sample* red;
    Sample* green;
    Sample* blue;
    Sample* alpha;  ///< null where there is none
};

/// What a row of an EXR is made from where each pixel's source held just such values.
template <class Sample>
struct ExrRowSource {
    const std::uint16_t* result;  ///< pixels as they were keyed
    const std::uint16_t* source;  ///< and before
    const Sample* originals;      ///< straight red, green, blue of the source, as they were stored
    ExrRow<const float> values;   ///< the result's, straight, 0..1; alpha where the row has it
    bool premultiplied;
};

/// One form of the functions that make rows of an EXR.
struct ExrRowForms {
    /// The halves nearest to finite values, of two the even one, and infinite beyond the
    /// largest; the values are multiplied by factors from 0 to 1 before, unless that is null.
    void (*narrow)(const float* values, const float* factors, std::ptrdiff_t width,
                   std::uint16_t* halves);
    /// Makes a row: colour with the source's excess where alpha is not 0, and the originals where a
    /// pixel is opaque and its colour the source's. Without a plane for alpha each pixel is opaque.
    void (*halves)(const ExrRowSource<std::uint16_t>& from, std::ptrdiff_t width,
                   const ExrRow<std::uint16_t>& row);
    void (*floats)(const ExrRowSource<float>& from, std::ptrdiff_t width, const ExrRow<float>& row);

    void Make(const ExrRowSource<std::uint16_t>& from, std::ptrdiff_t width,
              const ExrRow<std::uint16_t>& row) const {
        halves(from, width, row);
    }
    void Make(const ExrRowSource<float>& from, std::ptrdiff_t width,
              const ExrRow<float>& row) const {
        floats(from, width, row);
    }
};

/// The vector form in use, or null when the plain one is.
const ExrRowForms* SimdExrRowForms();

}  // namespace veltrane::media

#endif
