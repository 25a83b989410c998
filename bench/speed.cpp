// Times each stage of the 16-bit keyer and the whole entry on the sample still. The machine's noise
// cancels out of the column "copies": every round also times a plain copy of one frame, and the
// column is the ratio of the two times.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "keyer/entry.h"
#include "keyer/matte_core.h"
#include "media/media.h"
#include "settings/screen_color.h"

namespace {

using namespace veltrane;
using Clock = std::chrono::steady_clock;

/// The sample still, its record at default settings and the plate's way through its stages.
struct Bench {
    media::Frame frame = media::ReadFrame(VELTRANE_SAMPLES "/still.jpg", 1);
    int width = frame.width;
    int height = frame.height;
    int smallWidth = 320;
    int smallHeight = 180;
    int smallPitch = smallWidth * 4;
    Color key = FindScreenColor(width, height, frame.pixels.data()).value().color;
    std::vector<std::uint16_t> copy = frame.pixels;
    std::vector<std::uint16_t> source = frame.pixels;
    std::vector<std::uint16_t> output = frame.pixels;
    std::vector<std::uint16_t> plate = frame.pixels;
    std::vector<unsigned char> reduced;
    std::vector<unsigned char> extracted;
    std::vector<unsigned char> contracted;
    std::vector<unsigned char> filled;
    std::vector<unsigned char> map;
    std::vector<unsigned char> scratch;
    VELTRANE_Param16bit record{};
    CVELTRANE keyer;

    Bench() {
        reduced.resize(static_cast<std::size_t>(smallPitch) * smallHeight);
        map.resize(static_cast<std::size_t>(smallWidth) * smallHeight);
        record.src = source.data();
        record.dst = output.data();
        record.width = static_cast<unsigned short>(width);
        record.height = static_cast<unsigned short>(height);
        record.keyR[0] = static_cast<unsigned short>(key.red * 65535 + 0.5);
        record.keyG[0] = static_cast<unsigned short>(key.green * 65535 + 0.5);
        record.keyB[0] = static_cast<unsigned short>(key.blue * 65535 + 0.5);
        record.screenGain[0] = 10;
        record.shadow[0] = 100;
        record.skinHue[0] = 145;
        record.blueHue[0] = 290;
        record.despillGray[0] = 20;
        record.despillSkin[0] = 10;
        Shrink();
        scratch = reduced;
        Extract();
        extracted = scratch;
        Contract();
        contracted = scratch;
        Fill();
        filled = scratch;
        Smooth();
        filled = scratch;
        Enlarge();
    }

    void Shrink() {
        keyer.DF_WH64bitTo32bit5_1(source.data(), width, height, width * 4, reduced.data(),
                                   smallWidth, smallHeight, smallPitch, 0, 2);
    }
    void FindEdges() {
        keyer.Laplacian32bit8(reduced.data(), smallWidth, smallHeight, smallPitch, map.data(),
                              smallWidth, smallHeight, smallWidth, 40);
    }
    void Extract() {
        keyer.ExtractBack32bit(scratch.data(), map.data(), smallWidth, smallHeight, smallPitch,
                               static_cast<unsigned char>(record.keyR[0] / 257),
                               static_cast<unsigned char>(record.keyG[0] / 257),
                               static_cast<unsigned char>(record.keyB[0] / 257), 145, 290);
    }
    void Contract() {
        keyer.ContractBack32bit(scratch.data(), smallWidth, smallHeight, smallPitch, 3);
    }
    void Fill() {
        keyer.ExpandBack32bit8(scratch.data(), smallWidth, smallHeight, smallPitch, 0, 255, 0);
    }
    void Smooth() {
        keyer.AverageBlurCore32bit6(scratch.data(), smallWidth, smallHeight, smallPitch, 7);
    }
    void Enlarge() {
        keyer.DF_WH32bitTo64bit5_1(filled.data(), smallWidth, smallHeight, smallPitch, plate.data(),
                                   width, height, width * 4, 0, 1);
    }
    void BuildCurve() {
        VELTRANE_Param16bit darker = record;
        darker.shadow[0] = 60;
        benchmark::DoNotOptimize(KeyLook<unsigned short>(darker).curve.data());
    }
    void KeyWhole(const Settings& s) {
        VeltraneFinalCut16bit(
            output.data(), source.data(), width, height, 0, 0, static_cast<int>(s.view),
            s.keyColor.red, s.keyColor.green, s.keyColor.blue, s.smoothBG, s.shadow, s.clipBlack,
            s.clipWhite, s.deBlocking, s.deBlockValue, s.edgeContract, s.contractMask,
            s.contractThreshold, s.edgeBlur, s.maskBlurRadius, s.maskBlurValue, s.skinHue,
            s.blueHue, s.despillGray, s.despillSkin, s.despillBlue, s.screenGain);
    }
};

/// The bench's one frame and its plate, made when they are first needed.
Bench& Shared() {
    static Bench bench;
    return bench;
}

double Seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

/// Runs prepare (untimed), a copy and the work in turn.
void Time(benchmark::State& state, const std::function<void(Bench&)>& prepare,
          const std::function<void(Bench&)>& work) {
    Bench& bench = Shared();
    double copying = 0;
    double working = 0;
    for (auto _ : state) {
        prepare(bench);
        const auto start = Clock::now();
        std::memcpy(bench.copy.data(), bench.frame.pixels.data(), bench.copy.size() * 2);
        benchmark::ClobberMemory();
        const auto copied = Clock::now();
        work(bench);
        benchmark::ClobberMemory();
        const auto done = Clock::now();
        copying += Seconds(copied - start);
        working += Seconds(done - copied);
        state.SetIterationTime(Seconds(done - copied));
    }
    state.counters["copies"] = working / copying;
}

void Register(
    const char* name, const std::function<void(Bench&)>& work,
    const std::function<void(Bench&)>& prepare = [](Bench&) {}) {
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { Time(state, prepare, work); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

Settings KeySettings() {
    Settings settings;
    settings.keyColor = Shared().key;
    return settings;
}

Settings DirectSettings() {
    Settings settings = KeySettings();
    settings.smoothBG = false;
    return settings;
}

Settings EverythingSettings() {
    Settings settings = KeySettings();
    settings.deBlocking = true;
    settings.deBlockValue = 3;
    settings.edgeContract = true;
    settings.contractMask = 4;
    settings.edgeBlur = true;
    settings.maskBlurRadius = 10;
    settings.clipBlack = 5;
    settings.clipWhite = 95;
    settings.shadow = 60;
    return settings;
}

void RegisterStages() {
    Register("stage/shrink", [](Bench& b) { b.Shrink(); });
    Register("stage/edge map", [](Bench& b) { b.FindEdges(); });
    Register(
        "stage/extract screen", [](Bench& b) { b.Extract(); },
        [](Bench& b) { b.scratch = b.reduced; });
    Register(
        "stage/contract screen", [](Bench& b) { b.Contract(); },
        [](Bench& b) { b.scratch = b.extracted; });
    Register(
        "stage/fill holes", [](Bench& b) { b.Fill(); }, [](Bench& b) { b.scratch = b.contracted; });
    Register("stage/smooth plate", [](Bench& b) { b.Smooth(); });
    Register("stage/enlarge plate", [](Bench& b) { b.Enlarge(); });
    Register("stage/key against plate",
             [](Bench& b) { b.keyer.MakeChromaKeyMaskX9Core64bit14(&b.record, b.plate.data()); });
    Register("stage/key against color", [](Bench& b) { b.keyer.MakeMask64bit007_2(&b.record); });
    Register("stage/matte curve", [](Bench& b) { b.BuildCurve(); });
    Register(
        "stage/deblock 3",
        [](Bench& b) {
            VELTRANE_Param16bit blocky = b.record;
            blocky.deblockValue = 3;
            b.keyer.ChromaBlur64bit(&blocky);
        },
        [](Bench& b) { b.source = b.frame.pixels; });
    Register("stage/contract matte 4",
             [](Bench& b) { b.keyer.ContGray7_64(b.width, b.height, b.output.data(), 4, 10); });
    Register("stage/blur matte 10",
             [](Bench& b) { b.keyer.MaskBlur64(b.width, b.height, b.output.data(), 10, 50, 0); });
}

void RegisterWholes() {
    const auto restore = [](Bench& b) { b.source = b.frame.pixels; };
    Register(
        "whole/default", [s = KeySettings()](Bench& b) { b.KeyWhole(s); }, restore);
    Register(
        "whole/direct", [s = DirectSettings()](Bench& b) { b.KeyWhole(s); }, restore);
    Register(
        "whole/everything", [s = EverythingSettings()](Bench& b) { b.KeyWhole(s); }, restore);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    try {
        RegisterStages();
        RegisterWholes();
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "speed: %s\n", error.what());
        return 1;
    }
    return 0;
}
