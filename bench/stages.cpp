#include "stages.h"

#include "keyer/core/matte_core.h"
#include "measure.h"

namespace veltrane::bench {

namespace {

constexpr int kSmallWidth = 320;
constexpr int kSmallHeight = 180;
constexpr int kSmallPitch = kSmallWidth * 4;

using SmallFrame = std::vector<unsigned char>;

/// The still's record at default settings and the plate's way through its stages.
class Stages {
public:
    Stages();

    Subject& still = Still();
    CVELTRANE keyer;
    VELTRANE_Param16bit record{};
    SmallFrame reduced = SmallFrame(kSmallPitch * kSmallHeight);
    SmallFrame map = SmallFrame(kSmallWidth * kSmallHeight);
    SmallFrame extracted, contracted, filled, smooth;
    SmallFrame scratch;
    media::Pixels plate = still.frame;
    media::Pixels work = still.frame;
    media::Pixels keyed;
    std::vector<float> curve;

    void Shrink() {
        keyer.DF_WH64bitTo32bit5_1(still.source.data(), still.width, still.height, still.width * 4,
                                   reduced.data(), kSmallWidth, kSmallHeight, kSmallPitch, 0, 2);
    }
    void FindEdges() {
        keyer.Laplacian32bit8(reduced.data(), kSmallWidth, kSmallHeight, kSmallPitch, map.data(),
                              kSmallWidth, kSmallHeight, kSmallWidth, 40);
    }
    void Extract() {
        const auto byte = [](unsigned short part) {
            return static_cast<unsigned char>(part / 257);
        };
        keyer.ExtractBack32bit(scratch.data(), map.data(), kSmallWidth, kSmallHeight, kSmallPitch,
                               byte(record.keyR[0]), byte(record.keyG[0]), byte(record.keyB[0]),
                               145, 290);
    }
    void Contract() {
        keyer.ContractBack32bit(scratch.data(), kSmallWidth, kSmallHeight, kSmallPitch, 3);
    }
    void Fill() {
        keyer.ExpandBack32bit8(scratch.data(), kSmallWidth, kSmallHeight, kSmallPitch, 0, 255, 0);
    }
    void Smooth() {
        keyer.AverageBlurCore32bit6(scratch.data(), kSmallWidth, kSmallHeight, kSmallPitch, 7);
    }
    void Enlarge() {
        keyer.DF_WH32bitTo64bit5_1(smooth.data(), kSmallWidth, kSmallHeight, kSmallPitch,
                                   plate.data(), still.width, still.height, still.width * 4, 0, 1);
    }
    void KeyAgainstPlate() { keyer.MakeChromaKeyMaskX9Core64bit14(&record, plate.data()); }
    void KeyAgainstColor() { keyer.MakeMask64bit007_2(&record); }
    void BuildCurve() {
        VELTRANE_Param16bit darker = record;
        darker.shadow[0] = 60;
        const auto& built = KeyLook<unsigned short>(darker).curve;
        curve.assign(built.begin(), built.end());
    }
    void Deblock() {
        keyer.ChromaBlur64bit(still.width, still.height, still.source.data(), work.data(), 3);
    }
    void ContractMatte() {
        keyer.ContGray7_64(still.width, still.height, still.output.data(), 4, 10);
    }
    void BlurMatte() {
        keyer.MaskBlur64(still.width, still.height, still.output.data(), 10, 50, 0);
    }
};

Stages::Stages() {
    const auto word = [](double part) { return static_cast<unsigned short>(part * 65535 + 0.5); };
    record.src = still.source.data();
    record.dst = still.output.data();
    record.width = static_cast<unsigned short>(still.width);
    record.height = static_cast<unsigned short>(still.height);
    record.keyR[0] = word(still.screen.red);
    record.keyG[0] = word(still.screen.green);
    record.keyB[0] = word(still.screen.blue);
    record.screenGain[0] = 10;
    record.shadow[0] = 100;
    record.skinHue[0] = 145;
    record.blueHue[0] = 290;
    record.despillGray[0] = 20;
    record.despillSkin[0] = 10;
    Shrink();
    FindEdges();
    scratch = reduced;
    Extract();
    extracted = scratch;
    Contract();
    contracted = scratch;
    Fill();
    filled = scratch;
    Smooth();
    smooth = scratch;
    Enlarge();
    KeyAgainstPlate();
    keyed = still.output;
}

Stages& Shared() {
    static Stages stages;
    return stages;
}

}  // namespace

void RegisterStages(const std::vector<CpuLevel>& levels) {
    Stages& s = Shared();
    const auto small = [&s] { return BytesOf(s.scratch); };
    const auto output = [&s] { return BytesOf(s.still.output); };
    const auto nothing = [] {};
    const auto source = [&s] { s.still.Restore(); };
    const auto matte = [&s] { s.still.output = s.keyed; };
    const auto scratch = [&s](const SmallFrame& from) { return [&s, &from] { s.scratch = from; }; };
    const auto add = [&](const char* name, void (Stages::*run)(), const auto& prepare,
                         const std::function<Bytes()>& result) {
        Case timed;
        timed.name = std::string("stage/") + name;
        timed.work = {prepare, [&s, run] { (s.*run)(); }};
        timed.result = result;
        timed.yardstick = CopyOf(s.still.frame);
        Register(timed, levels);
    };
    add("shrink", &Stages::Shrink, source, [&s] { return BytesOf(s.reduced); });
    add("edge map", &Stages::FindEdges, nothing, [&s] { return BytesOf(s.map); });
    add("extract screen", &Stages::Extract, scratch(s.reduced), small);
    add("contract screen", &Stages::Contract, scratch(s.extracted), small);
    add("fill holes", &Stages::Fill, scratch(s.contracted), small);
    add("smooth plate", &Stages::Smooth, scratch(s.filled), small);
    add("enlarge plate", &Stages::Enlarge, nothing, [&s] { return BytesOf(s.plate); });
    add("key against plate", &Stages::KeyAgainstPlate, source, output);
    add("key against color", &Stages::KeyAgainstColor, source, output);
    add("matte curve", &Stages::BuildCurve, nothing, [&s] { return BytesOf(s.curve); });
    add("deblock 3", &Stages::Deblock, source, [&s] { return BytesOf(s.still.source); });
    add("contract matte 4", &Stages::ContractMatte, matte, output);
    add("blur matte 10", &Stages::BlurMatte, matte, output);
}

}  // namespace veltrane::bench
