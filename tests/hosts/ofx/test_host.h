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

struct Property {
    std::vector<Value> values;
    bool grows = false;  ///< takes any number of values instead of those it was made with
};

/// A property set that knows exactly the names it was made with, each with its type.
struct Bag {
    std::map<std::string, Property> properties;

    template <class T = std::string>
    T Get(const std::string& name, int index = 0) const {
        return std::get<T>(properties.at(name).values.at(index));
    }
    void Put(const std::string& name, std::vector<Value> values) {
        properties[name].values = std::move(values);
    }
};

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
    ~TestImage() { SetGuard(false); }

    unsigned char* At(int x, int y);
    /// Notes what the memory holds and, under the address sanitizer, closes all but the pixels.
    void HandOut();
    /// Whether all outside the window is as it was when the image was handed out.
    [[nodiscard]] bool IsKeptOutside(const RectI& window);

    Bag bag;

private:
    void SetGuard(bool closed);

    RectI bounds_;
    int pixelBytes_;
    int rowBytes_;
    bool topDown_;
    std::vector<unsigned char> memory_;
    std::vector<unsigned char> before_;
};

struct TestParam {
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
