#ifndef VELTRANE_TESTS_GOLDEN_SHOT_H
#define VELTRANE_TESTS_GOLDEN_SHOT_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tests/imaging/frames.h"

namespace veltrane::testing {

/// kBare shows the screen alone, a part of it without any falloff or grain; kCrowded no screen;
/// kFramed a subject that leaves only a rim.
enum class Shot { kStudio, kBare, kCrowded, kFramed, kNoise };

/// The parts of a shot that one pixel shows, in 1024 x 1024 units of the frame.
class ShotPainter {
public:
    ShotPainter(Shot shot, std::uint64_t seed) : shot_(shot), noise_(seed) {}

    /// Blue, green, red and alpha of full scale 65535.
    void Paint(int x, int y, int u, int v, std::uint16_t* pixel) {
        const bool still = u > 640 && v < 300;
        const bool wild =
            shot_ == Shot::kNoise || (u < 60 && v < 200) || (!still && noise_(0, 200) == 0);
        const int grain = still ? 0 : noise_(0, 9) == 0 ? 3000 : 500;
        const int cover = Cover(x, y, u, v);
        const int* subject = kSubjects[(u / 90 + v / 150) % 8];
        for (int e = 0; e < 3; ++e) {
            const int value = (Screen(e, u, v) * (256 - cover) + subject[e] * 257 * cover) / 256;
            const int shown = wild ? noise_.Biased(0, 65535) : value + noise_(-grain, grain);
            pixel[e] = std::uint16_t(std::clamp(shown, 0, 65535));
        }
        pixel[3] = std::uint16_t(Alpha(u, v));
    }

private:
    static constexpr int kSubjects[8][3] = {{128, 128, 128}, {120, 150, 215}, {205, 110, 60},
                                            {240, 250, 255}, {235, 245, 190}, {10, 8, 12},
                                            {60, 90, 150},   {150, 190, 120}};
    static constexpr int kScreen[3] = {70, 180, 60};

    /// Lit from one side, with a cast and a shadow on the floor.
    int Screen(int e, int u, int v) const {
        if (shot_ == Shot::kBare && u > 512) return kScreen[e] * 257;
        int light = 1150 - u / 3 - v / 5;
        if (v > 860) light = light * (u < 300 ? 20 : 55) / 100;
        return kScreen[e] * 257 / 1000 * light + (e == 0 ? u * 6 : 0);
    }

    /// How much the subject covers, of 256: a body with a soft rim, hairs, and gauze.
    int Cover(int x, int y, int u, int v) const {
        if (shot_ == Shot::kBare) return 0;
        if (shot_ == Shot::kCrowded) return 256;
        if (shot_ == Shot::kFramed)
            return std::max(std::abs(u - 512), std::abs(v - 512)) < 470 ? 256 : 0;
        const int du = u - 480;
        const int dv = v - 620;
        const int body = std::clamp((90000 - 2 * du * du - dv * dv) / 150, 0, 256);
        const bool hair = v > 120 && v < 520 && u > 200 && u < 760 && (7 * x + 3 * y) % 31 < 7;
        const bool gauze = u > 760 && u < 900 && v > 300 && v < 800;
        return std::max({body, hair ? 30 + (x + y) % 20 * 9 : 0, gauze ? 20 + v / 5 : 0});
    }

    int Alpha(int u, int v) {
        if (u < 930) return 65535;
        return noise_(0, 3) == 0 ? 0 : std::clamp(v * 80 - 8000, 0, 65535);
    }

    Shot shot_;
    Random noise_;
};

inline std::vector<std::uint16_t> MakeShot(Shot shot, int width, int height, std::uint64_t seed) {
    std::vector<std::uint16_t> frame(std::size_t{4} * width * height);
    ShotPainter painter(shot, seed);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::size_t pixel = std::size_t{4} * (std::size_t(y) * width + x);
            painter.Paint(x, y, x * 1024 / width, y * 1024 / height, &frame[pixel]);
        }
    return frame;
}

}  // namespace veltrane::testing

#endif
