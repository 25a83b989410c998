#include "worst.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "imaging/convert/light_curve.h"

namespace veltrane::bench {
namespace {

using media::Frame;

constexpr int kRegions = 3;
constexpr int kTileWidth = 150, kTileHeight = 100;  ///< as shown; small frames are enlarged
constexpr int kSmallWidth = 960;
constexpr int kEnlarged = 2;
constexpr int kGap = 6;
constexpr double kGrey = 0.18;

struct Region {
    int x;
    int y;
    double error;
};

std::size_t At(const Frame& frame, int x, int y) {
    return 4 * (static_cast<std::size_t>(y) * frame.width + x);
}

Frame Keyed(const Frame& frame, const Settings& settings) {
    Frame keyed = frame;
    Key(settings, frame.width, frame.height, frame.pixels.data(), keyed.pixels.data());
    return keyed;
}

/// One element of every pixel, as grey.
Frame AsGrey(const Frame& frame, std::size_t element) {
    Frame grey = frame;
    for (std::size_t i = 0; i < grey.pixels.size(); i += 4)
        std::fill_n(grey.pixels.begin() + i, 3, frame.pixels[i + element]);
    return grey;
}

Frame OverGrey(const Frame& keyed) {
    Frame over = keyed;
    for (std::size_t i = 0; i < keyed.pixels.size(); i += 4) {
        const double matte = keyed.pixels[i + 3] / 65535.0;
        for (std::size_t e = i; e < i + 3; ++e) {
            const double light = LinearFromSrgb(keyed.pixels[e] / 65535.0);
            over.pixels[e] = static_cast<std::uint16_t>(
                std::lround(65535 * SrgbFromLinear(light * matte + kGrey * (1 - matte))));
        }
    }
    return over;
}

/// The worst regions of this size that do not overlap.
std::vector<Region> WorstRegions(const Frame& matte, const Frame& coverage, int width, int height) {
    std::vector<Region> all;
    for (int y = 0; y + height <= matte.height; y += height / 4)
        for (int x = 0; x + width <= matte.width; x += width / 4) {
            Region region{x, y, 0};
            for (int v = y; v < y + height; ++v)
                for (int u = x; u < x + width; ++u)
                    region.error += std::abs(matte.pixels[At(matte, u, v)] -
                                             double(coverage.pixels[At(coverage, u, v)]));
            all.push_back(region);
        }
    std::ranges::stable_sort(all, std::greater(), &Region::error);
    std::vector<Region> worst;
    for (const Region& one : all) {
        const bool free = std::ranges::none_of(worst, [&](const Region& other) {
            return std::abs(one.x - other.x) < width && std::abs(one.y - other.y) < height;
        });
        if (free && worst.size() < kRegions) worst.push_back(one);
    }
    return worst;
}

void Paste(const Frame& from, const Region& region, int enlarged, Frame& sheet, int left, int top) {
    for (int y = 0; y < kTileHeight; ++y)
        for (int x = 0; x < kTileWidth; ++x)
            std::copy_n(&from.pixels[At(from, region.x + x / enlarged, region.y + y / enlarged)], 3,
                        &sheet.pixels[At(sheet, left + x, top + y)]);
}

void Write(const Frame& sheet, const std::filesystem::path& picture) {
    media::Info info;
    info.width = sheet.width;
    info.height = sheet.height;
    info.firstFrame = info.frameCount.emplace(1);
    const auto writer = media::Create(picture, {.opaque = true}, info);
    writer->Append(*writer->Encode(sheet, sheet));
    writer->Finish();
}

}  // namespace

void ShowWorst(const Shot& shot, const Settings& untuned, const Settings& tuned,
               const std::filesystem::path& picture) {
    const Frame frame = media::ReadFrame(shot.source, 1);
    const Frame keyed = Keyed(frame, tuned);
    const std::vector<Frame> columns{frame, AsGrey(media::ReadFrame(shot.coverage, 1), 0),
                                     AsGrey(Keyed(frame, untuned), 3), AsGrey(keyed, 3),
                                     OverGrey(keyed)};
    const int enlarged = frame.width < kSmallWidth ? kEnlarged : 1;
    const std::vector<Region> regions =
        WorstRegions(columns[3], columns[1], kTileWidth / enlarged, kTileHeight / enlarged);
    Frame sheet{static_cast<int>(columns.size()) * (kTileWidth + kGap) - kGap,
                static_cast<int>(regions.size()) * (kTileHeight + kGap) - kGap,
                1,
                {},
                nullptr};
    sheet.pixels.assign(std::size_t{4} * sheet.width * sheet.height, 65535);
    for (std::size_t r = 0; r < regions.size(); ++r)
        for (std::size_t c = 0; c < columns.size(); ++c)
            Paste(columns[c], regions[r], enlarged, sheet,
                  static_cast<int>(c) * (kTileWidth + kGap),
                  static_cast<int>(r) * (kTileHeight + kGap));
    Write(sheet, picture);
}

}  // namespace veltrane::bench
