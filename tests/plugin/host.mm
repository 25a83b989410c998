#include "tests/plugin/host.h"

#import <objc/runtime.h>

#import "plugin/VeltraneGreen.h"

using veltrane::testing::FxHost;
using veltrane::testing::HostPicture;

/// What the libraries below the filter class keep until the process ends: the Objective-C runtime
/// its tables of classes and selectors, GNUstep its constant objects. Asked for by the leak check.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libobjc.so\nleak:libgnustep-base.so\n";
}
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
    return "print_suppressions=0";
}

namespace {

/// A call's arguments: the numbers and the places for results, in order, and all in words.
struct Arguments {
    std::vector<double> numbers;
    std::vector<std::pair<char, void*>> results;
    std::string words;
};

template <typename Value>
Value Argument(NSInvocation* call, NSUInteger index) {
    Value value{};
    [call getArgument:&value atIndex:static_cast<NSInteger>(index)];
    return value;
}

double Number(NSInvocation* call, NSUInteger index, char type) {
    if (type == 'd') return Argument<double>(call, index);
    if (type == 'i') return Argument<int>(call, index);
    return type == 'I' ? Argument<UInt32>(call, index) : Argument<BOOL>(call, index);
}

Arguments ArgumentsOf(NSInvocation* call) {
    Arguments all;
    NSMethodSignature* signature = [call methodSignature];
    for (NSUInteger i = 2; i < [signature numberOfArguments]; ++i) {
        const char* type = [signature getArgumentTypeAtIndex:i];
        if (type[0] == '^') {
            all.results.emplace_back(type[1], Argument<void*>(call, i));
            continue;
        }
        id object = type[0] == '@' ? Argument<id>(call, i) : nil;
        if (object == nil) {
            all.numbers.push_back(Number(call, i, *type));
            object = [@(all.numbers.back()) description];
        } else if ([object isKindOfClass:[NSArray class]]) {
            object = [object componentsJoinedByString:@"|"];
        }
        all.words += std::string(" ") + [object UTF8String];
    }
    return all;
}

void Store(const FxHost::State& parameter, const Arguments& arguments) {
    for (std::size_t i = 0; i < arguments.results.size(); ++i) {
        const auto [type, place] = arguments.results[i];
        if (type == 'd')
            *static_cast<double*>(place) = parameter.value[i];
        else if (type == 'i')
            *static_cast<int*>(place) = static_cast<int>(parameter.value[i]);
        else if (type == *@encode(BOOL))
            *static_cast<BOOL*>(place) = parameter.value[i] != 0;
        else
            *static_cast<FxParameterFlags*>(place) = parameter.flags;
    }
}

/// Does what the call asks of the host; false when that is a value that cannot be read.
bool Answer(FxHost& host, const std::string& name, const Arguments& arguments) {
    const std::vector<double>& numbers = arguments.numbers;
    if (name == "setParameterFlags") {
        host.parameters.at(static_cast<int>(numbers[1])).flags = static_cast<unsigned>(numbers[0]);
    } else if (name.starts_with("get")) {
        const int id = static_cast<int>(numbers[0]);
        if (host.unreadable.contains(id)) return false;
        Store(host.parameters.at(id), arguments);
    } else if (!numbers.empty()) {
        const std::size_t values = numbers.size() < 5 ? numbers.size() - 2 : 3;
        host.parameters[static_cast<int>(numbers[0])] = {
            {numbers.begin() + 1, numbers.begin() + 1 + static_cast<int>(values)},
            static_cast<unsigned>(numbers.back())};
    }
    return true;
}

}  // namespace

/// Everything that a filter asks of its host; all calls arrive in forwardInvocation:.
@interface VeltraneHostServices : NSObject <VeltraneApiManager> {
@public
    FxHost* host;
}
@end

@implementation VeltraneHostServices

- (id)apiForProtocol:(Protocol*)protocol {
    return host->withheld.contains([NSStringFromProtocol(protocol) UTF8String]) ? nil : self;
}

- (NSMethodSignature*)methodSignatureForSelector:(SEL)selector {
    for (Protocol* protocol : {
             @protocol (FxParameterCreationAPI), @protocol (FxParameterRetrievalAPI),
                 @protocol (FxParameterSettingAPI), @protocol (FxCustomParameterActionAPI),
                 @protocol (VeltraneColorRetrieval)
         }) {
        const auto method = protocol_getMethodDescription(protocol, selector, YES, YES);
        if (method.types != NULL) return [NSMethodSignature signatureWithObjCTypes:method.types];
    }
    return [super methodSignatureForSelector:selector];
}

- (BOOL)respondsToSelector:(SEL)selector {
    const SEL other = host->laterSpelling
                          ? @selector(getRedValue:GreenValue:BlueValue:fromParm:atTime:)
                          : @selector(getRedValue:greenValue:blueValue:fromParm:atTime:);
    return !sel_isEqual(selector, other) && [self methodSignatureForSelector:selector] != nil;
}

- (void)forwardInvocation:(NSInvocation*)call {
    if (![self respondsToSelector:[call selector]]) [self doesNotRecognizeSelector:[call selector]];
    const std::string selector = sel_getName([call selector]);
    const std::string name = selector.substr(0, selector.find(':'));
    const Arguments arguments = ArgumentsOf(call);
    const std::lock_guard lock(host->mutex);
    host->calls.push_back(name + arguments.words);
    if (name == "currentTime") {
        [call setReturnValue:&host->currentTime];
    } else {
        BOOL answer = Answer(*host, name, arguments);
        [call setReturnValue:&answer];
    }
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

void FxHost::Use(const Settings& settings) {
    for (const Parameter* row : Panel(Host::FxPlug)) {
        std::vector<double>& value = parameters[row->id].value;
        if (row->kind == ParameterKind::Color)
            value = {settings.keyColor.red, settings.keyColor.green, settings.keyColor.blue};
        else if (row->kind != ParameterKind::Group)
            value = {static_cast<double>(ValueOf(settings, *row))};
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
