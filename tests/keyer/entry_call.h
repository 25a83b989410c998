#ifndef VELTRANE_TESTS_KEYER_ENTRY_CALL_H
#define VELTRANE_TESTS_KEYER_ENTRY_CALL_H

#include <array>
#include <tuple>

#include "keyer/entry.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {

/// The whole-number settings of an entry, in the order of its arguments.
enum Setting {
    kSmoothBG,
    kShadow,
    kClipBlack,
    kClipWhite,
    kDeBlocking,
    kDeBlockValue,
    kEdgeContract,
    kContractMask,
    kContractThreshold,
    kEdgeBlur,
    kMaskBlurRadius,
    kMaskBlurValue,
    kSkinHue,
    kBlueHue,
    kDespillGray,
    kDespillSkin,
    kDespillBlue,
    kScreenGain,
    kSettings
};

/// One call of an entry; in the beginning with the key of the studio screen and all options on.
struct EntryCall {
    int view = 2;
    double red = kScreen[2] / 255.0, green = kScreen[1] / 255.0, blue = kScreen[0] / 255.0;
    std::array<int, kSettings> values{1, 60, 5, 90, 1, 3, 1, 2, 10, 1, 2, 50, 0, 0, 20, 20, 0, 33};

    /// Any settings in range, now and then with no key chosen.
    static EntryCall Any(Random& random) {
        static constexpr int kLow[] = {0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 1, 0, -50, -50, 0, 0, 0, 0};
        static constexpr int kHigh[] = {1, 100, 100, 100, 1,  10,  1,   10,  50,
                                        1, 100, 100, 50,  50, 100, 100, 100, 100};
        EntryCall call;
        call.view = random.OneIn(10) ? 0 : random(1, 2);
        for (double* level : {&call.red, &call.green, &call.blue})
            if (random.OneIn(2)) *level = random(0, 1000) / 1000.0;
        if (random.OneIn(8)) call.red = call.green = call.blue = random(0, 2) / 510.0;
        for (int i = 0; i < kSettings; ++i) call.values[i] = random.Biased(kLow[i], kHigh[i]);
        if (random.OneIn(2)) call.values[kClipBlack] = 0;
        if (random.OneIn(2)) call.values[kClipWhite] = 100;
        return call;
    }

    int& operator[](Setting setting) { return values[setting]; }
    int operator[](Setting setting) const { return values[setting]; }

    void operator()(unsigned short* output, const unsigned short* input, int width,
                    int height) const {
        const auto run = [&](auto... v) {
            VeltraneFinalCut16bit(output, input, width, height, 1e300, -7.0, view, red, green, blue,
                                  v...);
        };
        std::apply(run, values);
    }
    void operator()(unsigned char* output, int outputWidth, int outputHeight,
                    const unsigned char* input, int inputWidth, int inputHeight) const {
        const auto run = [&](auto... v) {
            VeltraneFinalCut(output, outputWidth, outputHeight, input, inputWidth, inputHeight,
                             1e300, -7.0, view, red, green, blue, v...);
        };
        std::apply(run, values);
    }
    void operator()(unsigned char* output, const unsigned char* input, int width,
                    int height) const {
        (*this)(output, width, height, input, width, height);
    }
};

}  // namespace veltrane::testing

#endif
