#include "platform/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace zeta::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(EventTest, InitialState) {
    Event manualUnset(true);
    Event manualSet(true, true);
    Event autoUnset(false);
    Event autoSet(false, true);
    EXPECT_FALSE(manualUnset.isSet());
    EXPECT_TRUE(manualSet.isSet());
    EXPECT_FALSE(autoUnset.isSet());
    EXPECT_TRUE(autoSet.isSet());
    EXPECT_TRUE(manualSet.isManualReset());
    EXPECT_FALSE(autoSet.isManualReset());
}

TEST(EventTest, AutoResetIsConsumedByWait) {
    Event event(false, true);
    EXPECT_TRUE(event.isSet());
    EXPECT_TRUE(event.wait(0));
    EXPECT_FALSE(event.isSet());
    EXPECT_FALSE(event.wait(0));

    event.set();
    event.set();  // setting a signalled event has no further effect
    EXPECT_TRUE(event.wait(kInfinite));
    EXPECT_FALSE(event.wait(0));
}

TEST(EventTest, WaitTimesOutAfterTimeout) {
    Event event(false);
    const auto start = steady_clock::now();
    EXPECT_FALSE(event.wait(50));
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    EXPECT_FALSE(event.isSet());
}

TEST(EventTest, AutoResetWakesExactlyOneOfTwoWaitersPerSet) {
    Event event(false);
    std::atomic<int> woken{0};
    auto waiter = [&] {
        EXPECT_TRUE(event.wait(kInfinite));
        ++woken;
    };
    std::thread first(waiter);
    std::thread second(waiter);
    ASSERT_TRUE(test::waitForBlockedWaiters(2));

    event.set();
    ASSERT_TRUE(test::waitUntil([&] { return woken.load() == 1; }));
    // The woken waiter consumed the event, so nothing is left to wake the other one.
    EXPECT_FALSE(event.isSet());
    ASSERT_TRUE(test::waitForBlockedWaiters(1));
    EXPECT_EQ(woken.load(), 1);

    event.set();
    ASSERT_TRUE(test::waitUntil([&] { return woken.load() == 2; }));
    EXPECT_FALSE(event.isSet());
    first.join();
    second.join();
    EXPECT_EQ(detail::EventHub::instance().waiterCount(), 0u);
}

TEST(EventTest, ManualResetWakesAllWaitersAndStaysSetUntilReset) {
    Event event(true);
    constexpr int kWaiters = 3;
    std::atomic<int> woken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&] {
            EXPECT_TRUE(event.wait(kInfinite));
            ++woken;
        });
    }
    ASSERT_TRUE(test::waitForBlockedWaiters(kWaiters));

    event.set();
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(woken.load(), kWaiters);

    // Still set: later waits succeed at once and do not consume it.
    EXPECT_TRUE(event.isSet());
    EXPECT_TRUE(event.wait(0));
    EXPECT_TRUE(event.wait(kInfinite));
    EXPECT_TRUE(event.isSet());

    event.reset();
    EXPECT_FALSE(event.isSet());
    EXPECT_FALSE(event.wait(0));
    const auto start = steady_clock::now();
    EXPECT_FALSE(event.wait(30));
    EXPECT_GE(steady_clock::now() - start, milliseconds(30));
}

TEST(EventTest, SetFromAnotherThreadReleasesTimedWait) {
    Event event(false);
    std::thread setter([&] {
        EXPECT_TRUE(test::waitForBlockedWaiters(1));
        event.set();
    });
    // Bounded wait far longer than the setter needs.
    EXPECT_TRUE(event.wait(20000));
    setter.join();
    EXPECT_FALSE(event.isSet());
}

}  // namespace
}  // namespace zeta::platform
