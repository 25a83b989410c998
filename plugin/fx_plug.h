#ifndef VELTRANE_PLUGIN_FX_PLUG_H
#define VELTRANE_PLUGIN_FX_PLUG_H

#import <Foundation/Foundation.h>

#ifdef VELTRANE_FXPLUG_SDK
#import <FxPlug/FxPlugSDK.h>
#else

// What the filter class adopts and calls of the host's interface, for builds without its SDK: the
// 64-bit layout of generation 2.

#ifndef __APPLE__
#include <cstdint>
typedef std::uint32_t UInt32;
#endif

typedef UInt32 FxParameterFlags;
typedef NSUInteger FxImageType;

typedef struct {
    double frame;  ///< time of the frame, in frames
    NSUInteger qualityLevel;
    NSUInteger fieldOrder;
    double scaleX;
    double scaleY;
    void* sharedContext;
    NSUInteger depth;
} FxRenderInfo;

typedef struct {
    NSUInteger width;
    NSUInteger height;
    NSUInteger depth;
    NSUInteger activeChannels;
    FxImageType imageType;
    NSUInteger origin;
    NSUInteger pixelFormat;
    BOOL isPremultiplied;
    double pixelAspect;
} FxImageInfo;

@interface FxImage : NSObject
- (NSUInteger)width;
- (NSUInteger)height;
- (FxImageType)imageType;
- (BOOL)isPremultiplied;
@end

@interface FxBitmap : FxImage
- (void*)dataPtr;
@end

@protocol FxBaseEffect
- (BOOL)addParameters;
- (NSDictionary*)properties;
- (BOOL)variesOverTime;
@optional
- (BOOL)parameterChanged:(UInt32)parmId;
@end

@protocol FxFilter <FxBaseEffect>
- (BOOL)getOutputWidth:(NSUInteger*)width
                height:(NSUInteger*)height
             withInput:(FxImageInfo)inputInfo
              withInfo:(FxRenderInfo)renderInfo;
- (BOOL)frameSetup:(FxRenderInfo)renderInfo
         inputInfo:(FxImageInfo)inputInfo
          hardware:(BOOL*)canRenderHardware
          software:(BOOL*)canRenderSoftware;
- (BOOL)renderOutput:(FxImage*)outputImage
           withInput:(FxImage*)inputImage
            withInfo:(FxRenderInfo)renderInfo;
- (BOOL)frameCleanup;
@end

@protocol FxParameterCreationAPI
- (BOOL)startParameterSubGroup:(NSString*)name
                        parmId:(UInt32)parmId
                     parmFlags:(FxParameterFlags)flags;
- (BOOL)endParameterSubGroup;
- (BOOL)addPopupMenuWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(UInt32)defaultValue
                 menuEntries:(NSArray*)entries
                   parmFlags:(FxParameterFlags)flags;
- (BOOL)addColorParameterWithName:(NSString*)name
                           parmId:(UInt32)parmId
                       defaultRed:(double)red
                     defaultGreen:(double)green
                      defaultBlue:(double)blue
                        parmFlags:(FxParameterFlags)flags;
- (BOOL)addToggleButtonWithName:(NSString*)name
                         parmId:(UInt32)parmId
                   defaultValue:(BOOL)defaultValue
                      parmFlags:(FxParameterFlags)flags;
- (BOOL)addIntSliderWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(int)defaultValue
                parameterMin:(int)parameterMin
                parameterMax:(int)parameterMax
                   sliderMin:(int)sliderMin
                   sliderMax:(int)sliderMax
                       delta:(int)delta
                   parmFlags:(FxParameterFlags)flags;
@end

@protocol FxParameterRetrievalAPI
- (BOOL)getIntValue:(int*)value fromParm:(UInt32)parmId atTime:(double)time;
- (BOOL)getBoolValue:(BOOL*)value fromParm:(UInt32)parmId atTime:(double)time;
- (BOOL)getParameterFlags:(FxParameterFlags*)flags fromParm:(UInt32)parmId;
@end

@protocol FxParameterSettingAPI
- (BOOL)setParameterFlags:(FxParameterFlags)flags toParm:(UInt32)parmId;
@end

@protocol FxCustomParameterActionAPI
- (double)currentTime;
@end

#endif

/// The manager handed to the filter at its start.
@protocol VeltraneApiManager
- (id)apiForProtocol:(Protocol*)protocol;
@end

/// The colour getter of FxParameterRetrievalAPI as the two generations of hosts spell it; a host
/// has one of them.
@protocol VeltraneColorRetrieval
- (BOOL)getRedValue:(double*)red
         GreenValue:(double*)green
          BlueValue:(double*)blue
           fromParm:(UInt32)parmId
             atTime:(double)time;
- (BOOL)getRedValue:(double*)red
         greenValue:(double*)green
          blueValue:(double*)blue
           fromParm:(UInt32)parmId
             atTime:(double)time;
@end

#endif
