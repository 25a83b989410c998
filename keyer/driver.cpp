#include "keyer/driver.h"

#include "imaging/matte_plane.h"
#include "keyer/row_keyer.h"

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

template <class Record>
bool IsValid(const Record& p) {
    return p.src != nullptr && p.dst != nullptr && p.skinHue[0] >= 120 && p.skinHue[0] <= 170 &&
           p.blueHue[0] >= 250 && p.blueHue[0] <= 330 && p.screenGain[0] <= 30 &&
           p.shadow[0] <= 100 && p.despillGray[0] <= 100 && p.despillSkin[0] <= 50 &&
           p.despillBlue[0] <= 50 && p.contractThreshold <= 255 && p.maskBlurValue <= 100;
}

template <class Sample>
Status KeyFrame(const typename Depth<Sample>::Record& p, const FrameRows<Sample>& source,
                std::size_t pitch, const RowSink<Sample>& sink) {
    if (p.smoothBG == 0 && p.deblockValue != 0) SmoothSourceChroma<Sample>(p);
    return KeyEveryRow<Sample>(p, source, p.smoothBG != 0, pitch, sink);
}

template <class Sample>
Status KeyField(const typename Depth<Sample>::Record& p) {
    return KeyFrame<Sample>(p, Packed<Sample>(p), PackedPitch(p), IgnoreRows<Sample>());
}

/// Contraction and blur, on the matte alone.
template <class Sample>
void RefineMatte(const typename Depth<Sample>::Record& p, Sample* matte) {
    if (p.contractMask != 0) {
        ContractMatte(p.width, p.height, matte, p.contractMask,
                      p.contractThreshold * (kFullScale<Sample> / 255));
    }
    if (p.maskBlurRadius != 0) {
        SoftenMatte(p.width, p.height, matte, p.maskBlurRadius, p.maskBlurValue, p.maskBlurMode);
    }
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

/// The status is that of the even rows, of which there is always one.
template <class Sample>
Status KeyFields(const CVELTRANE& keyer, const typename Depth<Sample>::Record& p) {
    using D = Depth<Sample>;
    Field<Sample> odd(keyer, p, p.height / 2);
    Field<Sample> even(keyer, p, p.height - p.height / 2);
    (keyer.*D::kSplitFields)(p.width, p.height, const_cast<Sample*>(p.src), odd.source.get(),
                             even.source.get());
    static_cast<void>(KeyField<Sample>(odd.record));
    const Status status = KeyField<Sample>(even.record);
    (keyer.*D::kMergeFields)(p.width, p.height, p.dst, odd.destination.get(),
                             even.destination.get());
    return status;
}

/// Fields that were keyed apart are refined as one frame.
template <class Sample>
Status RunOnFields(const typename Depth<Sample>::Record& p) {
    const Status status = KeyFields<Sample>(CVELTRANE(), p);
    if (!NeedsWholeFrame(p)) return status;
    ChangeMatte(p.width, p.height, p.dst, [&](Sample* matte) { RefineMatte(p, matte); });
    return status;
}

template <class Sample>
Status RunOnRows(const typename Depth<Sample>::Record& p, const FrameRows<Sample>& source,
                 std::size_t pitch, const RowSink<Sample>& sink) {
    if (!NeedsWholeFrame(p)) return KeyFrame<Sample>(p, source, pitch, sink);
    const std::size_t width = p.width;
    const auto matte = MakeBuffer<Sample>(width * p.height);
    const RowSink<Sample> takeMatte{
        [&](int y, const Sample* row) { TakeMatte(row, matte.get() + y * width, p.width); }};
    const Status status = KeyFrame<Sample>(p, source, pitch, takeMatte);
    if (status != Status::kDone) return status;
    RefineMatte(p, matte.get());
    for (int y = 0; y < p.height; ++y) {
        Sample* row = p.dst + y * pitch;
        PutMatte(matte.get() + y * width, row, p.width);
        sink.take(y, row);
    }
    return status;
}

template <class Sample>
Status RunInterlaced(const typename Depth<Sample>::Record& p) {
    return IsValid(p) ? RunOnFields<Sample>(p) : Status::kRefused;
}

/// The border to C: what is thrown becomes a number.
template <class Sample>
unsigned int Drive(const typename Depth<Sample>::Record* p, const KORMADEL_Param* frame) {
    if (p == nullptr || frame == nullptr) return Number(Status::kRefused);
    try {
        if (frame->interlaced != 0) return Number(RunInterlaced<Sample>(*p));
        return Number(
            DriveRows<Sample>(*p, Packed<Sample>(*p), PackedPitch(*p), IgnoreRows<Sample>()));
    } catch (CMemoryException*) {
        return kMemoryException;
    } catch (...) {
        return kFailed;
    }
}

}  // namespace

namespace veltrane {

template <class Sample>
Status DriveRows(const typename Depth<Sample>::Record& p, const FrameRows<Sample>& source,
                 std::size_t pitch, const RowSink<Sample>& sink) {
    return IsValid(p) ? RunOnRows<Sample>(p, source, pitch, sink) : Status::kRefused;
}

template Status DriveRows(const VELTRANE_Param16bit&, const FrameRows<unsigned short>&, std::size_t,
                          const RowSink<unsigned short>&);
template Status DriveRows(const VELTRANE_Param&, const FrameRows<unsigned char>&, std::size_t,
                          const RowSink<unsigned char>&);

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
    return Drive<unsigned short>(param, frame);
}

unsigned int VELTRANE_MakeMaskGreenBack32bit(VELTRANE_Param* param, KORMADEL_Param* frame,
                                             unsigned int) {
    return Drive<unsigned char>(param, frame);
}
