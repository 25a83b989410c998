#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/convert/convert_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>
#include <type_traits>

#include "imaging/convert/convert_rows.h"
#include "imaging/cpu/products-inl.h"

// All arithmetic is done on pixels in the order blue, green, red, alpha.

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

template <class T>
using Tag = hn::ScalableTag<T>;
template <class T>
using Vector = hn::Vec<Tag<T>>;
template <class T>
constexpr int kLanes = hn::MaxLanes(Tag<T>());

using Shorts = Vector<std::uint16_t>;

/// The same 16 bytes over and over.
template <class T>
Vector<T> Repeated(const std::array<std::uint8_t, 16>& bytes) {
    const hn::Repartition<std::uint8_t, Tag<T>> tag;
    return hn::BitCast(Tag<T>(), hn::LoadDup128(tag, bytes.data()));
}

/// Gives every component of a pixel the one at its place.
template <class T>
class Shuffle {
public:
    constexpr explicit Shuffle(const PixelPlaces& places) : bytes_() {
        constexpr int kBytes = sizeof(T);
        for (int i = 0; i < 16; ++i) {
            const int pixel = i / (kElements * kBytes) * kElements;
            const int place = places[i / kBytes % kElements];
            bytes_[i] = static_cast<std::uint8_t>((pixel + place) * kBytes + i % kBytes);
        }
    }

    Vector<T> operator()(Vector<T> pixels) const {
        const hn::Repartition<std::uint8_t, Tag<T>> bytes;
        return hn::BitCast(Tag<T>(), hn::TableLookupBytes(hn::BitCast(bytes, pixels),
                                                          Repeated<std::uint8_t>(bytes_)));
    }

private:
    alignas(16) std::array<std::uint8_t, 16> bytes_;
};

/// To blue, green, red, alpha or back.
template <class T>
const Shuffle<T>& ReorderOf(const PixelFormat& format) {
    static constexpr Shuffle<T> kOrders[] = {Shuffle<T>(kPlaces[0]), Shuffle<T>(kPlaces[1]),
                                             Shuffle<T>(kPlaces[2])};
    return kOrders[static_cast<int>(format.order)];
}

/// Every pixel's alpha in all its components.
template <class T>
Vector<T> Alphas(Vector<T> pixels) {
    static constexpr Shuffle<T> kAlphas({kAlpha, kAlpha, kAlpha, kAlpha});
    return kAlphas(pixels);
}

constexpr std::array<std::uint8_t, 16> AlphaBytes(int bytes) {
    std::array<std::uint8_t, 16> mask{};
    for (int i = 0; i < 16; ++i) mask[i] = i / bytes % kElements == kAlpha ? 0xFF : 0;
    return mask;
}

/// Ones in the bits of alpha, the last component.
template <class T>
Vector<T> AlphaMask() {
    alignas(16) static constexpr auto kMask = AlphaBytes(sizeof(T));
    return Repeated<T>(kMask);
}

/// The quotient is estimated to less than a hundredth, rounded, and set right by what remains.
/// Products are taken modulo 2^32, which the small remainder outlives.
template <int full>
Words Divided(Words colors, Words alphas) {
    const WordTag words;
    const hn::RebindToSigned<WordTag> ints;
    const FloatTag floats;
    const auto alpha = hn::Max(hn::BitCast(ints, alphas), hn::Set(ints, 1));
    const auto color = hn::Min(hn::BitCast(ints, colors), alpha);
    const auto scaled = hn::ConvertTo(floats, color) * hn::Set(floats, full);
    const auto near = hn::NearestInt(scaled / hn::ConvertTo(floats, alpha));
    const auto product = hn::BitCast(words, color) * hn::Set(words, full);
    const auto rest =
        hn::BitCast(ints, product - hn::BitCast(words, near) * hn::BitCast(words, alpha));
    const auto twice = rest + rest;
    const auto more = hn::VecFromMask(ints, hn::Gt(twice, alpha - hn::Set(ints, 1)));
    const auto less = hn::VecFromMask(ints, hn::Lt(twice, hn::Neg(alpha)));
    const auto quotients = hn::BitCast(words, near - more + less);
    return hn::IfThenElse(hn::Eq(alphas, hn::Zero(words)), colors, quotients);
}

/// Whether alpha is 0 or full everywhere, as in most of a matted row: colour stays as it is then.
template <class D>
bool DivideNothing(D tag, hn::Vec<D> alphas, hn::TFromD<D> full) {
    return hn::AllTrue(tag,
                       hn::Or(hn::Eq(alphas, hn::Zero(tag)), hn::Eq(alphas, hn::Set(tag, full))));
}

/// A pixel is a word.
Vector<std::uint8_t> Unpremultiplied(Vector<std::uint8_t> pixels) {
    const WordTag words;
    const Words pixel = hn::BitCast(words, pixels);
    const Words alpha = hn::ShiftRight<24>(pixel);
    if (DivideNothing(words, alpha, 255)) return pixels;
    const auto byte = hn::Set(words, 255);
    const Words blue = Divided<255>(hn::And(pixel, byte), alpha);
    const Words green = Divided<255>(hn::And(hn::ShiftRight<8>(pixel), byte), alpha);
    const Words red = Divided<255>(hn::And(hn::ShiftRight<16>(pixel), byte), alpha);
    const Words rest = hn::Or(hn::ShiftLeft<16>(red), hn::ShiftLeft<24>(alpha));
    return hn::BitCast(Tag<std::uint8_t>(), hn::Or(hn::Or(blue, hn::ShiftLeft<8>(green)), rest));
}

/// A word holds two components: blue and green, or red and alpha.
Shorts Unpremultiplied(Shorts pixels) {
    const Tag<std::uint16_t> shorts;
    const WordTag words;
    const Shorts alphas = Alphas<std::uint16_t>(pixels);
    if (DivideNothing(shorts, alphas, 65535)) return pixels;
    const auto low = hn::Set(words, 0xFFFF);
    const Words alpha = hn::And(hn::BitCast(words, alphas), low);
    const Words pair = hn::BitCast(words, pixels);
    const Words first = Divided<65535>(hn::And(pair, low), alpha);
    const Words second = Divided<65535>(hn::ShiftRight<16>(pair), alpha);
    const auto colors = hn::BitCast(shorts, hn::Or(first, hn::ShiftLeft<16>(second)));
    return hn::IfVecThenElse(AlphaMask<std::uint16_t>(), pixels, colors);
}

/// Alpha itself, and colour whose alpha is not above 0, are divided by 1.
Floats Unpremultiplied(Floats pixels) {
    const FloatTag floats;
    const auto one = hn::Set(floats, 1);
    const Floats alphas = Alphas<float>(pixels);
    const Floats divisors = hn::IfVecThenElse(
        AlphaMask<float>(), one, hn::IfThenElse(hn::Gt(alphas, hn::Zero(floats)), alphas, one));
    if (hn::AllTrue(floats, hn::Eq(divisors, one))) return pixels;
    return pixels / divisors;
}

/// Alpha is multiplied by full scale.
template <class T>
Vector<T> Premultiplied(Vector<T> pixels) {
    return Multiplied(pixels, hn::Or(Alphas<T>(pixels), AlphaMask<T>()));
}

template <>
Floats Premultiplied<float>(Floats pixels) {
    const auto one = hn::Set(FloatTag(), 1);
    return pixels * hn::IfVecThenElse(AlphaMask<float>(), one, Alphas<float>(pixels));
}

#if HWY_NATIVE_FMA
/// v * 65535, rounded, within 0..65535, in the low bits. From 2^23 on floats count in ones, so the
/// sum is v * 65535 rounded once to the nearest whole number. Of all floats within 0..1, 0.5 alone
/// makes it a half, and 32767.5 goes up, to the even number. Rounding down takes a half off first,
/// which does as long as v * 65535 is not a whole number: only 0 and 1 make it one.
template <FloatRounding rounding>
Words WholeSamples(Floats value) {
    constexpr float kLess = rounding == FloatRounding::kDown ? 0.5f : 0;
    const FloatTag floats;
    const auto none = hn::Set(floats, 0x1p23f);
    const auto full = hn::Set(floats, 0x1p23f + 65535.0f);
    const auto sum = hn::MulAdd(value, hn::Set(floats, 65535.0f), hn::Set(floats, 0x1p23f - kLess));
    // Of not-a-number and another operand, the maximum is the other one.
    const auto bounded = hn::Max(sum, none);
    return hn::BitCast(WordTag(),
                       hn::IfThenElse(hn::Ge(value, hn::Set(floats, 1.0f)), full, bounded));
}
#else
/// The same without a sum that is rounded once. With n + f = v * 65536, which is exact, v * 65535
/// is n + (f - v): its floor is one below n just when f < v, and the nearest number is one above
/// or below n just when f - v is at least a half or less than minus a half. The halves are put on
/// the side of f, where they are exact or cannot matter.
template <FloatRounding rounding>
Words WholeSamples(Floats value) {
    const FloatTag floats;
    const auto one = hn::Set(floats, 1.0f);
    const auto half = hn::Set(floats, 0.5f);
    const auto number = hn::IfThenElseZero(hn::Gt(value, hn::Zero(floats)), hn::Min(value, one));
    const auto scaled = number * hn::Set(floats, 65536.0f);
    auto whole = hn::Floor(scaled);
    auto fraction = scaled - whole;
    if constexpr (rounding == FloatRounding::kNearest) {
        const auto above = hn::Ge(fraction - half, number);
        whole = whole + hn::IfThenElseZero(above, one);
        fraction = fraction + half;
    }
    const auto borrow = hn::IfThenElseZero(hn::Lt(fraction, number), one);
    return hn::BitCast(WordTag(), whole - borrow + hn::Set(floats, 0x1p23f));
}
#endif

/// s / 65535 rounded to nearest, from the floats 2^23 + s: s (2^-16 + 2^-32 + 2^-48 + ...). What is
/// left out and what is rounded before the last sum are too little to carry it over the middle
/// between two floats.
Floats Fractions(Floats raised) {
    const FloatTag floats;
    const auto share = hn::MulAdd(raised, hn::Set(floats, 0x1p-16f), hn::Set(floats, -0x1p7f));
    return hn::MulAdd(share, hn::Set(floats, 0x1p-16f + 0x1p-32f), share);
}

/// The components of the pixels from there on, reordered and straight.
template <AlphaState alpha, class T>
Vector<T> LoadPixels(const T* pixels, const Shuffle<T>& reorder) {
    const auto ordered = reorder(hn::LoadU(Tag<T>(), pixels));
    if constexpr (alpha == AlphaState::kPremultiplied) {
        return Unpremultiplied(ordered);
    } else {
        return ordered;
    }
}

template <AlphaState alpha, FloatRounding rounding, class T>
Vector<SampleFor<T>> LoadSamples(const T* pixels, const Shuffle<T>& reorder) {
    if constexpr (std::is_same_v<T, float>) {
        const Tag<std::uint16_t> shorts;
        const auto samples = [&](const float* from) {
            return hn::BitCast(shorts, WholeSamples<rounding>(LoadPixels<alpha>(from, reorder)));
        };
        return hn::ConcatEven(shorts, samples(pixels + kLanes<float>), samples(pixels));
    } else {
        return LoadPixels<alpha>(pixels, reorder);
    }
}

template <class T, AlphaState alpha, FloatRounding rounding = FloatRounding::kNearest>
void Read(const T* pixels, const PixelFormat& format, SampleFor<T>* row, std::ptrdiff_t width) {
    using Sample = SampleFor<T>;
    const Shuffle<T>& reorder = ReorderOf<T>(format);
    const auto read = [&](const T* from, Sample* to) {
        auto samples = LoadSamples<alpha, rounding>(from, reorder);
        if constexpr (alpha == AlphaState::kOpaque) samples = hn::Or(samples, AlphaMask<Sample>());
        hn::StoreU(samples, Tag<Sample>(), to);
    };
    ForEachVector<kLanes<Sample>>(width * kElements, read, Row<const T>{pixels}, Row<Sample>{row});
}

/// The components of the samples from there on. A float takes a sample as its low bits.
template <class T>
Vector<T> LoadComponents(const SampleFor<T>* row) {
    if constexpr (std::is_same_v<T, float>) {
        const WordTag words;
        return Fractions(
            hn::BitCast(FloatTag(), hn::Or(LoadWords(row), hn::Set(words, 0x4B000000))));
    } else {
        return hn::LoadU(Tag<T>(), row);
    }
}

template <class T, bool premultiplied>
void Write(const SampleFor<T>* row, const PixelFormat& format, T* pixels, std::ptrdiff_t width) {
    const Shuffle<T>& reorder = ReorderOf<T>(format);
    const auto write = [&](const SampleFor<T>* from, T* to) {
        auto components = LoadComponents<T>(from);
        if constexpr (premultiplied) components = Premultiplied<T>(components);
        hn::StoreU(reorder(components), Tag<T>(), to);
    };
    ForEachVector<kLanes<T>>(width * kElements, write, Row<const SampleFor<T>>{row},
                             Row<T>{pixels});
}

/// Whole numbers of 16 bits as FloatRestorer's; given are the source's straight floats.
Floats Restored(Floats given, Words samples) {
    const FloatTag floats;
    const WordTag words;
    given = hn::IfThenElseZero(hn::Eq(given, given), given);
    const Words raised = hn::Or(samples, hn::Set(words, 0x4B000000));
    const Floats stored = Fractions(hn::BitCast(floats, raised));
    const Floats bounded = hn::Max(hn::Zero(floats), hn::Min(given, hn::Set(floats, 1.0f)));
    const Words alphas = hn::BitCast(words, Alphas<float>(hn::BitCast(floats, samples)));
    const auto some = hn::RebindMask(floats, hn::Ne(alphas, hn::Zero(words)));
    const Floats moved = stored + hn::IfThenElseZero(some, given - bounded);
    // Whether all of a pixel came out as it went in, alpha being full.
    const Words equal =
        hn::VecFromMask(words, hn::Eq(WholeSamples<FloatRounding::kNearest>(given), raised));
    const Words full = hn::VecFromMask(words, hn::Eq(samples, hn::Set(words, 65535)));
    Words same = hn::IfVecThenElse(hn::BitCast(words, AlphaMask<float>()), full, equal);
    same = hn::And(same, hn::Shuffle2301(same));
    same = hn::And(same, hn::Shuffle1032(same));
    const Floats color = hn::IfVecThenElse(hn::BitCast(floats, same), given, moved);
    return hn::IfVecThenElse(AlphaMask<float>(), stored, color);
}

template <AlphaState alpha, bool premultiplied>
void Restore(const FloatRestorer::Formats& formats, const float* source, const std::uint16_t* row,
             float* pixels, std::ptrdiff_t width) {
    const Shuffle<float>& from = ReorderOf<float>(formats.source);
    const Shuffle<float>& to = ReorderOf<float>(formats.target);
    const auto restore = [&](const float* given, const std::uint16_t* keyed, float* target) {
        auto values = Restored(LoadPixels<alpha>(given, from), LoadWords(keyed));
        if constexpr (premultiplied) values = Premultiplied<float>(values);
        hn::StoreU(to(values), FloatTag(), target);
    };
    ForEachVector<kLanes<float>>(width * kElements, restore, Row<const float>{source},
                                 Row<const std::uint16_t>{row}, Row<float>{pixels});
}

template <bool premultiplied>
FloatRestorer::Form RestorerTo(AlphaState source) {
    return source == AlphaState::kPremultiplied ? Restore<AlphaState::kPremultiplied, premultiplied>
                                                : Restore<AlphaState::kStraight, premultiplied>;
}

FloatRestorer::Form Restorer(const FloatRestorer::Formats& formats) {
    const AlphaState source = formats.source.alpha;
    return formats.target.alpha == AlphaState::kPremultiplied ? RestorerTo<true>(source)
                                                              : RestorerTo<false>(source);
}

template <class T, FloatRounding rounding = FloatRounding::kNearest>
typename PixelReader<T>::Form ReaderOf(AlphaState alpha) {
    switch (alpha) {
        case AlphaState::kPremultiplied:
            return Read<T, AlphaState::kPremultiplied, rounding>;
        case AlphaState::kOpaque:
            return Read<T, AlphaState::kOpaque, rounding>;
        default:
            return Read<T, AlphaState::kStraight, rounding>;
    }
}

template <class T>
typename PixelReader<T>::Form Reader(const PixelFormat& format) {
    if constexpr (std::is_same_v<T, float>) {
        if (format.rounding == FloatRounding::kDown)
            return ReaderOf<T, FloatRounding::kDown>(format.alpha);
    }
    return ReaderOf<T>(format.alpha);
}

template <class T>
typename PixelWriter<T>::Form Writer(const PixelFormat& format) {
    return format.alpha == AlphaState::kPremultiplied ? Write<T, true> : Write<T, false>;
}

}  // namespace

const RestoreRows* GetRestoreRows() {
    static constexpr RestoreRows kRows{Restorer};
    return &kRows;
}

template <class T>
const ConvertRows<T>* GetConvertRows() {
    static constexpr ConvertRows<T> kRows{Reader<T>, Writer<T>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(ConvertRows, SimdConvertRows, GetConvertRows)
template const ConvertRows<float>* SimdConvertRows();
VELTRANE_DEFINE_ROWS(RestoreRows, SimdRestoreRows, GetRestoreRows)

}  // namespace veltrane
#endif
