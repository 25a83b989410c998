#include "media/dpx_source.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "media/file_bytes.h"
#include "media/image_integrity.h"
#include "media/pixel_memory.h"
#include "media/widened.h"

namespace veltrane::media {
namespace {

/// Numbers and texts of a DPX header, which has a fixed place for each.
class DpxHeader {
public:
    explicit DpxHeader(const Bytes& file)
        : file_(file), swapped_((file[0] == 'S') != (std::endian::native == std::endian::big)) {}

    bool swapped() const { return swapped_; }
    int Byte(std::size_t at) const { return file_[at]; }
    template <typename Number>
    Number Get(std::size_t at) const {
        return Stored<Number>(file_.data() + at, swapped_);
    }
    /// A text that ends with its place at the latest; empty where there is none.
    std::string Text(std::size_t at, std::size_t size) const {
        const auto* begin = reinterpret_cast<const char*>(file_.data()) + at;
        if (file_[at] == 0xff) return {};
        return {begin, std::find(begin, begin + size, '\0')};
    }

    std::string Raw(std::size_t at, std::size_t size) const {
        return {reinterpret_cast<const char*>(file_.data()) + at, size};
    }

    template <typename Number>
    static Number Stored(const std::uint8_t* from, bool swapped) {
        std::uint8_t bytes[sizeof(Number)];
        std::memcpy(bytes, from, sizeof bytes);
        if (swapped) std::reverse(std::begin(bytes), std::end(bytes));
        return std::bit_cast<Number>(bytes);
    }

private:
    const Bytes& file_;
    bool swapped_;
};

constexpr std::uint32_t kUndefined = 0xffffffff;

bool IsPlain(const DpxHeader& header) {
    constexpr int kRgb = 50, kRgba = 51, kPacked = 0, kFilledA = 1, kFilledB = 2;
    const int descriptor = header.Byte(800), bits = header.Byte(803);
    const int packing = header.Get<std::uint16_t>(804);
    const auto padding = header.Get<std::uint32_t>(812);
    if (descriptor != kRgb && descriptor != kRgba) return false;
    if (padding != 0 && padding != kUndefined) return false;
    if (bits == 10) return packing == kFilledA || packing == kFilledB;
    return (bits == 8 || bits == 16) && packing >= kPacked && packing <= kFilledB;
}

void AddTexts(const DpxHeader& header, OIIO::ParamValueList& attributes) {
    const auto add = [&](const char* name, const std::string& text) {
        if (!text.empty()) SetAttribute(attributes, name, text);
    };
    add("Copyright", header.Text(460, 200));
    add("DocumentName", header.Text(260, 200));
    std::string date = header.Text(136, 24);
    constexpr std::size_t kDay = 10, kDayAndTime = 19;
    if (date.size() > kDay) date[kDay] = ' ';
    add("DateTime", date.substr(0, kDayAndTime));
    add("ImageDescription", header.Text(820, 32));
}

/// What stands on the edge of a film: maker, kind, prefix, count, offset, and how many perforations
/// a frame and a count have.
void AddEdgeCode(const DpxHeader& header, OIIO::ParamValueList& attributes) {
    if (header.Byte(1664) == 0) return;
    const auto number = [&](std::size_t at, std::size_t digits) {
        return static_cast<int>(std::strtol(header.Raw(at, digits).c_str(), nullptr, 10));
    };
    const std::string format = header.Raw(1680, 32), kind = format.substr(1, 3);
    const bool scan = format[0] == '2' || format[0] == '4';
    const int perforations = scan && kind == "kvv"                     ? 8
                             : scan && format.substr(1, 6) == "k3perf" ? 3
                                                                       : 4;
    const int code[] = {number(1664, 2),
                        number(1666, 2),
                        number(1670, 6),
                        number(1676, 4),
                        number(1668, 2),
                        perforations,
                        64};
    attributes.add_or_replace(OIIO::ParamValue("smpte:KeyCode", OIIO::TypeKeyCode, 1, code), false);
}

ImageLayout LayoutOf(const DpxHeader& header) {
    const int bits = header.Byte(803), channels = header.Byte(800) == 50 ? 3 : 4;
    ImageLayout layout =
        PlainLayout(header.Get<std::int32_t>(772), header.Get<std::int32_t>(776), channels,
                    bits == 8 ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::UINT16);
    layout.x = std::max(header.Get<std::int32_t>(1408), 0);
    layout.y = std::max(header.Get<std::int32_t>(1412), 0);
    const auto shownWidth = header.Get<std::int32_t>(1424);
    const auto shownHeight = header.Get<std::int32_t>(1428);
    if (shownWidth > 0) layout.fullWidth = shownWidth;
    if (shownHeight > 0) layout.fullHeight = shownHeight;
    OIIO::ParamValueList& attributes = layout.attributes;
    SetAttribute(attributes, "oiio:BitsPerSample", bits);
    constexpr int kOrientations[] = {1, 2, 4, 3, 5, 6, 8, 7};
    const auto orientation = header.Get<std::uint16_t>(768);
    SetAttribute(attributes, "Orientation", orientation < 8 ? kOrientations[orientation] : 0);
    AddTexts(header, attributes);
    const auto across = header.Get<std::uint32_t>(1628), down = header.Get<std::uint32_t>(1632);
    SetAttribute(attributes, "PixelAspectRatio",
                 down == 0 ? 1.0f : static_cast<float>(across) / static_cast<float>(down));
    AddEdgeCode(header, attributes);
    const auto timecode = header.Get<std::uint32_t>(1920);
    if (timecode != kUndefined) {
        const std::uint32_t code[] = {timecode, header.Get<std::uint32_t>(1924)};
        attributes.add_or_replace(OIIO::ParamValue("smpte:TimeCode", OIIO::TypeTimeCode, 1, code),
                                  false);
    }
    return layout;
}

class PlainDpx : public ImageSource {
public:
    PlainDpx(Bytes file, ImageLayout layout)
        : ImageSource(std::move(layout)), file_(std::move(file)) {}

    // Every channel belongs to the picture, so all are asked for.
    void Read(int, int, const Threads& threads, const TakeRows<std::uint16_t>& take) override {
        ReadAs(threads, take);
    }
    void Read(int, int, const Threads& threads, const TakeRows<float>& take) override {
        ReadAs(threads, take);
    }

private:
    template <typename Sample>
    void ReadAs(const Threads& threads, const TakeRows<Sample>& take) const {
        const DpxHeader header(file_);
        const int bits = header.Byte(803);
        const std::size_t count = std::size_t(layout_.width) * layout_.channels();
        const std::size_t words = (count + 2) / 3,
                          rowBytes = bits == 10 ? 4 * words : count * bits / 8;
        const std::uint8_t* pixels = file_.data() + header.Get<std::uint32_t>(808);
        const int shift = header.Get<std::uint16_t>(804) == 1 ? 2 : 0;
        ForEachBand(threads, layout_.height, 1, [&](Band band) {
            UnsetVector<Sample> row(count);
            for (int y = band.first; y < band.end; ++y) {
                const std::uint8_t* from = pixels + rowBytes * static_cast<std::size_t>(y);
                if (bits == 10) ReadWords(from, count, shift, header.swapped(), row.data());
                if (bits == 8) ReadBytes(from, count, row.data());
                if (bits == 16) ReadShorts(from, count, header.swapped(), row.data());
                take(y, 1, row.data());
            }
        });
    }

    template <typename Sample>
    static void ReadBytes(const std::uint8_t* from, std::size_t count, Sample* samples) {
        std::transform(from, from + count, samples, Widened<Sample, std::uint8_t>);
    }

    template <typename Sample>
    static void ReadShorts(const std::uint8_t* from, std::size_t count, bool swapped,
                           Sample* samples) {
        for (std::size_t i = 0; i < count; ++i) {
            std::uint16_t stored;
            std::memcpy(&stored, from + 2 * i, sizeof stored);
            if (swapped) stored = static_cast<std::uint16_t>(stored << 8 | stored >> 8);
            samples[i] = Widened<Sample>(stored);
        }
    }

    /// Three samples lie in each word, the first highest.
    template <typename Sample>
    static void ReadWords(const std::uint8_t* from, std::size_t count, int shift, bool swapped,
                          Sample* samples) {
        const auto sample = [&](std::uint32_t word, std::size_t i) {
            const std::uint32_t bits = word >> (20 - 10 * static_cast<int>(i) + shift) & 0x3ff;
            return Widened<Sample>(static_cast<std::uint16_t>(bits << 6 | bits >> 4));
        };
        const auto next = [&] {
            const auto word = DpxHeader::Stored<std::uint32_t>(from, swapped);
            from += sizeof word;
            return word;
        };
        const std::size_t rest = count % 3;
        for (std::size_t done = 0; done < count - rest; done += 3) {
            const std::uint32_t word = next();
            for (std::size_t i = 0; i < 3; ++i) samples[done + i] = sample(word, i);
        }
        const std::uint32_t last = rest > 0 ? next() : 0;
        for (std::size_t i = 0; i < rest; ++i) samples[count - rest + i] = sample(last, i);
    }

    Bytes file_;
};

}  // namespace

std::unique_ptr<ImageSource> OpenPlainDpx(const std::string& path, const Threads& threads) {
    Bytes file = ReadAll(path, threads);
    CheckDpx(path, file);
    const DpxHeader header(file);
    if (!IsPlain(header)) return nullptr;
    ImageLayout layout = LayoutOf(header);
    return std::make_unique<PlainDpx>(std::move(file), std::move(layout));
}

}  // namespace veltrane::media
