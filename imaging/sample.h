#ifndef VELTRANE_IMAGING_SAMPLE_H
#define VELTRANE_IMAGING_SAMPLE_H

#include <climits>
#include <cstddef>
#include <memory>

namespace veltrane {

/// Blue, green, red, alpha. Wide, so that products with pixels of an int are.
inline constexpr std::ptrdiff_t kElements = 4;
inline constexpr int kAlpha = 3;

/// Full scale of a sample type as frames use it.
template <class Sample>
inline constexpr int kFullScale = sizeof(Sample) == 2 ? 65535 : 255;

/// Drops the fraction. A value that no int can hold, or that is not a number, gives INT_MIN, which
/// the clamps that follow turn into 0.
inline int TruncateToInt(float value) {
    return value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int>(value) : INT_MIN;
}

inline int TruncateToInt(double value) {
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int>(value) : INT_MIN;
}

/// Adds a half and drops the fraction, so that halves go up; meant for values of 0 and above.
inline int RoundHalfUp(float value) {
    return TruncateToInt(value + 0.5f);
}
inline int RoundHalfUp(double value) {
    return TruncateToInt(value + 0.5);
}

inline int Clamp(int value, int low, int high) {
    return value < low ? low : (value > high ? high : value);
}

/// Clamps before anything is truncated; a value that is not a number passes through.
inline float Clamp(float value, float low, float high) {
    return value < low ? low : (value > high ? high : value);
}

/// An array that its call owns, its content not yet written; null for a count of 0.
template <class T>
std::unique_ptr<T[]> MakeBuffer(std::size_t count) {
    return count == 0 ? nullptr : std::make_unique_for_overwrite<T[]>(count);
}

}  // namespace veltrane

#endif
