// Frame sizes are counted without int products: a width, height and channel count the camera
// library accepts can multiply past INT_MAX (a signed overflow, which UndefinedBehaviorSanitizer
// reports), so the count is a std::size_t that saturates instead of wrapping.
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>

#include "camera/FrameBytes.h"

namespace {

TEST(FrameBytesTest, CountsWidthTimesHeightTimesBytesPerPixel) {
    EXPECT_EQ(FrameBytes::Of(64, 48, 1), 3072U);
    EXPECT_EQ(FrameBytes::Of(1280, 1024, 6), 7864320U);
}

TEST(FrameBytesTest, ASizeThatIsNotPositiveCountsNothing) {
    EXPECT_EQ(FrameBytes::Of(0, 48, 1), 0U);
    EXPECT_EQ(FrameBytes::Of(64, -48, 1), 0U);
    // Two negative sides would make a positive int product; they are still no frame.
    EXPECT_EQ(FrameBytes::Of(-64, -48, 1), 0U);
    EXPECT_EQ(FrameBytes::Of(64, 48, 0), 0U);
}

TEST(FrameBytesTest, ProductsPastIntMaxAreCountedExactly) {
    // 46341 x 46341 is the first square past INT_MAX.
    EXPECT_EQ(FrameBytes::Of(46341, 46341, 1), std::size_t{46341} * 46341);
    EXPECT_EQ(FrameBytes::Of(INT_MAX, 2, 3), std::size_t{INT_MAX} * 6);
}

TEST(FrameBytesTest, ProductsPastSizeMaxSaturate) {
    EXPECT_EQ(FrameBytes::Of(INT_MAX, INT_MAX, INT_MAX), SIZE_MAX);
}

TEST(FrameBytesTest, AsIntCapsAtIntMax) {
    EXPECT_EQ(FrameBytes::AsInt(3072U), 3072);
    EXPECT_EQ(FrameBytes::AsInt(std::size_t{INT_MAX}), INT_MAX);
    EXPECT_EQ(FrameBytes::AsInt(std::size_t{INT_MAX} + 1), INT_MAX);
}

}  // namespace
