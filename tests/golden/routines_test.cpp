// The routines that are called by name, each on many small inputs of every kind.

#include "keyer/entry.h"
#include "tests/golden/recording.h"
#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

using Byte = unsigned char;
using Word = unsigned short;
constexpr int kMark = 0x5B;

template <class T>
using Frame = std::vector<T>;

/// The same size of everything, with one of the widths around the vectors' lengths.
struct Size {
    int width;
    int height;

    Size(Random& random, int n) : width(n % 70 + 1), height(random.Biased(1, 30)) {}
    std::size_t Pixels() const { return std::size_t(width) * height; }
};

/// Noise, a studio shot, a calm one, one colour, or two values alone.
template <class T>
Frame<T> AnyFrame(Random& random, const Size& size) {
    const int kind = random(0, 5);
    if (kind == 1 || kind == 2) return StudioFrame<T>(random, size.width, size.height);
    if (kind == 3) return CalmFrame<T>(random, size.width, size.height);
    auto frame = RandomSamples<T>(random, size.Pixels() * 4);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        if (kind == 4) frame[i] = frame[i % 4];
        if (kind == 5) frame[i] = T(random.OneIn(2) ? kFull<T> : 0);
    }
    return frame;
}

/// Mattes in element 3 that are full or empty in large parts, with ramps between.
template <class T>
Frame<T> MatteFrame(Random& random, const Size& size) {
    auto frame = AnyFrame<T>(random, size);
    const int kind = random(0, 3), grain = kUnit<T> * random.Biased(0, 8);
    for (std::size_t i = 0; i < size.Pixels() && kind != 0; ++i) {
        const int x = int(i) % size.width, y = int(i) / size.width;
        const int ramp =
            kFull<T> / 2 + kFull<T> * (x * kind - y - size.width / 4) / (size.width + 3);
        frame[4 * i + 3] = T(std::clamp(ramp + random(-grain, grain), 0, kFull<T>));
    }
    return frame;
}

/// Runs change on samples between others, which are part of the result.
template <class T, class Change>
void AddChanged(Digest& digest, const Frame<T>& samples, Change change) {
    constexpr std::size_t kAround = 80;
    Frame<T> memory(samples.size() + 2 * kAround, T(kMark));
    std::copy(samples.begin(), samples.end(), memory.begin() + kAround);
    change(memory.data() + kAround);
    digest.Add(memory);
}

/// Runs a case so many times, each with draws of its own.
template <class Case>
std::uint64_t Repeat(int times, Case run) {
    Digest digest;
    for (int n = 0; n < times; ++n) {
        Random random(n);
        run(digest, random, n);
    }
    return digest.Value();
}

/// A routine that has one depth alone is recorded as the 8-bit one.
std::uint64_t None() {
    return 0;
}

TEST(Routines, Colors) {
    const auto add = [](Digest& digest, auto color) {
        const auto [a, b, c] = color;
        digest.Add(a, b, c);
    };
    ExpectRecorded("Colors", None, [&] {
        return Repeat(20000, [&](Digest& digest, Random& random, int) {
            const auto byte = [&] { return Byte(random.Biased(0, 255)); };
            const auto word = [&] { return Word(random.Biased(0, 65535)); };
            const Byte r = byte(), g = byte(), b = byte();
            const Word R = word(), G = word(), B = word();
            add(digest, stages.RGBtoYIQ(r, g, b));
            add(digest, stages.RGBtoYIQ2(r, g, b));
            add(digest, stages.RGBtoYIQ2(RGB{R, G, B}));
            add(digest, stages.RGBtoHLS(r, g, b));
            add(digest, stages.RGBtoHLS_16bit(R, G, B));
            const YIQ color = stages.RGBtoYIQ2_16bit(R, G, B);
            add(digest, color);
            const YIQ wide{color.Y * 1.5f - 60, color.I * 2, color.Q * 2};  // well out of gamut
            add(digest, stages.YIQtoRGB2(wide));
            add(digest, stages.YIQtoRGB2_16bit(wide));
            const int turns = random(-6, 6), eighths = random(-9000, 9000);
            const float hue = random.OneIn(9) ? 180.0f * turns : eighths / 8.0f;
            add(digest, stages.HLStoYIQ({hue, 128, float(random.Biased(0, 300))}));
        });
    });
}

TEST(Routines, Interpolation) {
    ExpectRecorded("Interpolation", None, [] {
        return Repeat(20000, [](Digest& digest, Random& random, int) {
            const int x0 = random(-1000, 60000), x1 = x0 + random(-3, random.OneIn(2) ? 6 : 70000);
            const int x = random(std::min(x0, x1) - 2, std::max(x0, x1) + 2);
            const int y0 = random(-300, 65535), y1 = random(-300, 65535);
            digest.Add(stages.LinerInter(x, x0, x1, y0, y1), stages.LinerInter2(x, x0, x1, y0, y1));
            digest.Add(stages.LinerInter(x, x0, x1, y0 / 7.0f, y1 / 7.0f));
            digest.Add(stages.LinerInter(x / 7.0f, x0 / 7.0f, x1 / 7.0f, y0 / 7.0f, y1 / 7.0f));
            digest.Add(stages.Align8(y0), stages.AlignX(y0), stages.Align(y0));
        });
    });
}

template <class T>
void Blur(Digest& digest, Random& random, int n) {
    const Size size(random, n);
    const int width = size.width, height = size.height;
    const int radius = random.OneIn(2) ? random(-1, 12) : random(0, n % 9 == 0 ? 300 : 100);
    const int amount = random.OneIn(9) ? random(-300, 300) : random.Biased(0, 100);
    const int offset = random.OneIn(3) ? random(-kFull<T>, kFull<T>) : 0;
    const float gain = random(0, 8) * 0.25f, fraction = random(0, 9) * 0.1f;
    AddChanged(digest, RandomSamples<T>(random, size.Pixels()), [&](T* plane) {
        const auto blur = ByDepth<T>(&Keyer::AverageBlurA64, &Keyer::AverageBlurA);
        (stages.*blur)(width, height, plane, radius + fraction, gain);
    });
    AddChanged(digest, MatteFrame<T>(random, size), [&](T* frame) {
        const auto blur = ByDepth<T>(&Keyer::MaskBlur64, &Keyer::MaskBlur);
        digest.Add((stages.*blur)(width, height, frame, radius, amount, offset));
    });
    const auto blur = [&](auto member) {
        auto work = RandomSamples<T>(random, size.Pixels() * 4);
        AddChanged(digest, AnyFrame<T>(random, size),
                   [&](T* frame) { (stages.*member)(width, height, frame, work.data(), radius); });
    };
    using Chroma = void (CImagingORV::*)(int, int, T*, T*, int) const;
    blur(ByDepth<T>(&Keyer::ChromaBlurCore3_64bit, &Keyer::ChromaBlurCore3_32bit));
    blur(static_cast<Chroma>(
        ByDepth<T>(&CImagingORV::ChromaBlur64bit, &CImagingORV::ChromaBlur32bit)));
    if constexpr (sizeof(T) == 1) {
        AddChanged(digest, AnyFrame<T>(random, size), [&](T* frame) {
            stages.AverageBlurCore32bit6(frame, width, height, width * 4, radius);
        });
    }
}

template <class T>
void Contract(Digest& digest, Random& random, int n) {
    const Size size(random, n);
    const int width = size.width, height = size.height;
    const int passes = random(-1, 11), threshold = random.Biased(0, 255);
    AddChanged(digest, MatteFrame<T>(random, size), [&](T* frame) {
        const auto contract = ByDepth<T>(&Keyer::ContGray7_64, &Keyer::ContGray7);
        (stages.*contract)(width, height, frame, passes, threshold);
    });
    for (const auto pass : {ByDepth<T>(&Keyer::ContGrayCore4_64, &Keyer::ContGrayCore4),
                            ByDepth<T>(&Keyer::ContGrayCore8_64, &Keyer::ContGrayCore8)})
        AddChanged(digest, MatteFrame<T>(random, size), [&](T* frame) {
            (stages.*pass)(width, height, frame, random.Biased(0, kFull<T>));
        });
}

/// Any two sizes, often far apart, with gaps between the rows.
template <class From, class To>
void Resample(Digest& digest, Random& random, int n) {
    const auto side = [&] { return random.OneIn(6) ? random(71, 900) : random(1, 70); };
    const int width = side(), height = random(1, 60), toWidth = side(), toHeight = random(1, 60);
    const bool large = n % 100 == 0;  // as a long ribbon is made smaller and larger again
    const int longest = large ? 65535 : width, least = large ? 2 : height;
    const int kind = random(0, 2), pitch = longest * 4 + random(0, 5);
    const int toPitch = toWidth * 4 + random(0, 5);
    auto source = RandomSamples<From>(random, std::size_t(pitch) * least);
    constexpr auto member =
        ByDepth<From>(&CImagingORV::DF_WH64bitTo32bit5_1,
                      ByDepth<To>(&CImagingORV::DF_WH32bitTo64bit5_1, &CImagingORV::DF_WH32bit5_1));
    AddChanged(digest, Frame<To>(std::size_t(toPitch) * toHeight, kMark), [&](To* to) {
        (stages.*member)(source.data(), longest, least, pitch, to, toWidth, toHeight, toPitch,
                         kind == 2, kind + 1);
    });
}

/// Frames of small and of large values, with holes.
Frame<Byte> HoledFrame(Random& random, const Size& size) {
    auto frame = AnyFrame<Byte>(random, size);
    const int share = random.Biased(0, 100);
    const bool dark = random.OneIn(3);
    for (std::size_t i = 0; i < frame.size(); i += 4) {
        for (int e = 0; e < 3 && dark; ++e) frame[i + e] %= 3;
        if (random(1, 100) <= share || i / 4 % 37 < std::size_t(share) / 9)
            std::fill_n(&frame[i], 3, Byte{0});
    }
    return frame;
}

void ModelPlate(Digest& digest, Random& random, int n) {
    Size size(random, n);
    if (n % 50 == 0) size.height = 640;  // with holes deeper than sums are kept for
    const int width = size.width, height = size.height;
    const int pitch = width * 4, mapPitch = stages.Align8(width);
    const int lower = random.Biased(120, 170), upper = random.Biased(250, 330);
    const auto near = [&](int e) { return Byte(std::clamp(kScreen[e] + random(-60, 60), 0, 255)); };
    const Byte key[] = {near(2), near(1), near(0)};
    auto edges = AnyFrame<Byte>(random, size);
    Frame<Byte> map(std::size_t(mapPitch) * height, kMark);
    const int threshold = random.OneIn(3) ? 40 : random.Biased(0, 2040);
    stages.Laplacian32bit8(edges.data(), width, height, pitch, map.data(), width, height, mapPitch,
                           threshold);
    digest.Add(map);
    AddChanged(digest, StudioFrame<Byte>(random, width, height), [&](Byte* frame) {
        stages.ExtractBack32bit(frame, map.data(), width, height, pitch, key[0], key[1], key[2],
                                lower, upper);
    });
    digest.Add(map);
    AddChanged(digest, HoledFrame(random, size), [&](Byte* frame) {
        stages.ContractBack32bit(frame, width, height, pitch, random(0, 4));
    });
    AddChanged(digest, HoledFrame(random, size), [&](Byte* frame) {
        if (n % 50 == 0) std::memset(frame + pitch * 20, 0, std::size_t{600} * pitch);
        stages.ExpandBack32bit8(frame, width, height, pitch, key[0], key[1], key[2]);
    });
}

/// As bright as the screen but for a hair, and of another hue: there the matte tells the last bit
/// of the luma without the screen.
template <class T>
void MakeTwilight(Random& random, const Frame<T>& plate, Frame<T>& source) {
    for (std::size_t i = 0; i < source.size(); i += 4) {
        const auto moved = [&](int e) {
            const int step = random(-60 * kUnit<T>, 60 * kUnit<T>);
            source[i + e] = T(std::clamp(plate[i + e] + step, 0, kFull<T>));
            return source[i + e] - double(plate[i + e]);
        };
        const double brighter = 0.114 * moved(0) + 0.299 * moved(2);
        const double green = plate[i + 1] - brighter / 0.587 + random(0, 2 * kUnit<T>);
        source[i + 1] = T(std::clamp(green, 0.0, double(kFull<T>)));
    }
}

/// A plate that wanders around the screen colour, with some pixels of no chroma and some arbitrary.
template <class T>
Frame<T> WanderingPlate(Random& random, std::size_t size) {
    auto plate = RandomSamples<T>(random, size);
    for (std::size_t i = 0; i < size; i += 4) {
        const int kind = random(0, 19);
        for (int e = 0; e < 3 && kind > 0; ++e)
            plate[i + e] = kind == 1 ? plate[i + 3] : T((kScreen[e] + random(-30, 30)) * kUnit<T>);
    }
    return plate;
}

template <class T>
void KeyRecord(Digest& digest, Random& random, int n) {
    Size size(random, n);
    if (n % 5 == 0) size.height = 30;
    auto source = AnyFrame<T>(random, size);
    auto plate = WanderingPlate<T>(random, source.size());
    if (n % 5 == 0) MakeTwilight(random, plate, source);
    Frame<T> unused;
    auto record = RandomRecord<T>(random, source, unused, size.width, size.height);
    if (n % 8 != 0) SetPair(record.shadow, 100);  // 16-bit curves take a while
    if (n % 50 == 1)                              // a key without chroma
        for (auto* pair : {&record.keyR, &record.keyG, &record.keyB})
            SetPair(*pair, 127 * kUnit<T>);
    const auto add = [&](auto run) {
        AddChanged(digest, Frame<T>(source.size(), T{kMark}), [&](T* target) {
            record.dst = target;
            digest.Add(run());
        });
        digest.Add(source);
    };
    add([&] { return (stages.*kPlateKey<T>)(&record, plate.data()); });
    add([&] { return (stages.*kDirect<T>)(&record); });
    add([&] { return (stages.*kModel<T>)(&record); });
    add([&] { return Drive<T>(record); });
    add([&] { return Drive<T>(record, 1); });
}

template <class T>
void KeyBlueRecord(Digest& digest, Random& random, int n) {
    Size size(random, n);
    if (n % 5 == 0) size.height = 30;
    const auto source = Exchanged(AnyFrame<T>(random, size));
    Frame<T> unused;
    auto record = RandomBlueRecord<T>(random, source, unused, size.width, size.height);
    if (n % 8 != 0) SetPair(record.shadow, 100);
    for (const unsigned interlaced : {0u, 1u}) {
        AddChanged(digest, Frame<T>(source.size(), T{kMark}), [&](T* target) {
            record.dst = target;
            digest.Add(Drive<T>(record, interlaced));
        });
        digest.Add(source);
    }
}

/// The entry on frames of two sizes, with what lies behind the output, and what becomes of the
/// input.
template <class T>
void EnterWith(Digest& digest, Random& random, int n) {
    const Size size(random, n);
    const bool same = sizeof(T) == 2 || random.OneIn(2);
    const int width = same ? size.width : random(1, 50),
              height = same ? size.height : random(1, 30);
    auto input = AnyFrame<T>(random, size);
    for (std::size_t i = sizeof(T) == 2 ? 3 : 0; i < input.size(); i += 4)
        if (random.OneIn(5)) input[i] = T(random.Biased(0, kFull<T>));
    const Settings settings = AnySettings(random);
    AddChanged(digest, Frame<T>(std::size_t(width) * height * 4, T{kMark}), [&](T* output) {
        Enter(settings, output, width, height, input.data(), size.width, size.height);
    });
    digest.Add(input);
}

template <class Case16, class Case8>
void ExpectRepeated(const char* name, int times, Case16 case16, Case8 case8) {
    ExpectRecorded(
        name, [=] { return Repeat(times, case16); }, [=] { return Repeat(times, case8); });
}

TEST(Routines, Blurs) {
    ExpectRepeated("Blurs", 350, Blur<Word>, Blur<Byte>);
}
TEST(Routines, Contraction) {
    ExpectRepeated("Contraction", 350, Contract<Word>, Contract<Byte>);
}
TEST(Routines, Resampling) {
    ExpectRepeated("To8Or16Bits", 201, Resample<Word, Byte>, Resample<Byte, Word>);
    ExpectRecorded("Of8Bits", None, [] { return Repeat(201, Resample<Byte, Byte>); });
}
TEST(Routines, Plate) {
    ExpectRecorded("Plate", None, [] { return Repeat(301, ModelPlate); });
}
TEST(Routines, Keys) {
    ExpectRepeated("Keys", 350, KeyRecord<Word>, KeyRecord<Byte>);
}
TEST(Routines, BlueKeys) {
    ExpectRepeated("BlueKeys", 350, KeyBlueRecord<Word>, KeyBlueRecord<Byte>);
}
TEST(Routines, Entries) {
    ExpectRepeated("Entries", 210, EnterWith<Word>, EnterWith<Byte>);
}

}  // namespace
}  // namespace veltrane::testing
