// The stripe frame handler called directly with synthetic frames, and GetScanImages on a store
// filled by hand: the counting and ignoring rules, the copies, the complex-camera pairs and the
// order of the handed-out group. The cameras are opened on the virtual scanner only so that the
// handler finds real camera threads (pixel type, complex count, split); their grab threads keep
// the default handler, so only the test thread enters the stripe handler here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "sync/StripeSync.h"
#include "zetaVoroSim/SimControl.h"

namespace {

class StripeHandlerProbe : public CStripeSync {
public:
    // The tests own these objects on their stacks: the teardown an owner runs before delete.
    ~StripeHandlerProbe() override { Shutdown(); }

    using CStripeSync::m_frameHasSnapCount;
    using CStripeSync::m_frameHasSnapCountSize;
    using CStripeSync::m_scanEvents;
    using CStripeSync::m_scanFrameCount;
    using CStripeSync::m_storeCameraIndex;
    using CStripeSync::m_storeChannels;
    using CStripeSync::m_storeHeights;
    using CStripeSync::m_storeImages;
    using CStripeSync::m_storeWidths;
    using IShotSync::m_cameras;

    // Arms the handler as Scan does just before the board starts: zero counts, fresh events.
    void arm(int cameraCount, int frameCount) {
        m_frameHasSnapCount =
            std::make_unique<std::atomic<int>[]>(static_cast<std::size_t>(cameraCount));
        m_frameHasSnapCountSize = cameraCount;
        for (int i = 0; i < cameraCount; ++i) m_frameHasSnapCount[i] = 0;
        m_scanFrameCount = frameCount;
        m_scanEvents.clear();
        for (int i = 0; i < cameraCount; ++i) {
            m_scanEvents.push_back(std::make_unique<zeta::platform::Event>(false, false));
        }
    }

    // Appends one malloc'd block to the store, as the handler would (freed by the synchroniser).
    void store(int cameraIndex, unsigned char tag, int width, int height, int channels) {
        const std::size_t size = static_cast<std::size_t>(width) * height * channels;
        auto* block = static_cast<unsigned char*>(std::malloc(size));
        std::memset(block, tag, size);
        m_storeCameraIndex.push_back(cameraIndex);
        m_storeImages.push_back(block);
        m_storeWidths.push_back(width);
        m_storeHeights.push_back(height);
        m_storeChannels.push_back(channels);
    }

    int count(int physical) const { return m_frameHasSnapCount[physical]; }
};

constexpr int kWidth = 64;
constexpr int kHeight = 48;

std::vector<unsigned char> frameOf(unsigned char value, int width = kWidth, int height = kHeight) {
    return std::vector<unsigned char>(static_cast<std::size_t>(width) * height, value);
}

void deliver(StripeHandlerProbe& sync, int cameraID, const unsigned char* data, int width = kWidth,
             int height = kHeight, int channels = 1) {
    const void* context = &sync;
    CStripeSync::StripeFrameHandler(context, cameraID, data, width, height, channels);
}

bool allBytesAre(const unsigned char* block, std::size_t size, unsigned char value) {
    for (std::size_t i = 0; i < size; ++i) {
        if (block[i] != value) return false;
    }
    return true;
}

class StripeSyncFrameHandlerTest : public ::testing::Test {
protected:
    // One mono and one colour camera.
    void openMonoAndColour() {
        zeta::sim::test::useRig(zeta::sim::test::rigWithCameras(
            {R"({"serial":"M0","width":64,"height":48})",
             R"({"serial":"C1","width":64,"height":48,"format":17})"}));
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::test::CameraNames names{"M0", "C1"};
        ASSERT_EQ(sync_.OpenCameras(names.get(), {kWidth, kWidth}, {kHeight, kHeight}), 0);
    }

    StripeHandlerProbe sync_;
};

TEST_F(StripeSyncFrameHandlerTest, CopiesCountsAndSignalsAtTheGroupSize) {
    openMonoAndColour();
    sync_.arm(2, 3);
    std::vector<unsigned char> frames[4] = {frameOf(10), frameOf(11), frameOf(12), frameOf(13)};

    zeta::test::ConsoleCapture console;
    deliver(sync_, 0, frames[0].data());
    deliver(sync_, 0, frames[1].data());
    EXPECT_FALSE(sync_.m_scanEvents[0]->isSet());
    deliver(sync_, 0, frames[2].data());
    EXPECT_TRUE(sync_.m_scanEvents[0]->isSet());
    // The group is full: a fourth frame is neither stored nor counted.
    deliver(sync_, 0, frames[3].data());
    const std::string text = console.text();

    EXPECT_EQ(sync_.count(0), 3);
    ASSERT_EQ(sync_.m_storeImages.size(), 3u);
    EXPECT_EQ(sync_.m_storeCameraIndex, (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(sync_.m_storeWidths, (std::vector<int>{kWidth, kWidth, kWidth}));
    EXPECT_EQ(sync_.m_storeHeights, (std::vector<int>{kHeight, kHeight, kHeight}));
    EXPECT_EQ(sync_.m_storeChannels, (std::vector<int>{1, 1, 1}));
    for (int k = 0; k < 3; ++k) {
        // A copy, not the camera's buffer.
        EXPECT_NE(sync_.m_storeImages[k], frames[k].data());
        EXPECT_TRUE(allBytesAre(sync_.m_storeImages[k], frames[k].size(),
                                static_cast<unsigned char>(10 + k)));
    }
    EXPECT_NE(text.find("[Scanning] Camera 0 snap 1 th\n[Scanning] Camera 0 snap 2 th\n"
                        "[Scanning] Camera 0 snap 3 th\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("snap 4 th"), std::string::npos);
}

TEST_F(StripeSyncFrameHandlerTest, IgnoresColourCamerasNullContextsAndUnknownCameras) {
    openMonoAndColour();
    sync_.arm(2, 3);
    const auto frame = frameOf(5);

    zeta::test::ConsoleCapture console;
    deliver(sync_, 1, frame.data(), kWidth, kHeight, 3);  // the colour camera
    CStripeSync::StripeFrameHandler(nullptr, 0, frame.data(), kWidth, kHeight, 1);
    deliver(sync_, 2, frame.data());   // no such logical camera
    deliver(sync_, -1, frame.data());  // nor this one
    const std::string text = console.text();

    EXPECT_EQ(sync_.count(0), 0);
    EXPECT_EQ(sync_.count(1), 0);
    EXPECT_TRUE(sync_.m_storeImages.empty());
    EXPECT_FALSE(sync_.m_scanEvents[1]->isSet());
    EXPECT_EQ(text.find("[Scanning]"), std::string::npos);
}

TEST_F(StripeSyncFrameHandlerTest, FullCountersMakeStrayFramesIgnored) {
    openMonoAndColour();
    sync_.arm(2, 15);
    sync_.m_frameHasSnapCount[0] = 15;
    const auto frame = frameOf(5);
    deliver(sync_, 0, frame.data());
    EXPECT_EQ(sync_.count(0), 15);
    EXPECT_TRUE(sync_.m_storeImages.empty());
    EXPECT_FALSE(sync_.m_scanEvents[0]->isSet());
}

TEST_F(StripeSyncFrameHandlerTest, WithoutCountersNoFrameIsTaken) {
    openMonoAndColour();
    // Before the first scan there are no counters and no events.
    const auto frame = frameOf(5);
    deliver(sync_, 0, frame.data());
    EXPECT_TRUE(sync_.m_storeImages.empty());
}

TEST_F(StripeSyncFrameHandlerTest, NullFrameIsStoredAsAZeroFilledBlock) {
    openMonoAndColour();
    sync_.arm(2, 3);
    deliver(sync_, 0, nullptr);
    ASSERT_EQ(sync_.m_storeImages.size(), 1u);
    EXPECT_TRUE(allBytesAre(sync_.m_storeImages[0], static_cast<std::size_t>(kWidth) * kHeight, 0));
    EXPECT_EQ(sync_.count(0), 1);
}

TEST_F(StripeSyncFrameHandlerTest, TwoBytePixelsAreCopiedWhole) {
    // A camera of format 2 delivers two bytes a pixel, with frame code 2.
    zeta::sim::test::useRig(
        zeta::sim::test::rigWithCameras({R"({"serial":"W0","width":64,"height":48,"format":2})"}));
    ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
    zeta::test::CameraNames names{"W0"};
    ASSERT_EQ(sync_.OpenCameras(names.get(), {kWidth}, {kHeight}), 0);
    sync_.arm(1, 3);
    const auto frame = frameOf(9, kWidth * 2, kHeight);
    deliver(sync_, 0, frame.data(), kWidth, kHeight, 2);
    ASSERT_EQ(sync_.m_storeImages.size(), 1u);
    EXPECT_EQ(sync_.m_storeChannels[0], 2);
    EXPECT_TRUE(allBytesAre(sync_.m_storeImages[0], frame.size(), 9));
}

// The copy is bounded by the frame the camera delivers (width x height at the camera's own bytes
// per pixel), whatever the frame code says: a code wider than the camera's pixels gets the frame
// and zeros after it, and nothing is read past the frame.
TEST_F(StripeSyncFrameHandlerTest, AFrameCodeWiderThanTheCamerasPixelsCopiesOnlyTheFrame) {
    openMonoAndColour();
    sync_.arm(2, 3);
    const auto frame = frameOf(9);  // one byte a pixel, as camera M0 delivers
    deliver(sync_, 0, frame.data(), kWidth, kHeight, 2);
    ASSERT_EQ(sync_.m_storeImages.size(), 1u);
    EXPECT_EQ(sync_.m_storeChannels[0], 2);
    EXPECT_TRUE(allBytesAre(sync_.m_storeImages[0], frame.size(), 9));
    EXPECT_TRUE(allBytesAre(sync_.m_storeImages[0] + frame.size(), frame.size(), 0));
}

TEST_F(StripeSyncFrameHandlerTest, ComplexCameraDropsItsFirstFrameAndStoresPairs) {
    // Camera 0 has two 32 x 16 sensors side by side: a 64 x 16 frame.
    zeta::sim::test::useRig(
        zeta::sim::test::rigWithCameras({R"({"serial":"D0","width":32,"height":16,"sensors":2})"}));
    ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
    zeta::test::CameraNames names{"D0", "D0"};
    ASSERT_EQ(sync_.OpenCameras(names.get(), {64, 64}, {16, 16}), 0);
    ASSERT_EQ(sync_.m_cameras.size(), 1u);
    ASSERT_EQ(sync_.m_cameras[0]->GetCameraComplexInfo(), 2);
    sync_.arm(1, 3);

    // Left half (sensor 0) and right half (sensor 1) carry different values per frame.
    auto frameWithHalves = [](unsigned char left, unsigned char right) {
        std::vector<unsigned char> frame(64 * 16);
        for (int row = 0; row < 16; ++row) {
            std::memset(frame.data() + row * 64, left, 32);
            std::memset(frame.data() + row * 64 + 32, right, 32);
        }
        return frame;
    };
    const auto first = frameWithHalves(1, 2);
    const auto second = frameWithHalves(3, 4);
    const auto third = frameWithHalves(5, 6);

    zeta::test::ConsoleCapture console;
    deliver(sync_, 0, first.data(), 64, 16, 1);
    EXPECT_EQ(sync_.count(0), 1);
    EXPECT_TRUE(sync_.m_storeImages.empty());
    deliver(sync_, 0, second.data(), 64, 16, 1);
    deliver(sync_, 0, third.data(), 64, 16, 1);
    EXPECT_TRUE(sync_.m_scanEvents[0]->isSet());
    deliver(sync_, 0, first.data(), 64, 16, 1);  // beyond the group
    const std::string text = console.text();

    EXPECT_EQ(sync_.count(0), 3);
    ASSERT_EQ(sync_.m_storeImages.size(), 4u);
    EXPECT_EQ(sync_.m_storeCameraIndex, (std::vector<int>{0, 0, 0, 0}));
    EXPECT_EQ(sync_.m_storeWidths, (std::vector<int>{32, 32, 32, 32}));
    EXPECT_EQ(sync_.m_storeHeights, (std::vector<int>{16, 16, 16, 16}));
    EXPECT_EQ(sync_.m_storeChannels, (std::vector<int>{1, 1, 1, 1}));
    const unsigned char expected[4] = {3, 4, 5, 6};
    for (int k = 0; k < 4; ++k) {
        EXPECT_TRUE(allBytesAre(sync_.m_storeImages[k], 32 * 16, expected[k])) << k;
    }
    EXPECT_NE(text.find("[Scanning] Camera 0 snap 1 th total=3\n"
                        "[Scanning] Camera 0 snap 2 th total=3\n"
                        "[Scanning] Camera 0 snap 3 th total=3\n"),
              std::string::npos)
        << text;

    // GetScanImages hands the pairs out in store order, the second with the first's dimensions.
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 0);
    EXPECT_EQ(images, sync_.m_storeImages);
    EXPECT_EQ(widths, (std::vector<int>{32, 32, 32, 32}));
}

TEST_F(StripeSyncFrameHandlerTest, GetScanImagesRefusesFilledOutputsAndReportsAnEmptyStore) {
    openMonoAndColour();
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 2);
    EXPECT_TRUE(log.contains("tmpBuf=GetScanImages GetCameraComplexInfo=1"));

    sync_.store(0, 1, 4, 4, 1);
    channels.push_back(1);
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 1);
    EXPECT_TRUE(images.empty());
    channels.clear();
    heights.push_back(1);
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 1);
    heights.clear();
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 0);
    EXPECT_EQ(images.size(), 1u);
}

TEST_F(StripeSyncFrameHandlerTest, GetScanImagesOrdersFrameByFrameAndCameraByCamera) {
    zeta::sim::test::useRig(zeta::sim::test::rigWithCameras(
        {R"({"serial":"M0","width":64,"height":48})", R"({"serial":"M1","width":64,"height":48})",
         R"({"serial":"C2","width":64,"height":48,"format":17})"}));
    ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
    zeta::test::CameraNames names{"M0", "M1", "C2"};
    ASSERT_EQ(sync_.OpenCameras(names.get(), {64, 64, 64}, {48, 48, 48}), 0);
    sync_.m_scanFrameCount = 2;
    // Arrival order mixes the cameras; tag = 10 x camera + frame. Camera index 2 is at the mono
    // count (two mono cameras) and is never handed out; frames past the group size neither.
    sync_.store(1, 10, 4, 2, 1);
    sync_.store(0, 0, 4, 2, 1);
    sync_.store(2, 20, 4, 2, 1);
    sync_.store(1, 11, 5, 3, 1);
    sync_.store(0, 1, 6, 2, 2);
    sync_.store(0, 2, 4, 2, 1);

    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 0);
    ASSERT_EQ(images.size(), 4u);
    const unsigned char expectedTags[4] = {0, 10, 1, 11};
    for (int k = 0; k < 4; ++k) EXPECT_EQ(images[k][0], expectedTags[k]) << k;
    EXPECT_EQ(widths, (std::vector<int>{4, 4, 6, 5}));
    EXPECT_EQ(heights, (std::vector<int>{2, 2, 2, 3}));
    EXPECT_EQ(channels, (std::vector<int>{1, 1, 2, 1}));
    // The pointers are the store's own.
    EXPECT_EQ(images[0], sync_.m_storeImages[1]);
}

TEST_F(StripeSyncFrameHandlerTest, ComplexGetScanImagesLeavesALonePairHalfOut) {
    zeta::sim::test::useRig(
        zeta::sim::test::rigWithCameras({R"({"serial":"D0","width":32,"height":16,"sensors":2})"}));
    ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
    zeta::test::CameraNames names{"D0", "D0"};
    ASSERT_EQ(sync_.OpenCameras(names.get(), {64, 64}, {16, 16}), 0);
    sync_.store(0, 1, 32, 16, 1);
    sync_.store(0, 2, 30, 12, 1);
    sync_.store(0, 3, 32, 16, 1);

    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(sync_.GetScanImages(images, widths, heights, channels), 0);
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(images[0][0], 1);
    EXPECT_EQ(images[1][0], 2);
    // Block 1 is handed out with block 0's dimensions.
    EXPECT_EQ(widths, (std::vector<int>{32, 32}));
    EXPECT_EQ(heights, (std::vector<int>{16, 16}));
}

}  // namespace
