#include "keyer/entry.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "keyer/driver.h"
#include "keyer/final_cut.h"
#include "keyer/finish.h"

namespace {

using namespace veltrane;

constexpr int kLongestSide = 65535;  ///< what a record can describe

/// A colour at or below one step of 255 in every channel, such as the default black, means that
/// none has been picked.
bool IsKeyChosen(const Settings& s) {
    const Color& key = s.keyColor;
    return key.red * 255 > 1.0 || key.green * 255 > 1.0 || key.blue * 255 > 1.0;
}

template <class T>
void SetPair(T (&pair)[2], double value) {
    pair[0] = pair[1] = static_cast<T>(RoundHalfUp(value));
}

unsigned short WhenOn(bool on, int value) {
    return static_cast<unsigned short>(on ? value : 0);
}

template <class Sample>
typename Depth<Sample>::Record MakeRecord(Sample* output, const Sample* input, int width,
                                          int height, const Settings& s) {
    constexpr double kFull = kFullScale<Sample>;
    typename Depth<Sample>::Record r{};
    r.src = input;
    r.dst = output;
    r.width = static_cast<unsigned short>(width);
    r.height = static_cast<unsigned short>(height);
    SetPair(r.keyR, s.keyColor.red * kFull);
    SetPair(r.keyG, s.keyColor.green * kFull);
    SetPair(r.keyB, s.keyColor.blue * kFull);
    SetPair(r.screenGain, toValue(30, 0, s.screenGain));
    SetPair(r.shadow, toValue(100, 0, s.shadow));
    SetPair(r.skinHue, toValue2(170, 120, s.skinHue));
    SetPair(r.blueHue, toValue2(330, 250, s.blueHue));
    SetPair(r.despillGray, toValue(100, 0, s.despillGray));
    SetPair(r.despillSkin, toValue(50, 0, s.despillSkin));
    SetPair(r.despillBlue, toValue(50, 0, s.despillBlue));
    r.deblockValue = WhenOn(s.deBlocking, s.deBlockValue);
    r.contractMask = WhenOn(s.edgeContract, s.contractMask);
    r.contractThreshold = WhenOn(s.edgeContract, s.contractThreshold);
    r.smoothBG = static_cast<unsigned int>(s.smoothBG);
    r.maskBlurRadius = WhenOn(s.edgeBlur, s.maskBlurRadius);
    r.maskBlurValue = WhenOn(s.edgeBlur, s.maskBlurValue);
    return r;
}

bool FitsRecord(int width, int height) {
    return width <= kLongestSide && height <= kLongestSide;
}

template <class Sample>
RowFinish<Sample> FinishFor(const Settings& s) {
    return RowFinish<Sample>(s.clipBlack, s.clipWhite, s.view == View::Matte);
}

/// What the host sees of a frame that the driver refused: nothing keyed, so nothing but the view.
void FinishRefused(const HostRows<unsigned char>& host, int width, int height, const Settings& s) {
    const std::size_t size = static_cast<std::size_t>(width) * kElements;
    std::vector<unsigned char> source(size);
    std::vector<unsigned char> row(size);
    for (int y = 0; y < height; ++y) {
        host.read(y, source.data());
        std::fill(row.begin(), row.end(), static_cast<unsigned char>(0));
        FinishFor<unsigned char>(s)(source.data(), row.data(), width);
        host.write(y, row.data());
    }
}

/// A host's frame on its way through the driver. Its rows are converted anew whenever they are
/// read, which costs less than to keep them, but for a frame that is to be de-blocked.
template <class Sample>
class HostFrame {
public:
    HostFrame(const HostRows<Sample>& host, int width, int height, const Settings& s)
        : host_(host),
          width_(width),
          height_(height),
          pitch_(static_cast<std::size_t>(width) * kElements),
          finish_(FinishFor<Sample>(s)),
          row_(MakeBuffer<Sample>(pitch_)) {}

    void PassOn(const Settings& s) {
        for (int y = 0; y < height_; ++y) {
            Sample* row = Row(y);
            if (s.view != View::Source) finish_(row, row, width_);
            host_.write(y, row);
        }
    }

    /// Takes the memory that Key needs of its own; the driver takes more.
    void MakeRoom(const Settings& s) {
        record_ = MakeRecord<Sample>(nullptr, row_.get(), width_, height_, s);
        const std::size_t frame = pitch_ * height_;
        keyed_ = MakeBuffer<Sample>(NeedsWholeFrame(record_) ? frame : pitch_);
        record_.dst = keyed_.get();
        if (record_.deblockValue == 0) return;
        smoothed_ = MakeBuffer<Sample>(frame);
        record_.src = smoothed_.get();
    }

    Status Key() {
        const std::size_t pitch = NeedsWholeFrame(record_) ? pitch_ : 0;
        if (smoothed_ != nullptr) return KeySmoothed(pitch);
        const FrameRows<Sample> source([this](int y) { return Row(y); }, host_.source);
        const auto take = [this](int y, Sample* row) {
            finish_(Row(y), row, width_);
            host_.write(y, row);
        };
        return DriveRows<Sample>(record_, source, pitch, {take, host_.target});
    }

private:
    Status KeySmoothed(std::size_t pitch) {
        for (int y = 0; y < height_; ++y) host_.read(y, smoothed_.get() + y * pitch_);
        const FrameRows<Sample> source(smoothed_.get(), width_, height_);
        const auto take = [&](int y, Sample* row) {
            finish_(Depth<Sample>::kSmoothsTransparent ? source(y) : Row(y), row, width_);
            host_.write(y, row);
        };
        return DriveRows<Sample>(record_, source, pitch, {take, host_.target});
    }

    /// Row y, until another one is asked for.
    Sample* Row(int y) {
        if (y != rowRead_) host_.read(rowRead_ = y, row_.get());
        return row_.get();
    }

    const HostRows<Sample>& host_;
    int width_;
    int height_;
    std::size_t pitch_;
    RowFinish<Sample> finish_;
    std::unique_ptr<Sample[]> row_;
    int rowRead_ = -1;
    typename Depth<Sample>::Record record_{};
    std::unique_ptr<Sample[]> keyed_;     ///< a frame, or a row where that is enough
    std::unique_ptr<Sample[]> smoothed_;  ///< the source where it is to be de-blocked, or null
};

/// The entries report nothing.
template <class Run>
void IgnoreOutcome(Run run) noexcept {
    try {
        static_cast<void>(run());
    } catch (...) {
    }
}

/// FinalCut, where driven tells whether the driver has been called.
template <class Sample>
Status Run(const HostRows<Sample>& rows, int width, int height, const Settings& s, bool& driven) {
    if (width < 1 || height < 1) return Status::kDone;
    HostFrame<Sample> frame(rows, width, height, s);
    if (s.view == View::Source || !IsKeyChosen(s)) {
        frame.PassOn(s);
        return Status::kDone;
    }
    if (!FitsRecord(width, height)) return Status::kRefused;
    frame.MakeRoom(s);
    driven = true;
    return frame.Key();
}

/// A frame that the driver failed to key is finished like one that it refused.
Status RunAndFinish(const HostRows<unsigned char>& rows, int width, int height, const Settings& s) {
    bool driven = false;
    Status status = Status::kRefused;
    try {
        status = Run(rows, width, height, s, driven);
    } catch (...) {
        if (driven) FinishRefused(rows, width, height, s);
        throw;
    }
    if (status != Status::kDone) FinishRefused(rows, width, height, s);
    return status;
}

}  // namespace

namespace veltrane {

template <class Sample>
Status FinalCut(const HostRows<Sample>& rows, int width, int height, const Settings& s) {
    bool driven = false;
    return Run(rows, width, height, s, driven);
}

template Status FinalCut(const HostRows<unsigned short>&, int, int, const Settings&);
template Status FinalCut(const HostRows<unsigned char>&, int, int, const Settings&);

Status FinalCut(unsigned short* output, const unsigned short* input, int width, int height,
                const Settings& s) {
    if (width < 1 || height < 1) return Status::kDone;
    const std::size_t pitch = static_cast<std::size_t>(width) * kElements;
    const bool keys = s.view != View::Source && IsKeyChosen(s);
    if (!keys) std::memcpy(output, input, pitch * height * sizeof(*input));
    if (s.view == View::Source) return Status::kDone;
    const auto finish = FinishFor<unsigned short>(s);
    const auto finishRow = [&](int y, unsigned short* row) {
        finish(input + y * pitch, row, width);
    };
    const auto finishAll = [&] {
        for (int y = 0; y < height; ++y) finishRow(y, output + y * pitch);
    };
    Status status = keys ? Status::kRefused : Status::kDone;
    if (keys && FitsRecord(width, height)) {
        const auto record = MakeRecord(output, input, width, height, s);
        const FrameRows<unsigned short> source(input, width, height);
        try {
            status = DriveRows<unsigned short>(record, source, pitch, {std::cref(finishRow)});
        } catch (...) {
            finishAll();
            throw;
        }
        if (status == Status::kDone) return status;
    }
    finishAll();
    return status;
}

Status FinalCut(unsigned char* output, int outputWidth, int outputHeight,
                const unsigned char* input, int inputWidth, int inputHeight, const Settings& s) {
    const int width = std::min(outputWidth, inputWidth);
    const int height = std::min(outputHeight, inputHeight);
    if (width < 1 || height < 1) return Status::kDone;
    const std::size_t outputPitch = static_cast<std::size_t>(outputWidth) * kElements;
    const std::size_t inputPitch = static_cast<std::size_t>(inputWidth) * kElements;
    const std::size_t size = static_cast<std::size_t>(width) * kElements;
    if (s.view == View::Source) {
        for (int y = 0; y < height; ++y) {
            std::memcpy(output + y * outputPitch, input + y * inputPitch, size);
        }
        return Status::kDone;
    }
    const HostRows<unsigned char> rows{
        {input, static_cast<std::ptrdiff_t>(inputPitch), size, height},
        {output, static_cast<std::ptrdiff_t>(outputPitch), size, height},
        [&](int y, unsigned char* row) { ReverseElements(input + y * inputPitch, row, width); },
        [&](int y, const unsigned char* row) {
            ReverseElements(row, output + y * outputPitch, width);
        }};
    return RunAndFinish(rows, width, height, s);
}

}  // namespace veltrane

namespace {

/// The entries' numbers as settings: any switch but 0 counts as on, any view but source and matte
/// as the result.
Settings SettingsOf(int view, double keyRed, double keyGreen, double keyBlue, int smoothBG,
                    int shadow, int clipBlack, int clipWhite, int deBlocking, int deBlockValue,
                    int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                    int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue,
                    int despillGray, int despillSkin, int despillBlue, int screenGain) {
    const bool known =
        view == static_cast<int>(View::Source) || view == static_cast<int>(View::Matte);
    return {.view = known ? static_cast<View>(view) : View::Result,
            .keyColor = {keyRed, keyGreen, keyBlue},
            .smoothBG = smoothBG != 0,
            .shadow = shadow,
            .clipBlack = clipBlack,
            .clipWhite = clipWhite,
            .deBlocking = deBlocking != 0,
            .deBlockValue = deBlockValue,
            .edgeContract = edgeContract != 0,
            .contractMask = contractMask,
            .contractThreshold = contractThreshold,
            .edgeBlur = edgeBlur != 0,
            .maskBlurRadius = maskBlurRadius,
            .maskBlurValue = maskBlurValue,
            .skinHue = skinHue,
            .blueHue = blueHue,
            .despillGray = despillGray,
            .despillSkin = despillSkin,
            .despillBlue = despillBlue,
            .screenGain = screenGain};
}

}  // namespace

void VeltraneFinalCut16bit(unsigned short* output, const unsigned short* input, int width,
                           int height, double, double, int view, double keyRed, double keyGreen,
                           double keyBlue, int smoothBG, int shadow, int clipBlack, int clipWhite,
                           int deBlocking, int deBlockValue, int edgeContract, int contractMask,
                           int contractThreshold, int edgeBlur, int maskBlurRadius,
                           int maskBlurValue, int skinHue, int blueHue, int despillGray,
                           int despillSkin, int despillBlue, int screenGain) {
    IgnoreOutcome([&] {
        return FinalCut(
            output, input, width, height,
            SettingsOf(view, keyRed, keyGreen, keyBlue, smoothBG, shadow, clipBlack, clipWhite,
                       deBlocking, deBlockValue, edgeContract, contractMask, contractThreshold,
                       edgeBlur, maskBlurRadius, maskBlurValue, skinHue, blueHue, despillGray,
                       despillSkin, despillBlue, screenGain));
    });
}

void VeltraneFinalCut(unsigned char* output, int outputWidth, int outputHeight,
                      const unsigned char* input, int inputWidth, int inputHeight, double, double,
                      int view, double keyRed, double keyGreen, double keyBlue, int smoothBG,
                      int shadow, int clipBlack, int clipWhite, int deBlocking, int deBlockValue,
                      int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                      int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue,
                      int despillGray, int despillSkin, int despillBlue, int screenGain) {
    IgnoreOutcome([&] {
        return FinalCut(
            output, outputWidth, outputHeight, input, inputWidth, inputHeight,
            SettingsOf(view, keyRed, keyGreen, keyBlue, smoothBG, shadow, clipBlack, clipWhite,
                       deBlocking, deBlockValue, edgeContract, contractMask, contractThreshold,
                       edgeBlur, maskBlurRadius, maskBlurValue, skinHue, blueHue, despillGray,
                       despillSkin, despillBlue, screenGain));
    });
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
