#include <cstring>

#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

/// Calls move(row of the frame, row of its field) for every row.
template <class Sample, class Move>
int ForEachFieldRow(int width, int height, Sample* frame, Sample* oddRows, Sample* evenRows,
                    Move move) {
    if (width < 1 || height < 1) return 1;
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    for (int y = 0; y < height; ++y) {
        move(frame + y * pitch, (y % 2 != 0 ? oddRows : evenRows) + y / 2 * pitch,
             pitch * sizeof(Sample));
    }
    return 1;
}

template <class Sample>
int SplitFields(int width, int height, Sample* frame, Sample* oddRows, Sample* evenRows) {
    return ForEachFieldRow(
        width, height, frame, oddRows, evenRows,
        [](Sample* row, Sample* field, std::size_t bytes) { std::memcpy(field, row, bytes); });
}

template <class Sample>
int MergeFields(int width, int height, Sample* frame, Sample* oddRows, Sample* evenRows) {
    return ForEachFieldRow(
        width, height, frame, oddRows, evenRows,
        [](Sample* row, Sample* field, std::size_t bytes) { std::memcpy(row, field, bytes); });
}

}  // namespace

int CImagingORV::SepareteField64bit(int width, int height, unsigned short* frame,
                                    unsigned short* oddRows, unsigned short* evenRows) const {
    return SplitFields(width, height, frame, oddRows, evenRows);
}

int CImagingORV::SepareteField32bit(int width, int height, unsigned char* frame,
                                    unsigned char* oddRows, unsigned char* evenRows) const {
    return SplitFields(width, height, frame, oddRows, evenRows);
}

int CImagingORV::CompositeField64bit(int width, int height, unsigned short* frame,
                                     unsigned short* oddRows, unsigned short* evenRows) const {
    return MergeFields(width, height, frame, oddRows, evenRows);
}

int CImagingORV::CompositeField32bit(int width, int height, unsigned char* frame,
                                     unsigned char* oddRows, unsigned char* evenRows) const {
    return MergeFields(width, height, frame, oddRows, evenRows);
}
