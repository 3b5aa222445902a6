// Complete stripe scans on the virtual scanner: the board traffic of a scan, the group handed out
// by GetScanImages (proven by the frames' tag bytes: byte 4 = number in the stripe sequence,
// byte 5 = the camera's rig position, byte 6 = sensor), multi-sensor and colour cameras, live
// preview after a scan, and the failure paths.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "sync/StripeSync.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using zeta::sim::test::recordsOf;
using zeta::sim::test::waitUntil;

class StripeScanProbe : public CStripeSync {
public:
    // The tests own these objects on their stacks: the teardown an owner runs before delete.
    ~StripeScanProbe() override { Shutdown(); }

    using CStripeSync::m_scanEvents;
    using CStripeSync::m_scanFrameCount;
    using CStripeSync::m_storeImages;
    using IShotSync::m_bAutoReconnect;
    using IShotSync::m_cameras;
};

// Live frames per camera ID, counted by a display callback.
struct PreviewCounter {
    std::array<std::atomic<int>, 8> frames{};
    void reset() {
        for (auto& f : frames) f = 0;
    }
};

void countPreview(const void* const& pUserData, const int& cameraIndex, const unsigned char* const&,
                  const int&, const int&, const int&) {
    auto* counter = static_cast<PreviewCounter*>(const_cast<void*>(pUserData));
    if (cameraIndex >= 0 && cameraIndex < 8)
        ++counter->frames[static_cast<std::size_t>(cameraIndex)];
}

// A 64 x 48 camera. Its queue holds 32 frames, so that a grab thread slowed down by a loaded
// machine or a sanitizer catches up instead of losing stripe frames.
std::string cameraJson(const std::string& serial, const std::string& extra = "") {
    std::string text = R"({"serial":")" + serial + R"(","width":64,"height":48,"buffers":32)";
    if (!extra.empty()) text += "," + extra;
    return text + "}";
}

// Board calls of a scan's own sequence, as "op args", in order.
std::vector<std::string> scanSequenceCalls() {
    std::vector<std::string> calls;
    for (const auto& record : zeta::sim::journal()) {
        if (record.dev != "board") continue;
        if (record.op == "zetaStartOrStopVideoTrigger" || record.op == "zetaOutputSingleTrigger" ||
            record.op == "zetaScan") {
            calls.push_back(record.op + " " + record.args + (record.ok ? "" : " failed"));
        }
    }
    return calls;
}

struct Group {
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    int status = -1;
};

// Tag byte `byte` of image i of a group, as a count.
std::size_t tagOf(const Group& group, std::size_t i, int byte) {
    return group.images[i][byte];
}

Group groupOf(CStripeSync& sync) {
    Group group;
    group.status = sync.GetScanImages(group.images, group.widths, group.heights, group.channels);
    return group;
}

class StripeSyncScanTest : public ::testing::Test {
protected:
    void TearDown() override { zeta::sim::clearFailures(); }

    // Loads the rig, opens the board and the cameras (serial list = rig order unless given),
    // triggers every camera from the board and shortens the scan: stripe period 10 ms, settling
    // sleep 40 ms.
    void open(const std::vector<std::string>& cameras, const std::vector<std::string>& serials,
              int width = 64, int height = 48) {
        zeta::sim::test::useRig(zeta::sim::test::rigWithCameras(cameras));
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::test::CameraNames names(serials);
        const std::vector<int> widths(serials.size(), width);
        const std::vector<int> heights(serials.size(), height);
        ASSERT_EQ(sync_.OpenCameras(names.get(), widths, heights), 0);
        for (int i = 0; i < static_cast<int>(serials.size()); ++i) {
            ASSERT_EQ(sync_.SetCameraTriggerMode(i, 1), 0);
        }
        ASSERT_EQ(sync_.SetScanParameter({10, 0}), 0);
        zeta::sim::clearJournal();
    }

    StripeScanProbe sync_;
};

TEST_F(StripeSyncScanTest, ThreeMonoCamerasGiveFortyFiveFramesFrameByFrame) {
    open({cameraJson("M0"), cameraJson("M1"), cameraJson("M2")}, {"M0", "M1", "M2"});
    zeta::test::ConsoleCapture console;
    EXPECT_EQ(sync_.Scan(true), 0);
    const std::string text = console.text();

    const Group group = groupOf(sync_);
    ASSERT_EQ(group.status, 0);
    ASSERT_EQ(group.images.size(), 45u);
    for (std::size_t i = 0; i < group.images.size(); ++i) {
        EXPECT_EQ(tagOf(group, i, 4), i / 3) << "image " << i;  // frame number
        EXPECT_EQ(tagOf(group, i, 5), i % 3) << "image " << i;  // camera
        EXPECT_EQ(group.widths[i], 64);
        EXPECT_EQ(group.heights[i], 48);
        EXPECT_EQ(group.channels[i], 1);
    }
    for (int camera = 0; camera < 3; ++camera) {
        const std::string last = "[Scanning] Camera " + std::to_string(camera) + " snap 15 th\n";
        EXPECT_NE(text.find(last), std::string::npos) << text;
    }
    EXPECT_EQ(text.find("snap 16 th"), std::string::npos);
    const auto start = text.find("==== Start Scan =====\n");
    ASSERT_NE(start, std::string::npos);
    EXPECT_LT(start, text.find("[Scanning] Camera 0 snap 1 th\n"));
    EXPECT_NE(text.find("End Scan\n", start), std::string::npos);
}

TEST_F(StripeSyncScanTest, ScanSendsItsBoardSequenceAndLogsTheComplexCount) {
    open({cameraJson("M0"), cameraJson("M1")}, {"M0", "M1"});
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.Scan(true), 0);
    EXPECT_EQ(scanSequenceCalls(), (std::vector<std::string>{
                                       "zetaStartOrStopVideoTrigger [2,false]",
                                       "zetaOutputSingleTrigger [2]",
                                       "zetaScan [0]",
                                       "zetaStartOrStopVideoTrigger [0,true]",
                                   }));
    EXPECT_TRUE(log.contains("tmpBuf=GetCameraComplexInfo=1"));
    EXPECT_EQ(sync_.m_scanFrameCount, 15);
    EXPECT_TRUE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_FALSE(zeta::sim::boardState().routes[1].videoTrigger);
}

TEST_F(StripeSyncScanTest, ScanRestoresTheSnapGuard) {
    open({cameraJson("M0")}, {"M0"});
    sync_.m_bAutoReconnect = true;
    EXPECT_EQ(sync_.Scan(true), 0);
    EXPECT_TRUE(sync_.m_bAutoReconnect);
    sync_.m_bAutoReconnect = false;
    EXPECT_EQ(sync_.Scan(true), 0);
    EXPECT_FALSE(sync_.m_bAutoReconnect);
}

TEST_F(StripeSyncScanTest, CamerasResumeAndThePreviewGoesOnAfterAScan) {
    open({cameraJson("M0"), cameraJson("M1")}, {"M0", "M1"});
    PreviewCounter preview;
    ASSERT_EQ(sync_.SetDisplayCallBackFunction(&countPreview, &preview), 0);
    ASSERT_EQ(sync_.Scan(true), 0);
    const Group first = groupOf(sync_);
    ASSERT_EQ(first.images.size(), 30u);

    // The mono trigger runs again and each camera thread delivers live frames.
    preview.reset();
    zeta::sim::clearJournal();
    EXPECT_TRUE(waitUntil([&] { return preview.frames[0] >= 5 && preview.frames[1] >= 5; }));
    // Dropping them costs the stripe handler no camera query (its scan counters are full).
    EXPECT_TRUE(zeta::sim::test::recordsOf("GetColorMode").empty());
    // The stripe handler stays installed but ignores them: the group is unchanged.
    const Group again = groupOf(sync_);
    EXPECT_EQ(again.images, first.images);
    ASSERT_EQ(sync_.SetDisplayCallBackFunction(nullptr, nullptr), 0);
}

TEST_F(StripeSyncScanTest, SecondScanReplacesTheGroup) {
    open({cameraJson("M0"), cameraJson("M1")}, {"M0", "M1"});
    ASSERT_EQ(sync_.Scan(true), 0);
    ASSERT_EQ(groupOf(sync_).images.size(), 30u);
    ASSERT_EQ(sync_.m_scanEvents.size(), 2u);
    ASSERT_EQ(sync_.Scan(true), 0);
    const Group second = groupOf(sync_);
    ASSERT_EQ(second.images.size(), 30u);
    for (std::size_t i = 0; i < second.images.size(); ++i) {
        EXPECT_EQ(tagOf(second, i, 4), i / 2) << i;
        EXPECT_EQ(tagOf(second, i, 5), i % 2) << i;
    }
    EXPECT_EQ(sync_.m_scanEvents.size(), 2u);
}

TEST_F(StripeSyncScanTest, ColourCameraIsIgnoredAndDoesNotHoldTheWaitUp) {
    open({cameraJson("M0"), cameraJson("M1"), cameraJson("C2", R"("format":17)")},
         {"M0", "M1", "C2"});
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(sync_.Scan(true), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
    const Group group = groupOf(sync_);
    ASSERT_EQ(group.images.size(), 30u);
    for (std::size_t i = 0; i < group.images.size(); ++i) {
        EXPECT_EQ(tagOf(group, i, 4), i / 2) << i;
        EXPECT_EQ(tagOf(group, i, 5), i % 2) << i;
        EXPECT_EQ(group.channels[i], 1);
    }
}

TEST_F(StripeSyncScanTest, CameraIndicesAtOrAboveTheMonoCountAreNotHandedOut) {
    // A colour camera between two mono cameras: two mono cameras, so only camera indices 0 and 1
    // are handed out, and camera 2's frames stay in the store.
    open({cameraJson("M0"), cameraJson("C1", R"("format":17)"), cameraJson("M2")},
         {"M0", "C1", "M2"});
    EXPECT_EQ(sync_.Scan(true), 0);
    const Group group = groupOf(sync_);
    ASSERT_EQ(group.images.size(), 15u);
    for (std::size_t i = 0; i < group.images.size(); ++i) {
        EXPECT_EQ(tagOf(group, i, 4), i) << i;
        EXPECT_EQ(tagOf(group, i, 5), 0u) << i;
    }
    EXPECT_EQ(sync_.m_storeImages.size(), 30u);
}

TEST_F(StripeSyncScanTest, MultiSensorCameraZeroGivesPairsAndDropsItsFirstFrame) {
    // Two 320 x 32 sensors: a 640 x 32 frame, split into two sub-images per frame.
    zeta::sim::test::useRig(zeta::sim::test::rigWithCameras(
        {R"({"serial":"D0","width":320,"height":32,"sensors":2,"buffers":32})",
         cameraJson("C1", R"("format":17)")}));
    ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
    zeta::test::CameraNames names{"D0", "D0", "C1"};
    ASSERT_EQ(sync_.OpenCameras(names.get(), {640, 640, 64}, {32, 32, 48}), 0);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(sync_.SetCameraTriggerMode(i, 1), 0);
    ASSERT_EQ(sync_.SetScanParameter({10, 0}), 0);

    zeta::test::ConsoleCapture console;
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.Scan(true), 0);
    const std::string text = console.text();
    EXPECT_EQ(sync_.m_scanFrameCount, 16);
    EXPECT_TRUE(log.contains("tmpBuf=GetCameraComplexInfo=2"));
    EXPECT_NE(text.find("[Scanning] Camera 0 snap 1 th total=16\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[Scanning] Camera 0 snap 16 th total=16\n"), std::string::npos);

    const Group group = groupOf(sync_);
    ASSERT_EQ(group.status, 0);
    EXPECT_TRUE(log.contains("tmpBuf=GetScanImages GetCameraComplexInfo=2"));
    ASSERT_EQ(group.images.size(), 30u);
    for (std::size_t i = 0; i < group.images.size(); ++i) {
        EXPECT_EQ(tagOf(group, i, 4), i / 2 + 1) << i;  // pulse 0 was counted, not stored
        EXPECT_EQ(tagOf(group, i, 5), 0u) << i;
        EXPECT_EQ(tagOf(group, i, 6), i % 2) << i;  // sensor
        EXPECT_EQ(group.widths[i], 320);
        EXPECT_EQ(group.heights[i], 32);
        EXPECT_EQ(group.channels[i], 1);
    }
}

TEST_F(StripeSyncScanTest, ScanWithoutCameraReturns2) {
    zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({cameraJson("M0")}));
    ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
    zeta::sim::clearJournal();
    zeta::test::ConsoleCapture console;
    EXPECT_EQ(sync_.Scan(true), 2);
    EXPECT_NE(console.text().find("No Camera\n"), std::string::npos);
    EXPECT_TRUE(scanSequenceCalls().empty());
    EXPECT_EQ(groupOf(sync_).status, 2);
}

TEST_F(StripeSyncScanTest, ScanWithoutProjectorReturns3) {
    zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({cameraJson("M0")}));
    zeta::test::CameraNames names{"M0"};
    ASSERT_EQ(sync_.OpenCameras(names.get(), {64}, {48}), 0);
    sync_.m_bAutoReconnect = true;
    zeta::sim::clearJournal();
    zeta::test::ConsoleCapture console;
    EXPECT_EQ(sync_.Scan(true), 3);
    const std::string text = console.text();
    EXPECT_NE(text.find("Projector not inited\n"), std::string::npos);
    EXPECT_EQ(text.find("==== Start Scan"), std::string::npos);
    EXPECT_TRUE(sync_.m_bAutoReconnect);
    EXPECT_TRUE(scanSequenceCalls().empty());
}

TEST_F(StripeSyncScanTest, FailedBoardScanReturns4WithoutWaiting) {
    open({cameraJson("M0"), cameraJson("M1")}, {"M0", "M1"});
    PreviewCounter preview;
    ASSERT_EQ(sync_.SetDisplayCallBackFunction(&countPreview, &preview), 0);
    zeta::sim::failNext("board", "zetaScan", 1);
    zeta::test::ConsoleCapture console;
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(sync_.Scan(true), 4);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    const std::string text = console.text();
    EXPECT_NE(text.find("==== Start Scan =====\n"), std::string::npos);
    EXPECT_NE(text.find("End Scan\n"), std::string::npos);
    EXPECT_EQ(text.find("[Scanning]"), std::string::npos);
    EXPECT_EQ(scanSequenceCalls(), (std::vector<std::string>{
                                       "zetaStartOrStopVideoTrigger [2,false]",
                                       "zetaOutputSingleTrigger [2]",
                                       "zetaScan [0] failed",
                                       "zetaStartOrStopVideoTrigger [0,true]",
                                   }));
    EXPECT_EQ(groupOf(sync_).status, 2);
    // The mono threads were resumed: the preview goes on.
    preview.reset();
    EXPECT_TRUE(waitUntil([&] { return preview.frames[0] >= 3 && preview.frames[1] >= 3; }));
    ASSERT_EQ(sync_.SetDisplayCallBackFunction(nullptr, nullptr), 0);
}

TEST_F(StripeSyncScanTest, CamerasBeyondTheFirstScansEventsAreNotWaitedFor) {
    // The events keep the camera count of the first scan. A host can reach a larger camera set
    // afterwards (an OpenCameras that fails empties the set, a later one may open more cameras);
    // here the first scan's single event is made by hand before two cameras scan.
    sync_.m_scanEvents.push_back(std::make_unique<zeta::platform::Event>(false, false));
    open({cameraJson("M0"), cameraJson("M1")}, {"M0", "M1"});
    EXPECT_EQ(sync_.Scan(true), 0);
    EXPECT_EQ(sync_.m_scanEvents.size(), 1u);
    const Group group = groupOf(sync_);
    ASSERT_EQ(group.status, 0);
    int fromCamera0 = 0;
    int fromCamera1 = 0;
    for (std::size_t i = 0; i < group.images.size(); ++i) {
        if (tagOf(group, i, 5) == 0) ++fromCamera0;
        if (tagOf(group, i, 5) == 1) ++fromCamera1;
    }
    EXPECT_EQ(fromCamera0, 15);
    EXPECT_LE(fromCamera1, 15);
}

TEST_F(StripeSyncScanTest, TeardownTakesTheStripeHandlerOffBeforeTheStoreGoes) {
    zeta::test::LogCapture log;
    {
        // A plain CStripeSync, torn down as every owner does: Shutdown, then the destructor.
        CStripeSync sync;
        zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({cameraJson("M0")}));
        ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
        zeta::test::CameraNames names{"M0"};
        ASSERT_EQ(sync.OpenCameras(names.get(), {64}, {48}), 0);
        ASSERT_EQ(sync.SetCameraTriggerMode(0, 1), 0);
        ASSERT_EQ(sync.SetScanParameter({10, 0}), 0);
        ASSERT_EQ(sync.Scan(true), 0);
        // Live frames keep reaching the (installed, full) stripe handler while it is destroyed.
        log.clear();
        sync.Shutdown();
    }
    const int exitEnd = log.indexOf("IShotSync::ExitSync end");
    ASSERT_GE(exitEnd, 0);
    const int detach = log.indexOf("SetScanCallBackFunction 1", exitEnd);
    EXPECT_GT(detach, exitEnd);
    const int base = log.indexOf("~IShotSync", exitEnd);
    EXPECT_GT(base, detach);
}

// The one slow test: a mono camera that never delivers makes the scan wait its full 20 s.
TEST_F(StripeSyncScanTest, CameraThatNeverDeliversTimesOutAndTheOthersAreStillReturned) {
    open({cameraJson("M0"), cameraJson("M1"), cameraJson("M2")}, {"M0", "M1", "M2"});
    ASSERT_TRUE(zeta::sim::dropFrames("M1", -1));
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(sync_.Scan(true), 4);
    EXPECT_GE(std::chrono::steady_clock::now() - started,
              std::chrono::milliseconds(CStripeSync::kScanWaitMs - 100));
    EXPECT_TRUE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_EQ(scanSequenceCalls().back(), "zetaStartOrStopVideoTrigger [0,true]");

    const Group group = groupOf(sync_);
    ASSERT_EQ(group.status, 0);
    ASSERT_EQ(group.images.size(), 30u);
    for (std::size_t i = 0; i < group.images.size(); ++i) {
        EXPECT_EQ(tagOf(group, i, 4), i / 2) << i;
        EXPECT_EQ(tagOf(group, i, 5), (i % 2) * 2) << i;  // cameras 0 and 2
    }
}

}  // namespace
