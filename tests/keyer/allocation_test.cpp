#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <new>

#include "tests/keyer/entry_call.h"

namespace {

size_t heldBytes = 0;
size_t peakBytes = 0;
long allocationsLeft = -1;    // before one fails; negative never fails
bool refused = false;         // whether one did
void (*failure)() = nullptr;  // throws

void* Allocate(size_t size) {
    if (allocationsLeft-- == 0) {
        refused = true;
        failure();
    }
    void* memory = std::malloc(std::max<size_t>(size, 1));
    if (!memory) throw std::bad_alloc();
    heldBytes += malloc_usable_size(memory);
    peakBytes = std::max(peakBytes, heldBytes);
    return memory;
}

void Release(void* memory) noexcept {
    heldBytes -= malloc_usable_size(memory);  // 0 for null
    std::free(memory);
}

}  // namespace

void* operator new(size_t size) {
    return Allocate(size);
}
void* operator new[](size_t size) {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    Release(memory);
}
void operator delete[](void* memory) noexcept {
    Release(memory);
}
void operator delete(void* memory, size_t) noexcept {
    Release(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    Release(memory);
}

namespace veltrane::testing {
namespace {

/// Runs a call in which the allocation of the given number (from 0) fails, and tells whether the
/// call got so far. All that it allocated must have been given back.
template <typename Call>
bool RunWithFailure(long number, void (*thrower)(), Call call) {
    const size_t before = heldBytes;
    failure = thrower;
    refused = false;
    allocationsLeft = number;
    EXPECT_NO_THROW(call());
    allocationsLeft = -1;
    EXPECT_EQ(heldBytes, before) << "allocation " << number;
    return refused;
}

void FailAsMemory() {
    throw std::bad_alloc();
}

/// Runs a call again and again, with one allocation after the other failing, until none is left,
/// and gives their number. check hears after each run whether one failed.
template <typename Call, typename Check>
long FailEach(Call call, Check check) {
    for (long number = 0;; ++number) {
        const bool failed = RunWithFailure(number, FailAsMemory, call);
        check(failed);
        if (!failed) return number;
    }
}

template <typename T>
class Allocation : public ::testing::Test {
protected:
    static constexpr int kWidth = 48, kHeight = 31;
    Random random{61};
    std::vector<T> source = CalmFrame<T>(random, kWidth, kHeight);
    std::vector<T> target = std::vector<T>(source.size());
    Record<T> record = DefaultRecord(source, target, kWidth, kHeight);
};
TYPED_TEST_SUITE(Allocation, Depths);

TYPED_TEST(Allocation, EveryFailureInTheDriverGivesStatusOne) {
    this->record.deblockValue = this->record.contractMask = this->record.maskBlurRadius = 2;
    SetPair(this->record.shadow, 50);
    for (unsigned smoothBG : {0u, 1u})
        for (unsigned interlaced : {0u, 1u}) {
            this->record.smoothBG = smoothBG;
            unsigned status = 9;
            const auto drive = [&] { status = Drive<TypeParam>(this->record, interlaced); };
            const auto check = [&](bool failed) { EXPECT_EQ(status, failed ? 1u : 0u); };
            EXPECT_GT(FailEach(drive, check), smoothBG ? 9 : 4);
        }
}

TYPED_TEST(Allocation, StatusTellsWhatWasThrown) {
    static CMemoryException exhausted;
    this->record.smoothBG = 1;
    unsigned status = 0;
    const auto drive = [&] { status = Drive<TypeParam>(this->record); };
    EXPECT_TRUE(RunWithFailure(
        0, [] { throw &exhausted; }, drive));
    EXPECT_EQ(status, 3u);
    EXPECT_TRUE(RunWithFailure(
        0, [] { throw 5; }, drive));
    EXPECT_EQ(status, 1u);
    this->record.screenGain[0] = 31;  // refused before any memory is asked for
    EXPECT_FALSE(RunWithFailure(0, FailAsMemory, drive));
    EXPECT_EQ(status, 2u);
}

TYPED_TEST(Allocation, EntryGivesEverythingBack) {
    const auto enter = [&] {
        Enter(kAllOn, this->target.data(), this->kWidth, this->kHeight, this->source.data(),
              this->kWidth, this->kHeight);
    };
    EXPECT_GT(FailEach(enter, [](bool) {}), 9);
}

TEST(Memory, OneCallHoldsAtMostTwoFrames) {
    constexpr int kWidth = 960, kHeight = 540;
    constexpr size_t kFrame = size_t(kWidth) * kHeight * 4 * sizeof(unsigned short);
    // The alpha curve, the background model of at most 320 x 320 pixels and row buffers.
    constexpr size_t kTables = 1 << 20;
    Random random(62);
    auto source = CalmFrame<unsigned short>(random, kWidth, kHeight);
    std::vector<unsigned short> target(source.size());
    Settings call = kAllOn;
    for (const bool smoothBG : {false, true}) {
        call.smoothBG = smoothBG;
        const size_t before = peakBytes = heldBytes;
        Enter(call, target.data(), kWidth, kHeight, source.data(), kWidth, kHeight);
        EXPECT_LE(peakBytes - before, 2 * kFrame + kTables);
    }
}

}  // namespace
}  // namespace veltrane::testing
