#include "tests/plugin/host.h"

#import "plugin/VeltraneGreen.h"

using veltrane::testing::FxHost;
using veltrane::testing::HostPicture;

namespace {

std::string Text(NSString* text) {
    return [text UTF8String];
}

/// The value of a parameter at a time, noted as a read; null when it cannot be read.
const std::array<double, 3>* Read(FxHost* host, const char* kind, UInt32 id, double time) {
    const std::lock_guard lock(host->mutex);
    host->reads.push_back(Text([NSString stringWithFormat:@"%s %u at %g", kind, id, time]));
    const auto parameter = host->parameters.find(static_cast<int>(id));
    const bool known = parameter != host->parameters.end();
    return known && !host->unreadable.contains(parameter->first) ? &parameter->second.value
                                                                 : nullptr;
}

}  // namespace

/// Everything a filter asks of its host.
@interface VeltraneHostServices : NSObject <VeltraneApiManager,
                                            FxParameterCreationAPI,
                                            FxParameterRetrievalAPI,
                                            FxParameterSettingAPI,
                                            FxCustomParameterActionAPI,
                                            VeltraneColorRetrieval> {
@public
    FxHost* host;
}
@end

@implementation VeltraneHostServices

- (id)apiForProtocol:(Protocol*)protocol {
    if (host->withheld.contains(Text(NSStringFromProtocol(protocol)))) return nil;
    return [self conformsToProtocol:protocol] ? self : nil;
}

- (BOOL)respondsToSelector:(SEL)selector {
    const SEL other = host->laterSpelling
                          ? @selector(getRedValue:GreenValue:BlueValue:fromParm:atTime:)
                          : @selector(getRedValue:greenValue:blueValue:fromParm:atTime:);
    return !sel_isEqual(selector, other) && [super respondsToSelector:selector];
}

- (void)show:(UInt32)parmId
       value:(std::array<double, 3>)value
       flags:(FxParameterFlags)flags
          as:(NSString*)call {
    host->panel.push_back(
        Text([NSString stringWithFormat:@"%u %@, flags %u", parmId, call, flags]));
    host->parameters[static_cast<int>(parmId)] = {value, flags};
}

- (BOOL)startParameterSubGroup:(NSString*)name
                        parmId:(UInt32)parmId
                     parmFlags:(FxParameterFlags)flags {
    [self show:parmId value:{} flags:flags as:[@"group " stringByAppendingString:name]];
    return YES;
}

- (BOOL)endParameterSubGroup {
    host->panel.push_back("end");
    return YES;
}

- (BOOL)addPopupMenuWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(UInt32)value
                 menuEntries:(NSArray*)entries
                   parmFlags:(FxParameterFlags)flags {
    NSString* menu = [entries componentsJoinedByString:@"|"];
    [self show:parmId
         value:{double(value)}
         flags:flags
            as:[NSString stringWithFormat:@"popup %@ %u of %@", name, value, menu]];
    return YES;
}

- (BOOL)addColorParameterWithName:(NSString*)name
                           parmId:(UInt32)parmId
                       defaultRed:(double)red
                     defaultGreen:(double)green
                      defaultBlue:(double)blue
                        parmFlags:(FxParameterFlags)flags {
    [self show:parmId
         value:{red, green, blue}
         flags:flags
            as:[NSString stringWithFormat:@"color %@ %g %g %g", name, red, green, blue]];
    return YES;
}

- (BOOL)addToggleButtonWithName:(NSString*)name
                         parmId:(UInt32)parmId
                   defaultValue:(BOOL)value
                      parmFlags:(FxParameterFlags)flags {
    [self show:parmId
         value:{double(value)}
         flags:flags
            as:[NSString stringWithFormat:@"toggle %@ %d", name, value]];
    return YES;
}

- (BOOL)addIntSliderWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(int)value
                parameterMin:(int)parameterMin
                parameterMax:(int)parameterMax
                   sliderMin:(int)sliderMin
                   sliderMax:(int)sliderMax
                       delta:(int)delta
                   parmFlags:(FxParameterFlags)flags {
    [self
         show:parmId
        value:{double(value)}
        flags:flags
           as:[NSString stringWithFormat:@"slider %@ %d in %d..%d, shown %d..%d by %d", name, value,
                                         parameterMin, parameterMax, sliderMin, sliderMax, delta]];
    return YES;
}

- (BOOL)getIntValue:(int*)value fromParm:(UInt32)parmId atTime:(double)time {
    const auto* held = Read(host, "int", parmId, time);
    if (held != nullptr) *value = static_cast<int>((*held)[0]);
    return held != nullptr;
}

- (BOOL)getBoolValue:(BOOL*)value fromParm:(UInt32)parmId atTime:(double)time {
    const auto* held = Read(host, "bool", parmId, time);
    if (held != nullptr) *value = (*held)[0] != 0;
    return held != nullptr;
}

- (BOOL)getRedValue:(double*)red
         GreenValue:(double*)green
          BlueValue:(double*)blue
           fromParm:(UInt32)parmId
             atTime:(double)time {
    const auto* held = Read(host, "Color", parmId, time);
    if (held != nullptr) *red = (*held)[0], *green = (*held)[1], *blue = (*held)[2];
    return held != nullptr;
}

- (BOOL)getRedValue:(double*)red
         greenValue:(double*)green
          blueValue:(double*)blue
           fromParm:(UInt32)parmId
             atTime:(double)time {
    const auto* held = Read(host, "color", parmId, time);
    if (held != nullptr) *red = (*held)[0], *green = (*held)[1], *blue = (*held)[2];
    return held != nullptr;
}

- (BOOL)getParameterFlags:(FxParameterFlags*)flags fromParm:(UInt32)parmId {
    const int id = static_cast<int>(parmId);
    if (host->unreadable.contains(id)) return NO;
    *flags = host->parameters.at(id).flags;
    return YES;
}

- (BOOL)setParameterFlags:(FxParameterFlags)flags toParm:(UInt32)parmId {
    host->parameters.at(static_cast<int>(parmId)).flags = flags;
    return YES;
}

- (double)currentTime {
    return host->currentTime;
}

@end

/// A picture as the filter sees it.
@interface VeltraneHostImage : NSObject {
@public
    const HostPicture* picture;
}
@end

@implementation VeltraneHostImage

- (NSUInteger)width {
    return picture->width;
}
- (NSUInteger)height {
    return picture->height;
}
- (FxImageType)imageType {
    return picture->texture ? 2 : 1;
}
- (BOOL)isPremultiplied {
    return picture->premultiplied;
}
- (void*)dataPtr {
    return const_cast<float*>(picture->pixels.data());
}

@end

namespace veltrane::testing {

namespace {

VeltraneGreen* Filter(void* filter) {
    return static_cast<VeltraneGreen*>(filter);
}

FxImage* Image(const HostPicture& picture) {
    VeltraneHostImage* image = [[[VeltraneHostImage alloc] init] autorelease];
    image->picture = &picture;
    return (FxImage*)image;
}

}  // namespace

std::unique_ptr<FxHost> FxHost::Load(const std::string& bundle) {
    @autoreleasepool {
        const Class filter = [[NSBundle bundleWithPath:@(bundle.c_str())] principalClass];
        if (![filter conformsToProtocol:@protocol(FxFilter)]) return nullptr;
        std::unique_ptr<FxHost> host(new FxHost);
        VeltraneHostServices* services = [[VeltraneHostServices alloc] init];
        services->host = host.get();
        host->services_ = services;
        host->filter_ = [[filter alloc] initWithAPIManager:services];
        return host;
    }
}

FxHost::~FxHost() {
    @autoreleasepool {
        [Filter(filter_) release];
        [static_cast<VeltraneHostServices*>(services_) release];
    }
}

bool FxHost::AddParameters() {
    @autoreleasepool {
        return [Filter(filter_) addParameters];
    }
}

bool FxHost::Render(const HostPicture& input, HostPicture& output, double time) {
    @autoreleasepool {
        FxRenderInfo info{};
        info.frame = time;
        BOOL hardware = YES, software = NO;
        VeltraneGreen* filter = Filter(filter_);
        return [filter frameSetup:info inputInfo:{} hardware:&hardware software:&software] &&
               !hardware && software &&
               [filter renderOutput:Image(output) withInput:Image(input) withInfo:info] &&
               [filter frameCleanup];
    }
}

}  // namespace veltrane::testing
