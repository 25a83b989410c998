#include "keyer/row_keyer.h"

namespace {

using namespace veltrane;

template <class Sample>
unsigned int KeyAgainstColor(const typename Depth<Sample>::Record* p) {
    return p == nullptr ? 2
                        : KeyEveryRow<Sample>(*p, Packed<Sample>(*p), false, PackedPitch(*p),
                                              IgnoreRows<Sample>());
}

}  // namespace

unsigned int CVELTRANE::MakeMask64bit007_2(VELTRANE_Param16bit* p) const {
    return KeyAgainstColor<unsigned short>(p);
}

unsigned int CVELTRANE::MakeMask32bit007_2(VELTRANE_Param* p) const {
    return KeyAgainstColor<unsigned char>(p);
}
