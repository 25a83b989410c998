#include "keyer/plate/background_model.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "imaging/resample/resample.h"
#include "keyer/plate/background_stages.h"

namespace {

using namespace veltrane;

constexpr int kLongestSide = 320;  ///< of the reduced frame
constexpr int kShortestSide = 2;
constexpr int kEdgeThreshold = 40;
constexpr int kContractSteps = 3;
constexpr int kSmoothingRadius = 7;

struct Size {
    int width;
    int height;
};

/// Keeps the aspect ratio, evaluated in single precision.
Size ReducedSize(int width, int height) {
    const float ratio = static_cast<float>(height) / static_cast<float>(width);
    Size size{width, height};
    if (width >= height && width > kLongestSide) {
        size = {kLongestSide, TruncateToInt(ratio * static_cast<float>(kLongestSide))};
    } else if (width < height && height > kLongestSide) {
        size = {TruncateToInt(static_cast<float>(kLongestSide) / ratio), kLongestSide};
    }
    return {std::max(size.width, kShortestSide), std::max(size.height, kShortestSide)};
}

/// The next edge of a row from x on, or its width; most of a row has none, eight pixels at a time.
int NextEdge(const unsigned char* edges, int x, int width) {
    for (std::uint64_t eight = 0; x + 8 <= width; x += 8) {
        std::memcpy(&eight, edges + x, 8);
        if (eight != 0) break;
    }
    while (x < width && edges[x] == 0) ++x;
    return x;
}

/// Colour on strong edges (hair, outlines, noise) is never trusted to be the screen's.
void KnockOutEdges(unsigned char* image, const unsigned char* edges, Size size, int edgePitch) {
    for (int y = 0; y < size.height; ++y, edges += edgePitch, image += size.width * kElements) {
        for (int x = NextEdge(edges, 0, size.width); x < size.width;
             x = NextEdge(edges, x + 1, size.width)) {
            std::memset(image + x * kElements, 0, kAlpha);
        }
    }
}

}  // namespace

namespace veltrane {

template <class Sample>
ReducedFrame ReduceFrame(const typename Depth<Sample>::Record& p, const RowSource<Sample>& source,
                         const Threads& threads) {
    const Size size = ReducedSize(p.width, p.height);
    const auto pixels = static_cast<std::size_t>(size.width) * size.height;
    ReducedFrame frame{MakeBuffer<unsigned char>(pixels * kElements), size.width, size.height};
    ShrinkRows(source, p.width, p.height, frame.pixels.get(), size.width, size.height, 2, threads);
    return frame;
}

template ReducedFrame ReduceFrame(const VELTRANE_Param16bit&, const RowSource<unsigned short>&,
                                  const Threads&);
template ReducedFrame ReduceFrame(const VELTRANE_Param&, const RowSource<unsigned char>&,
                                  const Threads&);

template <class Sample>
void ModelPlate(const typename Depth<Sample>::Record& p, Screen screen, const ReducedFrame& frame) {
    using D = Depth<Sample>;
    const CVELTRANE keyer;
    const Size size{frame.width, frame.height};
    unsigned char* const image = frame.pixels.get();
    const int pitch = size.width * kElements;
    const int mapPitch = keyer.Align8(size.width);
    const std::size_t mapSize = static_cast<std::size_t>(mapPitch) * size.height;
    const auto edges = MakeBuffer<unsigned char>(mapSize);
    const auto background = MakeBuffer<unsigned char>(mapSize);
    keyer.Laplacian32bit8(image, size.width, size.height, pitch, edges.get(), size.width,
                          size.height, mapPitch, kEdgeThreshold);
    const ReducedImage reduced{image, size.width, size.height, pitch};
    ExtractScreen(screen, reduced, background.get(),
                  {D::KeyToMatch(p.keyR[0]), D::KeyToMatch(p.keyG[0]), D::KeyToMatch(p.keyB[0])},
                  p.skinHue[0], p.blueHue[0]);
    KnockOutEdges(image, edges.get(), size, mapPitch);
    WidenEmpty(screen, reduced, kContractSteps);
    keyer.ExpandBack32bit8(image, size.width, size.height, pitch, D::KeyToFill(p.keyR[0]),
                           D::KeyToFill(p.keyG[0]), D::KeyToFill(p.keyB[0]));
    keyer.AverageBlurCore32bit6(image, size.width, size.height, pitch, kSmoothingRadius);
}

template void ModelPlate<unsigned short>(const VELTRANE_Param16bit&, Screen, const ReducedFrame&);
template void ModelPlate<unsigned char>(const VELTRANE_Param&, Screen, const ReducedFrame&);

}  // namespace veltrane
