#include <tiffio.h>

#include <algorithm>
#include <bit>
#include <utility>

#include "media_support.h"

namespace veltrane::media {
namespace {

struct Tiff {
    const char* mode = "wl";
    int width = 37, height = 29;
    int bits = 16, samples = 3, format = SAMPLEFORMAT_UINT;
    int photometric = PHOTOMETRIC_RGB, compression = COMPRESSION_NONE, planar = PLANARCONFIG_CONTIG;
    int predictor = PREDICTOR_NONE, fillOrder = FILLORDER_MSB2LSB;
    bool tiled = false;
    std::vector<std::uint16_t> extra = {};
};

/// A sample's stored value: grey levels of the whole range, another pattern for each sample.
std::uint32_t Value(const Tiff& tiff, int x, int y, int sample) {
    const std::uint32_t most = tiff.bits == 32 ? ~0u : (1u << tiff.bits) - 1;
    if (x == 0) return y % 2 == 0 ? 0 : most;
    return std::uint32_t(x * 2654435761u + y * 40503u * (sample + 1)) & most;
}

float Share(const Tiff& tiff, std::uint32_t value) {
    const double most = std::ldexp(1.0, tiff.bits) - 1;
    return float(value / most);
}

class TiffTest : public MediaTest {
protected:
    /// Samples first..first+count of a row's pixels, packed as the file holds them.
    static std::string Packed(const Tiff& tiff, int x, int y, int width, int first, int count) {
        std::string bytes;
        std::uint64_t word = 0;
        int held = 0;
        for (int i = 0; i < width * count; ++i) {
            const int column = std::min(x + i / count, tiff.width - 1);
            std::uint32_t value =
                Value(tiff, column, std::min(y, tiff.height - 1), first + i % count);
            if (tiff.format == SAMPLEFORMAT_IEEEFP)
                value = std::bit_cast<std::uint32_t>(Share(tiff, value));
            if (tiff.bits == 16 || tiff.bits == 32) {
                bytes.append(reinterpret_cast<const char*>(&value), tiff.bits / 8u);
                continue;
            }
            word = word << tiff.bits | value;
            for (held += tiff.bits; held >= 8; held -= 8) bytes.push_back(char(word >> (held - 8)));
        }
        if (held > 0) bytes.push_back(char(word << (8 - held)));
        return bytes;
    }

    void Store(const std::string& name, const Tiff& tiff) const {
        TIFF* file = TIFFOpen(Path(name).c_str(), tiff.mode);
        ASSERT_TRUE(file);
        const std::pair<int, int> fields[] = {
            {TIFFTAG_IMAGEWIDTH, tiff.width},
            {TIFFTAG_IMAGELENGTH, tiff.height},
            {TIFFTAG_BITSPERSAMPLE, tiff.bits},
            {TIFFTAG_SAMPLESPERPIXEL, tiff.samples},
            {TIFFTAG_SAMPLEFORMAT, tiff.format},
            {TIFFTAG_PHOTOMETRIC, tiff.photometric},
            {TIFFTAG_COMPRESSION, tiff.compression},
            {TIFFTAG_PLANARCONFIG, tiff.planar},
            {TIFFTAG_FILLORDER, tiff.fillOrder},
            {tiff.tiled ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, tiff.tiled ? 16 : 8}};
        for (const auto& [tag, value] : fields) TIFFSetField(file, tag, value);
        if (tiff.tiled) TIFFSetField(file, TIFFTAG_TILELENGTH, 16);
        if (tiff.predictor != PREDICTOR_NONE) TIFFSetField(file, TIFFTAG_PREDICTOR, tiff.predictor);
        if (!tiff.extra.empty())
            TIFFSetField(file, TIFFTAG_EXTRASAMPLES, tiff.extra.size(), tiff.extra.data());
        if (tiff.photometric == PHOTOMETRIC_PALETTE) {
            Pixels map(256);
            for (std::size_t i = 0; i < 256; ++i) map[i] = std::uint16_t(i * 257);
            TIFFSetField(file, TIFFTAG_COLORMAP, map.data(), map.data(), map.data());
        }
        const bool separate = tiff.planar == PLANARCONFIG_SEPARATE;
        for (int plane = 0; plane < (separate ? tiff.samples : 1); ++plane)
            StorePlane(file, tiff, plane, separate ? 1 : tiff.samples);
        TIFFClose(file);
    }

    /// In tiles, or row by row.
    static void StorePlane(TIFF* file, const Tiff& tiff, int plane, int count) {
        const int width = tiff.tiled ? 16 : tiff.width, height = tiff.tiled ? 16 : 1;
        for (int y = 0; y < tiff.height; y += height)
            for (int x = 0; x < tiff.width; x += width) {
                std::string block;
                for (int i = 0; i < height; ++i)
                    block += Packed(tiff, x, y + i, width, plane, count);
                const auto left = unsigned(x), top = unsigned(y);
                const auto sample = std::uint16_t(plane);
                ASSERT_GT(tiff.tiled ? TIFFWriteTile(file, block.data(), left, top, 0, sample)
                                     : TIFFWriteScanline(file, block.data(), top, sample),
                          0);
            }
    }

    /// Every pixel must be what was stored; alpha is the sample of that name, or -1.
    void ExpectRead(const std::string& name, const Tiff& tiff, int alpha) const {
        const Frame frame = ReadFrame(Path(name), 1);
        ASSERT_EQ(frame.width, tiff.width);
        ASSERT_EQ(frame.height, tiff.height);
        const bool grey = tiff.photometric != PHOTOMETRIC_RGB;
        for (int y = 0; y < tiff.height; ++y)
            for (int x = 0; x < tiff.width; ++x) {
                const std::uint16_t* pixel = &frame.pixels[4u * (y * tiff.width + x)];
                for (int c = 0; c < 4; ++c) {
                    const int sample = c == 3 ? alpha : grey ? 0 : 2 - c;
                    double share = sample < 0 ? 1 : Share(tiff, Value(tiff, x, y, sample));
                    if (tiff.photometric == PHOTOMETRIC_MINISWHITE && c < 3) share = 1 - share;
                    ASSERT_NEAR(pixel[c], share * 65535, 1) << x << " " << y << " " << c;
                }
            }
    }
};

constexpr int kCompressions[] = {COMPRESSION_NONE, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_LZW,
                                 COMPRESSION_PACKBITS};

TEST_F(TiffTest, EveryLayoutOfTheDataIsReadRight) {
    const std::pair<int, int> kinds[] = {{8, SAMPLEFORMAT_UINT},
                                         {12, SAMPLEFORMAT_UINT},
                                         {16, SAMPLEFORMAT_UINT},
                                         {32, SAMPLEFORMAT_UINT},
                                         {32, SAMPLEFORMAT_IEEEFP}};
    for (int number = 0; number < 5 * 4 * 2 * 2 * 2 * 2; ++number) {
        int rest = number;
        const auto choose = [&](int count) { return std::exchange(rest, rest / count) % count; };
        Tiff tiff;
        std::tie(tiff.bits, tiff.format) = kinds[choose(5)];
        tiff.compression = kCompressions[choose(4)];
        tiff.planar = choose(2) ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG;
        tiff.tiled = choose(2);
        tiff.mode = choose(2) ? "w8b" : "wl";
        const bool predicts = tiff.bits != 12 && (tiff.compression == COMPRESSION_LZW ||
                                                  tiff.compression == COMPRESSION_ADOBE_DEFLATE);
        if (choose(2) && predicts) {
            tiff.predictor =
                tiff.format == SAMPLEFORMAT_UINT ? PREDICTOR_HORIZONTAL : PREDICTOR_FLOATINGPOINT;
        }
        // The TIFF library itself writes big-endian floats wrongly by this predictor.
        if (tiff.predictor == PREDICTOR_FLOATINGPOINT) tiff.mode = "w8l";
        if (tiff.bits == 12) tiff.planar = PLANARCONFIG_CONTIG;
        SCOPED_TRACE(number);
        Store("a.tif", tiff);
        ExpectRead("a.tif", tiff, -1);
    }
}

TEST_F(TiffTest, SamplesAreTakenForWhatTheyAreOrRefused) {
    constexpr std::uint16_t kUnknown = EXTRASAMPLE_UNSPECIFIED, kAlpha = EXTRASAMPLE_UNASSALPHA;
    const struct {
        Tiff tiff;
        int alpha;
    } read[] = {{{.samples = 4, .extra = {kUnknown}}, -1},
                {{.samples = 4}, -1},
                {{.samples = 4, .extra = {kAlpha}}, 3},
                {{.samples = 5, .extra = {kUnknown, kAlpha}}, 4},
                {{.samples = 5, .planar = PLANARCONFIG_SEPARATE, .extra = {kAlpha, kUnknown}}, 3},
                {{.samples = 2, .photometric = PHOTOMETRIC_MINISBLACK, .extra = {kUnknown}}, -1},
                {{.samples = 2, .photometric = PHOTOMETRIC_MINISBLACK, .extra = {kAlpha}}, 1},
                {{.samples = 3, .photometric = PHOTOMETRIC_MINISBLACK, .extra = {0, 2}}, 2},
                {{.samples = 4, .photometric = PHOTOMETRIC_MINISBLACK, .extra = {0, 0, 2}}, 3}};
    for (const auto& test : read) {
        SCOPED_TRACE(&test - read);
        Store("a.tif", test.tiff);
        ExpectRead("a.tif", test.tiff, test.alpha);
    }
    for (int photometric : {PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_PALETTE})
        for (int bits : {1, 2, 4, 8, 12, 16, 32})
            for (int compression : kCompressions)
                for (bool tiled : {false, true}) {
                    const Tiff tiff{.bits = bits,
                                    .samples = 1,
                                    .photometric = photometric,
                                    .compression = compression,
                                    .tiled = tiled};
                    if (photometric == PHOTOMETRIC_PALETTE && bits != 8) continue;
                    SCOPED_TRACE(std::to_string(photometric) + ' ' + std::to_string(bits));
                    Store("a.tif", tiff);
                    ExpectRead("a.tif", tiff, -1);
                }
    const std::pair<Tiff, const char*> refused[] = {
        {{.bits = 8, .samples = 4, .photometric = PHOTOMETRIC_SEPARATED}, "inks (CMYK)"},
        {{.bits = 8, .samples = 5, .photometric = PHOTOMETRIC_SEPARATED, .extra = {2}}, "inks"},
        {{.bits = 8, .photometric = PHOTOMETRIC_CIELAB}, "L*a*b* colour"},
        {{.bits = 8, .photometric = PHOTOMETRIC_YCBCR}, "luma and chroma (YCbCr)"},
        {{.bits = 8, .samples = 1, .photometric = PHOTOMETRIC_CFA}, "a sensor's raw data"},
        {{.format = SAMPLEFORMAT_INT}, "signed samples"},
        {{.bits = 32, .format = SAMPLEFORMAT_COMPLEXINT}, "no plain numbers"},
        {{.samples = 2, .photometric = PHOTOMETRIC_MINISWHITE, .extra = {2}}, "whose 0 is white"},
        {{.fillOrder = FILLORDER_LSB2MSB}, "bits of each byte in reverse"},
        {{.bits = 12, .planar = PLANARCONFIG_SEPARATE}, "12 bits in planes"}};
    for (const auto& [tiff, what] : refused) {
        Store("a.tif", tiff);
        EXPECT_PRED_FORMAT2(IsSubstring, what, ReadError("a.tif"));
    }
}

}  // namespace
}  // namespace veltrane::media
