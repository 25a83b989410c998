#include "hosts/ofx/describe.h"

#include <string>

#include "hosts/ofx/controls.h"
#include "hosts/ofx/host.h"
#include "hosts/ofx/inputs.h"

namespace veltrane::ofx {

namespace {

constexpr char kName[] = "VeltraneGreen";

Properties DefineClip(Effect descriptor, const char* name) {
    PropertySet set = nullptr;
    Require(Host().effect->clipDefine(descriptor, name, &set));
    Properties clip(set);
    clip.Set(prop::kSupportedComponents, value::kRgba);
    clip.Set(prop::kSupportsTiles, 0);
    clip.Set(prop::kTemporalClipAccess, 0);
    // Both fields woven into one frame: the keyer always gets whole frames.
    clip.Set(prop::kFieldExtraction, value::kFieldBoth);
    return clip;
}

Properties DefineParam(ParamSet params, const char* type, const std::string& name,
                       std::string_view label, const char* hint) {
    PropertySet set = nullptr;
    Require(Host().parameter->define(params, type, name.c_str(), &set));
    Properties param(set);
    param.Set(prop::kLabel, std::string(label).c_str());
    param.Set(prop::kHint, hint);
    return param;
}

const char* TypeOf(ParameterKind kind) {
    switch (kind) {
        case ParameterKind::Group:
            return value::kGroup;
        case ParameterKind::Choice:
            return value::kChoice;
        case ParameterKind::Color:
            return value::kRgb;
        case ParameterKind::Switch:
            return value::kBoolean;
        case ParameterKind::Integer:
            return value::kInteger;
    }
    return "";
}

void SetDefault(Properties& param, const Parameter& row) {
    if (row.kind == ParameterKind::Group) return;
    if (row.kind == ParameterKind::Color) {
        const double channel = row.defaultValue;
        const double color[] = {channel, channel, channel};
        param.Set(prop::kDefault, color, 3);
    } else {
        param.Set(prop::kDefault, row.defaultValue);
    }
}

void SetRange(Properties& param, const Parameter& row) {
    if (row.kind != ParameterKind::Integer) return;
    param.Set(prop::kMin, row.minimum);
    param.Set(prop::kMax, row.maximum);
    param.Set(prop::kDisplayMin, row.minimum);
    param.Set(prop::kDisplayMax, row.maximum);
}

void DefineRow(ParamSet params, const Parameter& row) {
    Properties param =
        DefineParam(params, TypeOf(row.kind), ParamName(row), LabelOf(row), row.help);
    for (const ChoiceEntry& entry : row.entries)
        if (entry.hosts.Contains(Host::OpenFx))
            param.Set(prop::kChoiceOption, std::string(Label(entry.key)).c_str(), entry.number);
    SetDefault(param, row);
    SetRange(param, row);
    if (const Parameter* group = GroupOf(row)) param.Set(prop::kParent, ParamName(*group).c_str());
    if ((row.flags & kDisabledFlag) != 0) param.Set(prop::kEnabled, 0);
}

void DefineButton(ParamSet params, const char* name, const char* label, const char* hint) {
    Properties button = DefineParam(params, value::kPushButton, name, label, hint);
    button.Set(prop::kParent, ParamName(ParameterOf(ParameterId::Basic)).c_str());
}

void DefineButtons(ParamSet params) {
    DefineButton(params, kPickButton, kPickLabel,
                 "Finds the screen in the current frame and makes its colour the key colour.");
    DefineButton(params, kFindButton, kFindLabel,
                 "Finds the sliders that suit the current frame, and its screen where the key "
                 "colour is black.");
}

}  // namespace

void Describe(Effect descriptor) {
    PropertySet set = nullptr;
    Require(Host().effect->getPropertySet(descriptor, &set));
    Properties effect(set);
    effect.Set(prop::kLabel, kName);
    effect.Set(prop::kShortLabel, kName);
    effect.Set(prop::kLongLabel, "Veltrane green- and blue-screen keyer");
    effect.Set(prop::kGrouping, "Keyer");
    effect.Set(prop::kDescription,
               "Removes a green or blue screen: alpha becomes the matte, colour the foreground "
               "without the screen's light.");
    effect.Set(prop::kVersion, kMajorVersion, 0);
    effect.Set(prop::kVersion, kMinorVersion, 1);
    effect.Set(prop::kVersionLabel, VELTRANE_VERSION);
    effect.Set(prop::kSupportedContexts, value::kFilter, 0);
    effect.Set(prop::kSupportedContexts, value::kGeneral, 1);
    effect.Set(prop::kSupportedDepths, value::kByte, 0);
    effect.Set(prop::kSupportedDepths, value::kShort, 1);
    effect.Set(prop::kSupportedDepths, value::kFloat, 2);
    effect.Set(prop::kThreadSafety, value::kFullySafe);
    // The clean plate is made of the whole frame, so no part of one can be rendered alone.
    effect.Set(prop::kHostFrameThreading, 0);
    effect.Set(prop::kSupportsTiles, 0);
    effect.Set(prop::kMultiResolution, 1);
    effect.Set(prop::kTemporalClipAccess, 0);
    effect.Set(prop::kMultipleClipDepths, 0);
    effect.Set(prop::kMultipleClipPars, 0);
    effect.Set(prop::kSingleInstance, 0);
    effect.Set(prop::kRenderTwiceAlways, 0);
}

void DescribeInContext(Effect descriptor, std::string_view context) {
    DefineClip(descriptor, kSourceClip);
    for (const InputClip& input : kInputClips) {
        if (context != value::kGeneral) break;
        Properties clip = DefineClip(descriptor, input.name);
        clip.Set(prop::kLabel, input.label);
        clip.Set(prop::kOptional, 1);
        clip.Set(prop::kIsMask, input.isMask ? 1 : 0);
    }
    DefineClip(descriptor, kOutputClip);
    ParamSet params = nullptr;
    Require(Host().effect->getParamSet(descriptor, &params));
    for (const Parameter* row : Panel(Host::OpenFx)) {
        DefineRow(params, *row);
        if (row->id == static_cast<int>(ParameterId::KeyColor)) DefineButtons(params);
    }
}

}  // namespace veltrane::ofx
