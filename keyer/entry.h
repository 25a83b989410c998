#ifndef VELTRANE_KEYER_ENTRY_H
#define VELTRANE_KEYER_ENTRY_H

#ifdef __cplusplus
extern "C" {
#endif

/// Keys one 16-bit frame: blue, green, red, alpha, packed rows, full scale 65535. No error is
/// reported; use veltrane::Key where settings come from a person. With deBlocking on, the colour
/// of the input frame is smoothed in place, so its memory must then be writable.
///
/// view: 0 source, 1 matte, 2 result. keyRed, keyGreen, keyBlue: 0..1; at or below 1/255 in all
/// three no key is chosen and the frame passes unkeyed. Switches are 0 or 1; shadow, clipBlack,
/// clipWhite, maskBlurValue, the three despill amounts and screenGain 0..100; deBlockValue and
/// contractMask 1..10; contractThreshold 0..50; maskBlurRadius 1..100 pixels; the hues -50..50.
/// hostValue1 and hostValue2 are not read.
void VeltraneFinalCut16bit(unsigned short* output, const unsigned short* input, int width,
                           int height, double hostValue1, double hostValue2, int view,
                           double keyRed, double keyGreen, double keyBlue, int smoothBG, int shadow,
                           int clipBlack, int clipWhite, int deBlocking, int deBlockValue,
                           int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                           int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue,
                           int despillGray, int despillSkin, int despillBlue, int screenGain);

/// The same for 8-bit host frames: alpha, red, green, blue, full scale 255, each with packed rows
/// of its own width. Works on the smaller width and height of the two; the rest of the output is
/// not touched, and the input never is.
void VeltraneFinalCut(unsigned char* output, int outputWidth, int outputHeight,
                      const unsigned char* input, int inputWidth, int inputHeight,
                      double hostValue1, double hostValue2, int view, double keyRed,
                      double keyGreen, double keyBlue, int smoothBG, int shadow, int clipBlack,
                      int clipWhite, int deBlocking, int deBlockValue, int edgeContract,
                      int contractMask, int contractThreshold, int edgeBlur, int maskBlurRadius,
                      int maskBlurValue, int skinHue, int blueHue, int despillGray, int despillSkin,
                      int despillBlue, int screenGain);

/// A percentage of the range min..max: (max - min) x percent / 100 + min.
double toValue(double max, double min, double percent);
/// -50..50 onto min..max.
double toValue2(double max, double min, double value);
/// The inverse of toValue.
double toParcentage(double max, double min, double value);
/// The inverse of toValue2.
double toParcentage2(double max, double min, double value);

#ifdef __cplusplus
}
#endif

#endif
