// Two handles on the same cameras, through the public header on the virtual scanner. A camera's
// size belongs to the camera: a second ConnectDevice that opens the cameras smaller makes every
// handle's frames smaller, including those of the first handle, which opened them larger. The
// first handle's snaps copy the frames as they are delivered. (The frames are the virtual
// scanner's exact-size buffers: a copy of the first handle's open size out of them would be a
// heap read overflow, which AddressSanitizer reports.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;

constexpr int kSmallWidth = 32;
constexpr int kSmallHeight = 24;

// The image bytes of a snap at the smaller size that the virtual scanner drew: its tag bytes
// name the camera's position in the rig (byte 5) and its sensor (byte 6).
void expectSmallFrameOf(const unsigned char* image, int position) {
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(tagByte(image, 5), position);
    EXPECT_EQ(tagByte(image, 6), 0);
}

TEST(ApiSharedCameras, SnapsOfTheFirstHandleCopyTheSmallerFramesASecondHandleAskedFor) {
    useRig(monoRig(2, R"("fps": 100)"));
    Connection first({"ZV0001", "ZV0002"});  // 64 x 48
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    Connection second({"ZV0001", "ZV0002"}, {kSmallWidth, kSmallWidth},
                      {kSmallHeight, kSmallHeight});
    ASSERT_EQ(second.status(), RET_OPERATE_SUCCESS);
    void* secondObject = second.handle();

    // The group snap of the first handle: both cameras deliver 32 x 24 frames now.
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(
        SnapSingleGroupImages(first.handle(), PROJECT_WHITE, images, widths, heights, channels),
        RET_OPERATE_SUCCESS);
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(widths, (std::vector<int>{kSmallWidth, kSmallWidth}));
    EXPECT_EQ(heights, (std::vector<int>{kSmallHeight, kSmallHeight}));
    EXPECT_EQ(channels, (std::vector<int>{1, 1}));
    for (std::size_t i = 0; i < images.size(); ++i) {
        expectSmallFrameOf(images[i], static_cast<int>(i));
        std::free(images[i]);
    }

    // The single snap of the first handle copies its camera thread's current frame.
    unsigned char* image = nullptr;
    int width = 0, height = 0, imageChannels = 0;
    EXPECT_EQ(
        SnapSingleImageFromSpecifyCamera(first.handle(), 1, image, width, height, imageChannels),
        RET_OPERATE_SUCCESS);
    EXPECT_EQ(width, kSmallWidth);
    EXPECT_EQ(height, kSmallHeight);
    EXPECT_EQ(imageChannels, 1);
    expectSmallFrameOf(image, 1);
    std::free(image);

    // The device number is one for the process: the first disconnect resets it, so the second
    // does not destroy its object, but closes its cameras.
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(second.disconnect(), RET_OPERATE_SUCCESS);
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(secondObject, count), RET_HANDLE_NULL);
}

}  // namespace
