// Frame access of a camera thread: copying the current frame, snap-and-copy and splitting a frame
// into its sensor images.
#include <cstdio>
#include <cstdlib>

#include "CameraThreadTestSupport.h"

namespace zeta::camera::test {
namespace {

using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

constexpr unsigned char kSentinel = 0xA5;

class FrameCopyTest : public CameraThreadTest {};

TEST_F(FrameCopyTest, CopyWithoutAFramePrintsNoData) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    std::vector<unsigned char> buffer(64 * 48, kSentinel);
    ConsoleCapture console;

    EXPECT_FALSE(camera.CopyCurrentFrame(buffer.data(), buffer.size()));
    EXPECT_EQ(console.text(), "No Data: 3072  0x0\n");
    EXPECT_EQ(buffer[0], kSentinel);
    EXPECT_EQ(camera.dataLockDepth(), 0);
}

TEST_F(FrameCopyTest, CopyOfAClosedCameraPrintsAnEmptyBuffer) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    std::vector<unsigned char> buffer(16, kSentinel);
    ConsoleCapture console;

    EXPECT_FALSE(camera.CopyCurrentFrame(buffer.data(), buffer.size()));
    EXPECT_EQ(console.text(), "No Data: 0  0x0\n");
}

TEST_F(FrameCopyTest, CopyIntoANullTargetPrintsTheFramesAddress) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    std::vector<unsigned char> buffer(64 * 48);
    unsigned char* target = buffer.data();
    ASSERT_TRUE(camera.SnapShot(target, buffer.size()));
    ConsoleCapture console;

    EXPECT_FALSE(camera.CopyCurrentFrame(nullptr, buffer.size()));
    const auto address = reinterpret_cast<std::uintptr_t>(camera.currentFrame());
    ASSERT_NE(address, 0U);
    char expected[64];
    std::snprintf(expected, sizeof expected, "No Data: 3072  0x%x\n",
                  static_cast<unsigned>(address & 0xFFFFFFFFu));
    EXPECT_EQ(console.text(), expected);
}

TEST_F(FrameCopyTest, CopyTakesTheFrameTheCallbacksLastSaw) {
    constexpr std::size_t kBytes = 64 * 48;
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("A1")}));
    FrameRecorder recorder(kBytes, kBytes);
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(2));
    camera.PauseThread();  // the current frame stays put while paused

    std::vector<unsigned char> buffer(kBytes + 16, kSentinel);
    EXPECT_TRUE(camera.CopyCurrentFrame(buffer.data(), kBytes + 8));
    const RecordedFrame last = recorder.last();
    EXPECT_TRUE(std::equal(last.bytes.begin(), last.bytes.end(), buffer.begin()));
    EXPECT_EQ(buffer[5], 1);  // the rig position tag
    // Buffer-size bytes of image, not the stamp after it: the rest of the target is zeroed, and
    // nothing past the size given is written.
    EXPECT_EQ(buffer[kBytes], 0);
    EXPECT_EQ(buffer[kBytes + 7], 0);
    EXPECT_EQ(buffer[kBytes + 8], kSentinel);
    EXPECT_EQ(camera.dataLockDepth(), 0);
    camera.ResumeThread();
}

TEST_F(FrameCopyTest, CameraServingSeveralLogicalCamerasIsCopiedAtItsLiveSize) {
    // Two sensors of 32 x 8: opened at the whole 64 x 8 frame, then another handle narrows the
    // camera to 32 x 8. A complex camera copies what the camera sends now, not its buffer size.
    useRig(rigWithCameras({cameraJson("B2", R"("sensors":2)", 32, 8)}));
    FrameRecorder recorder(32 * 8);
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 64, 8));
    camera.SetCameraComplexInfo(2);
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));

    void* other = nullptr;
    ASSERT_EQ(zetaCamera::CreateCamera(other, "B2"), 0);
    ASSERT_EQ(zetaCamera::OpenCamera(other, "B2", 32, 8), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder.last().width == 32; }));
    camera.PauseThread();
    ASSERT_EQ(recorder.last().width, 32);

    std::vector<unsigned char> buffer(64 * 8, kSentinel);
    EXPECT_TRUE(camera.CopyCurrentFrame(buffer.data(), buffer.size()));
    const RecordedFrame last = recorder.last();
    EXPECT_TRUE(std::equal(last.bytes.begin(), last.bytes.end(), buffer.begin()));
    EXPECT_EQ(buffer[32 * 8 - 1], last.bytes.back());
    // The frame's own size is copied; the rest of the target is zeroed.
    EXPECT_EQ(buffer[32 * 8], 0);
    EXPECT_EQ(buffer[64 * 8 - 1], 0);
    camera.ResumeThread();
    camera.StopThread();
    zetaCamera::ReleaseCamera(other);
}

TEST_F(FrameCopyTest, ComplexCameraOpenedAtZeroSizeHasNoBufferToCopy) {
    useRig(rigWithCameras({cameraJson("B2", R"("sensors":2)", 32, 8)}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 0, 0));
    camera.SetCameraComplexInfo(2);
    std::vector<unsigned char> buffer(64 * 8);
    unsigned char* target = buffer.data();
    camera.SnapShot(target, buffer.size());
    ConsoleCapture console;

    EXPECT_FALSE(camera.CopyCurrentFrame(buffer.data(), buffer.size()));
    EXPECT_EQ(console.text().rfind("No Data: 0  0x", 0), 0U);
}

TEST_F(FrameCopyTest, SnapAndCopySnapsDirectlyAndKeepsTheFrameAsCurrent) {
    constexpr std::size_t kBytes = 40 * 30 * 3;
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("C1", R"("format":17)", 40, 30)}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "C1", 40, 30));
    std::vector<unsigned char> buffer(kBytes + 8, kSentinel);
    unsigned char* target = buffer.data();

    EXPECT_TRUE(camera.SnapShot(target, kBytes));
    EXPECT_EQ(target, buffer.data());
    EXPECT_EQ(buffer[5], 1);
    EXPECT_EQ(buffer[kBytes], kSentinel);
    EXPECT_EQ(statsOf("C1").framesDelivered, 1U);
    EXPECT_EQ(camera.dataLockDepth(), 0);

    std::vector<unsigned char> copy(kBytes, 0);
    EXPECT_TRUE(camera.CopyCurrentFrame(copy.data(), copy.size()));
    EXPECT_TRUE(std::equal(copy.begin(), copy.end(), buffer.begin()));
}

TEST_F(FrameCopyTest, FailedSnapAndCopyClearsTheTarget) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    std::vector<unsigned char> buffer(64 * 48, kSentinel);
    unsigned char* target = buffer.data();
    zeta::sim::failNext("A1", "SnapShot", 1);

    EXPECT_FALSE(camera.SnapShot(target, buffer.size()));
    EXPECT_EQ(target, nullptr);
    EXPECT_EQ(buffer[0], kSentinel);
    EXPECT_EQ(camera.dataLockDepth(), 0);
}

TEST_F(FrameCopyTest, SnapAndCopyWithoutHandleClearsTheTarget) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    std::vector<unsigned char> buffer(16, kSentinel);
    unsigned char* target = buffer.data();
    EXPECT_FALSE(camera.SnapShot(target, buffer.size()));
    EXPECT_EQ(target, nullptr);
    EXPECT_TRUE(zeta::sim::journal().empty());
}

struct SplitCase {
    int format;
    int channels;
};

class SplitImageTest : public CameraThreadTest, public ::testing::WithParamInterface<SplitCase> {};

TEST_P(SplitImageTest, FrameIsCutIntoOneMallocedPlanePerSensor) {
    const SplitCase c = GetParam();
    useRig(rigWithCameras(
        {cameraJson("A0"),
         cameraJson("B2", R"("sensors":2,"format":)" + std::to_string(c.format), 32, 8)}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 64, 8));
    std::vector<unsigned char> frame(static_cast<std::size_t>(64 * 8 * c.channels) + 8);
    unsigned char* target = frame.data();
    ASSERT_TRUE(camera.SnapShot(target, frame.size()));
    zeta::sim::clearJournal();

    std::vector<unsigned char*> planes;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels;
    EXPECT_TRUE(camera.SplitImage(frame.data(), frame.size(), planes, widths, heights, channels));

    ASSERT_EQ(planes.size(), 2U);
    EXPECT_EQ(widths, (std::vector<int>{32, 32}));
    EXPECT_EQ(heights, (std::vector<int>{8, 8}));
    EXPECT_EQ(channels, (std::vector<int>{c.channels, c.channels}));
    for (int k = 0; k < 2; ++k) {
        ASSERT_NE(planes[static_cast<std::size_t>(k)], nullptr);
        EXPECT_EQ(planes[static_cast<std::size_t>(k)][5], 1);  // rig position
        EXPECT_EQ(planes[static_cast<std::size_t>(k)][6], k);  // sensor index
        std::free(planes[static_cast<std::size_t>(k)]);
    }
    EXPECT_EQ(recordsOf("SplitImage", "B2").size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Formats, SplitImageTest,
                         ::testing::Values(SplitCase{1, 1}, SplitCase{2, 2}, SplitCase{16, 1},
                                           SplitCase{17, 3}, SplitCase{18, 6}));

TEST_F(FrameCopyTest, SplitOfASingleSensorFrameGivesOnePlaneAndAppends) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    std::vector<unsigned char> frame(64 * 48 + 8);
    unsigned char* target = frame.data();
    ASSERT_TRUE(camera.SnapShot(target, frame.size()));

    std::vector<unsigned char*> planes{nullptr};
    std::vector<int> widths{-1};
    std::vector<int> heights{-1};
    std::vector<int> channels{-1};
    EXPECT_TRUE(camera.SplitImage(frame.data(), frame.size(), planes, widths, heights, channels));
    ASSERT_EQ(planes.size(), 2U);
    EXPECT_EQ(widths, (std::vector<int>{-1, 64}));
    EXPECT_EQ(heights, (std::vector<int>{-1, 48}));
    EXPECT_EQ(channels, (std::vector<int>{-1, 1}));
    std::free(planes[1]);
}

TEST_F(FrameCopyTest, SplitWithoutFrameAppendsNothing) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights, channels;
    EXPECT_FALSE(camera.SplitImage(nullptr, 0, planes, widths, heights, channels));
    EXPECT_TRUE(planes.empty());
    EXPECT_TRUE(channels.empty());
}

}  // namespace
}  // namespace zeta::camera::test
