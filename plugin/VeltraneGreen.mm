#import "plugin/VeltraneGreen.h"

#include <algorithm>
#include <cstdlib>

#ifdef __APPLE__
#define GL_SILENCE_DEPRECATION
#include <OpenGL/gl.h>
#include <OpenGL/glext.h>
#else
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>
#endif

#include "plugin/render.h"
#include "settings/parameters.h"

#if defined(__has_feature)
#if __has_feature(objc_arc)
#error "the filter class counts its references by hand; build it with -fno-objc-arc"
#endif
#endif

// C++ exceptions do not pass Objective-C frames everywhere, so what could throw stays out of here.

namespace {

using namespace veltrane;

constexpr FxImageType kBitmap = 1;
constexpr int kVideoGamma = 2;

/// The frame's time: a member of its own in older hosts, one of a union named time in later ones.
template <typename Info>
double TimeOf(const Info& info) {
    if constexpr (requires { info.time.frame; }) {
        return info.time.frame;
    } else {
        return info.frame;
    }
}

NSString* Localised(const char* key) {
    NSBundle* bundle = [NSBundle bundleForClass:[VeltraneGreen class]];
    return [bundle localizedStringForKey:[NSString stringWithUTF8String:key] value:nil table:nil];
}

void AddParameter(id<FxParameterCreationAPI> host, const Parameter& row) {
    NSString* name = Localised(row.key);
    const UInt32 parmId = static_cast<UInt32>(row.id);
    switch (row.kind) {
        case ParameterKind::Group:
            [host startParameterSubGroup:name parmId:parmId parmFlags:row.flags];
            break;
        case ParameterKind::Choice: {
            NSMutableArray* entries = [NSMutableArray array];
            for (const ChoiceEntry& entry : row.entries)
                if (entry.hosts.Contains(Host::FxPlug)) [entries addObject:Localised(entry.key)];
            [host addPopupMenuWithName:name
                                parmId:parmId
                          defaultValue:static_cast<UInt32>(row.defaultValue)
                           menuEntries:entries
                             parmFlags:row.flags];
            break;
        }
        case ParameterKind::Color:
            [host addColorParameterWithName:name
                                     parmId:parmId
                                 defaultRed:row.defaultValue
                               defaultGreen:row.defaultValue
                                defaultBlue:row.defaultValue
                                  parmFlags:row.flags];
            break;
        case ParameterKind::Switch:
            [host addToggleButtonWithName:name
                                   parmId:parmId
                             defaultValue:row.defaultValue != 0
                                parmFlags:row.flags];
            break;
        case ParameterKind::Integer:
            [host addIntSliderWithName:name
                                parmId:parmId
                          defaultValue:row.defaultValue
                          parameterMin:row.minimum
                          parameterMax:row.maximum
                             sliderMin:row.minimum
                             sliderMax:row.maximum
                                 delta:1
                             parmFlags:row.flags];
            break;
    }
}

int ReadInteger(id<FxParameterRetrievalAPI> host, UInt32 parmId, double time) {
    int value = 0;
    [host getIntValue:&value fromParm:parmId atTime:time];
    return value;
}

int ReadSwitch(id<FxParameterRetrievalAPI> host, UInt32 parmId, double time) {
    BOOL value = NO;
    [host getBoolValue:&value fromParm:parmId atTime:time];
    return value;
}

Color ReadColor(id host, UInt32 parmId, double time) {
    const SEL older = @selector(getRedValue:GreenValue:BlueValue:fromParm:atTime:);
    const SEL later = @selector(getRedValue:greenValue:blueValue:fromParm:atTime:);
    Color c{0, 0, 0};
    if ([host respondsToSelector:later] && ![host respondsToSelector:older]) {
        [host getRedValue:&c.red greenValue:&c.green blueValue:&c.blue fromParm:parmId atTime:time];
    } else {
        [host getRedValue:&c.red GreenValue:&c.green BlueValue:&c.blue fromParm:parmId atTime:time];
    }
    return c;
}

/// Every value at this time, in the panel's order; one that cannot be read is 0.
Settings ReadSettings(id<FxParameterRetrievalAPI> host, double time) {
    Settings settings;
    for (const Parameter* row : Panel(Host::FxPlug)) {
        const UInt32 parmId = static_cast<UInt32>(row->id);
        if (row->kind == ParameterKind::Color) {
            SetColor(settings, *row, ReadColor(host, parmId, time));
        } else if (row->kind == ParameterKind::Switch) {
            SetValue(settings, *row, ReadSwitch(host, parmId, time));
        } else if (row->kind != ParameterKind::Group) {
            SetValue(settings, *row, ReadInteger(host, parmId, time));
        }
    }
    return settings;
}

HostBitmap BitmapOf(FxImage* image) {
    return {static_cast<float*>([(FxBitmap*)image dataPtr]), [image width], [image height]};
}

}  // namespace

@implementation VeltraneGreen

- (BOOL)frameCleanup {
    return YES;
}

- (BOOL)frameSetup:(FxRenderInfo)renderInfo
         inputInfo:(FxImageInfo)inputInfo
          hardware:(BOOL*)canRenderHardware
          software:(BOOL*)canRenderSoftware {
    *canRenderHardware = NO;
    *canRenderSoftware = YES;
    return YES;
}

- (BOOL)renderOutput:(FxImage*)outputImage
           withInput:(FxImage*)inputImage
            withInfo:(FxRenderInfo)renderInfo {
    id<FxParameterRetrievalAPI> host =
        [_apiManager apiForProtocol:@protocol(FxParameterRetrievalAPI)];
    if (host == nil) return YES;
    if ([inputImage imageType] != kBitmap) return YES;
    const bool premultiplied = [outputImage isPremultiplied];
    const Settings settings = ReadSettings(host, TimeOf(renderInfo));
    RenderBitmap(settings, {premultiplied, renderInfo.scaleX, renderInfo.scaleY},
                 BitmapOf(inputImage), BitmapOf(outputImage));
    return YES;
}

- (BOOL)getOutputWidth:(NSUInteger*)width
                height:(NSUInteger*)height
             withInput:(FxImageInfo)inputInfo
              withInfo:(FxRenderInfo)renderInfo {
    if (width == NULL || height == NULL) return NO;
    *width = inputInfo.width;
    *height = inputInfo.height;
    return YES;
}

- (BOOL)parameterChanged:(UInt32)parmId {
    const auto governed = [&](const Parameter* row) {
        return row->governor != 0 && static_cast<UInt32>(row->governor) == parmId;
    };
    if (std::ranges::none_of(Panel(Host::FxPlug), governed)) return YES;
    id<FxParameterRetrievalAPI> reader =
        [_apiManager apiForProtocol:@protocol(FxParameterRetrievalAPI)];
    id<FxCustomParameterActionAPI> action =
        [_apiManager apiForProtocol:@protocol(FxCustomParameterActionAPI)];
    if (reader == nil || action == nil) return YES;
    BOOL on = NO;
    if (![reader getBoolValue:&on fromParm:parmId atTime:[action currentTime]]) return YES;
    for (const Parameter* row : Panel(Host::FxPlug)) {
        if (governed(row)) [self EnableDisableParameter:row->id enableParam:on];
    }
    return YES;
}

- (BOOL)addParameters {
    id<FxParameterCreationAPI> host =
        [_apiManager apiForProtocol:@protocol(FxParameterCreationAPI)];
    if (host == nil) return NO;
    const Parameter* group = nullptr;
    const auto closeUntil = [&](const Parameter* outer) {
        for (; group != outer; group = GroupOf(*group)) [host endParameterSubGroup];
    };
    for (const Parameter* row : Panel(Host::FxPlug)) {
        closeUntil(GroupOf(*row));
        AddParameter(host, *row);
        if (row->kind == ParameterKind::Group) group = row;
    }
    closeUntil(nullptr);
    return YES;
}

- (NSDictionary*)properties {
    NSNumber* no = [NSNumber numberWithBool:NO];
    return @{
        @"DesiredProcessingColorInfo" : @(kVideoGamma),
        @"MayRemapTime" : no,
        @"SupportsR4fl" : no,
        @"SupportsR408" : no,
        @"SupportsRowBytes" : no,
    };
}

- (BOOL)variesOverTime {
    return NO;
}

- (void)dealloc {
    glDeleteProgramsARB(1, &_programID);
    if (_cachedLUT != NULL) free(_cachedLUT);
    [super dealloc];
}

- (id)initWithAPIManager:(id)apiManager {
    self = [super init];
    if (self == nil) return nil;
    _apiManager = apiManager;
    _cachedBright = -1.0f;
    _cachedLUT = NULL;
    _lutDepth = 0;
    _canDoHardware = NO;
    return self;
}

- (void)EnableDisableParameter:(int)parmId enableParam:(BOOL)enable {
    id<FxParameterRetrievalAPI> reader =
        [_apiManager apiForProtocol:@protocol(FxParameterRetrievalAPI)];
    id<FxParameterSettingAPI> writer =
        [_apiManager apiForProtocol:@protocol(FxParameterSettingAPI)];
    if (reader == nil || writer == nil) return;
    const UInt32 parm = static_cast<UInt32>(parmId);
    FxParameterFlags flags = 0;
    if (![reader getParameterFlags:&flags fromParm:parm]) return;
    if (enable == 1) {
        flags &= ~static_cast<FxParameterFlags>(kDisabledFlag);
    } else {
        flags |= kDisabledFlag;
    }
    [writer setParameterFlags:flags toParm:parm];
}

@end
