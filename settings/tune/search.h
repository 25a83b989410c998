#ifndef VELTRANE_SETTINGS_TUNE_SEARCH_H
#define VELTRANE_SETTINGS_TUNE_SEARCH_H

#include <functional>
#include <span>
#include <vector>

#include "imaging/threads.h"
#include "settings/settings.h"
#include "settings/tune/look.h"

namespace veltrane {

/// Mean absolute errors of a key against what is expected of it, each 0..1.
struct KeyErrors {
    double matte = 0;
    double edges = 0;   ///< of the matte where the coverage is partial
    double colors = 0;  ///< of what is surely subject, beyond those of the plain settings

    /// An error at an edge is seen more than others.
    double Sum() const { return matte + 0.1 * edges; }
};

/// Those that a search moves.
std::span<const ParameterId> SearchedSliders();

/// Looks for the settings whose mattes come nearest to what the looks expect.
class SettingsSearch {
public:
    SettingsSearch(std::span<const FrameLook* const> looks, const Settings& plain,
                   std::span<const ParameterId> fixed, const Threads& threads);

    /// The best found; by what is expected in the end never worse than the plain settings.
    Settings Run(bool onlyCleaning);

    /// Over all looks, and of one alone.
    KeyErrors Errors(const Settings& settings) const;
    KeyErrors ErrorsOf(std::size_t look, const Settings& settings) const;

    /// Whether a parameter may be moved.
    bool IsFree(ParameterId id) const;

private:
    /// What is expected of a look.
    struct Target {
        std::vector<float> coverage;
        std::vector<float> weight;
        std::vector<float> edge;  ///< the weight where the coverage is partial, else 0
    };
    struct Sums;

    Target TargetOf(const FrameLook& look, const Settings& settings) const;
    Sums SumsOf(std::size_t look, const Settings& settings) const;
    void ForEachLook(const std::function<void(std::size_t)>& visit) const;
    void Aim(const Settings& settings);
    double Cost(const Settings& settings) const;
    Settings Descend(Settings best, bool onlyCleaning, int firstRound) const;
    Settings BestOfStarts(bool onlyCleaning) const;

    std::span<const FrameLook* const> looks_;
    Settings plain_;
    std::span<const ParameterId> fixed_;
    const Threads& threads_;
    std::vector<Target> targets_;
    /// How far the plain settings leave each cell's colour from that of the frame.
    std::vector<std::vector<double>> plainColors_;
    KeyErrors plainErrors_;
};

}  // namespace veltrane

#endif
