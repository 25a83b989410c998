#ifndef VELTRANE_BENCH_SUBJECT_H
#define VELTRANE_BENCH_SUBJECT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/media.h"
#include "settings/settings.h"

namespace veltrane::bench {

/// What a piece of work leaves, to be compared.
using Bytes = std::span<const std::byte>;

template <typename Elements>
Bytes BytesOf(const Elements& elements) {
    return std::as_bytes(std::span(elements));
}

/// The frame that is keyed, in 16 bits.
class Subject {
public:
    explicit Subject(const media::Frame& picture);

    /// The picture as 16-bit samples, before a call that smooths its input.
    void Restore() { source = frame; }
    void Key(const Settings& settings);

    int width;
    int height;
    Color screen;
    media::Pixels frame;  ///< blue, green, red, alpha
    media::Pixels source;
    media::Pixels output;
};

/// The same frame in the other forms that hosts hold frames in.
class HostForms {
public:
    explicit HostForms(const Subject& subject);

    /// The 8-bit entry.
    void KeyBytes(const Settings& settings);
    /// Float pixels to a frame and the frame to float pixels, row by row.
    void ConvertFloats();

    int width;
    int height;
    std::vector<std::uint8_t> bytes;  ///< alpha, red, green, blue
    std::vector<std::uint8_t> byteOutput;
    std::vector<float> floats;  ///< red, green, blue, alpha
    std::vector<float> floatOutput;
    std::vector<std::uint16_t> frame;
};

/// The sample still.
Subject& Still();
HostForms& StillInHosts();

}  // namespace veltrane::bench

#endif
