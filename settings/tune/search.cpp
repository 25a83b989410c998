#include "settings/tune/search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <exception>

#include "settings/frame_keyer.h"
#include "settings/tune/tune.h"

namespace veltrane {

namespace {

using enum ParameterId;

constexpr int kRounds = 4;
constexpr double kChangeCost = 0.00005;  ///< what a moved slider has to bring at least
constexpr double kEdgeGuard = 1;         ///< how much a loss at edges weighs against the rest
constexpr double kColorGuard = 1;        ///< how much a loss of the subject's colours does
constexpr double kEdgeAim = 0.97;        ///< part of the error before, since looks err, too
constexpr int kPasses = 3;               ///< after the first search, each with a better aim
constexpr int kRefiningRound = 1;        ///< whose steps they begin with
constexpr float kUnmixedShare = 0.75f;   ///< of the key's unmixing in what is expected
// From such differences on between it and the guess, neither counts for much.
constexpr float kApartAtEdge = 0.3f;
constexpr float kApartInside = 0.1f;
constexpr float kLeastPartial = 0.02f;  ///< less is no edge
constexpr int kHighestClipBlack = 30;   ///< beyond it soft edges turn hard, whatever they cover
constexpr int kLowestClipWhite = 60;

/// How far a slider goes at a time, in the rounds of a search, and where it stops.
struct Steps {
    ParameterId id;
    std::array<int, kRounds> sizes;
    int least;
    int most;
    bool cleans;  ///< what it does to the screen alone
};

constexpr Steps kSteps[] = {
    {ClipBlack, {2, 1, 1, 1}, 0, kHighestClipBlack, true},
    {ScreenGain, {15, 7, 3, 3}, 0, 100, true},
    {DespillGray, {20, 10, 5, 5}, 0, 100, false},
    // Below 0 the matte hardly changes, but reds lose the blue that is their own.
    {SkinHue, {20, 10, 5, 5}, 0, 50, false},
    {DespillSkin, {20, 10, 5, 5}, 0, 100, false},
    {BlueHue, {20, 10, 5, 5}, -50, 50, false},
    {DespillBlue, {20, 10, 5, 5}, 0, 100, false},
    {Shadow, {50, 25, 10, 10}, 0, 100, false},
    {ClipWhite, {5, 2, 1, 1}, kLowestClipWhite, 100, false},
};

/// Where searches begin, since one may end beside the best.
struct Start {
    int screenGain;
    int clipBlack;
    int skinHue;
    int blueHue;
    int despillGray;
};

constexpr Start kStarts[] = {{6, 4, 0, 0, 20}, {20, 4, 0, 50, 10}, {6, 4, 30, 50, 15}};
constexpr Start kCleaning = {6, 4, 0, 0, 20};

int Value(const Settings& settings, ParameterId id) {
    return ValueOf(settings, ParameterOf(id));
}

void Set(Settings& settings, ParameterId id, int value) {
    SetValue(settings, ParameterOf(id), value);
}

/// As pixels that lie apart can be keyed: without what looks at their neighbours.
Settings PixelByPixel(Settings settings) {
    settings.view = View::Result;
    settings.deBlocking = settings.edgeContract = settings.edgeBlur = false;
    return settings;
}

/// Every cell's pixel keyed.
std::vector<std::uint16_t> Keyed(const FrameLook& look, const Settings& settings) {
    std::vector<std::uint16_t> keyed(look.pixels.size());
    KeyInputs<std::uint16_t> inputs;
    if (settings.smoothBG) inputs.cleanPlate.packed = look.plate.data();
    RowSource<std::uint16_t> source;
    source.packed = look.pixels.data();
    RowSink<std::uint16_t> sink;
    sink.packed = keyed.data();
    Key<std::uint16_t>(PixelByPixel(settings), look.width, look.height, source, sink, {}, inputs);
    return keyed;
}

float MatteOf(const std::vector<std::uint16_t>& keyed, std::size_t cell) {
    return static_cast<float>(keyed[4 * cell + 3]) / 65535.0f;
}

/// How far two pixels' colours are apart, 0..1.
double Apart(const std::uint16_t* a, const std::uint16_t* b) {
    int sum = 0;
    for (int e = 0; e < 3; ++e) sum += std::abs(a[e] - b[e]);
    return sum / (3 * 65535.0);
}

}  // namespace

struct SettingsSearch::Sums {
    double all = 0;
    double edges = 0;
    double edgeWeight = 0;
    double colors = 0;
    double subject = 0;
    double count = 0;

    void Add(const Sums& other) {
        all += other.all;
        edges += other.edges;
        edgeWeight += other.edgeWeight;
        colors += other.colors;
        subject += other.subject;
        count += other.count;
    }

    KeyErrors Means() const {
        const auto mean = [](double sum, double weight) { return weight > 0 ? sum / weight : 0; };
        return {mean(all, count), mean(edges, edgeWeight), mean(colors, subject)};
    }
};

/// Guesses err most where the picture says least, and there what the key unmixes in linear light
/// is the better half of the truth.
SettingsSearch::Target SettingsSearch::TargetOf(const FrameLook& look,
                                                const Settings& settings) const {
    Settings unmixing = settings;
    unmixing.matteLight = MatteLight::Linear;
    unmixing.clipBlack = 0;
    unmixing.clipWhite = 100;
    const std::vector<std::uint16_t> unmixed = Keyed(look, unmixing);
    Target target{look.coverage, look.weight, std::vector<float>(look.coverage.size())};
    for (std::size_t i = 0; i < look.coverage.size(); ++i) {
        float& coverage = target.coverage[i];
        float& weight = target.weight[i];
        if (look.trust[i] != Trust::Sure) {
            const float apart = coverage - MatteOf(unmixed, i);
            const float usual = look.trust[i] == Trust::Edge ? kApartAtEdge : kApartInside;
            weight *= 1 / (1 + apart * apart / (usual * usual));
            coverage -= kUnmixedShare * apart;
        }
        if (coverage > kLeastPartial && coverage < 1 - kLeastPartial) target.edge[i] = weight;
    }
    return target;
}

SettingsSearch::Sums SettingsSearch::SumsOf(std::size_t look, const Settings& settings) const {
    const FrameLook& seen = *looks_[look];
    const std::vector<std::uint16_t> keyed = Keyed(seen, settings);
    const Target& target = targets_[look];
    Sums sums;
    sums.count = static_cast<double>(target.coverage.size());
    for (std::size_t i = 0; i < target.coverage.size(); ++i) {
        const double error = std::abs(MatteOf(keyed, i) - target.coverage[i]);
        sums.all += target.weight[i] * error;
        sums.edges += target.edge[i] * error;
        sums.edgeWeight += target.edge[i];
        if (seen.trust[i] != Trust::Sure || seen.coverage[i] < 1) continue;
        const double apart = Apart(&keyed[4 * i], &seen.pixels[4 * i]);
        sums.colors += std::max(apart - plainColors_[look][i], 0.0);
        ++sums.subject;
    }
    return sums;
}

std::span<const ParameterId> SearchedSliders() {
    static constexpr auto kIds = [] {
        std::array<ParameterId, std::size(kSteps)> ids{};
        std::transform(std::begin(kSteps), std::end(kSteps), ids.begin(),
                       [](const Steps& steps) { return steps.id; });
        return ids;
    }();
    return kIds;
}

SettingsSearch::SettingsSearch(std::span<const FrameLook* const> looks, const Settings& plain,
                               std::span<const ParameterId> fixed, const Threads& threads)
    : looks_(looks),
      plain_(plain),
      fixed_(fixed),
      threads_(threads),
      targets_(looks.size()),
      plainColors_(looks.size()) {
    ForEachLook([&](std::size_t look) {
        const FrameLook& seen = *looks_[look];
        const std::vector<std::uint16_t> keyed = Keyed(seen, plain);
        for (std::size_t i = 0; i < seen.coverage.size(); ++i)
            plainColors_[look].push_back(Apart(&keyed[4 * i], &seen.pixels[4 * i]));
    });
    Aim(plain);
}

void SettingsSearch::ForEachLook(const std::function<void(std::size_t)>& visit) const {
    std::vector<std::exception_ptr> errors(looks_.size());
    const auto task = [&](int i) {
        try {
            visit(i);
        } catch (...) {
            errors[i] = std::current_exception();
        }
    };
    const int count = static_cast<int>(looks_.size());
    if (threads_.run && threads_.count > 1)
        threads_.run(count, task);
    else
        for (int i = 0; i < count; ++i) task(i);
    for (const std::exception_ptr& error : errors)
        if (error) std::rethrow_exception(error);
}

/// Expects what these settings let the looks show.
void SettingsSearch::Aim(const Settings& settings) {
    ForEachLook([&](std::size_t i) { targets_[i] = TargetOf(*looks_[i], settings); });
    plainErrors_ = Errors(plain_);
}

KeyErrors SettingsSearch::Errors(const Settings& settings) const {
    std::vector<Sums> sums(looks_.size());
    ForEachLook([&](std::size_t i) { sums[i] = SumsOf(i, settings); });
    Sums all;
    for (const Sums& one : sums) all.Add(one);
    return all.Means();
}

KeyErrors SettingsSearch::ErrorsOf(std::size_t look, const Settings& settings) const {
    return SumsOf(look, settings).Means();
}

bool SettingsSearch::IsFree(ParameterId id) const {
    return std::ranges::find(fixed_, id) == fixed_.end();
}

double SettingsSearch::Cost(const Settings& settings) const {
    const KeyErrors errors = Errors(settings);
    const auto moved = std::ranges::count_if(
        kSteps, [&](const Steps& s) { return Value(settings, s.id) != Value(plain_, s.id); });
    return errors.Sum() + kChangeCost * static_cast<double>(moved) +
           kEdgeGuard * std::max(errors.edges - kEdgeAim * plainErrors_.edges, 0.0) +
           kColorGuard * errors.colors;
}

Settings SettingsSearch::Descend(Settings best, bool onlyCleaning, int firstRound) const {
    double cost = Cost(best);
    const auto step = [&](const Steps& steps, int by) {
        const int value = Value(best, steps.id);
        Settings next = best;
        Set(next, steps.id, std::clamp(value + by, steps.least, steps.most));
        if (next == best) return false;
        const double reached = Cost(next);
        if (!(reached < cost)) return false;
        best = next;
        cost = reached;
        return true;
    };
    for (int round = firstRound; round < kRounds; ++round)
        for (const Steps& steps : kSteps) {
            if (!IsFree(steps.id) || (onlyCleaning && !steps.cleans)) continue;
            const int size = steps.sizes[round];
            const int by = step(steps, size) ? size : -size;
            while (step(steps, by)) {
            }
        }
    return best;
}

Settings SettingsSearch::BestOfStarts(bool onlyCleaning) const {
    Settings best = plain_;
    double cost = Cost(best);
    for (const Start& from :
         onlyCleaning ? std::span(&kCleaning, 1) : std::span<const Start>(kStarts)) {
        Settings start = plain_;
        const auto put = [&](ParameterId id, int value) {
            if (IsFree(id)) Set(start, id, value);
        };
        put(ScreenGain, from.screenGain);
        put(ClipBlack, from.clipBlack);
        if (!onlyCleaning) {
            put(SkinHue, from.skinHue);
            put(BlueHue, from.blueHue);
            put(DespillGray, from.despillGray);
        }
        const Settings found = Descend(start, onlyCleaning, 0);
        const double reached = Cost(found);
        if (reached < cost) {
            best = found;
            cost = reached;
        }
    }
    return best;
}

Settings SettingsSearch::Run(bool onlyCleaning) {
    Settings best = BestOfStarts(onlyCleaning);
    for (int pass = 0; pass < kPasses; ++pass) {
        Aim(best);
        best = Descend(best, onlyCleaning, kRefiningRound);
        if (!(Cost(best) < Cost(plain_))) return plain_;
    }
    return best;
}

}  // namespace veltrane
