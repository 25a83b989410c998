#ifndef VELTRANE_BENCH_QUALITY_MEASURES_H
#define VELTRANE_BENCH_QUALITY_MEASURES_H

#include <optional>
#include <vector>

#include "media/media.h"

namespace veltrane::bench {

/// How far mattes lie from the true coverage; levels are 0..1.
struct Figures {
    double matte = 0;                 ///< mean absolute error
    double edges = 0;                 ///< the same where the true coverage lies in 0.02..0.98
    double gradient = 0;              ///< squared error of the matte's slope, a thousand pixels
    double kept = 0;                  ///< share of the pixels of bare screen that are not all out
    double holes = 0;                 ///< share of the solid pixels that are not all in
    std::optional<double> color{};    ///< of edges over grey, mean absolute error of a channel
    std::optional<double> flicker{};  ///< mean absolute change of the error from frame to frame
};

/// What is known of a frame.
struct Truth {
    media::Frame coverage;                   ///< as grey
    std::optional<media::Frame> overGrey{};  ///< the subject alone over 18 per cent grey
};

/// Adds up the errors of a shot's frames, in their order.
class Meter {
public:
    /// All frames are of one size; throws std::invalid_argument where they are not.
    void Add(const media::Frame& keyed, const Truth& truth);
    /// Of the frames so far, of which there must be one.
    Figures Result() const;

private:
    /// A sum and of how many.
    struct Mean {
        double sum = 0;
        double count = 0;

        void Add(double value) { sum += value, ++count; }
        double Value() const { return count > 0 ? sum / count : 0; }
    };

    void AddPixels(const media::Frame& keyed, const Truth& truth);
    void AddFlicker(const std::vector<float>& matte, const std::vector<float>& coverage);

    Mean matte_, edges_, gradient_, kept_, holes_, color_, flicker_;
    std::vector<float> lastError_;
};

}  // namespace veltrane::bench

#endif
