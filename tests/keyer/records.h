#ifndef VELTRANE_TESTS_KEYER_RECORDS_H
#define VELTRANE_TESTS_KEYER_RECORDS_H

#include <type_traits>
#include <vector>

#include "keyer/pipeline.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {

template <typename T>
using Record = std::conditional_t<sizeof(T) == 2, VELTRANE_Param16bit, VELTRANE_Param>;

inline constexpr int kScreen[3] = {70, 180, 60};  // blue, green, red

template <typename Sample>
void SetPair(Sample (&pair)[2], int value) {
    pair[0] = pair[1] = static_cast<Sample>(value);
}

/// A valid record at the user's default settings, save that every option is off.
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

/// Key settings anywhere in their ranges, biased to the ends, with a key near the studio screen.
template <typename R>
void RandomizeKey(Random& random, R& record) {
    constexpr int kUnitHere = sizeof(record.keyR[0]) == 2 ? 257 : 1;
    const auto near = [&](int level) { return (level + random(-20, 20)) * kUnitHere; };
    SetPair(record.keyR, near(kScreen[2]) + random(0, kUnitHere - 1));
    SetPair(record.keyG, near(kScreen[1]) + random(0, kUnitHere - 1));
    SetPair(record.keyB, near(kScreen[0]) + random(0, kUnitHere - 1));
    SetPair(record.screenGain, random.Biased(0, 30));
    SetPair(record.shadow, random.Biased(0, 100));
    SetPair(record.skinHue, random.Biased(120, 170));
    SetPair(record.blueHue, random.Biased(250, 330));
    SetPair(record.despillGray, random.Biased(0, 100));
    SetPair(record.despillSkin, random.Biased(0, 50));
    SetPair(record.despillBlue, random.Biased(0, 50));
}

/// Every option on or off, with any amount.
template <typename R>
void RandomizeOptions(Random& random, R& record) {
    const auto option = [&](int high) {
        return static_cast<unsigned short>(random.OneIn(3) ? 0 : random(1, high));
    };
    record.deblockValue = option(10);
    record.contractMask = option(4);
    record.contractThreshold = static_cast<unsigned short>(random.Biased(0, 255));
    record.smoothBG = random(0, 1);
    record.maskBlurRadius = option(12);
    record.maskBlurValue = static_cast<unsigned short>(random.Biased(0, 100));
    record.maskBlurMode = random.OneIn(2) ? 0 : 9;
}

/// All values of a record behind its pointers, in their order.
template <typename R>
std::vector<unsigned> Values(const R& r) {
    std::vector<unsigned> values{r.width, r.height};
    const auto pair = [&](const auto& p) { values.insert(values.end(), {p[0], p[1]}); };
    pair(r.keyR), pair(r.keyG), pair(r.keyB), pair(r.screenGain), pair(r.shadow), pair(r.skinHue);
    pair(r.blueHue), pair(r.despillGray), pair(r.despillSkin), pair(r.despillBlue);
    pair(r.reservedPair);
    values.insert(values.end(), {r.deblockValue, r.contractMask, r.contractThreshold, r.smoothBG,
                                 r.reservedInt1, r.reservedInt2});
    values.insert(values.end(), std::begin(r.reservedWords), std::end(r.reservedWords));
    values.insert(values.end(), {r.maskBlurRadius, r.maskBlurValue, r.maskBlurMode});
    return values;
}

/// The stages under one name for both depths.
struct Stages : CVELTRANE {
    unsigned Direct(VELTRANE_Param16bit* p) const { return MakeMask64bit007_2(p); }
    unsigned Direct(VELTRANE_Param* p) const { return MakeMask32bit007_2(p); }
    unsigned Model(VELTRANE_Param16bit* p) const { return MakeMask64bit008_1(p); }
    unsigned Model(VELTRANE_Param* p) const { return MakeMask32bit008_1(p); }
    unsigned Plate(VELTRANE_Param16bit* p, unsigned short* plate) const {
        return MakeChromaKeyMaskX9Core64bit14(p, plate);
    }
    unsigned Plate(VELTRANE_Param* p, unsigned char* plate) const {
        return MakeChromaKeyMaskX9Core32bit14(p, plate);
    }
    void Deblock(VELTRANE_Param16bit* p) const { ChromaBlur64bit(p); }
    void Deblock(VELTRANE_Param* p) const { ChromaBlur32bit(p); }
    void Contract(VELTRANE_Param16bit* p) const {
        ContGray7_64(p->width, p->height, p->dst, p->contractMask, p->contractThreshold);
    }
    void Contract(VELTRANE_Param* p) const {
        ContGray7(p->width, p->height, p->dst, p->contractMask, p->contractThreshold);
    }
    void Soften(VELTRANE_Param16bit* p) const {
        MaskBlur64(p->width, p->height, p->dst, p->maskBlurRadius, p->maskBlurValue,
                   p->maskBlurMode);
    }
    void Soften(VELTRANE_Param* p) const {
        MaskBlur(p->width, p->height, p->dst, p->maskBlurRadius, p->maskBlurValue, p->maskBlurMode);
    }
};

inline unsigned Drive(VELTRANE_Param16bit* p, unsigned interlaced = 0) {
    KORMADEL_Param frame{interlaced};
    return VELTRANE_MakeMaskGreenBack64bit(p, &frame, 0);
}
inline unsigned Drive(VELTRANE_Param* p, unsigned interlaced = 0) {
    KORMADEL_Param frame{interlaced};
    return VELTRANE_MakeMaskGreenBack32bit(p, &frame, 0);
}

}  // namespace veltrane::testing

#endif
