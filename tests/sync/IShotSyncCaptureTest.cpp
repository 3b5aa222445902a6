// Still capture (slots 57-61): single images of plain and complex cameras, mono groups, colour
// images from colour cameras and composed from three mono shots, colour groups; argument checks,
// failure paths (no leak, no double free), and the snap guard: the video triggers and
// m_bAutoReconnect are what they were before, after success and after failure.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IShotSyncB_Support.h"

namespace {

using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::sync::test::argsOf;
using zeta::sync::test::cam;
using zeta::sync::test::connect;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

// Counts live-preview frames per camera ID (display callback 1).
struct FrameCounter {
    std::atomic<int> frames[8] = {};
    // Copy of the latest preview frame per camera ID.
    std::mutex mutex;
    std::map<int, std::vector<unsigned char>> latest;
};

void countFrame(const void* const& user, const int& id, const unsigned char* const& data,
                const int& width, const int& height, const int& channels) {
    auto* counter = static_cast<FrameCounter*>(const_cast<void*>(user));
    if (id >= 0 && id < 8) {
        {
            std::lock_guard<std::mutex> lock(counter->mutex);
            counter->latest[id].assign(data,
                                       data + static_cast<std::size_t>(width * height * channels));
        }
        ++counter->frames[id];
    }
}

// Slot 57 copies the camera thread's current frame right after resetting the camera, which makes
// the thread forget that frame: it succeeds only if the grab thread snaps a new frame in between.
// This gate makes that happen deterministically: when the camera thread logs the end of its reset
// on the thread that snaps, the gate holds that thread until the grab thread has delivered one
// more preview frame of `cameraID`.
class FreshFrameGate : public google::LogSink {
public:
    FreshFrameGate(FrameCounter& counter, int cameraID)
        : counter_(counter), cameraID_(cameraID), owner_(std::this_thread::get_id()) {
        google::AddLogSink(this);
    }
    ~FreshFrameGate() override { google::RemoveLogSink(this); }

    void send(google::LogSeverity, const char*, const char*, int, const struct ::tm*,
              const char* message, size_t length) override {
        if (std::this_thread::get_id() != owner_) return;
        if (std::string(message, length) != "SetCameraToInitializedState 5") return;
        const int seen = counter_.frames[cameraID_].load();
        if (waitUntil([&] { return counter_.frames[cameraID_].load() > seen; })) ++opened_;
    }
    int opened() const { return opened_; }

private:
    FrameCounter& counter_;
    const int cameraID_;
    const std::thread::id owner_;
    std::atomic<int> opened_{0};
};

class IShotSyncCaptureTest : public ::testing::Test {
protected:
    void SetUp() override { zeta::sync::test::resetProcessWideState(); }
    void TearDown() override { zeta::sim::clearFailures(); }

    // Board video-trigger state of both routes.
    static std::pair<bool, bool> triggers() {
        const auto state = zeta::sim::boardState();
        return {state.routes[0].videoTrigger, state.routes[1].videoTrigger};
    }
};

// Log texts ending in a newline reach the log without it (glog ends every message with one).

// ---- Slot 57 --------------------------------------------------------------------------------

TEST_F(IShotSyncCaptureTest, SingleImageOfAPlainCamera) {
    useRig(rigWithCameras({cam("M0"), cam("M1")}));
    FrameCounter counter;  // outlives the synchroniser that calls into it
    CSyncBProbe sync;
    sync.SetDisplayCallBackFunction(&countFrame, &counter);
    ASSERT_EQ(connect(sync, {"M0", "M1"}, {64, 64}, {48, 48}), 0);
    sync.m_bAutoReconnect = true;
    zeta::sim::clearJournal();

    FreshFrameGate gate(counter, 1);
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    int channels = 0;
    ASSERT_EQ(sync.SnapSingleImageFromSpecifyCamera(1, image, width, height, channels), 0);
    EXPECT_EQ(gate.opened(), 1);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
    EXPECT_EQ(channels, 1);
    EXPECT_EQ(image[5], 1);  // rig position of M1
    EXPECT_EQ(image[6], 0);
    std::free(image);
    EXPECT_TRUE(sync.m_bAutoReconnect);
    // The camera was reset to its initialised state; the other camera was not touched.
    EXPECT_EQ(argsOf("SetCameraToInitializedState", "M1").size(), 1u);
    EXPECT_EQ(argsOf("LockSnapThread", "M1"), (std::vector<std::string>{"[true]", "[false]"}));
    EXPECT_TRUE(argsOf("SetCameraToInitializedState", "M0").empty());
}

TEST_F(IShotSyncCaptureTest, SingleImageOfAComplexCameraIsTheNamedSubImage) {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2)}));
    FrameCounter counter;  // outlives the synchroniser that calls into it
    CSyncBProbe sync;
    sync.SetDisplayCallBackFunction(&countFrame, &counter);
    ASSERT_EQ(connect(sync, {"A1", "A1"}, {64, 64}, {24, 24}), 0);

    LogCapture log;
    for (int camOrder = 0; camOrder < 2; ++camOrder) {
        FreshFrameGate gate(counter, 0);
        unsigned char* image = nullptr;
        int width = 0;
        int height = 0;
        int channels = 0;
        ASSERT_EQ(sync.SnapSingleImageFromSpecifyCamera(camOrder, image, width, height, channels),
                  0);
        EXPECT_EQ(gate.opened(), 1);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(width, 32);
        EXPECT_EQ(height, 24);
        EXPECT_EQ(channels, 1);         // the format value of a mono camera
        EXPECT_EQ(image[6], camOrder);  // sensor index
        std::free(image);
    }
    EXPECT_EQ(log.count("tmpBuf=GetCameraComplexInfo=2"), 2);
}

TEST_F(IShotSyncCaptureTest, ASubImageTheSplitDoesNotProduceFails) {
    // Three logical cameras on a two-sensor camera: the third names sub-image 2, which the
    // split does not produce. Nothing is handed out and every block is freed.
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2)}));
    FrameCounter counter;  // outlives the synchroniser that calls into it
    CSyncBProbe sync;
    sync.SetDisplayCallBackFunction(&countFrame, &counter);
    ASSERT_EQ(connect(sync, {"A1", "A1", "A1"}, {64, 64, 64}, {24, 24, 24}), 0);
    ASSERT_EQ(sync.m_cameras[0]->GetCameraComplexInfo(), 3);
    sync.m_bAutoReconnect = true;
    FreshFrameGate gate(counter, 0);
    unsigned char* image = nullptr;
    int width = 7;
    int height = 7;
    int channels = 7;
    EXPECT_EQ(sync.SnapSingleImageFromSpecifyCamera(2, image, width, height, channels), 3);
    EXPECT_EQ(gate.opened(), 1);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(width, 0);
    EXPECT_EQ(height, 0);
    EXPECT_EQ(channels, 0);
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

TEST_F(IShotSyncCaptureTest, SingleImageWithoutAFreshFrameFails) {
    useRig(rigWithCameras({cam("M0")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    sync.m_bAutoReconnect = true;
    // A paused grab thread snaps nothing after the reset: the camera holds no frame.
    sync.m_cameras[0]->PauseThread();
    ConsoleCapture console;
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    int channels = 0;
    EXPECT_EQ(sync.SnapSingleImageFromSpecifyCamera(0, image, width, height, channels), 3);
    sync.m_cameras[0]->ResumeThread();
    EXPECT_EQ(image, nullptr);
    EXPECT_NE(console.text().find("No Data: 3072  0x0\n"), std::string::npos);
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

// The reset makes the camera thread forget its frame; the snap waits for the next one instead
// of failing at once. A camera at 10 frames a second leaves up to 100 ms between the reset and
// that frame, so a copy made straight after the reset would find nothing.
TEST_F(IShotSyncCaptureTest, SingleImageWaitsForTheFrameAfterTheReset) {
    useRig(rigWithCameras({R"({"serial":"M0","width":64,"height":48,"fps":10})"}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    ConsoleCapture console;
    for (int round = 0; round < 3; ++round) {
        unsigned char* image = nullptr;
        int width = 0;
        int height = 0;
        int channels = 0;
        ASSERT_EQ(sync.SnapSingleImageFromSpecifyCamera(0, image, width, height, channels), 0);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(width, 64);
        EXPECT_EQ(height, 48);
        EXPECT_EQ(channels, 1);
        std::free(image);
    }
    EXPECT_EQ(console.text().find("No Data"), std::string::npos);
}

TEST_F(IShotSyncCaptureTest, SingleImageArgumentChecks) {
    useRig(rigWithCameras({cam("M0")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    sync.m_bAutoReconnect = true;
    zeta::sim::clearJournal();
    unsigned char block = 0;
    unsigned char* image = &block;
    int width = 7;
    int height = 7;
    int channels = 7;
    EXPECT_EQ(sync.SnapSingleImageFromSpecifyCamera(0, image, width, height, channels), 1);
    EXPECT_EQ(image, &block);
    image = nullptr;
    EXPECT_EQ(sync.SnapSingleImageFromSpecifyCamera(-1, image, width, height, channels), 1);
    EXPECT_EQ(sync.SnapSingleImageFromSpecifyCamera(1, image, width, height, channels), 1);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(width, 7);
    EXPECT_EQ(height, 7);
    EXPECT_EQ(channels, 7);
    EXPECT_TRUE(sync.m_bAutoReconnect);
    EXPECT_TRUE(argsOf("SetCameraToInitializedState").empty());
    EXPECT_TRUE(zeta::sync::test::boardOps().empty());

    unsigned char* rgb = &block;
    EXPECT_EQ(sync.SnapRGBImageFromSpecifyCamera(0, rgb, width, height), 1);
    rgb = nullptr;
    EXPECT_EQ(sync.SnapRGBImageFromSpecifyCamera(-1, rgb, width, height), 1);
    EXPECT_EQ(sync.SnapRGBImageFromSpecifyCamera(1, rgb, width, height), 1);
    EXPECT_EQ(rgb, nullptr);
    EXPECT_TRUE(sync.m_bAutoReconnect);
    EXPECT_TRUE(zeta::sync::test::boardOps().empty());
}

TEST_F(IShotSyncCaptureTest, AnAbsentCameraGives2WithZeroedOutputs) {
    useRig(rigWithCameras({cam("M0")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    sync.m_bAutoReconnect = true;
    sync.StopGrabThreads();                  // the display handler reads the channel words
    sync.m_cameraChannels.push_back(0x150);  // logical camera 1 on thread 5: absent
    unsigned char* image = nullptr;
    int width = 7;
    int height = 7;
    int channels = 7;
    EXPECT_EQ(sync.SnapSingleImageFromSpecifyCamera(1, image, width, height, channels), 2);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(width, 0);
    EXPECT_EQ(height, 0);
    EXPECT_EQ(channels, 0);
    EXPECT_TRUE(sync.m_bAutoReconnect);

    LogCapture log;
    EXPECT_EQ(sync.SnapRGBImageFromSpecifyCamera(1, image, width, height), 4);
    EXPECT_EQ(image, nullptr);
    EXPECT_TRUE(log.contains("Invalid Camera Handle"));
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

// ---- Slot 58 --------------------------------------------------------------------------------

TEST_F(IShotSyncCaptureTest, GroupWithAColourCameraIsNotEnoughButKeepsTheMonoImage) {
    useRig(rigWithCameras({cam("M0"), cam("C1", 64, 48, 17)}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0", "C1"}, {64, 64}, {48, 48}), 0);
    sync.m_bAutoReconnect = true;
    zeta::sim::clearJournal();
    ConsoleCapture console;
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels;
    EXPECT_EQ(sync.SnapSingleGroupImages(images, widths, heights, channels), 2);
    EXPECT_NE(console.text().find("SnapSingleGroupImages Failed, Images Not Enough\n"),
              std::string::npos);
    ASSERT_EQ(images.size(), 1u);
    ASSERT_NE(images[0], nullptr);
    EXPECT_EQ(widths, (std::vector<int>{64}));
    EXPECT_EQ(heights, (std::vector<int>{48}));
    EXPECT_EQ(channels, (std::vector<int>{1}));
    EXPECT_EQ(images[0][5], 0);  // M0's rig position
    std::free(images[0]);
    // The mono trigger ran during the snap; both triggers are off again, as before.
    const auto ops = zeta::sync::test::boardOps();
    EXPECT_NE(std::find(ops.begin(), ops.end(), "zetaStartOrStopVideoTrigger [0,true]"), ops.end());
    EXPECT_EQ(triggers(), std::make_pair(false, false));
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

TEST_F(IShotSyncCaptureTest, GroupOfMonoCamerasWithAComplexCamera) {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2), cam("M1")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "A1", "M1"}, {64, 64, 64}, {24, 24, 48}), 0);
    // The mono trigger runs before the snap: it is still running after it.
    ASSERT_EQ(sync.EnableContinueTrigger(0, true), 0);
    ConsoleCapture console;
    LogCapture log;
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels;
    EXPECT_EQ(sync.SnapSingleGroupImages(images, widths, heights, channels), 0);
    EXPECT_NE(console.text().find("SnapSingleGroupImages Success\n"), std::string::npos);
    ASSERT_EQ(images.size(), 3u);
    EXPECT_EQ(widths, (std::vector<int>{32, 32, 64}));
    EXPECT_EQ(heights, (std::vector<int>{24, 24, 48}));
    EXPECT_EQ(channels, (std::vector<int>{1, 1, 1}));
    EXPECT_EQ(images[0][6], 0);
    EXPECT_EQ(images[1][6], 1);
    EXPECT_EQ(images[2][5], 1);
    for (auto* image : images) std::free(image);
    EXPECT_EQ(log.count("tmpBuf=GetCameraComplexInfo="), 2);
    EXPECT_EQ(triggers(), std::make_pair(true, false));
}

TEST_F(IShotSyncCaptureTest, AFailedGroupSnapFreesEveryImageAndKeepsTheChannels) {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2), cam("M1")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "A1", "M1"}, {64, 64, 64}, {24, 24, 48}), 0);
    sync.m_bAutoReconnect = true;
    // M1's own grab thread is held, so the injected failure hits the group snap.
    sync.m_cameras[1]->PauseThread();
    zeta::sim::failNext("M1", "SnapShot", 1);
    ConsoleCapture console;
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels;
    const int result = sync.SnapSingleGroupImages(images, widths, heights, channels);
    sync.m_cameras[1]->ResumeThread();
    EXPECT_EQ(result, 2);
    // The complex camera's two blocks were freed (sanitizers check it): the lists are empty
    // but the channel list keeps what was appended.
    EXPECT_TRUE(images.empty());
    EXPECT_TRUE(widths.empty());
    EXPECT_TRUE(heights.empty());
    EXPECT_EQ(channels, (std::vector<int>{1, 1}));
    EXPECT_NE(console.text().find("SnapSingleGroupImages Failed, Images Not Enough\n"),
              std::string::npos);
    EXPECT_EQ(triggers(), std::make_pair(false, false));
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

TEST_F(IShotSyncCaptureTest, GroupNeedsEmptyLists) {
    useRig(rigWithCameras({cam("M0")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    zeta::sim::clearJournal();
    ConsoleCapture console;
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels{1};
    EXPECT_EQ(sync.SnapSingleGroupImages(images, widths, heights, channels), 1);
    EXPECT_EQ(console.text(), "SnapSingleGroupImages Failed, Parameter Error\n");
    EXPECT_TRUE(zeta::sync::test::boardOps().empty());
    EXPECT_TRUE(images.empty());

    std::vector<unsigned char*> rgb{nullptr};
    EXPECT_EQ(sync.SnapSingleGroupRGBImages(rgb, widths, heights), 1);
    EXPECT_TRUE(zeta::sync::test::boardOps().empty());
}

// ---- Slot 59 --------------------------------------------------------------------------------

TEST_F(IShotSyncCaptureTest, RgbImageOfAnRgbCamera) {
    useRig(rigWithCameras({cam("M0"), cam("C1", 64, 48, 17)}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0", "C1"}, {64, 64}, {48, 48}), 0);
    ASSERT_EQ(sync.EnableContinueTrigger(0, true), 0);  // running before: running after
    sync.m_bAutoReconnect = true;
    zeta::sim::clearJournal();
    LogCapture log;
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    ASSERT_EQ(sync.SnapRGBImageFromSpecifyCamera(1, image, width, height), 0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
    EXPECT_EQ(image[5], 1);  // C1's rig position (the first bytes carry the tags)
    std::free(image);
    EXPECT_TRUE(log.contains("tmpPixelSize=3m_bColorTrigleCopyFromMono=0"));
    EXPECT_TRUE(log.contains("tmpBuf=GetCameraComplexInfo=1"));
    // Both triggers off, the camera reset, the colour trigger on; then the saved state back.
    const auto ops = zeta::sync::test::boardOps();
    std::vector<std::string> triggerOps;
    for (const auto& op : ops) {
        if (op.rfind("zetaStartOrStopVideoTrigger", 0) == 0) triggerOps.push_back(op);
    }
    ASSERT_GE(triggerOps.size(), 3u);
    EXPECT_EQ(triggerOps[0], "zetaStartOrStopVideoTrigger [2,false]");
    EXPECT_EQ(triggerOps[1], "zetaStartOrStopVideoTrigger [1,true]");
    EXPECT_EQ(argsOf("SetCameraToInitializedState", "C1").size(), 1u);
    EXPECT_EQ(triggers(), std::make_pair(true, false));
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

TEST_F(IShotSyncCaptureTest, RgbImageOfARawCameraHasThreeEqualChannels) {
    useRig(rigWithCameras({cam("R1", 64, 48, 16)}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"R1"}, {64}, {48}), 0);
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    ASSERT_EQ(sync.SnapRGBImageFromSpecifyCamera(0, image, width, height), 0);
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(width * height, 64 * 48);
    bool equal = true;
    bool varied = false;
    for (int i = 0; i < width * height; ++i) {
        equal = equal && image[3 * i] == image[3 * i + 1] && image[3 * i] == image[3 * i + 2];
        varied = varied || image[3 * i] != image[0];
    }
    EXPECT_TRUE(equal);
    EXPECT_TRUE(varied);  // an image, not a constant
    std::free(image);
    EXPECT_EQ(triggers(), std::make_pair(false, false));
}

TEST_F(IShotSyncCaptureTest, AFailedRgbSnapRestoresTriggersAndFlag) {
    useRig(rigWithCameras({cam("C1", 64, 48, 17)}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"C1"}, {64}, {48}), 0);
    ASSERT_EQ(sync.EnableContinueTrigger(0, true), 0);
    sync.m_bAutoReconnect = true;
    sync.m_cameras[0]->PauseThread();
    zeta::sim::failNext("C1", "SnapShot", 1);
    LogCapture log;
    ConsoleCapture console;
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    const int result = sync.SnapRGBImageFromSpecifyCamera(0, image, width, height);
    sync.m_cameras[0]->ResumeThread();
    EXPECT_EQ(result, 3);
    EXPECT_EQ(image, nullptr);
    EXPECT_NE(console.text().find("\nSnapRGBImageFromSpecifyCamera SnapShot failed!\n"),
              std::string::npos);
    EXPECT_TRUE(log.contains("SnapRGBImageFromSpecifyCamera SnapShot failed!"));
    EXPECT_EQ(triggers(), std::make_pair(true, false));
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

TEST_F(IShotSyncCaptureTest, RgbImageOfAMonoCameraIsComposedUnderRedGreenAndBlue) {
    // A slow camera, so that no frame is exposed between a snap and the next projection.
    useRig(rigWithCameras({cam("M0", 64, 48, 1, 1, R"("fps":10,"snapTimeoutMs":500)")}));
    FrameCounter counter;  // outlives the synchroniser that calls into it
    CSyncBProbe sync;
    sync.SetDisplayCallBackFunction(&countFrame, &counter);
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    sync.m_bAutoReconnect = true;
    zeta::sim::clearJournal();
    LogCapture log;
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    ASSERT_EQ(sync.SnapRGBImageFromSpecifyCamera(0, image, width, height), 0);
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(width * height, 64 * 48);
    EXPECT_TRUE(log.contains("Not RGB888 Or RGBRAW Camera"));
    // Exactly three projections: pattern codes 9, 10, 11 are red, green and blue.
    EXPECT_EQ(argsOf("zetaProject"), (std::vector<std::string>{"[7]", "[8]", "[9]"}));
    EXPECT_EQ(triggers(), std::make_pair(false, false));
    EXPECT_TRUE(sync.m_bAutoReconnect);

    // Channel k is what the camera shows under light k: project each light again and wait for
    // a preview frame equal to that channel.
    const std::size_t pixels = static_cast<std::size_t>(width * height);
    std::vector<unsigned char> channel[3];
    for (int k = 0; k < 3; ++k) {
        channel[k].resize(pixels);
        for (std::size_t i = 0; i < pixels; ++i) channel[k][i] = image[3 * i + k];
    }
    std::free(image);
    EXPECT_NE(channel[0], channel[1]);
    EXPECT_NE(channel[1], channel[2]);
    for (int k = 0; k < 3; ++k) {
        ASSERT_EQ(sync.Project(9 + k), 0);
        EXPECT_TRUE(waitUntil([&] {
            std::lock_guard<std::mutex> lock(counter.mutex);
            return counter.latest[0] == channel[k];
        })) << "channel "
            << k;
    }
}

// ---- Slot 60 --------------------------------------------------------------------------------

TEST_F(IShotSyncCaptureTest, ColourGroupOfAColourAndATallMonoCamera) {
    // M1 is taller than wide: the mono snapshot block must hold its whole frame.
    useRig(rigWithCameras({cam("C1", 64, 48, 17), cam("M1", 64, 128)}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"C1", "M1"}, {64, 64}, {48, 128}), 0);
    sync.m_bAutoReconnect = true;
    zeta::sim::clearJournal();
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    ASSERT_EQ(sync.SnapSingleGroupRGBImages(images, widths, heights), 0);
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(widths, (std::vector<int>{64, 64}));
    EXPECT_EQ(heights, (std::vector<int>{48, 128}));
    ASSERT_NE(images[0], nullptr);
    ASSERT_NE(images[1], nullptr);
    EXPECT_EQ(images[0][5], 0);  // C1's own RGB frame
    for (auto* image : images) std::free(image);
    // The texture light for the colour camera, then red, green and blue for the mono one.
    EXPECT_EQ(argsOf("zetaProject"), (std::vector<std::string>{"[2]", "[7]", "[8]", "[9]"}));
    EXPECT_EQ(argsOf("SetCameraToInitializedState", "C1").size(), 1u);
    EXPECT_EQ(argsOf("SetCameraToInitializedState", "M1").size(), 4u);
    EXPECT_EQ(triggers(), std::make_pair(false, false));
    EXPECT_TRUE(sync.m_bAutoReconnect);
}

TEST_F(IShotSyncCaptureTest, ColourGroupPlacesSubImagesAtConsecutivePositions) {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2), cam("C1", 32, 24, 17)}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "A1", "C1"}, {64, 64, 32}, {24, 24, 24}), 0);
    ASSERT_EQ(sync.EnableContinueTrigger(1, true), 0);
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    ASSERT_EQ(sync.SnapSingleGroupRGBImages(images, widths, heights), 0);
    ASSERT_EQ(images.size(), 3u);
    EXPECT_EQ(widths, (std::vector<int>{32, 32, 32}));
    EXPECT_EQ(heights, (std::vector<int>{24, 24, 24}));
    for (auto* image : images) ASSERT_NE(image, nullptr);
    EXPECT_EQ(images[2][5], 1);  // C1 at position 2, after A1's two sub-images
    for (auto* image : images) std::free(image);
    EXPECT_EQ(triggers(), std::make_pair(false, true));
}

// ---- Frames smaller than the open size -------------------------------------------------------

// A second synchroniser opens the same cameras smaller. A camera's size belongs to the camera, so
// the first synchroniser's snaps get the smaller frames: each copy takes the frame as delivered
// (a copy at the first one's open size would read past the frame).
TEST_F(IShotSyncCaptureTest, RgbSnapsOfCamerasAnotherHandleMadeSmallerCopyTheSmallerFrames) {
    useRig(rigWithCameras({cam("C1", 64, 48, 17), cam("M1", 64, 48, 1, 1, R"("fps":100)")}));
    CSyncBProbe first;
    ASSERT_EQ(connect(first, {"C1", "M1"}, {64, 64}, {48, 48}), 0);
    CSyncBProbe second;
    ASSERT_EQ(connect(second, {"C1", "M1"}, {32, 32}, {24, 24}), 0);

    // The colour camera's own frame.
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    ASSERT_EQ(first.SnapRGBImageFromSpecifyCamera(0, image, width, height), 0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 32);
    EXPECT_EQ(height, 24);
    EXPECT_EQ(image[5], 0);  // C1's rig position
    std::free(image);

    // The mono camera's three shots: source byte i is result byte 3 x i + k.
    image = nullptr;
    ASSERT_EQ(first.SnapRGBImageFromSpecifyCamera(1, image, width, height), 0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 32);
    EXPECT_EQ(height, 24);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(image[3 * 5 + k], 1) << k;  // M1's rig position
    std::free(image);

    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    ASSERT_EQ(first.SnapSingleGroupRGBImages(images, widths, heights), 0);
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(widths, (std::vector<int>{32, 32}));
    EXPECT_EQ(heights, (std::vector<int>{24, 24}));
    ASSERT_NE(images[0], nullptr);
    ASSERT_NE(images[1], nullptr);
    EXPECT_EQ(images[0][5], 0);
    EXPECT_EQ(images[1][3 * 5], 1);
    for (auto* block : images) std::free(block);
}

// ---- Slot 61 --------------------------------------------------------------------------------

TEST_F(IShotSyncCaptureTest, PrintFlagReachesEveryCameraAndTellsWhetherThereIsNone) {
    CSyncBProbe none;
    EXPECT_TRUE(none.PrintCameraSnapFailInfomation(false));

    useRig(rigWithCameras({cam("M0")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0"}, {64}, {48}), 0);
    EXPECT_FALSE(sync.PrintCameraSnapFailInfomation(false));
    // With printing off, a failing snap of the grab thread prints nothing.
    zeta::sim::CameraStats before;
    ASSERT_TRUE(zeta::sim::cameraStats("M0", before));
    ConsoleCapture console;
    zeta::sim::failNext("M0", "SnapShot", 3);
    // The three failures come first; then the grab thread delivers frames again.
    EXPECT_TRUE(waitUntil([&] {
        zeta::sim::CameraStats stats;
        zeta::sim::cameraStats("M0", stats);
        return stats.framesDelivered > before.framesDelivered + 2;
    }));
    EXPECT_EQ(console.text().find("Snap Failed"), std::string::npos);
}

}  // namespace
