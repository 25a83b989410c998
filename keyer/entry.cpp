#include "keyer/entry.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "keyer/driver.h"
#include "keyer/final_cut.h"
#include "keyer/finish.h"

namespace {

using namespace veltrane;

enum : int { kSourceView = 0, kMatteView = 1 };

constexpr int kLongestSide = 65535;  ///< what a record can describe
constexpr unsigned int kDone = 0;
constexpr unsigned int kOutOfMemory = 1;
constexpr unsigned int kRefused = 2;

/// A colour at or below one step of 255 in every channel, such as the default black, means that
/// none has been picked.
bool IsKeyChosen(const Controls& c) {
    return c.keyRed * 255 > 1.0 || c.keyGreen * 255 > 1.0 || c.keyBlue * 255 > 1.0;
}

template <class T>
void SetPair(T (&pair)[2], double value) {
    pair[0] = pair[1] = static_cast<T>(RoundHalfUp(value));
}

unsigned short WhenOn(int on, int value) {
    return static_cast<unsigned short>(on != 0 ? value : 0);
}

template <class Sample>
typename Depth<Sample>::Record MakeRecord(Sample* output, const Sample* input, int width,
                                          int height, const Controls& c) {
    constexpr double kFull = kFullScale<Sample>;
    typename Depth<Sample>::Record r{};
    r.src = input;
    r.dst = output;
    r.width = static_cast<unsigned short>(width);
    r.height = static_cast<unsigned short>(height);
    SetPair(r.keyR, c.keyRed * kFull);
    SetPair(r.keyG, c.keyGreen * kFull);
    SetPair(r.keyB, c.keyBlue * kFull);
    SetPair(r.screenGain, toValue(30, 0, c.screenGain));
    SetPair(r.shadow, toValue(100, 0, c.shadow));
    SetPair(r.skinHue, toValue2(170, 120, c.skinHue));
    SetPair(r.blueHue, toValue2(330, 250, c.blueHue));
    SetPair(r.despillGray, toValue(100, 0, c.despillGray));
    SetPair(r.despillSkin, toValue(50, 0, c.despillSkin));
    SetPair(r.despillBlue, toValue(50, 0, c.despillBlue));
    r.deblockValue = WhenOn(c.deBlocking, c.deBlockValue);
    r.contractMask = WhenOn(c.edgeContract, c.contractMask);
    r.contractThreshold = WhenOn(c.edgeContract, c.contractThreshold);
    r.smoothBG = static_cast<unsigned int>(c.smoothBG);
    r.maskBlurRadius = WhenOn(c.edgeBlur, c.maskBlurRadius);
    r.maskBlurValue = WhenOn(c.edgeBlur, c.maskBlurValue);
    return r;
}

bool FitsRecord(int width, int height) {
    return width <= kLongestSide && height <= kLongestSide;
}

template <class Sample>
RowFinish<Sample> FinishFor(const Controls& c) {
    return RowFinish<Sample>(c.clipBlack, c.clipWhite, c.view == kMatteView);
}

unsigned int KeyHostFrame(unsigned char* output, std::size_t outputPitch,
                          const unsigned char* input, std::size_t inputPitch, int width, int height,
                          const Controls& c) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const auto source = MakeBuffer<unsigned char>(pitch * height);
    const auto hostRow = MakeBuffer<unsigned char>(pitch);
    for (int y = 0; y < height; ++y) {
        ReverseElements(input + y * inputPitch, source.get() + y * pitch, width);
    }
    const auto finish = FinishFor<unsigned char>(c);
    const bool smoothed = c.deBlocking != 0;
    const auto deliver = [&](int y, unsigned char* row) {
        const unsigned char* untouched = source.get() + y * pitch;
        if (smoothed) {
            ReverseElements(input + y * inputPitch, hostRow.get(), width);
            untouched = hostRow.get();
        }
        finish(untouched, row, width);
        ReverseElements(row, output + y * outputPitch, width);
    };
    if (!IsKeyChosen(c)) {
        for (int y = 0; y < height; ++y) deliver(y, source.get() + y * pitch);
        return kDone;
    }
    auto record = MakeRecord<unsigned char>(nullptr, source.get(), width, height, c);
    const bool whole = NeedsWholeFrame(record);
    const auto keyed = MakeBuffer<unsigned char>(whole ? pitch * height : pitch);
    record.dst = keyed.get();
    const unsigned int status =
        FitsRecord(width, height)
            ? DriveRows<unsigned char>(record, whole ? pitch : 0, std::cref(deliver))
            : kRefused;
    if (status == kDone) return kDone;
    for (int y = 0; y < height; ++y) {
        std::fill_n(keyed.get(), pitch, static_cast<unsigned char>(0));
        deliver(y, keyed.get());
    }
    return status;
}

}  // namespace

namespace veltrane {

unsigned int FinalCut(unsigned short* output, const unsigned short* input, int width, int height,
                      const Controls& c) {
    if (width < 1 || height < 1) return kDone;
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const std::size_t bytes = pitch * height * sizeof(*input);
    if (c.view == kSourceView) {
        std::memcpy(output, input, bytes);
        return kDone;
    }
    const auto finish = FinishFor<unsigned short>(c);
    const auto finishRow = [&](int y, unsigned short* row) {
        finish(input + y * pitch, row, width);
    };
    unsigned int status = kDone;
    if (!IsKeyChosen(c)) {
        std::memcpy(output, input, bytes);
    } else if (FitsRecord(width, height)) {
        auto record = MakeRecord(output, input, width, height, c);
        status = DriveRows<unsigned short>(record, pitch, std::cref(finishRow));
        if (status == kDone) return kDone;
    } else {
        status = kRefused;
    }
    for (int y = 0; y < height; ++y) finishRow(y, output + y * pitch);
    return status;
}

unsigned int FinalCut(unsigned char* output, int outputWidth, int outputHeight,
                      const unsigned char* input, int inputWidth, int inputHeight,
                      const Controls& c) {
    const int width = std::min(outputWidth, inputWidth);
    const int height = std::min(outputHeight, inputHeight);
    if (width < 1 || height < 1) return kDone;
    const std::size_t outputPitch = static_cast<std::size_t>(outputWidth) * kElements;
    const std::size_t inputPitch = static_cast<std::size_t>(inputWidth) * kElements;
    if (c.view == kSourceView) {
        for (int y = 0; y < height; ++y) {
            std::memcpy(output + y * outputPitch, input + y * inputPitch,
                        static_cast<std::size_t>(width) * kElements);
        }
        return kDone;
    }
    try {
        return KeyHostFrame(output, outputPitch, input, inputPitch, width, height, c);
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
}

}  // namespace veltrane

void VeltraneFinalCut16bit(unsigned short* output, const unsigned short* input, int width,
                           int height, double, double, int view, double keyRed, double keyGreen,
                           double keyBlue, int smoothBG, int shadow, int clipBlack, int clipWhite,
                           int deBlocking, int deBlockValue, int edgeContract, int contractMask,
                           int contractThreshold, int edgeBlur, int maskBlurRadius,
                           int maskBlurValue, int skinHue, int blueHue, int despillGray,
                           int despillSkin, int despillBlue, int screenGain) {
    FinalCut(output, input, width, height,
             {view,          keyRed,       keyGreen,          keyBlue,     smoothBG,
              shadow,        clipBlack,    clipWhite,         deBlocking,  deBlockValue,
              edgeContract,  contractMask, contractThreshold, edgeBlur,    maskBlurRadius,
              maskBlurValue, skinHue,      blueHue,           despillGray, despillSkin,
              despillBlue,   screenGain});
}

void VeltraneFinalCut(unsigned char* output, int outputWidth, int outputHeight,
                      const unsigned char* input, int inputWidth, int inputHeight, double, double,
                      int view, double keyRed, double keyGreen, double keyBlue, int smoothBG,
                      int shadow, int clipBlack, int clipWhite, int deBlocking, int deBlockValue,
                      int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                      int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue,
                      int despillGray, int despillSkin, int despillBlue, int screenGain) {
    FinalCut(output, outputWidth, outputHeight, input, inputWidth, inputHeight,
             {view,          keyRed,       keyGreen,          keyBlue,     smoothBG,
              shadow,        clipBlack,    clipWhite,         deBlocking,  deBlockValue,
              edgeContract,  contractMask, contractThreshold, edgeBlur,    maskBlurRadius,
              maskBlurValue, skinHue,      blueHue,           despillGray, despillSkin,
              despillBlue,   screenGain});
}

double toValue(double max, double min, double percent) {
    return (max - min) * percent / 100 + min;
}

double toValue2(double max, double min, double value) {
    return (value + 50) * ((max - min) / 100) + min;
}

double toParcentage(double max, double min, double value) {
    return 100 / (max - min) * (value - min);
}

double toParcentage2(double max, double min, double value) {
    return 100 / (max - min) * (value - min) - 50;
}
