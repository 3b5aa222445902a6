#include "platform/CriticalSection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/CriticalSectionGuard.h"

namespace zeta::platform {
namespace {

const std::string kRefusedText =
    "CriticalSection::leave refused: the calling thread does not hold the lock";

TEST(CriticalSectionTest, FreshLockIsNotHeld) {
    CriticalSection section;
    EXPECT_FALSE(section.isHeldByCurrentThread());
    EXPECT_EQ(section.recursionCount(), 0);
}

TEST(CriticalSectionTest, LeaveWithoutOwnerIsRefusedWithWarning) {
    test::LogCapture capture;
    CriticalSection section;

    EXPECT_FALSE(section.leave());

    EXPECT_FALSE(section.isHeldByCurrentThread());
    EXPECT_EQ(section.recursionCount(), 0);
    EXPECT_EQ(capture.count(google::GLOG_WARNING, kRefusedText), 1u);
    // The lock is still usable afterwards.
    EXPECT_TRUE(section.tryEnter());
    EXPECT_TRUE(section.leave());
}

TEST(CriticalSectionTest, LeaveFromNonOwnerThreadIsRefusedAndLockStaysHeld) {
    test::LogCapture capture;
    CriticalSection section;
    section.enter();

    bool otherLeave = true;
    bool otherTryEnter = true;
    bool otherHeld = true;
    std::thread other([&] {
        otherLeave = section.leave();
        otherTryEnter = section.tryEnter();
        otherHeld = section.isHeldByCurrentThread();
    });
    other.join();

    EXPECT_FALSE(otherLeave);
    EXPECT_FALSE(otherTryEnter);
    EXPECT_FALSE(otherHeld);
    EXPECT_TRUE(section.isHeldByCurrentThread());
    EXPECT_EQ(section.recursionCount(), 1);
    EXPECT_EQ(capture.count(google::GLOG_WARNING, kRefusedText), 1u);

    EXPECT_TRUE(section.leave());
    EXPECT_FALSE(section.isHeldByCurrentThread());
    // One leave too many is refused as well.
    EXPECT_FALSE(section.leave());
    EXPECT_EQ(capture.count(google::GLOG_WARNING, kRefusedText), 2u);
}

TEST(CriticalSectionTest, RecursionNeedsAsManyLeavesAsEnters) {
    CriticalSection section;
    section.enter();
    section.enter();
    EXPECT_TRUE(section.isHeldByCurrentThread());
    EXPECT_EQ(section.recursionCount(), 2);
    EXPECT_TRUE(section.tryEnter());
    EXPECT_EQ(section.recursionCount(), 3);

    auto tryFromOtherThread = [&section] {
        bool entered = false;
        std::thread other([&] {
            entered = section.tryEnter();
            if (entered) {
                EXPECT_EQ(section.recursionCount(), 1);
                EXPECT_TRUE(section.leave());
            }
        });
        other.join();
        return entered;
    };

    EXPECT_FALSE(tryFromOtherThread());
    EXPECT_TRUE(section.leave());
    EXPECT_EQ(section.recursionCount(), 2);
    EXPECT_FALSE(tryFromOtherThread());
    EXPECT_TRUE(section.leave());
    EXPECT_EQ(section.recursionCount(), 1);
    EXPECT_FALSE(tryFromOtherThread());
    EXPECT_TRUE(section.leave());
    EXPECT_EQ(section.recursionCount(), 0);
    EXPECT_FALSE(section.isHeldByCurrentThread());
    EXPECT_TRUE(tryFromOtherThread());
}

TEST(CriticalSectionTest, EnterWaitsUntilOwnerLeaves) {
    CriticalSection section;
    section.enter();
    section.enter();

    std::atomic<bool> acquired{false};
    std::thread other([&] {
        section.enter();
        acquired = true;
        section.leave();
    });

    // The other thread cannot own the lock while this thread holds it.
    EXPECT_FALSE(acquired.load());
    EXPECT_TRUE(section.leave());
    EXPECT_FALSE(acquired.load());
    EXPECT_TRUE(section.isHeldByCurrentThread());
    EXPECT_TRUE(section.leave());

    EXPECT_TRUE(test::waitUntil([&] { return acquired.load(); }));
    other.join();
    EXPECT_TRUE(section.tryEnter());
    EXPECT_TRUE(section.leave());
}

TEST(CriticalSectionTest, ProvidesMutualExclusion) {
    CriticalSection section;
    constexpr int kThreads = 4;
    constexpr int kIterations = 2000;
    long counter = 0;  // protected by section only
    int inside = 0;    // protected by section only
    std::atomic<bool> overlap{false};

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kIterations; ++i) {
                CriticalSectionGuard outer(section);
                if (++inside != 1) {
                    overlap = true;
                }
                {
                    CriticalSectionGuard inner(section);
                    ++counter;
                }
                --inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(overlap.load());
    EXPECT_EQ(counter, static_cast<long>(kThreads) * kIterations);
}

TEST(CriticalSectionGuardTest, EntersAndLeaves) {
    CriticalSection section;
    {
        CriticalSectionGuard guard(section);
        EXPECT_TRUE(section.isHeldByCurrentThread());
        EXPECT_EQ(section.recursionCount(), 1);
        {
            CriticalSectionGuard nested(section);
            EXPECT_EQ(section.recursionCount(), 2);
        }
        EXPECT_EQ(section.recursionCount(), 1);
    }
    EXPECT_FALSE(section.isHeldByCurrentThread());
    EXPECT_EQ(section.recursionCount(), 0);
}

}  // namespace
}  // namespace zeta::platform
