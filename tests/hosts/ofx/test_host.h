#ifndef VELTRANE_TESTS_HOSTS_OFX_TEST_HOST_H
#define VELTRANE_TESTS_HOSTS_OFX_TEST_HOST_H

#include <atomic>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "hosts/ofx/abi.h"

namespace veltrane::ofx::test {

using Value = std::variant<int, double, std::string, void*>;

/// A property set.
using Bag = std::map<std::string, std::vector<Value>>;

template <class T = std::string>
T Get(const Bag& bag, const std::string& name, int index = 0) {
    return std::get<T>(bag.at(name).at(index));
}

/// One image in memory of its own, with guards around it and padding between its rows.
class TestImage {
public:
    struct Plan {
        RectI bounds;
        std::string depth;
        std::string alpha = "OfxImageAlphaUnPremultiplied";
        int padding = 0;       ///< bytes between rows
        bool topDown = false;  ///< negative row bytes
        double scale = 1;
    };

    explicit TestImage(const Plan& plan);
    TestImage(const TestImage&) = delete;

    unsigned char* At(int x, int y);
    /// Notes what the memory holds.
    void HandOut() { before_ = memory_; }
    /// Whether all outside the window is as it was when the image was handed out.
    [[nodiscard]] bool IsKeptOutside(const RectI& window);

    Bag bag;

private:
    RectI bounds_;
    int pixelBytes_;
    int rowBytes_;
    bool topDown_;
    std::vector<unsigned char> memory_;
    std::vector<unsigned char> before_;
};

struct TestParam {
    std::string name;
    std::string type;
    Bag bag;
    std::map<double, std::vector<double>> keys;  ///< values from each time on; the default if none
};

struct TestClip {
    Bag bag;
    RectD region{};
    std::function<TestImage*(double time)> image;
};

/// A strict host with one effect, which serves as descriptor and as instance. It loads the plug-in,
/// describes it in a context and makes the instance. Whatever the plug-in does against the
/// interface becomes a fault.
class TestHost {
public:
    explicit TestHost(const std::string& context = "OfxImageEffectContextFilter",
                      std::set<std::string> missingSuites = {}, bool refusesValues = false);
    ~TestHost();

    /// Sends an action to the effect.
    Status Send(const char* action, Bag* in = nullptr, Bag* out = nullptr);
    /// Tells the plug-in that a parameter has changed.
    Status Change(const std::string& param, const std::string& reason = "OfxChangeUserEdited",
                  double time = 0);
    Status Render(double time, const RectI& window);
    /// Gives a parameter a value for all times.
    void Set(const std::string& param, const std::vector<double>& value) {
        params.at(param).keys = {{0, value}};
    }
    static std::vector<std::string> TakeFaults();

    std::set<std::string> missingSuites;
    const PluginRecord* plugin;
    Status loaded;
    Bag bag;
    std::map<std::string, TestParam> params;
    std::vector<std::string> order;  ///< of the parameters
    std::map<std::string, TestClip> clips;
    bool stops = false;          ///< asks renders to stop
    bool refusesValues = false;  ///< answers an error to every parameter that is read
    unsigned cpus = 1;           ///< that may work at a time on lent threads
    bool lendsNone = false;      ///< all the same
    std::atomic<int> threadRuns = 0;
    std::vector<std::string> log;  ///< messages shown, parameters set and brackets around them

private:
    void* library_;
    HostRecord record_;
};

}  // namespace veltrane::ofx::test

#endif
