#ifndef VELTRANE_TESTS_HOSTS_OFX_TEST_HOST_H
#define VELTRANE_TESTS_HOSTS_OFX_TEST_HOST_H

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "hosts/ofx/abi.h"

namespace veltrane::ofx::test {

using Value = std::variant<int, double, std::string, void*>;

struct Property {
    std::vector<Value> values;
    bool grows = false;  ///< holds any number of values instead of what it was made with
};

/// A property set that knows exactly the names it was made with, each with its type.
struct Bag {
    std::map<std::string, Property> properties;

    template <class T>
    T Get(const std::string& name, int index = 0) const {
        return std::get<T>(properties.at(name).values.at(index));
    }
    void Put(const std::string& name, std::vector<Value> values) {
        properties[name].values = std::move(values);
    }
};

struct TestParam {
    std::string type;
    Bag bag;
    std::map<double, std::vector<double>> keys;  ///< values from each time on
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

struct TestClip {
    Bag bag;
    RectD region{};
    std::function<TestImage*(double time)> image;
};

struct TestEffect {
    Bag bag;
    std::map<std::string, TestParam> params;
    std::vector<std::string> order;  ///< of the parameters
    std::map<std::string, TestClip> clips;
    bool stops = false;  ///< asks renders to stop
};

/// A strict host. It loads the plug-in, describes it in a context and makes an instance. Whatever
/// the plug-in does against the interface becomes a fault.
class TestHost {
public:
    explicit TestHost(const std::string& context = "OfxImageEffectContextFilter",
                      std::set<std::string> missingSuites = {});
    ~TestHost();

    Status Send(const char* action, TestEffect* effect, Bag* in = nullptr, Bag* out = nullptr);
    /// Tells the plug-in that a parameter has changed.
    Status Change(const std::string& param, const char* reason = "OfxChangeUserEdited",
                  double time = 0);
    Status Render(double time, const RectI& window);

    static std::vector<std::string> TakeFaults();

    const PluginRecord* plugin = nullptr;
    Status loaded = kOk;
    TestEffect descriptor;
    TestEffect instance;
    std::vector<std::string> messages;
    std::set<std::string> missingSuites;
    std::vector<std::string> pluginEdits;  ///< parameters set by the plug-in, and edit brackets
    bool refusesValues = false;            ///< answers an error to every parameter that is read

private:
    void MakeInstance(const std::string& context);

    void* library_;
    Bag properties_;
    HostRecord record_;
};

}  // namespace veltrane::ofx::test

#endif
