#include "keyer/entry.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "imaging/convert/convert.h"
#include "keyer/driver.h"
#include "keyer/frame_cut.h"

namespace {

using namespace veltrane;

constexpr int kLongestSide = 65535;  ///< what a record can describe
constexpr PixelFormat kHostFormat{PixelOrder::kArgb};

std::size_t Pitch(int width) {
    return static_cast<std::size_t>(width) * kElements;
}

bool FitsRecord(int width, int height) {
    return width <= kLongestSide && height <= kLongestSide;
}

/// Runs work and tells whether it came to its end; the entries report nothing.
template <class Work>
bool Succeeds(Work work) noexcept {
    try {
        return work() == Status::kDone;
    } catch (...) {
        return false;
    }
}

/// What the driver does not key is finished all the same, whatever the output holds by then.
void Cut(unsigned short* output, const unsigned short* input, int width, int height,
         const Settings& s) {
    if (width < 1 || height < 1) return;
    const std::size_t pitch = Pitch(width);
    const auto finish = FinishFor<unsigned short>(s);
    const auto finishRow = [&](int, const SourceRow<unsigned short>& source, unsigned short* row) {
        finish(source.given, row, width);
    };
    if (s.view != View::Source && IsKeyChosen(s)) {
        auto record = MakeRecord<unsigned short>(s, width, height);
        record.src = input;
        record.dst = output;
        const auto drive = [&] { return DriveFrame<unsigned short>(record, s.screen, finishRow); };
        if (FitsRecord(width, height) && Succeeds(drive)) return;
    } else {
        std::memcpy(output, input, pitch * height * sizeof(*input));
        if (s.view == View::Source) return;
    }
    for (int y = 0; y < height; ++y) finish(input + y * pitch, output + y * pitch, width);
}

/// A host's frame, alpha first, with rows of its own length.
template <class Byte>
struct ArgbFrame {
    Byte* pixels;
    int width;
    int height;

    Byte* Row(int y) const { return pixels + y * Pitch(width); }
    /// Where so many pixels of each row lie.
    RowMemory Rows(int count) const {
        return {pixels, static_cast<std::ptrdiff_t>(Pitch(width)), Pitch(count)};
    }
};

using ArgbInput = ArgbFrame<const unsigned char>;
using ArgbOutput = ArgbFrame<unsigned char>;

Status KeyArgbFrame(const ArgbInput& input, const ArgbOutput& output, int width, int height,
                    const Settings& s) {
    const bool keys = s.view != View::Source && IsKeyChosen(s);
    const auto record = MakeRecord<unsigned char>(s, width, height);
    if (keys && !(FitsRecord(width, height) && TakesSettings(record, s.screen)))
        return Status::kRefused;
    const PixelReader<unsigned char> reader(kHostFormat);
    const PixelWriter<unsigned char> writer(kHostFormat);
    const RowSource<unsigned char> source{
        nullptr, [&](int y, unsigned char* row) { reader(input.Row(y), row, width); },
        input.Rows(width)};
    const RowSink<unsigned char> sink{
        nullptr, [&](int y, const unsigned char* row) { writer(row, output.Row(y), width); },
        output.Rows(width)};
    FrameCut<unsigned char>(s, width, height, source).Key({0, height}, sink);
    return Status::kDone;
}

/// What the host sees of a frame that was not keyed: the empty matte, finished.
Status FinishUnkeyed(const ArgbInput& input, const ArgbOutput& output, int width, int height,
                     const Settings& s) {
    const PixelReader<unsigned char> reader(kHostFormat);
    const PixelWriter<unsigned char> writer(kHostFormat);
    const auto finish = FinishFor<unsigned char>(s);
    std::vector<unsigned char> source(Pitch(width));
    std::vector<unsigned char> row(Pitch(width));
    for (int y = 0; y < height; ++y) {
        reader(input.Row(y), source.data(), width);
        std::fill(row.begin(), row.end(), static_cast<unsigned char>(0));
        finish(source.data(), row.data(), width);
        writer(row.data(), output.Row(y), width);
    }
    return Status::kDone;
}

void Cut(const ArgbOutput& output, const ArgbInput& input, const Settings& s) {
    const int width = std::min(output.width, input.width);
    const int height = std::min(output.height, input.height);
    if (width < 1 || height < 1) return;
    if (Succeeds([&] { return KeyArgbFrame(input, output, width, height, s); })) return;
    Succeeds([&] { return FinishUnkeyed(input, output, width, height, s); });
}

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
            .screen = Screen::Green,
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
    Cut(output, input, width, height,
        SettingsOf(view, keyRed, keyGreen, keyBlue, smoothBG, shadow, clipBlack, clipWhite,
                   deBlocking, deBlockValue, edgeContract, contractMask, contractThreshold,
                   edgeBlur, maskBlurRadius, maskBlurValue, skinHue, blueHue, despillGray,
                   despillSkin, despillBlue, screenGain));
}

void VeltraneFinalCut(unsigned char* output, int outputWidth, int outputHeight,
                      const unsigned char* input, int inputWidth, int inputHeight, double, double,
                      int view, double keyRed, double keyGreen, double keyBlue, int smoothBG,
                      int shadow, int clipBlack, int clipWhite, int deBlocking, int deBlockValue,
                      int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                      int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue,
                      int despillGray, int despillSkin, int despillBlue, int screenGain) {
    Cut(ArgbOutput{output, outputWidth, outputHeight}, ArgbInput{input, inputWidth, inputHeight},
        SettingsOf(view, keyRed, keyGreen, keyBlue, smoothBG, shadow, clipBlack, clipWhite,
                   deBlocking, deBlockValue, edgeContract, contractMask, contractThreshold,
                   edgeBlur, maskBlurRadius, maskBlurValue, skinHue, blueHue, despillGray,
                   despillSkin, despillBlue, screenGain));
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
