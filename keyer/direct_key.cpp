#include "keyer/matte_rows.h"

namespace {

using namespace veltrane;

template <class Sample>
unsigned int KeyAgainstColor(const typename Depth<Sample>::Record* p) {
    if (p == nullptr) return 2;
    if (p->width == 0 || p->height == 0) return 0;
    const KeyLook<Sample> look(*p);
    const KeyAxis axis(SampleToYiq(p->keyR[0], p->keyG[0], p->keyB[0]), look.neutral,
                       kColorMargins);
    const KeyRows<Sample>& rows = KeyRowsInUse<Sample>();
    const std::size_t pitch = static_cast<std::size_t>(p->width) * kElements;
    for (std::size_t y = 0; y < p->height; ++y) {
        rows.againstColor(look, axis, p->src + y * pitch, p->dst + y * pitch, p->width);
    }
    return 0;
}

}  // namespace

unsigned int CVELTRANE::MakeMask64bit007_2(VELTRANE_Param16bit* p) const {
    return KeyAgainstColor<unsigned short>(p);
}

unsigned int CVELTRANE::MakeMask32bit007_2(VELTRANE_Param* p) const {
    return KeyAgainstColor<unsigned char>(p);
}
