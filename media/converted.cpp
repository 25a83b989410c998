#include "media/converted.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "imaging/convert/convert.h"
#include "media/half.h"
#include "media/source_details.h"

namespace veltrane::media {
namespace {

constexpr std::uint16_t kOpaque = 65535;

/// Red, green, blue of a frame's pixels, straight.
Colors ColorsOf(const Frame& frame) {
    Colors colors(frame.pixels.size() / 4 * 3);
    for (std::size_t i = 0; i < colors.size(); ++i)
        colors[i] = ToFloat(frame.pixels[i / 3 * 4 + 2 - i % 3]);
    return colors;
}

void SetColors(Frame& frame, const Colors& colors) {
    for (std::size_t i = 0; i < colors.size(); ++i)
        frame.pixels[i / 3 * 4 + 2 - i % 3] = ToSample(colors[i]);
}

/// Colour as it lies in the file, with what its pixels cannot hold where that is known.
Colors StoredColors(const Frame& frame) {
    const Origin* origin = frame.origin.get();
    if (!origin || origin->colour.empty()) return ColorsOf(frame);
    const OriginalColour& colour = origin->colour;
    if (!colour.floats.empty()) return colour.floats;
    Colors floats(colour.halves.size());
    std::ranges::transform(colour.halves, floats.begin(), FloatFromHalf);
    return floats;
}

class KeySpaceReader : public Reader {
public:
    KeySpaceReader(std::unique_ptr<Reader> stored,
                   std::shared_ptr<const ColorConversion> conversion)
        : stored_(std::move(stored)), conversion_(std::move(conversion)) {}

    const Info& info() const override { return stored_->info(); }
    std::shared_ptr<Fetched> Fetch() override { return stored_->Fetch(); }

    Frame Decode(const Fetched& fetched, const Threads& threads) override {
        Frame frame = stored_->Decode(fetched, threads);
        auto origin =
            frame.origin ? std::make_shared<Origin>(*frame.origin) : std::make_shared<Origin>();
        Colors colors = StoredColors(frame);
        if (origin->colour.empty()) origin->colour.floats = colors;
        conversion_->ToKey(colors.data(), colors.size() / 3);
        SetColors(frame, colors);
        frame.origin = std::move(origin);
        return frame;
    }

private:
    std::unique_ptr<Reader> stored_;
    std::shared_ptr<const ColorConversion> conversion_;
};

class KeySpaceWriter : public Writer {
public:
    KeySpaceWriter(std::unique_ptr<Writer> stored,
                   std::shared_ptr<const ColorConversion> conversion)
        : stored_(std::move(stored)), conversion_(std::move(conversion)) {}

    bool Has(std::int64_t number) const override { return stored_->Has(number); }
    void Append(const Encoded& encoded) override { stored_->Append(encoded); }
    void Finish() override { stored_->Finish(); }

    std::shared_ptr<Encoded> Encode(const Frame& result, const Frame& source,
                                    const Threads& threads) override {
        Frame frame = result;
        frame.colors = Returned(result, source);
        SetColors(frame, frame.colors);
        Frame metadata;
        metadata.origin = source.origin;
        return stored_->Encode(frame, metadata, threads);
    }

private:
    /// The result's colours in the file's space.
    Colors Returned(const Frame& result, const Frame& source) const {
        Colors colors = ColorsOf(result);
        if (source.pixels.size() != result.pixels.size()) {
            conversion_->FromKey(colors.data(), colors.size() / 3);
            return colors;
        }
        const Colors originals = StoredColors(source);
        Colors given = originals;
        conversion_->ToKey(given.data(), given.size() / 3);
        const auto coverage = [&](std::size_t pixel) {
            return result.coverage.empty() ? kOpaque : result.coverage[pixel];
        };
        for (std::size_t i = 0; i < colors.size(); ++i)
            if (result.pixels[i / 3 * 4 + 3] != 0)
                colors[i] += Excess(given[i]) * ToFloat(coverage(i / 3));
        conversion_->FromKey(colors.data(), colors.size() / 3);
        for (std::size_t p = 0; p < result.pixels.size(); p += 4) {
            const std::uint16_t* pixel = &result.pixels[p];
            const bool untouched = pixel[3] == kOpaque && coverage(p / 4) == kOpaque &&
                                   std::equal(pixel, pixel + 3, &source.pixels[p]);
            if (untouched) std::copy_n(&originals[p / 4 * 3], 3, &colors[p / 4 * 3]);
        }
        return colors;
    }

    std::unique_ptr<Writer> stored_;
    std::shared_ptr<const ColorConversion> conversion_;
};

}  // namespace

std::unique_ptr<Reader> ConvertedReader(std::unique_ptr<Reader> stored,
                                        std::shared_ptr<const ColorConversion> conversion) {
    return std::make_unique<KeySpaceReader>(std::move(stored), std::move(conversion));
}

std::unique_ptr<Writer> ConvertedWriter(std::unique_ptr<Writer> stored,
                                        std::shared_ptr<const ColorConversion> conversion) {
    return std::make_unique<KeySpaceWriter>(std::move(stored), std::move(conversion));
}

}  // namespace veltrane::media
