// Frame copies and splits of a camera thread are bounded by the frame the camera library
// delivered. The camera's size belongs to the camera: another handle can open it smaller or
// larger than the camera thread did, and every handle's frames change with it. The frames are
// the virtual scanner's exact-size buffers and every target here is an exact-size vector, so a
// copy past either is reported by AddressSanitizer.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "CameraThreadTestSupport.h"

namespace zeta::camera::test {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kSmallWidth = 32;
constexpr int kSmallHeight = 24;
constexpr std::size_t kOpenBytes = kWidth * kHeight;
constexpr std::size_t kSmallBytes = kSmallWidth * kSmallHeight;
constexpr unsigned char kSentinel = 0xA5;

// Another handle on a camera, opened at its own size (which becomes the camera's size) and
// released at the end of the test.
class OtherHandle {
public:
    OtherHandle(const std::string& serial, int width, int height) {
        ok_ = zetaCamera::CreateCamera(handle_, serial.c_str()) == 0 &&
              zetaCamera::OpenCamera(handle_, serial.c_str(), width, height) == 0;
    }
    ~OtherHandle() {
        if (handle_ != nullptr) zetaCamera::ReleaseCamera(handle_);
    }
    OtherHandle(const OtherHandle&) = delete;
    OtherHandle& operator=(const OtherHandle&) = delete;
    bool ok() const { return ok_; }

private:
    void* handle_ = nullptr;
    bool ok_ = false;
};

bool allZero(const std::vector<unsigned char>& bytes, std::size_t from) {
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(),
                       [](unsigned char b) { return b == 0; });
}

class DeliveredFrameTest : public CameraThreadTest {};

TEST_F(DeliveredFrameTest, CopyOfAFrameSmallerThanTheOpenSizeCopiesTheFrameAndZeroesTheRest) {
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("A1")}));
    FrameRecorder recorder(kSmallBytes);
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", kWidth, kHeight));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));

    OtherHandle smaller("A1", kSmallWidth, kSmallHeight);
    ASSERT_TRUE(smaller.ok());
    ASSERT_TRUE(waitUntil([&] { return recorder.last().width == kSmallWidth; }));
    camera.PauseThread();  // the current frame stays put while paused
    const RecordedFrame last = recorder.last();
    ASSERT_EQ(last.width, kSmallWidth);
    ASSERT_EQ(last.height, kSmallHeight);

    std::vector<unsigned char> buffer(kOpenBytes, kSentinel);
    EXPECT_TRUE(camera.CopyCurrentFrame(buffer.data(), buffer.size()));
    EXPECT_TRUE(std::equal(last.bytes.begin(), last.bytes.end(), buffer.begin()));
    EXPECT_EQ(buffer[5], 1);  // the rig position tag
    EXPECT_TRUE(allZero(buffer, kSmallBytes));
    EXPECT_EQ(camera.dataLockDepth(), 0);
    camera.ResumeThread();
    camera.StopThread();
}

TEST_F(DeliveredFrameTest, SnapOfAFrameSmallerThanTheOpenSizeCopiesTheFrameAndZeroesTheRest) {
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", kWidth, kHeight));
    ASSERT_EQ(camera.bufferSize(), static_cast<int>(kOpenBytes));
    OtherHandle smaller("A1", kSmallWidth, kSmallHeight);
    ASSERT_TRUE(smaller.ok());

    std::vector<unsigned char> buffer(kOpenBytes, kSentinel);
    unsigned char* target = buffer.data();
    EXPECT_TRUE(camera.SnapShot(target, buffer.size()));
    EXPECT_EQ(target, buffer.data());
    const unsigned char* frame = camera.currentFrame();
    ASSERT_NE(frame, nullptr);
    EXPECT_TRUE(std::equal(frame, frame + kSmallBytes, buffer.begin()));
    EXPECT_EQ(buffer[5], 1);
    EXPECT_TRUE(allZero(buffer, kSmallBytes));
    EXPECT_EQ(camera.dataLockDepth(), 0);

    // The frame stays the current one at its delivered size: a copy of it is bounded the same.
    std::vector<unsigned char> copy(kOpenBytes, kSentinel);
    EXPECT_TRUE(camera.CopyCurrentFrame(copy.data(), copy.size()));
    EXPECT_EQ(copy, buffer);
}

TEST_F(DeliveredFrameTest, CopiesIntoATargetSmallerThanTheFrameFillOnlyTheTarget) {
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", kWidth, kHeight));

    std::vector<unsigned char> small(100, kSentinel);
    unsigned char* target = small.data();
    EXPECT_TRUE(camera.SnapShot(target, small.size()));
    const unsigned char* frame = camera.currentFrame();
    ASSERT_NE(frame, nullptr);
    EXPECT_TRUE(std::equal(small.begin(), small.end(), frame));

    std::vector<unsigned char> copy(10, kSentinel);
    EXPECT_TRUE(camera.CopyCurrentFrame(copy.data(), copy.size()));
    EXPECT_TRUE(std::equal(copy.begin(), copy.end(), frame));
}

// A camera serving several logical cameras is copied at the size its frame was delivered at,
// not at the camera's size when the copy is made: another handle may have made the camera larger
// since.
TEST_F(DeliveredFrameTest, ComplexCopyIsBoundedByTheFrameNotByTheCamerasPresentSize) {
    // Two sensors of 32 x 8; the camera thread opens them at 16 x 8 each.
    useRig(rigWithCameras({cameraJson("B2", R"("sensors":2)", 32, 8)}));
    constexpr std::size_t kHeldBytes = 32 * 8;
    FrameRecorder recorder(kHeldBytes);
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 32, 8));
    camera.SetCameraComplexInfo(2);
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    camera.PauseThread();
    const RecordedFrame last = recorder.last();
    ASSERT_EQ(last.width, 32);

    OtherHandle larger("B2", 64, 8);
    ASSERT_TRUE(larger.ok());
    int width = 0, height = 0;
    ASSERT_TRUE(camera.GetResolution(width, height));
    ASSERT_EQ(width, 64);  // the camera is larger now; the held frame is not

    std::vector<unsigned char> buffer(64 * 8, kSentinel);
    EXPECT_TRUE(camera.CopyCurrentFrame(buffer.data(), buffer.size()));
    EXPECT_TRUE(std::equal(last.bytes.begin(), last.bytes.end(), buffer.begin()));
    EXPECT_TRUE(allZero(buffer, kHeldBytes));
    camera.ResumeThread();
    camera.StopThread();
}

// The library cuts a copy by the camera's present size. A copy of a frame smaller than the open
// size is cut while the camera still has that size; once another handle has made the camera
// larger than the copy, the split is refused instead of letting the library read past it.
TEST_F(DeliveredFrameTest, SplitOfACopyIsRefusedWhenTheCameraIsLargerThanTheCopy) {
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("B2", R"("sensors":2)", 32, 8)}));
    constexpr std::size_t kCopyBytes = 32 * 8;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 64, 8));
    OtherHandle smaller("B2", 32, 8);
    ASSERT_TRUE(smaller.ok());
    std::vector<unsigned char> copy(kCopyBytes, kSentinel);
    unsigned char* target = copy.data();
    ASSERT_TRUE(camera.SnapShot(target, copy.size()));

    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights, channels;
    EXPECT_TRUE(camera.SplitImage(copy.data(), copy.size(), planes, widths, heights, channels));
    ASSERT_EQ(planes.size(), 2U);
    EXPECT_EQ(widths, (std::vector<int>{16, 16}));
    EXPECT_EQ(heights, (std::vector<int>{8, 8}));
    EXPECT_EQ(channels, (std::vector<int>{1, 1}));
    for (std::size_t k = 0; k < planes.size(); ++k) {
        EXPECT_EQ(planes[k][5], 1);                    // rig position
        EXPECT_EQ(planes[k][6], static_cast<int>(k));  // sensor index
        std::free(planes[k]);
    }

    OtherHandle larger("B2", 64, 8);
    ASSERT_TRUE(larger.ok());
    zeta::sim::clearJournal();
    zeta::test::LogCapture log;
    planes.clear();
    widths.clear();
    heights.clear();
    channels.clear();
    EXPECT_FALSE(camera.SplitImage(copy.data(), copy.size(), planes, widths, heights, channels));
    EXPECT_TRUE(planes.empty());
    EXPECT_TRUE(widths.empty());
    EXPECT_TRUE(channels.empty());
    EXPECT_TRUE(recordsOf("SplitImage").empty());
    EXPECT_TRUE(log.contains("SplitImage refused frameBytes=256needed=512"));
}

// The frame the grab thread hands to its callbacks is split at the layout it was delivered at,
// even when the camera has become larger since (the library knows its own frame).
TEST_F(DeliveredFrameTest, SplitOfTheDeliveredFrameFollowsTheFrame) {
    useRig(rigWithCameras({cameraJson("B2", R"("sensors":2)", 32, 8)}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 32, 8));
    std::vector<unsigned char> copy(32 * 8);
    unsigned char* target = copy.data();
    ASSERT_TRUE(camera.SnapShot(target, copy.size()));
    OtherHandle larger("B2", 64, 8);
    ASSERT_TRUE(larger.ok());

    // The current frame is split as the grab thread's handlers split it: inside the data lock.
    camera.enterDataLock();
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights, channels;
    const bool ok = camera.SplitImage(camera.currentFrame(), camera.FrameBytesOf(32, 8), planes,
                                      widths, heights, channels);
    camera.leaveDataLock();
    EXPECT_TRUE(ok);
    ASSERT_EQ(planes.size(), 2U);
    EXPECT_EQ(widths, (std::vector<int>{16, 16}));
    for (unsigned char* plane : planes) std::free(plane);
}

}  // namespace
}  // namespace zeta::camera::test
