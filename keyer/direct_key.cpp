#include "keyer/row_keyer.h"

namespace {

using namespace veltrane;

template <class Sample>
Status KeyAgainstColor(const typename Depth<Sample>::Record* p) {
    if (p == nullptr) return Status::kRefused;
    return KeyEveryRow<Sample>(*p, Packed<Sample>(*p), false, PackedPitch(*p),
                               IgnoreRows<Sample>());
}

}  // namespace

unsigned int CVELTRANE::MakeMask64bit007_2(VELTRANE_Param16bit* p) const {
    return Number(KeyAgainstColor<unsigned short>(p));
}

unsigned int CVELTRANE::MakeMask32bit007_2(VELTRANE_Param* p) const {
    return Number(KeyAgainstColor<unsigned char>(p));
}
