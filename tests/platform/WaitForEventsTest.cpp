#include "platform/WaitForEvents.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace zeta::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(WaitForEventsTest, InvalidListsFail) {
    Event event(true, true);
    EXPECT_EQ(waitForEvents({}, false, 0), kWaitFailed);
    EXPECT_EQ(waitForEvents({}, true, kInfinite), kWaitFailed);

    std::array<Event*, 2> withNull{&event, nullptr};
    EXPECT_EQ(waitForEvents(withNull, false, kInfinite), kWaitFailed);
    EXPECT_EQ(waitForEvents(withNull, true, kInfinite), kWaitFailed);

    std::vector<Event*> tooMany(kMaximumWaitObjects + 1, &event);
    EXPECT_EQ(waitForEvents(tooMany, false, kInfinite), kWaitFailed);
    EXPECT_EQ(waitForEvents(tooMany, true, kInfinite), kWaitFailed);

    std::vector<Event*> maximum(kMaximumWaitObjects, &event);
    EXPECT_EQ(waitForEvents(maximum, false, 0), kWaitObject0);
    EXPECT_EQ(waitForEvents(maximum, true, 0), kWaitObject0);
}

TEST(WaitForEventsTest, SingleEvent) {
    Event event(false);
    EXPECT_EQ(waitForEvent(event, 0), kWaitTimeout);
    const auto start = steady_clock::now();
    EXPECT_EQ(waitForEvent(event, 20), kWaitTimeout);
    EXPECT_GE(steady_clock::now() - start, milliseconds(20));
    event.set();
    EXPECT_EQ(waitForEvent(event, kInfinite), kWaitObject0);
    EXPECT_FALSE(event.isSet());
}

TEST(WaitForEventsTest, WaitAllTimesOutWithoutConsumingWhenOneIsUnset) {
    Event first(false, true);
    Event second(false);
    std::array<Event*, 2> events{&first, &second};

    constexpr std::uint32_t kTimeoutMs = 100;
    const auto start = steady_clock::now();
    EXPECT_EQ(waitForEvents(events, true, kTimeoutMs), kWaitTimeout);
    const auto elapsed = steady_clock::now() - start;
    EXPECT_GE(elapsed, milliseconds(kTimeoutMs));
    EXPECT_LT(elapsed, milliseconds(kTimeoutMs) + test::kConditionBound);

    EXPECT_TRUE(first.isSet()) << "a wait-all that timed out must not consume any event";
    EXPECT_FALSE(second.isSet());

    second.set();
    EXPECT_EQ(waitForEvents(events, true, kTimeoutMs), kWaitObject0);
    EXPECT_FALSE(first.isSet());
    EXPECT_FALSE(second.isSet());
}

TEST(WaitForEventsTest, WaitAllPollDoesNotConsume) {
    Event first(false, true);
    Event second(false);
    std::array<Event*, 2> events{&first, &second};
    EXPECT_EQ(waitForEvents(events, true, 0), kWaitTimeout);
    EXPECT_TRUE(first.isSet());
}

TEST(WaitForEventsTest, WaitAllCompletesWhenLastEventIsSetByAnotherThread) {
    Event manual(true, true);
    Event autoEvent(false);
    std::array<Event*, 2> events{&manual, &autoEvent};

    std::thread setter([&] {
        EXPECT_TRUE(test::waitForBlockedWaiters(1));
        autoEvent.set();
    });
    EXPECT_EQ(waitForEvents(events, true, kInfinite), kWaitObject0);
    setter.join();
    EXPECT_TRUE(manual.isSet()) << "manual-reset events stay set";
    EXPECT_FALSE(autoEvent.isSet());
}

TEST(WaitForEventsTest, WaitAllIsAtomicAgainstCompetingWaitAny) {
    // A wait-any on `shared` competes with a wait-all on {shared, gate}: the wait-all must
    // never hold `shared` while still waiting for `gate`, so the wait-any gets it first.
    Event shared(false);
    Event gate(false);
    std::array<Event*, 2> all{&shared, &gate};
    std::atomic<int> allResult{kWaitFailed};
    std::thread waitAllThread([&] { allResult = waitForEvents(all, true, kInfinite); });
    ASSERT_TRUE(test::waitForBlockedWaiters(1));

    shared.set();
    EXPECT_EQ(waitForEvent(shared, 0), kWaitObject0);  // still available: not taken
    EXPECT_EQ(allResult.load(), kWaitFailed);          // wait-all still pending

    shared.set();
    gate.set();
    waitAllThread.join();
    EXPECT_EQ(allResult.load(), kWaitObject0);
    EXPECT_FALSE(shared.isSet());
    EXPECT_FALSE(gate.isSet());
}

TEST(WaitForEventsTest, WaitAnyReturnsIndexOfSignalledEvent) {
    std::array<std::unique_ptr<Event>, 3> owned{std::make_unique<Event>(false),
                                                std::make_unique<Event>(false),
                                                std::make_unique<Event>(false)};
    std::array<Event*, 3> events{owned[0].get(), owned[1].get(), owned[2].get()};

    std::thread setter([&] {
        EXPECT_TRUE(test::waitForBlockedWaiters(1));
        events[1]->set();
    });
    EXPECT_EQ(waitForEvents(events, false, kInfinite), kWaitObject0 + 1);
    setter.join();
    EXPECT_FALSE(events[1]->isSet());

    EXPECT_EQ(waitForEvents(events, false, 0), kWaitTimeout);
    const auto start = steady_clock::now();
    EXPECT_EQ(waitForEvents(events, false, 30), kWaitTimeout);
    EXPECT_GE(steady_clock::now() - start, milliseconds(30));
}

TEST(WaitForEventsTest, WaitAnyLowestIndexWinsAndOnlyThatOneIsConsumed) {
    Event e0(false);
    Event e1(true);
    Event e2(false);
    std::array<Event*, 3> events{&e0, &e1, &e2};

    e2.set();
    e0.set();
    EXPECT_EQ(waitForEvents(events, false, kInfinite), kWaitObject0 + 0);
    EXPECT_FALSE(e0.isSet());
    EXPECT_TRUE(e2.isSet());
    EXPECT_EQ(waitForEvents(events, false, kInfinite), kWaitObject0 + 2);
    EXPECT_FALSE(e2.isSet());

    e1.set();
    e2.set();
    // The manual-reset event at index 1 wins every time and is never consumed.
    EXPECT_EQ(waitForEvents(events, false, 0), kWaitObject0 + 1);
    EXPECT_EQ(waitForEvents(events, false, 0), kWaitObject0 + 1);
    EXPECT_TRUE(e1.isSet());
    EXPECT_TRUE(e2.isSet());
}

}  // namespace
}  // namespace zeta::platform
