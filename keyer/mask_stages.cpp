#include "keyer/band_keyer.h"

namespace {

using namespace veltrane;

/// A stage of its own keys the frame and leaves the matte as it is.
template <class Record>
Record StageRecord(const Record& p, bool againstModel) {
    Record stage = p;
    stage.smoothBG = againstModel;
    stage.contractMask = 0;
    stage.maskBlurRadius = 0;
    if (!againstModel) stage.deblockValue = 0;
    return stage;
}

template <class Sample>
unsigned int KeyStage(const typename Depth<Sample>::Record* p, bool againstModel) {
    if (p == nullptr) return Number(Status::kRefused);
    return Number(KeyRecord<Sample>(StageRecord(*p, againstModel), Screen::Green));
}

}  // namespace

unsigned int CVELTRANE::MakeMask64bit008_1(VELTRANE_Param16bit* p) const {
    return KeyStage<unsigned short>(p, true);
}

unsigned int CVELTRANE::MakeMask32bit008_1(VELTRANE_Param* p) const {
    return KeyStage<unsigned char>(p, true);
}

unsigned int CVELTRANE::MakeMask64bit007_2(VELTRANE_Param16bit* p) const {
    return KeyStage<unsigned short>(p, false);
}

unsigned int CVELTRANE::MakeMask32bit007_2(VELTRANE_Param* p) const {
    return KeyStage<unsigned char>(p, false);
}
