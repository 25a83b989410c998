#ifndef VELTRANE_TESTS_KEYER_ENTRY_CALL_H
#define VELTRANE_TESTS_KEYER_ENTRY_CALL_H

#include "keyer/entry_call.h"
#include "keyer/settings.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {

/// Result view with the key of the studio screen and all options on.
inline constexpr Settings kAllOn{
    .keyColor = {kScreen[2] / 255.0, kScreen[1] / 255.0, kScreen[0] / 255.0},
    .shadow = 60,
    .clipBlack = 5,
    .clipWhite = 90,
    .deBlocking = true,
    .deBlockValue = 3,
    .edgeContract = true,
    .edgeBlur = true};

/// Any settings in range, now and then with no key chosen, equal clips or a value to be refused.
inline Settings AnySettings(Random& random) {
    const auto any = [&](int low, int high) { return random.Biased(low, high); };
    const auto on = [&] { return any(0, 1) != 0; };
    const auto level = [&](int usual) { return random(0, 1) ? usual / 255.0 : any(0, 99) / 99.0; };
    Settings s{.view = View(any(0, 2)),
               .keyColor = {level(60), level(180), level(70)},
               .smoothBG = on(),
               .shadow = any(0, 100),
               .clipBlack = any(0, 100),
               .clipWhite = any(0, 100),
               .deBlocking = on(),
               .deBlockValue = any(1, 10),
               .edgeContract = on(),
               .contractMask = any(1, 10),
               .contractThreshold = any(0, 50),
               .edgeBlur = on(),
               .maskBlurRadius = any(1, 100),
               .maskBlurValue = any(0, 100),
               .skinHue = any(-50, 50),
               .blueHue = any(-50, 50),
               .despillGray = any(0, 100),
               .despillSkin = any(0, 100),
               .despillBlue = any(0, 100),
               .screenGain = any(0, 100)};
    const double dark = random(0, 2) / 510.0;
    if (random.OneIn(8)) s.keyColor = {dark, dark, dark};
    if (random.OneIn(3)) s.clipBlack = 0, s.clipWhite = 100;
    if (random.OneIn(6)) s.clipWhite = s.clipBlack;
    if (random.OneIn(8)) s.despillGray = random(101, 1000);
    return s;
}

template <typename T>
void Enter(const Settings& s, T* output, int outWidth, int outHeight, const T* input, int inWidth,
           int inHeight) {
    if constexpr (sizeof(T) == 2) {
        CallEntry(VeltraneFinalCut16bit, s, {1e300, -7}, output, input, outWidth, outHeight);
    } else {
        CallEntry(VeltraneFinalCut, s, {1e300, -7}, output, outWidth, outHeight, input, inWidth,
                  inHeight);
    }
}

}  // namespace veltrane::testing

#endif
