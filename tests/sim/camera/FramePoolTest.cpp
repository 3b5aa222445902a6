// The recycled frame buffers behind a camera's frames.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "camera/FramePool.h"

namespace zeta::sim {
namespace {

TEST(FramePool, AFrameGivenBackIsHandedOutAgain) {
    auto pool = FramePool::create();
    const Frame* first = nullptr;
    {
        auto frame = pool->acquire(100);
        ASSERT_EQ(frame->bytes.size(), 100U);
        first = frame.get();
    }
    EXPECT_EQ(pool->idleBuffers(), 1U);
    auto again = pool->acquire(100);
    EXPECT_EQ(again.get(), first);
    EXPECT_EQ(pool->buffersAllocated(), 1U);
}

TEST(FramePool, SteadyUseAllocatesNoMoreBuffers) {
    auto pool = FramePool::create();
    std::vector<std::shared_ptr<const Frame>> queue;
    for (int i = 0; i < 10000; ++i) {
        queue.push_back(pool->acquire(4096));
        if (queue.size() > 8) queue.erase(queue.begin());
    }
    EXPECT_LE(pool->buffersAllocated(), 9U);
}

TEST(FramePool, ANewSizeDrainsTheOldBuffers) {
    auto pool = FramePool::create();
    auto small = pool->acquire(10);
    { auto other = pool->acquire(10); }
    EXPECT_EQ(pool->idleBuffers(), 1U);
    auto big = pool->acquire(20);
    EXPECT_EQ(big->bytes.size(), 20U);
    EXPECT_EQ(pool->idleBuffers(), 0U);
    small.reset();  // of the old size: freed, not kept
    EXPECT_EQ(pool->idleBuffers(), 0U);
}

TEST(FramePool, FramesOutliveThePoolsOwner) {
    std::shared_ptr<const Frame> kept;
    {
        auto pool = FramePool::create();
        auto frame = pool->acquire(64);
        frame->bytes[0] = 42;
        kept = frame;
    }
    EXPECT_EQ(kept->bytes[0], 42);
    kept.reset();  // returns to the pool the frame kept alive, which then goes
}

TEST(FramePool, KeepsAtMostItsIdleLimit) {
    auto pool = FramePool::create(2);
    {
        std::vector<std::shared_ptr<Frame>> frames;
        for (int i = 0; i < 5; ++i) frames.push_back(pool->acquire(8));
    }
    EXPECT_EQ(pool->idleBuffers(), 2U);
}

TEST(FramePool, FramesMayBeReleasedOnOtherThreads) {
    auto pool = FramePool::create();
    for (int round = 0; round < 50; ++round) {
        std::vector<std::shared_ptr<Frame>> frames;
        for (int i = 0; i < 4; ++i) {
            frames.push_back(pool->acquire(256));
            frames.back()->bytes[0] = static_cast<std::uint8_t>(i);
        }
        std::thread other([moved = std::move(frames)]() mutable { moved.clear(); });
        other.join();
    }
    EXPECT_LE(pool->buffersAllocated(), 4U);
}

}  // namespace
}  // namespace zeta::sim
