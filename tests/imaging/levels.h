#ifndef VELTRANE_TESTS_IMAGING_LEVELS_H
#define VELTRANE_TESTS_IMAGING_LEVELS_H

#include <gtest/gtest.h>

#include <set>

#include "imaging/cpu/cpu.h"

namespace veltrane {

/// Uses a level while it lives, and proves that it is the one in use.
class ScopedLevel {
public:
    explicit ScopedLevel(CpuLevel level) : before_(CurrentCpuLevel()) {
        EXPECT_TRUE(UseCpuLevel(level));
        EXPECT_EQ(CurrentCpuLevel(), level);
    }
    ~ScopedLevel() { UseCpuLevel(before_); }
    ScopedLevel(const ScopedLevel&) = delete;
    ScopedLevel& operator=(const ScopedLevel&) = delete;

private:
    CpuLevel before_;
};

/// Runs check at every vector level of this build and machine.
template <class Check>
void ForEachLevel(Check check) {
    for (const CpuLevel level : CpuLevels()) {
        if (level == CpuLevel::Plain) continue;
        const ScopedLevel scope(level);
        SCOPED_TRACE(CpuLevelName(level));
        check();
    }
}

/// get gives a family's row functions at the level in use: none at the plain one and others at each
/// of the rest, without which tests of the levels would compare the plain form with itself.
template <class Rows>
void ExpectRowsOfEveryLevel(const Rows* (*get)()) {
    const ScopedLevel scope(CpuLevel::Plain);
    EXPECT_EQ(get(), nullptr);
    std::set<const Rows*> seen;
    ForEachLevel([&] {
        EXPECT_NE(get(), nullptr);
        EXPECT_TRUE(seen.insert(get()).second) << "another level's rows";
    });
}

/// What make returns at the plain level.
template <class Make>
auto Plainly(Make make) {
    const ScopedLevel scope(CpuLevel::Plain);
    return make();
}

/// Runs check at the plain and every vector level.
template <class Check>
void AtEveryLevel(Check check) {
    Plainly([&] { return check(), 0; });
    ForEachLevel(check);
}

}  // namespace veltrane

#endif
