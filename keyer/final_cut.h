#ifndef VELTRANE_KEYER_FINAL_CUT_H
#define VELTRANE_KEYER_FINAL_CUT_H

namespace veltrane {

/// The user's settings in slider units, as the entries take them.
struct Controls {
    int view;
    double keyRed;
    double keyGreen;
    double keyBlue;
    int smoothBG;
    int shadow;
    int clipBlack;
    int clipWhite;
    int deBlocking;
    int deBlockValue;
    int edgeContract;
    int contractMask;
    int contractThreshold;
    int edgeBlur;
    int maskBlurRadius;
    int maskBlurValue;
    int skinHue;
    int blueHue;
    int despillGray;
    int despillSkin;
    int despillBlue;
    int screenGain;
};

/// VeltraneFinalCut16bit with its outcome: 0 done, 1 out of memory, 2 settings or size refused.
unsigned int FinalCut(unsigned short* output, const unsigned short* input, int width, int height,
                      const Controls& controls);

/// VeltraneFinalCut with its outcome. Where memory does not even suffice for the working frames,
/// the output is left as it was.
unsigned int FinalCut(unsigned char* output, int outputWidth, int outputHeight,
                      const unsigned char* input, int inputWidth, int inputHeight,
                      const Controls& controls);

}  // namespace veltrane

#endif
