#include "subject.h"

#include "imaging/convert/convert.h"
#include "keyer/entry_call.h"
#include "settings/screen_color.h"

namespace veltrane::bench {

Subject::Subject(const media::Frame& picture)
    : width(picture.width),
      height(picture.height),
      screen(FindScreenColor(width, height, picture.pixels.data()).value().color),
      frame(picture.pixels),
      source(frame),
      output(frame.size()) {}

HostForms::HostForms(const Subject& subject)
    : width(subject.width),
      height(subject.height),
      byteOutput(subject.frame.size()),
      floatOutput(subject.frame.size()),
      frame(subject.frame.size()) {
    constexpr int kArgb[] = {3, 2, 1, 0}, kRgba[] = {2, 1, 0, 3};
    for (std::size_t i = 0; i < frame.size(); ++i) {
        const std::uint16_t* pixel = subject.frame.data() + i / 4 * 4;
        bytes.push_back(static_cast<std::uint8_t>(pixel[kArgb[i % 4]] >> 8));
        floats.push_back(static_cast<float>(pixel[kRgba[i % 4]]) / 65535);
    }
}

void Subject::Key(const Settings& s) {
    CallEntry(VeltraneFinalCut16bit, s, {}, output.data(), source.data(), width, height);
}

void HostForms::KeyBytes(const Settings& s) {
    CallEntry(VeltraneFinalCut, s, {}, byteOutput.data(), width, height, bytes.data(), width,
              height);
}

void HostForms::ConvertFloats() {
    const std::ptrdiff_t pixels = std::ptrdiff_t{width} * height;
    PixelReader<float>({PixelOrder::kRgba})(floats.data(), frame.data(), pixels);
    PixelWriter<float>({PixelOrder::kRgba})(frame.data(), floatOutput.data(), pixels);
}

Subject& Still() {
    static Subject still(media::ReadFrame(VELTRANE_SAMPLES "/still.jpg", 1));
    return still;
}

HostForms& StillInHosts() {
    static HostForms forms(Still());
    return forms;
}

}  // namespace veltrane::bench
