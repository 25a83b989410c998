#include "keyer/depth.h"

namespace {

using namespace veltrane;

constexpr unsigned int kFailed = 1;
constexpr unsigned int kInvalid = 2;
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

template <class Sample>
void SmoothSourceChroma(const CVELTRANE& keyer, const typename Depth<Sample>::Record& p) {
    const auto work = MakeBuffer<Sample>(static_cast<std::size_t>(p.width) * p.height * kElements);
    (keyer.*Depth<Sample>::kSmoothChroma)(p.width, p.height, const_cast<Sample*>(p.src), work.get(),
                                          p.deblockValue);
}

template <class Record>
bool IsValid(const Record& p) {
    return p.src != nullptr && p.dst != nullptr && p.skinHue[0] >= 120 && p.skinHue[0] <= 170 &&
           p.blueHue[0] >= 250 && p.blueHue[0] <= 330 && p.screenGain[0] <= 30 &&
           p.shadow[0] <= 100 && p.despillGray[0] <= 100 && p.despillSkin[0] <= 50 &&
           p.despillBlue[0] <= 50 && p.contractThreshold <= 255 && p.maskBlurValue <= 100;
}

template <class Sample>
unsigned int KeyFrame(const CVELTRANE& keyer, typename Depth<Sample>::Record* p) {
    using D = Depth<Sample>;
    if (p->smoothBG != 0) return (keyer.*D::kKeyAgainstModel)(p);
    if (p->deblockValue != 0) (keyer.*D::kBlurChroma)(p);
    return (keyer.*D::kKeyAgainstColor)(p);
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
    }
};

template <class Sample>
unsigned int KeyFields(const CVELTRANE& keyer, typename Depth<Sample>::Record* p) {
    using D = Depth<Sample>;
    Field<Sample> odd(keyer, *p, p->height / 2);
    Field<Sample> even(keyer, *p, p->height - p->height / 2);
    (keyer.*D::kSplitFields)(p->width, p->height, const_cast<Sample*>(p->src), odd.source.get(),
                             even.source.get());
    KeyFrame<Sample>(keyer, &odd.record);
    const unsigned int status = KeyFrame<Sample>(keyer, &even.record);
    (keyer.*D::kMergeFields)(p->width, p->height, p->dst, odd.destination.get(),
                             even.destination.get());
    return status;
}

template <class Sample>
unsigned int RunPipeline(typename Depth<Sample>::Record* p, const KORMADEL_Param& frame) {
    using D = Depth<Sample>;
    const CVELTRANE keyer;
    const unsigned int status =
        frame.interlaced != 0 ? KeyFields<Sample>(keyer, p) : KeyFrame<Sample>(keyer, p);
    if (p->contractMask != 0) {
        (keyer.*D::kContract)(p->width, p->height, p->dst, p->contractMask, p->contractThreshold);
    }
    if (p->maskBlurRadius != 0) {
        (keyer.*D::kBlurMatte)(p->width, p->height, p->dst, p->maskBlurRadius, p->maskBlurValue,
                               p->maskBlurMode);
    }
    return status;
}

template <class Sample>
unsigned int Drive(typename Depth<Sample>::Record* p, const KORMADEL_Param* frame) {
    if (p == nullptr || frame == nullptr || !IsValid(*p)) return kInvalid;
    try {
        return RunPipeline<Sample>(p, *frame);
    } catch (CMemoryException*) {
        return kMemoryException;
    } catch (...) {
        return kFailed;
    }
}

}  // namespace

int CVELTRANE::CopyParamVeltraneGreen(const VELTRANE_Param16bit* source,
                                      VELTRANE_Param16bit* target) const {
    return CopyParameters(source, target);
}

int CVELTRANE::CopyParamVeltraneGreen(const VELTRANE_Param* source, VELTRANE_Param* target) const {
    return CopyParameters(source, target);
}

void CVELTRANE::ChromaBlur64bit(VELTRANE_Param16bit* p) const {
    SmoothSourceChroma<unsigned short>(*this, *p);
}

void CVELTRANE::ChromaBlur32bit(VELTRANE_Param* p) const {
    SmoothSourceChroma<unsigned char>(*this, *p);
}

unsigned int VELTRANE_MakeMaskGreenBack64bit(VELTRANE_Param16bit* param, KORMADEL_Param* frame,
                                             unsigned int) {
    return Drive<unsigned short>(param, frame);
}

unsigned int VELTRANE_MakeMaskGreenBack32bit(VELTRANE_Param* param, KORMADEL_Param* frame,
                                             unsigned int) {
    return Drive<unsigned char>(param, frame);
}
