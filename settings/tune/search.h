#ifndef VELTRANE_SETTINGS_TUNE_SEARCH_H
#define VELTRANE_SETTINGS_TUNE_SEARCH_H

#include <functional>
#include <span>
#include <vector>

#include "imaging/threads.h"
#include "settings/settings.h"
#include "settings/tune/look.h"

namespace veltrane {

/// Mean absolute errors of a matte against the coverage guessed, each 0..1.
struct MatteErrors {
    double all = 0;
    double edges = 0;  ///< where the coverage is partial

    /// An error at an edge is seen more than others.
    double Sum() const { return all + 0.1 * edges; }
};

/// Looks for the settings whose mattes come nearest to what the looks expect.
class SettingsSearch {
public:
    SettingsSearch(std::span<const FrameLook* const> looks, const Settings& plain,
                   std::span<const ParameterId> fixed, const Threads& threads);

    /// The best found; by what is expected in the end never worse than the plain settings.
    Settings Run(bool onlyCleaning);

    /// Over all looks, and of one alone.
    MatteErrors Errors(const Settings& settings) const;
    MatteErrors ErrorsOf(std::size_t look, const Settings& settings) const;

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
    bool IsFree(ParameterId id) const;

    std::span<const FrameLook* const> looks_;
    Settings plain_;
    std::span<const ParameterId> fixed_;
    const Threads& threads_;
    std::vector<Target> targets_;
    MatteErrors plainErrors_;
};

}  // namespace veltrane

#endif
