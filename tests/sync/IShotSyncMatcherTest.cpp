// The full-group and texture-group matchers: the time-stamp window, group start and restart, the
// same camera twice, the process-wide mismatch counter and its camera reset, record copies.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "IShotSyncB_Support.h"
#include "platform/CriticalSectionGuard.h"

namespace {

using zeta::platform::CriticalSectionGuard;
using zeta::sim::test::recordsOf;
using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sync::test::cam;
using zeta::sync::test::connect;

class IShotSyncMatcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sync::test::resetProcessWideState();
        // Two image records per camera index, distinguishable by content.
        image_.assign(4 * 2, 0);
    }
    void TearDown() override { IShotSync::ResetMatcherStateForTest(); }

    // Offers a 4 x 2 one-byte image filled with `fill` to the full matcher.
    bool full(CSyncBProbe& sync, int camera, std::uint64_t stamp, unsigned char fill = 1) {
        image_.assign(image_.size(), fill);
        CriticalSectionGuard group(sync.m_csImageGroup);
        return sync.MatchFullGroup(camera, image_.data(), 4, 2, 1, stamp);
    }
    bool texture(CSyncBProbe& sync, int camera, std::uint64_t stamp, bool valid = true,
                 unsigned char fill = 1) {
        image_.assign(image_.size(), fill);
        CriticalSectionGuard group(sync.m_csImageGroup);
        return sync.MatchTextureGroup(camera, image_.data(), 4, 2, 1, stamp, valid);
    }

    std::vector<unsigned char> image_;
};

TEST_F(IShotSyncMatcherTest, AGroupCompletesWhenEveryCameraArrivesInsideTheWindow) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0x3;
    sync.m_timeStampArea = 10;
    EXPECT_FALSE(full(sync, 0, 100, 7));
    EXPECT_EQ(sync.m_arrivedCameraMask, 0x1u);
    EXPECT_TRUE(full(sync, 1, 110, 9));
    EXPECT_EQ(sync.m_arrivedCameraMask, 0u);
    ASSERT_EQ(sync.m_fullImages.size(), 2u);
    for (int k = 0; k < 2; ++k) {
        ASSERT_NE(sync.m_fullImages[k], nullptr);
        EXPECT_EQ(sync.m_fullImages[k]->width, 4);
        EXPECT_EQ(sync.m_fullImages[k]->height, 2);
        EXPECT_EQ(sync.m_fullImages[k]->channels, 1);
    }
    EXPECT_EQ(sync.m_fullImages[0]->data[7], 7);
    EXPECT_EQ(sync.m_fullImages[1]->data[7], 9);

    // One tick outside the window: no group, the second image starts a new one.
    EXPECT_FALSE(full(sync, 0, 200));
    EXPECT_FALSE(full(sync, 1, 211));
    EXPECT_EQ(sync.m_arrivedCameraMask, 0x2u);
    EXPECT_TRUE(full(sync, 0, 205));
}

TEST_F(IShotSyncMatcherTest, TheReferenceIsTheSmallerStamp) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0x7;
    sync.m_timeStampArea = 10;
    EXPECT_FALSE(full(sync, 0, 100));
    EXPECT_FALSE(full(sync, 1, 92));  // reference becomes 92
    // 103 is 3 from the first stamp but 11 from the reference: outside.
    EXPECT_FALSE(full(sync, 2, 103));
    EXPECT_EQ(sync.m_arrivedCameraMask, 0x4u);
}

TEST_F(IShotSyncMatcherTest, NoCamerasMeansNoGroup) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0;
    EXPECT_FALSE(full(sync, 0, 100));
    EXPECT_FALSE(full(sync, 0, 100));
    EXPECT_TRUE(sync.m_fullImages.empty());
    EXPECT_EQ(sync.m_arrivedCameraMask, 0u);
}

TEST_F(IShotSyncMatcherTest, TheSameCameraTwiceRestartsTheGroupWithoutAMismatch) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0x3;
    sync.m_timeStampArea = 10;
    EXPECT_FALSE(full(sync, 0, 100, 1));
    EXPECT_FALSE(full(sync, 0, 104, 2));  // restart with this image: reference 104
    EXPECT_EQ(sync.m_arrivedCameraMask, 0x1u);
    EXPECT_EQ(sync.m_fullImages[0]->data[0], 2);
    EXPECT_TRUE(full(sync, 1, 114));  // 10 from 104
}

TEST_F(IShotSyncMatcherTest, RecordsAreReplacedWhenTheSizeChanges) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0x3;
    EXPECT_FALSE(full(sync, 1, 5));
    ASSERT_EQ(sync.m_fullImages.size(), 2u);
    EXPECT_EQ(sync.m_fullImages[0], nullptr);
    std::vector<unsigned char> big(6 * 3 * 3, 4);
    {
        CriticalSectionGuard group(sync.m_csImageGroup);
        EXPECT_FALSE(sync.MatchFullGroup(1, big.data(), 6, 3, 3, 5));
    }
    EXPECT_EQ(sync.m_fullImages[1]->width, 6);
    EXPECT_EQ(sync.m_fullImages[1]->height, 3);
    EXPECT_EQ(sync.m_fullImages[1]->channels, 3);
    EXPECT_EQ(sync.m_fullImages[1]->data[6 * 3 * 3 - 1], 4);
}

class IShotSyncMismatchTest : public IShotSyncMatcherTest {
protected:
    void SetUp() override {
        IShotSyncMatcherTest::SetUp();
        useRig(rigWithCameras(
            {cam("M1", 64, 48, 1, 1, R"("fps":1)"), cam("M2", 64, 48, 1, 1, R"("fps":1)")}));
        ASSERT_EQ(connect(sync_, {"M1", "M2"}, {64, 64}, {48, 48}), 0);
        EXPECT_EQ(sync_.m_allCameraMask, 0x3u);
        sync_.m_timeStampArea = 10;
    }
    std::size_t resets() {
        return recordsOf("ResetCameraState", "M1").size() +
               recordsOf("ResetCameraState", "M2").size();
    }
    CSyncBProbe sync_;
};

TEST_F(IShotSyncMismatchTest, TheTenthMismatchResetsEveryCamera) {
    EXPECT_FALSE(full(sync_, 0, 0));
    for (int n = 1; n <= 9; ++n) {
        EXPECT_FALSE(full(sync_, n % 2, 1000u * n));          // n mismatches
        EXPECT_EQ(sync_.m_arrivedCameraMask, 1u << (n % 2));  // restarted with this image
    }
    EXPECT_EQ(resets(), 0u);
    EXPECT_FALSE(full(sync_, 0, 20000));  // the tenth
    EXPECT_EQ(recordsOf("ResetCameraState", "M1").size(), 1u);
    EXPECT_EQ(recordsOf("ResetCameraState", "M2").size(), 1u);
    EXPECT_EQ(sync_.m_arrivedCameraMask, 0u);  // the group was emptied
    // The counter starts again from 0 and the next image starts a group.
    EXPECT_FALSE(full(sync_, 0, 30000));
    EXPECT_EQ(sync_.m_arrivedCameraMask, 0x1u);
    EXPECT_TRUE(full(sync_, 1, 30005));
}

TEST_F(IShotSyncMismatchTest, ACompleteGroupDoesNotResetTheCounter) {
    EXPECT_FALSE(full(sync_, 0, 0));
    for (int n = 1; n <= 5; ++n) EXPECT_FALSE(full(sync_, 0, 1000u * n));
    EXPECT_TRUE(full(sync_, 1, 5002));   // a group completes
    EXPECT_FALSE(full(sync_, 0, 9000));  // starts a group
    for (int n = 1; n <= 4; ++n) EXPECT_FALSE(full(sync_, 0, 9000u + 1000u * n));
    EXPECT_EQ(resets(), 0u);
    // The same camera twice inside the window is not a mismatch.
    EXPECT_FALSE(full(sync_, 0, 13005));
    EXPECT_EQ(resets(), 0u);
    EXPECT_FALSE(full(sync_, 0, 20000));  // the tenth mismatch in all
    EXPECT_EQ(resets(), 2u);
}

TEST_F(IShotSyncMismatchTest, TheTextureMatcherRestartsWithoutCounting) {
    EXPECT_FALSE(texture(sync_, 0, 0));
    for (int n = 1; n <= 12; ++n) {
        EXPECT_FALSE(texture(sync_, n % 2, 1000u * n));
        EXPECT_EQ(sync_.m_textureArrivedMask, 1u << (n % 2));
    }
    EXPECT_EQ(resets(), 0u);
    EXPECT_TRUE(texture(sync_, 1, 12005));
    // The full matcher's state is its own.
    EXPECT_EQ(sync_.m_arrivedCameraMask, 0u);
    EXPECT_TRUE(sync_.m_fullImages[0] == nullptr && sync_.m_fullImages[1] == nullptr);
}

TEST_F(IShotSyncMatcherTest, AFalseFlagReportsAnEmptyGroupAtOnce) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0x3;
    sync.m_timeStampArea = 10;
    EXPECT_FALSE(texture(sync, 0, 100));
    EXPECT_EQ(sync.m_textureArrivedMask, 0x1u);
    EXPECT_TRUE(texture(sync, 1, 5000, false));
    EXPECT_EQ(sync.m_textureArrivedMask, 0u);
    // The next image starts a new group.
    EXPECT_FALSE(texture(sync, 1, 6000));
    EXPECT_EQ(sync.m_textureArrivedMask, 0x2u);
}

TEST_F(IShotSyncMatcherTest, ACameraAlreadyInTheTextureGroupKeepsItsNewImage) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0x3;
    sync.m_timeStampArea = 10;
    EXPECT_FALSE(texture(sync, 0, 100, true, 1));
    EXPECT_FALSE(texture(sync, 0, 105, true, 2));  // kept, the group goes on
    EXPECT_EQ(sync.m_textureArrivedMask, 0x1u);
    ASSERT_NE(sync.m_textureImages[0], nullptr);
    EXPECT_EQ(sync.m_textureImages[0]->data[0], 2);
    // The reference is still 100: 110 is inside the window.
    EXPECT_TRUE(texture(sync, 1, 110, true, 3));
    EXPECT_EQ(sync.m_textureImages[1]->data[0], 3);
    EXPECT_TRUE(sync.m_fullImages.empty());
}

TEST_F(IShotSyncMatcherTest, TheTextureMatcherIgnoresImagesWithoutCameras) {
    CSyncBProbe sync;
    sync.m_allCameraMask = 0;
    EXPECT_FALSE(texture(sync, 0, 100));
    EXPECT_TRUE(sync.m_textureImages.empty());
}

}  // namespace
