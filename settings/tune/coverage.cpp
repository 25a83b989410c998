#include "settings/tune/coverage.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace veltrane {

namespace {

constexpr float kLeastLight = 1e-4f;  ///< below it nothing is divided by

// Of the cells that are surely screen:
constexpr float kScreenChroma = 0.035f;  ///< greatest difference of chroma from the plate's,
constexpr float kLitChroma = 0.07f;      ///< where little of the plate's light is missing
constexpr float kLitLoss = 0.12f;        ///< greatest part of that light that is missing there
constexpr float kDarkestShadow = 0.35f;  ///< least part of it that reaches a shadow
constexpr float kShadowSpread = 0.06f;   ///< a shadow is smoother than strands of dark hair

constexpr float kSubjectLoss = 0.93f;  ///< least part of the screen's dominance missing in subjects
constexpr int kLeastOfNine = 7;        ///< such cells around one that is sure
constexpr float kLeastGrain = 0.02f;
constexpr float kFlatSpread = 0.12f;  ///< greatest spread inside a body; edges and hair have more

// In cells:
constexpr int kEdgeReach = 10;    ///< beyond it from the screen, a sure subject is solid
constexpr int kTrustedDepth = 6;  ///< in which a subject's colour is free of the screen behind it
constexpr int kRimDepth = 2;     ///< beyond it, what is surely subject is not mixed with the screen
constexpr int kInsideDepth = 4;  ///< beyond it, what is not is hardly an edge
constexpr int kBodyDepth = 3;    ///< from which on a flat part may be a body with spill on it
constexpr int kDeepDepth = 5;    ///< from which on that is likely,
constexpr int kThinReach = 12;   ///< farther from any sure subject, a colour behind is guesswork
constexpr int kHairReach = 6;

constexpr float kDeepWeight = 0.5f;
constexpr float kThinWeight = 0.3f;
constexpr float kHairPurity = 0.1f;

// Flat parts between these losses of the screen's dominance pass from veils to bodies with spill.
constexpr float kVeilLoss = 0.1f;
constexpr float kBodyLoss = 0.3f;

/// Where the screen's main channel lies in a colour, and the other two.
struct Channels {
    int main;
    int first;
    int second;

    explicit Channels(Screen screen)
        : main(screen == Screen::Blue ? 0 : 1), first(2), second(1 - main) {}

    /// By how much the main channel stands out; below 0 where it does not.
    float Dominance(const LinearColor& c) const { return c[main] - std::max(c[first], c[second]); }
};

double Dot(const LinearColor& a, const LinearColor& b) {
    double sum = 0;
    for (int c = 0; c < 3; ++c) sum += static_cast<double>(a[c]) * static_cast<double>(b[c]);
    return sum;
}

/// How much of a pixel is light of a subject's hue, as bright as it may be, beside the plate's:
/// bodies have lit and dark sides, but one hue. Nothing where the hues are too close.
std::optional<double> UnmixedCoverage(const LinearColor& pixel, const LinearColor& plate,
                                      const LinearColor& subject) {
    constexpr double kLeastAngle = 1e-3;  ///< squared sine between hues that can be told apart
    const double ss = Dot(subject, subject);
    const double pp = std::max(Dot(plate, plate), 1e-9);
    const double sp = Dot(subject, plate);
    const double determinant = ss * pp - sp * sp;
    if (!(determinant > kLeastAngle * ss * pp)) return std::nullopt;
    const double ofSubject = (Dot(pixel, subject) * pp - Dot(pixel, plate) * sp) / determinant;
    if (ofSubject < 0) return 1 - Dot(pixel, plate) / pp;
    return 1 - (Dot(pixel, plate) * ss - Dot(pixel, subject) * sp) / determinant;
}

class Guess {
public:
    Guess(const SampledFrame& frame, Screen screen, FrameLook& look)
        : frame_(frame),
          channels_(screen),
          look_(look),
          loss_(frame.means.width, frame.means.height) {
        Classify();
        toScreen_ = DistanceTo(screen_);
        toSubject_ = DistanceTo(subject_);
        colors_ = SubjectColors();
    }

    void Fill() {
        const std::size_t count = loss_.values.size();
        look_.coverage.assign(count, 0);
        look_.weight.assign(count, 1);
        look_.trust.assign(count, Trust::Sure);
        for (std::size_t i = 0; i < count; ++i) FillCell(i);
        const double part = 1.0 / static_cast<double>(count);
        look_.screen *= part;
        look_.subject *= part;
        look_.unknown *= part;
    }

private:
    /// How much of the plate's dominance is missing: 0 on the screen, 1 on what is neutral, more
    /// on what has another hue.
    float LossAt(const LinearColor& color, std::size_t i) const {
        const float whole = std::max(channels_.Dominance(frame_.plate.values[i]), kLeastLight);
        return 1 - channels_.Dominance(color) / whole;
    }

    bool LooksLikeScreen(std::size_t i) const {
        const LinearColor& c = frame_.means.values[i];
        const LinearColor& p = frame_.plate.values[i];
        const float lit = std::max(p[channels_.main], kLeastLight);
        const float light = std::max(c[channels_.main], kLeastLight);
        const auto differs = [&](int channel) {
            return std::abs(c[channel] / light - p[channel] / lit);
        };
        const float chroma = std::max(differs(channels_.first), differs(channels_.second)) *
                             std::min(1.0f, light / lit);
        if (light < kDarkestShadow * lit) return false;
        return chroma < kScreenChroma || (chroma < kLitChroma && loss_.values[i] < kLitLoss);
    }

    void Classify() {
        Cells<float> bounded = loss_;
        screen_ = subject_ = CellMask(loss_.width, loss_.height);
        for (std::size_t i = 0; i < loss_.values.size(); ++i) {
            loss_.values[i] = LossAt(frame_.means.values[i], i);
            bounded.values[i] = std::clamp(loss_.values[i], -0.5f, 1.0f);
            screen_.values[i] = LooksLikeScreen(i) ? 1 : 0;
            subject_.values[i] = loss_.values[i] > kSubjectLoss ? 1 : 0;
        }
        spread_ = LocalSpread(bounded);
        grain_ = Grain();
        for (std::size_t i = 0; i < loss_.values.size(); ++i)
            if (loss_.values[i] > kLitLoss && spread_.values[i] > kShadowSpread + 1.5f * grain_)
                screen_.values[i] = 0;
        screen_ = WithoutSpecks(screen_, kLeastOfNine);
        subject_ = WithoutSpecks(subject_, kLeastOfNine);
    }

    /// The usual spread of the lit screen.
    float Grain() const {
        std::vector<float> spreads;
        for (std::size_t i = 0; i < loss_.values.size(); ++i)
            if (screen_.values[i] != 0 && loss_.values[i] < kLitLoss)
                spreads.push_back(spread_.values[i]);
        if (spreads.empty()) return kLeastGrain;
        const auto middle = spreads.begin() + std::ssize(spreads) / 2;
        std::nth_element(spreads.begin(), middle, spreads.end());
        return std::max(*middle, kLeastGrain);
    }

    bool IsFlat(std::size_t i) const { return spread_.values[i] < kFlatSpread + grain_; }

    /// What is all but screen, far from any subject.
    bool IsGrain(std::size_t i) const {
        return loss_.values[i] < kLitLoss && toSubject_.values[i] > kThinReach;
    }

    /// Whether a part that holds some of the screen's light is smooth and wide.
    bool IsBody(std::size_t i) const {
        return screen_.values[i] == 0 && toScreen_.values[i] > kBodyDepth && IsFlat(i);
    }

    /// From 0, a veil, to 1, a body that reflects the screen.
    float BodyPart(std::size_t i) const {
        return std::clamp((loss_.values[i] - kVeilLoss) / (kBodyLoss - kVeilLoss), 0.0f, 1.0f);
    }

    /// How much of a pixel at an edge the subject beside it covers.
    float EdgeCoverage(std::size_t i) const {
        const LinearColor& subject = colors_.values[i];
        const auto unmixed =
            UnmixedCoverage(frame_.pixels.values[i], frame_.plate.values[i], subject);
        const float whole = std::max(LossAt(subject, i), kVeilLoss);
        const float part = LossAt(frame_.pixels.values[i], i) / whole;
        return std::clamp(unmixed ? static_cast<float>(*unmixed) : part, 0.0f, 1.0f);
    }

    /// The colour of the nearest subject at every cell. Its inside counts, where no screen shines
    /// through, and of hair the purest strands.
    Cells<LinearColor> SubjectColors() const {
        Cells<float> weights(loss_.width, loss_.height);
        Cells<float> hue(loss_.width, loss_.height, kNoHue);
        for (std::size_t i = 0; i < loss_.values.size(); ++i) {
            const bool sure = subject_.values[i] != 0;
            if (!sure && !IsBody(i)) continue;
            const float depth = std::min(
                static_cast<float>(toScreen_.values[i]) / static_cast<float>(kTrustedDepth), 1.0f);
            weights.values[i] = depth * depth * depth * depth * (sure ? 1 : BodyPart(i));
            if (!IsFlat(i)) hue.values[i] = Hue(frame_.means.values[i]);
        }
        const Cells<float> purest = LocalMinimum(hue, kHairReach);
        for (std::size_t i = 0; i < loss_.values.size(); ++i) {
            if (hue.values[i] >= kNoHue) continue;
            const float pure = std::max(1 - (hue.values[i] - purest.values[i]) / kHairPurity, 0.0f);
            weights.values[i] *= pure * pure;
        }
        Cells<LinearColor> colors = frame_.means;
        FillByWeight(colors, weights);
        return colors;
    }

    /// Lower the farther a colour is from the screen's, whatever its brightness.
    float Hue(const LinearColor& c) const {
        return channels_.Dominance(c) / (c[0] + c[1] + c[2] + kLeastLight);
    }

    void FillCell(std::size_t i) {
        if (look_.pixels[4 * i + 3] != 65535) look_.weight[i] = 0;  // cut out already
        if (screen_.values[i] != 0 || IsGrain(i)) {
            look_.screen += 1;
            return;
        }
        const int depth = toScreen_.values[i];
        const bool sure = subject_.values[i] != 0;
        (sure ? look_.subject : look_.unknown) += 1;
        float& coverage = look_.coverage[i];
        coverage = 1;
        if (sure && depth > kEdgeReach) return;
        if (!sure && depth > kDeepDepth && IsFlat(i)) {
            const float loss = loss_.values[i];
            coverage = std::clamp(loss + BodyPart(i) * (1 - loss), 0.0f, 1.0f);
            look_.weight[i] *= kDeepWeight;
            look_.trust[i] = Trust::Inside;
            return;
        }
        coverage = EdgeCoverage(i);
        if (toSubject_.values[i] > kThinReach) look_.weight[i] *= kThinWeight;
        if (IsBody(i)) coverage += BodyPart(i) * (1 - coverage);
        if (sure)
            look_.trust[i] = depth > kRimDepth ? Trust::Sure : Trust::Edge;
        else
            look_.trust[i] = depth > kInsideDepth ? Trust::Inside : Trust::Edge;
    }

    static constexpr float kNoHue = 9;

    const SampledFrame& frame_;
    Channels channels_;
    FrameLook& look_;
    Cells<float> loss_;
    Cells<float> spread_;
    float grain_ = kLeastGrain;
    CellMask screen_;
    CellMask subject_;
    Cells<int> toScreen_;
    Cells<int> toSubject_;
    Cells<LinearColor> colors_;
};

}  // namespace

void GuessCoverage(const SampledFrame& frame, Screen screen, FrameLook& look) {
    Guess(frame, screen, look).Fill();
}

}  // namespace veltrane
