#ifndef VELTRANE_TESTS_KEYER_ENTRY_CALL_H
#define VELTRANE_TESTS_KEYER_ENTRY_CALL_H

#include <vector>

#include "keyer/entry.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {

/// One call of an entry, with the user's default settings and a chosen key.
struct EntryCall {
    int view = 2;
    double red = kScreen[2] / 255.0, green = kScreen[1] / 255.0, blue = kScreen[0] / 255.0;
    int smoothBG = 1, shadow = 100, clipBlack = 0, clipWhite = 100;
    int deBlocking = 0, deBlockValue = 1;
    int edgeContract = 0, contractMask = 2, contractThreshold = 10;
    int edgeBlur = 0, maskBlurRadius = 2, maskBlurValue = 50;
    int skinHue = 0, blueHue = 0, despillGray = 20, despillSkin = 20, despillBlue = 0;
    int screenGain = 33;

    static EntryCall Everything() {
        EntryCall call;
        call.deBlocking = call.edgeContract = call.edgeBlur = 1;
        call.deBlockValue = 3;
        call.shadow = 60;
        call.clipBlack = 5;
        call.clipWhite = 90;
        return call;
    }

    static EntryCall Any(Random& random) {
        const auto percent = [&] { return random.Biased(0, 100); };
        EntryCall call;
        call.view = random(0, 9) == 0 ? 0 : random(1, 2);
        for (double* level : {&call.red, &call.green, &call.blue})
            *level = random.OneIn(2) ? random(0, 1000) / 1000.0 : *level;
        if (random.OneIn(8)) call.red = call.green = call.blue = random(0, 2) / 510.0;
        call.smoothBG = random(0, 1), call.shadow = percent();
        call.clipBlack = random.OneIn(2) ? 0 : percent();
        call.clipWhite = random.OneIn(2) ? 100 : percent();
        call.deBlocking = random(0, 1), call.deBlockValue = random.Biased(1, 10);
        call.edgeContract = random(0, 1), call.contractMask = random.Biased(1, 10);
        call.contractThreshold = random.Biased(0, 50);
        call.edgeBlur = random(0, 1), call.maskBlurRadius = random.Biased(1, 100);
        call.maskBlurValue = percent();
        call.skinHue = random.Biased(-50, 50), call.blueHue = random.Biased(-50, 50);
        call.despillGray = percent(), call.despillSkin = percent(), call.despillBlue = percent();
        call.screenGain = percent();
        return call;
    }

    void operator()(unsigned short* output, const unsigned short* input, int width,
                    int height) const {
        VeltraneFinalCut16bit(output, input, width, height, 1e300, -7.0, view, red, green, blue,
                              smoothBG, shadow, clipBlack, clipWhite, deBlocking, deBlockValue,
                              edgeContract, contractMask, contractThreshold, edgeBlur,
                              maskBlurRadius, maskBlurValue, skinHue, blueHue, despillGray,
                              despillSkin, despillBlue, screenGain);
    }

    void operator()(unsigned char* output, int outputWidth, int outputHeight,
                    const unsigned char* input, int inputWidth, int inputHeight) const {
        VeltraneFinalCut(output, outputWidth, outputHeight, input, inputWidth, inputHeight, 1e300,
                         -7.0, view, red, green, blue, smoothBG, shadow, clipBlack, clipWhite,
                         deBlocking, deBlockValue, edgeContract, contractMask, contractThreshold,
                         edgeBlur, maskBlurRadius, maskBlurValue, skinHue, blueHue, despillGray,
                         despillSkin, despillBlue, screenGain);
    }
    void operator()(unsigned char* output, const unsigned char* input, int width,
                    int height) const {
        (*this)(output, width, height, input, width, height);
    }
};

}  // namespace veltrane::testing

#endif
