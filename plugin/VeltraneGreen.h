#ifndef VELTRANE_PLUGIN_VELTRANE_GREEN_H
#define VELTRANE_PLUGIN_VELTRANE_GREEN_H

#import "plugin/fx_plug.h"

/// The green-screen keyer as a filter of FxPlug hosts, one object for each use of the effect. It
/// keeps nothing of a frame, so one object may render on several threads.
@interface VeltraneGreen : NSObject <FxFilter> {
    id _apiManager;  // not retained: the host owns it and outlives its filters
    float _cachedBright;
    void* _cachedLUT;
    UInt32 _lutDepth;
    unsigned int _programID;
    BOOL _canDoHardware;
}

- (id)initWithAPIManager:(id)apiManager;

/// Shows a parameter as usable when enable is 1, greyed out otherwise.
- (void)EnableDisableParameter:(int)parmId enableParam:(BOOL)enable;

@end

#endif
