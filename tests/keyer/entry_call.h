#ifndef VELTRANE_TESTS_KEYER_ENTRY_CALL_H
#define VELTRANE_TESTS_KEYER_ENTRY_CALL_H

#include "keyer/entry.h"
#include "keyer/final_cut.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {

/// Result view with the key of the studio screen and all options on.
inline constexpr Controls kAllOn{2,
                                 kScreen[2] / 255.0,
                                 kScreen[1] / 255.0,
                                 kScreen[0] / 255.0,
                                 1,
                                 60,
                                 5,
                                 90,
                                 1,
                                 3,
                                 1,
                                 2,
                                 10,
                                 1,
                                 2,
                                 50,
                                 0,
                                 0,
                                 20,
                                 20,
                                 0,
                                 33};

/// Any settings in range, now and then with no key chosen, equal clips or a value to be refused.
inline Controls AnyControls(Random& random) {
    const auto any = [&](int low, int high) { return random.Biased(low, high); };
    const auto level = [&](int usual) { return random(0, 1) ? usual / 255.0 : any(0, 99) / 99.0; };
    Controls c{any(0, 2),   level(60),   level(180),  level(70),   any(0, 1),    any(0, 100),
               any(0, 100), any(0, 100), any(0, 1),   any(1, 10),  any(0, 1),    any(1, 10),
               any(0, 50),  any(0, 1),   any(1, 100), any(0, 100), any(-50, 50), any(-50, 50),
               any(0, 100), any(0, 100), any(0, 100), any(0, 100)};
    if (random.OneIn(8)) c.keyRed = c.keyGreen = c.keyBlue = random(0, 2) / 510.0;
    if (random.OneIn(3)) c.clipBlack = 0, c.clipWhite = 100;
    if (random.OneIn(6)) c.clipWhite = c.clipBlack;
    if (random.OneIn(8)) c.despillGray = random(101, 1000);
    return c;
}

template <typename T>
void Enter(const Controls& c, T* output, int outWidth, int outHeight, const T* input, int inWidth,
           int inHeight) {
    const auto run = [&](auto entry, auto... frames) {
        entry(frames..., 1e300, -7.0, c.view, c.keyRed, c.keyGreen, c.keyBlue, c.smoothBG, c.shadow,
              c.clipBlack, c.clipWhite, c.deBlocking, c.deBlockValue, c.edgeContract,
              c.contractMask, c.contractThreshold, c.edgeBlur, c.maskBlurRadius, c.maskBlurValue,
              c.skinHue, c.blueHue, c.despillGray, c.despillSkin, c.despillBlue, c.screenGain);
    };
    if constexpr (sizeof(T) == 2) {
        run(VeltraneFinalCut16bit, output, input, outWidth, outHeight);
    } else {
        run(VeltraneFinalCut, output, outWidth, outHeight, input, inWidth, inHeight);
    }
}

}  // namespace veltrane::testing

#endif
