// The library's entry points and the actions that a host sends to the effect.

#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "hosts/ofx/controls.h"
#include "hosts/ofx/describe.h"
#include "hosts/ofx/host.h"
#include "hosts/ofx/inputs.h"
#include "hosts/ofx/render.h"

#ifdef _WIN32
#define VELTRANE_OFX_EXPORT __declspec(dllexport)
#else
#define VELTRANE_OFX_EXPORT __attribute__((visibility("default")))
#endif

namespace veltrane::ofx {

namespace {

const HostRecord* host_record = nullptr;

/// What an action may use.
struct Call {
    Effect effect;
    PropertySet in;
    PropertySet out;

    double Time() const { return Properties(in).Double(prop::kTime, 0); }
};

Status Load(const Call&) {
    FetchSuites(host_record);
    return kOk;
}

Status Unload(const Call&) {
    ForgetSuites();
    return kOk;
}

Status DescribeEffect(const Call& call) {
    Describe(call.effect);
    return kOk;
}

Status DescribeContext(const Call& call) {
    DescribeInContext(call.effect, Properties(call.in).String(prop::kContext));
    return kOk;
}

Status CreateInstance(const Call& call) {
    UpdateAllGoverned(call.effect);
    UpdateLabels(call.effect, std::nullopt);
    return kOk;
}

void Pick(const Call& call) {
    if (const auto found = FindScreen(call.effect, call.Time())) {
        SetKey(call.effect, found->color, found->screen, call.Time());
    } else {
        ShowMessage(call.effect, value::kMessageMessage,
                    "No green or blue screen was found in this frame; pick its colour with the "
                    "eyedropper.");
    }
}

const char* WhyNothingIsFound(ShotKind kind) {
    switch (kind) {
        case ShotKind::Usual:
            return nullptr;
        case ShotKind::NoScreen:
            return "No green or blue screen was found in this frame; pick its colour first.";
        case ShotKind::LittleScreen:
            return "Hardly any of the screen is seen in this frame; find settings on another one.";
        case ShotKind::NoSubject:
            return "No subject is seen in this frame; find settings on another one.";
    }
    return nullptr;
}

void Find(const Call& call) {
    const TunedSettings found = FindSettings(call.effect, call.Time());
    if (const char* reason = WhyNothingIsFound(found.kind))
        ShowMessage(call.effect, value::kMessageMessage, reason);
    else
        SetFound(call.effect, found.settings, call.Time());
}

/// What the plug-in itself sets comes back as one more change and is not acted upon.
Status InstanceChanged(const Call& call) {
    const Properties in(call.in);
    const std::string_view reason = in.String(prop::kChangeReason);
    if (in.String(prop::kType) != value::kTypeParameter || reason == value::kPluginEdited)
        return kReplyDefault;
    const std::string_view name = in.String(prop::kName);
    UpdateGoverned(call.effect, name, call.Time());
    const bool picks = name == kPickButton, finds = name == kFindButton;
    const bool colors = name == ParamName(ParameterOf(ParameterId::KeyColor));
    if (reason == value::kUserEdited) {
        if (picks) Pick(call);
        if (finds) Find(call);
        if (colors) FollowKeyColor(call.effect, call.Time());
    }
    if (picks || finds || colors || name == ParamName(ParameterOf(ParameterId::Screen)))
        UpdateLabels(call.effect, call.Time());
    return kOk;
}

Status GetClipPreferences(const Call& call) {
    PropertySet source = nullptr;
    Require(Host().effect->clipGetPropertySet(FindClip(call.effect, kSourceClip), &source));
    const AlphaState alpha = AlphaOf(Properties(source).String(prop::kPremultiplication));
    const bool straight = DeliveredAlpha(alpha) == AlphaState::kStraight;
    Properties(call.out).Set(prop::kPremultiplication,
                             straight ? value::kStraight : value::kPremultiplied);
    return kOk;
}

/// All clips over the whole source, whatever part of the output is wanted.
Status GetRegionsOfInterest(const Call& call) {
    RectD whole{};
    const Clip source = FindClip(call.effect, kSourceClip);
    if (Host().effect->clipGetRegionOfDefinition(source, call.Time(), &whole) != kOk)
        return kReplyDefault;
    const double edges[] = {whole.x1, whole.y1, whole.x2, whole.y2};
    const std::string prefix = prop::kRegionOfInterest;
    Properties(call.out).Set((prefix + kSourceClip).c_str(), edges, 4);
    for (const InputClip& input : kInputClips)
        if (IsConnected(call.effect, input))
            Properties(call.out).Set((prefix + input.name).c_str(), edges, 4);
    return kOk;
}

Status IsIdentity(const Call& call) {
    if (ReadSettings(call.effect, call.Time()).view != View::Source) return kReplyDefault;
    Properties out(call.out);
    const double time = call.Time();
    out.Set(prop::kName, kSourceClip);
    out.Set(prop::kTime, &time, 1);
    return kOk;
}

Status RenderWindow(const Call& call) {
    const auto window = Properties(call.in).Rect(prop::kRenderWindow);
    if (!window) return kBadValue;
    Render(call.effect, call.Time(), *window);
    return kOk;
}

struct Action {
    const char* name;
    Status (*run)(const Call&);
};

constexpr Action kActions[] = {
    {action::kLoad, Load},
    {action::kUnload, Unload},
    {action::kDescribe, DescribeEffect},
    {action::kDescribeInContext, DescribeContext},
    {action::kCreateInstance, CreateInstance},
    {action::kInstanceChanged, InstanceChanged},
    {action::kClipPreferences, GetClipPreferences},
    {action::kRegionsOfInterest, GetRegionsOfInterest},
    {action::kIsIdentity, IsIdentity},
    {action::kRender, RenderWindow},
};

/// No exception passes into the host: each becomes a status, and a message where it has words.
Status Run(const Action& action, const Call& call) {
    try {
        return action.run(call);
    } catch (const Refusal& refusal) {
        return refusal.status;
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    } catch (const std::exception& error) {
        ShowMessage(call.effect, value::kMessageError, error.what());
        return kFailed;
    }
}

Status Main(const char* name, const void* handle, PropertySet in, PropertySet out) {
    if (name == nullptr) return kBadValue;
    const Call call{static_cast<Effect>(const_cast<void*>(handle)), in, out};
    for (const Action& action : kActions)
        if (std::string_view(name) == action.name) return Run(action, call);
    return kReplyDefault;
}

void SetHost(HostRecord* host) {
    host_record = host;
}

const PluginRecord kPlugin{kApi,    1,   "org.veltrane.VeltraneGreen", kMajorVersion, kMinorVersion,
                           SetHost, Main};

}  // namespace

}  // namespace veltrane::ofx

extern "C" {

VELTRANE_OFX_EXPORT int OfxGetNumberOfPlugins() {
    return 1;
}

VELTRANE_OFX_EXPORT const veltrane::ofx::PluginRecord* OfxGetPlugin(int index) {
    return index == 0 ? &veltrane::ofx::kPlugin : nullptr;
}

}  // extern "C"
