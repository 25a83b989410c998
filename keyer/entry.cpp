#include "keyer/entry.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "keyer/depth.h"
#include "keyer/final_cut.h"

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

template <class Sample>
unsigned int RunKeyer(Sample* output, const Sample* input, int width, int height,
                      const Controls& c) {
    if (width > kLongestSide || height > kLongestSide) return kRefused;
    auto record = MakeRecord(output, input, width, height, c);
    KORMADEL_Param frame{};
    return Depth<Sample>::kDrive(&record, &frame, 0);
}

/// The smaller of matte and source alpha; fully transparent source pixels stay as they are.
template <class Sample>
void LimitBySource(Sample* output, const Sample* input, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels * kElements; i += kElements) {
        const Sample alpha = input[i + kAlpha];
        if (alpha == 0) {
            std::copy_n(input + i, kElements, output + i);
        } else {
            output[i + kAlpha] = std::min(output[i + kAlpha], alpha);
        }
    }
}

/// The matte's black and white levels. Equal levels are set one step apart; crossed ones leave a
/// hard threshold at the black level.
template <class Sample>
class MatteClip {
public:
    explicit MatteClip(const Controls& c)
        : active_(c.clipWhite < 100 || c.clipBlack > 0),
          low_(Level(c.clipBlack)),
          high_(Level(c.clipWhite)) {
        if (low_ == high_) low_ = high_ + 1;
    }

    void Apply(Sample* output, std::size_t pixels) const {
        if (!active_) return;
        const CImagingORV imaging;
        for (std::size_t i = 0; i < pixels; ++i) {
            Sample& alpha = output[i * kElements + kAlpha];
            const int clipped = imaging.LinerInter(alpha, low_, high_, 0, kFull);
            alpha = static_cast<Sample>(Clamp(clipped, 0, kFull));
        }
    }

private:
    static constexpr int kFull = kFullScale<Sample>;

    static int Level(int percent) {
        return RoundHalfUp(percent * static_cast<double>(kFull) / 100.0);
    }

    bool active_;
    int low_;
    int high_;
};

template <class Sample>
void ShowMatte(Sample* output, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels * kElements; i += kElements) {
        std::fill_n(output + i, kAlpha, output[i + kAlpha]);
        output[i + kAlpha] = kFullScale<Sample>;
    }
}

/// Alpha, red, green, blue to blue, green, red, alpha, or back.
void ReverseElements(const unsigned char* from, unsigned char* to, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels * kElements; i += kElements) {
        std::reverse_copy(from + i, from + i + kElements, to + i);
    }
}

unsigned int KeyHostFrame(unsigned char* output, std::size_t outputPitch,
                          const unsigned char* input, std::size_t inputPitch, int width, int height,
                          const Controls& c) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const std::size_t size = pitch * height;
    const auto source = MakeBuffer<unsigned char>(size);
    const auto keyed = std::make_unique<unsigned char[]>(size);
    const auto hostRow = MakeBuffer<unsigned char>(pitch);
    for (int y = 0; y < height; ++y) {
        ReverseElements(input + y * inputPitch, source.get() + y * pitch, width);
    }
    unsigned int status = kDone;
    if (IsKeyChosen(c)) {
        status = RunKeyer(keyed.get(), source.get(), width, height, c);
    } else {
        std::memcpy(keyed.get(), source.get(), size);
    }
    const MatteClip<unsigned char> clip(c);
    for (int y = 0; y < height; ++y) {
        unsigned char* row = keyed.get() + y * pitch;
        // De-blocking has smoothed the working copy, so the untouched pixels come from the host.
        ReverseElements(input + y * inputPitch, hostRow.get(), width);
        LimitBySource(row, hostRow.get(), width);
        clip.Apply(row, width);
        if (c.view == kMatteView) ShowMatte(row, width);
        ReverseElements(row, output + y * outputPitch, width);
    }
    return status;
}

}  // namespace

namespace veltrane {

unsigned int FinalCut(unsigned short* output, const unsigned short* input, int width, int height,
                      const Controls& c) {
    if (width < 1 || height < 1) return kDone;
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    const std::size_t bytes = pixels * kElements * sizeof(*input);
    if (c.view == kSourceView) {
        std::memcpy(output, input, bytes);
        return kDone;
    }
    unsigned int status = kDone;
    if (IsKeyChosen(c)) {
        status = RunKeyer(output, input, width, height, c);
    } else {
        std::memcpy(output, input, bytes);
    }
    LimitBySource(output, input, pixels);
    MatteClip<unsigned short>(c).Apply(output, pixels);
    if (c.view == kMatteView) ShowMatte(output, pixels);
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
