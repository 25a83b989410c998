#ifndef VELTRANE_KEYER_ENTRY_CALL_H
#define VELTRANE_KEYER_ENTRY_CALL_H

#include "keyer/entry.h"
#include "keyer/settings.h"

namespace veltrane {

/// The two numbers that a host passes to the entries, which do not read them.
struct HostValues {
    double first = 0;
    double second = 0;
};

/// Calls VeltraneFinalCut16bit or VeltraneFinalCut with these settings; frames are the arguments
/// that precede the host's numbers.
template <typename Entry, typename... Frames>
void CallEntry(Entry entry, const Settings& s, const HostValues& host, Frames... frames) {
    entry(frames..., host.first, host.second, static_cast<int>(s.view), s.keyColor.red,
          s.keyColor.green, s.keyColor.blue, s.smoothBG, s.shadow, s.clipBlack, s.clipWhite,
          s.deBlocking, s.deBlockValue, s.edgeContract, s.contractMask, s.contractThreshold,
          s.edgeBlur, s.maskBlurRadius, s.maskBlurValue, s.skinHue, s.blueHue, s.despillGray,
          s.despillSkin, s.despillBlue, s.screenGain);
}

}  // namespace veltrane

#endif
