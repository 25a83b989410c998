#ifndef VELTRANE_TESTS_PLUGIN_HOST_H
#define VELTRANE_TESTS_PLUGIN_HOST_H

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "settings/settings.h"

namespace veltrane::testing {

/// A picture as FxPlug hosts hand it over: alpha, red, green, blue as floats, rows without gaps.
struct HostPicture {
    std::size_t width;
    std::size_t height;
    std::vector<float> pixels;
    bool texture = false;
    bool premultiplied = false;
};

/// A stand-in for an FxPlug host, with one filter of the built bundle, for which it is the API
/// manager and every service.
class FxHost {
public:
    /// Loads the bundle and makes a filter of its principal class; null when that fails.
    static std::unique_ptr<FxHost> Load(const std::string& bundle);
    ~FxHost();

    /// The filter, an Objective-C object of the bundle's principal class.
    void* filter() const { return filter_; }
    /// Has the filter add its parameters to the panel.
    bool AddParameters();
    /// Sets every parameter.
    void Use(const Settings& settings);
    /// Has one frame set up, rendered and cleaned up. False unless each was answered with yes. Any
    /// number of threads at a time.
    bool Render(const HostPicture& input, HostPicture& output, double time = 0);

    struct State {
        std::vector<double> value;  ///< three of a colour, one of others, none of a group
        unsigned flags;
    };
    std::map<int, State> parameters;
    std::set<int> unreadable;        ///< parameters that cannot be read
    std::set<std::string> withheld;  ///< protocols that are not offered
    bool laterSpelling = false;      ///< the colour getter is spelled with small letters
    double currentTime = 0;
    /// What the filter called, in words: a selector's first part and the values given.
    std::vector<std::string> calls;
    std::mutex mutex;  ///< of calls

private:
    FxHost() = default;

    void* services_ = nullptr;
    void* filter_ = nullptr;
};

}  // namespace veltrane::testing

#endif
