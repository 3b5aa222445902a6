#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

#include "platform/Sleep.h"
#include "platform/TickCount.h"

namespace zeta::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(TickCountTest, IsMonotonic) {
    std::uint64_t previous = tickCount64Ms();
    for (int i = 0; i < 10000; ++i) {
        const std::uint64_t now = tickCount64Ms();
        ASSERT_GE(now, previous);
        previous = now;
    }
}

TEST(TickCountTest, ThirtyTwoBitCountIsLowPartOf64BitCount) {
    const std::uint64_t before = tickCount64Ms();
    const std::uint32_t tick = tickCountMs();
    const std::uint64_t after = tickCount64Ms();
    // Unsigned 32-bit differences stay correct across the wrap.
    EXPECT_LE(static_cast<std::uint32_t>(tick - static_cast<std::uint32_t>(before)),
              static_cast<std::uint32_t>(after - before));
}

TEST(SleepTest, SleepsAtLeastTheRequestedTime) {
    const auto start = steady_clock::now();
    const std::uint64_t tick64 = tickCount64Ms();
    const std::uint32_t tick32 = tickCountMs();
    sleepMs(50);
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    EXPECT_GE(tickCount64Ms() - tick64, 50u);
    EXPECT_GE(static_cast<std::uint32_t>(tickCountMs() - tick32), 50u);
}

TEST(SleepTest, ZeroOnlyYields) {
    sleepMs(0);
    SUCCEED();
}

}  // namespace
}  // namespace zeta::platform
