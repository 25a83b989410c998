#ifndef VELTRANE_TESTS_KEYER_RECORDS_H
#define VELTRANE_TESTS_KEYER_RECORDS_H

#include <bit>
#include <type_traits>
#include <utility>
#include <vector>

#include "keyer/pipeline.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {

template <typename T>
using Record = std::conditional_t<sizeof(T) == 2, VELTRANE_Param16bit, VELTRANE_Param>;

using Keyer = CVELTRANE;
inline const Keyer stages;
template <typename T>
inline constexpr auto kDirect = ByDepth<T>(&Keyer::MakeMask64bit007_2, &Keyer::MakeMask32bit007_2);
template <typename T>
inline constexpr auto kModel = ByDepth<T>(&Keyer::MakeMask64bit008_1, &Keyer::MakeMask32bit008_1);
template <typename T>
inline constexpr auto kPlateKey = ByDepth<T>(&Keyer::MakeChromaKeyMaskX9Core64bit14,
                                             &Keyer::MakeChromaKeyMaskX9Core32bit14);
template <typename T>
unsigned Drive(Record<T>& record, unsigned interlaced = 0) {
    KORMADEL_Param frame{interlaced};
    return ByDepth<T>(VELTRANE_MakeMaskGreenBack64bit, VELTRANE_MakeMaskGreenBack32bit)(&record,
                                                                                        &frame, 0);
}

template <typename T>
using BlueRecord = std::conditional_t<sizeof(T) == 2, VELTRANE_ParamBlue16bit, VELTRANE_ParamBlue>;

template <typename T>
unsigned Drive(BlueRecord<T>& record, unsigned interlaced = 0) {
    KORMADEL_Param frame{interlaced};
    return ByDepth<T>(VELTRANE_MakeMaskBlueBack64bit, VELTRANE_MakeMaskBlueBack32bit)(&record,
                                                                                      &frame, 0);
}

template <typename Sample>
void SetPair(Sample (&pair)[2], int value) {
    pair[0] = pair[1] = static_cast<Sample>(value);
}

/// A valid record with a key of the studio screen and every option off.
template <typename T>
Record<T> DefaultRecord(const std::vector<T>& source, std::vector<T>& target, int width,
                        int height) {
    Record<T> record{};
    record.src = source.data();
    record.dst = target.data();
    record.width = static_cast<unsigned short>(width);
    record.height = static_cast<unsigned short>(height);
    SetPair(record.keyR, kScreen[2] * kUnit<T>);
    SetPair(record.keyG, kScreen[1] * kUnit<T>);
    SetPair(record.keyB, kScreen[0] * kUnit<T>);
    SetPair(record.screenGain, 10);
    SetPair(record.shadow, 100);
    SetPair(record.skinHue, 145);
    SetPair(record.blueHue, 290);
    SetPair(record.despillGray, 20);
    SetPair(record.despillSkin, 10);
    return record;
}

/// The record for its frame with green and blue exchanged, at these hues.
template <typename T>
BlueRecord<T> AsBlue(const Record<T>& green, int skinHue, int greenHue) {
    auto record = std::bit_cast<BlueRecord<T>>(green);
    std::swap(record.keyG, record.keyB);
    SetPair(record.skinHue, skinHue);
    SetPair(record.greenHue, greenHue);
    return record;
}

template <typename T>
BlueRecord<T> DefaultBlueRecord(const std::vector<T>& source, std::vector<T>& target, int width,
                                int height) {
    return AsBlue<T>(DefaultRecord(source, target, width, height), 110, 260);
}

/// A record with a key near the studio screen and all else anywhere in its range, biased to the
/// ends.
template <typename T>
Record<T> RandomRecord(Random& random, const std::vector<T>& source, std::vector<T>& target,
                       int width, int height) {
    auto record = DefaultRecord(source, target, width, height);
    for (auto* pair : {&record.keyR, &record.keyG, &record.keyB})
        SetPair(*pair, (*pair)[0] + random(-20 * kUnit<T>, 20 * kUnit<T>));
    SetPair(record.screenGain, random.Biased(0, 30));
    SetPair(record.shadow, random.Biased(0, 100));
    SetPair(record.skinHue, random.Biased(120, 170));
    SetPair(record.blueHue, random.Biased(250, 330));
    SetPair(record.despillGray, random.Biased(0, 100));
    SetPair(record.despillSkin, random.Biased(0, 50));
    SetPair(record.despillBlue, random.Biased(0, 50));
    const auto any = [&](int high) { return static_cast<unsigned short>(random.Biased(0, high)); };
    record.smoothBG = any(1);
    record.deblockValue = any(10);
    record.contractMask = any(4);
    record.contractThreshold = any(255);
    record.maskBlurRadius = any(12);
    record.maskBlurValue = any(100);
    record.maskBlurMode = any(9);
    record.reservedInt1 = record.reservedInt2 = record.reservedWords[3] = any(99);  // never read
    SetPair(record.reservedPair, any(99));
    return record;
}

template <typename T>
BlueRecord<T> RandomBlueRecord(Random& random, const std::vector<T>& source, std::vector<T>& target,
                               int width, int height) {
    const auto record = RandomRecord(random, source, target, width, height);
    const int skinHue = random.Biased(70, 150);
    return AsBlue<T>(record, skinHue, random.Biased(220, 300));
}

/// The bytes of a record behind its pointers, without the padding.
template <typename R>
std::vector<unsigned char> Values(const R& r) {
    const auto at = [](auto& member) { return reinterpret_cast<const unsigned char*>(&member); };
    std::vector<unsigned char> values(at(r.width), at(r.contractThreshold) + 2);
    values.insert(values.end(), at(r.smoothBG), at(r.maskBlurMode) + 2);
    return values;
}

}  // namespace veltrane::testing

#endif
