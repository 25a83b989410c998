#include "tests/hosts/ofx/test_host.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

// Names are written out here once more: a name misspelled in the plug-in's own header would
// otherwise pass for right.

namespace veltrane::ofx::test {

namespace {

constexpr int kGuard = 64;  ///< bytes before and behind an image

TestHost* host = nullptr;
std::mutex mutex;  ///< of the faults and of the images that are out
std::vector<std::string> faults;
std::multiset<void*> images_out;
thread_local std::string current_action;
thread_local bool on_lent_thread = false;

Status Fault(const std::string& what, Status status) {
    const std::lock_guard lock(mutex);
    faults.push_back(current_action + ": " + what);
    return status;
}

template <class Handle, class Object>
Handle HandleOf(Object& object) {
    return reinterpret_cast<Handle>(&object);
}

bool IsEffect(void* handle) {
    return handle == host || Fault("unknown effect", kBadHandle) == kOk;
}

/// The properties that a plug-in may set, by type, and those that take any number of values.
constexpr char kNumbers[] =
    " OfxPropVersion OfxImageEffectPluginPropHostFrameThreading OfxImageEffectPropSupportsTiles "
    "OfxImageEffectPropSupportsMultiResolution OfxImageEffectPropTemporalClipAccess "
    "OfxImageEffectPluginPropFieldRenderTwiceAlways OfxImageEffectPropMultipleClipDepths "
    "OfxImageEffectPropSupportsMultipleClipPARs OfxImageEffectPluginPropSingleInstance "
    "OfxParamPropEnabled OfxParamPropDefault OfxParamPropMin OfxParamPropMax "
    "OfxParamPropDisplayMin OfxParamPropDisplayMax OfxImageClipPropOptional "
    "OfxImageClipPropIsMask ";
constexpr char kTexts[] =
    " OfxPropLabel OfxPropShortLabel OfxPropLongLabel OfxPropVersionLabel OfxPropPluginDescription "
    "OfxImageEffectPluginPropGrouping OfxImageEffectPluginRenderThreadSafety "
    "OfxImageEffectPropSupportedContexts OfxImageEffectPropSupportedPixelDepths "
    "OfxImageClipPropFieldExtraction OfxImageEffectPropSupportedComponents OfxParamPropHint "
    "OfxParamPropParent OfxParamPropChoiceOption ";
constexpr char kColors[] = " OfxParamPropDefault ";
constexpr char kLists[] =
    " OfxPropVersion OfxImageEffectPropSupportedContexts OfxImageEffectPropSupportedPixelDepths "
    "OfxParamPropChoiceOption OfxParamPropDefault ";

bool IsOneOf(const std::string& names, const std::string& name) {
    return names.find(' ' + name + ' ') != names.npos;
}

/// The named value of a set where the set holds it, of this type and at this place, or may be given
/// it.
template <class T>
T* Find(PropertySet set, const std::string& name, std::size_t index, bool setting) {
    Bag& bag = *reinterpret_cast<Bag*>(set);
    const char* settable = std::is_same_v<T, int>      ? kNumbers
                           : std::is_same_v<T, double> ? kColors
                                                       : kTexts;
    if (setting && IsOneOf(settable, name) && (index == 0 || IsOneOf(kLists, name)) &&
        index == bag[name].size())
        bag[name].emplace_back(T{});
    const auto found = bag.find(name);
    if (found != bag.end() && index < found->second.size())
        if (T* value = std::get_if<T>(&found->second[index])) return value;
    Fault("unknown property, or wrong type or index: " + name, kUnknown);
    return nullptr;
}

template <class T, class From = T>
Status Set(PropertySet set, const char* name, int index, From value) {
    T* place = Find<T>(set, name, index, true);
    if (place == nullptr) return kUnknown;
    *place = value;
    return kOk;
}

template <class T>
Status Get(PropertySet set, const char* name, int index, T* value) {
    const T* found = Find<T>(set, name, index, false);
    if (found == nullptr) return kUnknown;
    *value = *found;
    return kOk;
}

const PropertySuite kProperties = [] {
    PropertySuite suite{};  // what stays null the plug-in does not need
    suite.setString = Set<std::string, const char*>;
    suite.setInt = Set<int>;
    suite.getPointer = Get<void*>;
    suite.getDouble = Get<double>;
    suite.getInt = Get<int>;
    suite.getString = [](PropertySet set, const char* name, int index, char** value) {
        std::string* found = Find<std::string>(set, name, index, false);
        if (found != nullptr) *value = found->data();
        return found == nullptr ? kUnknown : kOk;
    };
    suite.setDoubles = [](PropertySet set, const char* name, int count, const double* values) {
        Status status = kOk;
        for (int i = 0; i < count && status == kOk; ++i)
            status = Set<double>(set, name, i, values[i]);
        return status;
    };
    suite.getInts = [](PropertySet set, const char* name, int count, int* values) {
        Status status = kOk;
        for (int i = 0; i < count && status == kOk; ++i) status = Get(set, name, i, values + i);
        return status;
    };
    return suite;
}();

const ImageEffectSuite kEffects = [] {
    ImageEffectSuite suite{};
    suite.getPropertySet = [](Effect effect, PropertySet* set) {
        *set = HandleOf<PropertySet>(host->bag);
        return IsEffect(effect) ? kOk : kBadHandle;
    };
    suite.getParamSet = [](Effect effect, ParamSet* set) {
        *set = reinterpret_cast<ParamSet>(effect);
        return IsEffect(effect) ? kOk : kBadHandle;
    };
    suite.clipDefine = [](Effect effect, const char* name, PropertySet* set) {
        if (!IsEffect(effect) || current_action != "OfxImageEffectActionDescribeInContext")
            return Fault("clip defined outside its action", kBadHandle);
        TestClip& clip = host->clips[name];
        clip.bag["OfxImageClipPropConnected"] = {0};
        *set = HandleOf<PropertySet>(clip.bag);
        return kOk;
    };
    suite.clipGetHandle = [](Effect effect, const char* name, Clip* clip, PropertySet*) {
        if (!IsEffect(effect) || host->clips.count(name) == 0) return Fault(name, kUnknown);
        *clip = HandleOf<Clip>(host->clips[name]);
        return kOk;
    };
    suite.clipGetPropertySet = [](Clip clip, PropertySet* set) {
        *set = HandleOf<PropertySet>(reinterpret_cast<TestClip*>(clip)->bag);
        return kOk;
    };
    suite.clipGetImage = [](Clip clip, double time, const RectD*, PropertySet* set) {
        TestImage* image = reinterpret_cast<TestClip*>(clip)->image(time);
        if (image == nullptr) return kFailed;
        *set = HandleOf<PropertySet>(image->bag);
        const std::lock_guard lock(mutex);
        images_out.insert(*set);
        return kOk;
    };
    suite.clipReleaseImage = [](PropertySet set) {
        const std::lock_guard lock(mutex);
        const auto out = images_out.find(set);
        if (out == images_out.end()) throw std::logic_error("released an image that was not out");
        images_out.erase(out);
        return kOk;
    };
    suite.clipGetRegionOfDefinition = [](Clip clip, double, RectD* region) {
        *region = reinterpret_cast<TestClip*>(clip)->region;
        return kOk;
    };
    suite.abort = [](Effect effect) { return IsEffect(effect) && host->stops ? 1 : 0; };
    return suite;
}();

Status Read(Param handle, double time, va_list results) {
    const auto& param = *reinterpret_cast<TestParam*>(handle);
    if (host->refusesValues) return kFailed;
    auto key = param.keys.upper_bound(time);
    if (key != param.keys.begin()) --key;
    for (std::size_t i = 0; const Value& value : param.bag.at("OfxParamPropDefault")) {
        const double* keyed = param.keys.empty() ? nullptr : &key->second[i++];
        if (const int* whole = std::get_if<int>(&value))
            *va_arg(results, int*) = keyed ? int(*keyed) : *whole;
        else
            *va_arg(results, double*) = keyed ? *keyed : std::get<double>(value);
    }
    return kOk;
}

Status GetValue(Param param, ...) {
    if (current_action.starts_with("OfxImageEffectAction"))
        return Fault("value read without a time", kFailed);
    va_list results;
    va_start(results, param);
    const Status status = Read(param, 0, results);
    va_end(results);
    return status;
}

Status GetValueAtTime(Param param, double time, ...) {
    va_list results;
    va_start(results, time);
    const Status status = Read(param, time, results);
    va_end(results);
    return status;
}

/// As the interface has it, the plug-in hears of its own change before this returns.
Status SetValue(Param handle, ...) {
    auto& param = *reinterpret_cast<TestParam*>(handle);
    const bool isWhole = param.type == "OfxParamTypeChoice" ||
                         param.type == "OfxParamTypeBoolean" || param.type == "OfxParamTypeInteger";
    if (current_action != "OfxActionInstanceChanged" ||
        (!isWhole && param.type != "OfxParamTypeRGB"))
        return Fault("value set", kFailed);
    std::vector<double> value;
    va_list values;
    va_start(values, handle);
    if (isWhole) value.push_back(va_arg(values, int));
    for (int i = 0; i < 3 && !isWhole; ++i) value.push_back(va_arg(values, double));
    va_end(values);
    param.keys = {{0.0, value}};
    host->log.push_back(param.name);
    host->Change(param.name, "OfxChangePluginEdited");
    return kOk;
}

const ParameterSuite kParameters = [] {
    ParameterSuite suite{};
    suite.define = [](ParamSet set, const char* type, const char* name, PropertySet* properties) {
        static const std::set<std::string> kTypes{"OfxParamTypeGroup",   "OfxParamTypeChoice",
                                                  "OfxParamTypeRGB",     "OfxParamTypeBoolean",
                                                  "OfxParamTypeInteger", "OfxParamTypePushButton"};
        if (!IsEffect(set) || kTypes.count(type) == 0 || host->params.count(name) != 0)
            return Fault(std::string("parameter ") + name + " of type " + type, kBadValue);
        host->order.emplace_back(name);
        TestParam& param = host->params[name] = {name, type, {{"OfxParamPropEnabled", {1}}}, {}};
        *properties = HandleOf<PropertySet>(param.bag);
        return kOk;
    };
    suite.getHandle = [](ParamSet set, const char* name, Param* param, PropertySet* properties) {
        if (!IsEffect(set) || host->params.count(name) == 0) return Fault(name, kUnknown);
        *param = HandleOf<Param>(host->params[name]);
        if (properties != nullptr) *properties = HandleOf<PropertySet>(host->params[name].bag);
        return kOk;
    };
    suite.getValue = GetValue;
    suite.getValueAtTime = GetValueAtTime;
    suite.setValue = SetValue;
    suite.editBegin = [](ParamSet, const char* label) {
        host->log.push_back(std::string("begin ") + label);
        return kOk;
    };
    suite.editEnd = [](ParamSet) {
        host->log.emplace_back("end");
        return kOk;
    };
    return suite;
}();

Status ShowMessage(void* handle, const char* type, const char*, const char* format, ...) {
    va_list values;
    va_start(values, format);
    if (IsEffect(handle) && format == std::string("%s"))
        host->log.push_back(std::string(type) + ": " + va_arg(values, const char*));
    va_end(values);
    return kOk;
}

const MessageSuite kMessages{ShowMessage};

/// Lends a thread fewer than it is asked for, so that none can count on its share.
Status RunThreads(void (*work)(unsigned, unsigned, void*), unsigned count, void* argument) {
    if (on_lent_thread) return Fault("threads asked for on a lent one", kFailed);
    if (count > host->cpus) return Fault("more threads than there are", kFailed);
    if (host->lendsNone) return kFailed;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i + 1 < count; ++i)
        threads.emplace_back([=] {
            on_lent_thread = true;
            work(i, count - 1, argument);
        });
    for (std::thread& thread : threads) thread.join();
    ++host->threadRuns;
    return kOk;
}

const ThreadSuite kThreads = [] {
    ThreadSuite suite{};
    suite.run = RunThreads;
    suite.countCpus = [](unsigned* count) {
        *count = host->cpus;
        return kOk;
    };
    suite.isSpawnedThread = [] { return on_lent_thread ? 1 : 0; };
    return suite;
}();

const void* FetchSuite(PropertySet, const char* name, int version) {
    static const std::map<std::string, const void*> kSuites{{"OfxPropertySuite", &kProperties},
                                                            {"OfxImageEffectSuite", &kEffects},
                                                            {"OfxParameterSuite", &kParameters},
                                                            {"OfxMessageSuite", &kMessages},
                                                            {"OfxMultiThreadSuite", &kThreads}};
    if (current_action != "OfxActionLoad" || version != 1) Fault(name, kFailed);
    return host->missingSuites.count(name) != 0 ? nullptr : kSuites.at(name);
}

}  // namespace

TestImage::TestImage(const Plan& plan)
    : bounds_(plan.bounds),
      pixelBytes_(plan.depth == "OfxBitDepthByte"    ? 4
                  : plan.depth == "OfxBitDepthShort" ? 8
                                                     : 16),
      rowBytes_((bounds_.x2 - bounds_.x1) * pixelBytes_ + plan.padding),
      topDown_(plan.topDown),
      memory_(2 * kGuard + rowBytes_ * (bounds_.y2 - bounds_.y1), 0xA5) {
    const std::vector<Value> edges{bounds_.x1, bounds_.y1, bounds_.x2, bounds_.y2};
    bag = {{"OfxImagePropData", {static_cast<void*>(At(bounds_.x1, bounds_.y1))}},
           {"OfxImagePropBounds", edges},
           {"OfxImagePropRegionOfDefinition", edges},
           {"OfxImagePropRowBytes", {topDown_ ? -rowBytes_ : rowBytes_}},
           {"OfxImageEffectPropPixelDepth", {plan.depth}},
           {"OfxImageEffectPropComponents", {std::string("OfxImageComponentRGBA")}},
           {"OfxImageEffectPropPreMultiplication", {plan.alpha}},
           {"OfxImageEffectPropRenderScale", {plan.scale, plan.scale}}};
}

unsigned char* TestImage::At(int x, int y) {
    const int row = topDown_ ? bounds_.y2 - 1 - y : y - bounds_.y1;
    return memory_.data() + kGuard + row * rowBytes_ + (x - bounds_.x1) * pixelBytes_;
}

bool TestImage::IsKeptOutside(const RectI& window) {
    for (int y = window.y1; y < window.y2; ++y)
        std::memcpy(before_.data() + (At(window.x1, y) - memory_.data()), At(window.x1, y),
                    (window.x2 - window.x1) * pixelBytes_);
    return memory_ == before_;
}

TestHost::TestHost(const std::string& context, std::set<std::string> missing, bool refuses)
    : missingSuites(std::move(missing)),
      refusesValues(refuses),
      library_(dlopen(VELTRANE_PLUGIN, RTLD_NOW | RTLD_LOCAL)),
      record_{HandleOf<PropertySet>(bag), FetchSuite} {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    const auto count = reinterpret_cast<int (*)()>(dlsym(library_, "OfxGetNumberOfPlugins"));
    const auto get =
        reinterpret_cast<const PluginRecord* (*)(int)>(dlsym(library_, "OfxGetPlugin"));
    if (count() != 1 || get(-1) != nullptr || get(1) != nullptr)
        throw std::runtime_error("the library should hold one plug-in");
    host = this;
    plugin = get(0);
    plugin->setHost(&record_);
    loaded = Send("OfxActionLoad");
    Send("OfxActionDescribe");
    Bag in{{"OfxImageEffectPropContext", {context}}};
    Send("OfxImageEffectActionDescribeInContext", &in);
    bag["OfxImageEffectPropContext"] = {context};
    Send("OfxActionCreateInstance");
}

TestHost::~TestHost() {
    Send("OfxActionDestroyInstance");
    Send("OfxActionUnload");
    dlclose(library_);
}

Status TestHost::Send(const char* action, Bag* in, Bag* out) {
    const std::string outer = std::exchange(current_action, action);
    const Status status = plugin->main(action, this, reinterpret_cast<PropertySet>(in),
                                       reinterpret_cast<PropertySet>(out));
    current_action = outer;
    return status;
}

Status TestHost::Change(const std::string& param, const std::string& reason, double time) {
    Bag in{{"OfxPropType", {std::string("OfxTypeParameter")}},
           {"OfxPropName", {param}},
           {"OfxPropChangeReason", {reason}},
           {"OfxPropTime", {time}}};
    return Send("OfxActionInstanceChanged", &in);
}

Status TestHost::Render(double time, const RectI& w) {
    Bag in{{"OfxPropTime", {time}}, {"OfxImageEffectPropRenderWindow", {w.x1, w.y1, w.x2, w.y2}}};
    return Send("OfxImageEffectActionRender", &in);
}

std::vector<std::string> TestHost::TakeFaults() {
    if (!images_out.empty()) faults.emplace_back("images were not released");
    images_out.clear();
    return std::exchange(faults, {});
}

}  // namespace veltrane::ofx::test
