#include "cli/composite.h"

#include <algorithm>
#include <cmath>

namespace veltrane::cli {

namespace {

constexpr std::uint32_t kOpaque = 65535;

std::uint16_t Sample(double component) {
    return static_cast<std::uint16_t>(std::lround(component * kOpaque));
}

/// The sum of one element over a square of pixels.
std::uint64_t SquareSum(const media::Frame& frame, int left, int top, int side, int element) {
    std::uint64_t sum = 0;
    for (int y = top; y < top + side; ++y)
        for (int x = left; x < left + side; ++x)
            sum += frame.pixels[(std::size_t(y) * frame.width + x) * 4 + element];
    return sum;
}

/// A frame of the source's size and number.
media::Frame EmptyLike(const media::Frame& source) {
    media::Frame frame;
    frame.width = source.width;
    frame.height = source.height;
    frame.number = source.number;
    frame.pixels.resize(source.pixels.size());
    return frame;
}

}  // namespace

media::Frame Painted(int width, int height, const std::function<Color(int x, int y)>& colorAt) {
    media::Frame frame;
    frame.width = width;
    frame.height = height;
    frame.pixels.reserve(std::size_t{4} * width * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Color c = colorAt(x, y);
            frame.pixels.insert(frame.pixels.end(),
                                {Sample(c.blue), Sample(c.green), Sample(c.red), kOpaque});
        }
    return frame;
}

media::Frame PlainPicture(int width, int height, Color color) {
    return Painted(width, height, [=](int, int) { return color; });
}

media::Frame Checkerboard(int width, int height, int square) {
    return Painted(width, height, [=](int x, int y) {
        const double grey = (x / square + y / square) % 2 == 0 ? 0.62 : 0.42;
        return Color{grey, grey, grey};
    });
}

media::Frame Reduced(const media::Frame& picture, int factor) {
    media::Frame reduced;
    reduced.width = picture.width / factor;
    reduced.height = picture.height / factor;
    const std::uint64_t area = std::uint64_t(factor) * factor;
    for (int y = 0; y < reduced.height; ++y)
        for (int x = 0; x < reduced.width; ++x)
            for (int c = 0; c < 4; ++c)
                reduced.pixels.push_back(static_cast<std::uint16_t>(
                    (SquareSum(picture, x * factor, y * factor, factor, c) + area / 2) / area));
    return reduced;
}

media::Frame Keyed(const Settings& settings, const media::Frame& source, const Threads& threads,
                   const KeyInputs<std::uint16_t>& inputs) {
    media::Frame result = EmptyLike(source);
    Key<std::uint16_t>(settings, source.width, source.height, {source.pixels.data()},
                       {result.pixels.data()}, threads, inputs);
    return result;
}

media::Frame CleanPlate(Settings settings, const media::Frame& source, const Threads& threads) {
    settings.view = View::CleanPlate;
    return Keyed(settings, source, threads);
}

void WritePicture(const std::string& path, const media::Frame& picture,
                  const media::WriteOptions& options, media::Info source) {
    source.firstFrame = picture.number;
    source.frameCount = 1;
    const std::unique_ptr<media::Writer> writer = media::Create(path, options, source);
    writer->Append(*writer->Encode(picture, media::Frame()));
    writer->Finish();
}

void PutOver(media::Frame& frame, const media::Frame& background) {
    frame.coverage.reserve(frame.pixels.size() / 4);
    for (std::size_t i = 0; i < frame.pixels.size(); i += 4) {
        const std::uint32_t alpha = frame.pixels[i + 3];
        frame.coverage.push_back(frame.pixels[i + 3]);
        for (std::size_t c = i; c < i + 3; ++c) {
            const std::uint32_t sum =
                frame.pixels[c] * alpha + background.pixels[c] * (kOpaque - alpha);
            frame.pixels[c] = static_cast<std::uint16_t>((sum + kOpaque / 2) / kOpaque);
        }
        frame.pixels[i + 3] = kOpaque;
    }
}

media::Frame Over(media::Frame frame, const media::Frame& background) {
    PutOver(frame, background);
    return frame;
}

media::Frame MattePicture(const media::Frame& frame) {
    media::Frame matte = frame;
    for (std::size_t i = 0; i < matte.pixels.size(); i += 4) {
        std::fill_n(matte.pixels.begin() + static_cast<std::ptrdiff_t>(i), 3, frame.pixels[i + 3]);
        matte.pixels[i + 3] = kOpaque;
    }
    return matte;
}

}  // namespace veltrane::cli
