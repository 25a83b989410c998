#include "tests/hosts/ofx/test_host.h"

#include <dlfcn.h>
#include <sanitizer/asan_interface.h>

#include <cstdarg>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <utility>

// Names are written out here once more: a name misspelled in the plug-in's own header would
// otherwise pass for right.

namespace veltrane::ofx::test {

namespace {

TestHost* host = nullptr;
std::mutex mutex;  ///< of the faults and the images that are out
std::vector<std::string> faults;
std::multiset<const TestImage*> images_out;
thread_local std::string current_action;

Status Fault(const std::string& what, Status status) {
    const std::lock_guard lock(mutex);
    faults.push_back(current_action + ": " + what);
    return status;
}

template <class T>
Property* Find(PropertySet set, const char* name) {
    if (set == nullptr) {
        Fault("null property set", kBadHandle);
        return nullptr;
    }
    auto& properties = reinterpret_cast<Bag*>(set)->properties;
    const auto found = properties.find(name);
    if (found == properties.end()) {
        Fault(std::string("unknown property ") + name, kUnknown);
    } else if (!std::holds_alternative<T>(found->second.values.at(0))) {
        Fault(std::string("wrong type for ") + name, kBadValue);
    } else {
        return &found->second;
    }
    return nullptr;
}

template <class T>
Status Set(PropertySet set, const char* name, int index, T value) {
    Property* property = Find<T>(set, name);
    if (property == nullptr) return kUnknown;
    const int count = static_cast<int>(property->values.size());
    if (index < 0 || index > count || (index == count && !property->grows))
        return Fault(std::string("index of ") + name, kBadIndex);
    if (index == count) property->values.emplace_back();
    property->values[index] = std::move(value);
    return kOk;
}

template <class T>
Status Get(PropertySet set, const char* name, int index, T* value) {
    const Property* property = Find<T>(set, name);
    if (property == nullptr) return kUnknown;
    if (index < 0 || index >= static_cast<int>(property->values.size()))
        return Fault(std::string("index of ") + name, kBadIndex);
    *value = std::get<T>(property->values[index]);
    return kOk;
}

Status SetString(PropertySet set, const char* name, int index, const char* value) {
    return Set(set, name, index, std::string(value));
}

/// The host owns the text for as long as the property keeps it.
Status GetString(PropertySet set, const char* name, int index, char** value) {
    Property* property = Find<std::string>(set, name);
    if (property == nullptr || index != 0) return kUnknown;
    *value = std::get<std::string>(property->values[0]).data();
    return kOk;
}

Status SetDoubles(PropertySet set, const char* name, int count, const double* values) {
    Status status = kOk;
    for (int i = 0; i < count && status == kOk; ++i) status = Set(set, name, i, values[i]);
    return status;
}

Status GetInts(PropertySet set, const char* name, int count, int* values) {
    Status status = kOk;
    for (int i = 0; i < count && status == kOk; ++i) status = Get(set, name, i, values + i);
    return status;
}

const PropertySuite kProperties = [] {
    PropertySuite suite{};  // what stays null the plug-in does not need
    suite.setString = SetString;
    suite.setInt = Set<int>;
    suite.setDoubles = SetDoubles;
    suite.getPointer = Get<void*>;
    suite.getString = GetString;
    suite.getDouble = Get<double>;
    suite.getInt = Get<int>;
    suite.getInts = GetInts;
    return suite;
}();

const Property kText{{std::string()}};
const Property kTexts{{std::string()}, true};
const Property kNumber{{0}};

Bag EffectBag() {
    return {{{"OfxPropLabel", kText},
             {"OfxPropShortLabel", kText},
             {"OfxPropLongLabel", kText},
             {"OfxPropVersion", {{0}, true}},
             {"OfxPropVersionLabel", kText},
             {"OfxPropPluginDescription", kText},
             {"OfxImageEffectPluginPropGrouping", kText},
             {"OfxImageEffectPluginRenderThreadSafety", kText},
             {"OfxImageEffectPropSupportedContexts", kTexts},
             {"OfxImageEffectPropSupportedPixelDepths", kTexts},
             {"OfxImageEffectPluginPropHostFrameThreading", {{1}}},
             {"OfxImageEffectPropSupportsTiles", {{1}}},
             {"OfxImageEffectPropSupportsMultiResolution", {{1}}},
             {"OfxImageEffectPluginPropFieldRenderTwiceAlways", {{1}}},
             {"OfxImageEffectPropTemporalClipAccess", kNumber},
             {"OfxImageEffectPropMultipleClipDepths", kNumber},
             {"OfxImageEffectPropSupportsMultipleClipPARs", kNumber},
             {"OfxImageEffectPluginPropSingleInstance", kNumber}}};
}

Bag ClipBag() {
    return {{{"OfxImageEffectPropSupportedComponents", kTexts},
             {"OfxImageEffectPropSupportsTiles", {{1}}},
             {"OfxImageEffectPropTemporalClipAccess", kNumber},
             {"OfxImageClipPropFieldExtraction", kText},
             {"OfxImageEffectPropPreMultiplication", kText}}};
}

bool HoldsWholeNumbers(const std::string& type) {
    return type == "OfxParamTypeInteger" || type == "OfxParamTypeBoolean" ||
           type == "OfxParamTypeChoice";
}

Bag ParamBag(const std::string& type) {
    Bag bag{{{"OfxPropLabel", kText},
             {"OfxParamPropHint", kText},
             {"OfxParamPropParent", kText},
             {"OfxParamPropEnabled", {{1}}}}};
    if (HoldsWholeNumbers(type)) bag.properties["OfxParamPropDefault"] = kNumber;
    if (type == "OfxParamTypeRGB") bag.Put("OfxParamPropDefault", {0.0, 0.0, 0.0});
    if (type == "OfxParamTypeChoice") bag.properties["OfxParamPropChoiceOption"] = kTexts;
    if (type == "OfxParamTypeInteger")
        for (const char* limit : {"Min", "Max", "DisplayMin", "DisplayMax"})
            bag.properties[std::string("OfxParamProp") + limit] = kNumber;
    return bag;
}

TestEffect* EffectOf(void* handle) {
    if (handle == &host->instance || handle == &host->descriptor)
        return static_cast<TestEffect*>(handle);
    Fault("unknown effect", kBadHandle);
    return nullptr;
}

PropertySet Handle(Bag& bag) {
    return reinterpret_cast<PropertySet>(&bag);
}

Status GetEffectProperties(Effect handle, PropertySet* set) {
    TestEffect* effect = EffectOf(handle);
    if (effect == nullptr) return kBadHandle;
    *set = Handle(effect->bag);
    return kOk;
}

Status GetParamSet(Effect handle, ParamSet* set) {
    *set = reinterpret_cast<ParamSet>(handle);
    return EffectOf(handle) == nullptr ? kBadHandle : kOk;
}

Status DefineClip(Effect handle, const char* name, PropertySet* set) {
    if (EffectOf(handle) != &host->descriptor ||
        current_action.find("Context") == current_action.npos)
        return Fault("clip defined outside its action", kBadHandle);
    TestClip& clip = host->descriptor.clips[name];
    clip.bag = ClipBag();
    *set = Handle(clip.bag);
    return kOk;
}

Status GetClip(Effect handle, const char* name, Clip* clip, PropertySet* set) {
    TestEffect* effect = EffectOf(handle);
    if (effect != &host->instance || effect->clips.count(name) == 0)
        return Fault(std::string("no clip ") + name, kBadHandle);
    TestClip& found = effect->clips[name];
    *clip = reinterpret_cast<Clip>(&found);
    if (set != nullptr) *set = Handle(found.bag);
    return kOk;
}

Status GetClipProperties(Clip clip, PropertySet* set) {
    *set = Handle(reinterpret_cast<TestClip*>(clip)->bag);
    return kOk;
}

Status GetImage(Clip clip, double time, const RectD*, PropertySet* set) {
    TestImage* image = reinterpret_cast<TestClip*>(clip)->image(time);
    *set = nullptr;
    if (image == nullptr) return kFailed;
    const std::lock_guard lock(mutex);
    images_out.insert(image);
    *set = Handle(image->bag);
    return kOk;
}

Status ReleaseImage(PropertySet set) {
    const std::lock_guard lock(mutex);
    for (auto out = images_out.begin(); out != images_out.end(); ++out)
        if (reinterpret_cast<const Bag*>(set) == &(*out)->bag) {
            images_out.erase(out);
            return kOk;
        }
    faults.push_back("an image was released that was not out");
    return kBadHandle;
}

Status GetRegion(Clip clip, double, RectD* region) {
    *region = reinterpret_cast<TestClip*>(clip)->region;
    return kOk;
}

int Aborts(Effect handle) {
    return EffectOf(handle)->stops ? 1 : 0;
}

const ImageEffectSuite kEffects{GetEffectProperties,
                                GetParamSet,
                                DefineClip,
                                GetClip,
                                GetClipProperties,
                                GetImage,
                                ReleaseImage,
                                GetRegion,
                                Aborts,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr};

Status DefineParam(ParamSet handle, const char* type, const char* name, PropertySet* set) {
    static const std::set<std::string> kTypes{"OfxParamTypeGroup",   "OfxParamTypeChoice",
                                              "OfxParamTypeRGB",     "OfxParamTypeBoolean",
                                              "OfxParamTypeInteger", "OfxParamTypePushButton"};
    TestEffect* effect = EffectOf(handle);
    if (effect != &host->descriptor || kTypes.count(type) == 0 || effect->params.count(name) != 0)
        return Fault(std::string("parameter ") + name + " of type " + type, kBadValue);
    effect->order.emplace_back(name);
    TestParam& param = effect->params[name];
    param = {type, ParamBag(type), {}};
    *set = Handle(param.bag);
    return kOk;
}

Status GetParam(ParamSet handle, const char* name, Param* param, PropertySet* set) {
    TestEffect* effect = EffectOf(handle);
    if (effect == nullptr || effect->params.count(name) == 0)
        return Fault(std::string("no parameter ") + name, kUnknown);
    TestParam& found = effect->params[name];
    *param = reinterpret_cast<Param>(&found);
    if (set != nullptr) *set = Handle(found.bag);
    return kOk;
}

Status Read(Param handle, double time, va_list values) {
    const auto& param = *reinterpret_cast<TestParam*>(handle);
    if (host->refusesValues) return kFailed;
    auto key = param.keys.upper_bound(time);
    if (key != param.keys.begin()) --key;
    for (const double value : key->second) {
        if (HoldsWholeNumbers(param.type)) {
            *va_arg(values, int*) = static_cast<int>(value);
        } else {
            *va_arg(values, double*) = value;
        }
    }
    return kOk;
}

Status GetValue(Param param, ...) {
    if (current_action != "OfxActionInstanceChanged" && current_action != "OfxActionCreateInstance")
        return Fault("value read without a time", kFailed);
    va_list values;
    va_start(values, param);
    const Status status = Read(param, 0, values);
    va_end(values);
    return status;
}

Status GetValueAtTime(Param param, double time, ...) {
    va_list values;
    va_start(values, time);
    const Status status = Read(param, time, values);
    va_end(values);
    return status;
}

/// As the interface has it, the plug-in hears of its own change before this returns.
Status SetValue(Param handle, ...) {
    if (current_action != "OfxActionInstanceChanged") return Fault("value set", kFailed);
    auto& param = *reinterpret_cast<TestParam*>(handle);
    if (param.type != "OfxParamTypeRGB") return Fault("value of a " + param.type, kFailed);
    va_list values;
    va_start(values, handle);
    std::vector<double> color;
    for (int i = 0; i < 3; ++i) color.push_back(va_arg(values, double));
    va_end(values);
    param.keys = {{0.0, color}};
    for (const auto& [name, candidate] : host->instance.params)
        if (&candidate == &param) {
            host->pluginEdits.push_back(name);
            host->Change(name, "OfxChangePluginEdited");
            return kOk;
        }
    return Fault("unknown parameter", kBadHandle);
}

Status BeginEdit(ParamSet, const char* label) {
    host->pluginEdits.push_back(std::string("begin ") + label);
    return kOk;
}

Status EndEdit(ParamSet) {
    host->pluginEdits.emplace_back("end");
    return kOk;
}

const ParameterSuite kParameters = [] {
    ParameterSuite suite{};
    suite.define = DefineParam;
    suite.getHandle = GetParam;
    suite.getValue = GetValue;
    suite.getValueAtTime = GetValueAtTime;
    suite.setValue = SetValue;
    suite.editBegin = BeginEdit;
    suite.editEnd = EndEdit;
    return suite;
}();

Status ShowMessage(void* handle, const char* type, const char*, const char* format, ...) {
    char text[500];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    EffectOf(handle);
    host->messages.push_back(std::string(type) + ": " + text);
    return kOk;
}

const MessageSuite kMessages{ShowMessage};

const void* FetchSuite(PropertySet, const char* name, int version) {
    static const std::map<std::string, const void*> kSuites{{"OfxPropertySuite", &kProperties},
                                                            {"OfxImageEffectSuite", &kEffects},
                                                            {"OfxParameterSuite", &kParameters},
                                                            {"OfxMessageSuite", &kMessages}};
    if (current_action != "OfxActionLoad" || version != 1 || kSuites.count(name) == 0)
        Fault(std::string("fetched ") + name, kFailed);
    return host->missingSuites.count(name) != 0 ? nullptr : kSuites.at(name);
}

int PixelBytes(const std::string& depth) {
    return depth == "OfxBitDepthByte" ? 4 : depth == "OfxBitDepthShort" ? 8 : 16;
}

constexpr int kGuard = 64;

}  // namespace

TestImage::TestImage(const Plan& plan)
    : bounds_(plan.bounds),
      pixelBytes_(PixelBytes(plan.depth)),
      rowBytes_((bounds_.x2 - bounds_.x1) * pixelBytes_ + plan.padding),
      topDown_(plan.topDown),
      memory_(2 * kGuard + rowBytes_ * (bounds_.y2 - bounds_.y1), 0xA5) {
    const std::vector<Value> edges{bounds_.x1, bounds_.y1, bounds_.x2, bounds_.y2};
    bag.Put("OfxImagePropData", {static_cast<void*>(At(bounds_.x1, bounds_.y1))});
    bag.Put("OfxImagePropBounds", edges);
    bag.Put("OfxImagePropRegionOfDefinition", edges);
    bag.Put("OfxImagePropRowBytes", {topDown_ ? -rowBytes_ : rowBytes_});
    bag.Put("OfxImageEffectPropPixelDepth", {plan.depth});
    bag.Put("OfxImageEffectPropComponents", {std::string("OfxImageComponentRGBA")});
    bag.Put("OfxImageEffectPropPreMultiplication", {plan.alpha});
    bag.Put("OfxImageEffectPropRenderScale", {plan.scale, plan.scale});
}

unsigned char* TestImage::At(int x, int y) {
    const int row = topDown_ ? bounds_.y2 - 1 - y : y - bounds_.y1;
    return memory_.data() + kGuard + row * rowBytes_ + (x - bounds_.x1) * pixelBytes_;
}

void TestImage::SetGuard(bool closed) {
    unsigned char* at = memory_.data();
    const int filled = (bounds_.x2 - bounds_.x1) * pixelBytes_;
    if (!closed) return ASAN_UNPOISON_MEMORY_REGION(at, memory_.size());
    ASAN_POISON_MEMORY_REGION(at, memory_.size());
    for (int y = bounds_.y1; y < bounds_.y2; ++y)
        ASAN_UNPOISON_MEMORY_REGION(At(bounds_.x1, y), filled);
}

void TestImage::HandOut() {
    SetGuard(false);
    before_ = memory_;
    SetGuard(true);
}

bool TestImage::IsKeptOutside(const RectI& window) {
    SetGuard(false);
    for (int y = window.y1; y < window.y2; ++y)
        std::memcpy(before_.data() + (At(window.x1, y) - memory_.data()), At(window.x1, y),
                    (window.x2 - window.x1) * pixelBytes_);
    return memory_ == before_;
}

TestHost::TestHost(const std::string& context, std::set<std::string> missing)
    : missingSuites(std::move(missing)), library_(dlopen(VELTRANE_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    const auto count = reinterpret_cast<int (*)()>(dlsym(library_, "OfxGetNumberOfPlugins"));
    const auto get =
        reinterpret_cast<const PluginRecord* (*)(int)>(dlsym(library_, "OfxGetPlugin"));
    if (count() != 1 || get(-1) != nullptr || get(1) != nullptr)
        throw std::runtime_error("the library should hold one plug-in");
    plugin = get(0);
    host = this;
    record_ = {Handle(properties_), FetchSuite};
    plugin->setHost(&record_);
    loaded = Send("OfxActionLoad", nullptr);
    if (loaded == kOk) MakeInstance(context);
}

TestHost::~TestHost() {
    if (loaded == kOk) {
        Send("OfxActionDestroyInstance", &instance);
        Send("OfxActionUnload", nullptr);
    }
    dlclose(library_);
}

void TestHost::MakeInstance(const std::string& context) {
    descriptor.bag = EffectBag();
    Send("OfxActionDescribe", &descriptor);
    Bag in;
    in.Put("OfxImageEffectPropContext", {context});
    Send("OfxImageEffectActionDescribeInContext", &descriptor, &in);
    instance.params = descriptor.params;
    instance.clips = descriptor.clips;
    for (auto& [name, param] : instance.params) {
        std::vector<double> start;
        if (param.bag.properties.count("OfxParamPropDefault") != 0)
            for (const Value& value : param.bag.properties["OfxParamPropDefault"].values)
                start.push_back(value.index() == 0 ? std::get<int>(value)
                                                   : std::get<double>(value));
        param.keys = {{0.0, start}};
    }
    Send("OfxActionCreateInstance", &instance);
}

Status TestHost::Send(const char* action, TestEffect* effect, Bag* in, Bag* out) {
    const std::string outer = std::exchange(current_action, action);
    const Status status = plugin->main(action, effect, reinterpret_cast<PropertySet>(in),
                                       reinterpret_cast<PropertySet>(out));
    current_action = outer;
    return status;
}

Status TestHost::Change(const std::string& param, const char* reason, double time) {
    Bag in;
    in.Put("OfxPropType", {std::string("OfxTypeParameter")});
    in.Put("OfxPropName", {param});
    in.Put("OfxPropChangeReason", {std::string(reason)});
    in.Put("OfxPropTime", {time});
    in.Put("OfxImageEffectPropRenderScale", {1.0, 1.0});
    return Send("OfxActionInstanceChanged", &instance, &in);
}

Status TestHost::Render(double time, const RectI& window) {
    Bag in;
    in.Put("OfxPropTime", {time});
    in.Put("OfxImageEffectPropFieldToRender", {std::string("OfxFieldNone")});
    in.Put("OfxImageEffectPropRenderWindow", {window.x1, window.y1, window.x2, window.y2});
    in.Put("OfxImageEffectPropRenderScale", {1.0, 1.0});
    return Send("OfxImageEffectActionRender", &instance, &in);
}

std::vector<std::string> TestHost::TakeFaults() {
    if (!images_out.empty()) faults.emplace_back("images were not released");
    images_out.clear();
    return std::exchange(faults, {});
}

}  // namespace veltrane::ofx::test
