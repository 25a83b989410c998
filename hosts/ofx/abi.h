#ifndef VELTRANE_HOSTS_OFX_ABI_H
#define VELTRANE_HOSTS_OFX_ABI_H

#include <cstddef>

/// The part of the OpenFX C interface that the plug-in and its tests use, in our own words: records
/// with their fields in the published order, status values and property names. Names of properties
/// keep the interface's odd spellings.
namespace veltrane::ofx {

using Status = int;
inline constexpr Status kOk = 0;
inline constexpr Status kFailed = 1;
inline constexpr Status kUnknown = 3;
inline constexpr Status kMissingHostFeature = 4;
inline constexpr Status kOutOfMemory = 8;
inline constexpr Status kBadHandle = 9;
inline constexpr Status kBadValue = 11;
inline constexpr Status kReplyDefault = 14;
inline constexpr Status kBadImageFormat = 1000;

struct PropertySetTag;
struct EffectTag;
struct ClipTag;
struct ParamSetTag;
struct ParamTag;
struct ImageMemoryTag;
using PropertySet = PropertySetTag*;
using Effect = EffectTag*;
using Clip = ClipTag*;
using ParamSet = ParamSetTag*;
using Param = ParamTag*;
using ImageMemory = ImageMemoryTag*;

/// Half-open; y grows upwards.
struct RectI {
    int x1, y1, x2, y2;
};
struct RectD {
    double x1, y1, x2, y2;
};
struct RangeD {
    double min, max;
};

extern "C" {

struct HostRecord {
    PropertySet properties;
    const void* (*fetchSuite)(PropertySet host, const char* name, int version);
};

struct PluginRecord {
    const char* api;
    int apiVersion;
    const char* identifier;
    unsigned major;
    unsigned minor;
    void (*setHost)(HostRecord* host);
    Status (*main)(const char* action, const void* handle, PropertySet in, PropertySet out);
};

struct PropertySuite {
    Status (*setPointer)(PropertySet, const char* name, int index, void* value);
    Status (*setString)(PropertySet, const char* name, int index, const char* value);
    Status (*setDouble)(PropertySet, const char* name, int index, double value);
    Status (*setInt)(PropertySet, const char* name, int index, int value);
    Status (*setPointers)(PropertySet, const char* name, int count, void* const* values);
    Status (*setStrings)(PropertySet, const char* name, int count, const char* const* values);
    Status (*setDoubles)(PropertySet, const char* name, int count, const double* values);
    Status (*setInts)(PropertySet, const char* name, int count, const int* values);
    Status (*getPointer)(PropertySet, const char* name, int index, void** value);
    Status (*getString)(PropertySet, const char* name, int index, char** value);
    Status (*getDouble)(PropertySet, const char* name, int index, double* value);
    Status (*getInt)(PropertySet, const char* name, int index, int* value);
    Status (*getPointers)(PropertySet, const char* name, int count, void** values);
    Status (*getStrings)(PropertySet, const char* name, int count, char** values);
    Status (*getDoubles)(PropertySet, const char* name, int count, double* values);
    Status (*getInts)(PropertySet, const char* name, int count, int* values);
    Status (*reset)(PropertySet, const char* name);
    Status (*getDimension)(PropertySet, const char* name, int* count);
};

struct ImageEffectSuite {
    Status (*getPropertySet)(Effect, PropertySet*);
    Status (*getParamSet)(Effect, ParamSet*);
    Status (*clipDefine)(Effect descriptor, const char* name, PropertySet*);
    Status (*clipGetHandle)(Effect, const char* name, Clip*, PropertySet*);
    Status (*clipGetPropertySet)(Clip, PropertySet*);
    Status (*clipGetImage)(Clip, double time, const RectD* region, PropertySet* image);
    Status (*clipReleaseImage)(PropertySet image);
    Status (*clipGetRegionOfDefinition)(Clip, double time, RectD*);
    int (*abort)(Effect);
    Status (*imageMemoryAlloc)(Effect, std::size_t bytes, ImageMemory*);
    Status (*imageMemoryFree)(ImageMemory);
    Status (*imageMemoryLock)(ImageMemory, void**);
    Status (*imageMemoryUnlock)(ImageMemory);
};

/// Values go through the variadic ends: pointers to int or double for reading, int and double for
/// writing.
struct ParameterSuite {
    Status (*define)(ParamSet, const char* type, const char* name, PropertySet*);
    Status (*getHandle)(ParamSet, const char* name, Param*, PropertySet*);
    Status (*setGetPropertySet)(ParamSet, PropertySet*);
    Status (*getPropertySet)(Param, PropertySet*);
    Status (*getValue)(Param, ...);
    Status (*getValueAtTime)(Param, double time, ...);
    Status (*getDerivative)(Param, double time, ...);
    Status (*getIntegral)(Param, double time1, double time2, ...);
    Status (*setValue)(Param, ...);
    Status (*setValueAtTime)(Param, double time, ...);
    Status (*getNumKeys)(Param, unsigned*);
    Status (*getKeyTime)(Param, unsigned index, double*);
    Status (*getKeyIndex)(Param, double time, int direction, int*);
    Status (*deleteKey)(Param, double time);
    Status (*deleteAllKeys)(Param);
    Status (*copy)(Param to, Param from, double offset, const RangeD*);
    Status (*editBegin)(ParamSet, const char* label);
    Status (*editEnd)(ParamSet);
};

/// Version 1; later versions begin with the same member.
struct MessageSuite {
    Status (*message)(void* handle, const char* type, const char* id, const char* format, ...);
};

struct MutexTag;

struct ThreadSuite {
    /// Calls work(index, count, argument) on count threads, or on fewer, and waits for them.
    Status (*run)(void (*work)(unsigned index, unsigned count, void* argument), unsigned count,
                  void* argument);
    Status (*countCpus)(unsigned*);
    Status (*index)(unsigned*);
    int (*isSpawnedThread)();
    Status (*mutexCreate)(MutexTag**, int locks);
    Status (*mutexDestroy)(MutexTag*);
    Status (*mutexLock)(MutexTag*);
    Status (*mutexUnlock)(MutexTag*);
    Status (*mutexTryLock)(MutexTag*);
};

}  // extern "C"

static_assert(sizeof(void*) != 8 || sizeof(PluginRecord) == 48);

inline constexpr char kApi[] = "OfxImageEffectPluginAPI";
inline constexpr char kPropertySuite[] = "OfxPropertySuite";
inline constexpr char kImageEffectSuite[] = "OfxImageEffectSuite";
inline constexpr char kParameterSuite[] = "OfxParameterSuite";
inline constexpr char kMessageSuite[] = "OfxMessageSuite";
inline constexpr char kThreadSuite[] = "OfxMultiThreadSuite";

namespace action {
inline constexpr char kLoad[] = "OfxActionLoad";
inline constexpr char kUnload[] = "OfxActionUnload";
inline constexpr char kDescribe[] = "OfxActionDescribe";
inline constexpr char kDescribeInContext[] = "OfxImageEffectActionDescribeInContext";
inline constexpr char kCreateInstance[] = "OfxActionCreateInstance";
inline constexpr char kInstanceChanged[] = "OfxActionInstanceChanged";
inline constexpr char kRegionsOfInterest[] = "OfxImageEffectActionGetRegionsOfInterest";
inline constexpr char kClipPreferences[] = "OfxImageEffectActionGetClipPreferences";
inline constexpr char kIsIdentity[] = "OfxImageEffectActionIsIdentity";
inline constexpr char kRender[] = "OfxImageEffectActionRender";
}  // namespace action

namespace prop {
inline constexpr char kType[] = "OfxPropType";
inline constexpr char kName[] = "OfxPropName";
inline constexpr char kLabel[] = "OfxPropLabel";
inline constexpr char kShortLabel[] = "OfxPropShortLabel";
inline constexpr char kLongLabel[] = "OfxPropLongLabel";
inline constexpr char kTime[] = "OfxPropTime";
inline constexpr char kVersion[] = "OfxPropVersion";
inline constexpr char kVersionLabel[] = "OfxPropVersionLabel";
inline constexpr char kDescription[] = "OfxPropPluginDescription";
inline constexpr char kChangeReason[] = "OfxPropChangeReason";
inline constexpr char kGrouping[] = "OfxImageEffectPluginPropGrouping";
inline constexpr char kSupportedContexts[] = "OfxImageEffectPropSupportedContexts";
inline constexpr char kSupportedDepths[] = "OfxImageEffectPropSupportedPixelDepths";
inline constexpr char kSupportedComponents[] = "OfxImageEffectPropSupportedComponents";
inline constexpr char kThreadSafety[] = "OfxImageEffectPluginRenderThreadSafety";
inline constexpr char kHostFrameThreading[] = "OfxImageEffectPluginPropHostFrameThreading";
inline constexpr char kSupportsTiles[] = "OfxImageEffectPropSupportsTiles";
inline constexpr char kMultiResolution[] = "OfxImageEffectPropSupportsMultiResolution";
inline constexpr char kTemporalClipAccess[] = "OfxImageEffectPropTemporalClipAccess";
inline constexpr char kMultipleClipDepths[] = "OfxImageEffectPropMultipleClipDepths";
inline constexpr char kMultipleClipPars[] = "OfxImageEffectPropSupportsMultipleClipPARs";
inline constexpr char kSingleInstance[] = "OfxImageEffectPluginPropSingleInstance";
inline constexpr char kRenderTwiceAlways[] = "OfxImageEffectPluginPropFieldRenderTwiceAlways";
inline constexpr char kFieldExtraction[] = "OfxImageClipPropFieldExtraction";
inline constexpr char kPremultiplication[] = "OfxImageEffectPropPreMultiplication";
inline constexpr char kDepth[] = "OfxImageEffectPropPixelDepth";
inline constexpr char kComponents[] = "OfxImageEffectPropComponents";
inline constexpr char kRenderScale[] = "OfxImageEffectPropRenderScale";
inline constexpr char kRenderWindow[] = "OfxImageEffectPropRenderWindow";
inline constexpr char kRegionOfInterest[] = "OfxImageClipPropRoI_";  // the clip's name follows
inline constexpr char kContext[] = "OfxImageEffectPropContext";
inline constexpr char kOptional[] = "OfxImageClipPropOptional";
inline constexpr char kIsMask[] = "OfxImageClipPropIsMask";
inline constexpr char kConnected[] = "OfxImageClipPropConnected";
inline constexpr char kData[] = "OfxImagePropData";
inline constexpr char kBounds[] = "OfxImagePropBounds";
inline constexpr char kRegionOfDefinition[] = "OfxImagePropRegionOfDefinition";
inline constexpr char kRowBytes[] = "OfxImagePropRowBytes";
inline constexpr char kDefault[] = "OfxParamPropDefault";
inline constexpr char kMin[] = "OfxParamPropMin";
inline constexpr char kMax[] = "OfxParamPropMax";
inline constexpr char kDisplayMin[] = "OfxParamPropDisplayMin";
inline constexpr char kDisplayMax[] = "OfxParamPropDisplayMax";
inline constexpr char kHint[] = "OfxParamPropHint";
inline constexpr char kParent[] = "OfxParamPropParent";
inline constexpr char kEnabled[] = "OfxParamPropEnabled";
inline constexpr char kChoiceOption[] = "OfxParamPropChoiceOption";
}  // namespace prop

namespace value {
inline constexpr char kFilter[] = "OfxImageEffectContextFilter";
inline constexpr char kGeneral[] = "OfxImageEffectContextGeneral";
inline constexpr char kByte[] = "OfxBitDepthByte";
inline constexpr char kShort[] = "OfxBitDepthShort";
inline constexpr char kFloat[] = "OfxBitDepthFloat";
inline constexpr char kRgba[] = "OfxImageComponentRGBA";
inline constexpr char kFullySafe[] = "OfxImageEffectRenderFullySafe";
inline constexpr char kFieldBoth[] = "OfxFieldBoth";
inline constexpr char kOpaque[] = "OfxImageOpaque";
inline constexpr char kPremultiplied[] = "OfxImageAlphaPremultiplied";
inline constexpr char kStraight[] = "OfxImageAlphaUnPremultiplied";
inline constexpr char kTypeParameter[] = "OfxTypeParameter";
inline constexpr char kUserEdited[] = "OfxChangeUserEdited";
inline constexpr char kPluginEdited[] = "OfxChangePluginEdited";
inline constexpr char kInteger[] = "OfxParamTypeInteger";
inline constexpr char kBoolean[] = "OfxParamTypeBoolean";
inline constexpr char kChoice[] = "OfxParamTypeChoice";
inline constexpr char kRgb[] = "OfxParamTypeRGB";
inline constexpr char kGroup[] = "OfxParamTypeGroup";
inline constexpr char kPushButton[] = "OfxParamTypePushButton";
inline constexpr char kMessageError[] = "OfxMessageError";
inline constexpr char kMessageMessage[] = "OfxMessageMessage";
}  // namespace value

inline constexpr char kSourceClip[] = "Source";
inline constexpr char kOutputClip[] = "Output";

}  // namespace veltrane::ofx

#endif
