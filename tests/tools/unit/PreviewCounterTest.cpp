#include "PreviewCounter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace zeta::cli {
namespace {

using std::chrono::milliseconds;

const PreviewCounter::TimePoint kStart{};
const std::vector<unsigned char> kFrame(4 * 3, 50);

void frameAt(PreviewCounter& counter, int camera, int ms) {
    counter.onFrameAt(kStart + milliseconds(ms), camera, kFrame.data(), 4, 3, 1);
}

TEST(PreviewCounter, FramesOnEveryPulseDropNothing) {
    PreviewCounter counter(2, 100);
    for (int i = 0; i < 10; ++i) frameAt(counter, 0, i * 100);
    EXPECT_EQ(counter.snapshot(0).frames, 10);
    EXPECT_EQ(counter.snapshot(0).dropped, 0);
    EXPECT_EQ(counter.snapshot(1).frames, 0);
    EXPECT_EQ(counter.snapshot(1).dropped, 0);
}

TEST(PreviewCounter, MissedPulsesBetweenTheFirstAndLastFrameAreDropped) {
    PreviewCounter counter(1, 100);
    for (const int ms : {0, 100, 400, 500, 900}) frameAt(counter, 0, ms);
    EXPECT_EQ(counter.snapshot(0).frames, 5);
    EXPECT_EQ(counter.snapshot(0).dropped, 5);  // 10 pulses from 0 to 900 ms
}

TEST(PreviewCounter, ArrivalJitterBelowHalfAPeriodDropsNothing) {
    PreviewCounter counter(1, 100);
    for (const int ms : {0, 140, 160, 330, 370, 540}) frameAt(counter, 0, ms);
    EXPECT_EQ(counter.snapshot(0).dropped, 0);
}

TEST(PreviewCounter, KeepsACopyOfEachCamerasLastFrame) {
    PreviewCounter counter(2, 10);
    std::vector<unsigned char> frame = {1, 2, 3, 4};
    counter.onFrameAt(kStart, 1, frame.data(), 2, 2, 1);
    frame = {9, 8, 7, 6};
    counter.onFrameAt(kStart + milliseconds(10), 1, frame.data(), 2, 2, 1);
    frame[0] = 0;  // the frame was the library's; the counter kept a copy
    const Image last = counter.lastFrame(1);
    ASSERT_FALSE(last.empty());
    EXPECT_EQ(last.pixel(0, 0)[0], 9);
    EXPECT_EQ(last.pixel(1, 1)[0], 6);
    EXPECT_TRUE(counter.lastFrame(0).empty());
}

TEST(PreviewCounter, IgnoresCameraIndicesItDoesNotKnow) {
    PreviewCounter counter(1, 10);
    frameAt(counter, -1, 0);
    frameAt(counter, 1, 0);
    EXPECT_EQ(counter.snapshot(0).frames, 0);
    EXPECT_EQ(counter.snapshot(1).frames, 0);
    EXPECT_TRUE(counter.lastFrame(1).empty());
}

}  // namespace
}  // namespace zeta::cli
