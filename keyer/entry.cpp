#include "keyer/entry.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

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

/// What the host sees of a frame that the driver refused: nothing keyed, so nothing but the view.
void FinishRefused(const HostRows<unsigned char>& host, int width, int height, const Controls& c) {
    std::vector<unsigned char> row(static_cast<std::size_t>(width) * kElements);
    for (int y = 0; y < height; ++y) {
        host.read(y, host.source);
        std::fill(row.begin(), row.end(), static_cast<unsigned char>(0));
        FinishFor<unsigned char>(c)(host.source, row.data(), width);
        host.write(y, row.data());
    }
}

/// A host's frame on its way through the driver. Each row is read when it is first needed, and so
/// is still in the cache then.
template <class Sample>
class HostFrame {
public:
    HostFrame(const HostRows<Sample>& host, int width, int height, const Controls& c)
        : host_(host),
          width_(width),
          height_(height),
          pitch_(static_cast<std::size_t>(width) * kElements),
          finish_(FinishFor<Sample>(c)) {}

    void PassOn(const Controls& c) {
        for (int y = 0; y < height_; ++y) {
            Sample* row = Row(y);
            if (c.view != kSourceView) finish_(row, row, width_);
            host_.write(y, row);
        }
    }

    unsigned int Key(const Controls& c) {
        auto record = MakeRecord<Sample>(nullptr, host_.source, width_, height_, c);
        const bool whole = NeedsWholeFrame(record);
        const auto keyed = MakeBuffer<Sample>(whole ? pitch_ * height_ : pitch_);
        record.dst = keyed.get();
        const bool smooths = record.deblockValue != 0;
        const bool readsAgain = smooths && !Depth<Sample>::kSmoothsTransparent;
        const auto again = MakeBuffer<Sample>(readsAgain ? pitch_ : 0);
        const auto deliver = [&](int y, Sample* row) {
            if (readsAgain) host_.read(y, again.get());
            finish_(readsAgain ? again.get() : Row(y), row, width_);
            host_.write(y, row);
        };
        if (smooths) Row(height_ - 1);
        const FrameRows<Sample> source = smooths
                                             ? FrameRows<Sample>(host_.source, width_)
                                             : FrameRows<Sample>([this](int y) { return Row(y); });
        return DriveRows<Sample>(record, source, whole ? pitch_ : 0, std::cref(deliver));
    }

private:
    /// Row y, once all rows down to it have been read.
    Sample* Row(int y) {
        for (; rowsRead_ <= y; ++rowsRead_) {
            host_.read(rowsRead_, host_.source + rowsRead_ * pitch_);
        }
        return host_.source + y * pitch_;
    }

    const HostRows<Sample>& host_;
    int width_;
    int height_;
    std::size_t pitch_;
    RowFinish<Sample> finish_;
    int rowsRead_ = 0;
};

}  // namespace

namespace veltrane {

template <class Sample>
unsigned int FinalCut(const HostRows<Sample>& rows, int width, int height, const Controls& c) {
    if (width < 1 || height < 1) return kDone;
    HostFrame<Sample> frame(rows, width, height, c);
    if (c.view != kSourceView && IsKeyChosen(c)) {
        return FitsRecord(width, height) ? frame.Key(c) : kRefused;
    }
    frame.PassOn(c);
    return kDone;
}

template unsigned int FinalCut(const HostRows<unsigned short>&, int, int, const Controls&);
template unsigned int FinalCut(const HostRows<unsigned char>&, int, int, const Controls&);

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
        const FrameRows<unsigned short> source(input, width);
        status = DriveRows<unsigned short>(record, source, pitch, std::cref(finishRow));
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
        const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
        const auto source = MakeBuffer<unsigned char>(pitch * height);
        const HostRows<unsigned char> rows{
            source.get(),
            [&](int y, unsigned char* row) { ReverseElements(input + y * inputPitch, row, width); },
            [&](int y, const unsigned char* row) {
                ReverseElements(row, output + y * outputPitch, width);
            }};
        const unsigned int status = FinalCut(rows, width, height, c);
        if (status != kDone) FinishRefused(rows, width, height, c);
        return status;
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
