#include "keyer/driver.h"

#include <bit>
#include <cstddef>
#include <utility>

#include "imaging/matte/matte_plane.h"
#include "keyer/screen_kind.h"

namespace {

using namespace veltrane;

// What the drivers of C linkage answer where something is thrown.
constexpr unsigned int kFailed = 1;
constexpr unsigned int kMemoryException = 3;

template <class Record>
int CopyParameters(const Record* source, Record* target) {
    if (source == nullptr || target == nullptr) return 0;
    const auto frames = *target;
    *target = *source;
    target->src = frames.src;
    target->dst = frames.dst;
    target->reservedPtr = frames.reservedPtr;
    return 1;
}

/// A field keyed as an image of its own.
template <class Sample>
struct Field {
    typename Depth<Sample>::Record record;
    std::unique_ptr<Sample[]> source;
    std::unique_ptr<Sample[]> destination;

    Field(const CVELTRANE& keyer, const typename Depth<Sample>::Record& frame, int height)
        : record{} {
        const std::size_t size =
            static_cast<std::size_t>(frame.width) * height * Depth<Sample>::kFieldElements;
        source = MakeBuffer<Sample>(size);
        destination = MakeBuffer<Sample>(size);
        keyer.CopyParamVeltraneGreen(&frame, &record);
        record.src = source.get();
        record.dst = destination.get();
        record.height = static_cast<unsigned short>(height);
        record.contractMask = 0;
        record.maskBlurRadius = 0;
    }
};

/// The status is that of the even rows, of which there is always one.
template <class Sample>
Status KeyFields(const CVELTRANE& keyer, const typename Depth<Sample>::Record& p, Screen screen) {
    using D = Depth<Sample>;
    Field<Sample> odd(keyer, p, p.height / 2);
    Field<Sample> even(keyer, p, p.height - p.height / 2);
    (keyer.*D::kSplitFields)(p.width, p.height, const_cast<Sample*>(p.src), odd.source.get(),
                             even.source.get());
    static_cast<void>(KeyRecord<Sample>(odd.record, screen));
    const Status status = KeyRecord<Sample>(even.record, screen);
    (keyer.*D::kMergeFields)(p.width, p.height, p.dst, odd.destination.get(),
                             even.destination.get());
    return status;
}

/// Fields are keyed apart and refined as one frame.
template <class Sample>
Status KeyInterlaced(const typename Depth<Sample>::Record& p, Screen screen) {
    const Status status = KeyFields<Sample>(CVELTRANE(), p, screen);
    if (!RefinesMatte(p)) return status;
    ChangeMatte(p.width, p.height, p.dst,
                [&](Sample* matte) { RefineMatte<Sample>(p, p.height, matte); });
    return status;
}

template <class Record>
bool IsValid(const Record& p, Screen screen) {
    return p.src != nullptr && p.dst != nullptr && TakesSettings(p, screen);
}

/// The border to C: what is thrown becomes a number.
template <class Sample>
unsigned int Drive(const typename Depth<Sample>::Record* p, const KORMADEL_Param* frame,
                   Screen screen) {
    if (p == nullptr || frame == nullptr || !IsValid(*p, screen)) return Number(Status::kRefused);
    try {
        return Number(frame->interlaced != 0 ? KeyInterlaced<Sample>(*p, screen)
                                             : KeyRecord<Sample>(*p, screen));
    } catch (CMemoryException*) {
        return kMemoryException;
    } catch (...) {
        return kFailed;
    }
}

/// A blue record's bytes are those of a green one with green in the place of blue.
template <class Sample, class BlueRecord>
unsigned int DriveBlue(const BlueRecord* p, const KORMADEL_Param* frame) {
    using Record = typename Depth<Sample>::Record;
    static_assert(offsetof(BlueRecord, greenHue) == offsetof(Record, blueHue));
    static_assert(offsetof(BlueRecord, despillGreen) == offsetof(Record, despillBlue));
    if (p == nullptr) return Number(Status::kRefused);
    const auto record = std::bit_cast<Record>(*p);
    return Drive<Sample>(&record, frame, Screen::Blue);
}

}  // namespace

namespace veltrane {

template <class Record>
bool TakesSettings(const Record& p, Screen screen) {
    const ScreenKind& kind = KindOf(screen);
    return kind.skin.Holds(p.skinHue[0]) && kind.neighbour.Holds(p.blueHue[0]) &&
           p.screenGain[0] <= 30 && p.shadow[0] <= 100 && p.despillGray[0] <= 100 &&
           p.despillSkin[0] <= 50 && p.despillBlue[0] <= 50 && p.contractThreshold <= 255 &&
           p.maskBlurValue <= 100;
}

template bool TakesSettings(const VELTRANE_Param16bit&, Screen);
template bool TakesSettings(const VELTRANE_Param&, Screen);

template <class Sample>
Status DriveFrame(const typename Depth<Sample>::Record& p, Screen screen,
                  decltype(RowTarget<Sample>::take) take) {
    return IsValid(p, screen) ? KeyRecord<Sample>(p, screen, std::move(take)) : Status::kRefused;
}

template Status DriveFrame<unsigned short>(const VELTRANE_Param16bit&, Screen,
                                           decltype(RowTarget<unsigned short>::take));
template Status DriveFrame<unsigned char>(const VELTRANE_Param&, Screen,
                                          decltype(RowTarget<unsigned char>::take));

}  // namespace veltrane

int CVELTRANE::CopyParamVeltraneGreen(const VELTRANE_Param16bit* source,
                                      VELTRANE_Param16bit* target) const {
    return CopyParameters(source, target);
}

int CVELTRANE::CopyParamVeltraneGreen(const VELTRANE_Param* source, VELTRANE_Param* target) const {
    return CopyParameters(source, target);
}

void CVELTRANE::ChromaBlur64bit(VELTRANE_Param16bit* p) const {
    SmoothSourceChroma<unsigned short>(*p);
}

void CVELTRANE::ChromaBlur32bit(VELTRANE_Param* p) const {
    SmoothSourceChroma<unsigned char>(*p);
}

unsigned int VELTRANE_MakeMaskGreenBack64bit(VELTRANE_Param16bit* param, KORMADEL_Param* frame,
                                             unsigned int) {
    return Drive<unsigned short>(param, frame, Screen::Green);
}

unsigned int VELTRANE_MakeMaskGreenBack32bit(VELTRANE_Param* param, KORMADEL_Param* frame,
                                             unsigned int) {
    return Drive<unsigned char>(param, frame, Screen::Green);
}

unsigned int VELTRANE_MakeMaskBlueBack64bit(VELTRANE_ParamBlue16bit* param, KORMADEL_Param* frame,
                                            unsigned int) {
    return DriveBlue<unsigned short>(param, frame);
}

unsigned int VELTRANE_MakeMaskBlueBack32bit(VELTRANE_ParamBlue* param, KORMADEL_Param* frame,
                                            unsigned int) {
    return DriveBlue<unsigned char>(param, frame);
}
